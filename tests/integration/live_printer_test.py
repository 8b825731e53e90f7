#!/usr/bin/python3
"""The window follows a real agent that is not ours: Debian's snmpd with a printer's objects, read through AT-SPI."""


from harness import Kel, address, main, seconds_until, snmp_set, wait_for
from window_case import WindowCase, setUpModule, tearDownModule  # noqa: F401
import agents

PORT = 16311

class LivePrinter(WindowCase):
    """One life of one printer: each step begins where the last one ended, so they are one test with named steps."""

    def setUp(self):
        super().setUp()
        self.agent = agents.Snmpd(self.desktop.directory / self.id(), address("1.23"), PORT).start()
        self.addCleanup(self.agent.stop)
        self.kel = Kel(self.desktop, self.id() + "-kel", {address("1.23"): PORT})
        # The first row is selected, which tints its icon: the second one, of the same printer, is looked at.
        self.kel.set_list([("office", address("1.23")), ("the same", address("1.23"))])
        self.addCleanup(self.kel.stop)
        self.start()

    def levels(self):
        """What the visible bars show, in the order black, cyan, magenta, yellow."""
        return self.app.ask(lambda root: [bar.value() for bar in root.find_all("progress bar")])

    def pages(self):
        return self.app.ask(lambda root: [label.name for label in root.find_all("label")
                                          if label.name.startswith("打印总页数")])

    def icon(self):
        """"green", "grey" or the colour of the second row's icon."""
        row = self.app.ask(lambda root: root.find("list item", "the same"))
        if row is None:
            return None
        x, y, _, height = row.extents()
        red, green, blue = self.ui.colour_at(x + 8, y + height // 2 - 4, 8, 8)
        if green > red + 40 and green > blue + 20:
            return "green"
        return "grey" if max(red, green, blue) - min(red, green, blue) < 25 else (red, green, blue)

    def test_the_window_shows_the_printer_and_follows_it(self):
        wait_for(lambda: self.beside("序列号：") == "LY310-00077", 20, "the serial number")
        self.assertEqual(self.beside("型号："), "Lyra C310")
        self.assertEqual(self.beside("打印机描述："), "Lyra C310 print server")
        self.assertEqual(self.beside("通信方式："), f"网络连接({address('1.23')})")
        self.assertEqual(self.beside("打印机状态："), "[3]就绪")
        self.assertEqual(self.beside("进纸盒状态："), "正常")
        self.assertEqual(self.levels(), [80, 61, 42, 23])
        self.assertEqual(self.pages(), ["打印总页数:    54321页"])
        wait_for(lambda: self.icon() == "green", 5, "a green icon")

        snmp_set(self.agent.where, PORT, agents.level(1), "i", 37)
        taken = seconds_until(lambda: self.levels() == [37, 61, 42, 23], 20, "the window shows the level that was set")
        self.assertLessEqual(taken, 5)

        snmp_set(self.agent.where, PORT, agents.PAGES, "u", 54400)
        snmp_set(self.agent.where, PORT, agents.STATE, "i", 4)
        taken = seconds_until(lambda: (self.pages(), self.beside("打印机状态：")) ==
                              (["打印总页数:    54400页"], "[4]打印中"), 20, "the window shows a job being printed")
        self.assertLessEqual(taken, 5)

        snmp_set(self.agent.where, PORT, agents.ERRORS, "x", "40")
        taken = seconds_until(lambda: self.beside("进纸盒状态：") == "缺纸", 20, "the window shows the missing paper")
        self.assertLessEqual(taken, 5)
        snmp_set(self.agent.where, PORT, agents.ERRORS, "x", "00")

        self.agent.kill()
        taken = seconds_until(lambda: (self.beside("打印机状态："), self.icon()) == ("离线", "grey"), 40,
                              "the window shows the printer offline and grey")
        self.assertLessEqual(taken, 15)
        self.assertEqual(self.beside("序列号："), "")
        self.assertEqual(self.levels(), [])
        self.assertEqual(self.pages(), [])

        self.agent.start()
        taken = seconds_until(lambda: (self.beside("打印机状态："), self.icon()) == ("[3]就绪", "green"), 40,
                              "the window shows the printer again")
        self.assertLessEqual(taken, 15)
        self.assertEqual(self.beside("序列号："), "LY310-00077")
        wait_for(lambda: self.levels() == [80, 61, 42, 23], 5, "the levels of the restarted agent")


if __name__ == "__main__":
    main("live_printer_test")
