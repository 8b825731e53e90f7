#!/usr/bin/python3
"""A desktop's notifications without a face: owns org.freedesktop.Notifications on the session bus. Prints "ready", then a
line of JSON for each notification: what its sender said."""

import json

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

NAME = "org.freedesktop.Notifications"


class Notifications(dbus.service.Object):
    def __init__(self, bus):
        super().__init__(dbus.service.BusName(NAME, bus), "/org/freedesktop/Notifications")

    @dbus.service.method(NAME, in_signature="susssasa{sv}i", out_signature="u")
    def Notify(self, program, _replaced, icon, title, text, actions, hints, timeout):
        print(json.dumps({"program": program, "icon": icon, "title": title, "text": text, "actions": list(actions),
                          "hints": {str(name): str(hint) for name, hint in hints.items()}, "timeout": int(timeout)}), flush=True)
        return dbus.UInt32(1)


dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
host = Notifications(dbus.SessionBus())
print("ready", flush=True)
GLib.MainLoop().run()
