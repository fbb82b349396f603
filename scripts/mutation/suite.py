"""The tests of a build, case by case: how long each takes and which faults it passes by."""

import json
import os
import re
import shutil
import subprocess
import tempfile
import time
from collections import Counter
from dataclasses import dataclass
from pathlib import Path

# The programs that run the plug-in or its rooms; the others build, install or check something else.
TESTS = "^(support|transport|codecs|matroska|image|tags|id3v2|fault|plugin|wrapper)_test$|_judges?(_test)?$"

# A case is given several times what it needed, and this much. Time of the processor ends loops, the clock what hangs.
CPU_SECONDS = 20
CLOCK_SECONDS = 60
MEMORY_BYTES = 4 << 30
FILE_BYTES = 8 << 30
ATTEMPTS = 4
# Cheap cases go first, in one start of their program; dear ones run only for faults that survived those.
STEPS = (0.05, 0.5, 3.0, float("inf"))


@dataclass(frozen=True)
class Case:
    program: str
    name: str
    command: tuple
    seconds: float
    reached: frozenset

    @property
    def title(self):
        return f"{self.program} {self.name}".strip()


class Suite:
    def __init__(self, build, folder, wanted, slowest, under):
        self.build = Path(build)
        self.folder = Path(folder)
        self.wanted = re.compile(wanted)
        self.slowest = slowest
        self.under = under
        self.measures = self.folder / "measures.json"
        self.cases = []

    def listing(self):
        text = subprocess.run(["ctest", "--test-dir", self.build, "--show-only=json-v1"], check=True,
                              capture_output=True, text=True).stdout
        return [test for test in json.loads(text)["tests"]
                if re.search(TESTS, test["name"]) and self.wanted.search(test["name"])]

    def targets(self):
        """What has to be built: the programs have the names of their tests, the scripts use these two."""
        known = subprocess.run(["ninja", "-C", self.build, "-t", "targets", "all"], check=True, capture_output=True,
                               text=True).stdout
        known = {line.split(":")[0] for line in known.splitlines()}
        names = [test["name"] for test in self.listing()]
        programs = [name for name in names if name in known]
        return programs if programs == names else ["decoder_ffmpeg", "id3v2_tool", *programs]

    def commands(self):
        return [(test["name"], test["command"]) for test in self.listing()]

    def files(self, command):
        """The files of the build and of the tests that the command is made of."""
        return [Path(word) for word in command
                if Path(word).is_relative_to(self.build) or Path(word).is_relative_to(self.build.parent / "tree")]

    def names(self, program, command):
        """The cases of a program; one that isn't GoogleTest's is a single case without a name."""
        if len(command) > 1:
            return [""]
        listing = subprocess.run([*command, "--gtest_list_tests"], check=True, capture_output=True, text=True).stdout
        found, group = [], ""
        for line in listing.splitlines():
            if line.startswith("  "):
                found.append(group + line.split("#")[0].strip())
            elif not line.startswith("Running"):
                group = line.split("#")[0].strip()
        return found

    def measure(self, numbers, digests, say):
        """Runs every case of each program once by itself, without a fault; `digests` are the programs' states."""
        known = json.loads(self.measures.read_text()) if self.measures.exists() else {}
        self.cases = []
        for program, command in self.commands():
            entry = known.get(program, {})
            if entry.get("digest") != digests[program]:
                say(f"Running every case of {program} once")
                entry = {"digest": digests[program], "cases": [
                    self.measured(program, name, command, numbers, say) for name in self.names(program, command)]}
                known[program] = entry
                self.measures.write_text(json.dumps(known))
            self.cases += [Case(program, case["name"], tuple(command), case["seconds"], frozenset(case["reached"]))
                           for case in entry["cases"] if case is not None]

    def measured(self, program, name, command, numbers, say):
        marks = self.folder / "reached"
        marks.write_bytes(bytes(numbers + 1))
        start = time.monotonic()
        result = self.start(with_cases(command, [name]), 0, 300, 300, marks)
        seconds = time.monotonic() - start
        if result is not None:
            say(f"left out, for it fails without a fault: {program} {name}")
            return None
        return {"name": name, "seconds": seconds,
                "reached": [number for number, byte in enumerate(marks.read_bytes()) if byte]}

    def judge(self, number, candidates, kills=()):
        """The case that fails with this fault, or None when all of `candidates` pass. `kills` are the names of cases
        that failed with faults like it: the likeliest to fail with this one."""
        candidates = [case for case in candidates if case.seconds <= self.slowest]
        likely = [case for name, _ in Counter(kills).most_common(2) for case in candidates if case.title == name]
        for cases in [[case] for case in likely] + self.batches([case for case in candidates if case not in likely]):
            failed = self.fails(number, cases)
            if failed is not None:
                return failed
        return None

    def batches(self, candidates):
        """Cases that are started together, the cheap ones first."""
        found = []
        for low, high in zip((0, *STEPS), STEPS):
            programs = {}
            for case in sorted(candidates, key=lambda case: case.seconds):
                if low <= case.seconds < high:
                    programs.setdefault((case.program, case.command), []).append(case)
            found += sorted(programs.values(), key=cost)
        return found

    def fails(self, number, cases):
        """The case that fails with fault `number`; with the fault that is built in, for 0."""
        clock, cpu = CLOCK_SECONDS + 10 * cost(cases), CPU_SECONDS + 5 * cost(cases)
        for _ in range(ATTEMPTS):
            failed = self.start(with_cases(cases[0].command, [case.name for case in cases]), number, clock, cpu)
            if failed is None:
                return None
            # On a busy machine the right code might fail as well: out of time, above all. A fault that is built in
            # has to fail twice.
            alone = [case.name for case in cases if failed.startswith(case.name)] or [case.name for case in cases]
            again = self.start(with_cases(cases[0].command, alone), 0, clock, cpu)
            if (again is None) == (number != 0):
                return f"{cases[0].program} {failed}".strip()
            clock *= 2
        raise RuntimeError(f"{cases[0].program} fails now and then without a fault: {failed}")

    def start(self, command, number, clock, cpu, marks=None):
        """None when the command succeeds; else the case that failed, as far as it can be told."""
        environment = {**os.environ, "MUTANT": str(number), "GTEST_FAIL_FAST": "1", "GTEST_COLOR": "no"}
        if marks is not None:
            environment["MUTANTS_REACHED"] = str(marks)
        scratch = tempfile.mkdtemp(prefix="mutant_")
        environment["TMPDIR"] = scratch
        # A fault may kill the wrong process, start ever more of them or write without end. Processes of its own, which
        # end with the first of them, and limits.
        fence = ["unshare", *([] if os.getuid() == 0 else ["--map-root-user"]), "--pid", "--fork", "--kill-child",
                 "--mount-proc", "prlimit", f"--cpu={int(cpu) + 1}", f"--as={MEMORY_BYTES}", f"--fsize={FILE_BYTES}",
                 "--core=0", "sh", "-c", 'timeout -s KILL "$@"; exit $?', "sh", str(int(clock) + 1)]
        said = Path(scratch, "said")
        try:
            with open(said, "wb") as output:
                code = subprocess.run([*self.under, *fence, *command], stdin=subprocess.DEVNULL, stdout=output,
                                      stderr=output, env=environment, cwd=scratch).returncode
            if code == 0:
                return None
            text = said.read_bytes()[-200000:].decode(errors="replace")
            failed = re.findall(r"^\[  FAILED  \] ([\w./]+)", text, re.MULTILINE)
            running = re.findall(r"^\[ RUN      \] ([\w./]+)", text, re.MULTILINE)
            if failed:
                return failed[0]
            return f"{running[-1] if running else ''} ({code})"
        finally:
            shutil.rmtree(scratch, ignore_errors=True)


def with_cases(command, names):
    return [*command, f"--gtest_filter={':'.join(names)}"] if names[0] else [*command]


def cost(cases):
    return sum(case.seconds for case in cases)

