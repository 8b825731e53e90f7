#!/usr/bin/python3
"""Edges of the desktop: trays that come late or speak another protocol, session end, two screens, a scaled screen.

Environment: KEL_BUILD (a build tree). Programs needed: Xvfb, openbox, trayer, dbus-daemon, xwininfo.
"""

import contextlib
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))
from desktop import running, session_bus, x_server  # noqa: E402
from junit_unittest import main  # noqa: E402
from kel_driver import Kel, wait_for  # noqa: E402
from scripted_kel import BUILD, LIBRARY, alone  # noqa: E402

SUPPORT = pathlib.Path(__file__).resolve().parent.parent / "support"


def window_tree(display):
    return subprocess.run(["xwininfo", "-root", "-tree", "-display", display], capture_output=True, text=True,
                          check=True).stdout


def geometry(display, title):
    """(x, y, width, height) of the window of that title, in device pixels of the whole display."""
    text = subprocess.run(["xwininfo", "-name", title, "-display", display], capture_output=True, text=True,
                          check=True).stdout
    return tuple(int(re.search(rf"{what}:\s+(-?\d+)", text).group(1))
                 for what in ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height"))


class Desktop(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="kel-desktop-")
        self.addCleanup(scratch.cleanup)
        self.directory = pathlib.Path(scratch.name)

    def kel(self, display, **extra):
        kel = Kel(BUILD, self.directory, LIBRARY, dict(QT_QPA_PLATFORM="xcb", DISPLAY=display, **extra))
        kel.set_list([("office", "127.0.0.1", "X1")])
        self.addCleanup(kel.kill)
        return kel

    def start(self, *arguments, **extra):
        kel = self.kel(*arguments, **extra)
        kel.start()
        wait_for(lambda: kel.ask("rows listPrinter"), 30, "the printer's row")
        return kel

    def end(self, kel):
        status, _ = kel.quit()
        self.assertEqual(status, 0, kel.log_tail())

    def test_a_tray_that_comes_later_gets_the_icon(self):
        with x_server() as display, running(["openbox"], display):
            kel = self.start(display)
            self.assertNotIn("kel", [line for line in window_tree(display).splitlines() if "trayer" in line])
            with running(["trayer", "--align", "right", "--width", "200", "--widthtype", "pixel"], display) as tray:
                icon = wait_for(lambda: self.icon_in_tray(display), 30, "the icon in the tray")
                self.assertTrue(icon)
                self.assertIsNone(tray.poll())
                self.assertIn("MainWindow", kel.ask("windows"))
            self.end(kel)

    def icon_in_tray(self, display):
        """Whether a window of the program hangs below the tray's panel."""
        depth_of_panel = None
        for line in window_tree(display).splitlines():
            depth = len(line) - len(line.lstrip())
            if depth_of_panel is not None and depth <= depth_of_panel:
                depth_of_panel = None
            if '"panel"' in line or "trayer" in line:
                depth_of_panel = depth if depth_of_panel is None else depth_of_panel
            elif depth_of_panel is not None and '"kel"' in line:
                return True
        return False

    def test_a_status_notifier_host_reads_and_clicks_the_menu(self):
        with session_bus() as bus, x_server() as display, running(["openbox"], display), \
                running(["/usr/bin/python3", str(SUPPORT / "status_notifier_host.py")],
                        DBUS_SESSION_BUS_ADDRESS=bus) as host:
            self.assertEqual(host.stdout.readline().strip(), "ready")
            kel = self.start(display, DBUS_SESSION_BUS_ADDRESS=bus)
            self.assertTrue(host.stdout.readline().startswith("item "))

            def ask(line):
                host.stdin.write(line + "\n")
                host.stdin.flush()
                return host.stdout.readline().strip()

            self.assertEqual(json.loads(ask("menu")), ["显示主界面", "关于", "退出"])
            self.assertEqual(ask("click 关于"), "clicked")
            wait_for(lambda: "AboutDialog" in kel.ask("windows"), 10, "the About dialog")
            kel.ask("close MainWindow")
            wait_for(lambda: "MainWindow" not in kel.ask("windows"), 10, "the hidden window")
            self.assertEqual(ask("click 显示主界面"), "clicked")
            wait_for(lambda: "MainWindow" in kel.ask("windows"), 10, "the window shown again")
            self.assertEqual(ask("click 退出"), "clicked")
            self.assertEqual(kel.wait_end(), 0, kel.log_tail())

    def test_the_end_of_the_session_ends_the_program_cleanly(self):
        with x_server() as display, running([str(BUILD / "tests" / "session_manager")]) as manager:
            address = manager.stdout.readline().strip()
            kel = self.start(display, SESSION_MANAGER=address)
            self.assertEqual(manager.stdout.readline().strip(), "registered")
            manager.stdin.write("end\n")
            manager.stdin.flush()
            self.assertEqual(manager.stdout.readline().strip(), "saved")
            self.assertEqual(kel.wait_end(), 0, kel.log_tail())

    def test_on_two_screens_the_window_is_centred_on_the_first(self):
        with x_server("+xinerama", "-screen", "0", "1920x1080x24", "-screen", "1", "1280x1024x24") as display:
            kel = self.start(display)
            kel.ask("close MainWindow")
            wait_for(lambda: "MainWindow" not in kel.ask("windows"), 10, "the hidden window")
            kel.ask("trigger 显示主界面")
            wait_for(lambda: "MainWindow" in kel.ask("windows"), 10, "the window shown again")
            x, y, width, height = geometry(display, "Kel 打印机管理工具")
            self.assertEqual((x, y), ((1920 - width) // 2, (1080 - height) // 2))
            self.end(kel)

    def test_a_scale_factor_of_two_doubles_the_window(self):
        with x_server("-screen", "0", "3840x2160x24") as display:
            kel = self.start(display, QT_SCALE_FACTOR="2")
            *_, width, height = geometry(display, "Kel 打印机管理工具")
            self.assertEqual((width % 2, height % 2), (0, 0))
            self.assertGreaterEqual((width, height), (2 * 1103, 2 * 606))
            self.end(kel)

    def test_a_browser_gets_the_address_and_the_environment_that_the_program_was_given(self):
        seen = self.directory / "seen"
        stand_in = self.directory / "path" / "xdg-open"
        stand_in.parent.mkdir()
        stand_in.write_text(f'#!/bin/sh\n{{ echo "$1"; env; }} > {seen}.part\nmv {seen}.part {seen}\n')
        stand_in.chmod(0o755)
        with x_server() as display:
            kel = self.start(display, PATH=f"{stand_in.parent}:/usr/bin:/bin")
            wait_for(lambda: "127.0.0.1" in kel.ask("text lbPrinterIP"), 30, "the printer's address")
            libraries = pathlib.Path(f"/proc/{kel.process.pid}/maps").read_text()
            self.assertFalse("swrast_dri" in libraries or "libGLX_mesa" in libraries, "no GL driver is loaded")
            kel.ask("click pushButton_EWS")
            wait_for(seen.exists, 20, "the browser's stand-in")
            address, *environment = seen.read_text().splitlines()
            self.assertEqual(address, "http://127.0.0.1")
            self.assertEqual([line for line in environment if line.startswith("QT_XCB_GL")], [])
            self.end(kel)

    def test_a_session_bus_that_is_started_meanwhile_gets_the_environment_that_the_program_was_given(self):
        mark = f"KEL_STARTED_BY={self.directory}"
        with x_server() as display:
            kel = self.kel(display, KEL_STARTED_BY=str(self.directory))
            kel.environment.pop("DBUS_SESSION_BUS_ADDRESS", None)
            kel.start()
            bus = wait_for(lambda: self.started("dbus-daemon", mark), 20, "the session bus that was started")
            self.addCleanup(self.terminate, bus)
            environment = pathlib.Path(f"/proc/{bus}/environ").read_text().split("\0")
            self.assertEqual([line for line in environment if line.startswith("QT_XCB_GL")], [])
            libraries = pathlib.Path(f"/proc/{kel.process.pid}/maps").read_text()
            self.assertFalse("swrast_dri" in libraries or "libGLX_mesa" in libraries, "no GL driver is loaded")
            self.end(kel)

    def test_without_x_windows_no_session_bus_is_started(self):
        with x_server() as display:
            kel = Kel(BUILD, self.directory, LIBRARY, dict(DISPLAY=display, KEL_STARTED_BY=str(self.directory)))
            kel.environment.pop("DBUS_SESSION_BUS_ADDRESS", None)
            self.addCleanup(kel.kill)
            kel.start()
            self.assertIsNone(self.started("dbus-daemon", f"KEL_STARTED_BY={self.directory}"))
            self.end(kel)

    @staticmethod
    def terminate(process):
        with contextlib.suppress(ProcessLookupError):  # a bus ends with its last client
            os.kill(process, signal.SIGTERM)

    @staticmethod
    def started(name, mark):
        """The process of that name that has the mark in its environment, or None."""
        for process in pathlib.Path("/proc").iterdir():
            with contextlib.suppress(OSError):
                if process.name.isdigit() and (process / "comm").read_text().strip() == name and \
                        mark in (process / "environ").read_bytes().decode(errors="replace").split("\0"):
                    return int(process.name)
        return None


if __name__ == "__main__":
    alone()
    main("desktop_test")
