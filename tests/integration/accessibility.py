"""Reads and finds what a program shows through AT-SPI, as a screen reader does.

Import it after a Desktop was made: the library looks for the bus in the environment, once.
"""

import os
import subprocess
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

# A program that was just started may register before it answers: rather ask again than wait for one answer.
PATIENCE_MS = 1000 * int(os.environ.get("KEL_PATIENCE", "1"))
Atspi.set_timeout(PATIENCE_MS, PATIENCE_MS)


class Node:
    """One widget, as it was when it was found."""

    def __init__(self, accessible):
        self._accessible = accessible
        self.role = accessible.get_role_name()
        self.name = accessible.get_name() or ""

    def __repr__(self):
        return f"{self.role} {self.name!r}"

    def children(self):
        found = []
        for index in range(self._accessible.get_child_count()):
            child = self._accessible.get_child_at_index(index)
            if child is not None:
                found.append(Node(child))
        return found

    def walk(self):
        """This node and all below, in the order of their creation."""
        yield self
        for child in self.children():
            yield from child.walk()

    def text(self):
        """The contents of an editor, the name of anything else."""
        interface = self._accessible.get_text_iface()
        if interface is None:
            return self.name
        return Atspi.Text.get_text(interface, 0, Atspi.Text.get_character_count(interface))

    def value(self):
        """The number that a progress bar shows."""
        return self._accessible.get_value_iface().get_current_value()

    def has_state(self, state):
        return self._accessible.get_state_set().contains(getattr(Atspi.StateType, state))

    def showing(self):
        return self.has_state("SHOWING")

    def extents(self):
        """(x, y, width, height) on the screen."""
        box = self._accessible.get_component_iface().get_extents(Atspi.CoordType.SCREEN)
        return box.x, box.y, box.width, box.height

    def centre(self):
        x, y, width, height = self.extents()
        return x + width // 2, y + height // 2

    def find(self, role, name=None, showing=True):
        """The first one of that role (and name) below; None where there is none."""
        return next(iter(self.find_all(role, name, showing)), None)

    def find_all(self, role, name=None, showing=True):
        return [node for node in self.walk()
                if node.role == role and (name is None or node.name == name) and (not showing or node.showing())]


class Application:
    """A running program on the accessibility bus, found by its process id."""

    def __init__(self, process):
        self._process = process

    def root(self):
        desktop = Atspi.get_desktop(0)
        for index in range(desktop.get_child_count()):
            child = desktop.get_child_at_index(index)
            if child is not None and child.get_process_id() == self._process.pid:
                return Node(child)
        return None

    def ask(self, question):
        """question(root), or None while the program is not there or changes under our hands."""
        try:
            # Cached answers would be older than the window.
            Atspi.get_desktop(0).clear_cache()
            root = self.root()
            return question(root) if root is not None else None
        except GLib.Error:
            return None

    def window(self, title):
        """The visible top-level window of that title."""
        return self.ask(lambda root: next((node for node in root.children() if node.name == title and node.showing()),
                                          None))


class Popups:
    """The popup menus that open: a tray's menu is below no window of the program, only the event that tells of its opening
    leads to it. Made before the program starts: one that is not yet known to be listened to tells nothing."""

    def __init__(self):
        self._opened = []
        self._listener = Atspi.EventListener.new(self._note)
        self._listener.register("object:state-changed:showing")

    def _note(self, event):
        if event.detail1 and event.source.get_role() == Atspi.Role.POPUP_MENU:
            self._opened.append(Node(event.source))

    def after(self, action, seconds=30):
        """Does something that opens a popup menu, and returns that menu."""
        while GLib.MainContext.default().iteration(False):
            pass
        self._opened.clear()
        action()
        limit = time.monotonic() + seconds
        while not self._opened and time.monotonic() < limit:
            if not GLib.MainContext.default().iteration(False):
                time.sleep(0.01)
        if not self._opened:
            raise AssertionError(f"not within {seconds} s: a popup menu")
        return self._opened[0]


def value_beside(window, caption):
    """The text of the label that follows the label of that caption."""
    labels = [node for node in window.walk() if node.role == "label"]
    for label, following in zip(labels, labels[1:]):
        if label.name == caption:
            return following.name
    return None


def click(node, button=1, repeat=1):
    """A real click of the mouse into the middle of a widget."""
    click_at(*node.centre(), button=button, repeat=repeat)


def click_at(x, y, button=1, repeat=1):
    subprocess.run(["xdotool", "mousemove", str(x), str(y), "click", "--repeat", str(repeat), str(button)],
                   check=True)


def keys(*names):
    """Real key strokes, by their X names."""
    subprocess.run(["xdotool", "key", "--delay", "30", *names], check=True)


def type_text(text):
    subprocess.run(["xdotool", "type", "--delay", "30", text], check=True)


def colour_at(x, y, width, height):
    """The average (red, green, blue) of a piece of the screen."""
    done = subprocess.run(["import", "-window", "root", "-crop", f"{width}x{height}+{x}+{y}", "+repage", "-depth", "8",
                           "rgb:-"], stdout=subprocess.PIPE, check=True)
    pixels = done.stdout
    count = len(pixels) // 3
    return tuple(sum(pixels[channel::3]) // count for channel in range(3))
