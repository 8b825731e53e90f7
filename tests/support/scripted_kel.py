"""The built program with the scripted access library beneath it: Kel with a script that can change and a log of calls."""

import json
import os
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import private_tmp  # noqa: E402
from kel_driver import Kel, wait_for  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = pathlib.Path(os.environ.get("KEL_BUILD", ROOT / "build" / "dev")).resolve()
LIBRARY = BUILD / "tests" / "scripted_tarn"

# What a sanitizer, the C++ runtime or Qt prints when something is broken for good.
ALARMS = ("ERROR: AddressSanitizer", "ERROR: LeakSanitizer", "WARNING: ThreadSanitizer", "runtime error:",
          "terminate called", "pure virtual", "QObject::~QObject", "ASSERT")


def alone():
    """First thing in a test program: the lock file is its own from here on."""
    return private_tmp.enter(ROOT, BUILD)


def is_instrumented():
    """Whether the program runs under a sanitizer, which takes its time and memory."""
    data = (BUILD / "bin" / "kel").read_bytes()
    return b"__asan_init" in data or b"__tsan_init" in data


# An interpreter that loads libraries of the program's processor.
PYTHON = os.environ.get("KEL_PYTHON", sys.executable)
SLOWER = 10 if is_instrumented() else int(os.environ.get("KEL_PATIENCE", "1"))


def network_printers(count, first=0):
    return [(f"printer {i}", f"127.0.0.{i + 1}", "X1") for i in range(first, first + count)]


class ScriptedKel(Kel):
    """One run. script: the members of TarnScript (tests/support/scripted_tarn)."""

    def __init__(self, directory, script=None, extra=None, library=LIBRARY):
        directory = pathlib.Path(directory)
        self.script_path = directory / "script.json"
        self.calls_path = directory / "calls.log"
        super().__init__(BUILD, directory, library, dict(SCRIPTED_TARN_SCRIPT=str(self.script_path),
                                                         SCRIPTED_TARN_LOG=str(self.calls_path), **(extra or {})))
        self.has_lied = False
        self.set_script(script or {})
        self.calls_path.unlink(missing_ok=True)

    def set_script(self, script):
        self.has_lied = self.has_lied or "chaosSeed" in script
        fresh = self.script_path.with_suffix(".new")
        fresh.write_text(json.dumps(script))
        fresh.rename(self.script_path)

    def calls(self):
        """[(milliseconds, function with printer), ...] of the calls that reached the library."""
        if not self.calls_path.exists():
            return []
        rows = [line.split(" ", 1) for line in self.calls_path.read_text(errors="replace").splitlines()]
        return [(int(row[0]), row[1]) for row in rows if len(row) == 2 and row[0].isdigit()]

    def polls(self):
        return sum(1 for _, name in self.calls() if name.startswith("tarn_openPrinter"))

    def resident_kib(self):
        """Memory that this process wrote to: stack, heap, changed data. Pages of libraries do not count, they become
        "private" whenever the last other process that has them mapped ends."""
        text = pathlib.Path(f"/proc/{self.process.pid}/smaps_rollup").read_text()
        return next(int(line.split()[1]) for line in text.splitlines() if line.startswith("Anonymous:"))

    def alarms(self):
        """Lines of the program's output that no healthy run has."""
        return [line for line in self.log_tail(10_000_000).splitlines() if any(alarm in line for alarm in ALARMS)]

    def check_clean_end(self, test, seconds=90):
        """The program ends by itself with status 0, and left the library in peace."""
        status = self.wait_end(seconds)
        test.assertEqual(status, 0, self.log_tail())
        test.assertEqual(self.alarms(), [])
        all_names = [name for _, name in self.calls()]
        # A library that throws from its own free functions keeps what it was to free.
        left_out = [name for name in all_names if name.startswith("left out:")]
        test.assertTrue(self.has_lied or not left_out, left_out)
        names = [name for name in all_names if name not in left_out]
        test.assertEqual(names.count("tarn_destroy"), 1, "the library is stopped exactly once")
        test.assertEqual(names[-1], "tarn_destroy", "nothing reaches the library once it is stopped")
