"""The work on one machine: open it, scan it, keep the record, close it."""
import contextlib
import os
import pathlib
import shlex
import shutil
import signal
import subprocess
import tempfile
import threading
import time

from .run_folder import TRY_AGAIN, BadRecord, parse_record, shown

DONE, FAILED, INCOMPLETE = 0, 2, 3
TRIES = 3
OPENERS = pathlib.Path(__file__).resolve().parent / "open_image.py"
READY_OPENERS = ("raw", "qcow2", "vmdk")


class MachineFailure(Exception):
    """Why a machine has no record; `code` is FAILED or TRY_AGAIN."""

    def __init__(self, code, message):
        super().__init__(message)
        self.code = code


class Stopped(Exception):
    """The run was asked to end."""


def end(process, number):
    """With what it has started, as a script its commands."""
    with contextlib.suppress(ProcessLookupError):
        os.killpg(process.pid, number)


class Programs:
    """The programs that were started, so that all of them can be ended at once."""

    def __init__(self):
        self._running = set()
        self._lock = threading.Lock()
        self.is_stopping = False

    def stop(self):
        # Called by a signal's handler, which may interrupt the thread that holds the lock.
        self.is_stopping = True
        for process in list(self._running):
            end(process, signal.SIGTERM)

    def run(self, command, timeout, is_closing=False, environment=None):
        """(exit code, output, messages); what closes is run to its end also when all is to end."""
        if self.is_stopping and not is_closing:
            raise Stopped
        with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, start_new_session=True,
                              env=environment) as process:
            if not is_closing:
                with self._lock:
                    self._running.add(process)
                if self.is_stopping:
                    end(process, signal.SIGTERM)
            try:
                out, err = process.communicate(timeout=timeout)
            except subprocess.TimeoutExpired:
                end(process, signal.SIGKILL)
                process.communicate()
                raise MachineFailure(TRY_AGAIN, f"{command[0]} took longer than {timeout:g} s") \
                    from None
            finally:
                with self._lock:
                    self._running.discard(process)
        if self.is_stopping and not is_closing:
            raise Stopped
        return process.returncode, out, err


def last_line(messages):
    lines = messages.decode("utf-8", "surrogateescape").strip().splitlines()
    return lines[-1] if lines else ""


class Worker:
    """Scans machines of a run, from any number of threads."""

    def __init__(self, folder, pause=time.sleep):
        self.folder = folder
        self.options = folder.options()
        os.chdir(self.options["cwd"])  # entries and what opens them are meant from there
        self.programs = Programs()
        self._pause = pause

    # ------------------------------------------------------------ one machine

    def work_on(self, machine):
        """True if the machine needs no other try: it has a record, or failed for good."""
        if self.folder.has_good_record(machine):
            return True
        for attempt in range(TRIES):
            try:
                self._keep_record(machine, self._scan(machine))
                return True
            except MachineFailure as failure:
                last = failure
            except OSError as error:
                last = MachineFailure(TRY_AGAIN, f"{error.filename or 'here'}: {error.strerror}")
            if last.code == FAILED:
                break
            if attempt + 1 < TRIES:
                self._pause(0.2 * 4 ** attempt)
        self._keep_failure(machine, last)
        return last.code == FAILED

    def _keep_record(self, machine, record):
        try:
            self.folder.save_record(machine, record)
        except OSError as error:
            raise MachineFailure(TRY_AGAIN, f"its record can't be kept: {error.strerror}") from None

    def _keep_failure(self, machine, failure):
        with contextlib.suppress(OSError):  # then `status` tells that it has no record
            self.folder.save_failure(machine, failure.code, str(failure))

    def _scan(self, machine):
        with self.opened(machine) as place:
            command = [self.options["program"], "--machine", place, "scan", "--record",
                       f"--name={machine.entry}", *self.options["scan"]]
            code, out, err = self.programs.run(command, self.options["timeout"])
        if code not in (DONE, INCOMPLETE):
            again = code == TRY_AGAIN or code < 0
            why = last_line(err).removeprefix("brackenfold: ") or (
                f"ended by signal {-code}" if code < 0 else f"ended with code {code}")
            raise MachineFailure(TRY_AGAIN if again else FAILED, why)
        try:
            parse_record(out, machine.entry)
        except BadRecord as error:
            raise MachineFailure(FAILED, f"what {command[0]} printed {error}") from None
        return out

    # ------------------------------------------------------------ --open

    @contextlib.contextmanager
    def opened(self, machine, access="read"):
        """The folder in which the machine lies while it is worked on."""
        command = self.opener()
        if not command:
            yield os.path.join(self.options["cwd"], machine.entry)  # never like an option
            return
        place = tempfile.mkdtemp(prefix="brackenfold-")
        try:
            try:
                self._open("open", machine, place, access)
            except Stopped:  # half way, perhaps
                self._open("close", machine, place, access)
                raise
            try:
                yield place
            finally:
                self._open("close", machine, place, access)
        finally:
            with contextlib.suppress(OSError):
                os.rmdir(place)  # never what may still be mounted there

    def opener(self):
        name = self.options["open"]
        if name in READY_OPENERS:
            return ["/usr/bin/python3", str(OPENERS), name]
        return [name] if name else []

    def _open(self, verb, machine, place, access):
        command = [*self.opener(), verb, machine.entry, place, access]
        environment = {**os.environ, "BRACKENFOLD_SCAN": shlex.join(self.options["scan"])}
        code, _, err = self.programs.run(command, self.options["timeout"], verb == "close", environment)
        if code != 0:
            again = code == TRY_AGAIN or code < 0
            raise MachineFailure(TRY_AGAIN if again else FAILED,
                                 f"{verb}: {shown(last_line(err)) or f'ended with code {code}'}")


def find_program(given, beside):
    """The path of brackenfold: the one that was named, one built in these sources, one in PATH."""
    if given:
        found = shutil.which(given)
        return os.path.abspath(found) if found else None
    root = beside.parent.parent
    built = [root / "build" / preset / "brackenfold" for preset in ("linux", "linux-asan")]
    for path in built:
        if beside.parent.name == "tools" and os.access(path, os.X_OK):
            return str(path)
    return shutil.which("brackenfold")
