"""The command line of brackenfold-fleet."""
import argparse
import os
import shutil
import sys

from . import FleetError, cleaning, merging
from .engines import ENGINES, default_jobs, machines_of, piece_size, work
from .machines import read_list
from .run_folder import NOT_SCANNED, RunFolder, shown
from .worker import READY_OPENERS, find_program

EPILOG = """
A list is a text file, a machine a line: a folder that `brackenfold --machine` takes, or what --open
turns into one. The run's folder holds all there is to know; `resume` goes on where a run ended, for
whatever reason, and makes no good record again.

  brackenfold-fleet run list.txt --out fleet
  brackenfold-fleet status fleet
  brackenfold-fleet merge fleet           # fleet/fleet.db and fleet/fleet.html

Exit codes: 0 done, every machine has a record; 1 some have none; 2 failed or wrong usage.
"""


def say(text):
    print(f"brackenfold-fleet: {text}", file=sys.stderr)


def make_parser():
    parser = argparse.ArgumentParser(
        prog="brackenfold-fleet", formatter_class=argparse.RawDescriptionHelpFormatter,
        description="Scans many machines, one record a machine, and makes one report of them.",
        epilog=EPILOG, allow_abbrev=False)
    commands = parser.add_subparsers(dest="command", required=True, metavar="COMMAND")
    add_run(commands.add_parser("run", help="scan the machines of a list", allow_abbrev=False))
    for name, meaning in (("status", "say how far a run is"), ("resume", "go on with a run")):
        command = commands.add_parser(name, help=meaning, allow_abbrev=False)
        command.add_argument("folder", metavar="FOLDER")
        if name == "resume":
            add_distribution(command)
    merging.declare(commands.add_parser("merge", allow_abbrev=False,
                                        help="make one database and one page of all records"))
    cleaning.declare(commands)
    piece = commands.add_parser("work", help="what an engine starts: scan a piece of the list")
    piece.add_argument("folder", metavar="FOLDER")
    piece.add_argument("piece", metavar="FIRST+COUNT")
    return parser


def add_run(parser):
    parser.add_argument("list", metavar="LIST", help="text file of machines; - is standard input")
    parser.add_argument("--out", required=True, metavar="FOLDER", help="the run's folder")
    parser.add_argument("-0", "--null", action="store_true",
                        help="entries are separated by NUL bytes, not by line ends")
    parser.add_argument("--engine", choices=ENGINES, default="local",
                        help="what works on the list (local)")
    add_distribution(parser)
    parser.add_argument("--open", metavar="CMD", help="`CMD open ENTRY FOLDER read` makes the machine"
                        " lie in FOLDER, `CMD close ...` takes it away; ready ones: "
                        + ", ".join(READY_OPENERS))
    parser.add_argument("--program", metavar="FILE", help="the brackenfold to use")
    parser.add_argument("--suspicious", action="store_true", help="as of brackenfold scan")
    parser.add_argument("--times", action="store_true", help="as of brackenfold scan --record")
    parser.add_argument("--signatures", metavar="FOLDER", help="as of brackenfold scan")
    parser.add_argument("--timeout", type=float, default=3600, metavar="SECONDS",
                        help="what one machine may take (3600)")


def add_distribution(parser):
    parser.add_argument("--jobs", type=int, metavar="N", help="machines at a time")
    parser.add_argument("--piece", type=int, metavar="N", help="machines that a job works on")
    parser.add_argument("--hosts", default=None, metavar="HOST,...",
                        help="of parallel: hosts over ssh that see the same folders")
    parser.add_argument("--sbatch", action="append", default=None, metavar="OPTION",
                        help="of slurm: an option for sbatch, such as --sbatch=--partition=lab")
    parser.add_argument("--wait", action="store_true", help="of slurm: until the jobs are done")


def distribution(arguments, before):
    """The options of add_distribution, those of a run before where nothing is said."""
    if any(number is not None and number < 1 for number in (arguments.jobs, arguments.piece)):
        raise FleetError("--jobs and --piece take a number from 1 on")
    jobs = arguments.jobs or before.get("jobs") or default_jobs()
    hosts = before.get("hosts", []) if arguments.hosts is None else arguments.hosts.split(",")
    sbatch = before.get("sbatch", []) if arguments.sbatch is None else arguments.sbatch
    return {"jobs": jobs, "hosts": hosts, "sbatch": sbatch, "wait": arguments.wait}


def read_machines(arguments):
    try:
        source = sys.stdin.buffer if arguments.list == "-" else open(arguments.list, "rb")
        with source:
            content = source.read()
    except OSError as error:
        raise FleetError(f"{arguments.list}: {error.strerror}") from None
    machines, doubled = read_list(content, arguments.null)
    if doubled:
        say(f"{len(doubled)} entries stand more than once in the list and count once, such as "
            f"{shown(doubled[0])}")
    return machines


def check_run(arguments):
    """What would fail in the same way for each machine."""
    if not arguments.timeout > 0:
        raise FleetError("--timeout takes seconds, more than 0")
    command = arguments.open
    if command and command not in READY_OPENERS and shutil.which(command) is None:
        raise FleetError(f"{command} of --open isn't here, or is no program")
    if arguments.signatures and not os.path.isdir(arguments.signatures):
        raise FleetError(f"{arguments.signatures} of --signatures is no folder")


def run(arguments, tool):
    program = find_program(arguments.program, tool)
    if program is None:
        raise FleetError(f"{arguments.program or 'brackenfold'} isn't here, or is no program")
    check_run(arguments)
    machines = read_machines(arguments)
    options = {"program": program, "cwd": os.getcwd(), "open": arguments.open,
               "timeout": arguments.timeout, "engine": arguments.engine,
               "scan": [flag for flag, wanted in (("--suspicious", arguments.suspicious),
                                                  ("--times", arguments.times)) if wanted],
               **distribution(arguments, {})}
    if arguments.signatures:
        options["scan"] += ["--signatures", os.path.abspath(arguments.signatures)]
    options["piece"] = piece_size(arguments.engine, len(machines), options["jobs"], arguments.piece)
    folder = RunFolder(os.path.abspath(arguments.out))
    folder.lock()
    folder.create(options, machines)
    return start(folder, options, tool)


def resume(arguments, tool):
    folder = RunFolder(os.path.abspath(arguments.folder))
    options = folder.options()
    folder.lock()
    folder.drop_leftovers()
    folder.keep_room()
    options.update(distribution(arguments, options))
    options["piece"] = arguments.piece or options["piece"]
    folder.save_options(options)
    return start(folder, options, tool)


def start(folder, options, tool):
    pending = folder.pending()
    done = 0

    def report(machine, is_done):
        nonlocal done
        done += 1
        if sys.stderr.isatty():
            print(f"\r{done} of {len(pending)}", end="", file=sys.stderr, flush=True)
    engine = ENGINES[options["engine"]](folder, options, [str(tool)])
    code = engine.start(pending, report) if pending else 0
    if sys.stderr.isatty() and done:
        print(file=sys.stderr)
    if code > 4:
        say("ended before its time; `resume` goes on with it")
        return code
    if options["engine"] == "slurm" and not options["wait"] and pending:
        return 0
    return tell_status(folder, None)


def tell_status(folder, engine):
    machines = folder.machines()
    missing = [(machine, why) for machine in machines if (why := folder.why_missing(machine))]
    missing.sort(key=lambda pair: pair[1] == NOT_SCANNED)  # what failed comes first
    print(f"{len(machines) - len(missing)} of {len(machines)} machines have a record")
    for machine, why in missing[:20]:
        print(f"  {shown(machine.entry)}: {shown(why)}")
    if len(missing) > 20:
        print(f"  and {len(missing) - 20} more; `merge` lists them all")
    if engine is not None and engine.is_at_work():
        print(f"The {engine.name} engine is still at work.")
    return 1 if missing else 0


def status(arguments, tool):
    folder = RunFolder(os.path.abspath(arguments.folder))
    options = folder.options()
    return tell_status(folder, ENGINES[options["engine"]](folder, options, [str(tool)]))


def work_on_piece(arguments, tool):
    folder = RunFolder(os.path.abspath(arguments.folder))
    return work(folder, machines_of(arguments.piece, folder.machines()), 1)


COMMANDS = {"run": run, "resume": resume, "status": status, "work": work_on_piece,
            "merge": lambda arguments, tool: merging.run(arguments),
            "plan": lambda arguments, tool: cleaning.plan(arguments),
            "clean": lambda arguments, tool: cleaning.clean(arguments)}


def main(words, tool):
    arguments = make_parser().parse_args(words)
    try:
        return COMMANDS[arguments.command](arguments, tool)
    except FleetError as error:
        say(shown(error))
    except OSError as error:
        say(shown(f"{error.filename or arguments.command}: {error.strerror}"))
    return 2
