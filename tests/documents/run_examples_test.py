#!/usr/bin/env python3
"""What run_examples.py lets pass and what it doesn't."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SCRIPT = Path(__file__).with_name("run_examples.py")
GOOD = "```sh\nprintf 'one\\ntwo\\n' >file\n```\n"


class RunExamples(unittest.TestCase):
    def run_on(self, text):
        with tempfile.NamedTemporaryFile("w", suffix=".md") as document:
            document.write(text)
            document.flush()
            return subprocess.run([sys.executable, SCRIPT, document.name], capture_output=True, text=True)

    def test_passes(self):
        cases = [
            "```console\n$ cat file\none\ntwo\n$ cat file |\n>   grep one\none\n```\n",
            "```console\n$ cat file nothing\n...\ncat: nothing: ...\n$ echo $?\n1\n```\n",
            "```console\n$ (cat file; echo end)\n...\nend\n```\n",
            "<!-- run:\necho hidden >file\n-->\n\n```console\n$ cat file\nhidden\n```\n",
            "<!-- shown: it would remove everything -->\n```sh\nfalse\n```\n",
            "```c\nint x;\n```\n",
            "- a list\n\n  ```sh\n  cat file\n  ```\n    that goes on\n",
        ]
        for case in cases:
            with self.subTest(case):
                done = self.run_on(GOOD + case)
                self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("2 examples run, 1 only shown", self.run_on(GOOD + cases[0] + cases[4]).stdout)

    def test_fails_with_the_line(self):
        cases = [
            (5, "```sh\nfalse\ntrue\n```\n"),
            (5, "```sh\nfalse | true\n```\n"),
            (6, "```console\n$ cat file\none\n```\n"),
            (6, "```console\n$ cat file\none\nthree\n```\n"),
            (6, "```console\n$ cat file\n```\n"),
            (6, "```console\n$ false\n$ true\n```\n"),
            (5, "```console\n$ exit\n$ true\n```\n"),
            (6, "```console\ncat file\n```\n"),
            (5, "```\ncat file\n```\n"),
            (5, "```bash\ncat file\n```\n"),
            (5, "```sh\ncat file\n"),
            (5, "<!-- shown -->\n```sh\nfalse\n```\n"),
            (6, "\n    cat file\n"),
            (5, "<!-- run:\nfalse\n-->\n"),
        ]
        for line, case in cases:
            with self.subTest(case):
                done = self.run_on(GOOD + "\n" + case)
                self.assertEqual(done.returncode, 1, done.stdout)
                self.assertRegex(done.stderr, rf"\.md:{line}: ")
        self.assertEqual(self.run_on("No examples.\n").returncode, 1)


unittest.main()
