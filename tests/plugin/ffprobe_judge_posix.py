"""What the plug-in tells of real files, against what ffprobe tells of them.

ffprobe_judge_posix.py DECODER_HOST FFMPEG
"""
import json
import pathlib
import subprocess
import sys
import tempfile

HOST, FFMPEG = sys.argv[1:3]
SINE = ["-f", "lavfi", "-i", "sine=frequency=440:duration=2.7"]
NOISE = ["-f", "lavfi", "-i", "anoisesrc=duration=2.7"]
TAGS = {
    "title": "A: title: with 'quotes' and \"more\"",
    "artist": "Ärtist; Музыка",
    "comment": "first line\nsecond: line\n  third",
}
# Files whose tags no engine of the plug-in reads, so that the worker's text is all there is.
FILES = {
    "x.flac": SINE + ["-ar", "48000"],
    "x.ogg": SINE + ["-c:a", "libvorbis"],
    "x.m4a": SINE + ["-c:a", "aac"],
    "x.mp3": SINE,
    "x.wav": SINE + ["-c:a", "pcm_s24le"],
    "x.ts": SINE + NOISE + ["-map", "0", "-map", "1", "-c:a:0", "mp2", "-c:a:1", "ac3"],
    "x.nut": SINE + NOISE + ["-map", "0", "-map", "1", "-c:a:0", "flac", "-c:a:1", "pcm_s16le"],
    "x.au": SINE,
    "x.voc": SINE,
}


def make(path, arguments):
    metadata = [word for name, value in TAGS.items() for word in ("-metadata", f"{name}={value}")]
    subprocess.run([FFMPEG, "-v", "error", "-nostdin", *arguments, *metadata, path], check=True)


def output(command):
    return json.loads(subprocess.run(command, check=True, capture_output=True).stdout)


def tags_told(info):
    return {tag["name"]: "\r".join(tag["values"]) for tag in info["tags"]}


def judge(path):
    told = output([HOST, "info", "--json", path])
    probed = output(["ffprobe", "-v", "error", "-print_format", "json", "-show_format", "-show_streams", path])
    form, streams = probed["format"], probed["streams"]
    duration = float(form.get("duration", 0)) * 1000
    assert abs(told["durationMs"] - duration) <= 10, (told["durationMs"], duration)
    # The text has whole kilobits.
    bitrate = int(form.get("bit_rate", 0)) // 1000 * 1000
    assert told["bitrate"] == bitrate, (told["bitrate"], bitrate)
    codecs = [stream["codec_name"] for stream in streams if stream["codec_type"] == "audio"]
    assert [encoder.split()[0] for encoder in told["encoders"]] == codecs, (told["encoders"], codecs)
    expected = {name: value for name, value in form.get("tags", {}).items() if value}
    assert tags_told(told) == expected, (tags_told(told), expected)
    return len(expected)


def main():
    with tempfile.TemporaryDirectory() as folder:
        for name, arguments in FILES.items():
            path = str(pathlib.Path(folder) / name)
            make(path, arguments)
            print(name, judge(path), "tags agree")


main()
