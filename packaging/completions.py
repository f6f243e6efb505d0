#!/usr/bin/env python3
"""completions.py PROGRAM FOLDER: writes the completions of the command line for bash (brackenfold), zsh
(_brackenfold) and fish (brackenfold.fish), made of what PROGRAM --help tells."""
import pathlib
import shlex
import subprocess
import sys

from command_help import DIRECTORIES, FILES, read_help


def takes(row):
    """"directories", "files", "other" or "", what follows an option or stands for a positional."""
    kinds = {DIRECTORIES: "directories", FILES: "files"}
    return kinds.get(row.placeholder, "other" if row.placeholder else "")


def options_of(command, top):
    return command.options + [row for row in top.options if command is not top and row.names[-1] not in ("--help", "--version")]


def words(command, top):
    return [each.name for each in command.commands] + [name for row in options_of(command, top) for name in row.names]


# ---------------------------------------------------------------- bash

BASH = """# bash completion of brackenfold
_brackenfold()
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
        {directories}) compopt -o filenames; mapfile -t COMPREPLY < <(compgen -d -- "$current"); return ;;
        {files}) compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- "$current"); return ;;
        *) return ;;
    esac
    case "$command" in
{cases}
    esac
    mapfile -t COMPREPLY < <(compgen -W "$offers" -- "$current")
    case "$command" in
        {reading}) [ ${{#COMPREPLY[@]}} -gt 0 ] || {{ compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- "$current"); }} ;;
    esac
}}
complete -F _brackenfold brackenfold
"""


def bash(top):
    rows = [row for command in top.all() for row in command.options]

    def pattern(kinds):
        return "|".join(sorted({name for row in rows if takes(row) in kinds for name in row.names}))

    def quoted(command):
        return '"' + "".join(" " + name for name in command.path) + '"'

    cases = [f"        {quoted(command)}) offers={shlex.quote(' '.join(words(command, top)))} ;;" for command in top.all()]
    return BASH.format(valued=pattern(("directories", "files", "other")), directories=pattern(("directories",)),
                       files=pattern(("files",)), commands="|".join(map(quoted, top.all()[1:])), cases="\n".join(cases),
                       reading="|".join(quoted(command) for command in top.all() if files_follow(command)))


def files_follow(command):
    return any(takes(row) == "files" for row in command.positionals)


# ---------------------------------------------------------------- zsh

ACTIONS = {"directories": "_files -/", "files": "_files", "other": " "}


def zsh_text(text):
    for character in "\\[]:":
        text = text.replace(character, "\\" + character)
    return text


def zsh_options(command, top):
    for row in options_of(command, top):
        value = f":{zsh_text(row.placeholder)}:{ACTIONS[takes(row)]}" if takes(row) else ""
        for name in row.names:
            yield shlex.quote(f"{name}[{zsh_text(row.meaning)}]{value}")


def zsh_function(command, top):
    name = "_".join(("_brackenfold", *command.path))
    options = " \\\n        ".join(zsh_options(command, top))
    if not command.commands:
        files = " \\\n        '*:file:_files'" if files_follow(command) else ""
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
    return f'#compdef brackenfold\n\n{functions}\n_brackenfold "$@"\n'


# ---------------------------------------------------------------- fish

def fish_option(row, condition):
    names = " ".join(("-l " + name[2:]) if name.startswith("--") else ("-s " + name[1:]) for name in row.names)
    value = {"directories": " -xa '(__fish_complete_directories)'", "files": " -rF", "other": " -x", "": ""}[takes(row)]
    return f"complete -c brackenfold{condition} {names}{value} -d {shlex.quote(row.meaning)}"


def fish_condition(command):
    seen = [f"__fish_seen_subcommand_from {name}" for name in command.path]
    if command.commands:
        seen.append("not __fish_seen_subcommand_from " + " ".join(each.name for each in command.commands))
    return f" -n {shlex.quote('; and '.join(seen))}"


def fish(top):
    yield "# fish completion of brackenfold"
    yield "complete -c brackenfold -f"
    for command in top.all():
        condition = fish_condition(command)
        yield from (f"complete -c brackenfold{condition} -a {each.name} -d {shlex.quote(each.description)}"
                    for each in command.commands)
        yield from (fish_option(row, condition if command is not top else "") for row in command.options
                    if command is top or row.names[-1] != "--help")
        if files_follow(command):
            yield f"complete -c brackenfold{condition} -F"


def main():
    try:
        top = read_help(sys.argv[1])
    except (OSError, ValueError, subprocess.CalledProcessError) as error:
        sys.exit(f"completions.py: {error}")
    folder = pathlib.Path(sys.argv[2])
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "brackenfold").write_text(bash(top))
    (folder / "_brackenfold").write_text(zsh(top))
    (folder / "brackenfold.fish").write_text("\n".join(fish(top)) + "\n")


if __name__ == "__main__":
    main()
