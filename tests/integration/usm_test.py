#!/usr/bin/python3
"""Printers that speak SNMPv3 only: every kind of user, agents that restart, and what must not work."""

import contextlib
import pathlib
import select
import signal
import socket
import tempfile
import threading
import time
import unittest

from harness import Watch, address, main, seconds_until, wait_for
import agents

PORT = 16384
LIVE = 8  # seconds in which a change of an idle printer is seen: asked every 5 s, printed every second
BACK = 15  # seconds in which a printer that was away is seen again


def config(user, users=None, **more):
    return {"default": {"port": PORT, "version": "3", "user": user, "ipp": "off", **more},
            "users": agents.users_for_tarn() if users is None else users}


class Relay:
    """Stands at one address and hands everything on to an agent at another; its answers come from a port of its own
    while from_wrong_port is set."""

    def __init__(self, where, behind):
        self.from_wrong_port = True
        self.relayed = 0
        self._front = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._front.bind((where, PORT))
        self._wrong = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._wrong.bind((where, 0))
        self._back = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._back.connect((behind, PORT))
        self._stopping = False
        self._thread = threading.Thread(target=self._run)
        self._thread.start()

    def _run(self):
        asker = None
        while not self._stopping:
            for ready in select.select([self._front, self._back], [], [], 0.1)[0]:
                if ready is self._front:
                    message, asker = self._front.recvfrom(65535)
                    self._back.send(message)
                else:
                    answer = self._back.recv(65535)
                    (self._wrong if self.from_wrong_port else self._front).sendto(answer, asker)
                    self.relayed += 1

    def stop(self):
        self._stopping = True
        self._thread.join()
        for one in (self._front, self._wrong, self._back):
            one.close()


class Usm(agents.PrinterChecks, unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="kel-usm-")
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.watches = 0

    def watch(self, *where, **options):
        self.watches += 1
        options.setdefault("extra", {"SNMPCONFPATH": str(self.directory)})
        watch = Watch(self.directory / f"watch{self.watches}", PORT, *where, **options)
        self.addCleanup(watch.stop)
        return watch

    def agent(self, tail, **options):
        agent = agents.UsmSnmpd(self.directory / f"snmpd-{tail}", address(tail), PORT, **options)
        self.addCleanup(agent.stop)
        return agent.start()

    def stays_unreachable(self, watch, seconds=8):
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            self.assertFalse((watch.printer() or {}).get("online"))
            time.sleep(0.2)
        wait_for(watch.printer, 20, "a first document, which waits a while for printers that do not answer")
        self.assertEqual((watch.printer()["online"], watch.printer()["state"]), (False, 2))

    # --- what works ---

    def test_every_kind_of_user_reads_everything_and_follows_a_change(self):
        agent = self.agent("7.1")
        watches = {user: self.watch(agent.where, config=config(user)) for user in agents.USERS}
        for user, watch in watches.items():
            with self.subTest(user):
                printer = self.wait_online(watch)
                self.check_picture(printer)
                self.assertEqual(printer["source"], "sm")
        agent.set(agents.level(1), "i", 12)
        agent.set(agents.ERRORS, "x", "08")  # the door is open
        for user, watch in watches.items():
            with self.subTest(user):
                seconds_until(lambda: self.levels(watch.printer())["black"] == 12, LIVE, f"{user} sees the level")
                wait_for(lambda: watch.printer()["alerts"], LIVE, "the alert")
                self.assertEqual(watch.printer()["summary"], "需要处理")
                self.assertEqual(watch.complaints(), [])

    def test_the_user_of_snmp_conf(self):
        agent = self.agent("7.2")
        (self.directory / "snmp.conf").write_text(
            f"defSecurityName sha256aes\ndefAuthType SHA-256\ndefAuthPassphrase {agents.AUTH_PASSWORD}\n"
            f"defSecurityLevel authPriv\ndefPrivType AES\ndefPrivPassphrase {agents.PRIV_PASSWORD}\nmibs +ALL\n")
        watch = self.watch(agent.where, config={"default": {"port": PORT, "version": "3", "ipp": "off"}}, mode=0o644)
        self.check_picture(self.wait_online(watch))
        self.assertEqual(watch.complaints(), [])

    def restarts(self, between, **options):
        agent = self.agent("7.3", **options)
        watch = self.watch(agent.where, config=config("shaaes"))
        self.wait_online(watch)
        agent.kill()
        wait_for(lambda: not watch.printer()["online"], 40, "the printer is gone")
        self.assertEqual(watch.printer()["serial"], "LY310-00077", "what was known is kept")
        between(agent)
        agent.start()
        taken = seconds_until(lambda: watch.printer()["online"], 60, "the printer is back")
        self.assertLessEqual(taken, BACK)
        agent.set(agents.level(1), "i", 9)
        wait_for(lambda: self.levels(watch.printer())["black"] == 9, LIVE, "the level of the restarted agent")
        self.assertEqual(watch.complaints(), [])

    def test_an_agent_that_restarts(self):
        self.restarts(lambda agent: None)

    def test_an_agent_that_forgets_how_often_it_started(self):
        self.restarts(lambda agent: agent.forget(), engine="80001f88040102030405")

    def test_an_agent_that_becomes_another(self):
        self.restarts(lambda agent: agent.forget())

    def test_a_restart_that_nobody_noticed(self):
        agent = self.agent("7.4", engine="80001f88040102030406")
        watch = self.watch(agent.where, config=config("shaaes"))
        self.wait_online(watch)
        agent.kill()
        agent.forget()
        agent.start()
        agent.set(agents.level(1), "i", 7)
        wait_for(lambda: self.levels(watch.printer())["black"] == 7, BACK, "the level of the restarted agent")

    def test_silent_ones_beside_ten_good_ones(self):
        good = [address(f"8.{i}") for i in range(1, 11)]
        silent = [address(f"8.{i}") for i in range(100, 104)]
        self.agent("8.1", more=good[1:])  # ten devices with one engine ID, as cloned ones have
        with contextlib.ExitStack() as stack:
            for where in silent:
                mute = stack.enter_context(socket.socket(socket.AF_INET, socket.SOCK_DGRAM))
                mute.bind((where, PORT))
            watch = self.watch(*silent, *good, config=config("sha256aes"))
            for index in range(len(silent), len(silent) + len(good)):
                self.check_picture(self.wait_online(watch, index))
            oldest = 0
            end = time.monotonic() + 30
            while time.monotonic() < end:
                watch.printer()
                for index in range(len(silent), len(silent) + len(good)):
                    printer = watch.printer(index)
                    self.assertTrue(printer["online"])
                    oldest = max(oldest, printer["age"])
                time.sleep(0.3)
            print(f"    oldest picture of ten: {oldest} s")
            self.assertLessEqual(oldest, 6)
            self.assertFalse(watch.printer(0)["online"])
            begun = time.monotonic()
            watch.process.send_signal(signal.SIGINT)
            watch.process.wait(timeout=60)
            print(f"    ended in {time.monotonic() - begun:.2f} s")

    # --- what must not work ---

    def refused(self, user, reason, users):
        agent = self.agent("7.5")
        watch = self.watch(agent.where, config=config(user, users))
        self.stays_unreachable(watch)
        self.assertEqual(len(watch.complaints()), 1, watch.complaints())
        self.assertIn(reason, watch.complaints()[0])
        self.assertIn(agent.where, watch.complaints()[0])
        for password in (agents.AUTH_PASSWORD, agents.PRIV_PASSWORD, "wrongpass"):
            self.assertNotIn(password, watch.complaints()[0])

    def test_a_wrong_authentication_password(self):
        self.refused("shaaes", "wrong authentication password",
                     agents.users_for_tarn(shaaes={"authPassword": "wrongpass"}))

    def test_a_user_that_the_agent_does_not_know(self):
        self.refused("nobody", "does not know the user", {"nobody": {"authPassword": agents.AUTH_PASSWORD}})

    def test_a_wrong_privacy_password(self):
        # The agent decrypts it to nonsense, which some versions report and others pass over in silence.
        agent = self.agent("7.6")
        watch = self.watch(agent.where, config=config(
            "shaaes", agents.users_for_tarn(shaaes={"privPassword": "wrongpass"})))
        self.stays_unreachable(watch)
        self.assertLessEqual(len(watch.complaints()), 1)

    def test_a_level_that_the_user_does_not_have(self):
        self.refused("sha", "security level", agents.users_for_tarn(sha={"priv": "AES", "privPassword": "wrongpass"}))

    def test_a_file_that_others_may_read(self):
        agent = self.agent("7.7")
        watch = self.watch(agent.where, config=config("shaaes"), mode=0o644)
        self.stays_unreachable(watch, 5)
        self.assertEqual(len(watch.complaints()), 1, watch.complaints())
        self.assertIn("tarn.json", watch.complaints()[0])
        self.assertIn("0644", watch.complaints()[0])

    def test_no_user_at_all(self):
        agent = self.agent("7.8")
        watch = self.watch(agent.where, config={"default": {"port": PORT, "version": "3", "ipp": "off"}})
        self.stays_unreachable(watch, 5)
        self.assertEqual(len(watch.complaints()), 1, watch.complaints())
        self.assertIn("snmp.conf", watch.complaints()[0])

    def test_answers_from_another_port_are_not_taken(self):
        agent = self.agent("7.9")
        relay = Relay(address("7.10"), agent.where)
        self.addCleanup(relay.stop)
        watch = self.watch(address("7.10"), config=config("shaaes"))
        self.stays_unreachable(watch)
        self.assertGreater(relay.relayed, 0)
        relay.from_wrong_port = False
        self.check_picture(self.wait_online(watch))


if __name__ == "__main__":
    main("usm_test")
