"""What the documents refer to is there: files and headings that they link to, tests by which they say that a promise is
held, scripts."""

import re
import sys
from pathlib import Path

import links

ROOT = Path(__file__).resolve().parents[2]
NAMED = re.compile(r"`([^`\n]+)`")
TEST = re.compile(r"[A-Z]\w+\.[A-Z]\w+|test_\w+")
SCRIPT = re.compile(r"(scripts/[\w-]+|\.ci/run)\b")


def tests_of_this_tree():
    """Names as in Suite.Test, and functions of Python."""
    names = set()
    for file in [*(ROOT / "tests").rglob("*.cpp"), *(ROOT / "tests").rglob("*.py"), *(ROOT / "bindings").rglob("*.py")]:
        text = file.read_text()
        for suite, test in re.findall(r"^TEST(?:_[FP])?\(\s*(\w+),\s*(\w+)\)", text, re.MULTILINE):
            names.add(f"{suite}.{test}")
        names.update(re.findall(r"def (test_\w+)", text))
    return names


def faults_of(document, tests):
    for _, fault in links.broken_links(document):
        yield fault
    text = links.prose(document)
    for name in NAMED.findall(text):
        if TEST.fullmatch(name) and name not in tests:
            yield f"there is no test {name}"
        script = SCRIPT.match(name)
        if script and not (ROOT / script[1]).exists():
            yield f"there is no {script[1]}"


def main():
    tests = tests_of_this_tree()
    documents = [*ROOT.glob("*.md"), *(ROOT / "docs").rglob("*.md"), *(ROOT / "bindings").rglob("*.md")]
    faults = [f"{document.relative_to(ROOT)}: {fault}" for document in documents for fault in faults_of(document, tests)]
    print("\n".join(faults) or f"{len(documents)} documents refer to nothing that isn't there")
    return int(bool(faults))


if __name__ == "__main__":
    sys.exit(main())
