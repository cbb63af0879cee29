# SPDX-License-Identifier: MIT

"""Checks that a page shows complete, unchanged programs.

    check_page.py SOURCE PAGE FILE...

The blocks of each file, joined, must be the file, except for empty lines between blocks. The page
must show all of the files and no others. PAGE and FILE are relative to SOURCE, the top of the tree.
"""

import difflib
import os
import sys

import pages


def without_empty(lines):
    return [line for line in lines if line]


def main():
    source, page, *names = sys.argv[1:]
    shown = {}
    for name, language, lines in pages.blocks(os.path.join(source, page)):
        if language in ("cc", "python"):
            shown.setdefault(name, []).extend(without_empty(lines))
    if sorted(shown) != sorted(names):
        sys.exit(f"{page} shows {sorted(shown)}, and not {sorted(names)}")
    for name, lines in shown.items():
        real = without_empty(pages.program(os.path.join(source, name)))
        difference = list(difflib.unified_diff(real, lines, name, page, lineterm=""))
        if difference:
            sys.exit("\n".join(difference))


if __name__ == "__main__":
    main()
