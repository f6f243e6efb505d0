#!/usr/bin/env python3
"""check_completions.py FOLDER: bash, zsh and fish, each on a terminal of its own, complete what is typed by
the files in FOLDER; a function under the program's name prints what it is then given."""
import fcntl
import os
import pathlib
import pty
import re
import select
import subprocess
import sys
import tempfile
import termios

SHOW = "PROGRAM() { printf '<%s>' \"$@\"; echo .; }\n"
SHELLS = {
    "bash": (["bash", "--norc", "-i"], "source FOLDER/PROGRAM\n" + SHOW),
    "zsh": (["zsh", "-f", "-i"], "fpath=(FOLDER $fpath); autoload -U compinit; compinit -u -D\n"
            "zstyle ':completion:*' insert-tab false; unsetopt beep\n" + SHOW),
    "fish": (["fish", "--no-config", "-i"], "source FOLDER/PROGRAM.fish\n"
             "function PROGRAM; printf '<%s>' $argv; echo .; end\n"),
}
# What is typed, then the Tab key; what the program is given.
LINES = (
    ("brackenfold sca", "<scan>"),
    ("brackenfold clean --dry", "<clean><--dry-run>"),
    ("brackenfold scan --mach", "<scan><--machine>"),
    ("brackenfold --machine fold", "<--machine><folder>"),
    ("brackenfold --machine folder disab", "<--machine><folder><disable>"),
    ("brackenfold identify folder/some", "<identify><folder/some.dll>"),
    ("brackenfold decode --out fold", "<decode><--out><folder>"),
    ("brackenfold-fleet mer", "<merge>"),
    ("brackenfold-fleet run --engine slu", "<run><--engine><slurm>"),
    ("brackenfold-fleet run folder/some", "<run><folder/some.dll>"),
    ("brackenfold-fleet run folder/some.dll --out fold", "<run><folder/some.dll><--out><folder>"),
    ("brackenfold-fleet status f", "<status><folder>"),
    ("brackenfold-fleet clean folder folder/so", "<clean><folder><folder/some.dll>"),
)


def read_until(terminal, wanted, seconds=20):
    seen = b""
    while wanted not in seen and select.select([terminal], [], [], seconds)[0]:
        try:
            seen += os.read(terminal, 65536)
        except OSError:
            break
    return re.sub(r"\x1b(\[[0-9;?>]*[A-Za-z]|[=>]|\][^\a]*\a|[()][0-9A-Z])", "", seen.decode(errors="replace"))


def complete(shell, typed, completions, folder):
    """What the function prints, or all that the terminal has shown."""
    command, preparation = SHELLS[shell]
    terminal, other = pty.openpty()
    environment = {"PATH": os.environ["PATH"], "TERM": "xterm", "HOME": folder, "LANG": "C.UTF-8"}
    process = subprocess.Popen(command, stdin=other, stdout=other, stderr=other, cwd=folder, env=environment, start_new_session=True,
                               preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
    os.close(other)
    try:
        preparation = preparation.replace("FOLDER", str(completions)).replace("PROGRAM", typed.split()[0])
        os.write(terminal, (preparation + "echo READ''Y\n").encode())
        read_until(terminal, b"READY")
        os.write(terminal, f"{typed}\t".encode())
        shown = read_until(terminal, b"nothing like that", 1)
        os.write(terminal, b"\n")
        shown += read_until(terminal, b">.")
    finally:
        process.kill()
        process.wait()
        os.close(terminal)
    given = re.findall(r"(<[^\r\n]*>)\.", shown)
    return given[-1].replace("/>", ">") if given else shown  # zsh takes the slash back


def main():
    completions = pathlib.Path(sys.argv[1]).resolve()
    bad = 0
    with tempfile.TemporaryDirectory() as folder:
        (pathlib.Path(folder) / "folder").mkdir()
        (pathlib.Path(folder) / "folder/some.dll").touch()
        for shell in SHELLS:
            for typed, expected in LINES:
                given = complete(shell, typed, completions, folder)
                if given != expected:
                    print(f"{shell}: {typed}[Tab] gives {given!r} instead of {expected}")
                    bad += 1
    sys.exit(1 if bad else 0)


if __name__ == "__main__":
    main()
