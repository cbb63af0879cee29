# SPDX-License-Identifier: MIT

"""Runs a recipe and compares its output with the page.

    recipe_test.py PAGE FILE COMMAND...

FILE is the recipe's file, as named on the page. The command runs in a folder that contains only the
archive "photos.zip".
"""

import difflib
import sys

import pages
from archives import make_volumes
from world import World


def main():
    page, name, *command = sys.argv[1:]
    with World() as world:
        make_volumes(world.at("work", "photos.zip"))
        code, printed, errors = world.run(*command)
    difference = list(difflib.unified_diff(pages.printed(page, name), printed.splitlines(), page,
                                           "printed", lineterm=""))
    if code != 0 or errors or difference:
        sys.exit("\n".join([f"{name} ends with {code}", errors, *difference]))


if __name__ == "__main__":
    main()
