# SPDX-License-Identifier: MIT

"""Draws the window while it shows an archive.

    screenshot.py PROGRAM PICTURE

PROGRAM is window_test.
"""

import os
import sys

from archives import HOLIDAY, make_volumes
from world import World


def main():
    program, picture = map(os.path.abspath, sys.argv[1:])
    with World() as world:
        make_volumes(world.at("work", "holiday.zip"), 700_000, HOLIDAY)
        code, _, errors = world.run("xvfb-run", "--auto-servernum", program, "holiday.zip.007",
                                    picture)
    if code != 0 or not os.path.exists(picture):
        sys.exit(errors or "There is no picture.")


if __name__ == "__main__":
    main()
