#!/usr/bin/python3
"""The window follows a printer that speaks SNMPv3 only, read through AT-SPI; a picture of it is left in the build tree."""

import json
import subprocess

from harness import BUILD, Kel, address, main, seconds_until
from window_case import WindowCase, setUpModule, tearDownModule  # noqa: F401
import agents

PORT = 16312

class Window(WindowCase):
    def setUp(self):
        super().setUp()
        self.agent = agents.UsmSnmpd(self.desktop.directory / self.id(), address("1.33"), PORT).start()
        self.addCleanup(self.agent.stop)
        self.kel = Kel(self.desktop, self.id() + "-kel")
        config = self.kel.directory / "config" / "tarn" / "tarn.json"
        config.write_text(json.dumps({"addresses": {address("1.33"): {"port": PORT, "version": "3", "user": "sha256aes"}},
                                      "users": agents.users_for_tarn()}))
        config.chmod(0o600)
        self.kel.set_list([("secure office", address("1.33"))])
        self.addCleanup(self.kel.stop)
        self.start()

    def levels(self):
        return self.app.ask(lambda root: [bar.value() for bar in root.find_all("progress bar")])

    def test_the_window_shows_the_printer_and_follows_it(self):
        self.check_identity("Lyra C310", "LY310-00077")
        self.assertEqual(self.beside("打印机状态："), "[3]就绪")
        self.assertEqual(self.levels(), [80, 61, 42, 23])
        self.agent.set(agents.level(1), "i", 37)
        taken = seconds_until(lambda: self.levels() == [37, 61, 42, 23], 20, "the window shows the level that was set")
        self.assertLessEqual(taken, 6)
        subprocess.run(["import", "-window", "root", str(BUILD / "usm-window.png")], check=True)
        self.assertEqual([line for line in self.kel.log().splitlines() if "SNMPv3" in line], [])


if __name__ == "__main__":
    main("usm_window_test")
