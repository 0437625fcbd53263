#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Lets the example program datagram talk to itself over 127.0.0.1: examples-test.py PROGRAM..."""

import socket
import subprocess
import sys

program = sys.argv[1:]


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return str(probe.getsockname()[1])


def received(text):
    port = free_port()
    receiver = subprocess.Popen([*program, "receive", port, "20000"], stdout=subprocess.PIPE)
    assert receiver.stdout.readline() == b"waiting\n"
    subprocess.run([*program, "send", "127.0.0.1", port, text], check=True)
    printed = receiver.communicate()[0]
    assert receiver.returncode == 0
    return printed


assert received("hello") == b"5 bytes from 127.0.0.1: hello\n"
assert received("x" * 1500) == b"1500 bytes from 127.0.0.1: " + b"x" * 1500 + b"\n"
assert received("x" * 1501) == b"1500 bytes from 127.0.0.1: " + b"x" * 1500 + b"\n"

silent = subprocess.run([*program, "receive", free_port(), "10"], stdout=subprocess.PIPE)
assert silent.returncode == 1 and silent.stdout == b"waiting\nnothing came\n"
assert subprocess.run(program, stderr=subprocess.PIPE).returncode == 2
