"""mutagen and ffprobe as second opinions: they read what the ID3v2 engine wrote, in every version and encoding, and
the engine reads what mutagen and FFmpeg wrote.

usage: judges.py ID3V2_TOOL FFMPEG
"""

import json
import os
import shutil
import subprocess
import sys
import tempfile

from mutagen.id3 import APIC, COMM, ID3, MCDI, POPM, PRIV, TALB, TCON, TDRC, TIT2, TPE1, TRCK, TXXX, USLT, WOAR

tool, ffmpeg = (os.path.abspath(word) for word in sys.argv[1:3])
IMAGE = b"\x89PNG\xff\xfe" + bytes(range(256)) * 8 + b"\xff"
OPTIONS = [("-", "é"), ("-", "東京のうた"), ("ID3v2EncodeUni", "é一𝄞"), ("ID3v2EncodeUTF8", "é一𝄞")]


def run(*words):
    return subprocess.run(words, check=True, capture_output=True).stdout


def equal(actual, expected):
    if actual != expected:
        raise AssertionError(f"{actual!r}\nis not\n{expected!r}")


def read(path):
    lines = run(tool, "read", path).decode().splitlines()
    return dict(line.split("=", 1) if "=" in line else line.rsplit("#", 1) for line in lines)


def samples(path):
    return run(ffmpeg, "-v", "error", "-i", path, "-map", "0:a", "-f", "md5", "-")


def probe(path):
    prober = shutil.which("ffprobe")
    data = json.loads(run(prober, "-v", "error", "-show_format", "-show_streams", "-of", "json", path))
    tags = {name.lower(): value for name, value in data["format"]["tags"].items()}
    covers = [stream["tags"]["comment"] for stream in data["streams"] if stream["codec_type"] == "video"]
    return tags, covers


def judge_ours(original, path, png):
    clean = samples(original)
    for version in (3, 4):
        for option, text in OPTIONS:
            shutil.copy(original, path)
            if version == 4:
                run(tool, "write", path, "ID3v2WriteV24", "Title=x")
            pictures = [f"_albumart_1_{name}@{png}" for name in ("Media", "Front Album Cover", "Undefined")]
            run(tool, "write", path, option, f"Title={text}", f"Artist={text}|B", "Album=A", "Year=2001", "Track=3/12",
                f"Comment={text}", "Genre=Rock", f"Mood={text}", f"Lyrics={text}", *pictures, f"_cdtoc@{png}")
            tag = ID3(path, translate=False)
            equal(tag.version, (2, version, 0))
            equal(tag["TIT2"].text, [text])
            equal(tag["TPE1"].text, [f"{text}/B"] if version == 3 else [text, "B"])
            equal(str(tag["TYER" if version == 3 else "TDRC"]), "2001")
            equal((tag["TRCK"].text, tag["TCON"].genres), (["3/12"], ["Rock"]))
            equal(tag["COMM::eng"].text, [text])
            equal((tag["TXXX:Mood"].text, tag["USLT::eng"].text), ([text], text))
            with open(png, "rb") as file:
                image = file.read()
            equal([(p.type, p.mime, p.data == image) for p in tag.getall("APIC")],
                  [(3, "image/png", True), (6, "image/png", True), (0, "image/png", True)])
            equal(tag["MCDI"].data, image)
            tags, covers = probe(path)
            equal((tags["title"], tags["album"], tags["date"], tags["track"], tags["genre"]), (text, "A", "2001", "3/12", "Rock"))
            equal(covers, ["Cover (front)", "Media (e.g. label side of CD)", "Other"])
            equal(samples(path), clean)
            run(tool, "delete", path)
            with open(path, "rb") as ours, open(original, "rb") as before:
                equal(ours.read() == before.read(), True)


def judge_theirs(original, path):
    for version in (3, 4):
        for encoding in range(4):
            text = "é" if encoding == 0 else "é一𝄞"
            tag = ID3()
            tag.add(TIT2(encoding, [text]))
            tag.add(TPE1(encoding, [text, "B"]))
            tag.add(TDRC(encoding, ["2001-03-02"]))
            tag.add(TRCK(encoding, ["3/12"]))
            tag.add(TCON(encoding, ["(17)", "(RX)"]))
            tag.add(COMM(encoding, "eng", "d", [text]))
            tag.add(TXXX(encoding, "Mood", [text]))
            tag.add(USLT(encoding, "eng", "", text))
            tag.add(WOAR("http://a"))
            tag.add(POPM("a@b", 196, 5))
            tag.add(PRIV("owner", b"\xff\xfe\x00"))
            tag.add(MCDI(b"toc"))
            for kind in range(21):
                tag.add(APIC(encoding, "image/png", kind, f"d{kind}", IMAGE))
            if version == 3:
                tag.update_to_v23()
            shutil.copy(original, path)
            tag.save(path, v1=0, v2_version=version, v23_sep="/")
            found = read(path)
            equal(found.pop("TagVersion"), f"ID3v2.{version}")
            equal(sum(value == str(len(IMAGE)) for name, value in found.items() if "_albumart_" in name), 21)
            if encoding == 3 and version == 4:
                equal(sorted(name for name in found if name.startswith("_albumart_"))[0], "_albumart_10_Conductor<subdesc>d9")
            texts = {name: value for name, value in found.items() if not name.startswith("_albumart_")}
            genre = "Rock/Remix" if version == 3 else "Rock|Remix"
            equal(texts, {"Title": text, "Artist": f"{text}|B", "Year": "2001-03-02", "Track": "3/12", "Genre": genre,
                          "Comment d": text, "Mood": text, "Lyrics": text, "Official artist/performer webpage": "http://a",
                          "Rating": "8", "_cdtoc": "3"})
            # A frame that nobody asked to change is the same for mutagen afterwards.
            run(tool, "write", path, "-", "Album=A")
            after = ID3(path, translate=False)
            equal((str(after["TALB"]), after.getall("PRIV")[0].data, after["TIT2"].text), ("A", b"\xff\xfe\x00", [text]))
            equal(len(after.getall("APIC")), 21)
    for version in ("3", "4"):
        run(ffmpeg, "-v", "error", "-y", "-f", "lavfi", "-i", "sine=d=0.1", "-metadata", "title=é一", "-metadata",
            "artist=A", "-id3v2_version", version, path + ".mp3")
        found = read(path + ".mp3")
        equal((found["TagVersion"], found["Title"], found["Artist"]), (f"ID3v2.{version}", "é一", "A"))


def pictures_by_ffmpeg(path):
    count = len(probe(path)[1])
    return [run(ffmpeg, "-v", "error", "-i", path, "-map", f"0:v:{index}", "-c", "copy", "-f", "data", "-") for index in range(count)]


def judge_kept_bytes(original, path, jpeg):
    """A new JPEG picture beside frames that stay and hold FF 00: each reads the same for everybody."""
    with open(original, "rb") as file:
        audio = file.read()
    run(ffmpeg, "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=96x96", "-vf", "noise=alls=90", "-q:v", "2", "-frames:v", "1", jpeg)
    with open(jpeg, "rb") as file:
        image = file.read()
    # A sync signal at its start, and within it what looks as if one had been hidden already.
    assert image.startswith(b"\xff\xd8\xff\xe0") and b"\xff\x00" in image, "no picture for this test"
    title = "日本ÿ"  # the last letter is FF 00 in UTF-16
    for version in (2, 3, 4):
        if version == 2:
            texts = b"\x01\xff\xfe" + title.encode("utf-16-le")
            frames = b"".join(name + len(body).to_bytes(3, "big") + body for name, body in
                              ((b"TT2", texts), (b"PIC", b"\0JPG\x04\0" + image)))
            size = bytes(len(frames) >> shift & 127 for shift in (21, 14, 7, 0))
            with open(path, "wb") as file:
                file.write(b"ID3\x02\0\0" + size + frames + audio)
        else:
            tag = ID3()
            tag.add(TIT2(1, [title]))
            tag.add(PRIV("owner", image))
            tag.add(APIC(0, "image/jpeg", 4, "", image))
            shutil.copy(original, path)
            tag.save(path, v1=0, v2_version=version)
        clean = samples(original)
        run(tool, "write", path, "-", f"_albumart_1_Front Album Cover@{jpeg}", "Album=東京")
        after = ID3(path, translate=False)
        equal([(p.type, p.data == image) for p in after.getall("APIC")], [(3, True), (4, True)])
        equal((after["TIT2"].text, after["TALB"].text), ([title], ["東京"]))
        if version > 2:
            equal(after.getall("PRIV")[0].data, image)
        tags, _ = probe(path)
        equal((tags["title"], tags["album"]), (title, "東京"))
        equal([picture == image for picture in pictures_by_ffmpeg(path)], [True, True])
        equal(samples(path), clean)


def main():
    with tempfile.TemporaryDirectory() as folder:
        original, path, png = (os.path.join(folder, name) for name in ("plain.tta", "ä.tta", "a.png"))
        run(ffmpeg, "-v", "error", "-f", "lavfi", "-i", "sine=d=0.3", "-fflags", "+bitexact", original)
        run(ffmpeg, "-v", "error", "-f", "lavfi", "-i", "testsrc=size=32x32", "-frames:v", "1", png)
        judge_ours(original, path, png)
        judge_theirs(original, path)
        judge_kept_bytes(original, path, os.path.join(folder, "a.jpg"))


main()
