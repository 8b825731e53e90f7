#!/usr/bin/python3
"""The program with an access library that lies: it stays alive, keeps its memory, and ends when it is told to.

Environment: KEL_BUILD (a build tree), KEL_LIES_SECONDS (default 8), KEL_HUGE_TEXT (bytes), KEL_SEED (default: the time).
"""

import os
import pathlib
import random
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))
from junit_unittest import main  # noqa: E402
from kel_driver import wait_for  # noqa: E402
from scripted_kel import SLOWER, ScriptedKel, alone, network_printers  # noqa: E402

SECONDS = float(os.environ.get("KEL_LIES_SECONDS", "8"))
SEED = int(os.environ.get("KEL_SEED", str(int(time.time()))))
HUGE = int(os.environ.get("KEL_HUGE_TEXT", "3000000"))
# Seconds that nothing takes but a program that hangs: reading texts of a hundred megabytes takes long by itself.
PATIENCE = 60 * SLOWER * (10 if HUGE > 10_000_000 else 1)


class Liar(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="kel-liar-")
        self.addCleanup(scratch.cleanup)
        self.directory = pathlib.Path(scratch.name)

    def kel(self, script, printers):
        kel = ScriptedKel(self.directory, script)
        kel.set_list(printers)
        kel.patience = PATIENCE
        self.addCleanup(kel.kill)
        kel.start()
        return kel

    def answer_within(self, kel, seconds):
        begun = time.monotonic()
        self.assertEqual(kel.ask("ping"), "pong")
        self.assertLess(time.monotonic() - begun, seconds * SLOWER)

    def test_random_lies_on_every_call(self):
        print(f"seed {SEED}, {SECONDS} s")
        chance = random.Random(SEED)
        kel = self.kel({"chaosSeed": chance.randrange(1, 1 << 40)}, network_printers(20))
        end = time.monotonic() + SECONDS
        while time.monotonic() < end:
            for command in ("click pbtnRefresh", "click pbtnEditPrinterList", f"select listPrinter {chance.randrange(9)}",
                            "rows listPrinter"):
                kel.ask(command)
            wait_for(lambda: "AddPrinterPage" in kel.ask("windows"), 30 * SLOWER, "the editor")
            kel.ask("close AddPrinterPage")
            self.answer_within(kel, 10)
            time.sleep(0.1)
        self.told_the_truth(kel)

    def told_the_truth(self, kel):
        """The same process, once the library is honest again, is as good as a new one."""
        kel.set_list([("truth", "127.0.0.9", "X1")])
        kel.set_script({"defaultPrinter": {"stateMessage": "真的", "serialNumber": "SN-9"}})
        wait_for(lambda: [row["text"] for row in kel.ask("rows listPrinter")] == ["truth"], 60 * SLOWER, "the true list")
        kel.ask("select listPrinter 0")
        wait_for(lambda: kel.ask("text lbPrinterState") == "[3]真的", 60 * SLOWER, "the true state")
        self.assertEqual(kel.ask("text lbID"), "SN-9")
        kel.ask("trigger 退出")
        kel.check_clean_end(self)

    def test_a_thousand_printers_then_none_again_and_again(self):
        kel = self.kel({}, network_printers(1))
        thousand = ['{"printerName":"p%d","ip":"127.0.0.1","isUsbPrinter":%s}' % (i, "true" if i % 2 else "false")
                    for i in range(1000)]
        for _ in range(2):
            kel.set_script({"extraPrinters": thousand})
            wait_for(lambda: kel.ask("count listPrinter") == 1001, 60 * SLOWER, "a thousand rows")
            self.answer_within(kel, 10)
            kel.set_script({})
            # One refresh takes away every other row.
            wait_for(lambda: kel.ask("count listPrinter") < 300, 60 * SLOWER, "the rows to go")
            self.answer_within(kel, 10)
        kel.ask("trigger 退出")
        kel.check_clean_end(self)

    def test_texts_of_many_megabytes(self):
        """One after another, each from a library that says nothing else of that length."""
        kel = self.kel({}, [("liar", "127.0.0.1", "X1"), ("honest", "127.0.0.2", "X1")])
        for script in ({"printers": {"liar": {"stateMessage": "错-" * (HUGE // 4)}}},
                       {"printers": {"liar": {"stateMessage": "x" * HUGE}}},
                       {"printers": {"liar": {"serialNumber": "y" * HUGE}}},
                       {"printers": {"liar": {"info": '{"KToner":"5","x":"%s"}' % ("z" * HUGE)}}},
                       {"extraPrinters": ['{"printerName":"%s"}' % ("n" * HUGE)]},
                       {"extraPrinters": ['{"printerName":"m","model":"%s"}' % ("w" * HUGE)]},
                       {"modelsDocument": '[{"model":"X1"},{"model":"%s"}]' % ("v" * HUGE)}):
            kel.set_script(script)
            rows = 2 + len(script.get("extraPrinters", []))
            wait_for(lambda: kel.ask("count listPrinter") == rows, PATIENCE, "the rows")
            for row in (rows - 1, 0):
                kel.ask(f"select listPrinter {row}")
                polls = kel.polls()
                wait_for(lambda: kel.polls() >= polls + 4, PATIENCE, "more polls")
                self.answer_within(kel, 10 if HUGE < 10_000_000 else 60)
        kel.ask("click pbtnEditPrinterList")
        wait_for(lambda: "AddPrinterPage" in kel.ask("windows"), PATIENCE, "the editor")
        self.answer_within(kel, 10 if HUGE < 10_000_000 else 60)
        kel.ask("trigger 退出")
        kel.check_clean_end(self, PATIENCE)

    def test_truthful_polling_keeps_its_memory(self):
        kel = self.kel({}, network_printers(50))
        wait_for(lambda: kel.polls() > 200, 60 * SLOWER, "the first polls")
        before = kel.resident_kib()
        wait_for(lambda: kel.polls() > 500, 60 * SLOWER, "300 more polls")
        grown = kel.resident_kib() - before
        print(f"{grown} KiB after 300 polls and list refreshes")
        # Sanitizers keep what was freed.
        self.assertLess(grown, 1000 if SLOWER == 1 else 100_000)
        kel.ask("trigger 退出")
        kel.check_clean_end(self)

    def test_ten_slow_polls_in_a_row_do_not_starve_the_list(self):
        kel = self.kel({"defaultPrinter": {"delayMs": 400}}, network_printers(30))
        wait_for(lambda: kel.polls() > 3, 60 * SLOWER, "polls")
        def lists():
            return [when for when, name in kel.calls() if name == "tarn_setPrinterList"]

        seen = len(lists())
        wait_for(lambda: len(lists()) >= seen + 3, 60 * SLOWER, "three more list exchanges")
        self.answer_within(kel, 2.5)
        kel.ask("trigger 退出")
        kel.check_clean_end(self)
        times = lists()[1:]
        gaps = [later - earlier for earlier, later in zip(times, times[1:])]
        print("milliseconds between list exchanges:", gaps)
        # The timer's two seconds, and at most two polls of 400 ms.
        self.assertLess(max(gaps), (2000 + 2 * 400 + 1000) * SLOWER)


if __name__ == "__main__":
    alone()
    main("liar_test")
