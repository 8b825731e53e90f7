#!/usr/bin/python3
"""tarn-status --on-change as a program: what it runs for which change, and how."""

import json
import os
import pathlib
import re
import shlex
import signal
import subprocess
import tempfile
import unittest

import jsonschema

from harness import BUILD, DATA, ROOT, Simulator, end, main, own_address, wait_for

PORT = 16379
PROGRAM = str(BUILD / "bin" / "tarn-status")
PRINTER = own_address(1)
MANUAL = (ROOT / "docs" / "tarn-status.1").read_text()
ERRORS = "1.3.6.1.2.1.25.3.5.1.2.1"  # hrPrinterDetectedErrorState: lowToner is 0x20, noPaper 0x40


class OnChange(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="kel-on-change-")
        self.addCleanup(scratch.cleanup)
        self.directory = pathlib.Path(scratch.name)
        (self.directory / "tarn.json").write_text(json.dumps({"default": {"port": PORT, "ipp": "off"}}))
        (self.directory / "printers.json").write_text(json.dumps([{"printerName": "office; $(touch x)", "ip": PRINTER}]))
        self.environment = {name: os.environ[name] for name in os.environ if name.endswith("SAN_OPTIONS")}
        self.environment.update(HOME=scratch.name, TARN_CONFIG=str(self.directory / "tarn.json"), LANG="C.UTF-8",
                                PATH=f"{self.directory}/bin:{os.environ['PATH']}")
        (self.directory / "bin").mkdir()
        self.simulate()

    def simulate(self):
        self.simulator = Simulator(PORT, "--web-port=0", f"{DATA}/colour.json@{PRINTER}")
        self.addCleanup(self.simulator.stop)

    def program(self, name, lines):
        path = self.directory / "bin" / name
        path.write_text(f"#!/bin/sh\n{lines}\n")
        path.chmod(0o700)
        return str(path)

    def quoted(self, name):
        """A file of the directory, for a shell."""
        return shlex.quote(str(self.directory / name))

    def watch(self, command):
        process = subprocess.Popen([PROGRAM, "--watch=86400", "--format=brief", "--timeout=60", "--on-change", command,
                                    "--list", "printers.json"], env=self.environment, cwd=self.directory,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.stdout.close)
        self.addCleanup(end, process)
        self.assertIn("ready", process.stdout.readline())
        return process

    def lines(self, name="events"):
        path = self.directory / name
        return path.read_text().splitlines() if path.exists() else []

    def edges(self):
        """What was told, without what is over: on a busy machine the printer may be away at any time, and back."""
        edges = []
        for line in self.lines():
            edges.append(json.loads(line)["event"])
            if edges[-2:] == ["offline", "back"]:
                del edges[-2:]
        return edges

    def test_runs_the_program_once_for_each_edge(self):
        self.program("tell", f"echo $# >>{self.quoted('arguments')}; cat >>{self.quoted('events')}; echo noise")
        process = self.watch("tell")
        edges = []
        for state, what in (("20", "toner-low"), ("60", "out-of-paper")):
            self.simulator.set(PRINTER, ERRORS, "4x", state)
            edges.append(what)
            wait_for(lambda: self.edges() == edges, 120, what)
        self.simulator.stop()
        wait_for(lambda: self.edges() == [*edges, "offline"], 120, "offline")
        self.simulate()
        wait_for(lambda: self.edges() == edges, 120, "back")
        process.send_signal(signal.SIGINT)
        said, told = process.communicate(timeout=60)
        self.assertEqual(said, "", "what the program writes stays out of what is shown")
        events = [json.loads(line) for line in self.lines()]
        self.assertEqual(told, "noise\n" * len(events))
        self.assertEqual({event["printer"]["name"] for event in events}, {"office; $(touch x)"})
        for event in events:
            self.assertEqual(event["printer"]["online"], event["event"] != "offline", event)
        schema = json.loads((ROOT / "docs" / "tarn-status.schema.json").read_text())["properties"]["printers"]["items"]
        for event in events:
            jsonschema.validate(event["printer"], schema, jsonschema.Draft202012Validator)
        self.assertEqual(self.lines("arguments"), ["0"] * len(events))
        self.assertFalse((self.directory / "x").exists())

    def test_the_example_of_the_manual_runs(self):
        section = MANUAL[MANUAL.index(".SH CHANGES"):MANUAL.index(".SH HISTORY")]
        script = re.search(r"^#!/bin/sh\n(.*?)\n\.fi", section, re.M | re.S).group(1)
        for groff, plain in (("\\(aq", "'"), ("\\e", "\\"), ("\\-", "-")):
            script = script.replace(groff, plain)
        command = self.program("tell-printer", script)
        self.program("notify-send", f'printf "%s|" "$@" >{self.quoted("told")}')
        done = subprocess.run([command], input=json.dumps({"event": "offline", "printer": {"name": "a b"}}), text=True,
                              env=self.environment, timeout=60)
        self.assertEqual((done.returncode, self.lines("told")), (0, ["a b: offline|"]))

    def test_wrong_usage_is_told(self):
        (self.directory / "text").write_text("x")
        (self.directory / "folder").mkdir()
        for wrong in (["--watch", "--on-change", "./folder", PRINTER],
                      ["--on-change", "true", PRINTER], ["--watch", "--on-change", "no-such-program", PRINTER],
                      ["--watch", "--on-change", "", PRINTER], ["--watch", "--on-change", "./text", PRINTER],
                      ["--watch", "--on-change", "true; true", PRINTER]):
            done = subprocess.run([PROGRAM, *wrong], env=self.environment, cwd=self.directory, stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=60)
            self.assertEqual((done.returncode, done.stdout, done.stderr.count("\n")), (64, "", 1), wrong)

    def test_empty_element_of_the_path_is_the_directory_it_is_in(self):
        self.program("tool", "true")
        for path in (":/nowhere", "/nowhere:", "/nowhere::/elsewhere", "", ".:/nowhere"):
            done = subprocess.run([PROGRAM, "--watch", "--on-change", "tool"], env={**self.environment, "PATH": path},
                                  cwd=self.directory / "bin", stderr=subprocess.PIPE, text=True, timeout=60)
            self.assertEqual((done.returncode, done.stderr),
                             (64, "tarn-status: no printer named; see tarn-status --help\n"), path)


if __name__ == "__main__":
    main("on_change_test")
