"""Tags that no longer fit: a file on a full disk, and one that may not grow, through decoder-host.

    full_disk_posix_test.py --host PATH --ffmpeg PATH [unittest arguments]

The full disk is a small tmpfs in a mount namespace of this test's own. Where the system allows none, only the limit on
the size of files is tried, and the test says so.
"""

import argparse
import os
import resource
import struct
import subprocess
import sys
import unittest

import host_kit
from host_kit import ANY, HostTest, ffmpeg

INSIDE = "FULL_DISK_TEST_INSIDE"
NAMESPACE = ["unshare", "--user", "--map-root-user", "--mount"]
DISK_BYTES = 1 << 20
OLD, NEW = "old", "n" * 100000


def id3v2(title):
    body = b"\0" + title.encode()
    frame = b"TIT2" + struct.pack(">IH", len(body), 0) + body
    return b"ID3\3\0\0" + bytes([0, 0, len(frame) >> 7, len(frame) & 127]) + frame


def id3v1(title):
    return b"TAG" + title.encode().ljust(124, b"\0") + b"\xff"


def read(name):
    with open(name, "rb") as file:
        return file.read()


def write(name, data):
    with open(name, "wb") as file:
        file.write(data)


def samples(name):
    return ffmpeg("-i", name, "-f", "s16le", "-")


class FullDiskTest(HostTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        for name in ("plain.tta", "plain.mka"):
            ffmpeg("-f", "lavfi", "-i", "sine=duration=1", "-fflags", "+bitexact", name)
        tta = read("plain.tta")
        cls.files = {"untagged.tta": tta, "id3v1.tta": tta + id3v1(OLD), "id3v2.tta": id3v2(OLD) + tta}
        make = cls()
        make.host("tag", "plain.tta", "Title=" + OLD)
        cls.files["ape.tta"] = read("plain.tta")
        cls.files["all.tta"] = id3v2(OLD) + read("plain.tta") + id3v1(OLD)
        # Without room for what is new, then with the Tags behind the Clusters, where they may grow.
        cls.files["relayout.mka"] = read("plain.mka")
        make.host("tag", "plain.mka", "TITLE=" + "t" * 3000)
        make.host("tag", "plain.mka", "TITLE=" + OLD)
        cls.files["last.mka"] = read("plain.mka")

    def titles(self, name):
        tags = self.json("tags", name)["tags"]
        return [value for tag in tags if tag["name"].lower() == "title" for value in tag["values"]]

    def fails(self, name, **settings):
        """The tag can't be written, and what was in the file is in it still."""
        before, audio, title = read(name), samples(name), self.titles(name)
        self.host("tag", name, "Title=" + NEW, code=1, lines=ANY, **settings)
        self.assertEqual(samples(name), audio)
        # A file of several kinds of tags may have got some of them already.
        if name not in ("id3v1.tta", "all.tta"):
            self.assertTrue(read(name) == before, "another file")
        elif self.titles(name) != title:
            self.assertTrue(NEW.startswith(self.titles(name)[0]))

    def succeeds(self, name):
        audio = samples(name)
        self.host("tag", name, "Title=" + NEW, lines=ANY)
        self.assertEqual(samples(name), audio)
        self.assertEqual(self.titles(name), [NEW])

    def test_limit_on_the_size_of_files(self):
        for name, content in self.files.items():
            for room in (0, 1, 5000, len(NEW) // 2):
                with self.subTest(name=name, room=room):
                    write(name, content)
                    size = len(content) + room
                    self.fails(name, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (size, size)))
            self.succeeds(name)

    @unittest.skipUnless(INSIDE in os.environ, "no mount namespace: nothing was tried on a full disk")
    def test_full_disk(self):
        os.mkdir("disk")
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=%d" % DISK_BYTES, "none", "disk"], check=True)
        self.addCleanup(subprocess.run, ["umount", os.path.abspath("disk")], check=True)
        os.chdir("disk")
        self.addCleanup(os.chdir, "..")
        for name, content in self.files.items():
            for room in (0, 4096, len(NEW) // 2):
                with self.subTest(name=name, room=room):
                    write(name, content)
                    free = os.statvfs(".").f_bavail * os.statvfs(".").f_frsize
                    write("filler", bytes(free - room // 4096 * 4096))
                    try:
                        self.fails(name)
                    finally:
                        os.remove("filler")
            self.succeeds(name)
            os.remove(name)
        write("ape.tta", self.files["ape.tta"])
        subprocess.run(["mount", "-o", "remount,ro", "."], check=True)
        self.fails("ape.tta")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--host", required=True)
    parser.add_argument("--ffmpeg", default="ffmpeg")
    parser.set_defaults(runner=[])
    host_kit.OPTIONS, rest = parser.parse_known_args()
    if INSIDE not in os.environ and subprocess.run([*NAMESPACE, "true"], capture_output=True).returncode == 0:
        os.environ[INSIDE] = "1"
        os.execvp(NAMESPACE[0], [*NAMESPACE, sys.executable, *sys.argv])
    unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
