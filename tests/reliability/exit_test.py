#!/usr/bin/python3
"""The program ends cleanly at any moment, whatever its access library does and whatever is open.

Environment: KEL_BUILD (a build tree), KEL_EXIT_RUNS (starts and quits; default 8), KEL_EXIT_HOSTS (those with the real
library; default 4), KEL_SEED (default: the time).
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
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "integration"))
import agents  # noqa: E402
import ipp_printers  # noqa: E402
from desktop import x_server  # noqa: E402
from harness import Simulator  # noqa: E402
from junit_unittest import main  # noqa: E402
from kel_driver import wait_for  # noqa: E402
from scripted_kel import ALARMS, BUILD, ROOT, ScriptedKel, alone, network_printers  # noqa: E402
from usb_bus import UsbBus  # noqa: E402

RUNS = int(os.environ.get("KEL_EXIT_RUNS", "8"))
HOSTS = int(os.environ.get("KEL_EXIT_HOSTS", "4"))
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


class RealLibrary(unittest.TestCase):
    """A program that stops and unloads the real library in the destructor of a static object, while printers of every
    kind are being asked."""

    SNMP_PORT, IPPS_PORT = 16385, 16386
    SNMP = [f"127.43.31.{i}" for i in range(1, 21)]
    USM = [f"127.43.32.{i}" for i in range(1, 61)]  # enough of them that one is being asked at any moment
    USB = ["Lyra Jet 5 L1", "Lyra Jet 5 L2"]

    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory(prefix="kel-exit-")
        cls.addClassCleanup(scratch.cleanup)
        cls.directory = pathlib.Path(scratch.name)
        simulator = Simulator(cls.SNMP_PORT, f"{ROOT}/tests/data/colour.json@{cls.SNMP[0]}*{len(cls.SNMP)}")
        cls.addClassCleanup(simulator.stop)
        snmpd = agents.UsmSnmpd(cls.directory / "snmpd", cls.USM[0], cls.SNMP_PORT, more=cls.USM[1:]).start()
        cls.addClassCleanup(snmpd.stop)
        snmpd.set(agents.STATE, "i", 4)  # a printer that prints is asked every second
        ipps = ipp_printers.EvePrinter(cls.directory / "eve", cls.IPPS_PORT, ipp_printers.MARKERS).start()
        cls.addClassCleanup(ipps.stop)
        cls.bus = UsbBus(BUILD, cls.directory)
        cls.addClassCleanup(cls.bus.close)
        for port, name in enumerate(cls.USB, 1):
            cls.bus.plug(name[-2:], port=port, status="0x18", id=f"MFG:Lyra;MDL:Jet 5;CMD:PCL;SN:{name[-2:]};")
        (cls.directory / "tarn.json").write_text(json.dumps({
            "default": {"port": cls.SNMP_PORT, "ipp": "off"}, "users": agents.users_for_tarn(),
            "addresses": dict({where: {"version": "3", "user": "sha256aes", "ipp": "off"} for where in cls.USM},
                              **{"127.0.0.1": {"port": 9, "ipp": "ipps", "ippPort": cls.IPPS_PORT}})}))
        (cls.directory / "tarn.json").chmod(0o600)
        cls.printers = {f"printer {where}": where for where in [*cls.SNMP, *cls.USM, "127.0.0.1"]}

    def live(self, chance, log, pause_ms, *more):
        """One life, until every printer can be reached and a moment longer; its exit status."""
        host = BUILD / "tests" / "exiting_host"
        printers = [{"printerName": name, "ip": where} for name, where in self.printers.items()]
        # A leak is no crash, and the sanitizer has no time to look for one when threads are under way.
        with subprocess.Popen(
                [host, BUILD / "lib" / "libtarn.so", json.dumps(printers), '{"enable_backends": "sm|smusb"}',
                 str(pause_ms), *more],
                stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=log, text=True,
                env=dict(os.environ, TARN_CONFIG=str(self.directory / "tarn.json"), HOME=str(self.directory),
                         XDG_CACHE_HOME=str(self.directory), XDG_STATE_HOME=str(self.directory), SNMPCONFPATH=str(self.directory),
                         ASAN_OPTIONS="detect_leaks=0", **self.bus.environment(host))) as process:
            expected = set(self.printers) | set(self.USB)
            seen = next((line for line in process.stdout if set(json.loads(line)) >= expected), "")
            time.sleep(chance.uniform(0, 1))
            process.stdin.close()
            rest = process.stdout.read()
            status = process.wait(60)
        self.assertTrue(seen, "the host ended before it had read all printers")
        return status, rest.splitlines()[-1:]

    def test_ends_cleanly_with_every_way_to_printers_under_way(self):
        chance = random.Random(SEED)
        print(f"seed {SEED}, {HOSTS} runs with the real library")
        for turn in range(HOSTS):
            pause = 1000 if turn == 0 else chance.choice([0, 200, 1000])
            first = ["openssl-first"] if turn % 2 else []
            with self.subTest(turn=turn, pause=pause, first=first), open(self.directory / "log", "w+") as log:
                status, last = self.live(chance, log, pause, *first)
                log.seek(0)
                said = log.read()
                self.assertEqual((status, last), (0, ["unloaded"]), said)
                self.assertFalse(any(alarm in said for alarm in ALARMS), said)


if __name__ == "__main__":
    alone()
    main("exit_test")
