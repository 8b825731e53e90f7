#!/usr/bin/python3
"""Add a printer, watch it, open its page, quit: by the keyboard alone, and by what AT-SPI offers a screen reader alone.

Environment: KEL_BUILD (a build tree). Programs needed: Xvfb, openbox, dbus-daemon, at-spi-bus-launcher, xprop, xdotool.
"""

import contextlib
import pathlib
import subprocess
import sys
import tempfile
import time
import unittest
import warnings

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))
import at_spi  # noqa: E402
import kel_driver  # noqa: E402
from desktop import running, session_bus, x_server  # noqa: E402
from junit_unittest import main  # noqa: E402
from scripted_kel import SLOWER, ScriptedKel, alone, network_printers  # noqa: E402

WINDOW, EDITOR = "Kel 打印机管理工具", "添加打印机"
SCRIPT = {"defaultPrinter": {"serialNumber": "SN-7", "stateMessage": "就绪", "info": '{"KToner":"80"}'},
          "printers": {"lab": {"serialNumber": "SN-lab", "stateMessage": "缺纸", "info": '{"KToner":"12"}'}}}
PATIENCE = 60 * SLOWER

stack = contextlib.ExitStack()
display = bus = None


def setUpModule():
    global display, bus
    warnings.simplefilter("ignore", DeprecationWarning)
    bus = stack.enter_context(session_bus())
    display = stack.enter_context(x_server())
    stack.enter_context(running(["openbox", "--sm-disable"], display))
    stack.enter_context(at_spi.connect(display, bus))


def wait_for(condition, seconds, what):
    """A window may close while its contents are asked for: then it is asked again."""
    return kel_driver.wait_for(lambda: at_spi.unless_gone(condition), seconds, what)


def tearDownModule():
    stack.close()


class NoMouse(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="kel-no-mouse-")
        self.addCleanup(scratch.cleanup)
        directory = pathlib.Path(scratch.name)
        self.opened = directory / "opened"
        stand_in = directory / "bin" / "xdg-open"
        stand_in.parent.mkdir()
        stand_in.write_text(f'#!/bin/sh\nprintf "%s" "$1" >{self.opened}\n')
        stand_in.chmod(0o755)
        self.kel = ScriptedKel(directory, SCRIPT, dict(
            QT_QPA_PLATFORM="xcb", DISPLAY=display, DBUS_SESSION_BUS_ADDRESS=bus, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1"))
        self.kel.environment["PATH"] = f"{directory}/bin:{self.kel.environment['PATH']}"
        self.kel.set_list(network_printers(1))
        self.addCleanup(self.kel.kill)
        self.kel.start()
        wait_for(lambda: "SN-7" in self.names("label"), PATIENCE, "the first status")

    def windows(self):
        return at_spi.windows(self.kel.process.pid)

    def names(self, role, title=WINDOW):
        window = self.windows().get(title)
        return at_spi.names(window, role) if window else []

    def find(self, role, name=None, title=WINDOW):
        return wait_for(lambda: (window := self.windows().get(title)) and at_spi.find_or_none(window, role, name), PATIENCE,
                        f"{role} {name} in {title}")

    def rows(self, title=WINDOW):
        """{name: description} of the rows that have one; those of the models' box have none."""
        window = self.windows().get(title)
        items = [node for node in at_spi.walk(window) if node.get_role_name() == "list item"] if window else []
        return {item.get_name(): item.get_description() for item in items}

    def check_lab_is_shown(self):
        """The window shows the printer that was added, and says so in words."""
        wait_for(lambda: {"SN-lab", "[3]缺纸", "网络连接(127.0.0.9)"} <= set(self.names("label")), PATIENCE, "its status")
        wait_for(lambda: self.rows() == {"printer 0": "在线", "lab": "在线"}, PATIENCE, "both rows online")
        wait_for(lambda: self.bars() == [("黑色碳粉", "余量 12%")], PATIENCE, "its level")
        wait_for(lambda: at_spi.text(self.find("text", "错误信息")) == "缺纸", PATIENCE, "its error")

    def bars(self):
        window = self.windows().get(WINDOW)
        return [(node.get_name(), node.get_description()) for node in (at_spi.walk(window) if window else [])
                if node.get_role_name() == "progress bar" and at_spi.is_showing(node)]

    def check_page_is_opened(self):
        wait_for(lambda: self.opened.exists() and self.opened.read_text() == "http://127.0.0.9", PATIENCE, "its page")


class Keyboard(NoMouse):
    def focus(self):
        """What says of itself that it has the focus, as (role, name): the widget, and every list's current row."""
        return [(node.get_role_name(), node.get_name()) for window in self.windows().values() if at_spi.is_active(window)
                for node in at_spi.walk(window) if at_spi.is_focused(node)]

    def focused(self):
        """The name of the widget that has the focus; that of its current row when it is a list."""
        found = self.focus()
        names = [name for role, name in found if role != "list item"] + [name for _, name in found]
        return names[0] if names else None

    def key(self, *names):
        subprocess.run(["xdotool", "key", "--delay", "20", *names], check=True)

    def key_for(self, name, condition, what):
        """Presses a key that would act twice once: whoever has the focus gets it, however late."""
        self.key(name)
        return wait_for(condition, PATIENCE, what)

    def key_until(self, name, condition, what):
        """Presses a key until it has its effect: one that comes while the window manager is busy goes astray."""
        end = time.monotonic() + PATIENCE
        while True:
            self.key(name)
            with contextlib.suppress(kel_driver.DriverError):
                return wait_for(condition, 20 * SLOWER, what)
            if time.monotonic() > end:
                raise AssertionError(f"{name} has no effect: {what}; focus: {self.focused()}")

    def tab_to(self, *names):
        """Presses Tab until the focus is on one of these."""
        for _ in range(30):
            before = wait_for(self.focused, PATIENCE, "a focus")
            if before in names:
                return
            self.key_until("Tab", lambda: self.focused() not in (None, before), f"the focus goes on from {before}")
        raise AssertionError(f"Tab never meets {names}")

    def test_a_printer_is_added_watched_and_its_page_opened(self):
        wait_for(lambda: self.focused() in ("打印机列表", "printer 0"), PATIENCE, "the focus on the list")
        self.tab_to("编辑打印机列表")
        self.key_for("space", lambda: EDITOR in self.windows(), "the editor")
        self.tab_to("打印机名称")
        self.key(*"lab")
        for octet, digits in enumerate(("127", "0", "0", "9"), 1):
            self.tab_to(f"IP 地址第 {octet} 段")
            self.key(*digits)
        self.tab_to("添加")
        self.key_for("space", lambda: "lab" in self.rows(EDITOR), "the printer in the editor")
        self.tab_to("确定")
        self.key_for("space", lambda: EDITOR not in self.windows(), "the end of the editor")

        wait_for(lambda: "lab" in self.rows(), PATIENCE, "its row")
        self.tab_to("打印机列表", "printer 0")
        self.key_for("Down", lambda: "SN-lab" in self.names("label"), "the printer")
        self.check_lab_is_shown()
        self.tab_to("EWS打印机设置")
        self.key_for("space", self.opened.exists, "the browser")
        self.check_page_is_opened()

        self.key_until("Alt_L", lambda: ("menu item", "文件") in self.focus(), "the menu bar")
        self.key_for("Down", lambda: "退出" in self.menu_items(), "the menu")
        self.key("Return")
        self.kel.check_clean_end(self)

    def menu_items(self):
        return [name for window in self.windows().values() for name in at_spi.names(window, "menu item")]


class ScreenReader(NoMouse):
    def press(self, role, name, title=WINDOW):
        self.assertTrue(at_spi.press(self.find(role, name, title)), name)

    def write(self, name, text):
        at_spi.write(self.find("text", name, EDITOR), text)
        wait_for(lambda: at_spi.text(self.find("text", name, EDITOR)) == text, PATIENCE, f"{text} in {name}")

    def test_a_printer_is_added_watched_and_its_page_opened(self):
        self.press("push button", "编辑打印机列表")
        self.write("打印机名称", "lab")
        for octet, digits in enumerate(("127", "0", "0", "9"), 1):
            self.write(f"IP 地址第 {octet} 段", digits)
        self.press("push button", "添加", EDITOR)
        wait_for(lambda: "lab" in self.rows(EDITOR), PATIENCE, "the printer in the editor")
        self.press("push button", "确定", EDITOR)
        wait_for(lambda: EDITOR not in self.windows(), PATIENCE, "the end of the editor")

        self.press("list item", "lab")
        self.check_lab_is_shown()
        self.press("push button", "EWS打印机设置")
        self.check_page_is_opened()
        self.press("menu item", "文件")
        self.press("menu item", "退出")
        self.kel.check_clean_end(self)


if __name__ == "__main__":
    alone()
    main("no_mouse_test")
