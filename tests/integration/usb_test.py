#!/usr/bin/python3
"""Printers on a USB bus that exists in memory only: tarn-status follows them as they are plugged in and out, and the
window shows one. Nothing may be claimed or detached meanwhile."""

import grp
import http.server
import os
import pathlib
import subprocess
import sys
import tempfile
import threading
import unittest

import ipp_printers
from harness import BUILD, Desktop, Kel, Watch, alone_with_the_lock_file, main, wait_for

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))
from usb_bus import UsbBus  # noqa: E402

STATUS = BUILD / "bin" / "tarn-status"
IDLE = "0x18"
NO_PAPER = "0x30"
IPP_PORT = 16396
LONG = 60  # seconds that a broken program is waited for


def jet(serial):
    return f"MFG:Lyra;MDL:Jet 5;CMD:PCL;CLS:PRINTER;DES:Lyra Jet 5 on a desk;SN:{serial};"


class UsbCase(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="kel-usb-")
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.bus = UsbBus(BUILD, self.directory)
        self.addCleanup(self.bus.close)

    def tearDown(self):
        self.assertEqual(self.bus.complaints(), "")


class StatusCase(UsbCase):
    def watch(self, **extra):
        watch = Watch(self.directory / "watch", 16390, "--usb", interval=0.2,
                      extra=dict(self.bus.environment(STATUS), **extra))
        self.addCleanup(watch.stop)
        return watch

    def named(self, watch, name):
        return next((printer for printer in watch.printers() or [] if printer["name"] == name), None)

    def await_named(self, watch, name):
        return wait_for(lambda: self.named(watch, name), LONG, f"the printer {name}")

    def await_names(self, watch, names):
        wait_for(lambda: [printer["name"] for printer in watch.printers() or []] == names, LONG, f"the list {names}")


class Status(StatusCase):
    def test_printer_is_shown_follows_its_port_and_comes_back_under_its_name(self):
        self.bus.plug("jet", port=1, id=jet("L1"), status=IDLE)
        watch = self.watch()
        printer = self.await_named(watch, "Lyra Jet 5 L1")
        self.assertEqual((printer["model"], printer["serial"], printer["description"]),
                         ("Lyra Jet 5", "L1", "Lyra Jet 5 on a desk"))
        self.assertEqual((printer["online"], printer["state"], printer["summary"], printer["alerts"]),
                         (True, 3, "就绪", []))
        self.assertEqual((printer["source"], printer["sources"]["alerts"], printer["sources"]["serial"]),
                         ("smusb", "smusb", "smusb"))
        self.bus.set("jet", status=NO_PAPER)
        wait_for(lambda: self.named(watch, "Lyra Jet 5 L1")["flags"]["lackPaper"], LONG, "the missing paper")
        printer = self.named(watch, "Lyra Jet 5 L1")
        self.assertEqual([alert["code"] for alert in printer["alerts"]], ["inputMediaSupplyEmpty"])
        self.assertEqual(printer["state"], 1)
        self.bus.unplug("jet")
        self.await_names(watch, [])
        self.bus.plug("jet", port=4, id=jet("L1"), status=IDLE)
        self.await_names(watch, ["Lyra Jet 5 L1"])

    def test_levels_and_state_of_status_keys_are_followed(self):
        said = "MFG:Lyra;MDL:Ink;SN:I1;VSTATUS:$HB0$NC0,ff,DN,{0},CUT,KP{1:03},CP095;"
        self.bus.plug("ink", id=said.format("IDLE", 80), driver="usblp")
        watch = self.watch()
        printer = self.await_named(watch, "Lyra Ink I1")
        self.assertEqual([supply["percent"] for supply in printer["supplies"]], [80, 95])
        self.assertEqual(printer["state"], 3)
        self.bus.set("ink", id=said.format("PRNT", 37))
        wait_for(lambda: self.named(watch, "Lyra Ink I1")["state"] == 4, LONG, "the job")
        self.assertEqual(self.named(watch, "Lyra Ink I1")["supplies"][0]["percent"], 37)

    def test_difficult_printers_are_listed_and_the_good_one_beside_them_is_followed(self):
        strings = dict(manufacturer="Lyra", status=IDLE)
        self.bus.plug("silent", port=1, product="Silent", silent=1, **strings)
        self.bus.plug("stalled", port=2, product="Stalled", stall=1, **strings)
        self.bus.plug("held", port=3, id=jet("H1"), driver="usblp", **strings)
        self.bus.plug("busy", port=4, id=jet("B1"), busy=1, **strings)
        self.bus.plug("garbage", port=5, product="Garbage", idhex="FFFF0012E4B8ADFF3B3B3A", **strings)
        self.bus.plug("empty", port=6, product="Empty", idhex="0000", **strings)
        self.bus.plug("least", port=7, idhex=(b"\x17\0MFG:Lyra;MDL:Least;X").hex(), **strings)
        self.bus.plug("nobody", port=8, vid="03f0", pid="0a17", idhex="0000", status=IDLE)
        self.bus.plug("good", port=9, id=jet("G1"), **strings)
        watch = self.watch()
        self.await_names(watch, ["Lyra Empty", "Lyra Garbage", "Lyra Jet 5 B1", "Lyra Jet 5 G1", "Lyra Jet 5 H1",
                                 "Lyra Least", "Lyra Silent", "Lyra Stalled", "USB 03f0:0a17"])
        states = {printer["name"]: (printer["online"], printer["state"]) for printer in watch.printers()}
        self.assertEqual({online for online, _ in states.values()}, {True})
        idle = [name for name, (_, state) in states.items() if state == 3]
        self.assertEqual(idle, ["Lyra Empty", "Lyra Garbage", "Lyra Jet 5 G1", "Lyra Least", "USB 03f0:0a17"])
        self.bus.set("good", status="0x08")
        wait_for(lambda: self.named(watch, "Lyra Jet 5 G1")["alerts"], LONG, "the good one's alert")
        self.assertEqual(self.named(watch, "Lyra Jet 5 G1")["alerts"][0]["code"], "offline")

    def test_device_that_will_not_answer_any_more_is_asked_more_rarely(self):
        self.bus.plug("jet", id=jet("L1"), status=IDLE)
        self.bus.plug("lame", port=2, id=jet("L2"), stall=1)
        watch = self.watch()
        self.await_names(watch, ["Lyra Jet 5 L1", "USB 1234:5678"])
        begun = self.bus.transfers("jet")
        before = self.bus.transfers("lame")
        wait_for(lambda: self.bus.transfers("jet") >= begun + 8, LONG, "the good one's questions")
        self.assertLess(self.bus.transfers("lame") - before, 2 * 8)

    def test_twins_without_serial_number_are_told_apart(self):
        for port in (3, 1, 2):
            self.bus.plug(f"twin{port}", port=port, id="MFG:Lyra;MDL:Twin;", status=IDLE)
        self.await_names(self.watch(), ["Lyra Twin", "Lyra Twin #2", "Lyra Twin #3"])

    def test_fifty_printers(self):
        for number in range(50):
            self.bus.plug(f"p{number}", port=number + 1, id=jet(f"{number:02}"), status=IDLE)
        watch = self.watch()
        self.await_names(watch, [f"Lyra Jet 5 {number:02}" for number in range(50)])
        self.assertEqual({(printer["state"], printer["serial"]) for printer in watch.printers()},
                         {(3, f"{number:02}") for number in range(50)})
        self.bus.set("p49", status=NO_PAPER)
        wait_for(lambda: self.named(watch, "Lyra Jet 5 49")["flags"]["lackPaper"], LONG, "the last one's change")
        left = list(range(50))
        for ten in range(0, 50, 10):  # of what nobody has read yet, a socket keeps ten messages
            for number in range(ten, ten + 10, 2):
                self.bus.unplug(f"p{number}")
                left.remove(number)
            self.await_names(watch, [f"Lyra Jet 5 {number:02}" for number in left])

    def test_without_rights_the_identity_and_one_line_that_names_the_group(self):
        group = grp.getgrnam("lp") if os.getuid() == 0 else grp.getgrgid(os.getgid())
        for port in (1, 2):
            self.bus.plug(f"p{port}", port=port, manufacturer="Lyra", product=f"Locked {port}", mode="0060",
                          group=group.gr_gid, systemid=f"MFG:Lyra;MDL:Locked;SN:K{port};")
        # Without capabilities the owner, root too, has what the mode gives him: nothing.
        command = [str(STATUS), "--usb", "--watch=0.2", "--timeout", "3"]
        if os.getuid() == 0:
            command = ["setpriv", "--bounding-set=-all", "--inh-caps=-all", *command]
        watch = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, stdin=subprocess.DEVNULL,
                                 env=dict(os.environ, **self.bus.environment(STATUS)))
        lines = []
        while sum("Locked" in line for line in lines) < 8:
            lines.append(watch.stdout.readline().decode())
            self.assertTrue(lines[-1], "it ended")
        watch.terminate()
        _, complaint = watch.communicate(timeout=LONG)
        self.assertTrue(any("Lyra Locked K1" in line for line in lines))
        self.assertTrue(any("Lyra Locked K2" in line for line in lines))
        # setpriv may be of another processor than the library that is preloaded for the program.
        complaints = [line for line in complaint.decode().splitlines() if not line.startswith("ERROR: ld.so: ")]
        self.assertEqual(len(complaints), 1, complaint)
        self.assertIn(f'group "{group.gr_name}"', complaints[0])
        self.assertEqual((self.bus.transfers("p1"), self.bus.transfers("p2")), (0, 0))

    def test_end_does_not_wait_for_a_device_that_is_silent(self):
        for port in range(1, 9):
            self.bus.plug(f"p{port}", port=port, product=f"Silent {port}", silent=1)
        watch = self.watch()
        self.await_named(watch, "Silent 1")
        watch.process.terminate()
        self.assertEqual(watch.process.wait(LONG), 0)


class NotReady(http.server.BaseHTTPRequestHandler):
    """What ipp-usb says before its printer is."""

    def do_POST(self):
        self.server.asked += 1
        self.send_error(503)

    def log_message(self, *_):
        pass


class ServedByIppUsb(StatusCase):
    """One printer that ipp-usb has: its interface is held, its port of the loopback interface tells more."""

    def setUp(self):
        super().setUp()
        self.bus.plug("jet", vid="1234", pid="5678", serial="S/1", id=jet("S/1"), busy=1)
        states = self.directory / "ipp-usb"
        states.mkdir()
        (states / "1234-5678-S-1-Lyra-Jet-5.state").write_text(f"[device]\n  http-port = {IPP_PORT}\n")
        self.served = self.watch(TARN_IPP_USB_DIR=str(states))

    def printer(self):
        return self.named(self.served, "Lyra Jet 5 S/1") or {"source": "", "alerts": [], "supplies": []}

    def await_source(self, source):
        wait_for(lambda: self.printer()["source"] == source, LONG, f"the source {source}")

    def levels(self):
        return [supply["percent"] for supply in self.printer()["supplies"]]

    def test_the_service_gives_the_full_picture_and_usb_what_is_left(self):
        self.await_source("smusb")
        agent = ipp_printers.EvePrinter(self.directory / "eve", IPP_PORT,
                                        ipp_printers.MARKERS + ipp_printers.SUPPLIES).start()
        self.addCleanup(agent.stop)
        self.await_source("ipp")
        printer = self.printer()
        self.assertEqual((printer["model"], printer["serial"], printer["state"]), ("Lyra C310", "LY310-00077", 3))
        self.assertEqual(self.levels()[:2], [80, 61])
        agent.set_supply(0, 37)
        wait_for(lambda: self.levels()[0] == 37, LONG, "the level that was set")
        agent.say("STATE: cover-open")
        wait_for(lambda: self.printer()["alerts"], LONG, "the open cover")
        agent.stop()
        self.await_source("smusb")
        self.assertTrue(self.printer()["online"])
        self.bus.unplug("jet")
        self.await_names(self.served, [])

    def test_a_service_that_is_not_ready_leaves_the_picture_to_usb(self):
        server = http.server.ThreadingHTTPServer(("127.0.0.1", IPP_PORT), NotReady)
        server.asked = 0
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        wait_for(lambda: server.asked >= 2, LONG, "the second question")
        self.await_source("smusb")
        self.assertEqual((self.printer()["source"], self.printer()["online"]), ("smusb", True))


class Window(UsbCase):
    def test_window_shows_a_usb_printer_and_loses_it_with_its_plug(self):
        desktop = Desktop()
        self.addCleanup(desktop.close)
        import accessibility as ui
        lock = alone_with_the_lock_file()
        lock.__enter__()
        self.addCleanup(lock.__exit__, None, None, None)
        self.bus.plug("jet", id=jet("L1"), status=IDLE)
        kel = Kel(desktop, "usb-kel")
        kel.environment.update(self.bus.environment(BUILD / "bin" / "kel"))
        kel.start()
        self.addCleanup(kel.stop)
        app = ui.Application(kel.process)
        window = wait_for(lambda: app.window("Kel 打印机管理工具"), LONG, "the window")

        def beside(caption):
            return app.ask(lambda root: ui.value_beside(root, caption))

        def row():
            return app.ask(lambda root: root.find("list item", "Lyra Jet 5 L1"))

        wait_for(row, LONG, "the row")
        wait_for(lambda: beside("序列号：") == "L1", LONG, "the serial number")
        self.assertEqual(beside("通信方式："), "USB连接")
        self.assertEqual(beside("打印机描述："), "Lyra Jet 5 on a desk")
        self.assertEqual(beside("打印机状态："), "[3]就绪")
        picture = BUILD / "reports" / "usb_window.png"
        subprocess.run(["import", "-window", "root", str(picture)], check=True)
        self.bus.set("jet", status=NO_PAPER)
        wait_for(lambda: beside("进纸盒状态：") == "缺纸", LONG, "the missing paper")
        self.bus.unplug("jet")
        wait_for(lambda: not row(), LONG, "the row to go")
        self.assertIsNotNone(window)


if __name__ == "__main__":
    main("usb_test")
