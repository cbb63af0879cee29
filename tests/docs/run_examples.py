# SPDX-License-Identifier: MIT

"""Builds and runs the programs of a page, as a reader who copies them would.

    run_examples.py PAGE COMPILER [OPTION...]

A program is a block ```cpp. It has to build with the options, end well, and print exactly what the
block ```text says, if that is the next block and no heading comes before it. Each program runs in
an empty folder of its own, which is also its home and its temporary folder.
"""

import difflib
import os
import re
import subprocess
import sys
import tempfile

FENCE = re.compile(r"```(\w*)$")


def blocks(page):
    """Yields (language, first line on the page, lines) for each block, and None for a heading."""
    block = None
    with open(page, encoding="utf-8") as file:
        for number, line in enumerate(file.read().splitlines(), 1):
            fence = FENCE.match(line)
            if block and fence:
                yield block
                block = None
            elif block:
                block[2].append(line)
            elif fence:
                block = (fence[1], number + 1, [])
            elif line.startswith("#"):
                yield None
    if block:
        sys.exit(f"{page}:{block[1]}: the block has no end")


def programs(page):
    """Yields (line, source, expected output or None)."""
    found = list(blocks(page))
    for block, following in zip(found, found[1:] + [None]):
        if block and block[0] == "cpp":
            prints = following[2] if following and following[0] == "text" else None
            yield block[1], "\n".join(block[2]), prints


def output_of(command, what, **options):
    """Returns the command's output; if it fails, shows its errors and ends the test."""
    result = subprocess.run(command, stdout=subprocess.PIPE, encoding="utf-8", timeout=120,
                            check=False, **options)
    if result.returncode != 0:
        sys.exit(f"{result.stdout}{what} (status {result.returncode})")
    return result.stdout


def run(page, program, command, folder):
    line, source, prints = program
    world = os.path.join(folder, "world")
    binary = os.path.join(folder, "program")
    os.mkdir(world)
    output_of(command[:1] + ["-x", "c++", "-", "-o", binary] + ["-x", "none"] + command[1:],
              f"{page}:{line}: the program does not build",
              input=f'#line {line} "{page}"\n{source}\n')
    environment = {"PATH": os.environ["PATH"], "HOME": world, "TMPDIR": world, "TZ": "UTC",
                   "LC_ALL": "C.UTF-8"}
    printed = output_of([binary], f"{page}:{line}: the program fails", cwd=world, env=environment,
                        stdin=subprocess.DEVNULL)
    if prints is not None and printed.splitlines() != prints:
        difference = difflib.unified_diff(prints, printed.splitlines(), f"{page}:{line}", "printed",
                                          lineterm="")
        sys.exit("\n".join(difference))


def main():
    page, *command = sys.argv[1:]
    count = 0
    for program in programs(page):
        with tempfile.TemporaryDirectory() as folder:
            run(page, program, command, folder)
        count += 1
    if count == 0:
        sys.exit(f"{page} has no program")
    print(f"{page}: {count} programs, which do what the page says")


if __name__ == "__main__":
    main()
