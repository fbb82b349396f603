#!/usr/bin/env python3
"""try_slurm.py DECODER_HOST [COUNT] - examples/at-scale/verify.sbatch on two nodes, one of which is killed.

The controller, the two nodes and the service that signs their messages run on this machine, listen on loopback
addresses alone and keep everything in a temporary folder.
"""
import getpass
import os
import re
import socket
import subprocess
import sys
import time

from at_scale import EXAMPLES, SECONDS_FOR_ALL, Collection, Reports, free_ports, killed_text, own_folder, require, run

PARTS = 24
NODES = ("one", "two")
SILENT_SECONDS = 9  # after which a node counts as gone


class Cluster:
    def __init__(self, folder, processes):
        self.folder = folder
        self.processes = processes
        self.environment = {"SLURM_CONF": str(folder / "slurm.conf"), "PATH": os.environ["PATH"] + ":/usr/sbin:/sbin"}
        self._sign_messages()
        self._configure()
        self._start("slurmctld", ["-D", "-i"])
        for name in NODES:
            self._start("slurmd", ["-D", "-N", name], name)
        self.wait("two idle nodes", lambda: self.call("sinfo", "-h", "-N", "-o", "%t").split() == ["idle"] * len(NODES), 60)

    def call(self, *command, check=True):
        environment = {**os.environ, **self.environment}
        done = subprocess.run([str(word) for word in command], env=environment, capture_output=True, text=True)
        require(done.returncode == 0 or not check, f"{command[0]}: {done.stderr}{self.logs()}")
        return done.stdout

    def wait(self, what, condition, seconds):
        deadline = time.monotonic() + seconds
        while not condition():
            require(time.monotonic() < deadline, f"no {what} after {seconds} seconds{self.logs()}")
            time.sleep(0.2)

    def logs(self):
        text = ""
        for log in sorted(self.folder.glob("*.log")):
            text += f"\n{log.name}:\n" + "\n".join(log.read_text().splitlines()[-10:])
        return text

    def _start(self, program, arguments, name="controller"):
        log = open(self.folder / f"{program}-{name}.log", "w")
        return self.processes.start([program, *arguments], name, env=self.environment, stdout=log, stderr=log)

    def _sign_messages(self):
        key, place = self.folder / "munge.key", self.folder / "munge"
        place.mkdir(mode=0o755)
        key.write_bytes(os.urandom(128))
        key.chmod(0o600)
        self._start("munged", ["--foreground", "--force", f"--key-file={key}", f"--socket={place}/socket",
                               f"--pid-file={place}/pid", f"--seed-file={place}/seed"], "signer")  # fmt: skip
        self.wait("socket of munged", lambda: (place / "socket").exists(), 30)

    def _configure(self):
        controller, *ports = free_ports(1 + len(NODES))
        here, user = socket.gethostname().split(".")[0], getpass.getuser()
        # Slurm listens on the address of the machine's name, or on all.
        address = socket.gethostbyname(here)
        require(address.startswith("127."), f"{here} has the address {address}; /etc/hosts has to give it one of loopback")
        nodes = "".join(f"NodeName={name} NodeHostname={here} NodeAddr={address} Port={port} CPUs=1 State=UNKNOWN\n"
                        for name, port in zip(NODES, ports))  # fmt: skip
        (self.folder / "state").mkdir()
        (self.folder / "slurm.conf").write_text(f"""ClusterName=loopback
SlurmctldHost={here}({address})
SlurmctldPort={controller}
SlurmUser={user}
SlurmdUser={user}
AuthType=auth/munge
AuthInfo=socket={self.folder}/munge/socket,cred_expire=10
CommunicationParameters=NoCtldInAddrAny,NoInAddrAny
StateSaveLocation={self.folder}/state
SlurmdSpoolDir={self.folder}/spool-%n
SlurmctldPidFile={self.folder}/controller.pid
SlurmdPidFile={self.folder}/node-%n.pid
SlurmdTimeout={SILENT_SECONDS}
SlurmdParameters=config_overrides
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
MpiDefault=none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SchedulerParameters=sched_interval=2
{nodes}PartitionName=all Nodes={",".join(NODES)} Default=YES State=UP
""")


def trial(count, program):
    with own_folder() as (folder, processes):
        collection = Collection(folder, count)
        reports = Reports(folder / "reports")
        cluster = Cluster(folder, processes)
        print(f"{count} files as an array of {PARTS} tasks on two nodes: {cluster.call('sinfo', '--version').strip()}")
        variables = {"LIST": collection.list, "REPORTS": reports.folder, "PARTS": PARTS, "DECODER_HOST": program,
                     "AT_SCALE": EXAMPLES}  # fmt: skip
        processes.add_keeper("slurmstepd", "two", ["SLURMD_NODENAME=two", f"REPORTS={reports.folder}"])
        job = cluster.call("sbatch", "--parsable", f"--array=1-{PARTS}", "--output", folder / "task-%a.txt", "--export",
                           "ALL," + ",".join(f"{name}={value}" for name, value in variables.items()),
                           EXAMPLES / "verify.sbatch").strip()  # fmt: skip
        waiting = lambda: cluster.call("squeue", "-h", "-j", job, check=False).strip()
        reports.wait_for(count // 4, waiting)
        processes.wait_for("two", "decoder-host")
        killed = processes.kill("two")
        print(f"Killed node two after {reports.count()} files: {killed_text(killed)}")
        require("decoder-host" in killed, "node two had no task when it was killed")
        cluster.wait("end of the array", lambda: not waiting(), SECONDS_FOR_ALL)

        states = cluster.call("scontrol", "show", "job", "-o", job).splitlines()
        again = [re.search(r"ArrayTaskId=(\d+)", line)[1] for line in states if re.search(r" Restarts=[1-9]", line)]
        print(f"Tasks that were requeued: {', '.join(again)}; node two is {cluster.call('sinfo', '-h', '-n', 'two', '-o', '%T').strip()}")
        require(again, "no task was requeued")
        reports.check(collection)


if __name__ == "__main__":
    sys.exit(run(trial, sys.argv[1:]))
