"""A copy of the project whose sources hold every fault, each behind a number, and its build."""

import json
import os
import re
import shutil
import subprocess
from pathlib import Path

from . import faults as faults_of

SWITCH = Path(__file__).with_name("switch.h")
NUMBERED = re.compile(r"::mutants::\w+\((\d+)[,)]")


class BuildFailed(Exception):
    pass


class Tree:
    def __init__(self, project, folder, under):
        self.project = Path(project)
        self.under = under
        self.copy = Path(folder, "tree")
        self.build = Path(folder, "build")
        self.log = Path(folder, "build.log")
        self.numbered = {}
        # The fault of each number.
        self.faults = {}
        # What the tests run; empty for all that there is.
        self.targets = []

    def prepare(self):
        """Copies what git knows or would know, and leaves what is as it was, so that little is built again."""
        names = self.output(["git", "ls-files", "-co", "--exclude-standard"]).splitlines()
        for name in names:
            source, target = self.project / name, self.copy / name
            # The rendered sources differ from these; write_all sets them right.
            if source.is_file() and not (target.exists() and name.startswith("src/")):
                content = source.read_bytes()
                if not target.exists() or target.read_bytes() != content:
                    target.parent.mkdir(parents=True, exist_ok=True)
                    shutil.copy(source, target)
        for path in (self.copy / "src").rglob("*"):
            if path.is_file() and str(path.relative_to(self.copy)) not in names:
                path.unlink()

    def output(self, command):
        return subprocess.run(command, cwd=self.project, check=True, capture_output=True, text=True).stdout

    def configure(self):
        # Without a cache of compilations: every mutant would fill it, none would come again.
        environment = {name: value for name, value in os.environ.items() if "COMPILER_LAUNCHER" not in name}
        flags = f"-O1 -g0 -w -Wno-c++11-narrowing -ferror-limit=0 -fbracket-depth=2048 -include {SWITCH}"
        self.run(["cmake", "-S", self.copy, "-B", self.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=None",
                  "-DCMAKE_C_COMPILER=clang", "-DCMAKE_CXX_COMPILER=clang++", f"-DCMAKE_CXX_FLAGS={flags}",
                  "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld", "-DCMAKE_MODULE_LINKER_FLAGS=-fuse-ld=lld",
                  "-DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON", "-DDECODER_BENCHMARKS=OFF"], environment)

    def run(self, command, environment=None):
        with open(self.log, "w") as log:
            if subprocess.run(command, stdout=log, stderr=log, env=environment).returncode != 0:
                raise BuildFailed(self.log.read_text(errors="replace"))

    def make(self):
        self.run([*self.under, "ninja", "-C", self.build, "-k", "0", *self.targets])

    def commands(self):
        self.run(["ninja", "-C", self.build, "-t", "compdb"])
        return json.loads((self.build / "compile_commands.json").read_text())

    def original(self, name):
        return (self.project / name).read_bytes()

    def write(self, name, content):
        target = self.copy / name
        if not target.exists() or target.read_bytes() != content:
            target.write_bytes(content)

    def write_originals(self):
        for name in self.output(["git", "ls-files", "-co", "--exclude-standard", "src"]).splitlines():
            (self.copy / name).parent.mkdir(parents=True, exist_ok=True)
            self.write(name, self.original(name))

    def hold(self, faults):
        """Numbers the faults that a number can switch and writes all sources with them."""
        self.faults = dict(enumerate((fault for fault in faults if fault.switched), 1))
        self.numbered = {}
        for number, fault in self.faults.items():
            self.numbered.setdefault(fault.file, []).append((number, fault))
        self.write_all()
        # Of two faults in the same place the one of the operator stands there, without the turned condition.
        placed = {int(number) for name in self.numbered for number in NUMBERED.findall(self.rendered(name).decode())}
        self.faults = {number: fault for number, fault in self.faults.items() if number in placed}

    def write_all(self):
        for name in self.output(["git", "ls-files", "-co", "--exclude-standard", "src"]).splitlines():
            self.write(name, self.rendered(name))

    def rendered(self, name, alone=None):
        """The file with its faults behind their numbers; the fault `alone` stands there without a number."""
        source = self.original(name)
        held = [(number, fault) for number, fault in self.numbered.get(name, []) if fault is not alone]
        if alone is not None:
            held = [(0, alone)] + held
        return render(source, 0, len(source), held)

    def build_all(self):
        """Builds with every fault that compiles; the others are given up. Returns how many those were."""
        dropped = 0
        while True:
            try:
                self.make()
                return dropped
            except BuildFailed as failure:
                bad = self.blamed(str(failure))
                if not bad:
                    raise
                dropped += len(bad)
                for number in bad:
                    fault = self.faults.pop(number)
                    self.numbered[fault.file].remove((number, fault))
                self.write_all()

    def blamed(self, errors):
        """The numbers of the faults that the compiler's errors are about."""
        bad, elsewhere = set(), False
        for path, line, column, kind, text in re.findall(
                r"^(\S+?):(\d+):(\d+): (fatal error|error|note): (.*)$", errors, re.MULTILINE):
            path = Path(self.build, path).resolve()
            inside = path.is_relative_to((self.copy / "src").resolve())
            if kind == "note" and not (elsewhere and inside):
                continue
            # An error in the functions of the switch, or in a header of the system, is ours where a note says who
            # wanted it.
            elsewhere = kind != "note" and not inside
            if inside:
                name = str(path.relative_to(self.copy.resolve()))
                alive = {number for number, _ in self.numbered.get(name, [])}
                lines = path.read_text(errors="replace").splitlines()
                bad |= near(lines, int(line), int(column), "'mutants::" in text, alive)
        return bad


def near(lines, line, column, exact, alive):
    if exact:
        match = re.search(r"::\w+\((\d+)", lines[line - 1].encode()[column - 3:].decode(errors="replace"))
        if match and int(match[1]) in alive:
            return {int(match[1])}
    for reach in (0, 2, 6, len(lines)):
        part = "\n".join(lines[max(0, line - 1 - reach):line + reach])
        found = {int(number) for number in NUMBERED.findall(part)} & alive
        if found:
            return found
    return set()


def render(source, start, end, held):
    inside = [entry for entry in held if start <= entry[1].start and entry[1].end <= end]
    result, position = [], start
    while inside:
        # The outermost of those that come first. What leaves out a statement goes around all that is in it.
        number, fault = min(inside, key=lambda entry: (entry[1].start, -entry[1].end,
                                                       entry[1].what != faults_of.LEFT_OUT))
        rest = [entry for entry in inside if entry[1] is not fault]
        result.append(source[position:fault.start])
        for piece in fault.pieces:
            if isinstance(piece, str):
                result.append(piece.replace(faults_of.NUMBER, str(number)).encode())
            else:
                result.append(render(source, piece[0], piece[1], rest))
        position = fault.end
        inside = [entry for entry in rest if entry[1].start >= fault.end]
    result.append(source[position:end])
    return b"".join(result)
