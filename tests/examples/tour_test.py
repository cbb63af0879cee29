# SPDX-License-Identifier: MIT

"""Runs the tour on archives made by this test.

    tour_test.py TOUR PAGE
"""

import io
import os
import sys
import tarfile

import pages
from archives import make_volumes
from world import World

SOURCE = "examples/tour/main.cpp"


def from_click_to_trash(tour, page):
    with World() as world:
        count = make_volumes(world.at("work", "photos.zip"), 100_000)
        code, printed, errors = world.run(tour, "photos.zip.007", "extracted")
        assert (code, errors) == (0, ""), errors
        assert printed.splitlines() == pages.printed(page, SOURCE), printed
        assert os.listdir(world.at("work")) == ["extracted"]
        folder = world.at("work", "extracted", "photos")
        assert os.path.getsize(os.path.join(folder, "forest.png")) == 400_000
        with open(os.path.join(folder, "notes", "crete.txt"), encoding="utf-8") as notes:
            assert notes.read() == "." * 23
        trash = os.listdir(world.at("home", "data", "Trash", "files"))
        assert len(trash) == count and "photos.zip.007" in trash


def add(archive, name, kind=tarfile.REGTYPE, link="", contents=b"evil"):
    item = tarfile.TarInfo(name)
    item.type, item.linkname = kind, link
    item.size = len(contents) if kind == tarfile.REGTYPE else 0
    archive.addfile(item, io.BytesIO(contents))


def nothing_leaves_the_folder(tour, _):
    with World() as world:
        outside = world.at("work", "outside")
        os.mkdir(outside)
        with open(os.path.join(outside, "kept"), "w", encoding="utf-8") as kept:
            kept.write("as it was")
        with tarfile.open(world.at("work", "hostile.tar"), "w") as archive:
            add(archive, "../../outside/up")
            add(archive, outside + "/absolute")
            add(archive, "folder", tarfile.SYMTYPE, "../../outside")
            add(archive, "folder/through")
            add(archive, "file", tarfile.SYMTYPE, "../../outside/kept")
            add(archive, "hard", tarfile.LNKTYPE, "../../outside/kept")
            add(archive, "hard")
            add(archive, "pipe", tarfile.FIFOTYPE)
            add(archive, "\x1b[2Jname")
            add(archive, "good", contents=b"good")
        code, printed, errors = world.run(tour, "hostile.tar", "extracted")
        assert code == 1 and "Not all of the archive is in extracted/hostile." in errors, errors
        assert "\x1b" not in printed + errors and "?[2Jname" in printed
        assert os.listdir(outside) == ["kept"]
        with open(os.path.join(outside, "kept"), encoding="utf-8") as kept:
            assert kept.read() == "as it was"
        made = os.listdir(world.at("work", "extracted", "hostile"))
        assert "good" in made and "pipe" not in made, made
        assert os.path.exists(world.at("work", "hostile.tar")), "not all was extracted"


def other_files_are_left_alone(tour, _):
    with World() as world:
        make_volumes(world.at("work", "cut.zip"), 500_000)
        os.remove(world.at("work", "cut.zip.002"))
        with open(world.at("work", "notes.txt"), "w", encoding="utf-8") as notes:
            notes.write("no archive")
        for name in ("cut.zip.001", "notes.txt", "missing.zip"):
            code, _, errors = world.run(tour, name, "extracted")
            assert code == 1 and "could not be read to its end" in errors, errors
        assert sorted(os.listdir(world.at("work"))) == ["cut.zip.001", "notes.txt"]


def volumes_are_found_by_any_of_them(tour, _):
    """Makes volumes in each numbering; together they are one tar archive."""
    with World() as world:
        bytes_ = io.BytesIO()
        with tarfile.open(fileobj=bytes_, mode="w") as archive:
            add(archive, "file", contents=b"x" * 300_000)
        contents = bytes_.getvalue()
        for names in (["a.part1.rar", "a.part2.rar", "a.part3.rar"], ["b.rar", "b.r00", "b.r01"],
                      ["c.tar.001", "c.tar.002", "c.tar.003"]):
            for number, name in enumerate(names):
                with open(world.at("work", name), "wb") as volume:
                    volume.write(contents[number * 120_000:(number + 1) * 120_000])
            code, printed, errors = world.run(tour, names[1], "extracted")
            assert code == 0, (names, errors)
            folder = world.at("work", "extracted", names[0][0])
            assert os.path.getsize(os.path.join(folder, "file")) == 300_000, printed
        assert os.listdir(world.at("work")) == ["extracted"]


def main():
    for case in (from_click_to_trash, nothing_leaves_the_folder, other_files_are_left_alone,
                 volumes_are_found_by_any_of_them):
        case(*sys.argv[1:])
        print(case.__name__)


if __name__ == "__main__":
    main()
