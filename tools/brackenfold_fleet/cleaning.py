"""Cleaning many machines: what is to go is first written into a plan that people can read; then the
plan's machines are cleaned one after the other, those that are still as the plan says."""
import json
import os
import pathlib
import signal

from . import FleetError
from .engines import TERMINATED
from .machines import Machine, identity_of
from .run_folder import BadRecord, RunFolder, parse_record, replace_file, shown
from .worker import DONE, INCOMPLETE, MachineFailure, Worker, last_line

PLAN = "brackenfold-fleet plan"
FORMAT = 1


def declare(commands):
    parser = commands.add_parser("plan", help="write down what a cleanup of all machines would take "
                                 "away", allow_abbrev=False)
    parser.add_argument("folder", metavar="FOLDER", help="of a run")
    parser.add_argument("plan", metavar="PLAN", help="the file to write")
    parser = commands.add_parser("clean", help="clean the machines of a plan", allow_abbrev=False)
    parser.add_argument("folder", metavar="FOLDER", help="of the run that the plan was made from")
    parser.add_argument("plan", metavar="PLAN")
    parser.add_argument("--yes-clean-all", action="store_true",
                        help="clean them; without it the plan is only looked at")


def target_of(record):
    """What of a machine has to go, by which a change since then shows."""
    return {"machine": record["machine"]["name"], "input": record["input"]["sha256"],
            "files": [[found["path"], found["sha256"]] for found in record["files"]],
            "bhos": [found["clsid"] for found in record["bhos"]]}


def plan(arguments):
    folder = RunFolder(os.path.abspath(arguments.folder))
    targets = []
    for machine in folder.machines() if folder.options() else []:
        try:
            record = folder.read_record(machine)
        except BadRecord:
            record = None
        if record is not None and record["verdict"] == "parasites":
            targets.append(target_of(record))
    head = {PLAN: FORMAT, "machines": len(targets)}
    try:
        with open(arguments.plan, "x", encoding="ascii") as file:
            file.writelines(json.dumps(line) + "\n" for line in [head, *targets])
    except FileExistsError:
        raise FleetError(f"{arguments.plan} is there already") from None
    print(f"{len(targets)} machines to clean: {arguments.plan}")
    return 0


def read_plan(path):
    try:
        lines = [json.loads(line) for line in pathlib.Path(path).read_bytes().splitlines()]
        head, *targets = lines
        if head[PLAN] == FORMAT and head["machines"] == len(targets) and all(
                isinstance(target["machine"], str) for target in targets):
            return targets
    except (ValueError, KeyError, TypeError):
        pass
    raise FleetError(f"{path} is no whole plan, or one of another version")


def clean(arguments):
    targets = read_plan(arguments.plan)
    folder = RunFolder(os.path.abspath(arguments.folder))
    worker = Worker(folder)
    listed = {machine.entry for machine in folder.machines()}
    folder.lock()
    for target in targets:
        if target["machine"] not in listed:
            raise FleetError(f"{shown(target['machine'])} of the plan is none of this run's machines")
    stopped = []
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        signal.signal(number, lambda *_: stopped.append(True))
    failed = 0
    for target in targets:
        if stopped:
            print("Ended before its time; the same command goes on with it.")
            return TERMINATED
        machine = Machine(0, target["machine"], identity_of(target["machine"]))
        try:
            outcome = Cleanup(worker, machine, target).run(arguments.yes_clean_all)
        except MachineFailure as failure:
            failed += 1
            outcome = str(failure)
        print(f"{shown(machine.entry)}: {shown(outcome)}", flush=True)
    if not arguments.yes_clean_all:
        print("Nothing was changed: --yes-clean-all cleans them.")
    return 1 if failed else 0


class Cleanup:
    """That of one machine. What was begun is written down before, so that a run that was killed can be
    done again: a machine that has lost a part of what was planned, and nothing else, is cleaned on."""

    def __init__(self, worker, machine, target):
        self._worker, self._machine, self._target = worker, machine, target
        self._path = worker.folder.path / "cleaned" / f"{machine.identity}.json"

    def run(self, is_wanted):
        before = self._kept()
        with self._worker.opened(self._machine, "write" if is_wanted else "read") as place:
            self._place = place
            record = self._record_now()
            now = target_of(record)
            was_begun = before["state"] == "begun" and is_part(record, self._target)
            if now != self._target and not was_begun:
                if before["state"] == "cleaned":
                    if now["files"] or now["bhos"]:
                        raise MachineFailure(2, "was cleaned before, and has parasites again: a new run "
                                             "and a new plan are for that")
                    return "was cleaned before; " + undo_of(before["records"])
                raise MachineFailure(2, "isn't as the plan says any more, and was left alone")
            if not is_wanted:
                return (f"as planned, {len(self._target['files'])} files, {len(self._target['bhos'])} "
                        "helper objects" if now == self._target else "was cleaned in part")
            return self._clean(before["earlier"] if was_begun else self._records())

    def _clean(self, earlier):
        self._keep(state="begun", earlier=earlier)
        options = self._worker.options["scan"]
        lists = options[options.index("--signatures"):][:2] if "--signatures" in options else []
        code, out, err = self._brackenfold("--json", "clean", "--yes", *lists)
        records = [number for number in self._records() if number not in earlier]
        document = json.loads(out) if out else None
        self._keep(state="cleaned" if document else "begun", earlier=earlier, records=records,
                   document=document)
        if document is None:
            raise MachineFailure(2, last_line(err) or "the cleanup failed")
        if document["failed"]:
            first = document["failed"][0]
            raise MachineFailure(2, f"cleaned, but {len(document['failed'])} things could not be done, such "
                                 f"as {first['name']}: {first['error']} ({undo_of(records)})")
        missed = ", but not all of it could be read" if code == INCOMPLETE else ""
        return f"cleaned{missed}; {undo_of(records)}"

    def _brackenfold(self, *words):
        """Is never interrupted."""
        command = [self._worker.options["program"], "--machine", self._place, *words]
        return self._worker.programs.run(command, None, is_closing=True)

    def _record_now(self):
        options = self._worker.options["scan"]
        _, out, _ = self._brackenfold("scan", "--record", f"--name={self._machine.entry}", *options)
        try:
            return parse_record(out, self._machine.entry)
        except BadRecord:
            raise MachineFailure(2, "can't be scanned any more") from None

    def _records(self):
        """The numbers of the undo records on the machine, the latest first."""
        code, out, err = self._brackenfold("--json", "undo")
        if code != DONE:
            raise MachineFailure(2, last_line(err) or "its undo records can't be read")
        return [item["record"] for item in json.loads(out)["items"]]

    def _kept(self):
        try:
            return {"state": None, **json.loads(self._path.read_bytes())}
        except FileNotFoundError:
            return {"state": None}
        except (OSError, ValueError, TypeError):
            raise MachineFailure(2, f"{self._path} is damaged; it tells what was done") from None

    def _keep(self, **facts):
        text = json.dumps({"machine": self._machine.entry, **facts}) + "\n"
        replace_file(self._path, text.encode("ascii"))


def is_part(record, target):
    """Whether nothing is left but what was planned. A file that is gone may still be found by what
    starts it, as that spells it."""
    return all(found["clsid"] in target["bhos"] for found in record["bhos"]) and all(
        [found["path"], found["sha256"]] in target["files"] or not found["exists"]
        for found in record["files"])


def undo_of(records):
    if not records:
        return "nothing had to be changed"
    takes = "takes" if len(records) == 1 else "take"
    return f"undo {', then '.join(map(str, records))} {takes} it back"
