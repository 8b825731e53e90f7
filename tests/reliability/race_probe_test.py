#!/usr/bin/python3
"""The thread sanitizer, with the suppressions that all tests run with, still finds a race of our own wherever our code
meets a library that it cannot see: in a slot, a timer's function, a window's event, and behind a pointer handed over.

Environment: KEL_BUILD (a build tree with the thread sanitizer).
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))
from junit_unittest import main  # noqa: E402
from scripted_kel import BUILD, ROOT  # noqa: E402

REPORTED = 66  # the status of a program that the sanitizer has reported something of


class Suppressions(unittest.TestCase):
    def probe(self, kind):
        scratch = tempfile.TemporaryDirectory(prefix="kel-race-")
        self.addCleanup(scratch.cleanup)
        environment = dict(os.environ, QT_QPA_PLATFORM="offscreen", XDG_RUNTIME_DIR=scratch.name,
                           TSAN_OPTIONS=f"suppressions={ROOT}/.ci/tsan.supp:exitcode={REPORTED}:history_size=7")
        return subprocess.run([str(BUILD / "tests" / "race_probe"), kind], env=environment, timeout=600, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def test_queued_copies_are_no_race(self):
        done = self.probe("none")
        self.assertEqual((done.returncode, done.stdout), (0, ""))

    def test_races_of_our_own_are_reported(self):
        for kind, function in (("slot", "Probe::take"), ("timer", "Probe::onTimer"), ("paint", "Probe::paintEvent"),
                               ("lent", "Probe::look")):
            with self.subTest(kind=kind):
                done = self.probe(kind)
                self.assertEqual(done.returncode, REPORTED, done.stdout)
                self.assertIn("WARNING: ThreadSanitizer: data race", done.stdout)
                self.assertIn(function, done.stdout)
                self.assertIn("Probe::touchFromWorker", done.stdout)


if __name__ == "__main__":
    main("race_probe_test")
