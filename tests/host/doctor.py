"""`decoder-host doctor`: says ok only where it is, and what to do elsewhere; leaves nothing behind."""

import json
import os
import shutil
import signal
import stat
import subprocess
import time

import host_kit
from care import Care
from host_kit import ANY, TIME_LIMIT, HostTest

SETUP = ["plug-in", "worker", "licence", "start", "temporary files"]
TAGS = ["ID3v1 tags", "ID3v2 tags", "APE tags", "Matroska tags"]
TRIALS = ["tone", "quit event", *TAGS]


class DoctorTest(HostTest):
    setUp = Care.setUp

    def lone_plugin(self):
        """One whose worker is missing, or what the test puts at alone/ffmpeg-lgpl.exe."""
        name = "decoder_ffmpeg.dll" if host_kit.OPTIONS.runner else "decoder_ffmpeg.so"
        os.makedirs("alone/decoders")
        shutil.copy(os.path.join(os.path.dirname(host_kit.OPTIONS.host), "decoders", name), "alone/decoders")
        return f"alone/decoders/{name}"

    def findings(self, *options, code=0, **settings):
        output = self.host(*options, "doctor", "--json", code=code, lines=ANY if host_kit.OPTIONS.runner else 0, **settings).stdout
        return {line["check"]: line for line in map(json.loads, output.splitlines())}

    def statuses(self, findings):
        return {check: line["status"] for check, line in findings.items()}


class Doctor(DoctorTest):
    def test_everything_is_well(self):
        os.mkdir("temporary")
        posix = {"env": {**os.environ, "TMPDIR": os.path.abspath("temporary")}}
        findings = self.findings(**({} if host_kit.OPTIONS.runner else posix))
        self.assertEqual(self.statuses(findings), dict.fromkeys(SETUP + TRIALS, "ok"))
        self.assertRegex(findings["plug-in"]["version"], r"\A\d+\.\d+\.\d+\Z")
        self.assertIn("GPL", findings["licence"]["licence"])
        self.assertGreater(findings["start"]["milliseconds"], 0)
        for check in TAGS:
            self.assertIn("read back", findings[check]["text"])
        place = findings["temporary files"]["text"].removeprefix("in ")
        if host_kit.OPTIONS.runner:
            ask = [*host_kit.OPTIONS.runner, "winepath", "-u", place]
            place = subprocess.run(ask, stdout=subprocess.PIPE, check=True, timeout=TIME_LIMIT).stdout.decode().strip()
        self.assertEqual([name for name in os.listdir(place) if name.startswith("decoder-host-")], [])
        text = self.host("doctor").stdout.decode().splitlines()
        self.assertEqual([line[:3] for line in text], ["ok "] * len(SETUP + TRIALS))

    def test_without_a_worker_what_needs_none_is_tried(self):
        findings = self.findings("--plugin", self.lone_plugin(), code=1)
        expected = {"plug-in": "ok", "worker": "wrong", "temporary files": "ok", "tone": "skipped", "quit event": "skipped"}
        self.assertEqual(self.statuses(findings), {**expected, **dict.fromkeys(TAGS, "ok")})
        self.assertIn("install FFmpeg", findings["worker"]["text"])
        self.assertIn("found in the file", findings["APE tags"]["text"])

    def test_without_a_plugin_the_worker_is_looked_at(self):
        with open("text.so", "w") as file:
            file.write("no library\n")
        for plugin in ("none.so", "text.so"):
            findings = self.findings("--plugin", plugin, code=1)
            self.assertEqual(findings["plug-in"]["status"], "wrong")
            self.assertIn("install", findings["plug-in"]["text"])
            self.assertEqual({findings[check]["status"] for check in TRIALS}, {"skipped"})
            self.assertIn("worker", findings)


class DoctorOnPosix(DoctorTest):
    """With scripts for workers, and signals."""

    def put_worker(self, script):
        with open("alone/ffmpeg-lgpl.exe", "w") as file:
            file.write("#!/bin/bash\n" + script)
        os.chmod("alone/ffmpeg-lgpl.exe", stat.S_IRWXU)

    def test_no_place_for_temporary_files(self):
        findings = self.findings(code=1, env={**os.environ, "TMPDIR": "/nonexistent"})
        self.assertEqual(self.statuses({check: findings[check] for check in SETUP[:4]}), dict.fromkeys(SETUP[:4], "ok"))
        self.assertEqual(findings["temporary files"]["status"], "wrong")
        self.assertIn("TMPDIR", findings["temporary files"]["text"])
        self.assertEqual({findings[check]["status"] for check in TRIALS}, {"skipped"})

    def test_what_isnt_a_plugin_or_a_worker(self):
        plugin = self.lone_plugin()
        for script, words in (("echo hello", "it says hello"), ("exit 1", "no answer"), ("yes", "isn't FFmpeg")):
            self.put_worker(script)
            worker = self.findings("--plugin", plugin, code=1)["worker"]
            self.assertEqual(worker["status"], "wrong")
            self.assertIn(words, worker["text"])
        with open("/proc/self/maps") as maps:
            library = next(line.split()[-1] for line in maps if "/libc." in line)
        self.assertIn("has no function Create", self.findings("--plugin", library, code=1)["plug-in"]["text"])

    def test_licences(self):
        plugin = self.lone_plugin()
        for options, licence in (
            ("--prefix=/usr --enable-gpl", "GPL, version 2"),
            ("--enable-gpl --enable-version3 --enable-nonfree", "nonfree"),
            ("--enable-version3 --enable-gpl", "GPL, version 3"),
            ("--enable-version3", "LGPL, version 3"),
            ("--disable-gpl", "LGPL, version 2.1"),
        ):
            self.put_worker(f"echo ffmpeg version 9; echo 'configuration: {options}'")
            found = self.findings("--plugin", plugin, code=1)["licence"]["licence"]
            self.assertTrue(found.startswith(licence), found)

    def test_a_worker_that_changes_the_sound(self):
        plugin = self.lone_plugin()
        # Options of the output stand in front of it, the last word.
        self.put_worker(f'[ "$1" = -version ] && exec "{host_kit.OPTIONS.ffmpeg}" -version\n'
                        f'exec "{host_kit.OPTIONS.ffmpeg}" "${{@:1:$#-1}}" -af volume=0.5 "${{@:$#}}"')
        findings = self.findings("--plugin", plugin, code=1)
        self.assertEqual(findings["tone"]["status"], "wrong", findings["tone"])
        self.assertEqual(findings["APE tags"]["status"], "ok")

    def test_nothing_is_left_after_an_interruption(self):
        plugin = self.lone_plugin()
        self.put_worker(f'[ "$1" = -version ] && exec "{host_kit.OPTIONS.ffmpeg}" -version\nexec sleep 1000')
        os.mkdir("temporary")
        process = subprocess.Popen([host_kit.OPTIONS.host, "--plugin", plugin, "doctor"], stdout=subprocess.DEVNULL,
                                   env={**os.environ, "TMPDIR": os.path.abspath("temporary")})  # fmt: skip
        deadline = time.monotonic() + TIME_LIMIT
        while not any("tone.wav" in files for _, _, files in os.walk("temporary")):
            self.assertLess(time.monotonic(), deadline)
            self.assertIsNone(process.poll())
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(TIME_LIMIT), 130)
        self.assertEqual(os.listdir("temporary"), [])
