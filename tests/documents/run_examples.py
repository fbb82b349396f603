#!/usr/bin/env python3
"""run_examples.py [--program PATH]... [--in FOLDER] [--none-to-run] DOCUMENT...

Runs the examples of Markdown documents, each document's in order and in an empty folder that goes afterwards (or in
FOLDER, which stays). The programs are found by their names. Ends with 1 when an example fails, prints something else
than the document shows, or is marked in a way that nobody understands. With --none-to-run the documents have nothing to
run, and only their marks are looked at.

How a document marks its examples:

    ```sh                  Commands. The block is run by bash as one script, every command of which has to succeed.
                           What they print isn't looked at.
    ```console             Commands with what they print, on both streams. A line that begins with "$ " is a command,
                           one that begins with "> " goes on with it. The lines below are compared with its output:
                           "..." stands for any text in a line, and alone on a line for any number of lines. A
                           command that fails is told by "$ echo $?" as the next one, else it fails the test.
    ```c, ```text, ...     Any other language isn't run. A block without a language is refused, and so is an indented
                           block: the one has to say what it is, the other can't.
    <!-- shown: REASON --> In the line in front of a block: it isn't run, for this reason. Any language can have
                           it; those of other shells (powershell, cmd, bash, shell, zsh, fish) need it.
    <!-- run:              Commands that the reader doesn't see, run like an sh block in their place: files for the
    COMMANDS               next examples, say.
    -->

Every block starts in the folder of the document's run; a `cd` holds until the block's end.
"""

import argparse
import difflib
import os
import re
import subprocess
import sys
import tempfile
from dataclasses import dataclass
from pathlib import Path

TIME_LIMIT = 300
RUN = {"sh", "console"}
NEEDS_REASON = {"powershell", "cmd", "bat", "bash", "shell", "zsh", "fish"}
FENCE = re.compile(r"( {0,3})(`{3,}|~{3,})\s*([^`\s]*)")
INDENTED = re.compile(r"(?: {4}|\t)\s*\S")
LIST = re.compile(r"([-*+]|\d+[.)]) ")
SHOWN = re.compile(r"<!-- shown: \S.*-->\s*")


class Wrong(Exception):
    """What is wrong, with the line of the document in front."""


@dataclass
class Block:
    line: int
    language: str
    text: list
    shown: bool = False


def blocks_of(lines):
    """The fenced blocks and the hidden commands of a document."""
    blocks, number, shown, blank, in_list = [], 0, False, True, False
    while number < len(lines):
        line, start = lines[number], number + 1
        number += 1
        if fence := FENCE.match(line):
            indent, mark, language = fence.groups()
            text = []
            while number < len(lines) and lines[number].strip() != mark:
                text.append(lines[number].removeprefix(indent))
                number += 1
            if number == len(lines):
                raise Wrong(f"{start}: the block never ends")
            number += 1
            blocks.append(Block(start, language, text, shown))
        elif line.startswith("<!-- run:"):
            text = [line.removeprefix("<!-- run:")]
            while number < len(lines) and "-->" not in text[-1]:
                text.append(lines[number])
                number += 1
            if "-->" not in text[-1]:
                raise Wrong(f"{start}: the comment never ends")
            text[-1] = text[-1].split("-->")[0]
            blocks.append(Block(start, "sh", text))
        elif re.match(r"<!--\s*(shown|run)\b", line) and not SHOWN.fullmatch(line):
            raise Wrong(f"{start}: a mark without a reason, or one that isn't known: {line}")
        elif INDENTED.match(line) and blank and not in_list:
            raise Wrong(f"{start}: an indented block can't say what it is: make it a fenced one")
        shown = bool(SHOWN.fullmatch(line))
        # What goes on with a paragraph or a list may be indented.
        blank = not line.strip()
        if line[:1].strip():
            in_list = bool(LIST.match(line))
    for block in blocks:
        if not block.language:
            raise Wrong(f"{block.line}: a block without a language: sh, console, text, ...")
        if block.language in NEEDS_REASON and not block.shown:
            raise Wrong(f'{block.line}: "{block.language}" isn\'t run: sh or console, or <!-- shown: REASON -->')
    return blocks


def bash(script, folder, environment):
    """The exit code and what came on both streams."""
    command = ["bash", "--noprofile", "--norc", "-c", "exec 2>&1\n" + script]
    done = subprocess.run(command, cwd=folder, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          timeout=TIME_LIMIT)  # fmt: skip
    return done.returncode, done.stdout.decode(errors="replace")


def run_script(block, folder, environment):
    code, output = bash("set -euo pipefail\n" + "\n".join(block.text), folder, environment)
    if code != 0:
        raise Wrong(f"{block.line}: exit code {code}\n{output}")


def commands_of(block):
    """Of a console block: line, command, and the lines that it prints."""
    commands = []
    for number, line in enumerate(block.text, block.line + 1):
        if line.startswith("$ "):
            commands.append((number, line[2:], []))
        elif not commands:
            raise Wrong(f'{number}: a console block begins with a command, "$ "')
        elif line.startswith("> ") and not commands[-1][2]:
            commands[-1] = (commands[-1][0], commands[-1][1] + "\n" + line[2:], [])
        else:
            commands[-1][2].append(line)
    return commands


def pattern_of(lines):
    rows = []
    for line in lines:
        if line.strip() == "...":
            rows.append(r"(?:.*\n)*?")
        else:
            rows.append(r".*?".join(map(re.escape, line.rstrip().split("..."))) + r"[ \t]*\n")
    return re.compile("".join(rows))


def run_console(block, folder, environment):
    commands = commands_of(block)
    mark = "\x1e"
    tell = "__code=$?; printf '\\036%d\\036' $__code; (exit $__code)\n"
    code, output = bash("".join(f"{command}\n{tell}" for _, command, _ in commands), folder, environment)
    pieces = output.split(mark)
    if len(pieces) != 2 * len(commands) + 1:
        raise Wrong(f"{block.line}: the block ended early, with {code}\n{output}")
    for index, (line, command, expected) in enumerate(commands):
        printed, code = pieces[2 * index], int(pieces[2 * index + 1])
        printed += "" if not printed or printed.endswith("\n") else "\n"
        while expected and not expected[-1].strip():
            expected.pop()
        told = index + 1 < len(commands) and commands[index + 1][1] == "echo $?"
        if code != 0 and not told:
            raise Wrong(f"{line}: exit code {code} of: {command}\n{printed}")
        if not pattern_of(expected).fullmatch(printed):
            rows = difflib.unified_diff(expected, printed.splitlines(), "document", "printed", lineterm="")
            raise Wrong(f"{line}: another output of: {command}\n" + "\n".join(rows))


def run_document(document, folder, environment, none_to_run):
    blocks = blocks_of(document.read_text(encoding="utf-8").splitlines())
    count = 0
    for block in blocks:
        if block.shown or block.language not in RUN:
            continue
        (run_console if block.language == "console" else run_script)(block, folder, environment)
        count += 1
    if (count == 0) != none_to_run:
        raise Wrong("1: there is no example to run" if count == 0 else "1: there are examples to run after all")
    print(f"{document}: {count} examples run, {sum(block.shown for block in blocks)} only shown")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", action="append", default=[], type=lambda path: Path(path).absolute())
    parser.add_argument("--in", dest="folder", type=lambda path: Path(path).absolute())
    parser.add_argument("--none-to-run", action="store_true")
    parser.add_argument("documents", nargs="+", type=lambda path: Path(path).absolute())
    options = parser.parse_args()
    failed = False
    with tempfile.TemporaryDirectory() as programs:
        for program in options.program:
            os.symlink(program, os.path.join(programs, program.name))
        environment = {**os.environ, "PATH": programs + os.pathsep + os.environ["PATH"], "LC_ALL": "C.UTF-8", "NO_COLOR": "1"}
        for document in options.documents:
            try:
                with tempfile.TemporaryDirectory() as folder:
                    run_document(document, options.folder or folder, environment, options.none_to_run)
            except Wrong as wrong:
                print(f"{document}:{wrong}", file=sys.stderr)
                failed = True
    return int(failed)


if __name__ == "__main__":
    sys.exit(main())
