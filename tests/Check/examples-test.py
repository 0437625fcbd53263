#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Holds what the examples checksum and modexp print against Python's own arithmetic.

usage: examples-test.py checksum|modexp COMMAND...
"""
import os
import random
import subprocess
import sys
import tempfile
import zlib


def run(arguments):
    done = subprocess.run(command + arguments, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    return done.returncode, done.stdout.decode(), done.stderr.decode()


def expect(wanted, got):
    if wanted != got:
        sys.exit("expected %r\n     got %r" % (wanted, got))


def crc8(data):
    value = 0
    for byte in data:
        value ^= byte
        for _ in range(8):
            value = (value << 1 ^ (0x131 if value & 0x80 else 0)) & 0x1FF
    return int("{:08b}".format(value)[::-1], 2)


def checksum():
    expect(0x45, crc8(b"123456789"))
    with tempfile.TemporaryDirectory() as folder:
        paths, lines = [], ""
        for length in (0, 1, 9, 4095, 4096, 4097, 100000):
            data = b"123456789" if length == 9 else random.randbytes(length)
            path = os.path.join(folder, "%d bytes" % length)
            with open(path, "wb") as file:
                file.write(data)
            paths.append(path)
            lines += "%08X %02X  %s\n" % (zlib.crc32(data), crc8(data), path)
        expect((0, lines, ""), run(paths))
        missing = os.path.join(folder, "missing")
        status, output, message = run([missing, paths[0]])
        expect((1, "00000000 00  %s\n" % paths[0]), (status, output))
        expect(True, message.startswith(missing))
    expect(2, run([])[0])


def modexp():
    cases = [(4, 13, 497), (2, 1 << 32, 0xFFFFFFFF), (5, 0, 7), (0, 5, 7), (3, 5, 1)]
    for bits in (8, 31, 32, 33, 64, 257, 512, 1024):
        cases.append(tuple(random.getrandbits(bits) | 1 for _ in range(3)))
    for bits in (2048, 4096):
        cases.append((random.getrandbits(4096), 0x10001, random.getrandbits(bits) | 1))
    for base, exponent, modulus in cases:
        wanted = "%x\n" % pow(base, exponent, modulus)
        expect((0, wanted, ""), run(["%x" % base, "%X" % exponent, "%x" % modulus]))
    for arguments in ([], ["1", "2"], ["1", "2", "x"], ["", "2", "3"], ["1", "2", "0"],
                      ["f" * 1025, "2", "3"]):
        expect(2, run(arguments)[0])


random.seed(1)
command = sys.argv[2:]
{"checksum": checksum, "modexp": modexp}[sys.argv[1]]()
