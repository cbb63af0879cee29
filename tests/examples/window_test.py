# SPDX-License-Identifier: MIT

"""Runs the window in a virtual display.

    window_test.py PROGRAM
"""

import base64
import os
import pathlib
import shutil
import sys
import tarfile

from archives import make_volumes
from world import World

SEEN = """\
photos.zip
image-x-generic | beach.jpg | 300 KB | JPEG image | Mar 05, 2013 04:07 PM
image-x-generic | forest.png | 400 KB | PNG image | Mar 05, 2013 04:07 PM
folder | notes |  | Folder | 
text-x-generic | crete.txt | 23 B | plain text document | Mar 05, 2013 04:07 PM
4 items, 700 KB
extract
Extracted to photos
in steps
trash
Moved to the Trash
extract cannot be chosen
Moved to the Trash
null
The archive could not be read to its end. Unrecognized archive format
"""

# A PNG image of one pixel.
ICON = base64.b64decode("iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAAAAAA6fptVAAAACklEQVR4nGNgAAAAAgABSK+kcQAAAABJ"
                        "RU5ErkJggg==")


def make_theme(world):
    """Gives the user icons under the name of the window's theme, which need not be installed."""
    theme = pathlib.Path(world.at("home", "data", "icons", "breeze"))
    (theme / "16").mkdir(parents=True)
    (theme / "index.theme").write_text("[Icon Theme]\nDirectories=16\n[16]\nSize=16\n")
    for name in ("folder", "image-x-generic", "text-x-generic", "application-x-generic"):
        (theme / "16" / f"{name}.png").write_bytes(ICON)


def run(world, program, volume):
    make_theme(world)
    return world.run("xvfb-run", "--auto-servernum", program, volume)


def opens_extracts_and_trashes(program):
    with World() as world:
        count = make_volumes(world.at("work", "photos.zip"), 100_000)
        code, printed, errors = run(world, program, "photos.zip.005")
        assert (code, printed) == (0, SEEN), printed + errors
        assert os.listdir(world.at("work")) == ["photos"]
        assert os.path.getsize(world.at("work", "photos", "forest.png")) == 400_000
        assert len(os.listdir(world.at("home", "data", "Trash", "files"))) == count


def shows_what_was_refused(program):
    """Tests hostile names."""
    with World() as world:
        with tarfile.open(world.at("work", "hostile.tar"), "w") as archive:
            for name in ("<b>bold", "../up", "x/" * 200 + "deep", "n" * 250):
                archive.addfile(tarfile.TarInfo(name))
        code, printed, errors = run(world, program, "hostile.tar")
        assert code == 0, errors
        assert "\napplication-x-generic | <b>bold | 0 B | File | " in printed, printed
        assert "\napplication-x-generic | " + "x/" * 137 + "deep | 0 B | File | " in printed, printed
        assert "Not everything could be extracted. ../up: " in printed, printed
        assert os.listdir(world.at("work")) == ["hostile"]


def main():
    program = sys.argv[1]
    if not shutil.which("xvfb-run") or not shutil.which("Xvfb"):
        print("skipped: Xvfb is not installed")
        sys.exit(77)
    opens_extracts_and_trashes(program)
    shows_what_was_refused(program)


if __name__ == "__main__":
    main()
