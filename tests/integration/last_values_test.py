#!/usr/bin/python3
"""What printers said last, from a program that watched them to tarn-status, which shows it when they are off and keeps its
hands off the file."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time
import unittest

from harness import BUILD, DATA, Simulator, main, own_address, wait_for

PORT = 16412
PROGRAM = str(BUILD / "bin" / "tarn-status")
OFF = own_address(1)
TWO_DAYS = 2 * 24 * 3600
IS_SANITIZED = any(name.endswith("SAN_OPTIONS") for name in os.environ)

# A program that keeps what the printer says: LIBRARY ADDRESS.
HOST = """
import ctypes, json, sys, time
library = ctypes.CDLL(sys.argv[1])
assert library.tarn_init() == 0
assert library.tarn_setPrinterList(json.dumps([{"printerName": "office", "ip": sys.argv[2]}]).encode()) == 0
state = ctypes.c_int(2)
limit = time.monotonic() + 60
while state.value == 2 and time.monotonic() < limit:
    time.sleep(0.02)
    handle = ctypes.c_void_p()
    assert library.tarn_openPrinter(b"office", ctypes.byref(handle), 0, 0) == 0
    assert library.tarn_getState(handle, ctypes.byref(state)) == 0
    library.tarn_closePrinter(ctypes.byref(handle))
assert library.tarn_destroy() == 0
print(state.value)
"""


class LastValues(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="kel-last-values-")
        self.addCleanup(scratch.cleanup)
        self.directory = pathlib.Path(scratch.name)
        (self.directory / "tarn.json").write_text(json.dumps({"default": {"port": PORT, "ipp": "off"}}))
        self.file = self.directory / "state" / "tarn" / "last-values.jsonl"
        self.environment = {name: os.environ[name] for name in os.environ if name.endswith("SAN_OPTIONS") or name == "PATH"}
        self.environment.update(HOME=scratch.name, TARN_CONFIG=str(self.directory / "tarn.json"), LANG="C.UTF-8",
                                XDG_STATE_HOME=str(self.directory / "state"), XDG_CACHE_HOME=str(self.directory / "cache"))

    def keep(self, age=TWO_DAYS):
        """The file as a program leaves it that saw the printer so long ago."""
        status = {"model": "Laser", "serial": "S1", "pages": 1234, "paperOut": True, "tonerLow": True,
                   "supplies": [{"kind": "toner", "color": "black", "levelKind": "percent", "percent": 7}],
                   "alerts": [{"code": 8, "keyword": "jam", "text": "卡纸", "severity": "critical"}]}
        line = {"address": OFF, "time": int(time.time()) - age, "source": "sm", "status": status}
        self.file.parent.mkdir(parents=True, exist_ok=True)
        self.file.write_text(json.dumps({"format": 1}) + "\n" + json.dumps(line) + "\n")

    def run_tool(self, *arguments):
        """(exit status, standard output, standard error)"""
        done = subprocess.run([PROGRAM, *arguments], env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, cwd=self.directory, timeout=120, text=True, check=False)
        return done.returncode, done.stdout, done.stderr

    def shown(self, sign, *arguments):
        """What it says of the printer that is off; a slow machine may need a second look to read the file in time."""
        def look():
            status, said, complaints = self.run_tool(*arguments, "--timeout=2", OFF)
            self.assertEqual((status, complaints), (2, ""))
            return said if sign in said else None
        return wait_for(look, 60, sign)

    def report(self):
        return json.loads(self.shown('"remembered" : true', "--json"))["printers"][0]

    @unittest.skipIf(IS_SANITIZED, "the interpreter has not the sanitizers' runtime")
    def test_what_a_program_saw_is_shown_when_the_printer_is_off(self):
        simulator = Simulator(PORT, "--web-port=0", f"{DATA}/colour.json@{OFF}")
        self.addCleanup(simulator.stop)
        status, said, _ = self.run_tool("--json", "--timeout=60", OFF)
        self.assertEqual(status, 0, said)
        seen = json.loads(said)["printers"][0]
        self.assertFalse(self.file.exists(), "the tool itself keeps nothing")

        def live():
            host = subprocess.run([os.environ.get("KEL_PYTHON", sys.executable), "-c", HOST,
                                   str(BUILD / "lib" / "libtarn.so.0"), OFF], env=self.environment,
                                  stdout=subprocess.PIPE, text=True, timeout=120, check=True)
            self.assertNotEqual(host.stdout, "2\n")
            return self.file.exists()

        wait_for(live, 120, "the file")  # on a slow disk a process ends before it is written
        self.assertEqual(self.file.stat().st_mode & 0o777, 0o600)
        self.assertEqual(self.file.parent.stat().st_mode & 0o777, 0o700)
        simulator.stop()
        off = self.report()
        self.assertEqual((off["online"], off["remembered"], off["stateWord"]), (False, True, "unreachable"))
        for member in ("model", "serial", "supplies", "trays", "counters", "source"):
            self.assertEqual(off[member], seen[member], member)

    def test_the_table_and_json_show_values_with_their_age(self):
        self.keep()
        off = self.report()
        self.assertEqual((off["online"], off["remembered"], off["serial"]), (False, True, "S1"))
        self.assertGreaterEqual(off["age"], TWO_DAYS)
        self.assertEqual(off["supplies"][0]["percent"], 7)
        said = self.shown("last known")
        self.assertRegex(said, r"offline\n    Laser  serial S1  1234 pages  last known values, of \d{4}-\d\d-\d\d \d\d:\d\d "
                               r"\(2 days ago\) \(sm\)\n")
        self.assertIn("   7 %", said)
        self.assertNotIn("jam", said)

    def test_metrics_are_those_of_a_printer_that_never_answered(self):
        for arguments in (["--format=prometheus"], ["--format=nagios", "--warning=toner=60,age=10", "--critical=state=offline"]):
            with self.subTest(arguments=arguments):
                self.file.unlink(missing_ok=True)
                never = self.run_tool(*arguments, "--timeout=2", OFF)
                self.keep()
                self.assertEqual(self.run_tool(*arguments, "--timeout=2", OFF), never)
        said = self.shown("Laser", "--format=csv")
        self.assertRegex(said.splitlines()[1], rf"^[^,]+,{OFF},{OFF},unreachable,0,,,Laser,S1,,,,,,,,,,,,$")

    def test_nothing_of_it_is_recorded(self):
        self.keep()
        status, _, _ = self.run_tool("--record", "--timeout=2", OFF)
        self.assertEqual(status, 2)
        self.assertNotIn("S1", self.run_tool("--history", OFF)[1])

    def test_the_tool_writes_nothing(self):
        self.keep()
        before = self.file.read_bytes(), self.file.stat().st_mtime_ns
        simulator = Simulator(PORT, "--web-port=0", f"{DATA}/colour.json@{OFF}")
        self.addCleanup(simulator.stop)
        self.assertEqual(self.run_tool("--json", "--timeout=60", OFF)[0], 0)
        self.assertEqual((self.file.read_bytes(), self.file.stat().st_mtime_ns), before)
        self.assertEqual([entry.name for entry in self.file.parent.iterdir()], [self.file.name])
        self.assertFalse((self.directory / "cache").exists())

    def test_a_damaged_file_costs_one_line(self):
        self.run_tool("--timeout=2", OFF)
        self.file.parent.mkdir(parents=True, exist_ok=True)
        never = self.run_tool("--timeout=2", OFF)
        self.file.write_text("something else\n")
        complaint = f"tarn: {self.file}: is no list of last values\n"
        wait_for(lambda: self.run_tool("--timeout=2", OFF) == (*never[:2], complaint), 60, "one line")
        self.assertEqual(self.file.read_text(), "something else\n")


if __name__ == "__main__":
    main("last_values_test")
