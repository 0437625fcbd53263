# SPDX-License-Identifier: MIT
"""Runs the benchmarks, prints the ratios against their goals and writes docs/performance.md.

    report.py pc [REGEX]    the PC's table; nothing is written when only a part was run
    report.py arm           instruction counts on 32-bit ARM
"""

import glob
import json
import math
import os
import platform
import re
import subprocess
import sys

PAGE = "docs/performance.md"
MARKS = {"pc": ("<!-- pc -->", "<!-- /pc -->"), "arm": ("<!-- arm -->", "<!-- /arm -->")}
REPETITIONS = 5


def medians(pattern):
    """Median CPU time in ns of every benchmark whose name matches, by Work/who."""
    times = {}
    for program in sorted(glob.glob("build/bench/bench/*Bench")):
        if program.endswith("ArmBench"):
            continue
        command = [
            program,
            "--benchmark_format=json",
            "--benchmark_repetitions=%d" % REPETITIONS,
            "--benchmark_enable_random_interleaving=true",
            "--benchmark_report_aggregates_only=true",
            "--benchmark_min_time=0.1",
        ]
        if pattern:
            command.append("--benchmark_filter=" + pattern)
        run = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        if not run.stdout.strip().startswith("{"):
            continue  # no benchmark of this program matches
        for row in json.loads(run.stdout)["benchmarks"]:
            if row.get("aggregate_name") == "median":
                unit = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[row["time_unit"]]
                work, who = row["run_name"].split("/")[:2]  # what follows is the size
                times[work + "/" + who] = row["cpu_time"] * unit
    return times


def ratios_of(times):
    """{work: {peer: ours / the peer's}} from names of the form Work/who."""
    result = {}
    for name, time in times.items():
        work, who = name.split("/")
        if who != "orvex" and work + "/orvex" in times:
            result.setdefault(work, {})[who] = times[work + "/orvex"] / time
    return result


def geometric_mean(values):
    return math.exp(sum(map(math.log, values)) / len(values))


def verdict(ratio, goal):
    return "met" if ratio <= goal else "missed"


def human(ns):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if ns >= size:
            return "%.3g %s" % (ns / size, unit)
    return "%.3g ns" % ns


def goal_rows(goals, ratios):
    rows = []
    for goal in goals:
        found = [
            peers[goal["peer"]]
            for work, peers in sorted(ratios.items())
            if work.startswith(goal["works"]) and goal["peer"] in peers
        ]
        if found:
            ratio = max(found) if goal.get("of") == "worst" else geometric_mean(found)
            rows.append((goal["title"], goal["peer"], ratio, goal["goal"], verdict(ratio, goal["goal"])))
        else:
            rows.append((goal["title"], goal["peer"], None, goal["goal"], "not measured"))
    return rows


def memory_row():
    """The peak of a decode of 12 megapixels over its raster: twice, and 256 KiB, is the goal."""
    title, peer = "peak memory of 12 megapixels", "the raster"
    run = subprocess.run(["build/bench/bench/PeakMemory"], capture_output=True, text=True)
    found = re.match(r"raster (\d+) peak (\d+)", run.stdout)
    if not found:
        return (title, peer, None, 2, "not measured")
    raster, peak = map(int, found.groups())
    goal = (2 * raster + 256 * 1024) / raster
    return (title, peer, peak / raster, round(goal, 3), verdict(peak / raster, goal))


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "|" + "---|" * len(header)]
    lines += ["| " + " | ".join(row) + " |" for row in rows]
    return lines


def shown_goals(rows):
    return [
        (title, peer, "–" if ratio is None else "%.2f" % ratio, "%g" % goal, state)
        for title, peer, ratio, goal, state in rows
    ]


def processor():
    with open("/proc/cpuinfo") as file:
        names = [line.split(":", 1)[1].strip() for line in file if line.startswith("model name")]
    return "%s, %d cores" % (names[0] if names else platform.machine(), len(names))


def versions():
    wanted = {
        "g++": "g++-12",
        "libpng": "libpng-dev",
        "lodepng": "liblodepng-dev",
        "zlib": "zlib1g-dev",
        "libdeflate": "libdeflate-dev",
        "libtommath": "libtommath-dev",
        "GMP": "libgmp-dev",
        "pixman": "libpixman-1-dev",
        "libyuv": "libyuv-dev",
        "OpenCV": "libopencv-dev",
        "ICU": "libicu-dev",
        "SDL_ttf": "libsdl2-ttf-dev",
        "FreeType": "libfreetype-dev",
    }
    parts = []
    for name, package in wanted.items():
        query = subprocess.run(
            ["dpkg-query", "-W", "-f=${Version}", package], capture_output=True, text=True
        )
        if query.returncode == 0 and query.stdout:
            parts.append("%s %s" % (name, query.stdout))
    return ", ".join(parts)


def first_line(program):
    """What a program says of its version."""
    return subprocess.run([program, "--version"], capture_output=True, text=True).stdout.splitlines()[0]


def write_page(kind, lines):
    """Replaces the part of the page between the kind's two marks."""
    with open(PAGE) as file:
        page = file.read()
    begin, end = MARKS[kind]
    before, rest = page.split(begin)
    after = rest.split(end)[1]
    with open(PAGE, "w") as file:
        file.write(before + "\n".join([begin, ""] + lines + ["", end]) + after)


def report_pc(pattern):
    with open("bench/goals.json") as file:
        goals = json.load(file)["goals"]
    times = medians(pattern)
    ratios = ratios_of(times)
    rows = goal_rows(goals, ratios)
    if not pattern:
        rows.append(memory_row())
    for title, peer, ratio, goal, state in rows:
        if ratio is not None:
            print("%-42s %-12s %7.2f  goal %6g  %s" % (title, peer, ratio, goal, state))
    each = []
    for work in sorted(ratios):
        for peer, ratio in sorted(ratios[work].items()):
            each.append((work, human(times[work + "/orvex"]), peer, "%.2f" % ratio))
            if pattern:
                print("%-42s %-12s %7.2f  (%s)" % (work, peer, ratio, human(times[work + "/orvex"])))
    if pattern:
        return
    load = os.getloadavg()[0]
    lines = [
        "Machine: %s, %s; load at the end %.1f. Versions: %s. Flags: preset `bench`"
        % (processor(), platform.system(), load, versions())
        + " (CMake's Release, `-O3 -DNDEBUG`); medians of %d interleaved repetitions." % REPETITIONS,
        "",
        "### Against the goals",
        "",
    ]
    lines += table(("Work", "Peer", "Ours ÷ peer", "Goal", ""), shown_goals(rows))
    lines += ["", "### Every piece of work", ""]
    lines += table(("Work", "Ours", "Peer", "Ours ÷ peer"), each)
    write_page("pc", lines)
    print("written to %s" % PAGE)


def instructions(preset, who, work):
    """Guest instructions of the piece of work, less those of the same call without it."""

    def count(times):
        command = ["qemu-arm", "-L", "build/sysroot-armhf"]
        command += ["-plugin", "build/bench/bench/libarmcount.so", "-d", "plugin"]
        command += ["build/%s/bench/ArmBench" % preset, work, who, str(times)]
        run = subprocess.run(command, capture_output=True, text=True)
        found = re.search(r"instructions: (\d+)", run.stderr + run.stdout)
        return int(found.group(1)) if run.returncode == 0 and found else None

    with_work, without = count(1), count(0)
    return with_work - without if with_work and without else None


def report_arm():
    with open("bench/goals.json") as file:
        goals = json.load(file)["arm"]
    rows = []
    for goal in goals:
        preset = "bench-arm-neon" if goal.get("neon") else "bench-arm"
        ours = instructions(preset, "orvex", goal["work"])
        theirs = instructions(preset, goal["peer"], goal["work"])
        if not ours or not theirs:
            rows.append((goal["title"], "–", goal["peer"], "–", "%g" % goal["goal"], "not measured"))
            continue
        ratio = ours / theirs
        state = verdict(ratio, goal["goal"])
        print("%-42s %-12s %7.2f  goal %6g  %s" % (goal["title"], goal["peer"], ratio, goal["goal"], state))
        rows.append(
            (goal["title"], "%.2f M" % (ours / 1e6), goal["peer"], "%.2f" % ratio, "%g" % goal["goal"], state)
        )
    lines = [
        "Compiler: %s; flags: preset `bench-arm` (CMake's Release, `-O3 -DNDEBUG`, Debian's armhf"
        " target: ARMv7-A), with NEON `bench-arm-neon`. Emulator: %s."
        % (first_line("arm-linux-gnueabihf-g++"), first_line("qemu-arm")),
        "",
    ]
    lines += table(("Work", "Our instructions", "Peer", "Ours ÷ peer", "Goal", ""), rows)
    write_page("arm", lines)
    print("written to %s" % PAGE)


if __name__ == "__main__":
    if sys.argv[1:2] == ["arm"]:
        report_arm()
    else:
        report_pc(sys.argv[2] if len(sys.argv) > 2 else "")
