#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Adds up what gcov counted, prints a table, and fails below the thresholds.

usage: coverage.py BUILD-FOLDER REPORT

Several binaries compile the same source, some of them for a plainer processor than this one; a line
or a branch counts when any of them has reached it. (gcovr 5 gives up where two of them disagree
about the line of a function.) Branches count on lines that decide something: those into exception
handling are left out, and so are those that the compiler makes by itself, such as the look for null
in `delete`; and so is a lone brace as a line. REPORT lists every line and branch that nothing has reached.
"""
import collections
import concurrent.futures
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
WHOLE = ("src/Png", "src/Check", "src/String", "src/Buffer")  # lines and branches 100 %
LEAST = (98, 95)  # lines and branches of everything, in per cent


def counted(notes):
    """The JSON records of one object file."""
    with tempfile.TemporaryDirectory() as scratch:
        run = subprocess.run(["gcov", "--json-format", "--stdout", "--branch-probabilities", notes],
                             cwd=scratch, capture_output=True, check=True)
    return [json.loads(line) for line in run.stdout.splitlines() if line.strip()]


def collect(build):
    """lines[file][number] and branches[file][number, shape] with counts."""
    lines = collections.defaultdict(collections.Counter)
    branches = collections.defaultdict(dict)
    # Objects that nothing has run have notes (.gcno) and no counts; their lines count as well.
    # The build's own list leaves out what is left of sources that are gone.
    build = pathlib.Path(build).resolve()
    commands = json.loads((build / "compile_commands.json").read_text())
    outputs = [re.search(r" -o (\S+\.o)\b", command["command"]).group(1) for command in commands]
    objects = {(build / output).with_suffix(".gcno") for output in outputs}
    notes = sorted(str(path) for path in objects if path.exists())
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for records in pool.map(counted, notes):
            for record in records:
                add(record, lines, branches)
    return lines, branches


def add(record, lines, branches):
    for source in record["files"]:
        path = pathlib.Path(record["current_working_directory"], source["file"]).resolve()
        if not path.is_relative_to(ROOT):
            continue
        name = str(path.relative_to(ROOT))
        if not name.startswith(("src/", "include/")):
            continue
        for line in source["lines"]:
            number = line["line_number"]
            lines[name][number] += line["count"]
            taken = [branch["count"] for branch in line["branches"] if not branch["throw"]]
            if taken:
                # Copies of a line agree about its branches or have nothing to do with each other.
                key = number, len(taken)
                before = branches[name].get(key, [0] * len(taken))
                branches[name][key] = [a + b for a, b in zip(before, taken)]


def decides(text, number):
    """Whether that line, or one that it goes on from or into, decides."""
    bare = [line.split("//")[0].strip() for line in text[max(number - 2, 0):number + 1]]
    before = bare[0] if number > 1 else ""
    line = bare[1] if number > 1 else bare[0]
    after = bare[-1] if len(bare) > 2 or number == 1 else ""
    return bool(re.search(r"\b(if|for|while|switch|case)\b|&&|\|\||\?", line) or
                before.endswith(("&&", "||", "?", ":")) or after.startswith(("&&", "||", "?", ":")))


def share(reached, total):
    return 100.0 * reached / total if total else 100.0


def main():
    lines, branches = collect(sys.argv[1])
    sums = collections.defaultdict(lambda: [0, 0, 0, 0])
    missed = []
    for name in sorted(lines):
        text = (ROOT / name).read_text().splitlines()
        room = name.rsplit("/", 1)[0]
        for number, count in sorted(lines[name].items()):
            if not re.search(r"\w", text[number - 1]):
                continue
            for total in (sums[room], sums["everything"]):
                total[0] += count > 0
                total[1] += 1
            if count == 0:
                missed.append(f"{name}:{number}: never run: {text[number - 1].strip()}")
        for (number, _), taken in sorted(branches[name].items()):
            if not decides(text, number):
                continue
            for total in (sums[room], sums["everything"]):
                total[2] += sum(count > 0 for count in taken)
                total[3] += len(taken)
            if 0 in taken and lines[name][number] != 0:
                ways = ", ".join("taken" if count else "never" for count in taken)
                missed.append(f"{name}:{number}: branches {ways}: {text[number - 1].strip()}")

    print(f"{'':16}{'lines':>18}{'branches':>22}")
    failed = False
    for room, (run, ran_of, taken, taken_of) in sorted(sums.items()):
        line_share, branch_share = share(run, ran_of), share(taken, taken_of)
        least = (100, 100) if room in WHOLE else LEAST if room == "everything" else (0, 0)
        below = line_share < least[0] or branch_share < least[1]
        failed |= below
        print(f"{room:16}{run:6} of {ran_of:4} {line_share:5.1f}%{taken:9} of {taken_of:4} "
              f"{branch_share:5.1f}%{'  too little' if below else ''}")
    pathlib.Path(sys.argv[2]).write_text("\n".join(missed) + "\n")
    return failed


if __name__ == "__main__":
    sys.exit(main())
