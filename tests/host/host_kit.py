"""What the tests of decoder-host share: the programs, their ways of running, and readers of what they write."""

import json
import os
import struct
import subprocess
import tempfile
import unittest

OPTIONS = None  # set by the main program
TIME_LIMIT = 120
ANY = object()  # as many lines on standard error as there are


def ffmpeg(*arguments):
    command = [OPTIONS.ffmpeg, "-v", "error", "-nostdin", "-y", *arguments]
    return subprocess.run(command, check=True, capture_output=True, timeout=TIME_LIMIT).stdout


def worker_samples(name, *input_options):
    """The data chunk of the Wave64 stream that the host's own FFmpeg writes for a file."""
    command = [*OPTIONS.runner, OPTIONS.worker, "-v", "error", "-nostdin", *input_options, "-i", name, "-f", "w64", "-"]
    stream = subprocess.run(command, check=True, capture_output=True, timeout=TIME_LIMIT).stdout
    position = 40
    while stream[position : position + 4] != b"data":
        size = struct.unpack_from("<Q", stream, position + 16)[0]
        position += (size + 7) // 8 * 8
    return stream[position + 24 :]


def wav_chunks(path):
    """Name to body, of a RIFF file whose size is right."""
    with open(path, "rb") as file:
        data = file.read()
    assert data[:4] == b"RIFF" and data[8:12] == b"WAVE", data[:12]
    assert struct.unpack_from("<I", data, 4)[0] == len(data) - 8
    chunks, position = {}, 12
    while position < len(data):
        name, size = struct.unpack_from("<4sI", data, position)
        chunks[name] = data[position + 8 : position + 8 + size]
        position += 8 + size + size % 2
    return chunks


class HostTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        os.chdir(cls.folder.name)
        cls.addClassCleanup(cls.folder.cleanup)
        cls.addClassCleanup(os.chdir, "/")

    def host(self, *arguments, code=0, lines=None, **settings):
        """Runs the host, which is to end with this code and to say that many lines on standard error."""
        command = [*OPTIONS.runner, OPTIONS.host, *arguments]
        settings.setdefault("stdin", subprocess.DEVNULL)
        settings.setdefault("stdout", subprocess.PIPE)
        result = subprocess.run(command, stderr=subprocess.PIPE, timeout=TIME_LIMIT, **settings)
        if code is not None:
            self.assertEqual(result.returncode, code, (arguments, result.stderr))
        if lines is None:
            lines = 1 if code != 0 else 0
        if lines is not ANY and (code != 0 or not OPTIONS.runner):
            self.assertRegex(result.stderr, rb"\A(decoder-host: [^\n]+\n){%d}\Z" % lines)
        return result

    def on_terminal(self, *arguments, answer=None, columns=80, **environment):
        """The exit code, and what a terminal shows of the host; on POSIX systems alone."""
        import fcntl
        import pty
        import termios

        pid, terminal = pty.fork()
        if pid == 0:
            fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
            os.execve(OPTIONS.host, [OPTIONS.host, *arguments], {**os.environ, **environment})
        output = b""
        try:
            while piece := os.read(terminal, 4096):
                output += piece
                if answer and output.endswith(b"[y/N] "):
                    os.write(terminal, answer)
        except OSError:
            pass  # how Linux reports that the other side has gone
        os.close(terminal)
        return os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]), output

    def json(self, *arguments, **settings):
        return json.loads(self.host(*arguments, "--json", **settings).stdout)

    def json_lines(self, *arguments, **settings):
        """By file."""
        lines = self.host(*arguments, "--json", **settings).stdout.splitlines()
        return {line["file"]: line for line in map(json.loads, lines)}

    def assert_nothing_left(self, before):
        self.assertEqual(sorted(os.listdir(".")), before)
