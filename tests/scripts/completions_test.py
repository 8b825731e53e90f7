#!/usr/bin/python3
"""The completions of tarn-status for bash and zsh, asked as these shells ask them. Usage: completions_test.py PROGRAM"""

import os
import pathlib
import pty
import re
import select
import shlex
import subprocess
import sys
import tempfile
import time
import unittest

import pyte

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
COMPLETIONS = ROOT / "packaging" / "completions"
PROGRAM = sys.argv.pop(1)
HELP = subprocess.run([PROGRAM, "--help"], stdout=subprocess.PIPE, text=True, check=True).stdout
OPTIONS = set(re.findall(r"^ +(?:-\w, )?(--[a-z-]+)", HELP, re.M))
FORMATS = re.findall(r"^ +(?:-F, --format FORMAT +)?([a-z]+) +(?:for people|one |metrics)", HELP, re.M)


class Help(unittest.TestCase):
    def test_is_understood_here(self):
        self.assertEqual(FORMATS, ["table", "brief", "json", "csv", "prometheus", "nagios"])
        self.assertIn("--check-config", OPTIONS)
        self.assertGreater(len(OPTIONS), 10)


class Bash(unittest.TestCase):
    def complete(self, *words, directory="/"):
        """What bash offers for the last of the words. "=" is a word of its own, as bash makes it."""
        script = f"""source {shlex.quote(str(COMPLETIONS))}/tarn-status.bash
            COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
            $(complete -p tarn-status | sed 's/.*-F \\([^ ]*\\).*/\\1/')
            printf '%s\\n' "${{COMPREPLY[@]}}" """
        done = subprocess.run(["bash", "--norc", "-c", script, "bash", "tarn-status", *words], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True, cwd=directory, check=True, timeout=30)
        self.assertEqual(done.stderr, "")
        return done.stdout.split()

    def test_offers_every_option_and_no_other(self):
        self.assertEqual(set(self.complete("--")), OPTIONS)
        self.assertEqual(self.complete("--form"), ["--format"])

    def test_offers_the_formats(self):
        self.assertEqual(self.complete("--format", ""), FORMATS)
        self.assertEqual(self.complete("--format", "=", "pro"), ["prometheus"])
        self.assertEqual(self.complete("--format", "="), FORMATS)
        self.assertEqual(self.complete("-F", "n"), ["nagios"])

    def test_offers_files_where_one_is_wanted(self):
        with tempfile.TemporaryDirectory() as directory:
            (pathlib.Path(directory) / "printers.json").touch()
            for words in (["--list", "pri"], ["-l", ""], ["--list", "=", "pri"], ["--check-config", "=", "pri"],
                          ["--plot", "pri"]):
                self.assertEqual(self.complete(*words, directory=directory), ["printers.json"], words)
            self.assertEqual(self.complete("--timeout", "pri", directory=directory), [])
            self.assertNotIn("printers.json", self.complete("--json", "pri", directory=directory))

    def test_offers_the_versions_of_snmp(self):
        self.assertEqual(self.complete("--snmp", ""), ["1", "2c", "3"])
        self.assertEqual(self.complete("--snmp", "=", "2"), ["2c"])
        self.assertEqual(self.complete("--community", ""), [], "nothing to choose from, and no host")

    def test_offers_programs_for_changes(self):
        self.assertIn("mkdir", self.complete("--on-change", "mkd"))

    def test_offers_thresholds(self):
        self.assertIn("toner=", self.complete("--warning", "t"))
        self.assertIn("state=offline", self.complete("-C", "state"))


class Zsh(unittest.TestCase):
    """zsh itself on a pseudo-terminal: what it shows after the tabulator."""

    def setUp(self):
        self._directory = tempfile.TemporaryDirectory(prefix="kel-zsh-")
        self.addCleanup(self._directory.cleanup)
        directory = pathlib.Path(self._directory.name)
        (directory / "printers.json").touch()
        self.screen = pyte.Screen(160, 60)
        self.stream = pyte.ByteStream(self.screen)
        pid, self.master = pty.fork()
        if pid == 0:
            os.chdir(directory)
            os.execvpe("zsh", ["zsh", "-f", "-i"], {"PATH": os.environ["PATH"], "HOME": str(directory), "TERM": "vt100",
                                                    "LANG": "C.UTF-8", "COLUMNS": "160", "LINES": "60"})
        self.addCleanup(self.stop, pid)
        self.type(f"PROMPT='> '; fpath=({shlex.quote(str(COMPLETIONS))} $fpath); autoload -Uz compinit; compinit -u -d {directory}/dump; "
                  "LISTMAX=1000; clear; print rea''dy\r")
        self.wait("ready")

    def stop(self, pid):
        os.kill(pid, 9)
        os.waitpid(pid, 0)
        os.close(self.master)

    def type(self, text):
        os.write(self.master, text.encode())

    def shown(self):
        while select.select([self.master], [], [], 0.1)[0]:
            self.stream.feed(os.read(self.master, 65536))
        return "\n".join(self.screen.display)

    def wait(self, *texts):
        limit = time.monotonic() + 60
        while not all(text in self.shown() for text in texts):
            self.assertLess(time.monotonic(), limit, f"{texts} in\n{self.shown()}")
        return self.shown()

    def test_offers_every_option(self):
        self.type("tarn-status --\t")
        shown = self.wait("--version", "--cups")
        self.assertEqual(set(re.findall(r"^(--[a-z-]+)", shown, re.M)), OPTIONS)

    def test_offers_the_formats(self):
        self.type("tarn-status --format \t")
        shown = self.wait("nagios", "table")
        self.assertEqual(set(re.findall(r"^([a-z]+) +--", shown, re.M)), set(FORMATS))

    def test_offers_the_versions_of_snmp(self):
        self.type("tarn-status --snmp 2\t")
        self.wait("--snmp 2c")

    def test_completes_a_file(self):
        self.type("tarn-status --list pri\t")
        self.wait("--list printers.json")

    def test_completes_an_option_to_its_end(self):
        self.type("tarn-status --forma\t")
        self.wait("--format=")


if __name__ == "__main__":
    unittest.main()
