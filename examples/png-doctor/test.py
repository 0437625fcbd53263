#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Gives png-doctor a small file of each kind and looks at its verdict: test.py PROGRAM..."""

import os
import random
import struct
import subprocess
import sys
import tempfile
import zlib

program = sys.argv[1:]
SIGNATURE = b"\x89PNG\r\n\x1a\n"


def chunk(name, data=b""):
    return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))


def header(width, height, depth, color, interlace=0):
    return chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, depth, color, 0, 0, interlace))


def scanlines(width, height, depth, color, interlace=0):
    """Ordinary image data: lines without a filter, a byte of a ramp each."""
    bits = depth * {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}[color]
    passes = [(0, 0, 1, 1)]
    if interlace:
        passes = [(0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2),
                  (0, 1, 1, 2)]
    lines = b""
    for x, y, across, down in passes:
        columns = len(range(x, width, across))
        for _ in range(y, height, down) if columns else []:
            lines += b"\0" + bytes(i % 2 for i in range((columns * bits + 7) // 8))
    return lines


def png(width, height, depth, color, interlace=0, before=b"", data=None, end=chunk(b"IEND")):
    if data is None:
        data = zlib.compress(scanlines(width, height, depth, color, interlace))
    return SIGNATURE + header(width, height, depth, color, interlace) + before + \
        chunk(b"IDAT", data) + end


def run(*files):
    return subprocess.run([*program, *files], stdout=subprocess.PIPE, stderr=subprocess.PIPE)


folder = tempfile.TemporaryDirectory()
path = os.path.join(folder.name, "case.png")


def verdict(content, status, *phrases):
    """The status, and what has to be said, in this order."""
    with open(path, "wb") as file:
        file.write(content)
    done = run(path)
    said = done.stdout.decode()
    assert done.returncode == status, (status, done.returncode, said, done.stderr)
    assert ("FINE" in said) == (status == 0), said
    assert ("CANNOT BE READ" in said) == (status == 2), said
    assert ("NOT AS MEANT" in said) or status != 1, said
    at = 0
    for phrase in phrases:
        assert phrase in said[at:], (phrase, said)
        at = said.index(phrase, at) + len(phrase)


colours = chunk(b"PLTE", bytes(6))

# Fine: every format that is taken.
verdict(png(4, 3, 8, 6), 0, "IHDR  13 bytes", "IDAT", "IEND  0 bytes",
        "4 x 3 pixels, 8-bit RGB + alpha, not interlaced", "51 of 51 bytes",
        "Ping::Load says true: 4 x 3 pixels")
for depth, color in [(8, 0), (8, 2), (16, 2), (8, 4), (8, 6)]:
    for interlace in [0, 1]:
        verdict(png(9, 10, depth, color, interlace), 0, "9 x 10 pixels, 0 of them" if color < 4 else "")
verdict(png(1, 1, 8, 6, 1), 0, "interlaced (Adam7)", "5 of 5 bytes")
verdict(png(9, 9, 8, 3, 0, colours), 0, "palette of 2 colours", "0 of them transparent")
verdict(png(9, 9, 8, 3, 1, colours), 0)
verdict(png(9, 9, 4, 3, 0, colours), 0)
verdict(png(2, 2, 8, 2, 0, chunk(b"gAMA", struct.pack(">I", 45455))), 0, "gamma 0.45455")
verdict(png(2, 2, 8, 2, 0, chunk(b"tRNS", bytes([0, 0, 0, 1, 0, 0]))), 0, "2 of them transparent")
verdict(png(2, 2, 8, 2) + b"more", 0, "4 bytes behind the end")
whole = zlib.compress(scanlines(4, 4, 8, 2))
verdict(png(4, 4, 8, 2, 0, chunk(b"IDAT", whole[:3]), whole[3:]), 0, "in 2 chunks")
verdict(png(4, 4, 8, 2, end=b""), 0, "IEND is missing")
verdict(png(2, 2, 8, 2, 0, chunk(b"teXt", b"x")[:-1] + b"?"), 0, "teXt  1 byte, WRONG CRC")

# Not as meant.
verdict(png(9, 9, 1, 0), 1, "1-bit grey comes out transparent", "8-bit grey",
        "9 x 9 pixels, 81 of them transparent")
verdict(png(9, 9, 1, 0, 1), 1, "interlaced 1-bit grey stays blank", "81 of them transparent")
verdict(png(9, 9, 4, 3, 1, colours), 1, "4-bit palette stay blank", "81 of them transparent")
verdict(png(4, 4, 8, 3), 1, "PLTE) is missing", "16 of them transparent")
verdict(png(4, 4, 8, 2, 2, data=whole), 1, "interlace method is unknown", "16 of them transparent")
verdict(png(4, 4, 8, 2, data=zlib.compress(scanlines(4, 4, 8, 2), 0)), 1, "first block is stored",
        "0 of 52 bytes", "stored block", "save it with compression", "16 of them transparent")
verdict(png(4, 4, 8, 2, data=whole[:-8]), 1, "stops early")
verdict(png(4, 4, 8, 2)[:-20], 1, "the file ends inside a chunk", "blank", "16 of them transparent")
half = chunk(b"IDAT", whole[:7])
verdict(png(4, 4, 8, 2, 0, half)[:-20], 1, "cut short: the rest of the picture is transparent")
verdict(SIGNATURE + header(4, 4, 8, 2) + chunk(b"IEND"), 1, "no image data")
wrong = bytearray(png(4, 4, 8, 2))
wrong[32] ^= 1  # the last byte of the header's CRC
verdict(bytes(wrong), 1, "IHDR  13 bytes, WRONG CRC", "a wrong CRC", "says true")
verdict(png(4, 4, 16, 2, 1, chunk(b"tRNS", bytes(6))), 1, "compares its transparent colour wrongly")
verdict(png(4, 4, 8, 2, 0, chunk(b"tRNS", bytes(5))), 1, "too short")
# Entry 0 is meant to be transparent and is; the 255 behind it name no entry.
verdict(png(4, 4, 8, 3, 0, colours + chunk(b"tRNS", b"\0\xff")), 0, "8 of them transparent")
verdict(png(4, 4, 8, 3, 0, colours + chunk(b"tRNS", b"\xff\0")), 1, "first three bytes",
        "8 of them transparent")
verdict(png(4, 4, 8, 3, 0, colours + chunk(b"tRNS", b"\x80")), 1, "first three bytes")

# Unreadable.
verdict(b"", 2, "0 bytes", "does not start as a PNG", "says false")
verdict(b"GIF89a" + bytes(9), 2, "does not start as a PNG", "says false")
verdict(SIGNATURE, 2, "no header", "the bitmap is empty")
for depth, color in [(2, 0), (4, 0), (16, 0), (1, 3), (2, 3), (16, 4), (16, 6)]:
    verdict(png(4, 4, depth, color, 0, colours), 2, "this depth is not supported", "advice",
            "says true, and the bitmap is empty")
verdict(png(4, 4, 8, 2).replace(header(4, 4, 8, 2), header(4, 4, 8, 5)), 2, "no such combination")
verdict(png(4, 4, 8, 3, 0, chunk(b"PLTE", bytes(7))), 2, "not a multiple of 3", "says false")
verdict(png(0, 4, 8, 2, data=whole), 2, "no pixels")
verdict(SIGNATURE + header(0xFFFFFFFF, 0xFFFFFFFF, 8, 6) + chunk(b"IEND"), 2, "more pixels")
verdict(SIGNATURE + header(20000, 20000, 8, 6) + chunk(b"IEND"), 1, "no image data",
        "was not tried: it takes 3051 MiB")

# Hostile: every cut and many changed bytes end with a verdict, whatever it is.
sample = png(9, 9, 8, 3, 1, colours + chunk(b"tRNS", b"\1"))
dice = random.Random(1)
cases = [sample[:length] for length in range(0, len(sample), 3)]
for _ in range(60):
    changed = bytearray(sample)
    for _ in range(dice.randrange(1, 5)):
        changed[dice.randrange(8, len(changed))] = dice.randrange(256)
    cases.append(bytes(changed))
names = []
for number, case in enumerate(cases):
    names.append(os.path.join(folder.name, str(number)))
    with open(names[-1], "wb") as file:
        file.write(case)
done = run(*names)
assert done.returncode == 2, (done.returncode, done.stderr)
assert done.stdout.count(b"Ping::Load") == len(cases), done.stdout

# Several files: the worst counts. And what is no file at all.
fine = os.path.join(folder.name, "fine.png")
with open(fine, "wb") as file:
    file.write(png(4, 3, 8, 6))
assert run(fine, fine).returncode == 0
done = run(fine, os.path.join(folder.name, "missing.png"))
assert done.returncode == 2 and done.stdout.endswith(b"No such file or directory\n")
assert run().returncode == 2
