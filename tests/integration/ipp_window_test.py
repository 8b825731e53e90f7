#!/usr/bin/python3
"""The window follows printers that are reached over IPP and IPPS, read through AT-SPI."""

import json
import os
import pathlib
import subprocess

from harness import BUILD, Kel, main, seconds_until, wait_for
from window_case import WindowCase, setUpModule, tearDownModule  # noqa: F401
from ipp_printers import MARKERS, SNMP_PORT, EvePrinter, PapplPrinter


class IppWindow(WindowCase):
    def setUp(self):
        super().setUp()

    def show(self, printer, ipp):
        self.addCleanup(printer.stop)
        self.printer = printer.start()
        self.kel = Kel(self.desktop, self._testMethodName)
        config = {"default": {"port": SNMP_PORT, "ipp": ipp, "ippPort": printer.port}}
        (self.kel.directory / "config" / "tarn" / "tarn.json").write_text(json.dumps(config))
        self.kel.set_list([("hall", "127.0.0.1")])
        self.addCleanup(self.kel.stop)
        self.start()

    def levels(self):
        """Of black, cyan, magenta and yellow; 0 for what the printer does not have."""
        return self.app.ask(lambda root: [bar.value() for bar in root.find_all("progress bar")])

    def alerts(self):
        return self.app.ask(lambda root: "".join(node.text() for node in root.find_all("text"))) or ""

    def keep_a_picture(self):
        """For people to look at: build/<preset>/pictures."""
        pictures = pathlib.Path(BUILD) / "pictures"
        pictures.mkdir(exist_ok=True)
        target = pictures / f"{self._testMethodName}.png"
        target.unlink(missing_ok=True)
        subprocess.run(["import", "-display", self.desktop.display, "-window", "root", str(target)], check=True,
                       env=dict(os.environ, DISPLAY=self.desktop.display))

    def check_lyra(self, ipp, port):
        printer = EvePrinter(self.desktop.directory / f"eve-{ipp}", port, MARKERS)
        self.show(printer, ipp)
        self.check_identity("Lyra C310", "LY310-00077")
        self.assertEqual(self.beside("打印机状态："), "[3]就绪")
        wait_for(lambda: self.levels() == [80, 61, 0, 0], 30, "the levels")
        printer.say("STATE: media-jam", "ATTR: marker-levels=12,34,50")
        taken = seconds_until(lambda: self.levels() == [12, 34, 0, 0], 60, "the window shows the levels that were set")
        self.assertLessEqual(taken, 6)
        wait_for(lambda: "卡纸" in self.alerts(), 10, "the window shows the jam")
        self.keep_a_picture()

    def test_ipp(self):
        self.check_lyra("ipp", 16380)

    def test_ipps(self):
        self.check_lyra("ipps", 16381)

    def test_pappl(self):
        printer = PapplPrinter(self.desktop.directory / "pappl", 16382)
        self.show(printer, "auto")
        self.check_identity("Vela P200", "VP200-0042")
        wait_for(lambda: self.levels() == [64, 33, 0, 0], 30, "the levels")
        printer.say("levels 7 33 90")
        printer.say("reasons 0x0100")  # media-jam
        taken = seconds_until(lambda: self.levels() == [7, 33, 0, 0], 60, "the window shows the level that was set")
        self.assertLessEqual(taken, 6)
        wait_for(lambda: "卡纸" in self.alerts(), 10, "the window shows the jam")
        self.keep_a_picture()


if __name__ == "__main__":
    main("ipp_window_test")
