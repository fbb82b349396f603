"""What the documents refer to is there: files and headings that they link to, tests by which they say that a promise is
held, scripts."""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
FENCED = re.compile(r"^```.*?^```$", re.MULTILINE | re.DOTALL)
LINK = re.compile(r"\[[^\]]*\]\(([^)\s]+)\)")
NAMED = re.compile(r"`([^`\n]+)`")
TEST = re.compile(r"[A-Z]\w+\.[A-Z]\w+|test_\w+")
SCRIPT = re.compile(r"(scripts/[\w-]+|\.ci/run)\b")


def slug(heading):
    """The anchor that forges give a heading."""
    return re.sub(r"[^\w\- ]", "", heading.strip().lower()).replace(" ", "-")


def headings(document):
    return {slug(line) for line in re.findall(r"^#+ (.*)$", FENCED.sub("", document.read_text()), re.MULTILINE)}


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
    text = FENCED.sub("", document.read_text())
    for target in LINK.findall(text):
        if "://" in target or target.startswith("mailto:"):
            continue
        path, _, anchor = target.partition("#")
        file = (document.parent / path).resolve() if path else document
        if not file.exists():
            yield f"there is no {target}"
        elif anchor and anchor not in headings(file):
            yield f"{path or 'it'} has no heading #{anchor}"
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
