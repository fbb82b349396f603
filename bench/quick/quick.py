#!/usr/bin/env python3
"""Counts what a fixed set of jobs takes and compares it with a committed table.

    quick.py JOB_PROGRAM [--renew] [--repeat N]

What is counted doesn't depend on how fast or how busy the machine is: system calls of the calling thread, bytes that
they read and wrote, allocations, the most memory that was held at once, instructions. A figure that is more than 3 %
above the table's fails. --renew writes the table instead; --repeat counts everything N times and fails when two of
them differ.
"""
import argparse
import concurrent.futures
import csv
import os
import pathlib
import re
import subprocess
import sys
import tempfile

TABLE = pathlib.Path(__file__).with_name('counts.csv')
FIGURES = ['system calls', 'bytes read', 'bytes written', 'allocations', 'peak bytes', 'instructions']
ALLOWED = 1.03
# Two threads and a worker take turns as the system likes: how often one waits, what the other one has got by then and
# what it holds at once are never twice the same.
NOT_COUNTED = {'decode': ['bytes read', 'allocations', 'peak bytes', 'instructions']}
WAITING = {'decode': ['poll', 'read', 'futex', 'restart_syscall', 'gettid', 'getpriority']}
# The library that copies bytes chooses by processor what it does that with; here all get what each of them has.
PLAIN_PROCESSOR = ('glibc.cpu.hwcaps=-AVX,-AVX2,-AVX512F,-AVX512VL,-AVX512BW,-AVX_Fast_Unaligned_Load,-ERMS,-FSRM,-SSSE3,-SSE4_1,'
                   '-SSE4_2,-BMI1,-BMI2,-LZCNT,-MOVBE,-RTM'
                   ':glibc.cpu.x86_non_temporal_threshold=0x10000000:glibc.cpu.x86_data_cache_size=0x8000'
                   ':glibc.cpu.x86_shared_cache_size=0x100000')


def run(command):
    done = subprocess.run(command, env={**os.environ, 'GLIBC_TUNABLES': PLAIN_PROCESSOR, 'LD_BIND_NOW': '1', 'LC_ALL': 'C'},
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if done.returncode != 0:
        raise RuntimeError(f'{" ".join(command)}: {done.stderr.strip()}')
    return done


def system_calls(trace, left_out):
    """Those between the marks; what reads and writes moved."""
    calls = read = written = 0
    inside = False
    for line in trace.splitlines():
        if line.startswith('write(-1, "begin"'):
            inside = True
        elif line.startswith('write(-1, "end"'):
            return calls, read, written
        elif inside and (call := re.match(r'(\w+)\(.* = (-?\d+|\?)', line)):
            name = call[1]
            if name in left_out:
                continue
            moved = max(0, int(call[2])) if call[2] != '?' else 0
            calls += 1
            read += moved if re.match(r'p?read', name) else 0
            written += moved if re.match(r'p?write', name) else 0
    raise RuntimeError('strace saw no marks; is it allowed to trace here?')


def count(program, job):
    with tempfile.TemporaryDirectory() as folder:
        trace = f'{folder}/trace'
        profile = f'{folder}/profile'
        allocations, peak = run([program, job]).stdout.split()
        run(['strace', '-o', trace, program, job])
        calls, read, written = system_calls(pathlib.Path(trace).read_text(errors='replace'),
                                            WAITING.get(job, []))
        figures = {'system calls': calls, 'bytes read': read, 'bytes written': written,
                   'allocations': int(allocations), 'peak bytes': int(peak)}
        left_out = NOT_COUNTED.get(job, [])
        if 'instructions' not in left_out:
            done = run(['valgrind', '--tool=callgrind', f'--callgrind-out-file={profile}', '--toggle-collect=QuickJob',
                        program, job])
            figures['instructions'] = int(re.search(r'Collected : (\d+)', done.stderr)[1])
        return {name: figure for name, figure in figures.items() if name not in left_out}


def count_all(program):
    jobs = run([program]).stdout.splitlines()
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        return dict(zip(jobs, pool.map(lambda job: count(program, job), jobs)))


def made_with(program):
    """What decides on the number of instructions beside our own code."""
    compiler = run(['readelf', '-p', '.comment', program]).stdout
    library = run(['getconf', 'GNU_LIBC_VERSION']).stdout.strip()
    machine = run(['uname', '-m']).stdout.strip()
    return '; '.join([*sorted(set(re.findall(r'(?:GCC|clang).*', compiler))), library, machine])


def read_table():
    with TABLE.open(newline='') as file:
        rows = [row for row in csv.reader(file)]
    return rows[0][1], {row[0]: {name: int(text) for name, text in zip(FIGURES, row[1:]) if text} for row in rows[2:]}


def write_table(made, counted):
    with TABLE.open('w', newline='') as file:
        table = csv.writer(file, lineterminator='\n')
        table.writerow(['made with', made])
        table.writerow(['job', *FIGURES])
        for job, figures in counted.items():
            table.writerow([job, *(figures.get(name, '') for name in FIGURES)])


def compare(counted, expected, same_tools):
    """Prints what differs; whether nothing got worse."""
    good = True
    if counted.keys() != expected.keys():
        print('The table has other jobs:', ', '.join(sorted(counted.keys() ^ expected.keys())))
        good = False
    for job in sorted(counted.keys() & expected.keys()):
        for name, figure in counted[job].items():
            if name == 'instructions' and not same_tools:
                continue
            known = expected[job].get(name, 0)
            if figure == known:
                continue
            worse = figure > known * ALLOWED
            good = good and not worse
            change = f'{100 * (figure / known - 1):+.1f} %' if known else 'new'
            print(f'{"WORSE " if worse else "      "}{job}: {name} {known} -> {figure} ({change})')
    return good


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('program')
    parser.add_argument('--renew', action='store_true')
    parser.add_argument('--repeat', type=int, default=1)
    arguments = parser.parse_args()

    counted = count_all(arguments.program)
    for again in range(1, arguments.repeat):
        once_more = count_all(arguments.program)
        if once_more != counted:
            compare(once_more, counted, True)
            print(f'Run {again + 1} counts something else than the first one.')
            return 1
    made = made_with(arguments.program)
    if arguments.renew:
        write_table(made, counted)
        print(f'{len(counted)} jobs in {TABLE.name}')
        return 0
    known, expected = read_table()
    if made != known:
        print(f'The table was made with other tools, so instructions are not compared:\n  {known}\n  here: {made}')
    if not compare(counted, expected, made == known):
        print('More than 3 % above bench/quick/counts.csv. When that has to be: scripts/bench --quick --renew')
        return 1
    print(f'{len(counted)} jobs take no more than bench/quick/counts.csv says (3 % allowed)')
    return 0


sys.exit(main())
