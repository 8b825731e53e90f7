#!/usr/bin/python3
"""tarn-status --find in a network of its own: printers that announce themselves, and those that only answer."""

import contextlib
import json
import os
import pathlib
import signal
import subprocess
import tempfile
import unittest

import harness  # noqa: F401  (where its helpers are found)
import lan

WHY_NOT = lan.enter()

from harness import BUILD, DATA, Simulator, main, wait_for  # noqa: E402

PORT = 16383
PROGRAM = str(BUILD / "bin" / "tarn-status")
ANSWERS, ANNOUNCES, BOTH, BESIDE = "10.77.0.20", "10.77.0.21", "10.77.0.22", "10.77.0.23"
PROGRAM_LOCK = pathlib.Path("/tmp/kel.lock")
PATIENCE = "--timeout=20"  # passes where a printer stays silent; what answers ends it sooner


def inside(address):
    """Where the printer is that answers at an address of the network."""
    return address.replace("10.77.", "127.77.")


@unittest.skipIf(WHY_NOT, WHY_NOT)
class Case(unittest.TestCase):
    def setUp(self):
        self.stack = contextlib.ExitStack()
        self.addCleanup(self.stack.close)
        self.directory = pathlib.Path(self.stack.enter_context(tempfile.TemporaryDirectory(prefix="kel-find-")))
        (self.directory / "tarn.json").write_text(json.dumps({"default": {"port": PORT, "ipp": "off"}}))
        self.environment = {name: os.environ[name] for name in os.environ if name.endswith("SAN_OPTIONS") or name == "PATH"}
        self.environment.update(HOME=str(self.directory), TARN_CONFIG=str(self.directory / "tarn.json"), LANG="C.UTF-8",
                                DBUS_SYSTEM_BUS_ADDRESS=lan.bus_address(self.directory))

    def start_bus(self):
        self.bus = self.stack.enter_context(lan.system_bus(self.directory))

    def start_avahi(self):
        self.start_bus()
        self.daemon = self.stack.enter_context(lan.avahi(self.directory, self.bus))

    def start_printers(self, *addresses):
        simulator = Simulator(PORT, "--web-port=0", *(f"{DATA}/colour.json@{inside(each)}" for each in addresses))
        self.stack.callback(simulator.stop)
        for each in addresses:
            self.stack.callback(lan.Relay(each, inside(each), PORT).stop)

    def run_tool(self, *arguments):
        """(exit status, standard output, standard error)"""
        done = subprocess.run([PROGRAM, *arguments], env=self.environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=self.directory, timeout=120)
        return done.returncode, done.stdout.decode(), done.stderr.decode()

    def find(self, *arguments):
        """({address: printer}, standard error), of the JSON."""
        _, said, complaint = self.run_tool("--json", PATIENCE, *arguments)
        printers = json.loads(said)["printers"]
        self.assertEqual(len({printer["ip"] for printer in printers}), len(printers), printers)
        return {printer["ip"]: printer for printer in printers}, complaint

    def saved(self, name="printers.json"):
        return json.loads((self.directory / name).read_text())

    def names(self, name="printers.json"):
        return {entry["ip"]: entry["printerName"] for entry in self.saved(name)}


class WithoutADaemon(Case):
    def test_no_bus_is_one_line_and_the_rest_goes_on(self):
        self.start_printers(ANSWERS)
        found, complaint = self.find("--find", f"{ANSWERS}/32")
        self.assertEqual(set(found), {ANSWERS})
        self.assertRegex(complaint, r"^tarn-status: not listening to DNS-SD: .*\n$")

    def test_no_daemon_is_one_line_and_the_rest_goes_on(self):
        self.start_bus()
        self.start_printers(ANSWERS)
        found, complaint = self.find("--find", f"{ANSWERS}/32")
        self.assertEqual(set(found), {ANSWERS})
        self.assertRegex(complaint, r"^tarn-status: not listening to DNS-SD: Avahi: .*\n$")

    def test_no_library_is_one_line_and_the_rest_goes_on(self):
        path = pathlib.Path("/tmp/libraries/libavahi-client.so.3")
        path.parent.mkdir(exist_ok=True)
        path.write_text("none")
        self.environment["LD_LIBRARY_PATH"] = str(path.parent)
        self.start_printers(ANSWERS)
        found, complaint = self.find("--find", f"{ANSWERS}/32")
        self.assertEqual(set(found), {ANSWERS})
        self.assertRegex(complaint, r"^tarn-status: not listening to DNS-SD: .*libavahi-client.*\n$")

    def test_nobody_is_said_to_be_found(self):
        status, _, complaint = self.run_tool("--timeout", "0.3", "--find")
        self.assertEqual(status, 2)
        self.assertIn("tarn-status: no printer found\n", complaint)


class Announced(Case):
    def setUp(self):
        super().setUp()
        self.start_avahi()
        self.announcer = lan.Announcer()
        self.stack.callback(self.announcer.stop)

    def test_says_what_each_is_whether_it_answers_or_not(self):
        self.start_printers(ANSWERS, BOTH)
        self.announcer.add(b"Silent one", ANNOUNCES, texts=[b"txtvers=1", b"ty=Vega 300", b"note=2nd floor"])
        self.announcer.add("Büro".encode(), BOTH, texts=[b"TY=not what it says itself"])
        found, complaint = self.find("--find", "10.77.0.16/28")
        self.assertEqual(complaint, "")
        self.assertEqual(set(found), {ANSWERS, ANNOUNCES, BOTH})
        self.assertEqual([found[ANNOUNCES][key] for key in ("name", "model", "location", "online")],
                         ["Silent one", "Vega 300", "2nd floor", False])
        self.assertEqual((found[BOTH]["name"], found[BOTH]["online"]), ("Büro", True))
        self.assertNotEqual(found[BOTH]["model"], "not what it says itself")
        self.assertEqual((found[ANSWERS]["name"], found[ANSWERS]["online"]), (ANSWERS, True))

    def test_network_need_not_be_named(self):
        self.announcer.add(b"Silent one", ANNOUNCES, "_pdl-datastream._tcp", 9100, [b"product=(Vega 300)"])
        found, _ = self.find("--find")
        self.assertEqual((set(found), found[ANNOUNCES]["model"]), ({ANNOUNCES}, "Vega 300"))

    def test_one_printer_with_several_services_and_addresses_is_one(self):
        self.start_printers(ANSWERS, BOTH)
        for service, port in (("_ipp._tcp", 631), ("_ipps._tcp", 631), ("_pdl-datastream._tcp", 9100)):
            self.announcer.add(b"Office", ANSWERS, service, port, [b"ty=Vega 300", b"UUID=9e3a"])
        self.announcer.add(b"Office over the air", BOTH, texts=[b"UUID=9e3a"])
        self.announcer.add(b"Office", ANSWERS, "_printer._tcp", 0)
        found, _ = self.find("--find")
        self.assertEqual(len(found), 1, found)

    def test_queues_of_print_servers_and_names_without_a_service_are_none(self):
        self.start_printers(BOTH)
        self.announcer.add(b"queue @ server", ANNOUNCES, texts=[b"rp=printers/queue", b"ty=Vega 300"])
        self.announcer.add(b"reserved", BESIDE, "_printer._tcp", 0)
        self.announcer.add(b"good", BOTH, texts=[b"rp=ipp/print"])
        found, _ = self.find("--find")
        self.assertEqual(set(found), {BOTH})

    def test_anything_in_a_name_is_one_line_of_clean_text(self):
        self.announcer.add(b"\x1b[2J\x07a\nb \xe2\x80\xaec" + b"\xc3\xa9" * 20, ANNOUNCES,
                           texts=[b"=", b"ty", b"ty=" + b"\xff\x00\r\x9b" * 63, b"\xff" * 255, b""])
        self.announcer.add(b"", BESIDE)
        found, _ = self.find("--find", "--save", "printers.json")
        self.assertIn(ANNOUNCES, found)
        _, table, _ = self.run_tool(PATIENCE, "--find")
        for text in (table.replace("\n", ""), *(found[ANNOUNCES][key] for key in ("name", "model")),
                     self.names()[ANNOUNCES]):
            for bad in ("\x1b", "\x07", "\n", "\r", "\x00", "\x9b", "\u202e"):
                self.assertNotIn(bad, text)
        self.assertTrue(self.names()[ANNOUNCES].startswith("[2J a b c"), self.names())

    def test_daemon_that_ends_meanwhile_is_one_line(self):
        os.kill(self.daemon.pid, signal.SIGSTOP)  # has the client wait for its answers
        try:
            tool = subprocess.Popen([PROGRAM, "--json", "--timeout=60", "--find"], env=self.environment,
                                    stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, cwd=self.directory)
            wait_for(lambda: "libavahi-client" in pathlib.Path(f"/proc/{tool.pid}/maps").read_text(), 60, "its library")
        finally:
            os.kill(self.daemon.pid, signal.SIGKILL)
        said, complaint = tool.communicate(timeout=120)
        self.assertEqual(json.loads(said)["printers"], [])
        self.assertRegex(complaint, r"tarn-status: not listening to DNS-SD: Avahi: .*\n")

    def test_second_interrupt_ends_it_while_the_daemon_hangs(self):
        os.kill(self.daemon.pid, signal.SIGSTOP)
        self.stack.callback(os.kill, self.daemon.pid, signal.SIGCONT)
        tool = subprocess.Popen([PROGRAM, "--timeout", "1", "--find", "10.77.0.99/32"], env=self.environment,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, cwd=self.directory)
        wait_for(lambda: "libavahi-client" in pathlib.Path(f"/proc/{tool.pid}/maps").read_text(), 60, "its library")

        def has_ended():
            tool.send_signal(signal.SIGINT)
            return tool.poll() is not None
        wait_for(has_ended, 60, "the end of the program")
        self.assertEqual(tool.returncode, -signal.SIGINT)


class Saved(Case):
    def setUp(self):
        super().setUp()
        self.start_avahi()
        self.announcer = lan.Announcer()
        self.stack.callback(self.announcer.stop)
        self.start_printers(BOTH)
        self.announcer.add(b"Office", BOTH, texts=[b"ty=Vega 300"])
        with contextlib.suppress(FileNotFoundError):
            PROGRAM_LOCK.unlink()

    def save(self, *arguments):
        status, _, complaint = self.run_tool(PATIENCE, "--find", *arguments, "--save", "printers.json")
        return status, complaint

    def test_new_file_is_as_the_program_writes_it(self):
        self.start_printers(ANSWERS)
        _, complaint = self.save(f"{ANSWERS}/32")
        self.assertEqual(complaint, "tarn-status: printers.json: 2 added, 0 there already\n")
        text = (self.directory / "printers.json").read_text()
        self.assertTrue(text.startswith('[{"ip":"10.77.0.22","manufacturer":"MORVIK","model":"\\u81ea'), text)
        self.assertTrue(text.endswith('"}]\n') and text.count("\n") == 1, text)
        self.assertEqual(self.names()[BOTH], "Office")
        self.assertNotEqual(self.names()[ANSWERS], ANSWERS)  # its model

    def test_nothing_is_there_twice(self):
        self.save()
        path = self.directory / "printers.json"
        before = path.stat()
        _, complaint = self.save()
        self.assertEqual(complaint, "tarn-status: printers.json: 0 added, 1 there already\n")
        self.assertEqual((path.stat().st_ino, path.stat().st_mtime_ns), (before.st_ino, before.st_mtime_ns))

    def test_what_was_there_stays_and_names_are_told_apart(self):
        old = [{"printerName": "Office", "ip": "10.0.0.1", "manufacturer": "m", "model": "x", "more": 1}, 7]
        path = self.directory / "printers.json"
        path.write_text(json.dumps(old))
        path.chmod(0o777)
        self.save()
        self.assertEqual(self.saved()[:2], old)
        self.assertEqual(self.saved()[2]["printerName"], "Office (2)")
        self.assertEqual(path.stat().st_mode & 0o7777, 0o777)
        self.assertEqual(self.saved("printers.json.previous"), old)

    def test_program_that_runs_keeps_its_list(self):
        path = self.directory / "printers.json"
        path.write_text("[]")
        PROGRAM_LOCK.write_text("kel lock file")
        holder = subprocess.Popen(["/usr/bin/python3", "-c", "import fcntl, sys; f = open(sys.argv[1], 'r+'); "
                                   "fcntl.lockf(f, fcntl.LOCK_EX); print(flush=True); sys.stdin.read()", PROGRAM_LOCK],
                                  stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(holder.communicate)
        holder.stdout.readline()
        status, complaint = self.save()
        self.assertEqual((status, path.read_text()), (66, "[]"))
        self.assertIn("kel is running", complaint)
        path.unlink()
        self.save()
        self.assertEqual(list(self.names()), [BOTH])  # a new file is nobody's

    def test_what_is_no_list_is_left_as_it_is(self):
        path = self.directory / "printers.json"
        for text in ("{}", "[", "x"):
            path.write_text(text)
            status, _ = self.save()
            self.assertEqual((status, path.read_text()), (66, text))
        path.write_text("null\n")
        self.save()
        self.assertEqual(list(self.names()), [BOTH])

    def test_file_that_cannot_be_written_is_told_and_stays_whole(self):
        path = self.directory / "printers.json"
        path.write_text("[]")
        small = self.directory / "small"
        small.mkdir()
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=4k,mode=700", "tmpfs", small], check=True)
        self.stack.callback(subprocess.run, ["umount", "--lazy", small], check=True)
        (small / "list").write_text("[]")
        status, _, complaint = self.run_tool(PATIENCE, "--find", "--save", "small/list")
        self.assertEqual((status, (small / "list").read_text(), sorted(os.listdir(small))), (74, "[]", ["list", "list.lock"]))
        self.assertIn("small/list", complaint)
        self.assertEqual(self.run_tool(PATIENCE, "--find", "--save", "nowhere/list")[0], 74)


if __name__ == "__main__":
    main("find_test")
