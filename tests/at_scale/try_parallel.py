#!/usr/bin/env python3
"""try_parallel.py DECODER_HOST [COUNT] - examples/at-scale/verify-over-ssh with two machines, one of which is killed.

The machines are two ssh servers on loopback addresses, with keys of their own in a temporary folder.
"""
import contextlib
import os
import shutil
import socket
import subprocess
import sys
import time
from pathlib import Path

from at_scale import EXAMPLES, SECONDS_FOR_ALL, Collection, Reports, free_ports, killed_text, own_folder, require, run

PARTS = 24
MACHINES = {"one": "127.0.0.1", "two": "127.0.0.2"}


def make_keys(folder):
    for name in ("host_key", "user_key"):
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", folder / name], check=True)
    key = (folder / "host_key.pub").read_text()
    ports = dict(zip(MACHINES, free_ports(len(MACHINES))))
    hosts = "".join(f"[{MACHINES[name]}]:{ports[name]} {key}" for name in MACHINES)
    (folder / "known_hosts").write_text(hosts)
    return ports


def start_machine(processes, folder, name, port):
    """An ssh server. What it starts is marked as this machine's, and reads no start-up files of the user's: they might not
    stand being killed."""
    variables = {**processes.mark(name), "HOME": folder}
    mark = " ".join(f"{variable}={value}" for variable, value in variables.items())
    (folder / f"sshd_{name}").write_text(f"""ListenAddress {MACHINES[name]}
Port {port}
HostKey {folder}/host_key
PidFile {folder}/{name}.pid
AuthorizedKeysFile {folder}/user_key.pub
StrictModes no
UsePAM no
PasswordAuthentication no
KbdInteractiveAuthentication no
SetEnv {mark}
""")
    log = open(folder / f"{name}.log", "w")
    processes.start([shutil.which("sshd", path=os.environ["PATH"] + ":/usr/sbin"), "-D", "-e", "-f", folder / f"sshd_{name}"],
                    name, stdout=log, stderr=log)  # fmt: skip
    deadline = time.monotonic() + 30
    while True:
        with contextlib.suppress(OSError):
            socket.create_connection((MACHINES[name], port), 1).close()
            return
        require(time.monotonic() < deadline, f"the ssh server {name} doesn't start: {(folder / f'{name}.log').read_text()}")
        time.sleep(0.1)


def write_client(folder, ports):
    machines = "".join(f"Host {name}\n  HostName {MACHINES[name]}\n  Port {ports[name]}\n" for name in MACHINES)
    (folder / "ssh_config").write_text(f"""{machines}Host *
  IdentityFile {folder}/user_key
  IdentitiesOnly yes
  UserKnownHostsFile {folder}/known_hosts
  StrictHostKeyChecking yes
  BatchMode yes
  LogLevel ERROR
""")
    (folder / "machines").write_text("".join(f"{name}\n" for name in MACHINES))


def trial(count, program):
    with own_folder() as (folder, processes):
        collection = Collection(folder, count)
        reports = Reports(folder / "reports")
        ports = make_keys(folder)
        for name, port in ports.items():
            start_machine(processes, folder, name, port)
        write_client(folder, ports)
        environment = {"PARALLEL_SSH": f"ssh -F {folder}/ssh_config", "PARALLEL_HOME": str(folder / "parallel"),
                       "DECODER_HOST": str(program), "AT_SCALE": str(EXAMPLES)}  # fmt: skip
        print(f"{count} files in {PARTS} parts on two ssh servers, {', '.join(f'{MACHINES[n]}:{p}' for n, p in ports.items())}")
        work = processes.start([EXAMPLES / "verify-over-ssh", collection.list, reports.folder, folder / "machines", PARTS],
                               env=environment)  # fmt: skip
        reports.wait_for(count // 4, lambda: work.poll() is None)
        processes.wait_for("two", "decoder-host")
        killed = processes.kill("two")
        print(f"Killed machine two after {reports.count()} files: {killed_text(killed)}")
        require("decoder-host" in killed, "machine two had no part when it was killed")
        code = work.wait(SECONDS_FOR_ALL)

        jobs = [line.split("\t") for line in Path(reports.folder / "parts.log").read_text().splitlines()[1:]]
        ends = {job[0]: job for job in jobs}
        require(len(ends) == PARTS, f"{len(ends)} parts have ended")
        machines = [job[1] for job in ends.values()]
        print(f"Parts that ended on machine one: {machines.count('one')}, on two: {machines.count('two')}; "
              f"{code} parts have files that failed")  # fmt: skip
        reports.check(collection)


if __name__ == "__main__":
    sys.exit(run(trial, sys.argv[1:]))
