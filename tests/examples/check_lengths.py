# SPDX-License-Identifier: MIT

"""Checks that the examples are short enough to be read at once.

    check_lengths.py EXAMPLES

A recipe has 20 to 80 lines, and the window at most 500. EXAMPLES is the folder of both.
"""

import pathlib
import sys

import pages


def length(file):
    return len(pages.program(file))


def main():
    examples = pathlib.Path(sys.argv[1])
    for recipe in [*examples.glob("*.cpp"), *examples.glob("*.py")]:
        if not 20 <= length(recipe) <= 80:
            sys.exit(f"{recipe} has {length(recipe)} lines, and not 20 to 80")
    window = sum(map(length, examples.glob("window/*")))
    if window > 500:
        sys.exit(f"{examples}/window has {window} lines, and not at most 500")


if __name__ == "__main__":
    main()
