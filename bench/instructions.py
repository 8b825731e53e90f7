#!/usr/bin/python3
"""Counts the instructions of the hot paths under callgrind: they do not feel the machine's noise.

A program with hot paths to count has the hook `--instructions NAME`: it does what the path needs, calls one function that
goes through the path many times, named `countedInstructions` with C linkage, and prints how often it went. Only what
happens inside that function, on its thread, is counted. PATHS below names the programs and their paths.
"""

import argparse
import pathlib
import re
import shutil
import subprocess
import sys

from measure import Results

# (program below build/<preset>/bin, name of the path, name of the figure)
PATHS = [
    ("twheel_instructions", "schedule-cancel", "instructions: schedule and cancel"),
    ("twheel_instructions", "periodic-run", "instructions: one periodic run"),
    ("list_page_bench", "status-1000", "instructions: one status of the icon shown, 1,000 printers"),
    ("list_page_bench", "status", "instructions: one status of the icon shown, 10,000 printers"),
    ("list_page_bench", "status-icon", "instructions: one status that changes its icon, 1,000 printers"),
    ("list_page_bench", "refresh", "instructions: one refresh with nothing changed, 10,000 printers"),
    ("tarn_instructions", "unchanged-poll", "instructions: one poll in the engine, unchanged"),
    ("tarn_instructions", "changed-poll", "instructions: one poll in the engine, changed"),
    ("tarn_instructions", "first-poll", "instructions: one poll in the engine, first after the tables"),
    ("tarn_instructions", "tables", "instructions: one read of a printer's tables"),
    ("tarn_instructions", "open-to-close", "instructions: open, all getters and close"),
]


def count(program, path):
    """Instructions each time that the program goes through the path."""
    run = subprocess.run(
        ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", "--collect-atstart=no",
         "--toggle-collect=countedInstructions", str(program), "--instructions", path],
        capture_output=True, text=True, timeout=300, check=False)
    collected = re.search(r"Collected\s*: (\d+)", run.stderr)
    if run.returncode != 0 or not collected or not int(collected.group(1)):
        raise RuntimeError(f"{program.name} {path}: nothing counted\n{run.stderr}")
    return int(collected.group(1)) / int(run.stdout.split()[-1])


def main():
    parser = argparse.ArgumentParser(description="Counts the instructions of the hot paths.")
    parser.add_argument("build", type=pathlib.Path, help="build tree, e.g. build/release")
    parser.add_argument("--json", type=pathlib.Path, help="file to add the results to")
    parser.add_argument("--only", help="count this program's paths only")
    arguments = parser.parse_args()
    if not shutil.which("valgrind"):
        sys.exit("instructions: valgrind is not installed (scripts/setup bench)")
    results = Results()
    for program, path, figure in PATHS:
        if arguments.only in (None, program):
            results.add(figure, count(arguments.build / "bin" / program, path), "instructions")
    if arguments.json:
        results.write(arguments.json)


if __name__ == "__main__":
    main()
