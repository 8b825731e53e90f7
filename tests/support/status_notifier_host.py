#!/usr/bin/python3
"""A StatusNotifierItem host without a face: owns org.kde.StatusNotifierWatcher on the session bus.

Prints "ready" when the name is owned and "item NAME" for each item that registers. Commands on standard input, each
answered by one line: "menu" (the labels of the item's menu as JSON), "click LABEL" ("clicked" or "error: ...").
"""

import json
import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

WATCHER = "org.kde.StatusNotifierWatcher"
MENU = "com.canonical.dbusmenu"


class Watcher(dbus.service.Object):
    """The watcher's interface, as far as Qt asks for it; the introspection must list the property it reads."""

    def __init__(self, bus):
        self.items = []
        self.bus = bus
        super().__init__(dbus.service.BusName(WATCHER, bus), "/StatusNotifierWatcher")

    @dbus.service.method(WATCHER, in_signature="s", sender_keyword="sender")
    def RegisterStatusNotifierItem(self, service, sender=None):
        self.items.append(sender if service.startswith("/") else service)
        print("item", self.items[-1], flush=True)

    @dbus.service.method(WATCHER, in_signature="s")
    def RegisterStatusNotifierHost(self, service):
        pass

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, interface, name):
        return self.GetAll(interface)[name]

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="s", out_signature="a{sv}")
    def GetAll(self, _interface):
        return {"IsStatusNotifierHostRegistered": dbus.Boolean(True), "ProtocolVersion": dbus.Int32(0),
                "RegisteredStatusNotifierItems": dbus.Array(self.items, signature="s")}

    @dbus.service.method(dbus.INTROSPECTABLE_IFACE, out_signature="s", path_keyword="object_path",
                         connection_keyword="connection")
    def Introspect(self, object_path, connection):
        text = super().Introspect(object_path, connection)
        properties = ('<property name="IsStatusNotifierHostRegistered" type="b" access="read"/>'
                      '<property name="ProtocolVersion" type="i" access="read"/>'
                      '<property name="RegisteredStatusNotifierItems" type="as" access="read"/>')
        return text.replace(f'<interface name="{WATCHER}">', f'<interface name="{WATCHER}">{properties}')

    def menu(self):
        """{label: id} of the last item's menu."""
        item = self.bus.get_object(self.items[-1], "/MenuBar")
        _, layout = item.GetLayout(0, -1, dbus.Array([], signature="s"), dbus_interface=MENU)
        return {str(child[1]["label"]): int(child[0]) for child in layout[2] if "label" in child[1]}

    def click(self, label):
        item = self.bus.get_object(self.items[-1], "/MenuBar")
        item.Event(self.menu()[label], "clicked", dbus.String("", variant_level=1), dbus.UInt32(0), dbus_interface=MENU)


def answer(watcher, line):
    command, _, argument = line.strip().partition(" ")
    try:
        if command == "menu":
            return json.dumps(list(watcher.menu()), ensure_ascii=False)
        if command == "click":
            watcher.click(argument)
            return "clicked"
        return "error: no such command"
    except (dbus.DBusException, LookupError) as error:
        return f"error: {error!r}"


def main():
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    watcher = Watcher(dbus.SessionBus())
    loop = GLib.MainLoop()

    def read(*_):
        line = sys.stdin.readline()
        if not line:
            loop.quit()
            return False
        print(answer(watcher, line), flush=True)
        return True

    GLib.io_add_watch(sys.stdin.fileno(), GLib.PRIORITY_DEFAULT, GLib.IO_IN | GLib.IO_HUP, read)
    print("ready", flush=True)
    loop.run()


if __name__ == "__main__":
    main()
