# SPDX-License-Identifier: MIT

"""The archives of the pages."""

import io
import zipfile

# Names, sizes and times, which are those of March 2013.
PHOTOS = (("beach.jpg", 300_000, (5, 16, 7)), ("forest.png", 400_000, (5, 16, 7)),
          ("notes/crete.txt", 23, (5, 16, 7)))

HOLIDAY = (("Crete/Beach at noon.jpg", 2_413_000, (5, 12, 7)),
           ("Crete/Harbour.jpg", 1_950_400, (5, 18, 31)),
           ("Crete/Olive trees.png", 860_300, (6, 9, 12)),
           ("Crete/Song of the boatmen.ogg", 3_200_000, (7, 21, 45)),
           ("Plans/Budget.ods", 18_200, (1, 20, 3)),
           ("Plans/Route.pdf", 240_700, (2, 8, 55)),
           ("Plans/Tickets.zip", 96_000, (4, 12, 0)),
           ("Diary.odt", 35_400, (9, 22, 14)),
           ("Read me.txt", 734, (10, 7, 30)),
           ("sync.py", 2_150, (10, 7, 41)))


def make_volumes(path, step=None, items=PHOTOS):
    """Makes a ZIP archive at `path`, or volumes of `step` bytes as `split` does; returns their
    number."""
    archive_bytes = io.BytesIO()
    with zipfile.ZipFile(archive_bytes, "w", zipfile.ZIP_STORED) as archive:
        for name, size, (day, hour, minute) in items:
            item = zipfile.ZipInfo(name, (2013, 3, day, hour, minute, 0))
            item.external_attr = 0o100644 << 16
            archive.writestr(item, b"." * size)
    contents = archive_bytes.getvalue()
    if step is None:
        volumes = {path: contents}
    else:
        starts = range(0, len(contents), step)
        volumes = {f"{path}.{number:03}": contents[start:start + step]
                   for number, start in enumerate(starts, 1)}
    for name, part in volumes.items():
        with open(name, "wb") as volume:
            volume.write(part)
    return len(volumes)
