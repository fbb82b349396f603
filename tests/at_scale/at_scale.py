"""What the trials of docs/at-scale.md share: a collection with broken files, machines that can be killed, and what has to
be true of the reports at the end."""

import collections
import contextlib
import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
EXAMPLES = ROOT / "examples" / "at-scale"
SECONDS_FOR_ALL = 900
SOURCES = {"tta": [], "flac": [], "mp3": [], "mka": ["-c:a", "flac"], "ogg": ["-c:a", "libvorbis"]}
EVERY_CUT = 50  # of so many files one is cut,
EVERY_NO_SOUND = 80  # and one is no sound at all


class Wrong(Exception):
    """What isn't as it has to be."""


def require(condition, text):
    if not condition:
        raise Wrong(text)


class Collection:
    """COUNT files of a second each below FOLDER/music, and FOLDER/files.txt, which names them."""

    def __init__(self, folder, count):
        self.folder = Path(folder)
        self.list = self.folder / "files.txt"
        self.broken = {}
        self.files = []
        sounds = self._make_sounds()
        for number in range(count):
            kind = list(SOURCES)[number % len(SOURCES)]
            file = self.folder / "music" / f"album {number // 100:02}" / f"{number:04}.{kind}"
            file.parent.mkdir(parents=True, exist_ok=True)
            if number % EVERY_NO_SOUND == EVERY_NO_SOUND - 1:
                file.write_bytes(b"no sound at all\n")
                self.broken[str(file)] = "failed"
            elif number % EVERY_CUT == EVERY_CUT - EVERY_CUT // 2:
                file = file.with_suffix(".tta")
                file.write_bytes(sounds["tta"][: len(sounds["tta"]) // 2])
                self.broken[str(file)] = "damaged"
            else:
                file.write_bytes(sounds[kind])
            self.files.append(str(file))
        self.list.write_text("".join(f"{file}\n" for file in self.files), encoding="utf-8")

    def _make_sounds(self):
        sounds = {}
        for kind, options in SOURCES.items():
            file = self.folder / f"sound.{kind}"
            subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i", "anoisesrc=d=1:r=22050:seed=1",
                            *options, file], check=True)  # fmt: skip
            sounds[kind] = file.read_bytes()
        return sounds


class Reports:
    """What the parts write, FOLDER/PART.jsonl."""

    def __init__(self, folder):
        self.folder = Path(folder)
        self.folder.mkdir()

    def count(self):
        return sum(report.read_bytes().count(b"\n") for report in self.folder.glob("*.jsonl"))

    def wait_for(self, count, alive):
        """Until so many lines are there. `alive` tells whether more may come."""
        deadline = time.monotonic() + SECONDS_FOR_ALL
        while self.count() < count:
            require(alive(), f"the work ended with {self.count()} lines")
            require(time.monotonic() < deadline, f"{self.count()} lines after {SECONDS_FOR_ALL} seconds")
            time.sleep(0.1)

    def check(self, collection):
        """Every file once in the merged report, the broken ones as what they are, and no whole file checked twice."""
        reports = sorted(self.folder.glob("*.jsonl"))
        merged = subprocess.run([EXAMPLES / "merge-reports", collection.list, *reports], capture_output=True, text=True)
        print(merged.stderr, end="")
        lines = [json.loads(line) for line in merged.stdout.splitlines()]
        require([line["file"] for line in lines] == collection.files, "the merged report doesn't have every file once")
        broken = {line["file"]: line["status"] for line in lines if line["status"] != "done"}
        for file in sorted(set(broken) | set(collection.broken)):
            told, expected = broken.get(file, "done"), collection.broken.get(file, "done")
            require(told == expected, f"{file} is said to be {told}, not {expected}")
        require(merged.returncode == 1, f"merge-reports ended with {merged.returncode}")
        done, halves = collections.Counter(), 0
        for report in reports:
            for text in report.read_text(encoding="utf-8").splitlines():
                try:
                    line = json.loads(text)
                except ValueError:
                    halves += 1
                    continue
                if line["status"] == "done":
                    done[line["file"]] += 1
        twice = [file for file, times in done.items() if times > 1]
        require(not twice, f"{len(twice)} files were done twice: {twice[:3]}")
        print(f"Every file stands once in the merged report, no whole file was done twice; {halves} half lines.")


class Processes:
    """Programs that were started here, in groups that can be killed as a machine fails: at once and whatever they do."""

    MARK = "AT_SCALE_MACHINE"

    def __init__(self, folder):
        self.folder = str(folder)
        self.programs = {}  # to the machine of each
        self.keepers = {}  # to the words by which what they start belongs to a machine

    def mark(self, machine):
        """The variable of the environment by which a process and its children belong to a machine."""
        return {self.MARK: f"{self.folder}/{machine}"}

    def add_keeper(self, name, machine, words):
        """Of programs that hide their own environment: they belong to a machine when what they started has these words."""
        self.keepers[machine] = name, {word.encode() for word in words}

    def start(self, command, machine="all", **settings):
        environment = {**os.environ, **settings.pop("env", {}), **self.mark(machine)}
        program = subprocess.Popen([str(word) for word in command], env=environment, stdin=subprocess.DEVNULL,
                                   start_new_session=True, **settings)  # fmt: skip
        self.programs[program] = machine
        return program

    def of(self, machine=None):
        """Process ids and names of a machine, or of all: the programs, what has their mark, and children of either."""
        mark = f"{self.MARK}={self.folder}/{machine or ''}".encode()
        keeper, its_words = self.keepers.get(machine, (None, {None}))
        parents, names, kept = {}, {}, set()
        found = {program.pid for program, its in self.programs.items() if machine in (None, its) and program.poll() is None}
        for folder in Path("/proc").iterdir():
            with contextlib.suppress(OSError, ValueError):
                pid = int(folder.name)
                name, state = (folder / "stat").read_text().split("(", 1)[1].rsplit(") ", 1)
                if state[0] == "Z":
                    continue
                names[pid], parents[pid] = name, int(state.split()[1])
                words = (folder / "environ").read_bytes().split(b"\0")
                if its_words <= set(words):
                    kept.add(pid)
                if any(word == mark or (machine is None and self.folder.encode() in word) for word in words):
                    found.add(pid)
        found |= kept | {parents[pid] for pid in kept if names.get(parents[pid]) == keeper}
        while children := {pid for pid, parent in parents.items() if parent in found} - found:
            found |= children
        return {pid: names[pid] for pid in found if pid in names}

    def wait_for(self, machine, name):
        """Until a process of this name runs on the machine."""
        deadline = time.monotonic() + SECONDS_FOR_ALL
        while name not in self.of(machine).values():
            require(time.monotonic() < deadline, f"no {name} on {machine} after {SECONDS_FOR_ALL} seconds")
            time.sleep(0.02)

    def kill(self, machine=None):
        """Kills until nothing is left, nor comes for a while; the names of what was killed."""
        killed = {}
        quiet = 0
        while quiet < 5:
            left = self.of(machine)
            quiet = 0 if left else quiet + 1
            killed.update(left)
            for pid in left:
                with contextlib.suppress(ProcessLookupError):
                    os.kill(pid, signal.SIGKILL)
            if not left:
                time.sleep(0.1)
        return list(killed.values())


def free_ports(count):
    with contextlib.ExitStack() as stack:
        sockets = [stack.enter_context(socket.create_server(("127.0.0.1", 0))) for _ in range(count)]
        return [each.getsockname()[1] for each in sockets]


@contextlib.contextmanager
def own_folder():
    """A temporary folder and what runs out of it; both are gone at the end."""
    folder = Path(tempfile.mkdtemp(prefix="at-scale-"))
    processes = Processes(folder)
    try:
        yield folder, processes
    finally:
        processes.kill()
        for program in processes.programs:
            program.wait()
        shutil.rmtree(folder)


def killed_text(killed):
    names = collections.Counter(killed)
    return ", ".join(f"{count} {name}" for name, count in sorted(names.items()))


def run(trial, arguments):
    """The exit code of a trial, a function of the count of files and the program decoder-host."""
    count = int(arguments[1]) if len(arguments) > 1 else 2000
    start = time.monotonic()
    # What was started has to be ended whatever ends this.
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda number, frame: sys.exit(128 + number))
    try:
        trial(count, Path(arguments[0]).resolve())
    except Wrong as wrong:
        print(f"WRONG: {wrong}", file=sys.stderr)
        return 1
    print(f"All is well, after {time.monotonic() - start:.0f} seconds.")
    return 0
