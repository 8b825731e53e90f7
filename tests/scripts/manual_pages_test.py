#!/usr/bin/python3
"""usage: manual_pages_test.py TARN_STATUS

The manual pages have no warning, and what the one of tarn.json says holds: its examples, and every key there is."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGES = sorted((ROOT / "docs").glob("*.[1-9]"))
CONFIGURATION = (ROOT / "docs" / "tarn.json.5").read_text(encoding="utf-8")
TOOL = sys.argv.pop(1)


def check(text):
    """What tarn-status says of a configuration: (exit status, text)."""
    with tempfile.TemporaryDirectory(prefix="kel-manual-") as directory:
        file = pathlib.Path(directory) / "tarn.json"
        file.write_text(text)
        file.chmod(0o600)
        done = subprocess.run([TOOL, f"--check-config={file}"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, env={**os.environ, "LC_ALL": "C.UTF-8"}, check=False)
        return done.returncode, done.stdout


class ManualPages(unittest.TestCase):
    def test_no_page_has_a_warning(self):
        self.assertIn("kel.1", [page.name for page in PAGES])
        for page in PAGES:
            for command in (["man", "--warnings", "-l"], ["mandoc", "-T", "lint"]):
                with self.subTest(page=page.name, command=command[0]):
                    done = subprocess.run([*command, str(page)], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                          stderr=subprocess.PIPE, env={**os.environ, "MANWIDTH": "80"}, text=True, check=False)
                    self.assertEqual((done.returncode, done.stderr), (0, ""))
                    self.assertTrue(command[0] == "man" or done.stdout == "", done.stdout)

    def test_nothing_is_wrong_in_the_examples_of_the_configuration(self):
        examples = re.findall(r"^\.nf\n(.*?)\n\.fi$", CONFIGURATION, re.M | re.S)
        self.assertGreaterEqual(len(examples), 2)
        for example in examples:
            status, said = check(example.replace("\\-", "-"))
            self.assertEqual(status, 0, said)

    def test_every_key_is_explained_and_no_other(self):
        sections = re.split(r"^\.S[SH] ", CONFIGURATION, flags=re.M)
        for title, source in (('"How a printer is asked"', "config_entry.cpp"), ('"Users"', "configured_user.cpp")):
            section = next(text for text in sections if text.startswith(title))
            explained = set(re.findall(r"^\.TP\n\.B (\w+)$", section, re.M))
            table = (ROOT / "tarn" / "src" / "catalog" / source).read_text(encoding="utf-8").split("kMembers[] = {")[1]
            self.assertEqual(explained, set(re.findall(r'^    \{"(\w+)", ', table, re.M)))
            self.assertGreater(len(explained), 4)


if __name__ == "__main__":
    unittest.main()
