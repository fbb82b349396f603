"""mutagen as a second opinion, through the nine functions: it reads what the plug-in wrote, and the plug-in reads
what it wrote.

usage: mutagen_judge.py PLUGIN FFMPEG
"""

import ctypes
import os
import struct
import subprocess
import sys
import tempfile

from mutagen.apev2 import APEv2, APEBinaryValue, APETextValue
from mutagen.id3 import MakeID3v1, ParseID3v1, TIT2, TPE1, TRCK

OPEN_TAGS = 8
PARAM_BYTES, PARAM_VALUE, PARAM_TEXT, PARAM_DATA = 56, 4, 24, 48
OPEN_BYTES, OPEN_FLAGS, OPEN_TAGS_AT = 104, 8, 80


def wide(text):
    return ctypes.create_string_buffer((text + "\0").encode("utf-16-le"))


def blob(tags):
    entries = b""
    for name, value in tags:
        data = value if isinstance(value, bytes) else b""
        text = "" if isinstance(value, bytes) else value
        body = (name + "\0" + text + "\0").encode("utf-16-le") + data
        entries += struct.pack("<I", len(body) + 4) + body
    return struct.pack("<I", len(tags)) + entries


def parse(raw):
    tags, position = {}, 4
    for _ in range(struct.unpack_from("<I", raw)[0]):
        length = struct.unpack_from("<I", raw, position)[0]
        rest = raw[position + 4 : position + length]
        texts = []
        for _ in range(2):
            end = next(i for i in range(0, len(rest), 2) if rest[i : i + 2] == b"\0\0")
            texts.append(rest[:end].decode("utf-16-le"))
            rest = rest[end + 2 :]
        tags[texts[0]] = rest if rest else texts[1]
        position += length
    return tags


class Plugin:
    def __init__(self, path):
        self.library = ctypes.CDLL(path)
        for name in ("Create", "Destroy", "Open", "Close", "Set", "DeleteATag"):
            getattr(self.library, name).restype = ctypes.c_int64
        self.decoder = ctypes.c_void_p(self.library.Create(ctypes.create_string_buffer(24)))

    def write(self, path, tags):
        data, text = blob(tags), wide(path)
        buffer = ctypes.create_string_buffer(data)
        param = ctypes.create_string_buffer(PARAM_BYTES)
        struct.pack_into("<i", param, PARAM_VALUE, len(data))
        struct.pack_into("<Q", param, PARAM_TEXT, ctypes.addressof(text))
        struct.pack_into("<Q", param, PARAM_DATA, ctypes.addressof(buffer))
        assert self.library.Set(self.decoder, wide("IDTags"), param) == 1

    def read(self, path):
        text = wide(path)
        info = ctypes.create_string_buffer(OPEN_BYTES)
        struct.pack_into("<QI", info, 0, ctypes.addressof(text), OPEN_TAGS)
        assert self.library.Open(self.decoder, info) == 1
        address, size = struct.unpack_from("<QI", info, OPEN_TAGS_AT)
        tags = parse(ctypes.string_at(address, size))
        self.library.Close(self.decoder)
        return tags

    def delete(self, path):
        assert self.library.DeleteATag(self.decoder, wide(path), None) == 1


def equal(actual, expected):
    if actual != expected:
        raise AssertionError(f"{actual!r}\nis not\n{expected!r}")


def judge(plugin, path, original):
    picture = b"\x89PNG" + bytes(range(256)) * 300
    for behind in (b"", MakeID3v1({"TIT2": TIT2(text="Old"), "TPE1": TPE1(text="X"), "TRCK": TRCK(text="5")})):
        with open(path, "wb") as file:
            file.write(original + behind)
        plugin.write(path, [("Artist", "Ä\r一"), ("Title", "a\rb"), ("Blob", picture), ("_albumart_1_Media", picture)])
        tag = APEv2(path)
        equal(list(tag["artist"]), ["Ä", "一"])
        equal(str(tag["title"]), "a\rb")
        equal((tag["blob"].kind, tag["blob"].value), (1, picture))
        equal(tag["cover art (front)"].value, b"C:\\Pretend.png\0" + picture)
        if behind:
            with open(path, "rb") as file:
                frames = ParseID3v1(file.read()[-128:])
            equal((str(frames["TIT2"]), str(frames["TRCK"])), ("a\rb", "5"))
        plugin.delete(path)
        with open(path, "rb") as file:
            equal(file.read(), original)

        with open(path, "wb") as file:
            file.write(original)
        tag = APEv2()
        tag["Artist"] = APETextValue("Ä\0一", 0)
        tag["Cover Art (Back)"] = APEBinaryValue(b"name.png\0" + picture, 1)
        tag["rating"] = "4.5"
        tag.save(path)
        with open(path, "ab") as file:
            file.write(behind)
        tags = plugin.read(path)
        equal(tags["Artist"], "Ä\r一")
        equal(tags["_albumart_1_Back Album Cover"], picture)
        equal(tags["rating"], "9")
        equal(tags.get("Title"), "Old" if behind else None)
        plugin.write(path, [("Title", "new")])
        equal(APEv2(path)["cover art (back)"].value[-len(picture) :], picture)


def main():
    plugin = Plugin(os.path.abspath(sys.argv[1]))
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "ä.tta")
        subprocess.run(
            [sys.argv[2], "-v", "error", "-f", "lavfi", "-i", "sine=d=0.1", "-fflags", "+bitexact", path], check=True
        )
        with open(path, "rb") as file:
            judge(plugin, path, file.read())


main()
