#!/usr/bin/env python3
"""examples_test.py SOURCE BUILD PLUGIN NAME,... [RUNNER...]: runs the example hosts of these names on a file and compares what they decoded with
what FFmpeg makes of it."""

import os
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

SOURCE, BUILD, PLUGIN = map(Path, sys.argv[1:4])
RUNNER = sys.argv[5:]  # Wine, for programs of Windows
WINDOWS = PLUGIN.suffix == ".dll"
PROGRAM = ".exe" if WINDOWS else ""
FRAME = 4  # bytes, of two channels with 16 bits


def ffmpeg(*arguments):
    return subprocess.run(["ffmpeg", "-v", "error", "-nostdin", *arguments], check=True, stdout=subprocess.PIPE).stdout


def run(*command, **options):
    command = [str(word) for word in command]
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, **options)


def test_c(folder, song, samples):
    program = [*RUNNER, BUILD / f"example_c{PROGRAM}", PLUGIN]
    out = folder / "c.raw"
    done = run(*program, song, out)
    assert done.returncode == 0 and "48000 Hz, 2 channels" in done.stdout, done
    assert out.read_bytes() == samples
    done = run(*program, song, out, "1.5")
    assert done.returncode == 0 and out.read_bytes() == samples[72000 * FRAME :], done

    ffmpeg("-i", folder / "song.flac", "-c:a", "pcm_s24le", folder / "deep.wav")
    done = run(*program, folder / "deep.wav", out)
    assert done.returncode == 0 and "24 bits" in done.stdout, done
    assert out.read_bytes() == ffmpeg("-i", folder / "deep.wav", "-f", "s24le", "-")

    log = folder / "errors.log"
    failed = run(*program, folder / "nothing.tta", out, 0, log)
    assert failed.returncode == 1 and "can't be opened: " in failed.stderr, failed
    assert "nothing.tta" in log.read_bytes().decode("utf-16-le"), log.read_bytes()
    cut = folder / "cut.flac"
    cut.write_bytes((folder / "song.flac").read_bytes()[:-5000])
    damaged = run(*program, cut, out)
    assert damaged.returncode in (0, 1) and out.stat().st_size < len(samples), damaged
    if WINDOWS:
        return

    # A source that never says anything; Ctrl-C ends the wait for it.
    silent = folder / "silent.tta"
    os.mkfifo(silent)
    keeper = os.open(silent, os.O_RDWR)
    waiting = subprocess.Popen([*map(str, program), str(silent), str(out)], stderr=subprocess.PIPE, text=True)
    while not any(Path("/dev/shm").glob(f"decode-example.{waiting.pid}")):
        assert waiting.poll() is None
    while not catches_interrupts(waiting.pid):
        assert waiting.poll() is None
    waiting.send_signal(signal.SIGINT)
    assert waiting.wait(timeout=120) == 1
    os.close(keeper)


def catches_interrupts(pid):
    status = Path(f"/proc/{pid}/status").read_text()
    caught = next(line.split()[1] for line in status.splitlines() if line.startswith("SigCgt:"))
    return int(caught, 16) & 1 << (signal.SIGINT - 1)


def sounding(samples):
    """The frames that aren't silent: what is left of a recording in which the loudspeaker had to wait now and then."""
    frames = [samples[at : at + FRAME] for at in range(0, len(samples), FRAME)]
    return b"".join(frame for frame in frames if frame != bytes(FRAME))


def test_player(folder, song, samples):
    """SDL's disk driver writes what a loudspeaker would get, faster than a loudspeaker takes it."""
    for start in (0, 1.5):
        out = folder / "player.raw"
        drivers = {"SDL_AUDIODRIVER": "disk", "SDL_DISKAUDIOFILE": str(out), "SDL_VIDEODRIVER": "dummy"}
        done = run(BUILD / "example_player", PLUGIN, song, start, env={**os.environ, **drivers, "SDL_DISKAUDIODELAY": "1"})
        assert done.returncode == 0, done
        assert "title: A song" in done.stdout, done
        expected = sounding(samples[int(start * 48000) * FRAME :])
        assert sounding(out.read_bytes()) == expected, f"started at {start}"


def test_rust(folder, song, samples):
    out = folder / "rust.raw"
    done = run(BUILD / "example_rust", PLUGIN, song, out)
    assert done.returncode == 0 and "A song" in done.stdout, done
    assert out.read_bytes() == samples
    failed = run(BUILD / "example_rust", PLUGIN, folder / "nothing", out)
    assert failed.returncode == 1 and "can't be opened" in failed.stderr, failed


def test_python(folder, song, samples):
    out = folder / "python.wav"
    environment = {**os.environ, "DECODER_PLUGIN": str(PLUGIN), "PYTHONPATH": str(SOURCE / "bindings/python")}
    done = run("/usr/bin/python3", SOURCE / "examples/python/convert.py", song, out, env=environment)
    assert done.returncode == 0 and "A song" in done.stdout, done
    assert ffmpeg("-i", out, "-f", "s16le", "-") == samples
    failed = run("/usr/bin/python3", SOURCE / "examples/python/convert.py", "/nothing", out, env=environment)
    assert failed.returncode == 1 and "can't be opened" in failed.stderr, failed


def main():
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        tone = "aevalsrc=0.5*sin(440*t*6.28)|0.3*sin(880*t*6.28):d=3:s=48000"
        song = folder / "song.tta"
        ffmpeg("-f", "lavfi", "-i", tone, "-sample_fmt", "s16", "-metadata", "title=A song", song)
        ffmpeg("-i", song, folder / "song.flac")
        samples = ffmpeg("-i", song, "-f", "s16le", "-")
        for name in sys.argv[4].split(","):
            globals()[f"test_{name}"](folder, song, samples)
            print(f"{name}: ok")


main()
