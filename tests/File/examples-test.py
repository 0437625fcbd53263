#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares the example program listdir with what Python lists: examples-test.py PROGRAM..."""

import os
import subprocess
import sys
import tempfile

program = sys.argv[1:]


def lines(*arguments):
    done = subprocess.run([*program, *arguments], stdout=subprocess.PIPE, check=True)
    return sorted(done.stdout.splitlines())


with tempfile.TemporaryDirectory() as folder:
    for name in [b"file", b".hidden", b"Latin-1 \xe4", b"x" * 255]:
        open(os.path.join(os.fsencode(folder), name), "wb").close()
    for name in [b"sub", b"\xc3\xa9"]:
        os.mkdir(os.path.join(os.fsencode(folder), name))
    os.symlink("sub", os.path.join(folder, "to-sub"))
    os.symlink("missing", os.path.join(folder, "dangling"))

    entries = [entry for entry in os.scandir(os.fsencode(folder)) if os.path.exists(entry.path)]
    files = sorted(entry.name for entry in entries if not entry.is_dir())
    dirs = sorted(entry.name + b"/" for entry in entries if entry.is_dir())
    assert len(files) == 4 and len(dirs) == 3
    assert lines(folder) == sorted(files + dirs)
    assert lines(folder + "/") == sorted(files + dirs)
    assert lines("-f", folder) == files
    assert lines("-d", folder) == dirs

    missing = subprocess.run([*program, folder + "/missing"], capture_output=True)
    assert missing.returncode == 1 and missing.stdout == b""
    assert missing.stderr.endswith(b"No such file or directory\n")
assert subprocess.run(program, capture_output=True).returncode == 2
