#!/usr/bin/env python3
"""completions.py PROGRAM TOOLS FOLDER: writes the completions for bash (NAME), zsh (_NAME) and fish (NAME.fish) of
the command line, made of what PROGRAM --help tells, and of brackenfold-fleet, whose package lies in TOOLS, made of
its parser."""
import importlib
import pathlib
import shlex
import subprocess
import sys

from command_help import DIRECTORIES, FILES, read_help, read_parser


def takes(row):
    """"choices", "directories", "files", "other" or "", what follows an option or stands for a positional."""
    if row.choices or row.placeholder == "":
        return "choices" if row.choices else ""
    return "directories" if row.placeholder in DIRECTORIES else "files" if row.placeholder in FILES else "other"


def follows(command):
    """What is completed behind a command: "files", which folders are too, "directories" or ""."""
    kinds = {takes(row) for row in command.positionals}
    return "files" if "files" in kinds else "directories" if "directories" in kinds else ""


def function_name(command):
    return "_".join(("", command.program.replace("-", "_"), *command.path))


def options_of(command, top):
    return command.options + [row for row in top.options if command is not top and row.names[-1] not in ("--help", "--version")]


def words(command, top):
    return [each.name for each in command.commands] + [name for row in options_of(command, top) for name in row.names]


# ---------------------------------------------------------------- bash

BASH = """# bash completion of {program}
{function}()
{{
    local current=${{COMP_WORDS[COMP_CWORD]}} command= word value= offers
    for word in "${{COMP_WORDS[@]:1:COMP_CWORD-1}}"; do
        if [ -n "$value" ]; then
            value=
            continue
        fi
        case "$word" in
            {valued}) value=$word; continue ;;
            -*) continue ;;
        esac
        case "$command $word" in
            {commands}) command="$command $word" ;;
        esac
    done
    case "$value" in
        "") ;;
{values}
        *) return ;;
    esac
    case "$command" in
{cases}
    esac
    mapfile -t COMPREPLY < <(compgen -W "$offers" -- "$current")
    [ ${{#COMPREPLY[@]}} -gt 0 ] && return
    case "$command" in
{reading}
    esac
}}
complete -F {function} {program}
"""
BASH_PATHS = {kind: f'compopt -o filenames; mapfile -t COMPREPLY < <(compgen {flag} -- "$current")'
              for kind, flag in (("directories", "-d"), ("files", "-f"))}


def bash_case(labels, action):
    return [f"        {'|'.join(labels)}) {action} ;;"] if labels else []


def bash(top):
    rows = [row for command in top.all() for row in command.options if takes(row)]

    def names(kind):
        return sorted({name for row in rows if takes(row) == kind for name in row.names})

    def quoted(command):
        return '"' + "".join(" " + name for name in command.path) + '"'

    values, reading = [], []
    for kind, paths in BASH_PATHS.items():
        values += bash_case(names(kind), paths + "; return")
        reading += bash_case([quoted(command) for command in top.all() if follows(command) == kind], paths)
    for row in rows:
        if takes(row) == "choices":
            values += bash_case(row.names, f'mapfile -t COMPREPLY < <(compgen -W "{" ".join(row.choices)}" -- "$current"); return')
    cases = [line for command in top.all()
             for line in bash_case([quoted(command)], f"offers={shlex.quote(' '.join(words(command, top)))}")]
    return BASH.format(program=top.program, function=function_name(top), valued="|".join(sorted({n for row in rows for n in row.names})),
                       commands="|".join(map(quoted, top.all()[1:])), values="\n".join(values), cases="\n".join(cases),
                       reading="\n".join(reading))


# ---------------------------------------------------------------- zsh

ACTIONS = {"directories": "_files -/", "files": "_files", "other": " ", "choices": "({})"}


def zsh_text(text):
    for character in "\\[]:":
        text = text.replace(character, "\\" + character)
    return text


def zsh_options(command, top):
    for row in options_of(command, top):
        value = f":{zsh_text(row.placeholder)}:{ACTIONS[takes(row)]}".format(" ".join(row.choices)) if takes(row) else ""
        for name in row.names:
            yield shlex.quote(f"{name}[{zsh_text(row.meaning)}]{value}")


def zsh_function(command, top):
    name = function_name(command)
    options = " \\\n        ".join(zsh_options(command, top))
    if not command.commands:
        files = f" \\\n        '*:{follows(command)}:{ACTIONS[follows(command)]}'" if follows(command) else ""
        return f"{name}() {{\n    _arguments -s \\\n        {options}{files}\n}}\n"
    described = "\n".join(f"                {shlex.quote(each.name + ':' + each.description)}" for each in command.commands)
    calls = "\n".join(f"                {each.name}) {name}_{each.name} ;;" for each in command.commands)
    return f"""{name}() {{
    local context state state_descr line
    typeset -A opt_args
    _arguments -s -C \\
        {options} \\
        '1:command:->command' '*::argument:->arguments'
    case $state in
        command)
            local -a commands=(
{described}
            )
            _describe command commands ;;
        arguments)
            case $words[1] in
{calls}
            esac ;;
    esac
}}
"""


def zsh(top):
    functions = "\n".join(zsh_function(command, top) for command in reversed(top.all()))
    return f'#compdef {top.program}\n\n{functions}\n{function_name(top)} "$@"\n'


# ---------------------------------------------------------------- fish

def fish_option(row, condition):
    names = " ".join(("-l " + name[2:]) if name.startswith("--") else ("-s " + name[1:]) for name in row.names)
    value = {"directories": " -xa '(__fish_complete_directories)'", "files": " -rF", "other": " -x", "": "",
             "choices": f" -xa '{' '.join(row.choices)}'"}[takes(row)]
    return f"{condition} {names}{value} -d {shlex.quote(row.meaning)}"


def fish_condition(command):
    seen = [f"__fish_seen_subcommand_from {name}" for name in command.path]
    if command.commands:
        seen.append("not __fish_seen_subcommand_from " + " ".join(each.name for each in command.commands))
    return f" -n {shlex.quote('; and '.join(seen))}"


def fish(top):
    yield f"# fish completion of {top.program}"
    start = f"complete -c {top.program}"
    yield f"{start} -f"
    for command in top.all():
        condition = start + fish_condition(command)
        yield from (f"{condition} -a {each.name} -d {shlex.quote(each.description)}" for each in command.commands)
        yield from (fish_option(row, condition if command is not top else start) for row in command.options
                    if command is top or row.names[-1] != "--help")
        if follows(command) == "files":
            yield f"{condition} -F"
        elif follows(command):
            yield f"{condition} -a '(__fish_complete_directories)'"


def main():
    program, tools, folder = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
    sys.dont_write_bytecode = True
    sys.path.insert(0, tools)
    try:
        tops = read_help(program), read_parser(importlib.import_module("brackenfold_fleet.command_line").make_parser(), "")
    except (OSError, ValueError, ImportError, subprocess.CalledProcessError) as error:
        sys.exit(f"completions.py: {error}")
    folder.mkdir(parents=True, exist_ok=True)
    for top in tops:
        (folder / top.program).write_text(bash(top))
        (folder / f"_{top.program}").write_text(zsh(top))
        (folder / f"{top.program}.fish").write_text("\n".join(fish(top)) + "\n")


if __name__ == "__main__":
    main()
