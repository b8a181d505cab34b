"""A file manager as its callers see it, on the bus that DBUS_SESSION_BUS_ADDRESS names.

usage: file_manager.py answer|refuse|silent

It says "ready", then each call that it gets with its arguments; it answers, refuses, or never answers.
"""

import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from dbusmock.mockobject import DBusMockObject
from gi.repository import GLib

NAME = "org.freedesktop.FileManager1"
PATH = "/org/freedesktop/FileManager1"
CODE = {
    "answer": "",
    "refuse": "raise dbus.exceptions.DBusException('no such file', name='org.freedesktop.DBus.Error.Failed')",
    "silent": "import time; time.sleep(3600)",
}

sys.stdout.reconfigure(line_buffering=True)
dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
bus = dbus.bus.BusConnection(dbus.bus.BusConnection.TYPE_SESSION)
name = dbus.service.BusName(NAME, bus, allow_replacement=False, replace_existing=False, do_not_queue=True)
manager = DBusMockObject(name, PATH, NAME, {})
manager.AddMethod(NAME, "ShowItems", "ass", "", CODE[sys.argv[1]])
print("ready")
GLib.MainLoop().run()
