#!/usr/bin/python3
"""tarn-status --explain: each cause of a grey lamp against whatever has it, and what is said about it."""

import grp
import json
import os
import pathlib
import random
import re
import select
import socket
import subprocess
import sys
import tempfile
import threading
import unittest

import agents
import ipp_printers
from harness import BUILD, DATA, PATIENCE, ROOT, Simulator, main, own_address

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))
from usb_bus import UsbBus  # noqa: E402

PROGRAM = str(BUILD / "bin" / "tarn-status")
PORT = 16411
MANUAL = (ROOT / "docs" / "tarn-status.1").read_text()
CHINESE = re.compile("[\u4e00-\u9fff]")
LONG = "--timeout=60"  # where an answer is the right one: 20 s for each question
SHORT = f"--timeout={1.5 * PATIENCE}"  # where silence is
MIXED = "--timeout=18"  # where both are
OWN_NETWORK = ["unshare", "--user", "--map-root-user", "--net"]


def kept_port():
    """A socket at a port where nobody listens, and that nobody gets while it is open, except who is told its number and
    allows others there, as every server does."""
    while True:
        keeper = socket.socket()
        try:
            keeper.bind(("", random.randint(20000, 32000)))  # none of those given to who names none
        except OSError:
            keeper.close()
            continue
        keeper.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        return keeper


def why_no_namespaces():
    """Why no network can be made; empty when it can."""
    tried = subprocess.run([*OWN_NETWORK, "true"], stderr=subprocess.PIPE, text=True, check=False)
    return "" if tried.returncode == 0 else tried.stderr.strip() or "no namespaces"


NO_NAMESPACES = why_no_namespaces()


class Sleeper:
    """Stands before a printer and lets nothing through until somebody asks in version 1."""

    def __init__(self, where, behind):
        self._front = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._front.bind((where, PORT))
        self._back = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._back.connect((behind, PORT))
        self._stopping = threading.Event()
        self._thread = threading.Thread(target=self._run)
        self._thread.start()

    def _run(self):
        asker, is_awake = None, False
        while not self._stopping.is_set():
            for ready in select.select([self._front, self._back], [], [], 0.05)[0]:
                if ready is self._back:
                    self._front.sendto(self._back.recv(65535), asker)
                    continue
                message, asker = self._front.recvfrom(65535)
                is_awake = is_awake or b"\x02\x01\x00" == message[2:5]
                if is_awake:
                    self._back.send(message)

    def stop(self):
        self._stopping.set()
        self._thread.join()
        self._front.close()
        self._back.close()


class Explanation:
    """What one run said: rows {way: what came}, causes, what to do."""

    def __init__(self, done):
        self.status, self.text, self.complaints = done.returncode, done.stdout, done.stderr
        table, *self.advice = self.text.split("\n\n")
        self.rows = {}
        for line in table.splitlines()[1:]:
            match = re.match(r"(name|route|SNMP \w+|IPP|USB)\s+(.*?)(?:\s{2,}|$)(.*?)\s*(?:\d+\.\d\d s)?$", line)
            self.rows.setdefault(match.group(1), []).append((match.group(2), match.group(3).strip()))

    def came(self, way):
        return self.rows[way][-1][1]

    def causes(self):
        return [" ".join(advice.split("To do: ")[0].split()) for advice in self.advice]

    def deeds(self):
        return [" ".join(advice.split("To do: ")[1].split()) for advice in self.advice]


class Case(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="kel-explain-")
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.environment = {name: os.environ[name] for name in os.environ if name.endswith("SAN_OPTIONS") or name == "PATH"}
        self.environment.update(HOME=directory.name, TARN_CONFIG=str(self.directory / "tarn.json"), LANG="C.UTF-8",
                                SNMPCONFPATH=directory.name, TARN_IPP_USB_DIR=str(self.directory / "none"))
        self.closed_port = self.port()
        self.configure()

    def port(self):
        """One of the test's own."""
        keeper = kept_port()
        self.addCleanup(keeper.close)
        return keeper.getsockname()[1]

    def configure(self, users=None, **default):
        settings = {"port": PORT, "ippPort": self.closed_port, **default}
        path = self.directory / "tarn.json"
        path.write_text(json.dumps({"default": settings, **({"users": users} if users else {})}))
        path.chmod(0o600)

    def explain(self, *arguments, before=(), **environment):
        if not any(argument.startswith("--timeout") for argument in arguments):
            arguments = (LONG, *arguments)
        done = subprocess.run([*before, PROGRAM, *arguments], env={**self.environment, **environment}, timeout=120, text=True,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=self.directory)
        explanation = Explanation(done)
        self.assertEqual(done.stderr, "")
        lines = done.stdout.splitlines()
        self.assertLessEqual(len(lines), 24, "more than a screen")
        self.assertLessEqual(max(len(line) for line in lines), 80, done.stdout)
        return explanation

    def simulator(self, tail, *options):
        simulator = Simulator(PORT, "--web-port=0", *options, f"{DATA}/colour.json@{own_address(tail)}")
        self.addCleanup(simulator.stop)
        return own_address(tail)

    def snmpd(self, kind, tail, **options):
        agent = kind(self.directory / f"snmpd-{tail}", own_address(tail), PORT, **options)
        self.addCleanup(agent.stop)
        agent.start()
        return own_address(tail)

    def deaf_host(self, tail):
        """Takes what is sent to it over SNMP, and says nothing."""
        deaf = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        deaf.bind((own_address(tail), PORT))
        self.addCleanup(deaf.close)
        return own_address(tail)


class Snmp(Case):
    def test_a_printer_that_answers(self):
        said = self.explain("--explain", self.simulator(1))
        self.assertEqual((said.status, said.came("SNMP 2c"), list(said.rows)),
                         (0, "Orion C4000", ["route", "SNMP 2c", "IPP", "USB"]))
        self.assertEqual(said.causes(), ["Cause: nothing is wrong, the printer is read over SNMP."])
        self.assertRegex(said.text, r"SNMP 2c +sysDescr, \d+/udp, public +Orion C4000 +\d+\.\d\d s\n")

    def test_snmpd_that_is_a_printer(self):
        said = self.explain("--explain", self.snmpd(agents.Snmpd, 2))
        self.assertEqual((said.status, said.came("SNMP 2c")), (0, "Lyra C310"))

    def test_nothing_at_all_is_a_closed_port(self):
        said = self.explain("--explain", own_address(3))
        self.assertEqual((said.status, said.came("SNMP 2c"), said.came("IPP")), (2, "port closed", "port closed"))
        self.assertNotIn("SNMP 1", said.rows)
        self.assertEqual(said.causes(), [f"Cause: the host is there; port {PORT} for SNMP is closed."])
        self.assertIn("switch SNMP on", said.deeds()[0])

    @unittest.skipIf(NO_NAMESPACES, NO_NAMESPACES)
    def test_no_route(self):
        said = self.explain("--explain", "10.9.9.9", before=OWN_NETWORK)
        self.assertEqual((said.status, said.came("route"), list(said.rows)), (2, "no route", ["route", "USB"]))
        self.assertIn("no route", said.causes()[0])
        self.assertIn("ip route get 10.9.9.9", said.deeds()[0])

    @unittest.skipIf(NO_NAMESPACES, NO_NAMESPACES)
    def test_nobody_has_the_address(self):
        alone = ("ip link add lan type veth peer name other && ip address add 10.9.9.1/24 dev lan && ip link set lan up && "
                 'ip link set other up && ip link set lo up && exec "$@"')
        said = self.explain("--explain", "10.9.9.2",
                            before=[*OWN_NETWORK, "sh", "-c", alone, "sh"])
        self.assertEqual((said.status, said.came("route"), said.came("SNMP 2c")), (2, "from 10.9.9.1", "no such host"))
        self.assertNotIn("SNMP 1", said.rows)
        self.assertIn("nobody in its network has this address", said.causes()[0])

    def test_addresses_that_no_printer_has(self):
        for where in ("255.255.255.255", "0.0.0.0", "224.0.0.251", "127.255.255.255"):
            said = self.explain("--explain", where)
            self.assertEqual((said.status, said.came("route"), list(said.rows)), (2, "not one host's address", ["route", "USB"]))
            self.assertIn("not that of one host", said.causes()[0])

    def test_silence_of_a_host_has_two_causes(self):
        said = self.explain(SHORT, "--explain", self.deaf_host(4))
        self.assertEqual(said.status, 2)
        self.assertEqual([said.came(way) for way in ("SNMP 2c", "SNMP 1", "SNMP 3")], ["silent"] * 3)
        self.assertRegex(said.causes()[0], "silent, of which there are two causes: it is switched off .*, or the community is")

    def test_a_wrong_community_is_silence_to_printer_sim(self):
        where = self.simulator(5, "--community=secret")
        said = self.explain(SHORT, "--explain", where)
        self.assertEqual(said.status, 2)
        self.assertIn("two causes", said.causes()[0])
        said = self.explain("--explain", where, "--community", "secret")
        self.assertEqual((said.status, said.came("SNMP 2c")), (0, "Orion C4000"))
        self.assertIn(f'"addresses": {{ "{where}": {{ "community": "..." }} }}', said.deeds()[0])
        self.assertNotIn("secret", said.text)

    def test_a_wrong_community_is_told_where_version_3_answers(self):
        said = self.explain(MIXED, "--explain", self.snmpd(agents.Snmpd, 6), "--community", "wrong")
        self.assertEqual((said.status, said.came("SNMP 2c"), said.came("SNMP 1"), said.came("SNMP 3")),
                         (2, "silent", "silent", "answers"))
        self.assertRegex(said.causes()[0], "^Cause: SNMP is there, .*: the community is wrong")
        self.assertNotIn("two causes", said.text)

    def test_version_1_only(self):
        where = self.simulator(7, "--v1-only")
        said = self.explain(MIXED, "--explain", where, "--snmp", "2c")
        self.assertEqual((said.status, said.came("SNMP 2c"), said.came("SNMP 1")), (2, "silent", "Orion C4000"))
        self.assertEqual(len(said.rows["SNMP 2c"]), 2, "asked again: it could have slept")
        self.assertEqual(said.causes(), ["Cause: it speaks SNMP version 1 only, and is asked in version 2c."])
        self.assertIn('"version": "auto"', said.deeds()[0])
        said = self.explain(MIXED, "--explain", where)
        self.assertEqual(said.status, 0)
        self.assertIn("version 1 only", said.causes()[0])
        self.assertEqual(list(self.explain("--explain", where, "--snmp=1").rows), ["route", "SNMP 1", "IPP", "USB"])

    def test_version_2c_only(self):
        self.configure(version="1")
        said = self.explain(MIXED, "--explain", self.snmpd(agents.Snmpd, 8, versions=("2c",)))
        self.assertEqual((said.status, said.came("SNMP 1"), said.came("SNMP 2c")), (2, "silent", "Lyra C310"))
        self.assertIn("version 2c only", said.causes()[0])

    def test_no_printer(self):
        where = own_address(9)
        (self.directory / "switch.snmprec").write_text("1.3.6.1.2.1.1.1.0|4|Lyra switch\n1.3.6.1.2.1.2.1.0|2|24\n")
        simulator = Simulator(PORT, "--web-port=0", f"{self.directory}/switch.snmprec@{where}")
        self.addCleanup(simulator.stop)
        said = self.explain("--explain", where)
        self.assertEqual(said.status, 2)
        self.assertEqual(said.came("SNMP 2c"), "no printer: Lyra switch")
        self.assertIn("nothing that a printer has", said.causes()[0])

    def test_something_else_at_the_port(self):
        where = own_address(10)
        other = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(other.close)
        other.bind((where, PORT))

        def answer():
            while True:
                said, asker = other.recvfrom(65535)
                if said == b"end":
                    return
                other.sendto(b"hello\x1b[31m", asker)

        thread = threading.Thread(target=answer)
        thread.start()
        try:
            said = self.explain(MIXED, "--explain", where)
        finally:
            with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as last:
                last.sendto(b"end", (where, PORT))
            thread.join()
        self.assertEqual((said.status, said.came("SNMP 2c")), (2, "not SNMP"))
        self.assertIn(f"something else than SNMP answers at port {PORT}", said.causes()[0])

    def test_another_port_is_tried(self):
        said = self.explain("--explain", self.simulator(11), f"--port={PORT + 1}")
        self.assertEqual((said.status, said.came("SNMP 2c")), (2, "port closed"))
        self.configure(port=PORT + 1)
        said = self.explain("--explain", own_address(11), f"--port={PORT}")
        self.assertEqual(said.status, 0)
        self.assertIn(f'"port": {PORT}', said.deeds()[0])

    def test_a_printer_that_wakes_is_not_taken_for_one_of_version_1(self):
        sleeper = Sleeper(own_address(14), self.simulator(12))
        self.addCleanup(sleeper.stop)
        said = self.explain(MIXED, "--explain", own_address(14))
        self.assertEqual([came for _, came in said.rows["SNMP 2c"]], ["silent", "Orion C4000"], said.text)
        self.assertEqual((said.status, said.came("SNMP 1")), (0, "Orion C4000"))
        self.assertIn("was asleep", said.causes()[0])

    def test_texts_of_a_device_do_not_steer_the_terminal(self):
        where = own_address(13)
        simulator = Simulator(PORT, "--web-port=0", f"{DATA}/colour.json@{where}")
        self.addCleanup(simulator.stop)
        simulator.set(where, "1.3.6.1.2.1.25.3.2.1.3.1", "4x", "1b5b33316d9b41".upper())
        said = self.explain("--explain", where)
        self.assertEqual(said.status, 0)
        self.assertIn("[31m", said.came("SNMP 2c"))
        self.assertNotRegex(said.text, "[\x00-\x09\x0b-\x1f\x7f-\x9f]")


class Names(Case):
    def test_a_name_is_looked_up(self):
        said = self.explain("--explain", "localhost")
        self.assertEqual((said.came("name"), said.rows["route"][0][0]), ("127.0.0.1", "127.0.0.1"))

    def test_a_name_that_is_not_known(self):
        said = self.explain("--explain", "no-such-host.invalid")
        self.assertEqual((said.status, said.came("name"), list(said.rows)), (2, "not found", ["name", "USB"]))
        self.assertIn("does not know the name", said.causes()[0])


class Users(Case):
    def explain_as(self, where, user, *more):
        self.configure(users=agents.users_for_tarn(), version="3", user=user)
        return self.explain("--explain", where, *more)

    def test_each_kind_of_user(self):
        where = self.snmpd(agents.UsmSnmpd, 20)
        for user in ("sha256aes", "md5"):
            said = self.explain_as(where, user)
            self.assertEqual((said.status, said.came("SNMP 3"), list(said.rows)),
                             (0, "Lyra C310", ["route", "SNMP 3", "IPP", "USB"]))
        said = self.explain_as(where, "md5", "--user=shaaes")
        self.assertEqual(said.status, 0)
        self.assertIn('"version": "3", "user": "shaaes"', said.deeds()[0])
        self.assertNotIn(agents.AUTH_PASSWORD, said.text)

    def test_what_is_wrong_with_a_user(self):
        where = self.snmpd(agents.UsmSnmpd, 21)
        for user, changes, came, cause in (
                ("nobody", {"nobody": {}}, "user unknown", "does not know the user nobody"),
                ("sha", {"sha": {"authPassword": "another password"}}, "wrong password", "wrong authentication password"),
                ("sha", {"sha": {"auth": "MD5"}}, "wrong password", "or protocol, of the user sha"),
                ("shaaes", {"shaaes": {"privPassword": "another password"}}, "user not answered", "wrong privacy password"),
                ("sha", {"sha": {"priv": "AES", "privPassword": "another password"}}, "wrong security level", "level")):
            with self.subTest(user=user, changes=changes):
                users = agents.users_for_tarn(**{name: values for name, values in changes.items() if name != "nobody"})
                users["nobody"] = {"auth": "SHA", "authPassword": agents.AUTH_PASSWORD}
                self.configure(users=users, version="3", user=user)
                said = self.explain(MIXED, "--explain", where)
                self.assertEqual(said.status, 2, said.text)
                self.assertEqual(said.came("SNMP 3"), came)
                self.assertIn(cause, said.causes()[0])

    def test_no_user_that_may_be_used(self):
        where = self.snmpd(agents.UsmSnmpd, 22)
        said = self.explain(MIXED, "--explain", where, "--user", "gone")
        self.assertEqual(said.status, 2)
        self.assertEqual([came for _, came in said.rows["SNMP 3"]], ["not asked: no user", "answers"])
        self.assertIn("no user that can be used", said.causes()[0])

    def test_version_3_only_without_a_user(self):
        said = self.explain(MIXED, "--explain", self.snmpd(agents.UsmSnmpd, 23))
        self.assertEqual((said.status, said.came("SNMP 3")), (2, "answers"))
        self.assertIn("versions 1 and 2c are switched off", said.causes()[0])


class Ipp(Case):
    def eve(self):
        port = self.port()
        printer = ipp_printers.EvePrinter(self.directory / "eve", port, ipp_printers.MARKERS)
        self.addCleanup(printer.stop)
        printer.start()
        return port

    def old_printer(self):
        port = self.port()
        printer = ipp_printers.OldPrinter(self.directory / "old", port).start()
        self.addCleanup(printer.stop)
        return port

    def test_ipp_in_the_place_of_snmp(self):
        self.configure(ippPort=self.eve())
        said = self.explain("--explain", "127.0.0.1")
        self.assertEqual((said.status, said.came("SNMP 2c"), said.came("IPP")), (0, "port closed", "Lyra C310"))
        self.assertRegex(said.causes()[0], "nothing is wrong, .* over IPP")
        self.assertIn("SNMP is closed", said.causes()[1])

    def test_tls(self):
        port = self.old_printer()
        self.configure(ippPort=port)
        said = self.explain("--explain", "127.0.0.1")
        self.assertEqual((said.status, said.came("IPP")), (0, "TLS: Lyra 1998"))
        self.configure(ippPort=port, ipp="ipp")
        said = self.explain("--explain", "127.0.0.1")
        self.assertEqual((said.status, said.came("IPP")), (2, "TLS only"))
        self.assertIn("IPP is answered encrypted only", said.causes()[1])
        self.assertIn('"ipp": "auto"', said.deeds()[1])

    def test_no_ipp(self):
        page = subprocess.Popen([sys.executable, "-m", "http.server", "--bind", "127.0.0.1", "0"], cwd=self.directory,
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, env=dict(os.environ, PYTHONUNBUFFERED="1"))
        self.addCleanup(page.stdout.close)
        self.addCleanup(page.wait)
        self.addCleanup(page.kill)
        self.configure(ippPort=int(re.search(r"port (\d+)", page.stdout.readline()).group(1)))
        said = self.explain("--explain", "127.0.0.1")
        self.assertEqual((said.status, said.came("IPP")), (2, "no IPP"))
        self.assertIn("does not speak IPP", said.causes()[1])

    def test_switched_off(self):
        self.configure(ipp="off")
        said = self.explain("--explain", own_address(30))
        self.assertEqual((said.status, said.came("IPP")), (2, "not asked: switched off"))
        self.assertIn("IPP is switched off", said.causes()[1])


class Usb(Case):
    def setUp(self):
        super().setUp()
        self.bus = UsbBus(BUILD, self.directory)
        self.addCleanup(self.bus.close)

    def explain_usb(self, before=()):
        return self.explain("--explain", own_address(40), before=before, **self.bus.environment(PROGRAM))

    def test_a_printer_says_who_it_is(self):
        self.bus.plug("jet", port=1, id="MFG:Lyra;MDL:Jet 5;SN:L1;", manufacturer="Lyra", product="Jet 5")
        said = self.explain_usb()
        self.assertEqual(said.rows["USB"], [("GET_DEVICE_ID", "Lyra Jet 5")])
        self.assertEqual(self.bus.complaints(), "")

    def test_no_rights(self):
        group = grp.getgrnam("lp") if os.getuid() == 0 else grp.getgrgid(os.getgid())
        self.bus.plug("locked", port=1, manufacturer="Lyra", product="Locked", mode="0060", group=group.gr_gid)
        said = self.explain_usb(["setpriv", "--bounding-set=-all", "--inh-caps=-all"] if os.getuid() == 0 else [])
        self.assertEqual(said.came("USB"), "no right to ask")
        self.assertIn("no right to ask", said.causes()[-1])
        self.assertIn(f"adduser NAME {group.gr_name}", said.deeds()[-1])

    def test_many_stay_on_one_screen(self):
        for port in range(1, 7):
            self.bus.plug(f"p{port}", port=port, id=f"MFG:Lyra;MDL:Jet 5;SN:L{port};", manufacturer="Lyra", product="Jet 5")
        self.assertEqual(len(self.explain_usb().rows["USB"]), 3)


class Words(Case):
    def test_chinese_where_the_locale_is(self):
        done = subprocess.run([PROGRAM, SHORT, "--explain", self.deaf_host(50)], env={**self.environment, "LANG": "zh_CN.UTF-8"},
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True, timeout=120)
        self.assertEqual(done.returncode, 2)
        self.assertIn("没有应答", done.stdout)
        self.assertRegex(done.stdout, r"(?s)原因：.*两种可能.*处理：")
        self.assertNotIn("silent", done.stdout)
        wide = [sum(2 if CHINESE.match(c) or c in "，。：；？（）" else 1 for c in line) for line in done.stdout.splitlines()]
        self.assertLessEqual(max(wide), 80)
        self.assertEqual(CHINESE.findall(self.explain("--explain", own_address(51)).text), [])

    def test_wrong_usage(self):
        where = own_address(52)
        for wrong in (["--explain"], ["--explain", "300.1.1.1"], ["--explain", "fe80::1"], ["--explain", where, where],
                      ["--explain", where, "--usb"], ["--explain", where, "--find"],
                      ["--explain", where, "--save=f"], ["--explain", where, "--json"], ["--explain", where, "--watch"],
                      ["--explain", where, "--port=0"], ["--explain", where, "--port=65536"], ["--explain", where, "--snmp=2"],
                      ["--explain", where, "--user=u", "--snmp=1"], ["--community=x", where], ["--port=1", where],
                      ["--snmp=1", where], ["--user=u", where]):
            done = subprocess.run([PROGRAM, *wrong], env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, text=True, timeout=120)
            self.assertEqual((done.returncode, done.stdout), (64, ""), wrong)
            self.assertRegex(done.stderr, r"^tarn-status: .*; see tarn-status --help\n$")

    def test_a_full_disk_is_told(self):
        with open("/dev/full", "w") as full:
            done = subprocess.run([PROGRAM, "--explain", own_address(53)], env=self.environment, stdin=subprocess.DEVNULL,
                                  stdout=full, stderr=subprocess.PIPE, text=True, timeout=120)
        self.assertEqual((done.returncode, done.stderr), (74, "tarn-status: standard output: No space left on device\n"))

    def test_examples_of_the_manual_run(self):
        section = MANUAL[MANUAL.index(".SH EXPLANATION"):MANUAL.index(".SH FORMATS")].replace("\\-", "-")
        examples = re.findall(r"^\$ (tarn-status .*?)$", section, re.M)
        self.assertGreaterEqual(len(examples), 2)
        where = self.simulator(54, "--community=printers", "--v1-only")
        for example in examples:
            arguments = [where if re.match(r"[\d.]+$", word) and word.count(".") == 3 else word for word in example.split()[1:]]
            said = self.explain(MIXED if "--community" in example else SHORT, *arguments)
            self.assertEqual(said.status, 0 if "--community" in example else 2, said.text)


if __name__ == "__main__":
    main("explain_test")
