# SPDX-License-Identifier: MIT

"""Checks that the notes of a shared library name the libraries that it opens at run time.

    dlopen_notes.py LIBRARY OBJCOPY NAME...

The form is that of systemd's "ELF dlopen metadata".
"""

import json
import subprocess
import sys
import tempfile
from pathlib import Path

library, objcopy, *expected = sys.argv[1:]
with tempfile.NamedTemporaryFile() as section:
    subprocess.run([objcopy, "-O", "binary", "--only-section=.note.dlopen", library, section.name],
                   check=True)
    notes = Path(section.name).read_bytes()

with open(library, "rb") as file:
    byte_order = {1: "little", 2: "big"}[file.read(6)[5]]

names = []
while notes:
    owner_size, text_size, kind = (int.from_bytes(notes[i:i + 4], byte_order) for i in (0, 4, 8))
    assert (owner_size, notes[12:16], kind) == (4, b"FDO\0", 0x407C0C0A), notes
    for entry in json.loads(notes[16:16 + text_size].rstrip(b"\0")):
        assert entry["feature"], entry
        names += entry["soname"]
    notes = notes[16 + (text_size + 3) // 4 * 4:]

assert sorted(names) == sorted(expected), names
