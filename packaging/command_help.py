"""What `brackenfold --help` and each command's --help tell, as data: the one source of the manual page and
of the completions. Help of a form that isn't known here is an error, so that nothing gets lost. The same of a
program that declares its options by argparse."""
import argparse
import dataclasses
import re
import subprocess

HEADINGS = "Options:", "Positionals:", "Subcommands:"
ROW = re.compile(r"  (\S(?:.*?\S)?)(?:\s{2,}(\S.*))?$")
DIRECTORIES = ("FOLDER",)
FILES = ("FILE", "LIST", "PLAN")


@dataclasses.dataclass
class Row:
    """An option, a positional or a command as the help lists it."""
    label: str  # "--machine FOLDER", "FILE ... REQUIRED", "scan"
    meaning: str
    choices: tuple = ()  # the words that it may be, where it may not be any

    @property
    def names(self):
        """All names of an option, "-h" and "--help" say, or that of a command."""
        return [name for name in self.label.split(" ")[0].split(",")]

    @property
    def placeholder(self):
        """What stands for an option's value; "" for an option that has none."""
        return self.label.partition(" ")[2] if self.label.startswith("-") else self.label.split(" ")[0]


@dataclasses.dataclass
class Help:
    """One --help: of the program, where path is empty, of a command or of a command below it."""
    path: tuple
    description: str
    usage: str
    options: list
    positionals: list
    text: str  # what stands behind the lists: paragraphs; those that are indented are to stay as they are
    commands: list  # a Help each, with its summary as description
    program: str = "brackenfold"

    @property
    def name(self):
        return self.path[-1] if self.path else self.program

    def all(self):
        """This one and all below it."""
        return [self] + [each for command in self.commands for each in command.all()]


def read_help(program, path=()):
    """Asks the program. Raises ValueError with the line that isn't understood."""
    text = subprocess.run([program, *path, "--help"], check=True, capture_output=True).stdout.decode()
    lines = text.rstrip("\n").split("\n")
    usage = next(index for index, line in enumerate(lines) if line.startswith("Usage: "))
    lists, rest = read_lists(lines[usage + 1:])
    commands = [read_help(program, (*path, row.label)) for row in lists["Subcommands:"]]
    return Help(path, "\n".join(lines[:usage]).strip(), lines[usage].removeprefix("Usage: "), lists["Options:"],
                lists["Positionals:"], "\n".join(rest).strip("\n"), commands)


def read_lists(lines):
    lists = {heading: [] for heading in HEADINGS}
    index = 0
    while index < len(lines) and (lines[index] == "" or lines[index] in HEADINGS):
        if lines[index] == "":
            index += 1
            continue
        rows = lists[lines[index]]
        index += 1
        while index < len(lines) and lines[index].startswith("  "):
            read_row(lines[index], rows)
            index += 1
    if index < len(lines) and re.match(r"\[?[A-Z][A-Za-z -]*\]?:$", lines[index]) and lines[index + 1].startswith("  -"):
        raise ValueError(f"a list that isn't known: {lines[index]}")
    return lists, lines[index:]


def read_row(line, rows):
    match = ROW.match(line)
    if match:
        rows.append(Row(match[1], match[2] or ""))
    elif rows and line.startswith(" " * 20):
        rows[-1].meaning = (rows[-1].meaning + " " + line.strip()).strip()
    else:
        raise ValueError(f"a row that isn't understood: {line}")


def read_parser(parser, description, path=()):
    """The same of an argparse.ArgumentParser, which tells of its commands by private names alone."""
    found = Help(path, description, "", [], [], "", [], parser.prog.split(" ")[0])
    for action in parser._actions:
        if isinstance(action, argparse._SubParsersAction):
            summaries = {each.dest: each.help for each in action._choices_actions}
            found.commands = [read_parser(each, summaries[name], (*path, name)) for name, each in action.choices.items()]
            continue
        placeholder = (action.metavar or action.dest.upper()) if action.nargs != 0 else ""
        label = f"{','.join(action.option_strings)} {placeholder}".strip()
        row = Row(label, action.help or "", tuple(action.choices or ()))
        (found.options if action.option_strings else found.positionals).append(row)
    return found
