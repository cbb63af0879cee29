# SPDX-License-Identifier: MIT

"""Decodes a stream of records with an independent CBOR library, and encodes it again.

    stranger.py MODE STYLE INPUT OUTPUT

MODE is "keyed" or "sequential". Prints what was read, one record per line, and writes the same
records to OUTPUT in the given style. Raises an exception for anything unexpected.
"""

import datetime
import sys

import cbor2

KEYS = ["path", "mtime", "actualSize", "compSize", "checksum", "fileId", "isFolder", "isEncrypted"]


def text(value):
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, int):
        return str(value)
    if isinstance(value, str):
        return "text " + value.encode("utf-8").hex()
    if isinstance(value, bytes):
        return "bytes " + value.hex()
    if isinstance(value, datetime.datetime):
        return f"date {value.timestamp():.6f}"
    if value is None:
        return "null"
    raise TypeError(f"{value!r} is nothing that a record holds")


def described(record, mode):
    if mode == "sequential":
        assert isinstance(record, list) and len(record) == len(KEYS), record
        return "; ".join(text(value) for value in record)
    assert isinstance(record, dict), record
    assert list(record) == [key for key in KEYS if key in record], "unknown keys, or another order"
    return "; ".join(f"{key} {text(value)}" for key, value in record.items())


def dumped(record, style):
    options = {"datetime_as_timestamp": True}  # tag 1, on an integer when there is no fraction
    if style == "canonical":
        # Keys in another order, and the shortest floating-point encodings.
        return cbor2.dumps(record, canonical=True, **options)
    if style == "bare":
        return b"".join(cbor2.dumps(value, **options) for value in record)
    if style == "indefinite":
        items = record.items() if isinstance(record, dict) else ((value,) for value in record)
        head = b"\xbf" if isinstance(record, dict) else b"\x9f"
        run = b"".join(cbor2.dumps(part, **options) for item in items for part in item)
        return head + run + b"\xff"
    assert style == "plain", style
    return cbor2.dumps(record, **options)


def main():
    mode, style, source, target = sys.argv[1:]
    with open(source, "rb") as stream, open(target, "wb") as out:
        decoder = cbor2.CBORDecoder(stream)
        while stream.peek(1):
            record = decoder.decode()
            print(described(record, mode))
            out.write(dumped(record, style))


main()
