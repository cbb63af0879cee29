# SPDX-License-Identifier: MIT

"""Measures oxarchive beside other archivers, and prints processor and wall time and their ratios.

    tool_bench.py OXARCHIVE [--files N] [--megabytes N] [--entries N] [--runs N] [--only TEXT]

Makes its own items in TMPDIR, else in /tmp: N small files, N megabytes in three files, a sparse one of
10 GB, and archives with N entries to list. Programs take turns, the order of which is drawn by lot;
the medians are printed. Processor time is that of all processes that a program starts, the kernel's
share included. A ratio below 1 means that oxarchive takes less. Peers that are not installed are left
out.
"""

import argparse
import io
import os
import pathlib
import random
import shutil
import statistics
import subprocess
import sys
import tarfile
import tempfile
import time
import zipfile

from ratio_table import print_table, processor


def text(size, seed):
    """Text that compresses about as well as a program's sources."""
    chooser = random.Random(seed)
    words = ["".join(chooser.choices("etaoinshrdlucmf_", k=chooser.randint(2, 9))) for _ in range(4000)]
    parts, length = [], 0
    while length < size:
        line = " ".join(chooser.choices(words, k=9)) + "\n"
        parts.append(line)
        length += len(line)
    return "".join(parts).encode()[:size]


def make_items(place, options):
    page = text(1 << 20, 1)
    for number in range(options.files):
        folder = place / "small" / f"folder {number // 100}"
        folder.mkdir(parents=True, exist_ok=True)
        start = number * 7919 % (len(page) - 8000)
        (folder / f"file {number}.txt").write_bytes(page[start:start + number % 8000])
    (place / "large").mkdir()
    for part in range(options.megabytes):
        with open(place / "large" / f"file {part % 3}", "ab") as file:
            file.write(text(1 << 17, part) * 8)
    (place / "sparse").mkdir()
    with open(place / "sparse" / "disk", "wb") as file:
        file.write(page)
        file.truncate(10 * 10**9)


def make_archives(place, options):
    with tarfile.open(place / "small.tar", "w") as archive:
        archive.add(place / "small", "small")
    with zipfile.ZipFile(place / "small.zip", "w", zipfile.ZIP_DEFLATED) as archive:
        for path in sorted((place / "small").rglob("*")):
            archive.write(path, path.relative_to(place))
    with tarfile.open(place / "many.tar", "w") as archive:
        for number in range(options.entries):
            archive.addfile(tarfile.TarInfo(f"folder {number // 1000}/file number {number}"), io.BytesIO())
    with zipfile.ZipFile(place / "many.zip", "w") as archive:
        for number in range(options.entries):
            archive.writestr(f"folder {number // 1000}/file number {number}", b"")


def works(oxarchive):
    """Yields (task, {who: command}). The commands run in an empty folder beside the items."""
    ours = "oxarchive"
    for kind, others in (
        ("tar", {"tar": "tar -xf ../small.tar"}),
        ("zip", {"unzip": "unzip -q ../small.zip", "7zz": "7zz x -bso0 -bsp0 ../small.zip"}),
    ):
        yield (f"extract {kind}, small files", {ours: f"{oxarchive} extract ../small.{kind} --into .",
                                                "bsdtar": f"bsdtar -xf ../small.{kind}", **others})
    for kind, others in (
        ("tar", {"tar": "tar -tvf ../many.tar"}),
        ("zip", {"unzip": "unzip -l ../many.zip", "7zz": "7zz l ../many.zip"}),
    ):
        yield (f"list {kind}", {ours: f"{oxarchive} list ../many.{kind}",
                                "bsdtar": f"bsdtar -tvf ../many.{kind}", **others})
    for tree in ("small", "large"):
        yield (f"create tar, {tree}", {ours: f"{oxarchive} create o.tar ../{tree}",
                                       "bsdtar": f"bsdtar -cf o.tar -C .. {tree}",
                                       "tar": f"tar -cf o.tar -C .. {tree}"})
        yield (f"create zip, {tree}", {ours: f"{oxarchive} create o.zip ../{tree}",
                                       "bsdtar": f"bsdtar -a -cf o.zip -C .. {tree}",
                                       "zip": f"zip -qr o.zip ../{tree}"})
    yield ("create tar.zst, large", {
        ours: f"{oxarchive} create o.tar.zst ../large",
        "bsdtar": "bsdtar --zstd -cf o.tar.zst -C .. large",
        "tar, zstd -T0": ["tar", "-I", "zstd -T0", "-cf", "o.tar.zst", "-C", "..", "large"]})
    yield ("create tar.xz, large, level 1", {
        ours: f"{oxarchive} create o.tar.xz ../large --level 1",
        "bsdtar": "bsdtar -cJf o.tar.xz --options xz:compression-level=1,xz:threads=0 -C .. large",
        "tar, xz -T0": ["tar", "-I", "xz -1 -T0", "-cf", "o.tar.xz", "-C", "..", "large"]})
    yield ("create 7z, large, level 1", {
        ours: f"{oxarchive} create o.7z ../large --level 1",
        "bsdtar": "bsdtar -a -cf o.7z --options 7zip:compression-level=1 -C .. large",
        "7zz": "7zz a -mx=1 -bso0 -bsp0 o.7z ../large"})
    yield ("create tar, sparse", {ours: f"{oxarchive} create o.tar ../sparse",
                                  "bsdtar": "bsdtar -cf o.tar -C .. sparse",
                                  "tar": "tar -S -cf o.tar -C .. sparse"})


def run(command, place):
    """Returns processor time and wall time in seconds."""
    words = command.split() if isinstance(command, str) else command
    folder = pathlib.Path(tempfile.mkdtemp(prefix="run.", dir=place))
    start = time.monotonic()
    child = subprocess.Popen(words, cwd=folder, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(child.pid, 0)
    wall = time.monotonic() - start
    child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode != 0:
        sys.exit(f"{command} has failed")
    shutil.rmtree(folder)
    return usage.ru_utime + usage.ru_stime, wall


def measure(commands, place, runs):
    """Returns {who: (processor time, wall time)}, the medians."""
    turns = [who for who in commands for _ in range(runs)]
    random.shuffle(turns)
    times = {who: [] for who in commands}
    for who in turns:
        times[who].append(run(commands[who], place))
    return {who: tuple(map(statistics.median, zip(*each))) for who, each in times.items()}


def rows(place, options):
    yield ("work", "program", "processor", "wall", "ours to it: processor", "wall")
    for work, commands in works(options.oxarchive):
        if options.only not in work:
            continue
        there = {who: command for who, command in commands.items()
                 if shutil.which(command[0] if isinstance(command, list) else command.split()[0])}
        print(work, file=sys.stderr)
        results = measure(there, place, options.runs)
        ours = results["oxarchive"]
        for who, times in results.items():
            ratios = ("", "") if who == "oxarchive" else tuple(
                f"{mine / max(theirs, 1e-3):.2f}" for mine, theirs in zip(ours, times))
            yield (work, who, f"{times[0]:.2f} s", f"{times[1]:.2f} s", *ratios)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("oxarchive", type=os.path.abspath)
    parser.add_argument("--files", type=int, default=20_000)
    parser.add_argument("--megabytes", type=int, default=60)
    parser.add_argument("--entries", type=int, default=200_000)
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--only", default="")
    options = parser.parse_args()
    # By its name alone, since its path may have spaces.
    folder, options.oxarchive = os.path.split(options.oxarchive)
    os.environ["PATH"] = folder + os.pathsep + os.environ["PATH"]
    with tempfile.TemporaryDirectory(prefix="oxarchive-bench.") as folder:
        place = pathlib.Path(folder)
        make_items(place, options)
        make_archives(place, options)
        table = list(rows(place, options))
    print(f"Processor: {processor()}")
    print_table(table, right_columns=(2, 3, 4, 5))


if __name__ == "__main__":
    main()
