#!/usr/bin/env python3
"""The same jobs through what people would use instead of this project, as whole processes, in turn. One table.

    peers.py BUILD_FOLDER [--seconds N] [--files N] [--rounds N]

A ratio is ours against the rival's of the same round: the middle one, and what 10 and 90 percent of the rounds don't
pass. Where they lie far apart, the machine was busy.
"""
import argparse
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

# mutagen comes from the system's packages.
PYTHON = '/usr/bin/python3'
MUTAGEN = 'import sys, mutagen\nfor name in sys.argv[1:]:\n    mutagen.File(name).tags["TIT2"]'
MUTAGEN_RETAG = ('import sys, mutagen.id3\ntags = mutagen.id3.ID3(sys.argv[1])\n'
                 'tags["TIT2"] = mutagen.id3.TIT2(text=[sys.argv[2]])\ntags.save()')


def run(command):
    """Seconds. A rival that fails is no rival."""
    start = time.perf_counter()
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    seconds = time.perf_counter() - start
    if done.returncode != 0:
        raise RuntimeError(f'{" ".join(map(str, command[:6]))}: {done.stderr.decode(errors="replace").strip()[-300:]}')
    return seconds


def each(tool, names):
    """A program that takes one file, started once for each, as many at once as there are processors."""
    return ['xargs', '-a', names, '-d', '\n', '-n', '1', '-P', str(os.cpu_count()), *tool]


def percentile(values, percent):
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, round(percent / 100 * (len(ordered) - 1)))]


def race(what, ours, rivals, rounds):
    """Rows of the table: every rival in turn with ours; `ours` and the rivals give the command of a round."""
    taken = {name: [] for name in ['ours', *rivals]}
    for number in range(-1, rounds):
        for name, command in [('ours', ours), *rivals.items()]:
            seconds = run(command(number + 1))
            if number >= 0:  # the round before filled the caches
                taken[name].append(seconds)
    mine = statistics.median(taken['ours'])
    for name in rivals:
        ratios = [a / b for a, b in zip(taken['ours'], taken[name])]
        print(f'| {what} | {mine * 1000:.1f} | {name} | {statistics.median(taken[name]) * 1000:.1f} '
              f'| {statistics.median(ratios):.2f} ({percentile(ratios, 10):.2f} - {percentile(ratios, 90):.2f}) |', flush=True)


def decoding(host, job, folder, seconds, rounds):
    programs = {'flac': ['flac', '-d', '-s', '-c'], 'mp3': ['mpg123', '-q', '-w', '-']}
    for extension, codec in (('flac', 'flac'), ('mp3', 'libmp3lame'), ('mka', 'flac')):
        file = f'{folder}/sound.{extension}'
        run(['ffmpeg', '-v', 'error', '-f', 'lavfi', '-i',
             f'anoisesrc=color=pink:amplitude=0.4:seed=1:sample_rate=44100:duration={seconds}', '-ac', '2', '-c:a', codec, file])
        rivals = {'ffmpeg': lambda _, file=file: ['ffmpeg', '-v', 'error', '-i', file, '-f', 'w64', '-'],
                  "FFmpeg's libraries in process, samples thrown away": lambda _, file=file: [job, 'decode', file]}
        if extension in programs:
            rivals[programs[extension][0]] = lambda _, file=file, program=programs[extension]: [*program, file]
        race(f'{seconds} s of {extension}, decoded, ms', lambda _, file=file: [host, 'decode', '-q', file, '-o', '-'], rivals, rounds)


def tagged(folder, count):
    """Files with an ID3v2 tag in front of a second of TTA."""
    first = f'{folder}/0.tta'
    run(['ffmpeg', '-v', 'error', '-f', 'lavfi', '-i', 'sine=duration=1', '-c:a', 'tta', first])
    run([PYTHON, '-c', 'import sys, mutagen.trueaudio as t\nf = t.TrueAudio(sys.argv[1])\nf.add_tags()\n'
         'import mutagen.id3 as i\nfor n in ("TIT2", "TPE1", "TALB", "TCON", "TRCK"):\n'
         '    f.tags[n] = getattr(i, n)(encoding=3, text=["A value"])\nf.save()', first])
    for number in range(1, count):
        shutil.copyfile(first, f'{folder}/{number}.tta')
    names = [f'{folder}/{number}.tta' for number in range(count)]
    pathlib.Path(f'{folder}/names').write_text('\n'.join(names) + '\n')
    return names


def tags(host, job, folder, count, rounds):
    names = tagged(folder, count)
    listed = f'{folder}/names'
    race(f'tags of {count} files, ms', lambda _: [host, 'tags', '-q', '--files-from', listed],
         {'ffprobe, one process each': lambda _: each(['ffprobe', '-v', 'error', '-show_format'], listed),
          'mediainfo': lambda _: ['mediainfo', *names],
          'TagLib': lambda _: [job, 'tags', *names],
          'mutagen': lambda _: [PYTHON, '-c', MUTAGEN, *names]}, rounds)


def retagging(host, job, folder, rounds):
    copies = {}
    for name in ('ours', 'id3v2', 'eyeD3', 'TagLib', 'mutagen'):
        copies[name] = shutil.copyfile(f'{folder}/0.tta', f'{folder}/{name}.tta')
    title = lambda number: f'Title {number % 10}'
    race('a title into an ID3v2 tag, ms', lambda n: [host, 'tag', '-q', copies['ours'], f'Title={title(n)}'],
         {'id3v2': lambda n: ['id3v2', '--TIT2', title(n), copies['id3v2']],
          'eyeD3': lambda n: ['eyeD3', '--quiet', '--title', title(n), copies['eyeD3']],
          'TagLib': lambda n: [job, 'retag', copies['TagLib'], title(n)],
          'mutagen': lambda n: [PYTHON, '-c', MUTAGEN_RETAG, copies['mutagen'], title(n)]}, rounds)
    theirs = shutil.copyfile(f'{folder}/sound.mka', f'{folder}/theirs.mka')
    race('a title into a Matroska file, ms', lambda n: [host, 'tag', '-q', f'{folder}/sound.mka', f'Title={title(n)}'],
         {'mkvpropedit': lambda n: ['mkvpropedit', '-q', theirs, '--edit', 'info', '--set', f'title={title(n)}']}, rounds)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('build', type=pathlib.Path)
    parser.add_argument('--seconds', type=int, default=600)
    parser.add_argument('--files', type=int, default=1000)
    parser.add_argument('--rounds', type=int, default=11)
    arguments = parser.parse_args()
    host, job = arguments.build / 'decoder-host', arguments.build / 'bench' / 'peer_job'
    print('| Job | ours | rival | theirs | ratio (10th - 90th) |\n|---|---|---|---|---|', flush=True)
    with tempfile.TemporaryDirectory() as folder:
        decoding(host, job, folder, arguments.seconds, arguments.rounds)
        tags(host, job, folder, arguments.files, min(arguments.rounds, 5))
        retagging(host, job, folder, 2 * arguments.rounds)


sys.exit(main())
