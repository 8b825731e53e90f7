#!/usr/bin/python3
"""What tests/support/private_tmp.py keeps apart: nothing that one test puts there is seen by another."""

import os
import pathlib
import socket
import subprocess
import sys
import tempfile
import unittest

SUPPORT = pathlib.Path(__file__).resolve().parent.parent / "support"
sys.path.insert(0, str(SUPPORT))
from private_tmp import KEYBOARD_MAPS  # noqa: E402

CANNOT = 77
# Puts a file into each directory named, says so, and stays until its input ends.
HOLDER = f"""
import pathlib, socket, sys
sys.path.insert(0, {str(SUPPORT)!r})
import private_tmp
if not private_tmp.enter():
    sys.exit({CANNOT})
listener = socket.socket(socket.AF_UNIX)
listener.bind(chr(0) + sys.argv[1])
listener.listen()
for directory in sys.argv[2:]:
    (pathlib.Path(directory) / sys.argv[1]).write_text("mine")
print("ready", flush=True)
sys.stdin.read()
"""

# Says what is in a directory that it needs.
NEEDS = f"""
import os, sys
sys.path.insert(0, {str(SUPPORT)!r})
import private_tmp
if not private_tmp.enter(sys.argv[1]):
    sys.exit({CANNOT})
print(*os.listdir("/tmp"), *os.listdir(sys.argv[1]))
"""


class PrivateTmp(unittest.TestCase):
    def test_a_tree_below_tmp_stays_in_sight_alone(self):
        with tempfile.TemporaryDirectory(dir="/tmp") as tree:
            (pathlib.Path(tree) / "program").touch()
            done = subprocess.run(["/usr/bin/python3", "-c", NEEDS, tree], stdout=subprocess.PIPE, text=True)
            if done.returncode == CANNOT:
                self.skipTest("the system refuses a /tmp of one's own")
            self.assertEqual(done.stdout.split(), [os.path.basename(tree), "program"])

    def test_files_and_sockets_of_one_test_are_not_seen_outside(self):
        name = f"kel-private-{os.getpid()}"
        directories = ["/tmp"] + [path for path in [KEYBOARD_MAPS] if os.path.isdir(path)]
        with subprocess.Popen(["/usr/bin/python3", "-c", HOLDER, name, *directories], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, text=True) as holder:
            if holder.stdout.readline().strip() != "ready":
                self.assertEqual(holder.wait(), CANNOT)
                self.skipTest("the system refuses a /tmp of one's own")
            for directory in directories:
                self.assertFalse(os.path.exists(os.path.join(directory, name)), directory)
                inside = pathlib.Path(f"/proc/{holder.pid}/root{directory}/{name}")
                self.assertEqual(inside.read_text(), "mine")
            with socket.socket(socket.AF_UNIX) as caller:
                self.assertRaises(ConnectionRefusedError, caller.connect, "\0" + name)
            holder.stdin.close()


if __name__ == "__main__":
    outcome = unittest.main(exit=False).result
    sys.exit(1 if not outcome.wasSuccessful() else CANNOT if outcome.skipped else 0)
