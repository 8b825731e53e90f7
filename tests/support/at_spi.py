"""Reads and presses what a program shows through AT-SPI, as a screen reader does.

connect(display, bus) first, before anything else of this module: the library looks for its bus once. A program under
test needs QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 and must start afterwards, since Qt reads the bus's address from the root
window, and only when it starts.
"""

import contextlib
import os
import shutil
import subprocess

from desktop import running
from kel_driver import wait_for

Atspi = None
PRESSES = ("Press", "Toggle", "Check", "ShowMenu")


@contextlib.contextmanager
def connect(display, bus):
    """Starts the accessibility bus and announces it on the display."""
    global Atspi
    environment = dict(DISPLAY=display, DBUS_SESSION_BUS_ADDRESS=bus)
    os.environ.update(environment)
    launcher = shutil.which("at-spi-bus-launcher", path="/usr/libexec:/usr/lib/at-spi2-core")
    with running([launcher, "--launch-immediately"], **environment):
        def address():
            answer = subprocess.run(["gdbus", "call", "--session", "--dest", "org.a11y.Bus", "--object-path",
                                     "/org/a11y/bus", "--method", "org.a11y.Bus.GetAddress"],
                                    stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout
            return answer.split("'")[1] if "'" in answer else None

        found = wait_for(address, 20, "the accessibility bus")
        subprocess.run(["xprop", "-root", "-format", "AT_SPI_BUS", "8s", "-set", "AT_SPI_BUS", found], check=True)
        os.environ["AT_SPI_BUS_ADDRESS"] = found
        import gi
        gi.require_version("Atspi", "2.0")
        from gi.repository import Atspi as library
        library.set_timeout(10000, 15000)  # an answer may take longer than the 0.8 s that people's patience is put at
        Atspi = library
        yield


def unless_gone(question):
    """The answer; None where what was asked about has gone meanwhile."""
    from gi.repository import GLib
    try:
        return question()
    except GLib.Error:
        return None


def windows(pid):
    """{title: accessible} of the visible top-level windows of a process."""
    Atspi.get_desktop(0).clear_cache()
    for application in children(Atspi.get_desktop(0)):
        if application.get_process_id() == pid:
            return {window.get_name(): window for window in children(application) if is_showing(window)}
    return {}


def children(node):
    """Those that are still there."""
    found = [unless_gone(lambda index=index: node.get_child_at_index(index))
             for index in range(unless_gone(node.get_child_count) or 0)]
    return [child for child in found if child is not None]


def walk(node):
    yield node
    for child in children(node):
        yield from walk(child)


def is_showing(node):
    return node.get_state_set().contains(Atspi.StateType.SHOWING)


def is_checked(node):
    return node.get_state_set().contains(Atspi.StateType.CHECKED)


def is_active(window):
    return window.get_state_set().contains(Atspi.StateType.ACTIVE)


def is_focused(node):
    return node.get_state_set().contains(Atspi.StateType.FOCUSED)


def names(window, role, showing=True):
    """The names of all widgets of that role, in the order of their creation; not of those that go meanwhile."""
    def name_of(node):
        return node.get_name() if node.get_role_name() == role and (is_showing(node) or not showing) else None

    found = [unless_gone(lambda node=node: name_of(node)) for node in walk(window)]
    return [name for name in found if name is not None]


def find_or_none(window, role, name=None):
    def is_it(node):
        return node.get_role_name() == role and (name is None or node.get_name() == name)

    return next((node for node in walk(window) if unless_gone(lambda node=node: is_it(node))), None)


def find(window, role, name=None):
    found = find_or_none(window, role, name)
    if found is None:
        raise LookupError(f"no {role} {name!r}")
    return found


def press(node):
    """Does to a button what a screen reader's user does."""
    action = node.get_action_iface()
    for index in range(action.get_n_actions()):
        if action.get_action_name(index) in PRESSES:
            return action.do_action(index)
    raise LookupError(f"{node.get_name()!r} cannot be pressed")


def click(node):
    """A real click of the mouse into the middle of a widget, for what has no action."""
    box = node.get_component_iface().get_extents(Atspi.CoordType.SCREEN)
    subprocess.run(["xdotool", "mousemove", "--sync", str(box.x + box.width // 2), str(box.y + box.height // 2),
                    "click", "1"], check=True)


def write(node, content):
    """Writes into an editor, in place of what is there."""
    if not node.get_editable_text_iface().set_text_contents(content):
        raise LookupError(f"{node.get_name()!r} takes no text")


def text(node):
    interface = node.get_text_iface()
    return interface.get_text(0, interface.get_character_count())
