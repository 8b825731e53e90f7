#!/usr/bin/python3
"""The window follows a printer that speaks SNMPv3 only, read through AT-SPI; a picture of it is left in the build tree."""

import json
import subprocess
import unittest

from harness import BUILD, Desktop, Kel, address, alone_with_the_lock_file, main, seconds_until, wait_for
import agents

PORT = 16312
WINDOW = "Kel 打印机管理工具"

desktop = None
ui = None


def setUpModule():
    global desktop, ui
    desktop = Desktop()
    import accessibility
    ui = accessibility


def tearDownModule():
    desktop.close()


class Window(unittest.TestCase):
    def setUp(self):
        lock = alone_with_the_lock_file()
        lock.__enter__()
        self.addCleanup(lock.__exit__, None, None, None)
        self.agent = agents.UsmSnmpd(desktop.directory / self.id(), address("1.33"), PORT).start()
        self.addCleanup(self.agent.stop)
        self.kel = Kel(desktop, self.id() + "-kel")
        config = self.kel.directory / "config" / "tarn" / "tarn.json"
        config.write_text(json.dumps({"addresses": {address("1.33"): {"port": PORT, "version": "3", "user": "sha256aes"}},
                                      "users": agents.users_for_tarn()}))
        config.chmod(0o600)
        self.kel.set_list([("secure office", address("1.33"))])
        self.kel.start()
        self.addCleanup(self.kel.stop)
        self.app = ui.Application(self.kel.process)
        wait_for(lambda: self.app.window(WINDOW), 30, "the window")

    def beside(self, caption):
        window = self.app.window(WINDOW)
        return window and self.app.ask(lambda root: ui.value_beside(root, caption))

    def levels(self):
        return self.app.ask(lambda root: [bar.value() for bar in root.find_all("progress bar")])

    def test_the_window_shows_the_printer_and_follows_it(self):
        wait_for(lambda: self.beside("序列号：") == "LY310-00077", 20, "the serial number")
        self.assertEqual(self.beside("型号："), "Lyra C310")
        self.assertEqual(self.beside("打印机状态："), "[3]就绪")
        self.assertEqual(self.levels(), [80, 61, 42, 23])
        self.agent.set(agents.level(1), "i", 37)
        taken = seconds_until(lambda: self.levels() == [37, 61, 42, 23], 20, "the window shows the level that was set")
        self.assertLessEqual(taken, 6)
        subprocess.run(["import", "-window", "root", str(BUILD / "usm-window.png")], check=True)
        self.assertEqual([line for line in self.kel.log().splitlines() if "SNMPv3" in line], [])


if __name__ == "__main__":
    main("usm_window_test")
