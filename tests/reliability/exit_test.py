#!/usr/bin/python3
"""The program ends cleanly at any moment, whatever its access library does.

Environment: KEL_BUILD (a build tree), KEL_EXIT_RUNS (starts and quits; default 20), KEL_SEED (default: the time).
"""

import json
import os
import pathlib
import random
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))
from desktop import x_server  # noqa: E402
from junit_unittest import main  # noqa: E402
from kel_driver import Kel  # noqa: E402

BUILD = pathlib.Path(os.environ.get("KEL_BUILD", "build/dev")).resolve()
RUNS = int(os.environ.get("KEL_EXIT_RUNS", "20"))
SEED = int(os.environ.get("KEL_SEED", str(int(time.time()))))
LIBRARY = BUILD / "tests" / "scripted_tarn"


def printers(count):
    return [(f"printer {i}", f"127.0.0.{i + 1}", "X1") for i in range(count)]


class Run:
    """One program with the scripted access library in a directory of its own."""

    def __init__(self, directory, script, count=12):
        self.script_path = pathlib.Path(directory) / "script.json"
        self.log_path = pathlib.Path(directory) / "calls.log"
        self.kel = Kel(BUILD, directory, LIBRARY, {"SCRIPTED_TARN_SCRIPT": str(self.script_path),
                                                   "SCRIPTED_TARN_LOG": str(self.log_path)})
        self.script_path.write_text(json.dumps(script))
        self.log_path.unlink(missing_ok=True)
        self.kel.set_list(printers(count))

    def calls(self):
        """[(milliseconds, function with printer), ...] of the calls that reached the library."""
        if not self.log_path.exists():
            return []
        rows = [line.split(" ", 1) for line in self.log_path.read_text().splitlines()]
        return [(int(row[0]), row[1]) for row in rows]


class Exit(unittest.TestCase):
    def check_end(self, run, asked_at):
        """asked_at: when the program was known to be about to leave its event loop, in monotonic seconds."""
        status = run.kel.wait_end(90)
        self.assertEqual(status, 0, run.kel.log_tail())
        calls = run.calls()
        names = [name for _, name in calls]
        self.assertEqual(names.count("tarn_destroy"), 1, "the library is stopped exactly once")
        self.assertEqual(names[-1], "tarn_destroy", "nothing reaches the library once it is stopped")
        late = [name for when, name in calls if name.startswith("tarn_openPrinter") and when > asked_at * 1000]
        self.assertLessEqual(len(late), 1, "polls that waited for their turn give up")

    def quit(self, run):
        run.kel.ask("trigger 退出")
        # A moment for the answered command to be carried out; polls that begin within it are none of its fault.
        return time.monotonic() + 0.25

    def test_starts_and_quits_in_a_row_while_slow_polls_run(self):
        chance = random.Random(SEED)
        print(f"seed {SEED}, {RUNS} runs")
        with tempfile.TemporaryDirectory(prefix="kel-exit-") as directory:
            for turn in range(RUNS):
                with self.subTest(turn=turn):
                    run = Run(directory, {"defaultPrinter": {"randomDelayMs": 2500}})
                    try:
                        run.kel.start()
                        time.sleep(chance.choice([0, 0, chance.uniform(0, 2), chance.uniform(2, 5)]))
                        if chance.random() < 0.5:
                            run.kel.set_list(printers(chance.randrange(12)))  # dropped, still scheduled
                            time.sleep(chance.uniform(0, 3))
                        self.check_end(run, self.quit(run))
                    finally:
                        run.kel.kill()

    def test_quits_while_the_library_blocks_for_half_a_minute(self):
        with tempfile.TemporaryDirectory(prefix="kel-exit-") as directory:
            run = Run(directory, {"blockOnceMs": 30000})
            try:
                run.kel.start()
                time.sleep(2.5)
                self.assertTrue(any(name.startswith("tarn_openPrinter") for _, name in run.calls()), "a poll is blocked")
                self.quit_somehow(run)
                self.check_end(run, time.monotonic() + 31)
            finally:
                run.kel.kill()

    def quit_somehow(self, run):
        # The window waits with the list exchange for the library, so the answer may come only when it is free again.
        run.kel.ask("trigger 退出")

    def test_a_broken_display_connection_ends_the_program_without_a_crash(self):
        with tempfile.TemporaryDirectory(prefix="kel-exit-") as directory:
            run = Run(directory, {"defaultPrinter": {"randomDelayMs": 400}})
            with x_server("-screen", "0", "1280x800x24") as display:
                run.kel.environment.update(DISPLAY=display, QT_QPA_PLATFORM="xcb")
                run.kel.start()
                time.sleep(3)
            try:
                status = run.kel.wait_end(60)
            finally:
                run.kel.kill()
            # Qt itself leaves with exit(1) when the server goes away; a signal would be a crash of ours.
            self.assertEqual(status, 1, run.kel.log_tail())
            self.assertNotIn("ERROR: ", run.kel.log_tail(20000))


if __name__ == "__main__":
    main("exit_test")
