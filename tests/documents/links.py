"""links.py FOLDER: follows the relative links of the documents below the folder, and fails on one that leads nowhere."""

import re
import sys
from pathlib import Path

FENCED = re.compile(r"^```.*?^```$", re.MULTILINE | re.DOTALL)
LINK = re.compile(r"\[[^\]]*\]\(([^)\s]+)\)")


def slug(heading):
    """The anchor that forges give a heading."""
    return re.sub(r"[^\w\- ]", "", heading.strip().lower()).replace(" ", "-")


def prose(document):
    """The text without its samples."""
    return FENCED.sub("", document.read_text(encoding="utf-8"))


def headings(document):
    return {slug(line) for line in re.findall(r"^#+ (.*)$", prose(document), re.MULTILINE)}


def broken_links(document):
    """(target, what is wrong with it) for each link to a file or heading that isn't there."""
    for target in LINK.findall(prose(document)):
        if "://" in target or target.startswith("mailto:"):
            continue
        path, _, anchor = target.partition("#")
        file = (document.parent / path).resolve() if path else document
        if not file.exists():
            yield target, f"there is no {target}"
        elif anchor and anchor not in headings(file):
            yield target, f"{path or 'it'} has no heading #{anchor}"


def main(folder):
    documents = list(Path(folder).rglob("*.md"))
    faults = [f"{document}: {fault}" for document in documents for _, fault in broken_links(document)]
    print("\n".join(faults) or f"{len(documents)} documents link to nothing that isn't there")
    return int(bool(faults) or not documents)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
