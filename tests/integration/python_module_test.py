#!/usr/bin/python3
"""The Python module tarn: what it reads, follows and refuses; its types; its page of documentation."""

import ctypes
import importlib
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import threading
import unittest

from harness import BUILD, DATA, ROOT, Simulator, main, own_address, still

MODULE = ROOT / "tarn" / "python"
PORT = 16373
GOOD, LOW, AWAY = own_address(1), own_address(2), own_address(9)
LEVEL = "1.3.6.1.2.1.43.11.1.1.9.1.1"

# What the sanitizers report at the end of the interpreter is the interpreter's; the library is loaded into a program without
# their runtime.
IS_SANITIZED = any(name.endswith("SAN_OPTIONS") for name in os.environ)

_directory = tempfile.TemporaryDirectory(prefix="kel-python-")
os.environ.update(TARN_DIR=str(BUILD / "lib"), TARN_CONFIG=f"{_directory.name}/tarn.json", HOME=_directory.name)
pathlib.Path(os.environ["TARN_CONFIG"]).write_text(json.dumps({"default": {"port": PORT, "ipp": "off"}}))
sys.path.insert(0, str(MODULE))
sys.dont_write_bytecode = True


@unittest.skipIf(IS_SANITIZED, "the interpreter has not the sanitizers' runtime")
class Module(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.simulator = Simulator(PORT, "--web-port=0", f"{still('colour.json', _directory.name)}@{GOOD}", f"{DATA}/toner-low.json@{LOW}")
        cls.tarn = importlib.import_module("tarn")

    @classmethod
    def tearDownClass(cls):
        cls.tarn.close()
        cls.simulator.stop()

    def test_reads_a_printer(self):
        status = self.tarn.read(GOOD)
        self.assertTrue(status.online)
        self.assertEqual((status.state, status.model, status.serial, status.pages),
                         (self.tarn.State.IDLE, "Orion C4000", "ORC4000001", 12840))
        self.assertLess(status.age, 30)
        self.assertEqual({supply.colour: supply.percent for supply in status.supplies},
                         {"black": 82, "cyan": 64, "magenta": 47, "yellow": 91, "none": 33})
        self.assertEqual([supply.kind for supply in status.supplies if supply.is_receptacle], ["waste"])
        self.assertEqual([(tray.name, tray.level, tray.capacity, tray.is_empty) for tray in status.trays],
                         [("Tray 1", 320, 500, False), ("Bypass", 0, 100, True)])
        self.assertFalse(status.toner_low or status.needs_attention)
        self.assertEqual(status.source, "sm")

    def test_reads_several_in_their_order(self):
        low, away = self.tarn.read_all([LOW, AWAY], timeout=1)
        self.assertEqual([alert.code for alert in low.alerts], ["markerTonerAlmostEmpty"] * 2)
        self.assertTrue(low.toner_low)
        self.assertEqual((away.online, away.state, away.age, away.pages, away.supplies),
                         (False, self.tarn.State.UNREACHABLE, None, None, ()))

    def test_watches_for_changes(self):
        watch = self.tarn.watch([GOOD, LOW], interval=0.05)
        self.assertEqual({next(watch).address, next(watch).address}, {GOOD, LOW})
        self.simulator.set(GOOD, LEVEL, 2, 11)
        self.addCleanup(self.simulator.set, GOOD, LEVEL, 2, 82)
        changed = next(watch)
        self.assertEqual((changed.address, changed.supplies[0].percent), (GOOD, 11))

    def test_is_used_by_several_threads_at_once(self):
        results = []

        def run(where):
            for _ in range(50):
                results.append((where, self.tarn.read(where, timeout=10).serial))

        threads = [threading.Thread(target=run, args=(where,)) for where in (GOOD, LOW) * 4]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(set(results), {(GOOD, "ORC4000001"), (LOW, "ORC4000002")})
        self.assertEqual(len(results), 400)

    def test_lists_what_nobody_named(self):
        self.assertEqual(self.tarn.list(timeout=0.2), [])
        self.tarn.read(GOOD)
        self.assertEqual(self.tarn.list(timeout=0.2), [], "those that were named are not among them")

    def test_refuses_what_is_no_address(self):
        for wrong in ("", "1.2", "300.1.1.1", "::1", "printer"):
            with self.assertRaises(ValueError):
                self.tarn.read(wrong)
        with self.assertRaises(self.tarn.TarnError) as caught:
            self.tarn.read(self.tarn.Printer("unplugged", "", True))
        self.assertEqual(caught.exception.code, 3)

    def test_starts_again_after_its_end(self):
        self.tarn.close()
        self.tarn.close()
        self.assertTrue(self.tarn.read(GOOD).online)
        self.assertRegex(self.tarn.version(), r"^\d+\.\d+\.\d+$")

    def test_gives_every_text_and_handle_back(self):
        """The resident memory stays where it is over thousands of readings."""
        self.tarn.read(GOOD)

        def resident():
            ctypes.CDLL(None).malloc_trim(0)
            return int(re.search(r"VmRSS:\s+(\d+)", pathlib.Path("/proc/self/status").read_text()).group(1))

        def many(count):
            for _ in range(count):
                self.tarn.read(GOOD)

        many(500)
        before = resident()
        many(4000)  # of some 5 kB of texts each
        self.assertLess(resident() - before, 4000)

    def test_a_child_is_told_that_it_has_no_library(self):
        self.tarn.read(GOOD)
        reader, writer = os.pipe()
        pid = os.fork()
        if pid == 0:
            try:
                self.tarn.read(GOOD)
                os.write(writer, b"answered")
            except self.tarn.TarnError as error:
                os.write(writer, str(error).encode())
            finally:
                os._exit(0)
        os.close(writer)
        with os.fdopen(reader) as said:
            self.assertIn("fork", said.read())
        os.waitpid(pid, 0)
        self.assertTrue(self.tarn.read(GOOD).online, "the parent goes on")


@unittest.skipIf(IS_SANITIZED, "the interpreter has not the sanitizers' runtime")
class Programs(unittest.TestCase):
    def run_python(self, *arguments, **environment):
        return subprocess.run([sys.executable, "-B", *arguments], env={**os.environ, "PYTHONPATH": str(MODULE), **environment},
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=60)

    def test_one_that_forgets_to_close_ends(self):
        done = self.run_python("-c", f"import tarn; print(tarn.read('{AWAY}', timeout=0).online)")
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "False\n", ""))

    def test_without_the_library_the_import_works_and_the_call_says_why(self):
        done = self.run_python("-c", "import tarn; tarn.version()", TARN_DIR="/nonexistent")
        self.assertEqual(done.returncode, 1)
        self.assertIn("/nonexistent/libtarn.so", done.stderr.splitlines()[-1])

    def test_types_are_complete(self):
        done = subprocess.run(["mypy", "--strict", "--no-incremental", "--cache-dir=/dev/null", "-p", "tarn"], cwd=MODULE,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=300)
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertTrue((MODULE / "tarn" / "py.typed").exists())

    def test_examples_of_its_page_run(self):
        page = (ROOT / "docs" / "PYTHON.md").read_text()
        examples = re.findall(r"^```python\n(.*?)^```", page, re.M | re.S)
        self.assertGreaterEqual(len(examples), 3)
        simulator = Simulator(PORT, "--web-port=0", f"{DATA}/colour.json@{GOOD}", f"{DATA}/toner-low.json@{LOW}")
        self.addCleanup(simulator.stop)
        for example in examples:
            text = example.replace("192.168.1.20", GOOD).replace("192.168.1.21", LOW)
            done = self.run_python("-c", text)
            self.assertEqual((done.returncode, done.stderr), (0, ""), text)
            self.assertTrue(done.stdout or "assert" in text, text)


if __name__ == "__main__":
    main("python_module_test")
