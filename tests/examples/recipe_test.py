"""Runs a recipe, which has to print what its page says.

    recipe_test.py PAGE FILE COMMAND...

FILE is the recipe's, as the page names it. The command runs where the archive "photos.zip" is, and
nothing else.
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
