"""What comes out of decoder-host beside the default: other depths, other streams, and what lies behind a URL."""

import functools
import http.server
import threading

from host_kit import HostTest, ffmpeg, wav_chunks

DEEP = ["-f", "lavfi", "-i", "aevalsrc=0.7*sin(440*t*6.28)|0.3*sin(660*t*6.28):d=1:s=48000"]


def samples(name, encoder, *options):
    """What FFmpeg makes of a file, as bare samples of that encoder."""
    return ffmpeg("-i", name, *options, "-c:a", encoder, "-f", encoder.removeprefix("pcm_"), "-")


class Sound(HostTest):
    def test_depth_is_that_of_the_source_or_as_asked_for(self):
        ffmpeg(*DEEP, "-c:a", "flac", "-sample_fmt", "s32", "deep.flac")
        ffmpeg(*DEEP, "-c:a", "pcm_f32le", "float.wav")
        for name, depth, encoder in (
            ("deep.flac", None, "pcm_s24le"),
            ("deep.flac", "16", "pcm_s16le"),
            ("deep.flac", "32", "pcm_s32le"),
            ("deep.flac", "f64", "pcm_f64le"),
            ("float.wav", "source", "pcm_f32le"),
        ):
            with self.subTest((name, depth)):
                self.host("decode", *(["--depth", depth] if depth else []), "--force", name, "-o", "out.wav")
                self.assertEqual(wav_chunks("out.wav")[b"data"], samples(name, encoder))

    def test_stream_is_the_one_asked_for(self):
        other = ["-f", "lavfi", "-i", "sine=frequency=900:duration=1"]
        ffmpeg(*DEEP, *other, "-map", "0", "-map", "1", "-c:a", "flac", "film.mka")
        for stream in ("0", "1"):
            self.host("decode", "--stream", stream, "--depth", "16", "--force", "film.mka", "-o", "out.wav")
            self.assertEqual(wav_chunks("out.wav")[b"data"], samples("film.mka", "pcm_s16le", "-map", "0:a:" + stream))
        # What the source has stands beside what becomes of it.
        ffmpeg(*DEEP, *other, "-map", "0", "-map", "1", "-c:a", "flac", "-sample_fmt:a:0", "s32", "deep.mka")
        shown = self.host("info", "deep.mka").stdout.decode()
        self.assertRegex(shown, r"Stream 0 +flac, 48000 Hz, stereo, s32 \(24 bit\)[^\n]*\nStream 1 +flac, 44100 Hz, mono, s16")
        self.assertRegex(shown, r"Decoded as +PCM, 24 bits, 48000 Hz, 2 channels\n")
        streams = self.json("info", "deep.mka")["streams"]
        self.assertEqual([stream["codec"] for stream in streams], ["flac", "flac"])
        self.assertIn("44100 Hz", streams[1]["details"])
        self.assertIn(b"2", self.host("decode", "--stream", "2", "film.mka", "-o", "none.wav", code=1).stderr)


class Quiet(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


class SoundOnPosix(HostTest):
    """A server on loopback; the worker under Wine has no business there."""

    def test_what_lies_behind_a_url(self):
        ffmpeg(*DEEP, "-c:a", "flac", "-metadata", "title=Behind a URL", "song.flac")
        ffmpeg("-i", "song.flac", "film.mka")
        handler = functools.partial(Quiet, directory=".")
        with http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler) as server:
            threading.Thread(target=server.serve_forever, daemon=True).start()
            place = f"http://127.0.0.1:{server.server_port}/"
            self.assertIn(b"Behind a URL", self.host("info", place + "song.flac").stdout)
            # The plug-in has no tags for this one, and still plays it.
            self.assertIn(b"48000 Hz", self.host("info", place + "film.mka").stdout)
            decoded = self.host("decode", "--depth", "16", "--raw", place + "film.mka", "-o", "-").stdout
            self.assertEqual(decoded, samples("film.mka", "pcm_s16le"))
            self.assertIn(b"404", self.host("info", place + "missing.flac", code=1).stderr)
            server.shutdown()
