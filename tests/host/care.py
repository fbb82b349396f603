"""Nothing that belongs to a user is lost, and nothing that went wrong is passed over."""

import os
import shutil
import subprocess

import host_kit
from host_kit import HostTest, ffmpeg, wav_chunks, worker_samples


def contents(path):
    with open(path, "rb") as file:
        return file.read()


def make(name, *options, seconds=1):
    ffmpeg("-f", "lavfi", "-i", f"sine=d={seconds}", "-map_metadata", "-1", "-fflags", "+bitexact", *options, name)
    return contents(name)


class Care(HostTest):
    def setUp(self):
        os.mkdir("case")
        os.chdir("case")
        self.addCleanup(shutil.rmtree, os.getcwd())
        self.addCleanup(os.chdir, "..")

    def test_two_files_are_two_inputs(self):
        first, second = make("a.tta"), make("b.tta", seconds=2)
        self.host("decode", "a.tta", "b.tta", lines=1)
        self.assertEqual((contents("a.tta"), contents("b.tta")), (first, second))
        self.assertEqual(sorted(os.listdir(".")), ["a.tta", "a.wav", "b.tta", "b.wav"])
        self.host("untag", "a.tta", "b.tta", code=2)
        self.host("decode", "a.tta", "b.tta", "-o", "c.wav", code=2)

    def test_no_output_takes_the_place_of_what_is_there(self):
        source = make("a.tta")
        make("a.flac")
        os.link("a.tta", "other name.tta")
        with open("a.wav", "w") as file:
            file.write("mine")
        self.host("decode", "a.tta", code=1)
        self.assertEqual(contents("a.wav"), b"mine")
        for output in ("a.tta", "./a.tta", "other name.tta"):
            self.host("decode", "a.tta", "--force", "-o", output, code=1)
        self.assertEqual(contents("a.tta"), source)
        # Two inputs of one output: the first one has it.
        said = self.host("decode", "a.tta", "a.flac", "--force", code=1, lines=2).stderr
        self.assertIn(b"is that of a.tta already", said)
        self.assertEqual(wav_chunks("a.wav")[b"data"], worker_samples("a.tta"))

    def test_untag_says_what_is_not_there(self):
        make("a.tta", "-metadata", "title=x")
        self.host("tag", "a.tta", "Title=One", "Mood=calm")
        before = contents("a.tta")
        for arguments in (("--name", "Nothing"), ("--name", "Mood", "--name", "Nothing"), ("--cover", "front"),
                          ("--cover", "nose")):
            self.host("untag", "a.tta", *arguments, code=1)
            self.assertEqual(contents("a.tta"), before)
        self.host("untag", "a.tta", "--name", "Mood", "--name", "Nothing", "--ignore-missing")
        self.assertEqual(self.host("tags", "a.tta").stdout, b"Title  One\n")

    def test_damage_has_its_own_exit_code(self):
        whole = make("a.flac", seconds=6)
        with open("cut.flac", "wb") as file:
            file.write(whole[: len(whole) // 2])
        said = self.host("decode", "cut.flac", code=4).stderr
        self.assertIn(b"of 0:06.000 came", said)
        self.assertNotIn(b"%", said, "sums of the worker's, which are no message")
        kept = wav_chunks("cut.wav")[b"data"]
        self.assertLess(len(kept), 88200 * 5)
        self.assertGreater(len(kept), 88200)
        # What isn't whole is taken up again, whatever is whole isn't.
        self.host("decode", "a.flac", "cut.flac", "--resume", code=4, lines=2)
        lines = self.json_lines("decode", "a.flac", "cut.flac", "--resume", "--strict", code=4, lines=2)
        self.assertEqual((lines["a.flac"]["status"], lines["cut.flac"]["status"]), ("skipped", "damaged"))
        os.remove("cut.wav")
        self.host("decode", "cut.flac", "--strict", code=4)
        self.assertEqual(sorted(os.listdir(".")), ["a.flac", "a.wav", "cut.flac"])
        self.host("verify", "a.flac", "cut.flac", code=4, lines=2)

    def test_a_guessed_duration_proves_nothing(self):
        # The bitrate of the quiet beginning makes FFmpeg guess much more than there is.
        sound = "aevalsrc=if(gt(t\\,10)\\,random(0)-0.5\\,0.0001*sin(400*t)):d=20:s=44100"
        for name, options in (("vbr.mp3", ["-c:a", "libmp3lame", "-q:a", "2", "-write_xing", "0", "-id3v2_version", "0"]),
                              ("bare.aac", ["-c:a", "aac", "-b:a", "128k"])):  # fmt: skip
            with self.subTest(name):
                ffmpeg("-f", "lavfi", "-i", sound, *options, name)
                self.assertGreater(self.json("info", name)["durationMs"], 25000)
                self.assertEqual(self.json("verify", name)["status"], "done")

    def test_samples_that_an_encoder_adds_are_not_missed(self):
        for rate in (8000, 11025, 16000, 24000, 48000):
            with self.subTest(rate):
                ffmpeg("-f", "lavfi", "-i", f"sine=sample_rate={rate}:duration=1", f"{rate}.mp3")
                self.assertEqual(self.json("verify", f"{rate}.mp3")["status"], "done")

    def test_tags_that_come_back_differently_are_told(self):
        make("a.tta")
        ffmpeg("-f", "lavfi", "-i", "color=red:s=40x30", "-frames:v", "1", "red.jpg")
        said = self.host("tag", "a.tta", "Title=x", "--cover", "media:the disc=red.jpg", lines=1).stderr
        self.assertIn(b"reads back", said)
        self.assertIn(b"Front Album Cover", said)
        # An ID3v1 tag cuts a field to 30 bytes; the whole of it stands beside.
        tail = b"TAG" + b"Title".ljust(30, b"\0") + bytes(94) + b"\xff"
        self.host("untag", "a.tta", "--yes")
        with open("a.tta", "ab") as file:
            file.write(tail)
        self.host("tag", "a.tta", "Comment=" + "long-" * 20, "Title=" + "title-" * 10)
        tag = contents("a.tta")[-128:]
        self.assertEqual((tag[:33], tag[97:125]), (b"TAG" + b"title-" * 5, (b"long-" * 6)[:28]))
        for name, value in (("Comment", "long-" * 20), ("Title", "title-" * 10)):
            self.assertEqual(self.host("tags", "a.tta", "--get", name).stdout.decode(), value + "\n")

    def test_safe_and_dry_runs(self):
        original = make("a.tta", seconds=8)
        self.assertIn(b"Title", self.host("tag", "a.tta", "Title=New", "--dry-run").stdout)
        self.host("untag", "a.tta", "--yes", "--dry-run")
        self.assertEqual(contents("a.tta"), original)
        os.utime("a.tta", (1000000000, 1000000000))
        for option in ("--safe", "--keep-times"):
            self.host("tag", "a.tta", option, "Title=" + option)
            self.assertEqual(os.stat("a.tta").st_mtime, 1000000000)
            self.assertEqual(self.host("tags", "a.tta", "--get", "title").stdout.decode(), option + "\n")
        self.assertEqual(os.listdir("."), ["a.tta"])
        self.host("untag", "a.tta", "--safe", "--yes")
        self.assertEqual(contents("a.tta"), original)

    def test_read_only_files_are_refused_beforehand(self):
        before = make("a.tta")
        os.chmod("a.tta", 0o444)
        self.addCleanup(os.chmod, "a.tta", 0o644)
        for arguments in (("tag", "a.tta", "x=y"), ("tag", "a.tta", "x=y", "--safe"), ("untag", "a.tta", "--yes")):
            self.assertRegex(self.host(*arguments, code=1).stderr, b"read-only")
        self.assertEqual(contents("a.tta"), before)
        self.assertEqual(os.listdir("."), ["a.tta"])


class CareOnPosix(HostTest):
    """What only a POSIX system has, or can be made to do from here."""

    setUp = Care.setUp

    def test_what_replaces_a_file_is_like_it(self):
        make("a.tta", seconds=7)
        with open("old.wav", "w") as file:
            file.write("old")
        os.chmod("old.wav", 0o640)
        os.symlink("later.wav", "link.wav")
        self.host("decode", "a.tta", "--force", "-o", "old.wav")
        self.host("decode", "a.tta", "-o", "link.wav")
        self.assertEqual(os.stat("old.wav").st_mode & 0o777, 0o640)
        self.assertTrue(os.path.islink("link.wav"))
        wav_chunks("later.wav")

        os.chmod("a.tta", 0o604)
        os.setxattr("a.tta", "user.note", b"mine")
        os.symlink("a.tta", "link.tta")
        self.host("tag", "link.tta", "--safe", "Title=x")
        self.assertEqual(os.stat("a.tta").st_mode & 0o777, 0o604)
        self.assertEqual(os.getxattr("a.tta", "user.note"), b"mine")
        self.assertTrue(os.path.islink("link.tta"))
        os.link("a.tta", "hard.tta")
        self.host("tag", "a.tta", "--safe", "Title=y", code=1)

    def test_a_full_disk_loses_nothing(self):
        script = """
            mount -t tmpfs -o size=1500k none disk && cp a.tta disk && cd disk || exit 99
            head -c 200k /dev/urandom > filler
            "$0" decode a.tta; echo decode $?
            dd if=/dev/zero of=more bs=1k 2>/dev/null
            "$0" tag a.tta Title=x; echo tag $?
            "$0" tag --safe a.tta Title=x; echo safe $?
            cmp a.tta ../a.tta; ls -A
        """
        make("a.tta", seconds=30)
        os.mkdir("disk")
        ran = subprocess.run(["unshare", "-rm", "sh", "-c", script, host_kit.OPTIONS.host], capture_output=True)
        if ran.returncode == 99 or b"unshare" in ran.stderr:
            self.skipTest("no disk of one's own here: " + ran.stderr.decode())
        self.assertEqual(ran.stdout.split(), b"decode 1 tag 1 safe 1 a.tta filler more".split(), ran.stderr)
        self.assertIn(b"left", ran.stderr)

    def test_a_folder_that_is_read_only(self):
        # For root the mode of a folder counts when it may not pass it over.
        bound = ["setpriv", "--bounding-set", "-dac_override,-dac_read_search"] if os.geteuid() == 0 else []
        if bound and subprocess.run([*bound, "true"], capture_output=True).returncode != 0:
            self.skipTest("this root can't give up its rights")
        os.mkdir("locked")
        make("locked/a.tta")
        before = contents("locked/a.tta")
        os.chmod("locked", 0o555)
        self.addCleanup(os.chmod, os.path.abspath("locked"), 0o755)

        def ran(*arguments):
            command = [*bound, host_kit.OPTIONS.host, *arguments]
            return subprocess.run(command, capture_output=True, stdin=subprocess.DEVNULL, timeout=host_kit.TIME_LIMIT)

        for arguments in (("decode", "locked/a.tta"), ("wave", "locked/a.tta", "-o", "locked/a.png"),
                          ("tag", "locked/a.tta", "--safe", "Title=x")):  # fmt: skip
            result = ran(*arguments)
            self.assertEqual(result.returncode, 1, arguments)
            self.assertRegex(result.stderr, rb"\Adecoder-host: [^\n]*locked[^\n]*\n\Z")
            self.assertRegex(result.stderr, rb"read-only|no permission|[Pp]ermission denied")
            self.assertEqual((os.listdir("locked"), contents("locked/a.tta")), (["a.tta"], before))
        # What needs no room beside the file goes on.
        self.assertEqual(ran("decode", "locked/a.tta", "--to", "out").returncode, 0)
        self.assertEqual(ran("tag", "locked/a.tta", "Title=x").returncode, 0)
        self.assertEqual(self.host("tags", "--get", "Title", "locked/a.tta").stdout, b"x\n")

    def test_nothing_temporary_is_needed(self):
        make("a.tta")
        settings = {"env": {**os.environ, "TMPDIR": "/nonexistent"}}
        self.host("tag", "a.tta", "Title=x", **settings)
        self.host("decode", "a.tta", **settings)

    def test_reasons_are_a_persons(self):
        make("a.tta")
        shutil.copytree(os.path.dirname(host_kit.OPTIONS.host) + "/decoders", "lib/decoders")
        plugin = os.path.join("lib/decoders", "decoder_ffmpeg.so")
        self.assertIn(b"install FFmpeg", self.host("--plugin", plugin, "info", "a.tta", code=1).stderr)
        # Text alone can be written without a worker.
        self.host("--plugin", plugin, "tag", "a.tta", "Title=x", lines=1)
        self.assertEqual(self.host("tags", "--get", "Title", "a.tta").stdout, b"x\n")
        os.mkdir("folder")
        for file, words in (("none.tta", b"no such file"), ("folder", b"is a folder")):
            for command in (("info", file), ("tag", file + "/../none.tta", "x=y")):
                said = self.host(*command, code=1).stderr
                self.assertNotIn(b"win:", said)
            self.assertIn(words, self.host("info", file, code=1).stderr)
