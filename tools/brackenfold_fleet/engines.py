"""Who distributes the work: this process, GNU parallel, or Slurm.

Each of them works through pieces of the list: machines FIRST to FIRST+COUNT-1, by
`brackenfold-fleet work FOLDER FIRST+COUNT`.
"""
import concurrent.futures
import os
import re
import shlex
import shutil
import signal
import subprocess
import time

from . import FleetError
from .run_folder import replace_file
from .worker import Worker

TERMINATED = 128 + signal.SIGTERM
# So many pieces for each job, so that they end at about the same time.
PIECES_A_JOB = 8
LARGEST_PIECE = 64
SLURM_RESTARTS = 3


def need(program, package):
    path = shutil.which(program)
    if path is None:
        raise FleetError(f"{program} isn't here: Debian's package {package} has it")
    return path


def pieces_of(count, size):
    return [f"{first}+{min(size, count - first)}" for first in range(0, count, size)]


def machines_of(piece, machines):
    match = re.fullmatch(r"(\d{1,9})\+(\d{1,9})", piece)
    if match is None:
        raise FleetError(f"{piece} is no piece of a list, FIRST+COUNT")
    first, count = int(match[1]), int(match[2])
    return machines[first:first + count]


def work(folder, machines, jobs, report=lambda machine, done: None):
    """Works on machines with so many threads. The exit code: 0 when none needs another try, 4 when
    some do, 128 + 15 when it was asked to end."""
    worker = Worker(folder)
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        signal.signal(number, lambda *_: worker.programs.stop())
    needs_more = False
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        tasks = {pool.submit(worker.work_on, machine): machine for machine in machines}
        for task in concurrent.futures.as_completed(tasks):
            if worker.programs.is_stopping:
                pool.shutdown(wait=True, cancel_futures=True)
                return TERMINATED
            needs_more |= not task.result()
            report(tasks[task], task.result())
    return 4 if needs_more else 0


class Local:
    name = "local"

    def __init__(self, folder, options, tool):
        self.folder, self.options = folder, options

    def start(self, pending, report):
        return work(self.folder, pending, self.options["jobs"], report)

    def is_at_work(self):
        return self.folder.is_locked()


class Parallel:
    """GNU parallel: on this computer, or over ssh on hosts that see the same folders."""
    name = "parallel"

    def __init__(self, folder, options, tool):
        self.folder, self.options, self.tool = folder, options, tool
        self.joblog = folder.path / "parallel/joblog"

    def start(self, pending, report):
        parallel = need("parallel", "parallel")
        count = len(self.folder.machines())
        # The same on resuming, so that the joblog's numbers stay those of the pieces.
        pieces = pieces_of(count, self.options["piece"])
        self.joblog.parent.mkdir(exist_ok=True)
        self._forget_pieces_of(pending)
        arguments = self.joblog.parent / "pieces"
        text = "".join(f"{piece}\n" for piece in pieces).encode("ascii")
        if not arguments.exists() or arguments.read_bytes() != text:
            self.joblog.unlink(missing_ok=True)
        replace_file(arguments, text)
        command = [parallel, "--no-notice", "--joblog", str(self.joblog), "--resume-failed",
                   "--jobs", str(self.options["jobs"]), "--retries", "3",
                   "--termseq", "TERM,30000,KILL,1000", "--arg-file", str(arguments)]
        for host in self.options["hosts"]:
            command += ["--sshlogin", host]
        command.append(" ".join(map(shlex.quote, [*self.tool, "work", str(self.folder.path)]))
                       + " {}")
        return self._wait_for(subprocess.Popen(command, stdin=subprocess.DEVNULL))

    @staticmethod
    def _wait_for(process):
        """Its exit code, the count of failed pieces; a signal for this process is passed on."""
        stopped = []

        def stop(*_):
            stopped.append(True)
            process.terminate()  # no new pieces
            process.terminate()  # and an end to those that run
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            signal.signal(number, stop)
        code = process.wait()
        return TERMINATED if stopped else 4 if code else 0

    def _forget_pieces_of(self, pending):
        """A piece that the joblog calls done, though a machine of it has no record, isn't."""
        try:
            lines = self.joblog.read_text(encoding="utf-8", errors="replace").splitlines()
        except FileNotFoundError:
            return
        open_pieces = {machine.number // self.options["piece"] + 1 for machine in pending}
        kept = [line for line in lines[1:]
                if line.split("\t")[0].isdigit() and int(line.split("\t")[0]) not in open_pieces]
        replace_file(self.joblog, "".join(line + "\n" for line in lines[:1] + kept).encode())

    def is_at_work(self):
        return self.folder.is_locked()


SLURM_SCRIPT = """#!/bin/bash
# A task of the array works on one piece of the list. What has a record already is passed over, so
# that it can be begun anew at any time.
piece=$(sed -n "$((SLURM_ARRAY_TASK_ID + 1))p" {pieces}) || exit 1
{work} "$piece" &
child=$!
trap 'kill -TERM $child; wait $child; exit 143' TERM
wait $child
code=$?
if [ $code -eq 4 ] && [ "${{SLURM_RESTART_COUNT:-0}}" -lt {restarts} ]; then
    exec {scontrol} requeue "${{SLURM_ARRAY_JOB_ID}}_$SLURM_ARRAY_TASK_ID"
fi
exit $code
"""


class Slurm:
    """An array job. All nodes see the run's folder, the machines and this program."""
    name = "slurm"

    def __init__(self, folder, options, tool):
        self.folder, self.options, self.tool = folder, options, tool
        self.place = folder.path / "slurm"

    def start(self, pending, report):
        sbatch, scontrol = need("sbatch", "slurm-client"), need("scontrol", "slurm-client")
        if self.is_at_work():
            raise FleetError(f"jobs {', '.join(self._jobs())} of this run are still in the queue")
        limit = self._limit(scontrol)
        self.place.mkdir(exist_ok=True)
        pieces = self._pieces(pending, limit)
        files = self._write(pieces, scontrol)
        for script, tasks in files:
            command = [sbatch, "--parsable", "--requeue", "--open-mode=append",
                       f"--array=0-{tasks - 1}%{self.options['jobs']}",
                       "--job-name=brackenfold", f"--chdir={self.options['cwd']}",
                       f"--output={self.place}/%A_%a.out", *self.options["sbatch"], str(script)]
            self._submit(command)
        print(f"{len(pieces)} tasks for {len(pending)} machines, jobs {', '.join(self._jobs())}")
        return self._wait() if self.options["wait"] else 0

    def _pieces(self, pending, limit):
        """Runs of neighbours among the pending machines, as many as one array takes."""
        size = self.options["piece"] or max(16, -(-len(pending) // limit))
        pieces = []
        for machine in pending:
            first, count = pieces[-1] if pieces else (None, 0)
            if pieces and first + count == machine.number and count < size:
                pieces[-1] = (first, count + 1)
            else:
                pieces.append((machine.number, 1))
        return [pieces[at:at + limit] for at in range(0, len(pieces), limit)]

    def _write(self, arrays, scontrol):
        written = []
        for number, pieces in enumerate(arrays):
            listing = self.place / f"pieces{number}"
            text = "".join(f"{first}+{count}\n" for first, count in pieces)
            replace_file(listing, text.encode("ascii"))
            script = self.place / f"task{number}.sh"
            command = map(shlex.quote, [*self.tool, "work", str(self.folder.path)])
            replace_file(script, SLURM_SCRIPT.format(
                pieces=shlex.quote(str(listing)), work=" ".join(command), scontrol=scontrol,
                restarts=SLURM_RESTARTS).encode())
            written.append((script, len(pieces)))
        replace_file(self.place / "jobs", b"")
        return written

    def _submit(self, command):
        done = subprocess.run(command, capture_output=True, text=True)
        if done.returncode != 0:
            raise FleetError(f"sbatch: {done.stderr.strip().splitlines()[-1:] or 'failed'}")
        with open(self.place / "jobs", "a", encoding="ascii") as file:
            file.write(done.stdout.strip().split(";")[0] + "\n")

    @staticmethod
    def _limit(scontrol):
        """How many tasks an array may have."""
        done = subprocess.run([scontrol, "show", "config"], capture_output=True, text=True)
        if done.returncode != 0:
            raise FleetError("Slurm's controller doesn't answer: "
                             f"{' '.join(done.stderr.split()) or 'scontrol failed'}")
        limits = [int(number) for number in
                  re.findall(r"^(?:MaxArraySize|MaxJobCount)\s*=\s*(\d+)", done.stdout, re.M)]
        return max(1, min(limits, default=1001) - 1)

    def _jobs(self):
        try:
            return (self.place / "jobs").read_text("ascii").split()
        except FileNotFoundError:
            return []

    def is_at_work(self):
        """Whether the queue still has a job of this run; an error if the queue can't be asked."""
        jobs = self._jobs()
        if not jobs:
            return False
        done = subprocess.run([need("squeue", "slurm-client"), "--noheader", "--format=%i",
                               "--jobs", ",".join(jobs)], capture_output=True, text=True)
        if done.returncode != 0 and "Invalid job id" not in done.stderr:
            raise FleetError(f"squeue: {' '.join(done.stderr.split())}")
        return bool(done.stdout.strip())

    def _wait(self):
        silent_for = 0
        while True:
            try:
                if not self.is_at_work():
                    return 0 if not self.folder.pending() else 4
                silent_for = 0
            except FleetError:  # a controller that is started anew
                silent_for += 1
                if silent_for > 60:
                    raise
            time.sleep(1)


ENGINES = {engine.name: engine for engine in (Local, Parallel, Slurm)}


def piece_size(engine, count, jobs, given):
    if given or engine == "slurm":
        return given
    return max(1, min(LARGEST_PIECE, count // (jobs * PIECES_A_JOB)))


def default_jobs():
    return len(os.sched_getaffinity(0))
