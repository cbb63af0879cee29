"""Checks that a page shows programs as they are, from the first line to the last.

    check_page.py SOURCE PAGE FILE...

The blocks of each file, one after the other, are the file: only empty lines may be missing where
it is cut. All of the files have to be on the page, which is named as they are, from SOURCE, the
top of the tree; and no others.
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
        with open(os.path.join(source, name), encoding="utf-8") as file:
            real = without_empty(file.read().splitlines())
        difference = list(difflib.unified_diff(real, lines, name, page, lineterm=""))
        if difference:
            sys.exit("\n".join(difference))


if __name__ == "__main__":
    main()
