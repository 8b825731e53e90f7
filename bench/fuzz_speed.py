#!/usr/bin/python3
"""Compares the speed of a fuzz target with what it was at another commit.

    bench/fuzz_speed.py fuzz_snmp_walk cdf6d41

builds the target (preset fuzz) from this tree and, in a worktree of its own below build/, from the commit, and runs both
in turn, with the same corpus and the same number of executions and seeds. What a round costs is the processor's time,
user and system: other programs on the machine do not change it much. Printed are executions a second of each, the median
of the rounds, and their ratio.
"""

import argparse
import os
import pathlib
import resource
import subprocess
import sys
import tempfile

from measure import Results, median

ROOT = pathlib.Path(__file__).resolve().parent.parent


def git(*words):
    return subprocess.run(["git", "-C", str(ROOT), *words], capture_output=True, text=True, check=True).stdout.strip()


def build(tree, target):
    """The target's program, built from that tree."""
    for command in (["cmake", "--preset", "fuzz"], ["cmake", "--build", "build/fuzz", "--target", target]):
        done = subprocess.run(command, cwd=tree, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            sys.exit(f"fuzz_speed: {' '.join(command)} in {tree}:\n{done.stdout[-3000:]}{done.stderr[-3000:]}")
    return tree / "build/fuzz/bin/fuzz" / target


def tree_of(commit):
    """A worktree with the commit; kept, so that the next run need not build again."""
    revision = git("rev-parse", "--verify", f"{commit}^{{commit}}")
    tree = ROOT / "build" / "fuzz-speed" / revision[:12]
    if not tree.exists():
        git("worktree", "add", "--detach", str(tree), revision)
    return tree


def executions_a_second(program, corpus, runs, seed):
    """Of one round: runs executions that begin with the corpus. What it finds is thrown away."""
    with tempfile.TemporaryDirectory() as found:
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        done = subprocess.run(
            [str(program), f"-runs={runs}", f"-seed={seed}", "-entropic=0", "-timeout=60", "-print_final_stats=1", found,
             str(corpus)],
            cwd=found, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, errors="replace", check=False,
            env={name: value for name, value in os.environ.items() if not name.endswith("SAN_OPTIONS")})
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if done.returncode != 0:
        sys.exit(f"fuzz_speed: {program} failed\n{done.stderr[-3000:]}")
    executed = next(int(line.split()[-1]) for line in done.stderr.splitlines() if "number_of_executed_units" in line)
    return executed / (after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime)


def main():
    parser = argparse.ArgumentParser(description="Compares the speed of a fuzz target with what it was.")
    parser.add_argument("target", help="e.g. fuzz_snmp_walk")
    parser.add_argument("commit", help="to compare with; or a program of the target that is built already")
    parser.add_argument("--corpus", type=pathlib.Path, help="directory (default: the committed one)")
    parser.add_argument("--runs", type=int, default=5000, help="executions of a round (default: 5000)")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--json", type=pathlib.Path, help="file to add the results to")
    arguments = parser.parse_args()
    corpus = (arguments.corpus or ROOT / "tests/fuzz/corpus" / arguments.target.removeprefix("fuzz_")).resolve()
    if not corpus.is_dir():
        sys.exit(f"fuzz_speed: no directory {corpus}")
    then = pathlib.Path(arguments.commit).resolve()
    if not then.is_file():
        then = build(tree_of(arguments.commit), arguments.target)
    now = build(ROOT, arguments.target)
    speeds = {now: [], then: []}
    for seed in range(1, arguments.rounds + 1):
        for program, rounds in speeds.items():
            rounds.append(executions_a_second(program, corpus, arguments.runs, seed))
    results = Results()
    results.add(f"executions of {arguments.target}", median(speeds[now]), "1/s of processor time",
                peer=arguments.commit, peer_value=median(speeds[then]))
    if arguments.json:
        results.write(arguments.json)


if __name__ == "__main__":
    main()
