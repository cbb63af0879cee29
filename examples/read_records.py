# SPDX-License-Identifier: MIT

"""Reads a listing in another language: records as CBOR, one after the other, with python3-cbor2.

    tour --worker list photos.zip | python3 read_records.py
"""

import os
import sys

import cbor2


def records(stream):
    """Gives each record as a dictionary. A stream that is cut short is a cbor2.CBORDecodeEOF."""
    decoder = cbor2.CBORDecoder(stream)
    while stream.peek(1):
        yield decoder.decode()


def main():
    for record in records(sys.stdin.buffer):
        # Text if it is UTF-8, else bytes; and absent if it is null, as the time may be.
        path = os.fsdecode(record.get("path", "(no name)"))
        time = record["mtime"].isoformat() if "mtime" in record else "no date"
        kind = "folder" if record["isFolder"] else f"{record['actualSize']} bytes"
        print(f"{path!a}: {kind}, {time}")


main()
