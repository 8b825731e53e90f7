#!/usr/bin/python3
"""The library reads printers over IPP and IPPS that are not ours, follows them, and connects to nobody it need not."""

import json
import os
import pathlib
import socket
import subprocess
import tempfile
import time
import unittest

from harness import BUILD, DATA, Simulator, Watch, address, main, seconds_until, wait_for
from ipp_printers import MARKERS, SNMP_PORT, SUPPLIES, EvePrinter, OldPrinter, PapplPrinter, Scheduler

LIVE = 8  # seconds in which a change of an idle printer is seen: asked every 4 s, printed every second
PORTS = {name: 16370 + index for index, name in enumerate(["ipp", "ipps", "auto", "supplies", "pappl", "papples", "find", "old"])}


class IppWatch(Watch):
    """tarn-status of this machine as a printer, which is silent over SNMP."""

    def __init__(self, directory, ipp, port):
        super().__init__(directory, SNMP_PORT, "127.0.0.1")
        self.stop()  # begun with a configuration that knows nothing of IPP
        config = {"default": {"port": SNMP_PORT, "ipp": ipp, "ippPort": port}}
        (directory / "tarn.json").write_text(json.dumps(config))
        environment = dict(os.environ, TARN_CONFIG=str(directory / "tarn.json"), XDG_CACHE_HOME=str(directory / "cache"),
                           XDG_STATE_HOME=str(directory / "state"))
        self.process = subprocess.Popen([str(BUILD / "bin" / "tarn-status"), "--json", "--watch=1", "127.0.0.1"],
                                        env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        os.set_blocking(self.process.stdout.fileno(), False)


class Listener:
    """Counts who connects to a port of an address."""

    def __init__(self, where, port):
        self.socket = socket.socket()
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.socket.bind((where, port))
        self.socket.listen(64)
        self.socket.setblocking(False)

    def connections(self):
        count = 0
        while True:
            try:
                self.socket.accept()[0].close()
                count += 1
            except BlockingIOError:
                return count

    def close(self):
        self.socket.close()


class Ipp(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="kel-ipp-")
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)

    def run_printer(self, printer):
        self.addCleanup(printer.stop)
        return printer.start()

    def watch(self, ipp, port):
        watch = IppWatch(self.directory / "watch", ipp, port)
        self.addCleanup(watch.stop)
        wait_for(lambda: (watch.printer() or {}).get("online"), 60, "the printer is read")
        return watch

    @staticmethod
    def levels(printer):
        return [supply["percent"] for supply in printer["supplies"]]

    @staticmethod
    def alerts(printer):
        return {alert["code"] for alert in printer["alerts"]}

    def check_sources(self, printer, *fields):
        self.assertEqual(printer["source"], "ipp")
        self.assertEqual({field: printer["sources"].get(field) for field in fields}, {field: "ipp" for field in fields})

    def check_lyra(self, printer, levels):
        self.assertEqual((printer["model"], printer["serial"], printer["state"], printer["summary"]),
                         ("Lyra C310", "LY310-00077", 3, "就绪"))
        self.assertEqual(printer["counters"]["totalPages"], 54321)
        self.assertEqual(self.levels(printer), levels)
        self.assertEqual([(tray["name"], tray["percent"]) for tray in printer["trays"]], [("Tray 1", 50)])
        self.assertEqual(printer["alerts"], [])
        self.check_sources(printer, "model", "serial", "state", "alerts", "supplies", "trays", "counters")

    def check_eveprinter(self, ipp):
        eve = self.run_printer(EvePrinter(self.directory / "eve", PORTS[ipp], MARKERS))
        watch = self.watch(ipp, PORTS[ipp])
        self.check_lyra(watch.printer(), [80, 61, 70])
        eve.say("STATE: cover-open,toner-low", "ATTR: marker-levels=11,22,90")
        taken = seconds_until(lambda: self.levels(watch.printer()) == [11, 22, 10], 60, "the levels that were set are seen")
        self.assertLessEqual(taken, LIVE)
        printer = wait_for(lambda: watch.printer() if len(watch.printer()["alerts"]) == 2 else None, LIVE, "two alerts")
        self.assertEqual(self.alerts(printer), {"coverOpen", "markerTonerAlmostEmpty"})
        self.assertTrue(printer["flags"]["lessToner"])
        # This printer ends its reasons in "-report": they need nobody's attention.
        self.assertEqual({alert["severity"] for alert in printer["alerts"]}, {"other"})
        self.assertEqual((printer["state"], printer["summary"]), (3, "就绪"))
        eve.stop()
        taken = seconds_until(lambda: not watch.printer()["online"], 60, "the printer is gone")
        self.assertLessEqual(taken, 15)
        self.assertEqual((watch.printer()["state"], watch.printer()["serial"]), (2, "LY310-00077"))
        eve.start()
        taken = seconds_until(lambda: watch.printer()["online"], 60, "the printer is back")
        self.assertLessEqual(taken, 20)

    def test_ippeveprinter_over_ipp(self):
        self.check_eveprinter("ipp")

    def test_ippeveprinter_over_ipps(self):
        self.check_eveprinter("ipps")

    def test_ippeveprinter_found_by_itself(self):
        self.check_eveprinter("auto")

    def test_ippeveprinter_with_supplies_set_on_its_page(self):
        eve = self.run_printer(EvePrinter(self.directory / "eve", PORTS["supplies"], SUPPLIES))
        watch = self.watch("ipp", PORTS["supplies"])
        self.check_lyra(watch.printer(), [80, 61])
        eve.set_supply(0, 95)
        taken = seconds_until(lambda: self.levels(watch.printer())[0] == 95, 60, "the level that was set is seen")
        self.assertLessEqual(taken, LIVE)

    def check_pappl(self, ipp, port):
        printer = self.run_printer(PapplPrinter(self.directory / "pappl", port))
        watch = self.watch(ipp, port)
        seen = watch.printer()
        self.assertEqual((seen["model"], seen["serial"], seen["state"], seen["summary"]), ("Vela P200", "VP200-0042", 3, "就绪"))
        self.assertEqual([(supply["class"], supply["colour"], supply["percent"]) for supply in seen["supplies"]],
                         [("toner", "black", 64), ("toner", "cyan", 33), ("waste", "none", 90)])
        self.assertEqual(seen["counters"]["totalPages"], 777)
        self.assertEqual(seen["alerts"], [])
        self.check_sources(seen, "model", "serial", "state", "alerts", "supplies", "counters")
        printer.say("levels 5 33 90")
        printer.say("reasons 0x4002")  # toner-low, cover-open
        printer.say("pages 3")
        taken = seconds_until(lambda: self.levels(watch.printer()) == [5, 33, 90], 60, "the level that was set is seen")
        self.assertLessEqual(taken, LIVE)
        seen = wait_for(lambda: watch.printer() if len(watch.printer()["alerts"]) == 2 else None, LIVE, "two alerts")
        self.assertEqual(self.alerts(seen), {"coverOpen", "markerTonerAlmostEmpty"})
        self.assertEqual((seen["state"], seen["summary"]), (3, "需要处理"), "a reason without an ending is an error")
        wait_for(lambda: watch.printer()["counters"]["totalPages"] == 780, LIVE, "the pages are counted")

    def test_pappl_over_ipp(self):
        self.check_pappl("ipp", PORTS["pappl"])

    def test_pappl_over_ipps(self):
        self.check_pappl("ipps", PORTS["papples"])

    def tarn_status(self, *arguments, config, **environment):
        (self.directory / "tarn.json").write_text(json.dumps(config))
        return subprocess.run([str(BUILD / "bin" / "tarn-status"), "--json", *arguments], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True, stdin=subprocess.DEVNULL, timeout=120,
                              env=dict(os.environ, TARN_CONFIG=str(self.directory / "tarn.json"),
                                       XDG_CACHE_HOME=str(self.directory / "cache"), XDG_STATE_HOME=str(self.directory / "state"),
                                       DBUS_SYSTEM_BUS_ADDRESS=f"unix:path={self.directory}/no-bus", **environment))

    @unittest.skipUnless(pathlib.Path(Scheduler.PROGRAM).exists(), "no cupsd here")
    def test_queues_of_cups(self):
        scheduler = self.run_printer(Scheduler(self.directory / "cups"))

        def queues():
            done = self.tarn_status("--cups", "--timeout=12", config={}, CUPS_SERVER=str(scheduler.socket))
            return json.loads(done.stdout)["printers"]

        seen = queues()
        self.assertEqual([(queue["name"], queue["online"], queue["state"], queue["description"], queue["location"])
                          for queue in seen], [("office", True, 3, "Lyra by the window", "hall")])
        self.assertEqual((seen[0]["source"], seen[0]["sources"]["state"]), ("cups", "cups"))
        self.assertEqual(seen[0]["model"], "", "a queue without a driver names no model")
        scheduler.run("/usr/sbin/cupsdisable", "office")
        seen = queues()
        self.assertEqual((seen[0]["state"], seen[0]["summary"], self.alerts(seen[0])), (1, "需要处理", {"paused"}))
        scheduler.stop()
        self.assertEqual(queues(), [])

    def test_finding_connects_to_nobody(self):
        where = address("7.1")
        simulator = Simulator(PORTS["find"], "--web-port=0", f"{DATA}/mono.json@{where}")
        self.addCleanup(simulator.stop)
        listeners = [Listener(address(f"7.{host}"), PORTS["find"]) for host in (1, 2, 3)]
        for listener in listeners:
            self.addCleanup(listener.close)
        config = {"default": {"port": PORTS["find"], "ippPort": PORTS["find"]}}
        found = self.tarn_status("--find", address("7.0") + "/24", config=config)
        self.assertEqual([printer["ip"] for printer in json.loads(found.stdout)["printers"]], [where], found.stderr)
        self.assertEqual([listener.connections() for listener in listeners], [0, 0, 0])
        # The same addresses are connected to when they are named, which shows that the listeners count.
        self.tarn_status(address("7.2"), "--timeout=12", config=config)
        self.assertGreater(listeners[1].connections(), 0)

    def test_printer_that_answers_snmp_is_connected_to_once(self):
        where = address("7.8")
        simulator = Simulator(PORTS["find"], "--web-port=0", f"{DATA}/old-agent.json@{where}")
        self.addCleanup(simulator.stop)
        listener = Listener(where, PORTS["find"])
        self.addCleanup(listener.close)
        directory = self.directory / "watch"
        watch = IppWatch(directory, "ipp", PORTS["find"])
        self.addCleanup(watch.stop)
        watch.stop()
        environment = dict(os.environ, TARN_CONFIG=str(self.directory / "tarn.json"), XDG_CACHE_HOME=str(directory / "cache"),
                           XDG_STATE_HOME=str(directory / "state"))
        (self.directory / "tarn.json").write_text(json.dumps({"default": {"port": PORTS["find"], "ippPort": PORTS["find"]}}))
        watch.process = subprocess.Popen([str(BUILD / "bin" / "tarn-status"), "--json", "--watch=1", where], env=environment,
                                         stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        os.set_blocking(watch.process.stdout.fileno(), False)
        wait_for(lambda: (watch.printer() or {}).get("online"), 60, "the printer is read")
        limit = time.monotonic() + 20
        connections = 0
        while time.monotonic() < limit:
            connections += listener.connections()
            watch.printer()
            time.sleep(0.2)
        # One question, by each path and plain or encrypted, and then none for an hour.
        self.assertLessEqual(connections, 6)
        self.assertEqual(watch.printer()["source"], "sm")

    def broken(self, *libraries):
        """A directory with files in their places that are no libraries, which the linker finds first."""
        nowhere = self.directory / "lib"
        nowhere.mkdir()
        for library in libraries:
            (nowhere / library).write_text("")
        return str(nowhere)

    def check_old_printer(self, **environment):
        printer = self.run_printer(OldPrinter(self.directory / "old", PORTS["old"]))
        config = {"default": {"port": SNMP_PORT, "ipp": "ipps", "ippPort": PORTS["old"]}}
        done = self.tarn_status("127.0.0.1", "--timeout=60", config=config, **environment)
        seen = json.loads(done.stdout)["printers"][0]
        self.assertEqual((seen["online"], seen["model"]), (True, "Lyra 1998"), done.stderr)
        self.assertEqual(printer.spoken, {"TLSv1"})

    def test_old_printer_that_ends_without_a_farewell(self):
        self.check_old_printer()

    def test_old_printer_over_the_other_libcurl(self):
        self.check_old_printer(LD_LIBRARY_PATH=self.broken("libcurl-gnutls.so.4"))

    def test_library_works_without_libcups(self):
        self.check_without("libcups.so.2")

    def test_library_works_without_libcurl(self):
        self.check_without("libcurl-gnutls.so.4", "libcurl.so.4")

    def check_without(self, *libraries):
        where = address("7.9")
        simulator = Simulator(PORTS["find"], "--web-port=0", f"{DATA}/mono.json@{where}")
        self.addCleanup(simulator.stop)
        config = {"default": {"port": PORTS["find"], "ippPort": PORTS["find"]}}
        done = self.tarn_status(where, address("7.10"), "--timeout=12", config=config, LD_LIBRARY_PATH=self.broken(*libraries))
        printers = json.loads(done.stdout)["printers"]
        self.assertEqual([printer["online"] for printer in printers], [True, False])
        self.assertEqual(printers[0]["serial"], "ORM1200001")
        lines = [line for line in done.stderr.splitlines() if "no IPP" in line]
        self.assertEqual(len(lines), 1, done.stderr)


if __name__ == "__main__":
    main("ipp_test")
