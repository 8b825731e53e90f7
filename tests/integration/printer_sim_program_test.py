#!/usr/bin/python3
"""printer-sim as a program: sockets, pages, commands, signals, exit codes."""

import pathlib
import signal
import socket
import subprocess
import tempfile
import unittest
import urllib.request

from harness import BUILD, DATA, Simulator, address, main, snmp, snmp_set

PORT = 16341
PROGRAM = str(BUILD / "bin" / "printer-sim")
SERIAL = "1.3.6.1.2.1.43.5.1.1.17.1"
LEVEL = "1.3.6.1.2.1.43.11.1.1.9.1.3"


def run(*arguments):
    done = subprocess.run([PROGRAM, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, text=True, timeout=30)
    return done.returncode, done.stdout, done.stderr


class PrinterSim(unittest.TestCase):
    def simulator(self, *arguments):
        simulator = Simulator(PORT, *arguments)
        self.addCleanup(simulator.stop)
        return simulator

    def colour(self, tail):
        return f"{DATA}/colour.json@{address(tail)}"

    def test_says_when_it_listens(self):
        simulator = self.simulator("--web-port=0", self.colour("6.1") + "*3")
        self.assertEqual(simulator.ready, f"ready: 3 printers at {address('6.1')} to {address('6.3')}, port {PORT}\n")

    def test_walks_in_both_versions_agree(self):
        self.simulator("--web-port=0", f"{DATA}/toner-low.json@{address('6.1')}")
        table = "1.3.6.1.2.1.43.11"  # more follows it
        walked = snmp("snmpwalk", address("6.1"), PORT, table, version="1")
        self.assertEqual(len(walked), 4 * 8)
        self.assertEqual(snmp("snmpwalk", address("6.1"), PORT, table), walked)
        self.assertEqual(snmp("snmpbulkwalk", address("6.1"), PORT, table), walked)

    def test_short_answers_lose_no_rows(self):
        self.simulator("--web-port=0", "--max-size=200", f"{DATA}/toner-low.json@{address('6.1')}")
        table = "1.3.6.1.2.1.43.11"
        self.assertEqual(snmp("snmpbulkwalk", address("6.1"), PORT, table), snmp("snmpwalk", address("6.1"), PORT, table))

    def test_one_socket_answers_from_the_address_that_was_asked(self):
        self.simulator("--web-port=0", self.colour("7.1") + "*1000")
        for tail, number in (("7.1", 1), ("7.255", 255), ("10.232", 1000)):
            # The tool takes an answer from that very address only.
            self.assertEqual(snmp("snmpget", address(tail), PORT, SERIAL), [f'.{SERIAL} "ORC40{number:05}"'])
        with self.assertRaises(RuntimeError):
            snmp("snmpget", address("10.233"), PORT, SERIAL)

    def test_a_set_is_seen_by_that_printer_alone(self):
        self.simulator("--web-port=0", self.colour("6.1") + "*2")
        snmp_set(address("6.1"), PORT, LEVEL, "i", 7)
        self.assertEqual(snmp("snmpget", address("6.1"), PORT, LEVEL), [f".{LEVEL} 7"])
        self.assertEqual(snmp("snmpget", address("6.2"), PORT, LEVEL), [f".{LEVEL} 47"])

    def test_commands_change_printers_and_say_what_is_wrong(self):
        simulator = self.simulator("--web-port=0", self.colour("6.1"))
        simulator.set(address("6.1"), LEVEL, 2, 9)
        self.assertEqual(snmp("snmpget", address("6.1"), PORT, LEVEL), [f".{LEVEL} 9"])
        self.assertEqual(simulator.ask(f"count {address('6.1')}"), "requests=1 answers=1")
        with self.assertRaisesRegex(RuntimeError, "unknown command jam"):
            simulator.ask(f"jam {address('6.1')}")
        simulator.ask("off all")
        with self.assertRaises(RuntimeError):
            snmp("snmpget", address("6.1"), PORT, LEVEL)
        simulator.ask("on all")
        self.assertEqual(snmp("snmpget", address("6.1"), PORT, LEVEL), [f".{LEVEL} 9"])

    def test_goes_on_when_its_input_ends(self):
        simulator = self.simulator("--web-port=0", self.colour("6.1"))
        simulator.process.stdin.close()
        self.assertEqual(len(snmp("snmpget", address("6.1"), PORT, LEVEL)), 1)
        self.assertIsNone(simulator.process.poll())

    def ask_raw(self, fault):
        """Where the answer to one request comes from, when that fault happens to every answer."""
        simulator = self.simulator("--web-port=0", "--faults", f"{fault}=100", self.colour("6.1"))
        # GET of 1.3.6.1.2.1, v2c, community public.
        request = bytes.fromhex("3026020101" "04067075626c6963" "a019" "020401020304" "020100" "020100"
                                "300b" "3009" "06052b06010201" "0500")
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as client:
            client.bind((address("6.200"), 0))
            client.settimeout(5)
            client.sendto(request, (address("6.1"), PORT))
            answer, sender = client.recvfrom(65536)
        simulator.stop()
        self.assertGreater(len(answer), 10)
        return sender

    def test_a_wrong_source_is_really_wrong(self):
        self.assertEqual(self.ask_raw("duplicate"), (address("6.1"), PORT))
        host, port = self.ask_raw("wrong-port")
        self.assertEqual(host, address("6.1"))
        self.assertNotEqual(port, PORT)
        host, port = self.ask_raw("wrong-address")
        self.assertNotEqual(host, address("6.1"))
        self.assertEqual(port, PORT)

    def page(self, where):
        with urllib.request.urlopen(f"http://{where}:{PORT}/", timeout=10) as answer:
            return answer.headers["Content-Type"], answer.read().decode()

    def test_every_printer_has_its_page(self):
        simulator = self.simulator(f"--web-port={PORT}", self.colour("6.1"), f"{DATA}/mono.json@{address('6.2')}")
        kind, text = self.page(address("6.1"))
        self.assertEqual(kind, "text/html; charset=utf-8")
        self.assertIn("<h1>Orion C4000</h1>", text)
        self.assertIn("<td>Magenta Toner Cartridge</td><td>47 %</td>", text)
        self.assertIn("<h1>Orion M120</h1>", self.page(address("6.2"))[1])
        simulator.ask(f"off {address('6.2')}")
        with self.assertRaises(OSError):
            self.page(address("6.2"))

    def test_pages_of_many_printers_share_one_listener(self):
        self.simulator(f"--web-port={PORT}", self.colour("7.1") + "*300")
        self.assertIn(f"<p>{address('8.44')}</p>\n<p>S/N ORC4000300</p>", self.page(address("8.44"))[1])

    def test_without_the_pages_port_the_agents_still_answer(self):
        with socket.socket() as taken:
            taken.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)  # pages were served here a moment ago
            taken.bind((address("6.1"), PORT))
            taken.listen()
            self.simulator(f"--web-port={PORT}", self.colour("6.1"))
            self.assertEqual(len(snmp("snmpget", address("6.1"), PORT, SERIAL)), 1)

    def test_signals_end_it_cleanly(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            simulator = self.simulator("--web-port=0", self.colour("6.1"))
            simulator.process.send_signal(number)
            self.assertEqual(simulator.process.wait(10), 0)

    def test_a_port_that_is_taken_is_named(self):
        self.simulator("--web-port=0", self.colour("6.1"))
        status, said, complaint = run("--port", str(PORT), "--web-port=0", self.colour("6.1"))
        self.assertEqual((status, said), (1, ""))
        self.assertEqual(complaint, f"printer-sim: {address('6.1')} port {PORT}: Address already in use\n")

    def test_a_broken_file_is_named_with_its_line(self):
        with tempfile.TemporaryDirectory() as directory:
            path = pathlib.Path(directory) / "broken.json"
            path.write_text('{\n  "model": "X",\n  "levle": 5\n}\n')
            self.assertEqual(run(str(path)), (66, "", f'printer-sim: {path}:3: unknown member "levle"\n'))
            path = pathlib.Path(directory) / "broken.snmprec"
            path.write_text("1.3.6.1|2|1\n1.3.6.2|2|x\n")
            self.assertEqual(run(str(path)), (66, "", f'printer-sim: {path}:2: no number: "x"\n'))

    def test_a_wrong_command_line_has_a_status_of_its_own(self):
        status, said, complaint = run("--speed", "9", str(DATA / "mono.json"))
        self.assertEqual((status, said), (64, ""))
        self.assertEqual(complaint, "printer-sim: unknown option: --speed; see printer-sim --help\n")
        self.assertEqual(run()[0], 64)
        self.assertEqual(run("/nonexistent/x.json")[0], 66)

    def test_what_cannot_be_written_is_told(self):
        for arguments in (["--help"], ["--version"], ["--port", str(PORT), "--web-port=0", self.colour("6.1")]):
            with open("/dev/full", "w") as full:
                done = subprocess.run([PROGRAM, *arguments], stdin=subprocess.DEVNULL, stdout=full,
                                      stderr=subprocess.PIPE, text=True, timeout=30)
            self.assertEqual((done.returncode, done.stderr),
                             (74, "printer-sim: standard output: No space left on device\n"))

    def test_help_and_version(self):
        status, said, complaint = run("--help")
        self.assertEqual((status, complaint), (0, ""))
        for option in ("--port", "--web-port", "--faults", "--control", "--one-socket", "--max-size", "--seed"):
            self.assertIn(option, said)
        self.assertRegex(run("--version")[1], r"^printer-sim \d+\.\d+\.\d+\n$")


if __name__ == "__main__":
    main("printer_sim_program_test")
