# SPDX-License-Identifier: MIT

"""Reads the blocks of a page of docs/ that show programs in examples/.

A block ```cc or ```python is a part of the file that the page last named in backticks, such as
`examples/tour/main.cpp`. A block ```text after it is what the program prints.
"""

import re

FENCE = re.compile(r"```(\S*)$")
FILE = re.compile(r"`(examples/[^`]+\.(?:cpp|h|py))`")


def blocks(page):
    """Yields (file, language, lines) for each block."""
    name, language, lines = None, None, []
    with open(page, encoding="utf-8") as file:
        for line in file.read().splitlines():
            fence = FENCE.match(line)
            if language is not None and fence:
                yield name, language, lines
                language = None
            elif language is not None:
                lines.append(line)
            elif fence:
                language, lines = fence[1], []
            else:
                name = (FILE.findall(line) or [name])[-1]
    assert language is None, f"{page}: the last block has no end"


def program(file):
    """Returns the lines of a program that a page shows: all but its licence."""
    with open(file, encoding="utf-8") as source:
        lines = source.read().splitlines()
    assert "SPDX-License-Identifier:" in lines[0] and not lines[1], f"{file} names no licence"
    return lines[2:]


def printed(page, name):
    """Returns the lines that the program prints according to the page."""
    return next(lines for file, language, lines in blocks(page)
                if file == name and language == "text")
