#!/usr/bin/python3
"""The access library reads every kind of agent and follows it: seen in tarn-status --json --watch."""

import pathlib
import tempfile
import time
import unittest

from harness import DATA, Simulator, Watch, address, main, seconds_until, snmp, snmp_set, wait_for
import agents

PORT = 16331
LIVE = 8  # seconds in which a change of an idle printer is seen: asked every 5 s, printed every second
# An agent that needs several requests for one look gets no more of them: at most 18 a minute, its first reading included.
LIVE_IN_SMALL_STEPS = 30


class Agents(agents.PrinterChecks, unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="kel-agents-")
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.directory.chmod(0o755)  # snmpsim becomes nobody

    def watch(self, *where, port=PORT):
        watch = Watch(self.directory / "watch", port, *where)
        self.addCleanup(watch.stop)
        return watch

    def run_agent(self, agent):
        self.addCleanup(agent.stop)
        return agent.start()

    def follow(self, watch, change, promised=LIVE):
        change()
        taken = seconds_until(lambda: self.levels(watch.printer())["black"] == 12, 60, "the level that was set is seen")
        self.assertLessEqual(taken, promised)

    def check_snmpd(self, versions, version):
        agent = self.run_agent(agents.Snmpd(self.directory / "snmpd", address("5.1"), PORT, versions))
        watch = self.watch(agent.where)
        self.check_picture(self.wait_online(watch))
        self.follow(watch, lambda: snmp_set(agent.where, PORT, agents.level(1), "i", 12, version=version))
        return agent, watch

    def test_snmpd(self):
        self.check_snmpd(("1", "2c"), "2c")

    def test_snmpd_that_knows_v1_only(self):
        self.check_snmpd(("1",), "1")

    def test_snmpd_that_knows_v2c_only(self):
        self.check_snmpd(("2c",), "2c")

    def test_snmpd_killed_and_started_again(self):
        agent, watch = self.check_snmpd(("1", "2c"), "2c")
        agent.kill()
        taken = seconds_until(lambda: not watch.printer()["online"], 40, "the printer is gone")
        self.assertLessEqual(taken, 15)
        self.assertEqual(watch.printer()["state"], 2)
        self.assertEqual(watch.printer()["serial"], "LY310-00077", "what was known is kept")
        agent.start()
        taken = seconds_until(lambda: watch.printer()["online"], 40, "the printer is back")
        self.assertLessEqual(taken, 15)
        wait_for(lambda: self.levels(watch.printer())["black"] == 80, LIVE, "the level of the restarted agent")

    def test_snmpsim(self):
        agent = self.run_agent(agents.Snmpsim(self.directory / "snmpsim", address("5.2"), PORT))
        watch = self.watch(agent.where)
        self.check_picture(self.wait_online(watch))
        self.follow(watch, lambda: snmp("snmpset", agent.where, PORT, agents.level(1), "i", "12"))

    def simulator(self, *arguments):
        simulator = Simulator(PORT, "--web-port=0", *arguments)
        self.addCleanup(simulator.stop)
        return simulator

    def test_printer_sim(self):
        where = address("5.3")
        self.simulator(f"{DATA}/mono.json@{where}")
        watch = self.watch(where)
        printer = self.wait_online(watch)
        self.assertEqual((printer["model"], printer["serial"], printer["counters"]["totalPages"]),
                         ("Orion M120", "ORM1200001", 3071))
        self.assertEqual(self.levels(printer)["black"], 75)
        self.follow(watch, lambda: snmp_set(where, PORT, agents.level(1), "i", 312))  # of 2600

    def test_printer_sim_as_an_old_agent(self):
        where = address("5.4")
        simulator = self.simulator(f"{DATA}/old-agent.json@{where}")
        watch = self.watch(where)
        printer = self.wait_online(watch)
        self.assertEqual((printer["serial"], printer["counters"]["totalPages"]), ("OR5", 20417))
        self.assertEqual(self.levels(printer), {"black": 22})
        self.follow(watch, lambda: simulator.set(where, f"{agents.MIB}.43.11.1.1.9.87.1", 2, 12),
                    LIVE_IN_SMALL_STEPS)

    def test_an_alert_comes_and_goes(self):
        where = address("5.5")
        simulator = self.simulator(f"{DATA}/mono.json@{where}")
        watch = self.watch(where)
        self.wait_online(watch)
        row = f"{agents.MIB}.43.18.1.1"
        for column, tag, value in ((2, 2, 3), (4, 2, 6), (5, 2, 1), (7, 2, 3), (8, 4, "Cover open")):
            simulator.set(where, f"{row}.{column}.1.9", tag, value)
        simulator.set(where, agents.ERRORS, "4x", "08")
        simulator.set(where, f"{agents.MIB}.43.5.1.1.19.1", 65, 1)
        taken = seconds_until(lambda: [alert["number"] for alert in watch.printer()["alerts"]] == [3], 30, "the alert is seen")
        self.assertLessEqual(taken, LIVE)
        for column in (2, 4, 5, 7, 8):
            simulator.ask(f"unset {where} {row}.{column}.1.9")
        simulator.set(where, agents.ERRORS, "4x", "00")
        seconds_until(lambda: watch.printer()["alerts"] == [], 30, "the alert is gone")

    def test_a_restarted_printer_is_read_anew(self):
        where = address("5.6")
        simulator = self.simulator(f"{DATA}/mono.json@{where}")
        watch = self.watch(where)
        self.wait_online(watch)
        simulator.ask(f"off {where}")
        seconds_until(lambda: not watch.printer()["online"], 40, "the printer is gone")
        simulator.set(where, f"{agents.MIB}.43.5.1.1.17.1", 4, "ANOTHER")
        simulator.ask(f"on {where}")
        seconds_until(lambda: watch.printer()["serial"] == "ANOTHER", 40, "another printer at the same address")

    def test_a_bad_way_delays_but_does_not_falsify(self):
        """A third of the answers is lost, spoiled or forged: whatever is shown meanwhile is true."""
        where = address("5.7")
        self.simulator(f"{DATA}/toner-low.json@{where}", "--faults",
                       "loss=8,duplicate=30,garbage=6,truncate=6,wrong-id=6,wrong-port=6,wrong-address=6,delay=1..60")
        watch = self.watch(where)
        seen = {"models": set(), "serials": set(), "levels": set()}

        def note():
            printer = watch.printer()
            if printer is None:
                return False
            seen["models"].add(printer["model"])
            seen["serials"].add(printer["serial"])
            seen["levels"].add(tuple(sorted(self.levels(printer).items())))
            return printer["online"] and printer["serial"] and printer["flags"]["lessToner"]

        wait_for(note, 120, "the printer is read")
        limit = time.monotonic() + 15
        while time.monotonic() < limit:
            note()
            time.sleep(0.2)
        self.assertLessEqual(seen["models"], {"", "Orion C4000"})
        self.assertLessEqual(seen["serials"], {"", "ORC4000001"})
        self.assertLessEqual(seen["levels"], {(), (("black", 8), ("cyan", 40), ("magenta", 5), ("yellow", 66))})

    def check_never_believed(self, fault):
        where, good = address("5.8"), address("5.9")
        simulator = self.simulator(f"{DATA}/colour.json@{where}", f"{DATA}/colour.json@{good}")
        simulator.ask(f"faults {where} {fault}=100")
        watch = self.watch(where, good)
        self.wait_online(watch, 1)
        wait_for(lambda: simulator.requests(where) >= 3, 40, "three requests")
        printer = watch.printer(0)
        self.assertEqual((printer["online"], printer["serial"], printer["supplies"]), (False, "", []))
        simulator.ask(f"faults {where} none")
        self.wait_online(watch, 0)

    def test_an_answer_with_another_id_is_not_believed(self):
        self.check_never_believed("wrong-id")

    def test_an_answer_from_another_port_is_not_believed(self):
        self.check_never_believed("wrong-port")

    def test_an_answer_from_another_address_is_not_believed(self):
        self.check_never_believed("wrong-address")

    def test_a_cut_answer_is_not_believed(self):
        self.check_never_believed("truncate")


if __name__ == "__main__":
    main("agents_test")
