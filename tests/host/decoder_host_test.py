"""decoder-host from outside: real files in, compared with what FFmpeg and ffprobe say of them.

    decoder_host_test.py --host PATH --worker PATH [--ffmpeg PATH] [--runner WORD]... [unittest arguments]

The words of --runner stand in front of the host and the worker, as "wine" does for Windows programs.
"""

import argparse
import json
import os
import re
import select
import shutil
import signal
import struct
import subprocess
import sys
import threading
import time
import unittest

import host_kit
from care import Care, CareOnPosix
from doctor import Doctor, DoctorOnPosix
from many_files import ManyFiles, ManyOnPosix
from sound import Sound, SoundOnPosix
from waves import Waves, WavesOnPosix
from host_kit import TIME_LIMIT, HostTest, ffmpeg, wav_chunks, worker_samples


class Decoding(HostTest):
    SOURCE = ["-f", "lavfi", "-i", "aevalsrc=0.4*sin(2*PI*(330+40*t)*t)|0.3*sin(2*PI*(500-30*t)*t):d=4.0004:s=44100"]

    def test_samples_are_those_of_the_worker(self):
        cases = {
            "plain.tta": [],
            "with blank, 'quotes' and 100%.flac": [],
            "кириллица 😀.mka": ["-c:a", "libvorbis"],
            "-dash.ac3": [],
            "surround.wav": ["-af", "pan=5.1|c0=c0|c1=c1|c4=c0", "-c:a", "pcm_s24le"],
            "odd.au": ["-ac", "1", "-ar", "8000", "-c:a", "pcm_mulaw"],
            "odd bytes.wav": ["-ac", "1", "-t", "0.01", "-c:a", "pcm_u8"],
            "colon:time.tta": [],
        }
        for name, options in cases.items():
            if host_kit.OPTIONS.runner and ":" in name:
                continue  # no name for a file on Windows
            with self.subTest(name):
                ffmpeg(*self.SOURCE, *options, "./" + name)
                expected = worker_samples("./" + name)
                self.assertEqual(self.host("decode", "--depth", "default", "--raw", "-o", "-", "--", name).stdout, expected)
                self.host("decode", "--depth", "default", "--force", "-o", "out.wav", "--", name)
                chunks = wav_chunks("out.wav")
                self.assertEqual(chunks[b"data"], expected)
                streamed = self.host("decode", "--depth", "default", "-o", "-", "--", name).stdout
                self.assertEqual(streamed[-len(expected) :], expected)
                self.assertEqual(streamed[4:8] + streamed[-len(expected) - 4 : -len(expected)], b"\xff" * 8)
                tag, channels = struct.unpack_from("<HH", chunks[b"fmt "])
                self.assertEqual((tag, len(chunks[b"fmt "])), (0xFFFE, 40) if channels > 2 else (1, 16))

    def test_pieces(self):
        ffmpeg(*self.SOURCE, "piece.tta")
        frame = 4
        for start, duration in (("1.5", None), ("0:01.5", "0:01"), (None, "2.25"), ("0", "00:00:00.5"), ("3", "9")):
            with self.subTest((start, duration)):
                options = (["--start", start] if start else []) + (["--duration", duration] if duration else [])
                seconds = float((start or "0").split(":")[-1])
                expected = worker_samples("piece.tta", *(["-ss", str(seconds)] if seconds else []))
                if duration:
                    expected = expected[: round(float(duration.split(":")[-1]) * 44100) * frame]
                self.host("decode", "--depth", "default", "--force", *options, "piece.tta", "-o", "piece.wav")
                self.assertEqual(wav_chunks("piece.wav")[b"data"], expected)

    def test_output_beside_the_input_is_never_replaced(self):
        os.mkdir("beside")
        ffmpeg(*self.SOURCE, "beside/a.tta")
        self.host("decode", "beside/a.tta")
        wav_chunks("beside/a.wav")
        self.host("decode", "beside/a.tta", code=1)
        self.host("decode", "beside/a.tta", "--force", "-o", "beside/a.tta", code=1)
        self.assertEqual(sorted(os.listdir("beside")), ["a.tta", "a.wav"])


class Showing(HostTest):
    def test_info_agrees_with_ffprobe(self):
        ffmpeg("-f", "lavfi", "-i", "sine=d=3.21", "-metadata", "title=A: B = C", "-metadata", "comment=one\ntwo",
               "-metadata", "artist=Ünïcode", "info.flac")
        probe = json.loads(subprocess.run(
            [os.path.join(os.path.dirname(host_kit.OPTIONS.ffmpeg), "ffprobe"), "-v", "error", "-show_format", "-of", "json",
             "info.flac"], check=True, capture_output=True).stdout)["format"]
        info = self.json("info", "info.flac")
        self.assertAlmostEqual(info["durationMs"], float(probe["duration"]) * 1000, delta=10)
        self.assertAlmostEqual(info["bitrate"], float(probe["bit_rate"]), delta=1000)
        self.assertEqual(info["format"]["sampleRate"], 44100)
        self.assertEqual(info["encoders"], ["flac"])
        tags = {tag["name"].lower(): tag["values"] for tag in info["tags"]}
        self.assertEqual(tags["title"], ["A: B = C"])
        self.assertEqual(tags["artist"], ["Ünïcode"])
        self.assertEqual(tags["comment"], ["one\ntwo"])
        self.assertEqual(self.json("tags", "info.flac")["tags"], info["tags"])
        text = self.host("info", "info.flac").stdout.decode()
        for part in ("0:03.210", "44100 Hz", "flac", "A: B = C"):
            self.assertIn(part, text)

    def test_formats(self):
        formats = self.json("formats")
        self.assertIn({"extension": ".tak", "description": "Tom's Audio Kompressor"}, formats["decodes"])
        self.assertEqual((len(formats["decodes"]), len(formats["streamingDecodes"])), (19, 5))
        text = self.host("formats").stdout.decode()
        for row in formats["decodes"]:
            self.assertIn(row["extension"], text)

    def test_help_for_every_command(self):
        for command in ("formats", "info", "decode", "verify", "wave", "tags", "tag", "untag", "art", "doctor", "check"):
            self.assertIn(b"Example", self.host(command, "--help").stdout)


class Tagging(HostTest):
    """What isn't named stays, whichever kind of tag the file has."""

    def tags(self, name):
        shown = self.json("tags", name)
        return {tag["name"].lower(): tag["values"] for tag in shown["tags"]}, shown["pictures"]

    def picture_types(self, name):
        return sorted(picture["type"] for picture in self.tags(name)[1])

    def image(self, name, colour):
        ffmpeg("-f", "lavfi", "-i", f"color={colour}:s=40x30", "-frames:v", "1", name)
        with open(name, "rb") as file:
            return file.read()

    def audio(self, name, *options):
        ffmpeg("-f", "lavfi", "-i", "sine=d=1", "-map_metadata", "-1", "-fflags", "+bitexact", *options, name)
        with open(name, "rb") as file:
            return file.read()

    def test_tag_art_untag(self):
        red, blue, green = self.image("red.jpg", "red"), self.image("blue.png", "blue"), self.image("green.jpg", "green")
        for name, exact in (("song.tta", True), ("song.mka", False)):
            with self.subTest(name):
                original = self.audio(name)
                samples = worker_samples(name)
                before, _ = self.tags(name)
                self.assertIsNone(self.json("info", name)["tagKind"])

                self.host("tag", name, "Title=A: B = C", "Artist=One", "Artist=Zwölf", "Mood=[a,b]", "Style=x",
                          "--cover", "back=blue.png", "--cover", "front=red.jpg")  # fmt: skip
                expected = {**before, "title": ["A: B = C"], "artist": ["One", "Zwölf"], "mood": ["[a,b]"], "style": ["x"]}
                tags, pictures = self.tags(name)
                self.assertEqual(tags, expected)
                self.assertEqual(self.json("info", name)["tagKind"], "APEv2" if exact else None)
                shown = sorted((picture["type"], picture["bytes"], picture["format"]) for picture in pictures)
                self.assertEqual(shown, [("Back Album Cover", len(blue), "PNG"), ("Front Album Cover", len(red), "JPEG")])
                self.assertIn(b"Front Album Cover, JPEG, %d bytes" % len(red), self.host("tags", name).stdout)
                probe = os.path.join(os.path.dirname(host_kit.OPTIONS.ffmpeg), "ffprobe")
                judged = subprocess.run([probe, "-v", "quiet", "-show_format", name], capture_output=True, check=True)
                self.assertIn("=A: B = C\n", judged.stdout.decode().replace("\r", ""))

                # A second front cover would show as a third picture.
                self.host("tag", name, "title=New", "mood=", "--cover", "front=green.jpg")
                expected = {**expected, "title": ["New"]}
                del expected["mood"]
                self.assertEqual(self.tags(name)[0], expected)
                self.assertEqual(self.picture_types(name), ["Back Album Cover", "Front Album Cover"])

                folder = name + " art"
                written = self.host("art", name, "--to", folder).stdout.decode().splitlines()
                self.assertEqual(sorted(os.listdir(folder)), sorted(path.replace("\\", "/").split("/")[-1] for path in written))
                images = {}
                for file_name in os.listdir(folder):
                    with open(os.path.join(folder, file_name), "rb") as file:
                        images[file_name.split(" ")[1].split(".")[0], file_name.rsplit(".")[-1]] = file.read()
                self.assertEqual(images, {("Back", "png"): blue, ("Front", "jpg"): green})
                self.host("art", name, "--to", folder, code=1)

                # The other picture has no description either, and must not go with this one.
                self.host("untag", name, "--name", "Style", "--cover", "front")
                del expected["style"]
                self.assertEqual(self.tags(name)[0], expected)
                self.assertEqual(self.picture_types(name), ["Back Album Cover"])

                self.host("untag", name, "--yes")
                self.assertEqual(self.tags(name), ({}, []))
                self.assertEqual(worker_samples(name), samples)
                self.host("art", name, "--to", folder, code=1)
                if exact:
                    with open(name, "rb") as file:
                        self.assertEqual(file.read(), original)

    def test_names_in_brackets_are_not_lists(self):
        self.audio("list.tta")
        self.host("tag", "list.tta", "[x,y]=1", "[a]=b]", "x=2")
        self.host("untag", "list.tta", "--name", "[x,y]")
        self.assertEqual(self.tags("list.tta")[0], {"[a]": ["b]"], "x": ["2"]})


class Failing(HostTest):
    def test_one_line_and_nothing_left(self):
        ffmpeg("-f", "lavfi", "-i", "sine=d=1", "good.flac")
        with open("text.flac", "w") as file:
            file.write("no sound\n")
        os.mkdir("folder")
        cases = [
            (1, "info", "missing.flac"), (1, "decode", "missing.flac", "-o", "x.wav"), (1, "info", "folder"),
            (1, "decode", "text.flac", "-o", "x.wav"), (1, "info", "http://127.0.0.1:9/x"),
            (1, "decode", "good.flac", "-o", "missing/x.wav"), (1, "decode", "good.flac", "-o", "folder"),
            (1, "tag", "good.flac", "a=b"), (1, "untag", "good.flac", "--name", "a"), (1, "--plugin", "text.flac", "formats"),
            (1, "--error-log", "missing/log", "formats"), (1, "tag", "good.flac", "--cover", "front=text.flac"),
            (2,), (2, "decode"), (2, "nonsense"), (2, "decode", "good.flac", "--start", "1:90"),
            (2, "tag", "good.flac"), (2, "tag", "good.flac", "novalue"), (2, "tag", "good.flac", "_albumart_1=x"),
            (1, "untag", "good.flac"), (2, "untag", "missing.tta"), (2, "untag", "good.flac", "--name", "_albumart_1_Media"),
        ]  # fmt: skip
        before = sorted(os.listdir("."))
        for code, *arguments in cases:
            with self.subTest(arguments):
                self.host(*arguments, code=code)
                self.assert_nothing_left(before)
        self.assertIn(b"missing.flac", self.host("info", "missing.flac", code=1).stderr)
        self.assertIn(b"finds no audio", self.host("info", "text.flac", code=1).stderr)

    def test_logs_are_appended(self):
        with open("text.flac", "w") as file:
            file.write("no sound\n")
        for _ in range(2):
            self.host("--trace-log", "trace", "info", "text.flac", "--error-log", "errors", code=1)
        with open("errors", "rb") as file:
            errors = file.read().decode("utf-16-le")
        self.assertEqual(errors.count("could not be decoded"), 2)
        self.assertRegex(errors, r"  \[\S+\]\r\n\Z")
        with open("trace", "rb") as file:
            self.assertEqual(file.read().decode("utf-16-le").count("*** Error: "), 2)


class OnPosix(HostTest):
    """What only a POSIX system can be made to do from here."""

    def test_full_disk_leaves_the_old_file(self):
        import resource

        ffmpeg("-f", "lavfi", "-i", "sine=d=5", "good.flac")
        with open("old.wav", "w") as file:
            file.write("old")
        before = sorted(os.listdir("."))
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (100000, 100000))
        for target in ("old.wav", "new.wav"):
            self.host("decode", "--force", "good.flac", "-o", target, code=1, preexec_fn=limit)
            self.assert_nothing_left(before)
        with open("old.wav") as file:
            self.assertEqual(file.read(), "old")
        with open("/dev/full", "w") as full:
            self.host("decode", "good.flac", "-o", "-", code=1, stdout=full)
            self.host("info", "good.flac", code=1, stdout=full)

    def test_what_is_no_regular_file_is_written_to_and_not_replaced(self):
        ffmpeg("-f", "lavfi", "-i", "sine=d=1", "good.flac")
        os.mkfifo("pipe.wav")
        self.addCleanup(os.remove, "pipe.wav")
        received = []

        def read():
            with open("pipe.wav", "rb") as pipe:
                received.append(pipe.read())

        reader = threading.Thread(target=read)
        reader.start()
        self.host("decode", "good.flac", "--depth", "default", "-o", "pipe.wav")
        reader.join()
        self.assertEqual(received[0][-88200:], worker_samples("good.flac"))
        os.symlink("real.wav", "link.wav")
        with open("real.wav", "w") as file:
            file.write("old")
        self.host("decode", "good.flac", "--force", "-o", "link.wav")
        self.assertTrue(os.path.islink("link.wav"))
        wav_chunks("real.wav")

    def test_interruption(self):
        """Ctrl-C reaches the worker too, whose end must not pass for the end of the file."""
        ffmpeg("-f", "lavfi", "-i", "sine=d=1", "head.wav")
        with open("head.wav", "rb") as file:
            audio = file.read()
        audio = audio[:4] + b"\xff" * 4 + audio[8:]
        cut = audio.index(b"data") + 4
        audio = audio[:cut] + b"\xff" * 4 + audio[cut + 4 :]

        def feed():
            try:
                with open("endless", "wb") as pipe:
                    pipe.write(audio)
                    while True:
                        pipe.write(bytes(65536))
            except BrokenPipeError:
                pass

        for send, number, code in ((os.killpg, signal.SIGINT, 130), (os.kill, signal.SIGINT, 130),
                                   (os.killpg, signal.SIGTERM, 143), (os.kill, signal.SIGQUIT, 131)):  # fmt: skip
            with self.subTest((send.__name__, number)):
                os.mkfifo("endless")
                before = sorted(os.listdir("."))
                feeder = threading.Thread(target=feed)
                feeder.start()
                process = subprocess.Popen([host_kit.OPTIONS.host, "decode", "endless", "-o", "ended.wav"], start_new_session=True,
                                           stderr=subprocess.PIPE)  # fmt: skip
                deadline = time.monotonic() + TIME_LIMIT
                while os.listdir(".") == before or not any(
                    name.endswith(".part") and os.path.getsize(name) > 100000 for name in os.listdir(".")
                ):
                    self.assertLess(time.monotonic(), deadline)
                    self.assertIsNone(process.poll())
                send(process.pid, number)
                self.assertEqual(process.communicate(timeout=TIME_LIMIT)[1], b"")
                self.assertEqual(process.returncode, code)
                feeder.join()
                self.assert_nothing_left(before)
                os.remove("endless")

    def test_terminal(self):
        ffmpeg("-f", "lavfi", "-i", "sine=d=2", "-metadata", "title=a\x1b[2Jb", "good.tta")

        code, output = self.on_terminal("decode", "good.tta", "--force", "-o", "out.wav")
        self.assertEqual(code, 0)
        self.assertRegex(output, rb"\[#+\] 0:02 / 0:02  [0-9.]+x *\r\nWrote out.wav: 0:02.000, [^\n]+\r\n\Z")
        self.assertEqual(self.on_terminal("decode", "good.tta", "-o", "-")[0], 2)
        self.assertIn(rb"a\u001B[2Jb", self.on_terminal("tags", "good.tta")[1])
        for answer, code in ((b"n\n", 1), (b"y\n", 0)):
            self.assertEqual(self.on_terminal("untag", "good.tta", answer=answer)[0], code)
        self.assertEqual(self.on_terminal("tags", "good.tta"), (0, b""))

    def test_colours_and_the_last_line_of_a_terminal(self):
        for name in ("a.tta", "b.tta"):
            ffmpeg("-f", "lavfi", "-i", "sine=d=0.2", "-metadata", "title=x", name)
        arguments = ("tags", "a.tta", "none.tta", "b.tta")
        for colours, environment in ((True, {}), (True, {"NO_COLOR": ""}), (False, {"NO_COLOR": "1"}), (False, {"TERM": "dumb"})):
            with self.subTest(environment):
                code, shown = self.on_terminal(*arguments, **{"TERM": "xterm", "NO_COLOR": "", **environment})
                self.assertEqual(code, 1)
                self.assertEqual(b"\x1b[1ma.tta\x1b[0m" in shown, colours)
                self.assertEqual(b"\x1b[31mnone.tta: no such file\x1b[0m" in shown, colours)
                self.assertEqual(b"\x1b" in shown, colours)
                # The bar that counts is wiped out before every line that stays.
                self.assertRegex(shown, rb"\[#{10}\.{20}\] 1 / 3")
                self.assertRegex(shown, rb"\[#{30}\] 3 / 3  1 failed\r +\rdecoder-host: 3 files: 2 done, 1 failed\r\n\Z")

    def test_closed_standard_streams(self):
        """No file of ours may become the program's standard output or error."""
        ffmpeg("-f", "lavfi", "-i", "sine=d=1", "good.flac")
        for closed in ((0,), (1,), (2,), (0, 1, 2)):
            close = lambda: [os.close(number) for number in closed]
            self.host("decode", "good.flac", "--depth", "default", "--force", "-o", "out.wav", preexec_fn=close, stdin=None)
            self.assertEqual(wav_chunks("out.wav")[b"data"], worker_samples("good.flac"))


class MissingWorker(HostTest):
    def test_is_told_with_its_place(self):
        decoders = os.path.join(os.path.dirname(host_kit.OPTIONS.host), "decoders")
        name = "decoder_ffmpeg.dll" if host_kit.OPTIONS.runner else "decoder_ffmpeg.so"
        os.makedirs("alone/decoders")
        shutil.copy(os.path.join(decoders, name), "alone/decoders")
        ffmpeg("-f", "lavfi", "-i", "sine=d=0.2", "good.flac")
        result = self.host("--plugin", f"alone/decoders/{name}", "info", "good.flac", code=1)
        self.assertRegex(result.stderr, rb"alone[/\\]ffmpeg-lgpl\.exe is missing: install FFmpeg")


class OnWine(HostTest):
    def on_console(self, *arguments, answer=None):
        """What a console shows, without the sequences that Wine draws with, and the exit code."""
        import pty
        import tty

        pid, terminal = pty.fork()
        if pid == 0:
            tty.setraw(0)  # Wine's console would get keys translated that come before it reads
            os.execv(host_kit.OPTIONS.runner[0], [*host_kit.OPTIONS.runner, host_kit.OPTIONS.host, *arguments])
        output = b""
        deadline = time.monotonic() + TIME_LIMIT
        try:
            while select.select([terminal], [], [], deadline - time.monotonic())[0]:
                output += os.read(terminal, 4096)
                if answer and b"[y/N]" in output:
                    os.write(terminal, answer)
                    answer = None
            os.kill(pid, signal.SIGKILL)
        except OSError:
            pass  # how Linux reports that the other side has gone
        os.close(terminal)
        shown = re.sub(rb"\x1b(\[[0-9;?]*[A-Za-z]|\][^\x07]*\x07)", b"", output)
        return os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]), shown.decode()

    def test_console(self):
        self.host("formats")  # Wine's services begin here, and don't hold the console
        ffmpeg("-f", "lavfi", "-i", "sine=d=0.2", "-metadata", "title=März кино", "good.tta")
        self.assertIn("März кино", self.on_console("tags", "good.tta")[1])
        self.assertIn("кино.tta", self.on_console("tags", "кино.tta")[1], "an error")
        for answer, code in ((b"n\r", 1), (b" Y \r", 0)):
            self.assertEqual(self.on_console("untag", "good.tta", answer=answer)[0], code)
        self.assertEqual(self.json("tags", "good.tta")["tags"], [])

    def test_closed_window_leaves_nothing(self):
        ffmpeg("-f", "lavfi", "-i", "sine=d=3600", "-ar", "44100", "long.flac")
        before = sorted(os.listdir("."))
        options = host_kit.OPTIONS
        process = subprocess.Popen([*options.runner, options.host, "decode", "long.flac", "-o", "out.wav"],
                                   stdin=subprocess.DEVNULL)  # fmt: skip
        deadline = time.monotonic() + TIME_LIMIT
        while not any(name.endswith(".part") for name in os.listdir(".")):
            self.assertLess(time.monotonic(), deadline)
            self.assertIsNone(process.poll())
        subprocess.run([*options.runner, options.close_console], check=True, timeout=TIME_LIMIT)
        self.assertEqual(process.wait(TIME_LIMIT), 130)
        self.assert_nothing_left(before)

    def test_path_that_names_a_drive(self):
        ffmpeg("-f", "lavfi", "-i", "sine=d=0.2", "plain.flac")
        self.assertEqual(self.json("info", "Z:plain.flac")["durationMs"], 200)

    def test_redirected_file(self):
        """It has a name, unlike a pipe: it's read twice, to learn how deep it is."""
        ffmpeg("-f", "lavfi", "-i", "sine=d=0.2", "-sample_fmt", "s32", "deep.flac")
        program = "Z:" + host_kit.OPTIONS.host.replace("/", "\\")
        command = [*host_kit.OPTIONS.runner, "cmd", "/c", program, *"decode - -o deep.wav < deep.flac".split()]
        subprocess.run(command, stdin=subprocess.DEVNULL, check=True, timeout=TIME_LIMIT)
        self.host("decode", "deep.flac", "-o", "named.wav")
        self.assertEqual(wav_chunks("deep.wav"), wav_chunks("named.wav"))

    def test_text_of_old_tags(self):
        """UTF-8 is the program's code page, but not that of ID3v1."""
        ffmpeg("-f", "lavfi", "-i", "sine=d=0.2", "old.tta")
        with open("old.tta", "ab") as file:
            file.write(b"TAG" + b"M\xe4rz".ljust(124, b"\0") + b"\xff")
        self.assertIn("März", self.host("tags", "old.tta").stdout.decode())


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--host", required=True, type=os.path.abspath)
    parser.add_argument("--worker", required=True, type=os.path.abspath)
    parser.add_argument("--ffmpeg", default="ffmpeg")
    parser.add_argument("--close-console", type=os.path.abspath)
    parser.add_argument("--runner", action="append", default=[])
    host_kit.OPTIONS, rest = parser.parse_known_args()
    # Wine takes the names that it is given for text of the locale's.
    os.environ["LC_ALL"] = "C.UTF-8"
    if host_kit.OPTIONS.runner:
        global OnPosix, CareOnPosix, DoctorOnPosix, ManyOnPosix, SoundOnPosix, WavesOnPosix
        del OnPosix, CareOnPosix, DoctorOnPosix, ManyOnPosix, SoundOnPosix, WavesOnPosix
    else:
        global OnWine
        del OnWine
    unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
