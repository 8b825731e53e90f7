#!/usr/bin/python3
"""Everything at once: edits, refreshes, selections, printers that die and come back, lying libraries, quits at any moment.

Environment: KEL_BUILD (a build tree), KEL_STRESS_TURNS (of 15 s each; default 2), KEL_SEED (default: the time; turn n
has the seed KEL_SEED + n, so that one turn can be repeated alone).
"""

import json
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))
from desktop import end  # noqa: E402
from junit_unittest import main  # noqa: E402
from scripted_kel import BUILD, LIBRARY, ROOT, SLOWER, ScriptedKel, alone  # noqa: E402

TURNS = int(os.environ.get("KEL_STRESS_TURNS", "2"))
TURN_SECONDS = 15
SEED = int(os.environ.get("KEL_SEED", str(int(time.time()))))
PORT = 20161
SCENARIOS = ("colour", "mono", "red-black", "out-of-paper", "toner-low", "changing")
FAULTS = ("none", "loss=40", "garbage=30,duplicate=30", "truncate=50", "wrong-id=50,wrong-port=30", "delay=0..900")


class Printers:
    """The simulated printers, 127.44.0.2 on, which are killed and started."""

    def __init__(self):
        self.process = None

    def start(self):
        sources = [str(ROOT / "tests" / "data" / f"{name}.json") for name in SCENARIOS]
        self.process = subprocess.Popen(
            [str(BUILD / "bin" / "printer-sim"), "--control", "--port", str(PORT), "--web-port", "0",
             "--address", "127.44.0.2", *sources], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        if not self.process.stdout.readline().startswith("ready: "):
            raise RuntimeError("printer-sim did not start")

    def kill_or_start(self):
        if self.process is None:
            self.start()
        else:
            self.stop()

    def disturb(self, faults):
        if self.process is not None:
            self.process.stdin.write(f"faults all {faults}\n")
            self.process.stdin.flush()
            if not self.process.stdout.readline().startswith("ok"):
                raise RuntimeError(f"printer-sim: {faults}")

    def stop(self):
        if self.process is not None:
            self.process.kill()
            end(self.process)
            self.process.stdin.close()
            self.process.stdout.close()
            self.process = None


class Turn:
    """15 seconds of lives of the program; each is a starting, a random time of doings, and a quit."""

    def __init__(self, test, directory, seed):
        self.test = test
        self.directory = directory
        self.chance = random.Random(seed)
        self.printers = Printers()
        self.lives = self.doings = 0

    def run(self):
        until = time.monotonic() + TURN_SECONDS
        try:
            self.printers.start()
            while time.monotonic() < until:
                self.live(self.chance.choice([0.05, 0.5, 3, 6, 9]) * self.chance.random())
                self.lives += 1
        finally:
            self.printers.stop()

    def live(self, seconds):
        """seconds: of doings, from the window's being there on; however long a start takes, a life has some."""
        is_real = self.chance.random() < 0.5
        config = self.directory / "config" / "tarn" / "tarn.json"
        config.parent.mkdir(parents=True, exist_ok=True)
        config.write_text(json.dumps({"default": {"port": PORT}}))
        self.kel = ScriptedKel(self.directory, self.lie(), library=BUILD / "lib" if is_real else LIBRARY)
        try:
            self.kel.start(60 * SLOWER)
            until = time.monotonic() + seconds
            while time.monotonic() < until:
                self.chance.choice([self.edit, self.edit, self.refresh, self.select, self.windows, self.agents,
                                    self.file, self.change_library])()
                self.doings += 1
                time.sleep(self.chance.choice([0, 0, 0.05, 0.4]))
            self.kel.ask("trigger 退出")
            if is_real:
                self.test.assertEqual(self.kel.wait_end(30 * SLOWER), 0, self.kel.log_tail())
                self.test.assertEqual(self.kel.alarms(), [])
            else:
                self.kel.check_clean_end(self.test, 30 * SLOWER)
        finally:
            self.kel.kill()
        if self.kel.printers_json.exists():
            json.loads(self.kel.printers_json.read_text())

    def lie(self):
        return self.chance.choice([{}, {"chaosSeed": self.chance.randrange(1, 1 << 40)},
                                   {"defaultPrinter": {"randomDelayMs": 800}}, {"blockOnceMs": 1200}])

    def change_library(self):
        self.kel.set_script(self.lie())

    def edit(self):
        self.kel.ask("click pbtnEditPrinterList")
        self.kel.ask(f"type ledtName p{self.chance.randrange(12)}")
        for octet, number in enumerate((127, 44, 0, self.chance.randrange(2, 12))):
            self.kel.ask(f"type ledtIP/{octet} {number}")
        # The editor may not be there yet, or another one be in front: what is pressed then is a part of the stress.
        for button in ("pbtnAdd", "pbtnDel", "pbtnOk"):
            if self.chance.random() < 0.7:
                self.ask_if_there(f"click {button}")

    def ask_if_there(self, command):
        if "AddPrinterPage" in self.kel.ask("windows"):
            self.kel.ask(command)

    def refresh(self):
        for _ in range(self.chance.randrange(1, 20)):
            self.kel.ask("click pbtnRefresh")

    def select(self):
        count = self.kel.ask("count listPrinter")
        self.kel.ask(f"select listPrinter {self.chance.randrange(-1, count + 1)}")

    def windows(self):
        visible = self.kel.ask("windows")
        closable = [name for name in visible if name in ("MainWindow", "AboutDialog", "SettingPage", "AddPrinterPage")]
        doing = self.chance.choice(["trigger 关于", "trigger 显示主界面", "call MainWindow showSettingDialog",
                                    *(f"close {name}" for name in closable)])
        self.kel.ask(doing)

    def agents(self):
        if self.chance.random() < 0.5:
            self.printers.kill_or_start()
        else:
            self.printers.disturb(self.chance.choice(FAULTS))

    def file(self):
        """Somebody else saves the list, as another session of the user's would."""
        self.kel.set_list([(f"p{i}", f"127.44.0.{i + 2}", "") for i in range(self.chance.randrange(10))])


class Stress(unittest.TestCase):
    def test_everything_at_once(self):
        for number in range(TURNS):
            seed = SEED + number
            with self.subTest(seed=seed), tempfile.TemporaryDirectory(prefix="kel-stress-") as directory:
                turn = Turn(self, pathlib.Path(directory), seed)
                turn.run()
                print(f"seed {seed}: {turn.lives} lives, {turn.doings} doings", flush=True)
                self.assertGreater(turn.doings, 0)


if __name__ == "__main__":
    alone()
    main("stress_test")
