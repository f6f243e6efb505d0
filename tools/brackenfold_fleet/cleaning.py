"""Cleaning many machines: what is to go is first written into a plan that people can read; then the
plan's machines are cleaned one after the other, those that are still as the plan says."""
import json
import os
import pathlib
import subprocess

from . import FleetError
from .machines import Machine, identity_of
from .run_folder import BadRecord, RunFolder, parse_record, shown
from .worker import MachineFailure, Worker, last_line

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
    failed = 0
    for target in targets:
        if target["machine"] not in listed:
            raise FleetError(f"{shown(target['machine'])} of the plan is none of this run's machines")
    for target in targets:
        machine = Machine(0, target["machine"], identity_of(target["machine"]))
        try:
            outcome = clean_one(worker, machine, target, arguments.yes_clean_all)
        except MachineFailure as failure:
            failed += 1
            outcome = str(failure)
        print(f"{shown(machine.entry)}: {shown(outcome)}", flush=True)
    if not arguments.yes_clean_all:
        print("Nothing was changed: --yes-clean-all cleans them.")
    return 1 if failed else 0


def clean_one(worker, machine, target, is_wanted):
    with worker.opened(machine, "write" if is_wanted else "read") as place:
        base = [worker.options["program"], "--machine", place]
        scan = [*base, "scan", "--record", f"--name={machine.entry}", *worker.options["scan"]]
        done = subprocess.run(scan, capture_output=True, stdin=subprocess.DEVNULL)
        try:
            now = target_of(parse_record(done.stdout, machine.entry))
        except BadRecord:
            raise MachineFailure(2, "can't be scanned any more") from None
        if now != target:
            raise MachineFailure(2, "isn't as the plan says any more, and was left alone")
        if not is_wanted:
            return f"as planned, {len(target['files'])} files, {len(target['bhos'])} helper objects"
        signatures = worker.options["scan"]
        extra = signatures[signatures.index("--signatures"):][:2] if "--signatures" in signatures else []
        done = subprocess.run([*base, "--json", "clean", "--yes", *extra], capture_output=True,
                              stdin=subprocess.DEVNULL)
    kept = worker.folder.path / "cleaned" / f"{machine.identity}.json"
    kept.parent.mkdir(exist_ok=True)
    kept.write_bytes(done.stdout)
    if done.returncode not in (0, 3):
        raise MachineFailure(2, last_line(done.stderr) or "the cleanup failed")
    record = json.loads(done.stdout)["record"]
    return f"cleaned; undo {record} takes it back"
