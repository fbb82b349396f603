#!/usr/bin/env python3
"""descriptions_test.py HOST FOLDER: the manual pages as formatters see them, and the completions in the shells that they
are for. What has to be in them is what the program's own help says."""

import gzip
import os
import pty
import re
import select
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

HOST = Path(sys.argv[1]).absolute()
FOLDER = Path(sys.argv[2]).absolute()
TIME_LIMIT = 60


def run(*command, **settings):
    if "input" not in settings:
        settings["stdin"] = subprocess.DEVNULL
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **settings).stdout


def section(text, title):
    """The names in front of the rows of a section of the help."""
    rows = re.search(rf"^{title}:\n((?:  .*\n)+)", text, re.MULTILINE)
    return re.findall(r"^  (\S.*?)(?:  |$)", rows[1], re.MULTILINE) if rows else []


HELP = {None: run(HOST, "--help")}
COMMANDS = section(HELP[None], "Commands")
HELP.update({command: run(HOST, command, "--help") for command in COMMANDS})
OPTIONS = {command: re.findall(r"^  (?:-\w, )?(--[\w-]+)", HELP[command], re.MULTILINE) for command in COMMANDS}

# What is typed behind the program's name, and words that have to be among what is offered, whole words.
CASES = [
    ("de", {"decode"}),
    ("decode --dep", {"--depth"}),
    ("--plug", {"--plugin"}),
    ("decode --depth f", {"f32", "f64"}),
    ("untag --cover ba", {"back", "band"}),
    ("tag song.tta --cover fro", {"front="}),
    ("decode son", {"song.tta"}),
    ("decode --to fol", {"folder/"}),
    ("--plugin lib.so inf", {"info"}),
]


class Manuals(unittest.TestCase):
    def test_there_is_one_for_each_command(self):
        names = {"decoder-host.1.gz", *(f"decoder-host-{command}.1.gz" for command in COMMANDS)}
        self.assertEqual({page.name for page in (FOLDER / "man").iterdir()}, names)
        self.assertIn("decode", COMMANDS)

    def test_formatters_have_nothing_to_say(self):
        for page in (FOLDER / "man").iterdir():
            with self.subTest(page.name):
                text = gzip.decompress(page.read_bytes()).decode()
                self.assertEqual(run("mandoc", "-T", "lint", "-W", "warning", page), "")
                self.assertEqual(run("groff", "-man", "-ww", "-Tutf8", "-z", "-", input=text), "")

    def test_they_say_what_help_says(self):
        for command in COMMANDS:
            shown = run("mandoc", "-T", "ascii", FOLDER / "man" / f"decoder-host-{command}.1.gz")
            words = " ".join(re.sub(r".\x08", "", shown).split())
            for line in HELP[command].split("\n\nFor every command:")[0].splitlines():
                for word in line.split() if line.startswith("  ") else ():
                    self.assertIn(word.rstrip("."), words, command)
            self.assertRegex(words, r"NAME decoder-host-\w+ - [a-z].*\w SYNOPSIS")


class Shells(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        Path("song.tta").touch()
        Path("cover.jpg").touch()
        Path("folder").mkdir()

    def offered_by_bash(self, words, cursor=-1):
        script = f"source {FOLDER}/bash/decoder-host; COMP_WORDS=(decoder-host"
        script += "".join(f" '{word}'" for word in words) + f'); COMP_CWORD={len(words)}; _decoder_host; printf "%s\\n" "${{COMPREPLY[@]}}"'
        return set(run("bash", "--norc", "-c", script).split())

    def test_bash(self):
        for typed, words in CASES:
            with self.subTest(typed):
                # It is readline that puts the slash behind a folder.
                self.assertEqual(self.offered_by_bash(typed.split(" ")), {word.rstrip("/") for word in words})
        # "=" is a word of its own there.
        self.assertEqual(self.offered_by_bash(["decode", "--depth", "=", "f3"]), {"f32"})
        self.assertEqual(self.offered_by_bash(["decode", "--depth", "="]), {"source", "default", "16", "24", "32", "f32", "f64"})
        self.assertEqual(self.offered_by_bash(["tag", "song.tta", "--cover", "front", "=", "co"]), {"cover.jpg"})
        self.assertEqual(self.offered_by_bash(["decode", "--start", "s"]), set())
        for command in COMMANDS:
            self.assertLessEqual(set(OPTIONS[command]), self.offered_by_bash([command, "--"]))

    def offered_by_fish(self, typed):
        script = f"source {FOLDER}/fish/decoder-host.fish; complete -C 'decoder-host {typed}'"
        return {line.split("\t")[0] for line in run("fish", "--no-config", "-c", script).splitlines()}

    def test_fish(self):
        for typed, words in CASES:
            with self.subTest(typed):
                self.assertEqual(self.offered_by_fish(typed), words)
        self.assertEqual(self.offered_by_fish("tag song.tta --cover front=co"), {"front=cover.jpg"})
        self.assertEqual(self.offered_by_fish("decode --start s"), set())
        for command in COMMANDS:
            self.assertLessEqual(set(OPTIONS[command]), self.offered_by_fish(command + " --"))

    def test_zsh(self):
        """In a terminal, as it is used: what stands there after the key."""
        with Zsh() as shell:
            for typed, words in CASES:
                with self.subTest(typed):
                    self.assertRegex(shell.after_tab("decoder-host " + typed), shell.expected(typed, words))
            self.assertIn("front=cover.jpg", shell.after_tab("decoder-host tag song.tta --cover front=co"))
            for command in COMMANDS:
                for option in OPTIONS[command]:
                    self.assertRegex(shell.after_tab(f"decoder-host {command} {option}"), rf"{option}[ =]")


class Zsh:
    PROMPT = "ready>"

    def __enter__(self):
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            os.environ.update(TERM="dumb", HOME=os.getcwd())
            os.execvp("zsh", ["zsh", "-f", "-i"])
        setup = f"PS1='{self.PROMPT[:3]}''{self.PROMPT[3:]}'; fpath=({FOLDER}/zsh $fpath); autoload -Uz compinit; compinit -u -D; LISTMAX=999\r"
        os.write(self.terminal, setup.encode())
        self.read_until(self.PROMPT)
        return self

    def __exit__(self, *_):
        os.close(self.terminal)
        os.waitpid(self.pid, 0)

    def read_until(self, pattern):
        text = ""
        deadline = time.monotonic() + TIME_LIMIT
        while not re.search(pattern, text, re.DOTALL):
            if not select.select([self.terminal], [], [], deadline - time.monotonic())[0]:
                raise AssertionError(f"{pattern!r} never came: {text!r}")
            text += os.read(self.terminal, 4096).decode(errors="replace").replace("\a", "")
        return text

    def after_tab(self, typed):
        """The line, and what was listed below it, once the key is done with."""
        # Ctrl-U takes the line back, and the next one tells that the key has been looked at.
        os.write(self.terminal, typed.encode() + b"\t\x15print -r -- do''ne\r")
        return self.read_until(r"done\r?\n.*" + self.PROMPT).split("print -r")[0]

    @staticmethod
    def expected(typed, words):
        if len(words) == 1:
            return re.escape(" ".join([*typed.split(" ")[:-1], *words]))
        return ".*".join(sorted(words))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
