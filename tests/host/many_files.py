"""Collections: many files at once, in parts, and again; and what goes through pipes."""

import hashlib
import json
import os
import shutil
import subprocess

import host_kit
from care import Care, contents, make
from host_kit import ANY, TIME_LIMIT, HostTest, ffmpeg, wav_chunks, worker_samples


class ManyFiles(HostTest):
    setUp = Care.setUp

    def test_a_collection_with_broken_files(self):
        count, broken = (24, 2) if host_kit.OPTIONS.runner else (300, 3)
        sound = make("sound.tta", seconds=0.2)
        os.makedirs("music/deep/er")
        names = [f"music/{'deep/er/' if number % 2 else ''}{number}.tta" for number in range(count)]
        for number, name in enumerate(names):
            with open(name, "wb") as file:
                file.write(b"no sound" if number < broken else sound)
        whole = [name[len("music/") : -len(".tta")] for name in names[broken:]]

        # In two parts, as two machines would.
        seen = {}
        for part in ("1/2", "2/2"):
            lines = self.json_lines("decode", "-r", "music", "--to", "out", "--jobs", "4", "--shard", part, "--report",
                                    "report.jsonl", code=None, lines=ANY)
            self.assertFalse(set(lines) & set(seen))
            seen.update(lines)
        found = {name.replace("\\", "/"): line["status"] for name, line in seen.items()}
        self.assertEqual(sorted(found), sorted(names))
        self.assertEqual(sorted(name for name in names if found[name] == "failed"), sorted(names[:broken]))
        for name in whole:
            wav_chunks(f"out/{name}.wav")
        with open("report.jsonl", encoding="utf-8") as report:
            self.assertEqual(len([json.loads(line) for line in report]), count)

        # Again: what is whole stays.
        os.remove(f"out/{whole[0]}.wav")
        said = self.host("decode", "-r", "music", "--to", "out", "--resume", code=1, lines=broken + 1).stderr
        self.assertIn(b"%d files: 1 done, %d skipped, %d failed" % (count, count - broken - 1, broken), said)

    def test_lists_of_names(self):
        make("a.tta")
        make("b c.tta")
        for text in (b"a.tta\nb c.tta\n", b"\xef\xbb\xbfa.tta\r\n\r\nb c.tta", b"a.tta\0b c.tta\0"):
            with open("list", "wb") as file:
                file.write(text)
            self.assertEqual(sorted(self.json_lines("info", "--files-from", "list", lines=1)), ["a.tta", "b c.tta"])
            with open("list", "rb") as file:
                self.assertEqual(len(self.json_lines("info", "--files-from", "-", stdin=file, lines=1)), 2)
        self.assertEqual(list(self.json_lines("info", "a.tta", "./a.tta")), ["a.tta"])
        for wrong in ("0/2", "3/2", "1", "1/x", "/"):
            self.host("info", "a.tta", "--shard", wrong, code=2)

    def test_tags_are_copied_and_restored(self):
        make("a.tta")
        copy, second = make("b.tta"), make("c.mka")
        ffmpeg("-f", "lavfi", "-i", "color=red:s=40x30", "-frames:v", "1", "red.jpg")
        self.host("tag", "a.tta", "Title=A=B", "Artist=One", "Artist=Zwölf", "Mood=calm", "--cover", "front=red.jpg")
        saved = self.host("tags", "a.tta", "--json", "--pictures").stdout
        with open("saved.json", "wb") as file:
            file.write(saved)
        self.host("tag", "b.tta", "c.mka", "--from", "saved.json", "Mood=wild", lines=1)
        for name in ("b.tta", "c.mka"):
            shown = self.json("tags", name, "--pictures")
            tags = {tag["name"].lower(): tag["values"] for tag in shown["tags"]}
            self.assertEqual((tags["title"], tags["artist"], tags["mood"]), (["A=B"], ["One", "Zwölf"], ["wild"]))
            self.assertEqual(self.host("art", name, "-o", "-").stdout, contents("red.jpg"))
        self.assertEqual(self.host("tags", "--get", "artist", "b.tta").stdout.decode(), "One\nZwölf\n")
        self.host("tags", "--get", "nothing", "b.tta", code=1)
        self.host("tag", "b.tta", "--remove", "Mood", "--remove", "Title")
        self.host("tag", "b.tta", "--remove", "Mood", code=1)
        self.host("tags", "--get", "Mood", "b.tta", code=1)
        # A file whose name looks like a tag is neither written as one nor passed over.
        shutil.copy("b.tta", "E=mc2.tta")
        self.host("tag", "b.tta", "E=mc2.tta", "Title=x", code=2)
        self.host("tag", "b.tta", "E=mc2.tta", "--set", "Title=x", lines=1)
        self.assertEqual(self.host("tags", "--get", "Title", "E=mc2.tta").stdout, b"x\n")
        with open("saved.json", "w") as file:
            file.write('{"tags": [{"name": 1, "values": ["x"]}]}')
        self.host("tag", "b.tta", "--from", "saved.json", code=1)

    def test_verify_gives_the_checksum_of_the_samples(self):
        make("a.flac")
        expected = hashlib.md5(worker_samples("a.flac")).hexdigest()
        line = self.json("verify", "a.flac", "--depth", "default")
        self.assertEqual((line["status"], line["md5"]), ("done", expected))
        self.assertIn(expected.encode(), self.host("verify", "a.flac", "--depth", "default").stdout)

    def test_a_report_is_taken_up_again(self):
        for name in ("done.tta", "failed.tta", "half.tta", "new.tta"):
            make(name)
        # What a run left that was killed while it wrote.
        before = (b'{"file":"failed.tta","status":"done"}\n{"file":"done.tta","status":"done","md5":"0"}\nno line of ours\n'
                  b'{"file":"failed.tta","status":"failed"}\n{"file":"half.tta","status":"do')
        names = ["done.tta", "failed.tta", "half.tta", "new.tta"]
        for command in ("verify", "info", "tags"):
            with self.subTest(command):
                with open("report", "wb") as file:
                    file.write(before)
                lines = self.json_lines(command, *names, "--report", "report", "--resume", lines=1)
                self.assertEqual([lines[name]["status"] for name in names], ["skipped", "done", "done", "done"])
                added = contents("report")
                self.assertTrue(added.startswith(before + b"\n"))
                added = [json.loads(line) for line in added[len(before) :].splitlines() if line]
                self.assertEqual(sorted(line["file"] for line in added), names[1:])
                lines = self.json_lines(command, *names, "--report", "report", "--resume", lines=1)
                self.assertEqual({line["status"] for line in lines.values()}, {"skipped"})
        self.host("verify", "done.tta", "--resume", code=2)

    def test_words_for_people(self):
        make("a.tta")
        self.assertEqual(self.host("decode", "a.tta", "-q").stdout, b"")
        self.assertIn(b"Wrote b.wav: 0:01.000, PCM, 16 bits", self.host("decode", "a.tta", "-o", "b.wav").stdout)
        for line in self.host("decode", "--help").stdout.decode().splitlines():
            self.assertTrue(len(line) <= 80 or line.startswith("  decoder-host"), line)
        version = self.host("--version").stdout
        self.assertRegex(version, rb"\Adecoder-host \d+\.\d+\.\d+\r?\nplug-in: .+\nworker: ffmpeg version ")
        help_text = self.host("tag", "--help").stdout
        for extension in (b".tak", b".tta", b".dts", b".dtshd", b".mka", b".mkv", b".webm", b".weba"):
            self.assertIn(extension, help_text)

    def test_standard_input(self):
        make("a.wav")
        expected = wav_chunks("a.wav")[b"data"]
        with open("a.wav", "rb") as file:
            self.host("decode", "-", "-o", "redirected.wav", stdin=file)
        self.assertEqual(wav_chunks("redirected.wav")[b"data"], expected)
        self.host("decode", "-", code=1)
        command = [*host_kit.OPTIONS.runner, host_kit.OPTIONS.host, "decode", "-", "--start", "0.5", "--raw", "-o", "-"]
        piped = subprocess.run(command, input=contents("a.wav"), stdout=subprocess.PIPE, timeout=TIME_LIMIT, check=True)
        self.assertEqual(piped.stdout, expected[len(expected) // 2 :])
        self.assertIn(b"no audio in it", self.host("decode", "-", "-o", "none.wav", input=b"", stdin=None, code=1).stderr)


class ManyOnPosix(HostTest):
    setUp = Care.setUp

    def test_a_run_that_is_killed_and_one_beside_it(self):
        """Nothing is done twice, and nothing is missing."""
        ffmpeg("-f", "lavfi", "-i", "nullsrc=s=300x300,geq=random(1)*255:128:128", "-frames:v", "1", "noise.png")
        make("0.tta", seconds=0.1)
        self.host("tag", "0.tta", "--cover", "front=noise.png")
        names = [f"{number}.tta" for number in range(24)]
        for name in names[1:]:
            shutil.copy("0.tta", name)
        command = [host_kit.OPTIONS.host, "tags", "--pictures", "-q", "--report", "report", "--resume"]
        parts = [names[:12], names[12:]]

        def count():
            return contents("report").count(b"\n") if os.path.exists("report") else 0

        for _ in range(3):
            before = count()
            runs = [subprocess.Popen([*command, *part], stdout=subprocess.DEVNULL) for part in parts]
            while count() < before + 4 and any(run.poll() is None for run in runs):
                pass
            for run in runs:
                run.kill()
                run.wait(TIME_LIMIT)
        self.assertGreaterEqual(count(), 12)
        for part in parts:
            subprocess.run([*command, *part], stdout=subprocess.DEVNULL, timeout=TIME_LIMIT, check=True)
        lines, halves = [], 0
        for line in contents("report").split(b"\n")[:-1]:
            try:
                lines.append(json.loads(line))
            except ValueError:
                halves += 1
        self.assertEqual(sorted(line["file"] for line in lines), sorted(names))
        self.assertTrue(all(line["status"] == "done" and line["pictures"] for line in lines))
        self.assertLessEqual(halves, 6, "each run that was killed may leave a half line")

        # Without a kill there is none, however long the lines and however many write them.
        os.remove("report")
        runs = [subprocess.Popen([*command, *part], stdout=subprocess.DEVNULL) for part in parts]
        self.assertEqual([run.wait(TIME_LIMIT) for run in runs], [0, 0])
        lines = [json.loads(line) for line in contents("report").splitlines()]
        self.assertEqual(sorted(line["file"] for line in lines), sorted(names))

    def test_a_reader_that_goes_leaves_nothing(self):
        make("long.flac", seconds=600)
        for name in ("a.tta", "b.tta", "c.tta"):
            make(name)
        before = sorted(os.listdir("."))
        for command in (["decode", "long.flac", "-o", "-"], ["tags", "a.tta", "b.tta"]):
            process = subprocess.Popen([host_kit.OPTIONS.host, *command], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            process.stdout.close()
            self.assertEqual(process.stderr.read(), b"")
            process.stderr.close()
            self.assertIn(process.wait(TIME_LIMIT), (141, -13))
        self.assertEqual(sorted(os.listdir(".")), before)

    def test_the_plug_ins_own_lines(self):
        make("a.tta")
        command = [host_kit.OPTIONS.host, "-v", "info", "a.tta"]
        said = subprocess.run(command, capture_output=True, timeout=TIME_LIMIT, check=True).stderr
        self.assertIn(b"a.tta", said)
