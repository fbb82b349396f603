"""scripts/release in a scratch repository: it has to refuse each thing that doesn't agree, tell all of them at once, and
make nothing."""

import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
GIT = ["git", "-c", "user.name=Tester", "-c", "user.email=tester@example.org", "-c", "init.defaultBranch=main"]


class Release(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        """The files of this tree, with a version of their own and a CHANGELOG that agrees with it."""
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.tree = Path(scratch.name)
        listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True, stdout=subprocess.PIPE).stdout
        subprocess.run(["tar", "-c", "--null", "-T", "-", "-f", cls.tree / "tree.tar"], cwd=ROOT, input=listed, check=True)
        subprocess.run(["tar", "-xf", "tree.tar"], cwd=cls.tree, check=True)
        (cls.tree / "tree.tar").unlink()
        cls.change("include/decoder_plugin.h", r"(VERSION_MAJOR) \d+", r"\1 71")
        cls.change("include/decoder_plugin.h", r"(VERSION_MINOR) \d+", r"\1 8")
        cls.change("include/decoder_plugin.h", r"(VERSION_PATCH) \d+", r"\1 9")
        cls.change("bindings/python/pyproject.toml", r'(?m)^version = ".*"', 'version = "71.8.9"')
        (cls.tree / "CHANGELOG.md").write_text("# Changes\n\n## Unreleased\n\n## 71.8.9 (2031-02-03)\n\n- All new.\n")
        cls.git("init", "-q")
        cls.git("add", "-A")
        cls.git("commit", "-q", "-m", "As it will be released")
        cls.start = cls.git("rev-parse", "HEAD").strip()

    def setUp(self):
        self.git("reset", "-q", "--hard", self.start)
        for tag in self.git("tag").split():
            self.git("tag", "-d", tag)

    @classmethod
    def git(cls, *arguments):
        return subprocess.run([*GIT, *arguments], cwd=cls.tree, check=True, text=True, stdout=subprocess.PIPE).stdout

    @classmethod
    def change(cls, file, pattern, replacement):
        text = (cls.tree / file).read_text()
        changed = re.sub(pattern, replacement, text)
        assert changed != text, f"{file}: nothing is {pattern}"
        (cls.tree / file).write_text(changed)

    def commit(self):
        self.git("commit", "-q", "-a", "-m", "Another state")

    def release(self, *arguments):
        done = subprocess.run(
            ["scripts/release", *arguments], cwd=self.tree, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT
        )
        return done.returncode, done.stdout

    def refuses(self, *texts, arguments=()):
        code, output = self.release(*arguments)
        self.assertEqual(code, 1, output)
        for text in texts:
            self.assertIn(text, output)

    def test_what_agrees_passes_and_nothing_is_made(self):
        code, output = self.release()
        self.assertEqual(code, 0, output)
        self.assertIn("git tag -a v71.8.9", output)
        self.assertEqual(self.git("tag"), "")
        self.assertEqual(self.git("status", "--porcelain"), "")
        self.git("tag", "-a", "v71.8.9", "-m", "as told")
        code, output = self.release("v71.8.9")
        self.assertEqual(code, 0, output)
        self.assertIn("v71.8.9 is this commit", output)

    def test_all_that_differs_is_told_at_once(self):
        self.change("include/decoder_plugin.h", "VERSION_PATCH 9", "VERSION_PATCH 10")
        self.refuses(
            'CHANGELOG.md is "71.8.9 (2031-02-03)"; "71.8.10',
            "pyproject.toml says 71.8.9, the header says 71.8.10",
            "not committed",
            "the tag is v71.8.9, of the version 71.8.10 it would be v71.8.10",
            arguments=["v71.8.9"],
        )

    def test_calls_that_it_does_not_know(self):
        for arguments in (["--tag"], ["v71.8.9", "v71.8.9"]):
            code, output = self.release(*arguments)
            self.assertEqual((code, output), (2, "usage: scripts/release [TAG]\n"))

    def test_a_cmake_project_of_another_version_or_of_none(self):
        self.change("CMakeLists.txt", r"VERSION \$\{version\}", "VERSION 71.8.8")
        self.commit()
        self.refuses("CMake builds version 71.8.8, the header says 71.8.9")
        self.change("CMakeLists.txt", "(?s)^", "no_such_command()\n")
        self.commit()
        self.refuses("CMake can't be run: ")

    def test_sections_that_say_nothing_or_too_much(self):
        self.change("CHANGELOG.md", "- All new.\n", "")
        self.commit()
        self.refuses("CHANGELOG.md says nothing about 71.8.9")
        self.change("CHANGELOG.md", "## Unreleased\n", "## Unreleased\n\n- Later.\n")
        self.commit()
        self.refuses('changes under "Unreleased"')
        self.change("CHANGELOG.md", r" \(2031-02-03\)", "")
        self.commit()
        self.refuses("(YEAR-MONTH-DAY)")

    def test_tags_that_are_missing_or_elsewhere(self):
        self.refuses("there is no tag v71.8.9", arguments=["v71.8.9"])
        self.git("tag", "-a", "v71.8.9", "-m", "too early")
        self.change("README.md", "(?s)^", "One more line.\n")
        self.commit()
        self.refuses("v71.8.9 is another commit", "a tag never moves")

    def test_a_header_without_a_version(self):
        self.change("include/decoder_plugin.h", "VERSION_MINOR 8", "VERSION_MINOR eight")
        self.refuses("include/decoder_plugin.h defines no version")


if __name__ == "__main__":
    if not (ROOT / ".git").exists():
        print("This tree is no git repository, so nothing of it can be released")
        sys.exit(77)
    unittest.main()
