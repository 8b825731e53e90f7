#!/usr/bin/python3
"""tarn-status, and the library in it, under `ulimit -n`, `-u` and `-v` so small that something is refused: whatever the
limit, it ends by itself, with a status of its own and a line that says why, or with the printer's values."""

import json
import os
import pathlib
import resource
import shutil
import subprocess
import tempfile
import unittest

from harness import BUILD, DATA, Simulator, main, own_address

PORT = 16374
GOOD = own_address(31)
NOBODY = 65534
WORKED, UNREACHABLE, REFUSED = 0, 2, 70
LOADER = 127  # the dynamic linker has no descriptor or memory, and says so


class Limits(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory(prefix="kel-limits-")
        cls.addClassCleanup(scratch.cleanup)
        directory = pathlib.Path(scratch.name)
        directory.chmod(0o755)
        for part in ("bin/tarn-status", "lib/libtarn.so.0"):  # it looks for the library beside it
            (directory / part).parent.mkdir()
            shutil.copy(BUILD / part, directory / part)
        cls.program = directory / "bin" / "tarn-status"
        (directory / "tarn.json").write_text(json.dumps({"default": {"port": PORT, "ipp": "off"}}))
        cls.environment = {name: os.environ[name] for name in os.environ if name.endswith("SAN_OPTIONS") or name == "PATH"}
        cls.environment.update(HOME=scratch.name, TARN_CONFIG=str(directory / "tarn.json"), LANG="C.UTF-8")
        simulator = Simulator(PORT, "--web-port=0", f"{DATA}/colour.json@{GOOD}")
        cls.addClassCleanup(simulator.stop)

    def run_with(self, limit, number, prefix=(), timeout_s=1):
        """(status, lines on standard error), of which the one follows from the other."""
        done = subprocess.run([*prefix, self.program, "--timeout", str(timeout_s), "--format", "brief", GOOD],
                              env=self.environment, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=300,
                              preexec_fn=lambda: resource.setrlimit(limit, (number, number)))
        said = done.stderr.splitlines()
        self.assertIn(done.returncode, (WORKED, 1, UNREACHABLE, REFUSED, LOADER), (number, done.stderr))
        if done.returncode in (WORKED, 1):
            self.assertIn(GOOD, done.stdout, number)
        if done.returncode in (REFUSED, LOADER):
            self.assertEqual(done.stdout, "", number)
            self.assertTrue(said, number)
        return done.returncode, said

    def test_few_descriptors(self):
        statuses = {number: self.run_with(resource.RLIMIT_NOFILE, number) for number in range(3, 24)}
        print({number: status for number, (status, _) in statuses.items()})
        self.assertEqual(statuses[3][0], LOADER)
        refused = [said for status, said in statuses.values() if status == REFUSED]
        self.assertTrue(refused)
        for said in refused:
            self.assertEqual(said, ["tarn-status: starting the library failed with code 6"])
        self.assertNotIn(statuses[23][0], (REFUSED, LOADER))

    def test_no_thread(self):
        # Root is let have threads whatever the limit, and nobody else may be let into the tree.
        other = ["setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups"] if os.geteuid() == 0 else []
        status, said = self.run_with(resource.RLIMIT_NPROC, 1, other)
        self.assertEqual((status, said), (REFUSED, ["tarn-status: starting the library failed with code 6"]))

    def test_little_memory(self):
        statuses = {mib: self.run_with(resource.RLIMIT_AS, mib << 20)[0] for mib in [*range(4, 40, 2), *range(40, 160, 8)]}
        print(statuses)
        self.assertEqual(statuses[4], LOADER)
        self.assertNotIn(statuses[152], (REFUSED, LOADER))


if __name__ == "__main__":
    main("limits_test")
