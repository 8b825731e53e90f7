#!/usr/bin/python3
"""The tray icon and its menu in a real XEmbed tray, by mouse and keys."""

import re
import subprocess
import time

import window_case
from harness import Kel, lock_file_is_held, main, wait_for
from window_case import WINDOW, WindowCase, tearDownModule  # noqa: F401

ITEMS = ["显示主界面", "关于", "退出"]

def output(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout


def setUpModule():
    window_case.setUpModule()
    Tray.popups = WindowCase.ui.Popups()


class Tray(WindowCase):
    popups = None

    def setUp(self):
        super().setUp()
        self.kel = Kel(self.desktop, self.id())
        self.addCleanup(self.kel.stop)
        self.start()
        wait_for(self.is_icon_in_place, 20, "the icon in its place in the tray")

    def icon(self):
        """The icon's window, (x, y, width, height) on the screen: the program's only window inside of the panel."""
        tree = output("xwininfo", "-root", "-tree")
        panel = re.search(r'"panel": \("panel" "trayer"\).*?(?=\n {8}0x)', tree, re.DOTALL)
        found = panel and re.search(r'\("kel" "kel"\)\s+(\d+)x(\d+)\S+\s+\+(\d+)\+(\d+)', panel.group())
        if not found:
            return None
        width, height, x, y = map(int, found.groups())
        return x, y, width, height

    def is_icon_in_place(self):
        """Where a click would meet it: a panel moves its icons for a moment after one has come."""
        before = self.icon()
        time.sleep(0.2)
        return before is not None and before == self.icon()

    def click_icon(self, button):
        x, y, width, height = self.icon()
        self.ui.click_at(x + width // 2, y + height // 2, button=button)

    def open_menu(self):
        """The tray's menu and its items, opened by a right click."""
        menu = self.popups.after(lambda: self.click_icon(3))
        return menu, menu.find_all("menu item")

    def wait_closed(self, menu):
        wait_for(lambda: self.app.ask(lambda root: not menu.showing()), 5, "the menu closed")

    def choose(self, text):
        menu, items = self.open_menu()
        self.ui.click(next(item for item in items if item.name == text))
        return menu

    def window_id(self):
        return self.visible_windows()[0]

    def frame_position(self):
        """Where the window's frame begins on the screen, and the size of the window in it."""
        window = self.window_id()
        text = output("xwininfo", "-id", window)
        x, y, width, height = (int(re.search(rf"{what}:\s+(-?\d+)", text).group(1)) for what in
                               ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height"))
        extents = output("xprop", "-id", window, "_NET_FRAME_EXTENTS")
        left, _, top, _ = map(int, extents.split("=")[1].split(","))
        return (x - left, y - top), (width, height)

    def close_window(self):
        self.close_by_keys()
        wait_for(lambda: not self.app.window(WINDOW), 10, "the window closed")

    def test_a_right_click_shows_the_three_items_in_their_order(self):
        menu, items = self.open_menu()
        self.assertEqual([item.name for item in items], ITEMS)
        self.ui.keys("Escape")
        self.wait_closed(menu)
        self.assertIsNone(self.kel.process.poll())

    def test_the_closed_window_comes_back_centred(self):
        self.close_window()
        self.assertIsNone(self.kel.process.poll())
        self.choose("显示主界面")
        wait_for(lambda: self.app.window(WINDOW), 10, "the window")
        _, (width, height) = self.frame_position()
        centred = ((1920 - width) // 2, (1080 - height) // 2)
        wait_for(lambda: self.frame_position()[0] == centred, 5, f"the window at {centred}, not {self.frame_position()}")

    def test_a_visible_window_stays_where_it_is(self):
        subprocess.run(["xdotool", "windowmove", "--sync", self.window_id(), "40", "300"], check=True)
        before = self.frame_position()
        self.wait_closed(self.choose("显示主界面"))
        self.assertEqual(self.frame_position(), before)

    def test_about_opens_the_dialog_with_the_version(self):
        self.choose("关于")
        label = wait_for(lambda: self.app.ask(lambda root: root.find("label", "版本号：2.0.0-1+0")), 10, "the dialog")
        self.assertTrue(label.showing())
        self.assertTrue(self.app.window(WINDOW))

    def test_the_menu_obeys_the_keyboard(self):
        self.open_menu()
        self.ui.keys("Down", "Down", "Return")
        wait_for(lambda: self.app.ask(lambda root: root.find("label", "版本号：2.0.0-1+0")), 10, "the About dialog")

    def test_a_left_click_does_nothing(self):
        self.close_window()
        self.click_icon(1)
        # Whatever the left click did is done once the menu that was asked for after it is there.
        self.open_menu()
        self.assertIsNone(self.app.window(WINDOW))

    def test_quit_ends_the_program_and_frees_the_lock(self):
        self.choose("退出")
        self.assertEqual(self.kel.process.wait(20), 0)
        self.assertFalse(lock_file_is_held())
        wait_for(lambda: not self.icon(), 5, "the icon gone")

    def test_quit_works_while_the_window_is_closed(self):
        self.close_window()
        self.choose("退出")
        self.assertEqual(self.kel.process.wait(20), 0)


if __name__ == "__main__":
    main("tray_test")
