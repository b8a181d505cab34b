"""A document portal on the session bus.

usage: document_portal.py serve MOUNT HOST-PATH | confined MOUNT | slow MOUNT | refuse | silent
       document_portal.py add FILE | delete ID

`serve`, `confined`, `slow`, `refuse` and `silent` stand in for the portal: it tells where it is mounted and where each
document really is, or only the former, or takes a second and a half for the latter, or it refuses, or never answers.
Writes "ready", then each call that it gets.

`add` and `delete` give a file to the portal that is there, and write "document ID", or take it back.
"""

import os
import sys

import dbus
import dbus.mainloop.glib

NAME = "org.freedesktop.portal.Documents"
PATH = "/org/freedesktop/portal/documents"
REFUSAL = "raise dbus.exceptions.DBusException('no', name='org.freedesktop.portal.Error.NotAllowed')"


def serve(way, arguments):
    import dbus.service
    from dbusmock.mockobject import DBusMockObject
    from gi.repository import GLib

    def bytes_of(text):
        return f"dbus.ByteArray({os.fsencode(text) + bytes(1)!r})"

    sys.stdout.reconfigure(line_buffering=True)
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.bus.BusConnection(dbus.bus.BusConnection.TYPE_SESSION)
    name = dbus.service.BusName(NAME, bus, allow_replacement=False, replace_existing=False, do_not_queue=True)
    portal = DBusMockObject(name, PATH, NAME, {})
    folder = {"refuse": REFUSAL, "silent": "import time; time.sleep(3600)"}.get(way)
    portal.AddMethod(NAME, "GetMountPoint", "", "ay", folder or "ret = " + bytes_of(arguments[0]))
    info = f"ret = ({bytes_of(arguments[1])}, dbus.Dictionary({{}}, signature='sas'))" if way == "serve" else REFUSAL
    if way == "slow":
        info = "import time; time.sleep(1.5); " + REFUSAL
    portal.AddMethod(NAME, "Info", "s", "aya{sas}", info)
    print("ready")
    GLib.MainLoop().run()


def main(command, *arguments):
    if command in ("serve", "confined", "slow", "refuse", "silent"):
        serve(command, arguments)
    portal = dbus.Interface(dbus.SessionBus().get_object(NAME, PATH), NAME)
    if command == "add":
        descriptor = os.open(arguments[0], os.O_PATH | os.O_CLOEXEC)
        print("document", portal.Add(dbus.types.UnixFd(descriptor), True, True))
    if command == "delete":
        portal.Delete(arguments[0])


main(*sys.argv[1:])
