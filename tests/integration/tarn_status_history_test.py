#!/usr/bin/python3
"""tarn-status --record, --history and --forecast as programs: the file, what is shown of it, and what can be wrong."""

import csv
import io
import json
import os
import pathlib
import re
import resource
import shutil
import signal
import sqlite3
import stat
import subprocess
import tempfile
import time
import unittest
import xml.etree.ElementTree as xml

from harness import BUILD, DATA, ROOT, Simulator, main, own_address, wait_for

PORT = 16372
PROGRAM = str(BUILD / "bin" / "tarn-status")
GOOD, LOW, AWAY = own_address(1), own_address(2), own_address(9)
MANUAL = (ROOT / "docs" / "tarn-status.1").read_text()
COUNTER = "1.3.6.1.2.1.43.10.2.1.4.1.1"
DAY = 86400
PATIENCE = "--timeout=60"  # whoever answers ends it sooner


def small_files_only():
    """To a writer the disk is full beyond that."""
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (8192, 8192))


class Case(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory(prefix="kel-history-")
        cls.addClassCleanup(scratch.cleanup)
        cls.directory = pathlib.Path(scratch.name)
        cls.simulator = Simulator(PORT, "--web-port=0", f"{DATA}/colour.json@{GOOD}", f"{DATA}/toner-low.json@{LOW}")
        cls.addClassCleanup(cls.simulator.stop)
        (cls.directory / "tarn.json").write_text(json.dumps({"default": {"port": PORT, "ipp": "off"}}))
        printers = [{"printerName": "office", "ip": GOOD}, {"printerName": 'hall "2", left', "ip": LOW}]
        (cls.directory / "printers.json").write_text(json.dumps(printers))

    def setUp(self):
        self.state = pathlib.Path(tempfile.mkdtemp(dir=self.directory))
        self.database = self.state / "tarn" / "history.db"
        self.environment = {name: os.environ[name] for name in os.environ if name.endswith("SAN_OPTIONS") or name == "PATH"}
        self.environment.update(HOME=str(self.directory), TARN_CONFIG=str(self.directory / "tarn.json"), LANG="C.UTF-8",
                                XDG_STATE_HOME=str(self.state))

    def run_tool(self, *arguments, preexec_fn=None, **environment):
        """(exit status, standard output, standard error)"""
        done = subprocess.run([PROGRAM, *arguments], env={**self.environment, **environment}, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=self.directory, timeout=120, text=True,
                              preexec_fn=preexec_fn)
        return done.returncode, done.stdout, done.stderr

    def record(self):
        self.assertEqual(self.run_tool("--record", PATIENCE, "--list", "printers.json"), (0, "", ""))

    def invent(self, days):
        """What a history of so many days, with one per cent of black used on each, would be."""
        with sqlite3.connect(self.database) as database:
            printer, = database.execute("SELECT id FROM printer WHERE name = 'office'").fetchone()
            supplies, = database.execute("SELECT supplies FROM entry WHERE printer = ?", [printer]).fetchone()
            database.execute("DELETE FROM entry WHERE printer = ?", [printer])
            now = int(time.time())
            for day in range(days + 1):
                database.execute("INSERT INTO entry VALUES(?, ?, ?, ?, ?)", [
                    printer, now - (days - day) * DAY, supplies, 1000 + 10 * day, f"{80 - day} 70 60 50 20"])
            database.execute("UPDATE printer SET seen = ?", [now])
        database.close()


class Record(Case):
    def test_adds_a_row_where_something_changed(self):
        self.record()
        self.record()
        begun = int(time.time())
        wait_for(lambda: int(time.time()) > begun, 30, "another second")
        self.simulator.set(GOOD, COUNTER, 2, 99990)
        self.record()
        database = sqlite3.connect(self.database)
        self.addCleanup(database.close)
        self.assertEqual(database.execute("SELECT name, count(*), max(pages) FROM entry JOIN printer ON id = printer "
                                          "GROUP BY name ORDER BY name").fetchall()[1], ("office", 2, 99990))
        self.assertEqual(database.execute("PRAGMA integrity_check").fetchall(), [("ok",)])

    def test_the_file_is_the_users_own_whatever_the_mask_says(self):
        mask = os.umask(0)
        self.addCleanup(os.umask, mask)
        self.record()
        self.assertEqual([stat.S_IMODE(path.stat().st_mode) for path in (self.database, self.database.parent)],
                         [0o600, 0o700])

    def test_says_whether_anything_answered(self):
        # AWAY has all of it pass; more of it is needed where the machine is busy.
        self.assertTrue(any(self.run_tool("--record", f"--timeout={seconds}", AWAY, GOOD)[0] == 0 for seconds in (0.5, 5, 60)))
        self.assertEqual(self.run_tool("--record", "--timeout=0.5", AWAY), (2, "", ""))

    def test_stands_below_home_where_no_state_directory_is_named(self):
        home = self.state / "home"
        for name in ("", "relative"):
            self.assertEqual(self.run_tool("--record", PATIENCE, GOOD, XDG_STATE_HOME=name, HOME=str(home))[0], 0)
        self.assertTrue((home / ".local/state/tarn/history.db").is_file())
        self.assertEqual(self.run_tool("--record", PATIENCE, GOOD, XDG_STATE_HOME="", HOME="")[0], 66)

    def test_what_does_not_go_together_is_wrong_usage(self):
        for wrong in (["--record"], ["--record", "--watch", GOOD], ["--record", "--history", "a"], ["--keep", "3", GOOD],
                      ["--keep", "5h", "--record", GOOD], ["--history", "a", GOOD], ["--history", ""], ["--since", "9", GOOD],
                      ["--history", "a", "--since", "yesterday"], ["--history", "a", "--plot", "a.gif"],
                      ["--plot", "a.svg", GOOD], ["--history", "a", "--json"], ["--forecast", "--watch"],
                      ["--history", "a", "--forecast", "--plot", "a.svg"], ["--forecast", "--usb"], ["--explain", GOOD, "--record"],
                      ["--find", "--save", "a.json", "--record"]):
            status, said, complaint = self.run_tool(*wrong)
            self.assertEqual((status, said, complaint.count("\n")), (64, "", 1), wrong)
        self.assertFalse(self.database.exists())


class Trouble(Case):
    """Every one is told in one line that names the file, and what was recorded before is still there."""

    def setUp(self):
        super().setUp()
        self.record()
        self.before = self.database.read_bytes()

    def assert_told(self, status, complaint, *arguments, **options):
        got, said, told = self.run_tool(*arguments, **options)
        self.assertEqual((got, said, told.count("\n")), (status, "", 1), told)
        self.assertRegex(told, rf"^tarn-status: .*{re.escape(str(self.database))}.*{complaint}")

    def test_a_file_that_is_no_database(self):
        for content in (b"x", b"\0" * 100000, b"SQLite format 3\0" + b"\xff" * 5000, self.before[:3000],
                        self.before[:100] + b"\xff" * (len(self.before) - 100)):
            self.database.write_bytes(content)
            for arguments in (["--record", PATIENCE, GOOD], ["--history", "office"], ["--forecast"]):
                self.assert_told(66, "", *arguments)
            self.assertEqual(self.database.read_bytes(), content)

    def test_somebody_elses_database(self):
        self.database.unlink()
        with sqlite3.connect(self.database) as database:
            database.execute("CREATE TABLE mail(text)")
        database.close()
        self.before = self.database.read_bytes()
        for arguments in (["--record", PATIENCE, GOOD], ["--history", "office"]):
            self.assert_told(66, "is no history of tarn-status", *arguments)
        self.assertEqual(self.database.read_bytes(), self.before)

    def test_a_later_versions_database(self):
        with sqlite3.connect(self.database) as database:
            database.execute("PRAGMA user_version = 2")
        database.close()
        self.assert_told(66, "another version", "--record", PATIENCE, GOOD)

    def test_what_is_no_file(self):
        for make in (self.database.mkdir, lambda: os.mkfifo(self.database), lambda: self.database.symlink_to("/dev/zero")):
            self.database.unlink() if not self.database.is_dir() else self.database.rmdir()
            make()
            for arguments in (["--record", PATIENCE, GOOD], ["--history", "office"]):
                status, said, told = self.run_tool(*arguments)
                self.assertIn(status, (66, 74), told)
                self.assertEqual((said, told.count("\n")), ("", 1))

    def test_a_database_that_somebody_writes_to(self):
        other = sqlite3.connect(self.database, isolation_level=None)
        self.addCleanup(other.close)
        other.execute("BEGIN EXCLUSIVE")
        self.assert_told(66, "in use by another program", "--record", PATIENCE, GOOD)
        self.assert_told(66, "in use by another program", "--history", "office")
        other.execute("ROLLBACK")
        self.record()

    def test_a_full_disk(self):
        with sqlite3.connect(self.database) as database:  # a look needs more than what is free
            database.execute("DELETE FROM entry")
            database.execute("DELETE FROM printer")
        database.close()
        before = self.database.read_bytes()
        self.assert_told(74, "", "--record", PATIENCE, GOOD, preexec_fn=small_files_only)
        with sqlite3.connect(self.database) as database:
            self.assertEqual(database.execute("PRAGMA integrity_check").fetchall(), [("ok",)])
            self.assertEqual(database.execute("SELECT count(*) FROM entry").fetchall(), [(0,)])
        database.close()
        self.assertEqual(self.database.read_bytes(), before)
        self.record()

    def test_a_directory_that_cannot_be_made(self):
        shutil.rmtree(self.state)
        self.state.write_text("")
        status, said, told = self.run_tool("--record", PATIENCE, GOOD)
        self.assertEqual((status, said), (74, ""))
        self.assertIn(str(self.state), told)

    def test_a_clock_that_jumped_back(self):
        with sqlite3.connect(self.database) as database:
            database.execute("UPDATE printer SET seen = seen + 1000000")
        database.close()
        self.assert_told(74, r"\(20\d\d-.*Z\): nothing was recorded", "--record", PATIENCE, GOOD)
        script = re.search(r'"(DELETE FROM entry WHERE.*?)"', MANUAL, re.S).group(1).replace("unixepoch()", "strftime('%s')")
        with sqlite3.connect(self.database) as database:
            database.executescript(script.replace("strftime('%s')", "CAST(strftime('%s') AS INTEGER)"))
        database.close()
        self.record()

    def test_a_history_that_is_not_there(self):
        self.database.unlink()
        for arguments in (["--history", "office"], ["--forecast"]):
            self.assert_told(66, "No such file", *arguments)
        self.assertFalse(self.database.exists())

    def test_a_printer_that_was_never_recorded(self):
        self.assert_told(66, "knows no printer nobody", "--history", "nobody")


class LookingBack(Case):
    def setUp(self):
        super().setUp()
        self.record()
        self.invent(40)

    def test_finds_a_printer_by_name_address_and_serial_number(self):
        texts = {self.run_tool("--history", name)[1] for name in ("office", GOOD, "ORC4000001")}
        self.assertEqual(len(texts), 1)
        self.assertRegex(texts.pop(), r"^office  127.*\ndate +pages +counter +black +cyan")

    def test_csv_is_read_as_it_was_meant(self):
        status, said, complaint = self.run_tool("--history", "office", "--format", "csv")
        rows = list(csv.DictReader(io.StringIO(said)))
        self.assertEqual((status, complaint, len(rows)), (0, "", 41))
        self.assertEqual((rows[-1]["black"], rows[-1]["pages"], rows[-1]["waste"]), ("40", "1400", "20"))
        self.assertEqual(len(list(csv.DictReader(io.StringIO(
            self.run_tool("--history", "office", "--since", "10d", "--format", "csv")[1])))), 11)

    def test_forecasts_what_can_be_forecast(self):
        _, said, _ = self.run_tool("--forecast", "--format", "csv")
        rows = {(row["printer"], row["supply"]): row for row in csv.DictReader(io.StringIO(said))}
        self.assertEqual(rows["office", "black"]["days"], "40.0")
        self.assertLess(float(rows["office", "black"]["soonest"]), 40)
        self.assertEqual(rows["office", "cyan"]["days"], "", "nothing was used of it")
        self.assertNotIn(("office", "waste"), rows)
        self.assertIn(('hall "2", left', "magenta"), rows)
        self.assertRegex(self.run_tool("--forecast", "--history", "office")[1], r"black +40 %  empty in 40 days \(3\d to 4\d\)")

    def test_a_plot_is_an_image(self):
        self.assertEqual(self.run_tool("--history", "office", "--plot", "plot.svg"), (0, "", ""))
        root = xml.parse(self.directory / "plot.svg").getroot()
        self.assertEqual(root.tag, "{http://www.w3.org/2000/svg}svg")
        self.assertGreater(len(root.findall(".//{http://www.w3.org/2000/svg}path")), 10)
        self.assertEqual(self.run_tool("--history", "office", "--plot", "plot.png", LANG="zh_CN.UTF-8"), (0, "", ""))
        self.assertTrue((self.directory / "plot.png").read_bytes().startswith(b"\x89PNG\r\n\x1a\n"))

    def test_a_plot_that_cannot_be_written_leaves_the_old_one(self):
        (self.directory / "old.svg").write_text("old")
        status, _, told = self.run_tool("--history", "office", "--plot", "old.svg", preexec_fn=small_files_only)
        self.assertEqual((status, told), (74, "tarn-status: old.svg: File too large\n"))
        self.assertEqual((self.directory / "old.svg").read_text(), "old")
        self.assertEqual(sorted(path.name for path in self.directory.glob("old*")), ["old.svg"])

    def test_reads_what_may_not_be_written(self):
        self.database.chmod(0o400)
        self.assertEqual(self.run_tool("--history", "office")[0], 0)

    def test_reads_behind_a_writer_that_was_killed(self):
        writer = subprocess.Popen(["/usr/bin/python3", "-c", f"""
import sqlite3, time
database = sqlite3.connect({str(self.database)!r}, isolation_level=None)
database.execute("PRAGMA cache_size = 1")
database.execute("BEGIN")
database.execute("UPDATE entry SET pages = 7")
database.execute("UPDATE printer SET name = hex(zeroblob(9000))")
print("ready", flush=True)
time.sleep(600)"""], stdout=subprocess.PIPE, text=True)
        self.addCleanup(writer.stdout.close)
        self.assertEqual(writer.stdout.readline(), "ready\n")
        journal = self.database.with_name("history.db-journal")
        wait_for(journal.exists, 30, "a journal")
        writer.kill()
        writer.wait(30)
        self.assertIn("1400", self.run_tool("--history", "office")[1])


class Manual(Case):
    def test_its_examples_run(self):
        section = MANUAL[MANUAL.index(".SH HISTORY"):MANUAL.index(".SH JSON")].replace("\\-", "-")
        commands = re.findall(r"^\$ tarn-status (.*?)$", section, re.M)
        self.assertEqual(len(commands), 6)
        for command in commands:
            status, said, complaint = self.run_tool(*command.split(), *([PATIENCE] if "--record" in command else []))
            self.assertEqual((status, complaint), (0, ""), command)
            self.assertEqual("office" in said or "pages" in said, "--record" not in command and "--plot" not in command)


class Units(unittest.TestCase):
    def test_are_what_the_service_manager_understands(self):
        # Quoted as the service manager reads it: a path may have blanks. "%" and "$" would stand for something else.
        path = re.sub(r'(["\\])', r"\\\1", PROGRAM).replace("%", "%%").replace("$", "$$")
        started = f'ExecStart="{path}"'
        with tempfile.TemporaryDirectory(prefix="kel-units-") as directory:
            for path in (ROOT / "packaging/systemd").iterdir():
                (pathlib.Path(directory) / path.name).write_text(path.read_text().replace("ExecStart=tarn-status", started))
            done = subprocess.run(["systemd-analyze", "--user", "--man=no", "--recursive-errors=no", "verify",
                                   f"{directory}/tarn-record.timer", f"{directory}/tarn-record.service"],
                                  env={"XDG_RUNTIME_DIR": directory, "HOME": directory, "PATH": os.environ["PATH"]},
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=60)
        self.assertNotRegex(done.stdout, "tarn-record")
        self.assertEqual(done.returncode, 0, done.stdout)

    def test_the_service_calls_the_program_as_it_wants_to_be_called(self):
        text = (ROOT / "packaging/systemd/tarn-record.service").read_text()
        command = re.search(r"^ExecStart=tarn-status (.*)$", text, re.M).group(1).replace("%h", "/nonexistent")
        done = subprocess.run([PROGRAM, *command.split()], env={"XDG_STATE_HOME": "/dev/null", "PATH": os.environ["PATH"]},
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=60)
        self.assertEqual(done.returncode, 74, done.stderr)


if __name__ == "__main__":
    main("tarn_status_history_test")
