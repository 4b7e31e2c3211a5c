#!/usr/bin/env python3
"""The workflow on a cluster of one node, which is this machine: slurm.py KALIM

The cluster has its own configuration, ports and folder, and is gone afterwards; one that may be set
up on this machine is not touched.
"""
from __future__ import annotations

import contextlib
import os
import pathlib
import pwd
import socket
import subprocess
import sys
from collections.abc import Iterator

from support import (WORKFLOWS, Process, done_in_journals, environment, expect, expect_report,
                     identities, need, scratch_folder, skip, wait_for, write_collection)

# Where Debian has them, which an ordinary user's path leaves out.
os.environ["PATH"] += ":/usr/sbin"

CONFIGURATION = """
ClusterName=kalim
SlurmctldHost=localhost
SlurmctldPort={controller_port}
SlurmdPort={node_port}
SlurmUser={user}
SlurmdUser={user}
AuthType=auth/munge
AuthInfo=socket={folder}/munge.socket
StateSaveLocation={folder}/controller
SlurmdSpoolDir={folder}/node
SlurmctldPidFile={folder}/controller.pid
SlurmdPidFile={folder}/node.pid
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU_Memory
SlurmdParameters=config_overrides
SchedulerParameters=batch_sched_delay=0,sched_interval=1
MpiDefault=none
KillWait=1
NodeName=localhost NodeAddr=127.0.0.1 CPUs=2 RealMemory=2000
PartitionName=all Nodes=localhost Default=YES
"""


def free_ports(count: int) -> list[int]:
    with contextlib.ExitStack() as stack:
        sockets = [stack.enter_context(socket.socket()) for _ in range(count)]
        for one in sockets:
            one.bind(("127.0.0.1", 0))
        return [one.getsockname()[1] for one in sockets]


def configure(folder: pathlib.Path) -> None:
    for name in ("controller", "node"):
        (folder / name).mkdir()
    controller_port, node_port = free_ports(2)
    text = CONFIGURATION.format(folder=folder, user=pwd.getpwuid(os.getuid()).pw_name,
                                controller_port=controller_port, node_port=node_port)
    (folder / "slurm.conf").write_text(text)
    key = folder / "munge.key"
    key.write_bytes(os.urandom(128))
    key.chmod(0o400)


def start_daemons(folder: pathlib.Path, daemons: contextlib.ExitStack) -> None:
    munge = ["munged", "--foreground", "--force", f"--key-file={folder}/munge.key",
             f"--socket={folder}/munge.socket", f"--pid-file={folder}/munge.pid",
             f"--log-file={folder}/munge.log", f"--seed-file={folder}/munge.seed"]
    configuration = ["-D", "-f", folder / "slurm.conf"]
    for name, command in (("munged", munge), ("slurmctld", ["slurmctld", *configuration]),
                          ("slurmd", ["slurmd", "-N", "localhost", *configuration])):
        daemon = Process(command, folder / f"{name}.said")
        daemons.callback(daemon.kill)
        if name == "munged":
            wait_for((folder / "munge.socket").exists, f"munged\n{daemon.read()}", 10)


def ask(*command: str) -> str:
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                          check=False).stdout


def cancel_all() -> None:
    """At once, with all that the jobs have started."""
    subprocess.run(["scancel", "--full", "--signal=KILL", *ask("squeue", "-h", "-o", "%i").split()],
                   check=False, stderr=subprocess.DEVNULL)
    wait_for(lambda: not ask("squeue", "-h").strip(), "jobs to end", 30)


@contextlib.contextmanager
def cluster(folder: pathlib.Path) -> Iterator[None]:
    configure(folder)
    os.environ["SLURM_CONF"] = str(folder / "slurm.conf")
    with contextlib.ExitStack() as daemons:
        try:
            start_daemons(folder, daemons)
            wait_for(lambda: "idle" in ask("sinfo", "-h", "-o", "%T"), "the node", 30)
        except AssertionError:
            for said in folder.glob("*.said"):
                print(f"{said.name}:\n{said.read_text()}")
            skip("a Slurm of our own does not start on this machine")
        try:
            yield
        finally:
            cancel_all()


def main(kalim: str) -> None:
    need("snakemake", "munged", "slurmctld", "slurmd", "sbatch", "squeue")
    with contextlib.ExitStack() as stack:
        folder = stack.enter_context(scratch_folder())
        # Slurm's settings take no space.
        stack.enter_context(cluster(stack.enter_context(scratch_folder("kalim-slurm-"))))
        test(kalim, folder, stack)


def test(kalim: str, folder: pathlib.Path, runs: contextlib.ExitStack) -> None:
    source, target = folder / "tapes", folder / "clean"
    inputs = write_collection(kalim, source)

    def start(name: str) -> Process:
        command = ["snakemake", "-s", WORKFLOWS / "Snakefile", "--profile", WORKFLOWS / "slurm",
                   "--latency-wait", "5", "--config", f"input={source}", f"output={target}",
                   f"kalim={kalim}", "shard_files=5", "threads=1"]
        run = Process(command, folder / name, cwd=folder, env=environment(folder))
        runs.callback(run.kill)
        return run

    # The submitting program dies, and the jobs in the midst of their work.
    run = start("first")
    wait_for(lambda: len(done_in_journals(target)) >= 3 or not run.is_running(), "three files")
    expect(ask("squeue", "-h", "-o", "%j").startswith("kalim-0"), run.read())
    run.kill()
    cancel_all()
    done = done_in_journals(target)
    expect(3 <= len(done) < len(inputs) - 1, f"{done}\n{run.read()}")
    before = identities(done)

    run = start("second")
    expect(run.wait() == 1, run.read())
    expect("broken.wav: cannot be read as audio" in run.read(), run.read())
    expect(identities(done) == before, "files that were finished have been done again")
    expect_report(source, target, ["broken.wav"])


if __name__ == "__main__":
    main(sys.argv[1])
