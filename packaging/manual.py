#!/usr/bin/env python3
"""manual.py PROGRAM FLEET FOLDER DATE: writes the manual pages of the command line and of the program for many
machines into the folder, made of what their --help tells."""
import os
import pathlib
import re
import subprocess
import sys

from command_help import read_help

FILES = (
    ("machine.json, registry/*.reg, drives/c/...", "A machine image: its facts, its registry, its files."),
    ("registry.journal", "Changes of an image that aren't folded into its registry files yet."),
    ("BKFD.log, short.log", "What was found and done on the machine; the start and the failures of the last run. They and "
     "all below lie in the program's folder on the machine, C:\\Program Files\\Brackenfold unless it says otherwise."),
    ("ignore.txt", "The ignore list: what scan, clean and the Windows program pass over. A text that can be edited."),
    ("Backup/*.reg", "Backups of what a cleanup may change in the registry; the registry editor imports them."),
    ("Undo/*.undo", "Records of what was changed, by which undo takes it back, with what they need beside them."),
    ("/usr/share/doc/brackenfold/examples/machines", "Example machines. Work on a copy."),
    ("/usr/share/doc/brackenfold/html/index.html", "The documents: volumes, JSON documents, the support desk, the design."),
)
ENVIRONMENT = (("http_proxy", "The proxy through which report sends."),)


def roff(text):
    """Text as it stands, for troff."""
    text = text.replace("\\", "\\e").replace("-", "\\-").replace("'", "\\(aq").replace("`", "\\(ga").replace('"', "\\(dq")
    text = text.replace("^", "\\(ha").replace("~", "\\(ti")
    return "\n".join("\\&" + line if line.startswith((".", "\\(aq")) else line for line in text.split("\n"))


def paragraphs(text):
    """Each paragraph filled, those whose lines are indented as they stand."""
    for paragraph in re.split(r"\n\n+", text.strip("\n")):
        lines = paragraph.split("\n")
        filled = [line for line in lines if not line.startswith(" ")]
        if len(filled) == len(lines):
            yield ".PP\n" + roff(paragraph)
            continue
        if not filled:
            yield ".PP"
        for line in lines:
            yield ".nf\n" + roff(line) + "\n.fi" if line.startswith(" ") else ".PP\n" + roff(line)


def joined(parts):
    """Neighbouring lines that stay as they are become one block."""
    return "\n".join(parts).replace("\n.fi\n.nf\n", "\n")


def tagged(label, meaning):
    return f".TP\n.B {roff(label)}\n{roff(meaning)}"


def exit_status(text):
    """The rest of the text, and the rows of its paragraph "Exit codes: 0 done ...; 1 ..."."""
    match = re.search(r"^Exit codes: (.*?)(?:\n\n|\Z)", text, re.M | re.S)
    if not match:
        raise ValueError("the help doesn't tell the exit codes")
    rows = re.findall(r"(\d) (.*?)(?:; (?=\d)|\.?$)", match[1].replace("\n", " "))
    if len(rows) < 2:
        raise ValueError("the exit codes aren't understood")
    return text[:match.start()] + text[match.end():], rows


def command_section(command):
    yield f'.SS "{roff(command.usage)}"'
    yield joined(paragraphs(command.description + "\n\n" + command.text))
    for row in command.positionals + command.options:
        if row.names != ["-h", "--help"]:
            yield tagged(row.label.replace(",", ", ").replace(" REQUIRED", ""), row.meaning)


def output(*command):
    environment = {**os.environ, "COLUMNS": "90", "PYTHONDONTWRITEBYTECODE": "1"}
    return subprocess.run(command, check=True, capture_output=True, env=environment).stdout.decode().strip()


def head(name, version, date, meaning, synopsis):
    title = roff(name.upper())
    yield f'.TH {title} 1 "{date}" "{version}" "User Commands"\n.ad l\n.nh'
    yield f".SH NAME\n{roff(name)} \\- {roff(meaning)}"
    yield f".SH SYNOPSIS\n.B {roff(name)}\n{synopsis}"


def page(program, version, date):
    top = read_help(program)
    text, status = exit_status(top.text)
    yield from head("brackenfold", version, date, "rid Internet Explorer of home-page hijackers, on a Windows machine held in files",
                    "[\\fIOPTIONS\\fR] \\fICOMMAND\\fR [\\fIARGUMENTS\\fR]")
    yield ".SH DESCRIPTION\n" + joined(paragraphs(top.description + "\n\n" + text))
    yield ".SH OPTIONS\nThey stand before the command or behind it."
    yield from (tagged(row.label.replace(",", ", "), row.meaning) for row in top.options)
    yield ".SH COMMANDS"
    for command in top.all()[1:]:
        yield from command_section(command)
    for title, rows in (("EXIT STATUS", status), ("FILES", FILES), ("ENVIRONMENT", ENVIRONMENT)):
        yield f".SH {title}"
        yield from (tagged(*row) for row in rows)
    yield ".SH SEE ALSO\n.BR brackenfold\\-fleet (1)"


def fleet_page(program, version, date):
    """The help of the program and of each command as it stands."""
    text = output(program, "--help")
    commands = re.findall(r"^    (\w+)  ", text, re.M)
    if not commands:
        raise ValueError("the help of brackenfold-fleet isn't understood")
    yield from head("brackenfold-fleet", version, date, "scan many machines for home-page hijackers",
                    "\\fICOMMAND\\fR [\\fIARGUMENTS\\fR]")
    for title, shown in [("DESCRIPTION", text)] + [("COMMAND " + name.upper(), output(program, name, "--help")) for name in commands]:
        yield f".SH {title}\n.nf\n{roff(shown)}\n.fi"
    yield ".SH SEE ALSO\n.BR brackenfold (1)"


def main():
    program, fleet, folder, date = sys.argv[1:]
    try:
        version = output(program, "--version")
        pages = {"brackenfold.1": page(program, version, date), "brackenfold-fleet.1": fleet_page(fleet, version, date)}
        for name, lines in pages.items():
            pathlib.Path(folder, name).write_text("\n".join(lines) + "\n", encoding="utf-8")
    except (OSError, ValueError, subprocess.CalledProcessError) as error:
        sys.exit(f"manual.py: {error}")


if __name__ == "__main__":
    main()
