#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Shows pictures on a file in a frame buffer's place and in a terminal: test.py PROGRAM..."""

import os
import struct
import subprocess
import sys
import tempfile
import zlib

program = sys.argv[1:]


def chunk(name, data=b""):
    return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))


def png(rows):
    """An RGBA picture of tuples."""
    lines = b"".join(b"\0" + b"".join(bytes(pixel) for pixel in row) for row in rows)
    size = struct.pack(">IIBBBBB", len(rows[0]), len(rows), 8, 6, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", size) + chunk(b"IDAT", zlib.compress(lines)) + \
        chunk(b"IEND")


def rgb565(red, green, blue):
    return struct.pack("<H", red // 8 * 2048 + green // 4 * 32 + blue // 8)


def xrgb8888(red, green, blue):
    return bytes([blue, green, red, 0])


folder = tempfile.TemporaryDirectory()
picture = os.path.join(folder.name, "picture.png")
device = os.path.join(folder.name, "device")


def run(*arguments, columns="80"):
    return subprocess.run([*program, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          env={**os.environ, "COLUMNS": columns})


def shown(rows, width, height, encode):
    """What the device holds afterwards."""
    with open(picture, "wb") as file:
        file.write(png(rows))
    done = run(picture, "--device", device, "--size", f"{width}x{height}", "--format",
               encode.__name__)
    assert done.returncode == 0 and done.stdout == b"", (done.returncode, done.stderr)
    with open(device, "rb") as file:
        content = file.read()
    os.remove(device)
    return content


def expect(rows, screen, encode):
    found = shown(rows, len(screen[0]), len(screen), encode)
    wanted = b"".join(encode(*pixel) for row in screen for pixel in row)
    assert found == wanted, (encode.__name__, rows, found.hex(), wanted.hex())


R, G, B, W, K = (255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 255, 255), (0, 0, 0)


def opaque(rows):
    return [[(*pixel, 255) for pixel in row] for row in rows]


for encode in [rgb565, xrgb8888]:
    mixed = [[(1, 2, 3), (77, 88, 99)], [(200, 150, 100), (255, 254, 253)]]
    expect(opaque(mixed), mixed, encode)                               # as it is
    expect(opaque([[R, G], [B, W]]), [[R, R, G, G], [R, R, G, G], [B, B, W, W], [B, B, W, W]], encode)
    expect(opaque([[R, G]]), [[K, K], [R, G], [K, K]], encode)         # black above and below
    expect(opaque([[R], [G]]), [[K, R, K], [K, G, K]], encode)
    expect(opaque([[K, W], [W, K]]), [[(127, 127, 127)]], encode)      # the mean of a block
    expect([[(255, 255, 255, 0), (200, 100, 50, 51)]], [[K, (40, 20, 10)]], encode)  # over black

# A device keeps what lies behind the screen.
with open(device, "wb") as file:
    file.write(b"\xaa" * 9)
assert shown(opaque([[R]]), 2, 1, xrgb8888)[8:] == b"\xaa"

# In the terminal: two rows of pixels a line; the dark ground below transparent ones.
with open(picture, "wb") as file:
    file.write(png([[(*R, 255), (*G, 255)], [(*B, 255), (0, 0, 0, 0)]]))
done = run(picture, "--terminal")
assert done.returncode == 0
assert done.stdout.decode() == ("\x1b[38;2;255;0;0;48;2;0;0;255m\u2580"
                                "\x1b[38;2;0;255;0;48;2;24;24;28m\u2580\x1b[0m\n"), done.stdout
done = run(picture, "--terminal", columns="1")
assert done.stdout.decode().count("\u2580") == 1

# What cannot be done.
given = ["--size", "2x2", "--format", "rgb565"]
done = run(picture, "--device", device)
assert done.returncode == 1 and b"No such file" in done.stderr and not os.path.exists(device)
done = run(picture, "--device", picture)
assert done.returncode == 1 and b"no frame buffer" in done.stderr
done = run(picture, "--device", folder.name, *given)
assert done.returncode == 1 and b"Is a directory" in done.stderr
done = run(os.path.join(folder.name, "missing.png"), "--device", device, *given)
assert done.returncode == 1 and b"No such file" in done.stderr
with open(device, "wb") as file:
    file.write(b"no picture")
done = run(device, "--terminal")
assert done.returncode == 1 and b"png-doctor says why" in done.stderr
if os.path.exists("/dev/full"):
    assert run(picture, "--device", "/dev/full", *given).returncode == 1
for arguments in [[], ["--terminal"], [picture, "--size"], [picture, "--size", "2x2"],
                  [picture, "--format", "rgb565"], [picture, "more"], [picture, "--colour"],
                  [picture, "--size", "0x2", "--format", "rgb565"],
                  [picture, "--size", "2x99999", "--format", "rgb565"],
                  [picture, "--size", "2x2x", "--format", "rgb565"],
                  [picture, "--size", "2x2", "--format", "rgb555"]]:
    done = run(*arguments)
    assert done.returncode == 2 and done.stderr.startswith(b"usage: show "), arguments
