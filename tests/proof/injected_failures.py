# SPDX-License-Identifier: MIT

"""Makes each system call of a program that uses the library fail in turn, and checks its output.

    injected_failures.py PROGRAM

PROGRAM is injected_worker; strace makes its system calls fail. Whatever fails, it must exit normally,
what it reports as done must be done, and what it reports as failed must have changed nothing.
"""

import concurrent.futures
import hashlib
import os
import pathlib
import re
import shutil
import stat
import subprocess
import sys
import tempfile
import urllib.parse

SKIPPED = 77

MARK = "/orvexkit-operation/"

# The sizes of the items in the walked folder: the digits of a sum show which items it includes.
TREE = {"a": 1, "folder/b": 10, "folder/c": 1000, "folder/deep/d": 10000}
LINK_BYTES = 100
TREE_BYTES = sum(TREE.values()) + LINK_BYTES

DIGESTED = b"digested\n" * 20000

# Calls that cannot fail, among them futex, which a single thread only uses to wake others. Also
# access, which marks the operations in the trace, and getrandom, which not every run calls.
LEFT_ALONE = {"access", "exit_group", "futex", "getrandom",
              "getegid", "geteuid", "getgid", "getpid", "gettid", "getuid"}

FOLDER_MAKING = ("EACCES", "ENOSPC", "ENOMEM")
ITEM_MOVING = ("EACCES", "ENOSPC", "EIO")
LOOKING = ("EACCES", "ENOMEM", "EIO")
ERRORS = {
    "open": ("EACCES", "EMFILE", "EINTR"),
    "openat": ("EACCES", "EMFILE", "EINTR"),
    "mkdir": FOLDER_MAKING,
    "mkdirat": FOLDER_MAKING,
    "rename": ITEM_MOVING,
    "renameat": ITEM_MOVING,
    "renameat2": ITEM_MOVING,
    "rmdir": ("EACCES", "EIO"),
    "unlink": ("EACCES", "EIO"),
    "unlinkat": ("EACCES", "EIO"),
    "stat": LOOKING,
    "lstat": LOOKING,
    "fstat": LOOKING,
    "newfstatat": LOOKING,
    "statx": LOOKING,
    "readlink": LOOKING,
    "write": ("ENOSPC", "EINTR", "EIO"),
    "fsync": ("ENOSPC", "EINTR", "EIO"),
    "mmap": ("ENOMEM",),
    "mprotect": ("ENOMEM",),
}
OTHER_ERRORS = ("EINTR", "EIO")


class Wrong(Exception):
    pass


def require(condition, what):
    if not condition:
        raise Wrong(what)


class World:
    """The items that the program works on, in their own folder."""

    def __init__(self, root):
        self.root = pathlib.Path(root)
        self.work = self.root / "work"
        self.tmp = self.root / "tmp"
        self.trash = self.root / "data" / "Trash"
        self.files = {"kept/precious": b"precious", "destination/photos/photo": b"photo",
                      "digested": DIGESTED, "file 1%": b"a file", "folder/inner/file": b"in a folder",
                      "removed/file": b"", "removed/folder/deep/file": b"", "removed/other/file": b""}
        for name, size in TREE.items():
            self.files["tree/" + name] = b"x" * size
        for folder in (self.tmp, self.root / "home", self.root / "data"):
            folder.mkdir()
        for name, contents in self.files.items():
            path = self.work / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(contents)
        os.symlink("x" * LINK_BYTES, self.work / "tree" / "link")
        os.symlink(self.work / "kept", self.work / "removed" / "link")

    def environment(self):
        return {"PATH": os.environ.get("PATH", ""), "LC_ALL": "C",
                "HOME": str(self.root / "home"), "XDG_DATA_HOME": str(self.root / "data"),
                "TMPDIR": str(self.tmp)}

    def is_whole(self, folder, place):
        """Returns whether the item made at `folder` is at `place`; it may be a file."""
        wanted = {pathlib.PurePath(name).relative_to(folder): contents
                  for name, contents in self.files.items()
                  if pathlib.PurePath(name).is_relative_to(folder)}
        if not place.is_dir():
            return place.is_file() and wanted == {pathlib.PurePath("."): place.read_bytes()}
        found = {path.relative_to(place): path.read_bytes()
                 for path in place.rglob("*") if path.is_file()}
        return found == wanted


def is_empty_folder(path):
    return path.is_dir() and not path.is_symlink() and not os.listdir(path)


class Check:
    """Checks one run. `operation` is the one in which `call` was made to fail, or None."""

    def __init__(self, world, answers, operation, call):
        self.world = world
        self.answers = answers
        self.operation = operation
        self.call = call

    def may_fail(self, name):
        return self.operation is not None and self.operation.startswith(name)

    def answer(self, name, *failures):
        """Returns the answer, or None for a failure, which is an error unless a call failed."""
        answer = self.answers[name]
        if answer in failures or answer == "no memory":
            require(self.may_fail(name), f"{name}: {answer}, without a reason")
            return None
        return answer

    def run(self):
        self.temporary_folders()
        self.extraction_folder()
        self.removal()
        self.facts()
        self.trash("trashed file", "file 1%")
        self.trash("trashed folder", "folder")
        self.entries()
        for name in ("kept", "destination/photos", "tree", "digested"):
            require(self.world.is_whole(name, self.world.work / name), f"{name} has changed")

    def temporary_folders(self):
        expected = set()
        for name, form, failure in (("scratch folder", r"\.orvx\.\w{6}", "null"),
                                    ("unique folder", r"Vantrel\.\w{6}", str(self.world.tmp))):
            answer = self.answer(name, failure)
            if answer is not None:
                path = pathlib.Path(answer)
                require(path.parent == self.world.tmp and re.fullmatch(form, path.name), answer)
                require(is_empty_folder(path) and stat.S_IMODE(path.stat().st_mode) == 0o700,
                        f"{answer} is no new folder")
                expected.add(path.name)
        self.answer("scoped folder", "null")
        left = set(os.listdir(self.world.tmp)) - expected
        if self.may_fail("extraction folder") or self.may_fail("scoped folder"):
            require(len(left) <= 1 and all(name.startswith(".orvx.") for name in left),
                    f"left in the temporary folder: {left}")
        else:
            require(not left, f"left in the temporary folder: {left}")

    def extraction_folder(self):
        destination = self.world.work / "destination"
        answer = self.answer("extraction folder", "null")
        made = set(os.listdir(destination)) - {"photos"}
        if answer is None:
            require(not made, f"made without saying so: {made}")
            return
        path = pathlib.Path(answer)
        require(path == destination / "photos (1)", answer)
        # The path is returned even if only the last folder cannot be made.
        is_missing = self.may_fail("extraction folder") and self.call == "mkdirat" and not made
        require(is_missing or (made == {path.name} and is_empty_folder(path)), f"made: {made}")

    def removal(self):
        removed = self.world.work / "removed"
        if self.answer("removal", "false") is not None:
            require(not os.path.lexists(removed), "what was removed is still there")

    def facts(self):
        size = self.answers["folder size"]
        # An unreadable item counts as 0, and no item counts twice.
        is_part = re.fullmatch("[01]{1,5}", size) or size == "no memory"
        require(size == str(TREE_BYTES) or (self.may_fail("folder size") and is_part),
                f"folder size: {size}")
        size = self.answer("file size", "0")
        require(size in (None, str(len(DIGESTED))), f"file size: {size}")
        digest = self.answer("digest", "null")
        require(digest in (None, hashlib.md5(DIGESTED).hexdigest()), f"digest: {digest}")

    def trash(self, name, item):
        place = self.world.work / item
        is_moved = self.answer(name, "false") is not None
        require(os.path.lexists(place) != is_moved, f"{item} is not where it is said to be")
        if not is_moved:
            require(self.world.is_whole(item, place), f"{item} has changed")
        in_trash = self.world.trash / "files" / item
        require(os.path.lexists(in_trash) == is_moved, f"{item} in the Trash")
        if is_moved:
            require(self.world.is_whole(item, in_trash), f"{item} is not whole in the Trash")
            entry = (self.world.trash / "info" / (item + ".trashinfo")).read_text()
            escaped = re.escape(urllib.parse.quote(str(place)))
            form = rf"\[Trash Info\]\nPath={escaped}\nDeletionDate=\d{{4}}(-\d\d){{2}}T\d\d(:\d\d){{2}}\n"
            require(re.fullmatch(form, entry), f"the entry is {entry!r}")

    def entries(self):
        """Checks that each item in the Trash has an entry, and each entry an item."""
        names = {}
        for folder in ("files", "info"):
            path = self.world.trash / folder
            names[folder] = sorted(os.listdir(path)) if path.is_dir() else []
        require(names["info"] == [name + ".trashinfo" for name in names["files"]],
                f"in the Trash: {names}")


def run(program, strace_options, operation=None, call=None):
    """Runs the program in its own folder and returns the trace. Raises errors that it finds."""
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK | os.X_OK) else None
    folder = tempfile.mkdtemp(prefix="orvexkit-test.", dir=memory)
    try:
        trace = pathlib.Path(folder) / "trace"
        (pathlib.Path(folder) / "world").mkdir()
        world = World(os.path.join(os.path.realpath(folder), "world"))
        result = subprocess.run(
            ["strace", "-qq", "-s", "256", "-o", trace, *strace_options, program, world.work],
            env=world.environment(), stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            timeout=60, check=False)
        require(result.returncode == 0, f"ended with {result.returncode}: {result.stderr.decode()}")
        lines = trace.read_text(errors="replace").splitlines()
        if call is not None:
            require(any("(INJECTED)" in line for line in lines), "the call was not made")
        answers = dict(line.split("\t") for line in result.stdout.decode().splitlines())
        Check(world, answers, operation, call).run()
        return lines
    finally:
        shutil.rmtree(folder)


def failures_in(trace):
    """Yields (operation, call, its number among calls of its kind, error).

    All errors if OX_TEST_EVERYTHING is set; otherwise one of them for each call, in turn.
    """
    counts = {}
    operation = None
    for line in trace:
        match = re.match(r"(\w+)\(", line)
        if match is None:
            continue
        call = match[1]
        counts[call] = counts.get(call, 0) + 1
        if MARK in line:
            operation = re.search(MARK + '([^"]*)"', line)[1]
        elif operation not in (None, "between", "end") and call not in LEFT_ALONE:
            errors = ERRORS.get(call, OTHER_ERRORS)
            if "OX_TEST_EVERYTHING" not in os.environ:
                errors = [errors[counts[call] % len(errors)]]
            for error in errors:
                yield operation, call, counts[call], error


def inject(program, failure):
    """Returns an error text or None."""
    operation, call, nth, error = failure
    # This one does not report why it failed.
    what = "retval=0" if call == "brk" else f"error={error}"
    options = ["-e", f"trace={call}", "-e", f"inject={call}:{what}:when={nth}"]
    try:
        run(program, options, operation, call)
    except (Wrong, OSError, ValueError, KeyError, subprocess.TimeoutExpired) as wrong:
        return f"{operation}: {call} number {nth} fails with {error}: {wrong}"
    return None


def main():
    program = sys.argv[1]
    if shutil.which("strace") is None:
        print("Skipped: there is no strace.")
        sys.exit(SKIPPED)
    probe = subprocess.run(["strace", "-qq", "-o", "/dev/null", "true"], stderr=subprocess.PIPE,
                           check=False)
    if probe.returncode != 0:
        print("Skipped: strace may not trace here:", probe.stderr.decode().strip())
        sys.exit(SKIPPED)
    failures = list(failures_in(run(program, [])))
    operations = {operation for operation, *_ in failures}
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        wrong = [text for text in pool.map(lambda failure: inject(program, failure), failures) if text]
    print(f"{len(failures)} failures in {len(operations)} operations, {len(wrong)} of them wrong")
    print("\n".join(wrong))
    sys.exit(1 if wrong or not failures else 0)


main()
