#!/usr/bin/python3
"""tarn-status as a program: command line, formats as their readers read them, terminals, exit status, manual page."""

import copy
import csv
import datetime
import fcntl
import io
import json
import os
import pathlib
import pty
import re
import select
import signal
import struct
import subprocess
import tempfile
import termios
import time
import unittest

import jsonschema
import pyte
from prometheus_client.parser import text_string_to_metric_families

from harness import BUILD, DATA, PATIENCE, ROOT, Simulator, address, end, main, own_address, still, wait_for

PORT = 16371
PROGRAM = str(BUILD / "bin" / "tarn-status")
GOOD, LOW, AWAY = own_address(1), own_address(2), own_address(9)
MANUAL = (ROOT / "docs" / "tarn-status.1").read_text()
AWHILE = f"--timeout={0.5 * PATIENCE}"  # where one of several is silent
CHINESE = re.compile("[\u4e00-\u9fff]")


def chinese_in(text):
    return CHINESE.findall(text)


class Case(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls._directory = tempfile.TemporaryDirectory(prefix="kel-tarn-status-")
        cls.directory = pathlib.Path(cls._directory.name)
        cls.simulator = Simulator(PORT, "--web-port=0", f"{still('colour.json', cls.directory)}@{GOOD}", f"{DATA}/toner-low.json@{LOW}")
        cls.environment = {name: os.environ[name] for name in os.environ if name.endswith("SAN_OPTIONS") or name == "PATH"}
        cls.environment.update(HOME=cls._directory.name, TARN_CONFIG=str(cls.directory / "tarn.json"), LANG="C.UTF-8",
                               DBUS_SYSTEM_BUS_ADDRESS=f"unix:path={cls.directory}/no-bus")  # not this machine's printers
        (cls.directory / "tarn.json").write_text(json.dumps({"default": {"port": PORT, "ipp": "off"}}))
        printers = [{"printerName": "office", "ip": GOOD}, {"printerName": 'hall "2", left', "ip": LOW}]
        (cls.directory / "printers.json").write_text(json.dumps(printers))
        (cls.directory / "empty.json").write_text("[]")

    @classmethod
    def tearDownClass(cls):
        cls.simulator.stop()
        cls._directory.cleanup()

    def run_tool(self, *arguments, stdout=subprocess.PIPE, **environment):
        """(exit status, standard output, standard error)"""
        done = subprocess.run([PROGRAM, *arguments], env={**self.environment, **environment}, stdin=subprocess.DEVNULL,
                              stdout=stdout, stderr=subprocess.PIPE, cwd=self.directory, timeout=60, text=True)
        return done.returncode, done.stdout, done.stderr


class ListBefore(Case):
    """What README says of a list that was lost."""

    def setUp(self):
        self.home = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory(prefix="kel-home-")))
        self.lists = self.home / ".local" / "share" / "Morvik" / "kel"
        self.lists.mkdir(parents=True)
        self.list = self.lists / "printers.json"
        self.previous = self.lists / "printers.json.previous"
        self.list.write_text("null\n")  # as the program writes a list without printers
        self.previous.write_text((self.directory / "printers.json").read_text())

    def named(self, path):
        status, said, complaint = self.run_tool("--json", "--list", str(path))
        return status, [printer["name"] for printer in json.loads(said)["printers"]], complaint

    def test_is_shown_and_named_where_the_list_is_empty(self):
        self.assertEqual(self.named(self.previous)[1], ["office", 'hall "2", left'])
        status, names, complaint = self.named(self.list)
        self.assertEqual((status, names), (2, []))
        self.assertEqual(complaint, f"tarn-status: no printers in {self.list}; the list before it, with 2, is {self.previous}\n")

    def test_is_not_named_where_it_has_nothing_or_is_none(self):
        for text in ("[]", "null\n", "{", None):
            self.previous.write_text(text) if text is not None else self.previous.unlink()
            self.assertEqual(self.named(self.list)[2], f"tarn-status: no printers in {self.list}\n", text)

    def test_comes_back_by_the_command_of_the_readme(self):
        commands = re.findall(r"^    (.*printers\.json\.previous.*)$", (ROOT / "README.md").read_text(), re.M)
        self.assertEqual(len(commands), 2, commands)
        show, restore = commands
        self.assertTrue(show.startswith("tarn-status "), show)
        path = os.pathsep.join((os.path.dirname(PROGRAM), os.environ["PATH"]))  # as where it is installed
        environment = {**self.environment, "HOME": str(self.home), "PATH": path}
        shown = subprocess.run(["bash", "-c", show], env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                               text=True, timeout=60)
        self.assertEqual((shown.stdout.count("office"), shown.stderr), (1, ""))
        subprocess.run(["bash", "-c", restore], env=environment, check=True)
        self.assertEqual(self.named(self.list)[1], ["office", 'hall "2", left'])


class CommandLine(Case):
    def test_what_is_no_address_is_wrong_usage_and_one_line(self):
        for wrong in ("300.1.1.1", "1.2", "10.0.0.010", "fe80::1", "::ffff:10.0.0.1", "0x7f.1", "a b", "5", ""):
            status, said, complaint = self.run_tool(wrong)
            self.assertEqual((status, said), (64, ""), wrong)
            self.assertEqual(complaint.count("\n"), 1, complaint)
            self.assertIn(wrong, complaint)

    def test_wrong_usage_has_the_status_64(self):
        for wrong in ([], ["--bogus"], ["--list"], ["--watch"], ["--watch", "5"], ["--timeout", "x", GOOD],
                      ["--format", "xml", GOOD], ["--json=1", GOOD], ["--find", "10.0.0.0/8"], ["--warning", "ink=1", GOOD],
                      ["--list", "printers.json", GOOD], ["--watch", "--format", "nagios", GOOD],
                      ["--explain", GOOD, "--on-change", "/bin/true"], ["--history", "office", "--on-change", "/bin/true"],
                      ["--history", "office", "--save", "printers.json"], ["--forecast", "--save", "printers.json"]):
            status, said, complaint = self.run_tool(*wrong)
            self.assertEqual((status, said), (64, ""), wrong)
            self.assertRegex(complaint, r"^tarn-status: .*; see tarn-status --help\n$")

    def test_a_host_name_is_looked_up(self):
        status, said, _ = self.run_tool("--json", "--timeout", "0", "localhost")
        self.assertEqual(status, 2)
        self.assertEqual(json.loads(said)["printers"][0]["ip"], "127.0.0.1")
        self.assertEqual(json.loads(said)["printers"][0]["name"], "localhost")

    def test_a_name_that_is_not_found_leaves_the_others(self):
        status, said, complaint = self.run_tool("--format=brief", AWHILE, "no-such-host.invalid", GOOD)
        self.assertEqual(status, 2)
        self.assertRegex(complaint, r"^tarn-status: no-such-host\.invalid: .+\n$")
        self.assertRegex(said, rf"^no-such-host\.invalid +offline\n{GOOD} +ready +black")

    def test_files_that_cannot_be_used_have_the_status_66(self):
        (self.directory / "broken.json").write_text("{")
        for file in ("nonexistent.json", "broken.json", "."):
            status, said, complaint = self.run_tool("--list", file)
            self.assertEqual((status, said), (66, ""), file)
            self.assertRegex(complaint, rf"^tarn-status: {re.escape(file)}")
            self.assertEqual(complaint.count("\n"), 1)

    def test_what_cannot_be_written_is_told_with_the_status_74(self):
        for arguments in ([GOOD], ["--json", GOOD], ["--watch=0.1", GOOD], ["--help"], ["--version"], ["--check-config"]):
            with open("/dev/full", "w") as full:
                status, _, complaint = self.run_tool(*arguments, stdout=full)
            self.assertEqual((status, complaint), (74, "tarn-status: standard output: No space left on device\n"), arguments)

    def test_a_closed_output_is_told_and_no_socket_takes_its_place(self):
        done = subprocess.run(["sh", "-c", f'exec "{PROGRAM}" "$@" >&-', "sh", "--json", GOOD], env=self.environment,
                              stderr=subprocess.PIPE, cwd=self.directory, timeout=60, text=True)
        self.assertEqual((done.returncode, done.stderr), (74, "tarn-status: standard output: Bad file descriptor\n"))

    def test_what_is_not_found_is_told(self):
        empty = str(self.directory / "nothing")
        for arguments, complaint in (
                (["--list", "empty.json"], "no printers in empty.json"),
                (["--find", f"{address('72.0')}/30", "--timeout=0.3"], "not listening to DNS-SD: Avahi: Daemon not running\n"
                 f"tarn-status: no printer found in {address('72.0')}/30"),
                (["--usb"], "no USB printer found")):
            status, said, told = self.run_tool(*arguments, TARN_IPP_USB_DIR=empty)
            self.assertEqual((status, said, told), (2, "", f"tarn-status: {complaint}\n"))
        status, _, told = self.run_tool("--cups", GOOD, CUPS_SERVER=str(self.directory / "no-cups.sock"))
        self.assertEqual((status, told), (0, "tarn-status: no queue of CUPS found\n"))

    def test_seconds_of_watch_may_stand_behind_a_blank(self):
        process = subprocess.Popen([PROGRAM, "--json", "--watch", "0.2", GOOD], env=self.environment,
                                   stdout=subprocess.PIPE, text=True)
        self.addCleanup(process.stdout.close)
        self.addCleanup(end, process)
        times = [json.loads(process.stdout.readline())["time"] for _ in range(3)]
        parsed = [datetime.datetime.fromisoformat(text.replace("Z", "+00:00")) for text in times]
        self.assertGreaterEqual((parsed[1] - parsed[0]).total_seconds(), 0.1)
        self.assertLess(parsed[0], parsed[2])
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(20), 0)


class CheckConfig(Case):
    def test_names_each_mistake_with_its_place(self):
        path = self.directory / "wrong.json"
        path.write_text('{\n  "default": {"comunity": "a"},\n  "addresses": {"10.0.0.1": {"port": 0}}\n}\n')
        self.assertEqual(self.run_tool(f"--check-config={path}"), (
            1, f'{path}: line 2: "default": unknown key "comunity" (is "community" meant?)\n'
               f'{path}: line 3: "addresses": "10.0.0.1": "port" is not a number from 1 to 65535\n', ""))
        status, said, _ = self.run_tool("--check-config", TARN_CONFIG=str(path))
        self.assertEqual((status, said.count("\n")), (1, 2))

    def test_is_content_with_a_right_file_and_with_none(self):
        path = self.directory / "tarn.json"
        self.assertEqual(self.run_tool("--check-config"), (0, f"{path}: nothing is wrong\n", ""))
        status, said, _ = self.run_tool("--check-config", TARN_CONFIG="", XDG_CONFIG_HOME=str(self.directory / "none"))
        self.assertEqual(status, 0)
        self.assertIn("the defaults hold", said)

    def test_a_file_that_was_named_is_to_be_there(self):
        self.assertEqual(self.run_tool("--check-config=gone.json"), (66, "", "tarn-status: gone.json: no such file\n"))
        self.assertEqual(self.run_tool("--check-config", TARN_CONFIG="/nonexistent/x")[0], 66)

    def test_only_what_is_wrong_is_left_out(self):
        path = self.directory / "slip.json"
        path.write_text(json.dumps({"default": {"port": PORT, "ipp": "off", "comunity": "x"},
                                    "addresses": {AWAY: {"version": "9"}, "nowhere": {}}}))
        status, said, complaint = self.run_tool("--format=brief", GOOD, TARN_CONFIG=str(path))
        self.assertEqual(status, 0)
        self.assertIn("ready", said)
        self.assertEqual(complaint.count("\n"), 3, complaint)


def strict(schema):
    """The schema, with no member allowed that it does not describe."""
    schema = copy.deepcopy(schema)

    def close(part):
        if isinstance(part, dict):
            if "properties" in part:
                part.setdefault("additionalProperties", False)
            for value in part.values():
                close(value)

    close(schema)
    return schema


class Formats(Case):
    SCHEMA = strict(json.loads((ROOT / "docs" / "tarn-status.schema.json").read_text()))

    def check_document(self, document):
        jsonschema.Draft202012Validator.check_schema(self.SCHEMA)
        jsonschema.validate(document, self.SCHEMA, jsonschema.Draft202012Validator)

    def test_json_is_as_its_schema_says(self):
        status, said, _ = self.run_tool("--json", AWHILE, GOOD, LOW, AWAY)
        document = json.loads(said)
        self.check_document(document)
        self.assertEqual([printer["stateWord"] for printer in document["printers"]], ["idle", "idle", "unreachable"])
        self.assertEqual(status, 2)
        self.assertRegex(said, r'"age" : \d+\.\d,')

    def test_the_schema_refuses_what_is_wrong(self):
        _, said, _ = self.run_tool("--json", LOW)
        for change in (lambda d: d.pop("time"), lambda d: d.update(time="yesterday"), lambda d: d.update(schema=2),
                       lambda d: d["printers"][0].pop("stateWord"), lambda d: d["printers"][0].update(state=9),
                       lambda d: d["printers"][0]["alerts"][0].update(severity="bad"),
                       lambda d: d["printers"][0]["supplies"][0].update(percent=101),
                       lambda d: d["printers"][0].update(unheard=1)):
            document = json.loads(said)
            change(document)
            with self.assertRaises(jsonschema.ValidationError):
                self.check_document(document)

    def test_csv_is_read_as_it_was_meant(self):
        status, said, _ = self.run_tool("--format=csv", AWHILE, "--list", "printers.json")
        rows = list(csv.DictReader(io.StringIO(said)))
        self.assertEqual(status, 1)
        self.assertEqual([row["name"] for row in rows], ["office", 'hall "2", left'])
        self.assertEqual((rows[1]["black"], rows[1]["magenta"], rows[1]["red"]), ("8", "5", ""))
        self.assertEqual(rows[1]["alerts"], "markerTonerAlmostEmpty markerTonerAlmostEmpty")
        self.assertEqual(rows[0]["pages"], "12840")
        self.assertNotIn(None, rows[0])

    def metrics(self, *arguments):
        _, said, _ = self.run_tool("--format=prometheus", AWHILE, *arguments)
        return said, {family.name: family for family in text_string_to_metric_families(said)}

    def test_prometheus_is_read_by_its_own_parser(self):
        said, families = self.metrics("--list", "printers.json")
        samples = {(sample.name, sample.labels["printer"], sample.labels.get("index")): sample
                   for family in families.values() for sample in family.samples}
        self.assertEqual(samples["tarn_printer_up", "office", None].value, 1)
        self.assertEqual(samples["tarn_printer_pages_total", "office", None].value, 12840)
        level = samples["tarn_printer_supply_level_ratio", 'hall "2", left', "3"]
        self.assertEqual((level.value, level.labels["colour"]), (0.05, "magenta"))
        answered = samples["tarn_printer_last_answer_timestamp_seconds", "office", None].value
        self.assertLess(abs(answered - time.time()), 60)
        self.assertEqual(families["tarn_printer_pages"].type, "counter")

    def test_prometheus_keeps_to_the_conventions(self):
        said, families = self.metrics("--list", "printers.json", "--usb")
        series = [line.rsplit(" ", 1)[0] for line in said.splitlines() if not line.startswith("#")]
        self.assertEqual(len(series), len(set(series)), "no series twice")
        documented = set(re.findall(r"^(tarn_\w+)", MANUAL, re.M))
        for family in families.values():
            name = family.name + ("_total" if family.type == "counter" else "")
            self.assertIn(name, documented)
            self.assertRegex(name, r"^tarn_printer_[a-z_]+$")
            self.assertNotRegex(name, r"percent|milli")
            self.assertEqual(name.endswith("_total"), family.type == "counter")
            self.assertIn(family.type, ("gauge", "counter"))
            self.assertTrue(family.documentation)
        # A family stands in one piece, its HELP and TYPE before its samples.
        order = [re.match(r"(?:# (?:HELP|TYPE) )?(\w+)", line).group(1) for line in said.splitlines()]
        self.assertEqual(len([name for i, name in enumerate(order) if i == 0 or order[i - 1] != name]), len(set(order)))

    def test_nagios_has_its_four_statuses(self):
        for arguments, status, word in (([GOOD], 0, "OK"), (["-C", "toner=4", LOW], 1, "WARNING"), ([LOW], 2, "CRITICAL"),
                                        ([AWAY], 2, "CRITICAL"), (["-C", "state=none", "-W", "state=none", AWAY], 0, "OK"),
                                        (["--list", "empty.json"], 3, "UNKNOWN")):
            code, said, _ = self.run_tool("--format=nagios", AWHILE, *arguments)
            self.assertEqual(code, status, said)
            self.assertRegex(said, rf"^PRINTERS {word} - [^|\n]+(\|[^|\n]+)?\n$")

    def test_nagios_performance_data_are_those_of_the_plugins(self):
        _, said, _ = self.run_tool("--format=nagios", "--list", "printers.json")
        data = said.rstrip("\n").split("|")[1]
        one = r" '(?:[^'=]|'')+'=-?\d+(?:\.\d+)?(?:s|%|c)?(?:;[\d.:~@]*){0,4}"
        self.assertRegex(data, rf"^(?:{one})+$")
        self.assertIn("'hall \"2\", left magenta_3'=5%;21:;6:;0;100", data)

    def test_only_table_and_brief_have_a_language(self):
        for name in ("table", "brief"):
            _, english, _ = self.run_tool("--format", name, GOOD, LOW)
            _, chinese, _ = self.run_tool("--format", name, GOOD, LOW, LANG="zh_CN.UTF-8")
            self.assertEqual(chinese_in(english), [], english)
            self.assertIn("toner low (black)", english)
            self.assertIn("碳粉不足", chinese)
            self.assertIn("就绪", chinese)
        for name in ("json", "csv", "prometheus", "nagios"):
            texts = []
            for language in ("C.UTF-8", "zh_CN.UTF-8"):
                text = self.run_tool("--format", name, GOOD, LOW, LANG=language)[1]
                texts.append(re.sub(r'"age" : [\d.]+|"time" : "[^"]+"|[\d-]{10}T[\d:.]+Z|,1,\d+\.\d,|age\'=[\d.]+s|\d{10}[.\d]*',
                                    "", text))
            self.assertEqual(*texts)


class Manual(Case):
    def test_has_no_warning(self):
        for command in (["man", "--warnings", "-l", "docs/tarn-status.1"], ["mandoc", "-T", "lint", "docs/tarn-status.1"]):
            done = subprocess.run(command, cwd=ROOT, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                  env={**self.environment, "MANWIDTH": "80"}, text=True, timeout=60)
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            if command[0] == "mandoc":
                self.assertEqual(done.stdout, "")

    def test_names_every_option_and_nothing_else(self):
        in_help = set(re.findall(r"--[a-z][a-z-]+", self.run_tool("--help")[1].split("\n\n", 1)[1].split("\nExit")[0]))
        section = MANUAL[MANUAL.index(".SH OPTIONS"):MANUAL.index(".SH FORMATS")].replace("\\-", "-")
        entries = re.findall(r"^\.TP\n(\.B.*)$", section, re.M)
        self.assertEqual({option for entry in entries for option in re.findall(r"--[a-z][a-z-]+", entry)}, in_help)

    def test_examples_of_the_formats_run(self):
        section = MANUAL[MANUAL.index(".SH FORMATS"):MANUAL.index(".SH CHANGES")].replace("\\-", "-")
        shown = dict(re.findall(r"^\.SS (\w+)\n.*?^\$ (tarn-status .*?)$", section, re.M | re.S))
        formats = re.search(r"not one of (.*)\n?", self.run_tool("--format", "?", GOOD)[2]).group(1).split(";")[0].split(", ")
        self.assertEqual(list(shown), formats)
        for name, command in shown.items():
            self.assertTrue(name == "table" or f"--format {name} " in command, command)
            status, said, complaint = self.run_tool(*command.split()[1:])
            self.assertEqual((status, complaint), (1, ""), command)
            self.assertIn("office", said)


class Terminal(Case):
    """The program on a pseudo-terminal, with a terminal emulator that is not ours at the other end."""

    def start(self, rows, columns, *arguments, **environment):
        self.screen = pyte.Screen(columns, rows)
        self.stream = pyte.ByteStream(self.screen)
        self.raw = b""
        pid, self.master = pty.fork()
        if pid == 0:
            fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
            os.execve(PROGRAM, [PROGRAM, *arguments], {**self.environment, "TERM": "xterm", **environment})
        self.pid = pid
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
        self.addCleanup(self.stop)

    def stop(self):
        if self.pid:
            os.kill(self.pid, signal.SIGTERM)
            os.waitpid(self.pid, 0)
            os.close(self.master)
            self.pid = 0

    def look(self):
        """The lines of the screen, once all that has come by now is drawn."""
        while select.select([self.master], [], [], 0.05)[0]:
            try:
                piece = os.read(self.master, 65536)
            except OSError:
                break
            if not piece:
                break
            self.raw += piece
            self.stream.feed(piece)
        return [line.rstrip() for line in self.screen.display]

    def test_a_frame_takes_the_place_of_the_last(self):
        self.start(24, 80, "--watch=0.1", GOOD, LOW)
        wait_for(lambda: self.look() and self.raw.count(b"\033[H") >= 5, 30, "five frames")
        lines = self.look()
        self.assertTrue(lines[0].startswith(GOOD), lines)
        self.assertEqual(sum(line.startswith(LOW) for line in lines), 1, lines)
        self.assertEqual(self.raw.count(b"\033[2J"), 1, "cleared once only: no flicker")
        self.simulator.set(GOOD, "1.3.6.1.2.1.43.11.1.1.9.1.1", 2, 77)
        self.addCleanup(self.simulator.set, GOOD, "1.3.6.1.2.1.43.11.1.1.9.1.1", 2, 82)
        wait_for(lambda: any("77 %" in line for line in self.look()), 30, "a change in its place")

    def test_keeps_to_the_terminal_and_follows_its_size(self):
        self.start(6, 30, "--watch=0.1", GOOD, LOW)
        wait_for(lambda: self.look() and self.raw.count(b"\033[H") >= 5, 30, "five frames")
        lines = self.look()
        self.assertTrue(lines[0].startswith(GOOD), "nothing was scrolled away")
        self.assertRegex(lines[5], r"^\+ \d+ more lines$")
        self.screen.resize(4, 20)
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", 4, 20, 0, 0))
        wait_for(lambda: self.look()[3].startswith("+ "), 30, "the smaller size")
        self.assertTrue(self.look()[0].startswith(GOOD))

    def test_another_size_is_kept_to_at_once(self):
        self.start(6, 60, "--watch=86400", GOOD, LOW)
        wait_for(lambda: self.look()[5].startswith("+ "), 30, "the first frame")
        self.screen.resize(30, 60)
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", 30, 60, 0, 0))
        wait_for(lambda: any(line.startswith(LOW) for line in self.look()), 30, "the larger size, long before its time")

    def test_no_color_leaves_the_rest(self):
        self.start(24, 80, "--watch=0.1", GOOD, NO_COLOR="1")
        wait_for(lambda: self.look() and self.raw.count(b"\033[H") >= 3, 30, "frames in place")
        self.assertNotRegex(self.raw, rb"\033\[[\d;]*m")
        self.stop()
        self.start(24, 80, "--watch=0.1", GOOD, NO_COLOR="")
        wait_for(lambda: self.look() and re.search(rb"\033\[[\d;]*m", self.raw), 30, "colours: an empty NO_COLOR says nothing")

    def test_lines_for_programs_are_never_cut_nor_drawn_over(self):
        for name in ("json", "csv"):
            self.start(24, 40, "--watch=0.1", "--format", name, GOOD)
            wait_for(lambda: self.look() and self.raw.count(GOOD.encode()) >= 6, 30, "three looks")
            self.assertNotIn(b"\033", self.raw)
            self.assertIn(b"Orion C4000", self.raw)
            self.stop()

    def test_a_dumb_terminal_gets_no_escape_sequence(self):
        for term in ("dumb", ""):
            self.start(24, 80, "--watch=0.1", GOOD, TERM=term)
            wait_for(lambda: self.look() and self.raw.count(GOOD.encode()) >= 3, 30, "three looks")
            self.assertNotIn(b"\033", self.raw)
            self.stop()


if __name__ == "__main__":
    main("tarn_status_program_test")
