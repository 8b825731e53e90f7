#!/usr/bin/python3
"""The program ends cleanly at any moment, whatever its access library does and whatever is open.

Environment: KEL_BUILD (a build tree), KEL_EXIT_RUNS (starts and quits; default 8), KEL_SEED (default: the time).
"""

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
from kel_driver import wait_for  # noqa: E402
from scripted_kel import ScriptedKel, alone, network_printers  # noqa: E402

RUNS = int(os.environ.get("KEL_EXIT_RUNS", "8"))
SEED = int(os.environ.get("KEL_SEED", str(int(time.time()))))


def some_library(chance):
    """A script: slow in one way or another, or a lie."""
    return chance.choice([
        {"defaultPrinter": {"randomDelayMs": 2500}},
        {"defaultPrinter": {"delayMs": 60}, "listDelayMs": 300, "modelsDelayMs": 300},
        {"defaultPrinter": {"openResult": 7, "randomDelayMs": 40}},
        {"blockOnceMs": 1500},
        {"chaosSeed": chance.randrange(1, 1 << 40)},
        {},
    ])


class Exit(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="kel-exit-")
        self.addCleanup(scratch.cleanup)
        self.directory = pathlib.Path(scratch.name)

    def kel(self, script, printers=12):
        kel = ScriptedKel(self.directory, script)
        kel.set_list(network_printers(printers))
        self.addCleanup(kel.kill)
        return kel

    def test_starts_and_quits_in_a_row_at_any_moment(self):
        chance = random.Random(SEED)
        print(f"seed {SEED}, {RUNS} runs")
        for turn in range(RUNS):
            script = some_library(chance)
            with self.subTest(turn=turn, script=script):
                kel = self.kel(script, chance.choice([0, 1, 12, 40]))
                kel.start()
                self.live(kel, chance)
                kel.ask("trigger 退出")
                kel.check_clean_end(self)

    def live(self, kel, chance):
        """A short life: windows that are left open, printers that are dropped and stay scheduled."""
        doings = ["trigger 关于", "click pbtnEditPrinterList", "close MainWindow", "click pbtnRefresh",
                  "call MainWindow showSettingDialog", None, None]
        for _ in range(chance.randrange(4)):
            doing = chance.choice(doings)
            if doing is None:
                kel.set_list(network_printers(chance.randrange(12), chance.randrange(12)))
            elif doing != "close MainWindow" or "MainWindow" in kel.ask("windows"):
                kel.ask(doing)
            time.sleep(chance.choice([0, chance.uniform(0, 0.3), chance.uniform(0, 2.2)]))

    def test_polls_that_waited_for_the_library_give_up(self):
        kel = self.kel({"blockOnceMs": 6000, "defaultPrinter": {"delayMs": 1500}})
        kel.start()
        wait_for(lambda: kel.polls() == 1, 20, "the poll that blocks")
        time.sleep(1.5)  # the others wait behind it by now: ten workers, ten polls
        kel.ask("trigger 退出")
        begun = time.monotonic()
        kel.check_clean_end(self)
        # The blocked poll, and one or two that the list exchange let in before the quit was seen; not ten.
        self.assertLessEqual(kel.polls(), 3)
        self.assertLess(time.monotonic() - begun, 6 + 3 * 1.5 + 3)

    def test_a_broken_display_connection_ends_the_program_without_a_crash(self):
        kel = self.kel({"defaultPrinter": {"randomDelayMs": 400}})
        with x_server("-screen", "0", "1280x800x24") as display:
            kel.environment.update(DISPLAY=display, QT_QPA_PLATFORM="xcb")
            kel.start()
            wait_for(lambda: kel.polls() > 3, 20, "polls")
        # Qt itself leaves with exit(1) when the server goes away; a signal would be a crash of ours.
        self.assertEqual(kel.wait_end(60), 1, kel.log_tail())
        self.assertEqual(kel.alarms(), [])


if __name__ == "__main__":
    alone()
    main("exit_test")
