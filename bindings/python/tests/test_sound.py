import threading

import numpy
import pytest
import soundfile

from decoder_plugin import Cancelled, DecoderError, Failure, Plugin, QuitEvent, SourceStream


@pytest.mark.parametrize(
    "arguments, sample_format, dtype, bits",
    [
        (("-c:a", "flac", "-sample_fmt", "s16"), None, "int16", 16),
        (("-c:a", "flac", "-sample_fmt", "s32"), "source", "int32", 24),
        (("-c:a", "flac", "-sample_fmt", "s32"), "s32", "int32", 32),
        (("-c:a", "flac", "-sample_fmt", "s16"), "f32", "float32", 32),
    ],
)
def test_samples_are_those_of_libsndfile(plugin, make_file, arguments, sample_format, dtype, bits):
    path = make_file("a.flac", *arguments, source="aevalsrc=0.7*sin(440*t*6.28)|0.3*sin(660*t*6.28):d=1:s=48000")
    expected, rate = soundfile.read(path, dtype=dtype, always_2d=True)
    if bits == 24:
        expected = expected >> 8
    with plugin.open(path, sample_format=sample_format) as decoder:
        assert decoder.format.sample_rate == rate
        assert (decoder.format.bits, decoder.format.channels) == (bits, 2)
        decoded = numpy.concatenate([block.to_numpy() for block in decoder])
        assert decoder.worker_exit == 0
        numpy.testing.assert_array_equal(decoded, expected)
        decoder.seek(1000)
        numpy.testing.assert_array_equal(decoder.read_block().to_numpy(), expected[1000 : 1000 + 4096])


def test_the_stream_is_chosen_by_number(plugin, make_file):
    path = make_file("a.mka", "-f", "lavfi", "-i", "anullsrc=cl=stereo:d=1", "-map", "0", "-map", "1")
    channels = []
    for stream in (0, 1):
        with plugin.open(path, audio_stream=stream) as decoder:
            channels.append(decoder.format.channels)
    assert channels == [1, 2]
    with pytest.raises(DecoderError) as failed:
        plugin.open(path, audio_stream=2)
    assert failed.value.failure is Failure.NO_SUCH_STREAM


def test_what_is_known_of_the_source(plugin, make_file, tmp_path):
    stereo = ("-f", "lavfi", "-i", "anullsrc=cl=stereo:r=96000:d=1")
    path = make_file("a.mka", *stereo, "-map", "0", "-map", "1", "-c:a:0", "pcm_s16le", "-c:a:1", "flac", "-sample_fmt:a:1", "s32")
    with plugin.open(path) as decoder:
        assert [stream.codec for stream in decoder.source_streams] == ["pcm_s16le", "flac"]
        assert decoder.source_streams[1] == SourceStream("flac", "96000 Hz, stereo, s32 (24 bit)")
        assert decoder.duration_estimated is False
        decoder.open(make_file("bare.aac"))
        assert decoder.duration_estimated is True
        with pytest.raises(DecoderError):
            decoder.open(tmp_path / "nothing.tta")
        assert (decoder.source_streams, decoder.duration_estimated) == ([], None)


def test_failures_tell_their_kind(plugin, tmp_path):
    with pytest.raises(DecoderError) as missing:
        plugin.open(tmp_path / "nothing.tta")
    assert missing.value.failure is Failure.FILE_NOT_FOUND
    (tmp_path / "text.tta").write_text("no audio at all")
    with pytest.raises(DecoderError) as broken:
        plugin.open(tmp_path / "text.tta", tags=False)
    assert broken.value.failure is Failure.NOT_DECODABLE
    with pytest.raises(OSError):
        Plugin(tmp_path / "no-library.so")


def test_the_quit_event_ends_a_wait(plugin, make_file):
    path = make_file("a.wav", source="sine=duration=60")
    with QuitEvent() as event, plugin.open(path, quit_event=event) as decoder:
        decoder.read_block()
        setter = threading.Thread(target=event.set)
        setter.start()
        with pytest.raises(Cancelled):
            while decoder.read_block():
                pass
            decoder.seek(0)  # all was read before the event came
        setter.join()
        event.clear()
        decoder.seek(44100)
        assert len(decoder.read_block()) == 4096


def test_paths_are_looked_up_at_each_start(plugin, make_file, monkeypatch):
    folder = make_file("12:30.tta").parent
    monkeypatch.chdir(folder)
    with pytest.raises(DecoderError):
        plugin.open("12:30.tta")
    with plugin.open(folder / "12:30.tta") as full, plugin.open("./12:30.tta") as relative:
        monkeypatch.chdir("/")
        full.seek(1000)
        assert full.read_block() is not None
        with pytest.raises(DecoderError) as moved:
            relative.seek(1000)
        assert moved.value.failure is Failure.FILE_NOT_FOUND
