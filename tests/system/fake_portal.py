"""The desktop portal's permission store and its device question, on the session's D-Bus, as a sandboxed program meets
them.

  fake_portal.py APPLICATION STORED ANSWER

STORED is what the store holds for the application: texts between commas; "none" for no entry of the application's,
"empty" for no entry at all. ANSWER is what the user says: "yes" or "no" (and the store keeps it), "early" (yes, before
the request's name is known to who asked), "dismiss", "refuse" (the portal does not ask) or "leave" (it goes away).
Prints "ready", and then a line for each call: "lookup", "ask".
"""

import sys

import dbus
import dbus.lowlevel
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

STORE = "org.freedesktop.impl.portal.PermissionStore"
PORTAL = "org.freedesktop.portal.Desktop"


def say(line):
    print(line, flush=True)


class Error(dbus.DBusException):
    def __init__(self, name):
        super().__init__("no")
        self._dbus_error_name = f"org.freedesktop.portal.Error.{name}"


class Store(dbus.service.Object):
    def __init__(self, bus, application, stored):
        super().__init__(bus, "/org/freedesktop/impl/portal/PermissionStore")
        self.entry = None
        if stored != "empty":
            self.entry = {"org.example.Other": ["yes"]}
            if stored != "none":
                self.entry[application] = stored.split(",")

    @dbus.service.method(STORE, in_signature="ss", out_signature="a{sas}v")
    def Lookup(self, table, identifier):
        say("lookup")
        if (table, identifier) != ("devices", "microphone") or self.entry is None:
            raise Error("NotFound")
        return self.entry, dbus.Byte(0)


class Portal(dbus.service.Object):
    def __init__(self, bus, application, answer, store, loop):
        super().__init__(bus, "/org/freedesktop/portal/desktop")
        self.bus, self.application, self.answer, self.store, self.loop = bus, application, answer, store, loop

    @dbus.service.method("org.freedesktop.portal.Device", in_signature="uasa{sv}", out_signature="o",
                         sender_keyword="sender")
    def AccessDevice(self, process, devices, options, sender=None):
        say("ask")
        if self.answer == "refuse" or list(devices) != ["microphone"] or process == 0:
            raise Error("NotAllowed")
        path = "/org/freedesktop/portal/desktop/request/1_1/t"
        if self.answer == "leave":
            GLib.timeout_add(100, self.loop.quit)
            return dbus.ObjectPath(path)
        # Somebody else's response, which is none to this question.
        self.respond(sender, path + "2", 1)
        if self.answer == "early":
            self.decide(sender, path)
        else:
            GLib.timeout_add(100, self.decide, sender, path)
        return dbus.ObjectPath(path)

    def decide(self, sender, path):
        if self.answer != "dismiss":
            self.store.entry = {self.application: ["no" if self.answer == "no" else "yes"]}
        self.respond(sender, path, {"no": 1, "dismiss": 2}.get(self.answer, 0))

    def respond(self, sender, path, code):
        message = dbus.lowlevel.SignalMessage(path, "org.freedesktop.portal.Request", "Response")
        message.set_destination(sender)
        message.append(dbus.UInt32(code), dbus.Dictionary({}, signature="sv"), signature="ua{sv}")
        self.bus.send_message(message)


def main():
    application, stored, answer = sys.argv[1:]
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.SessionBus()
    loop = GLib.MainLoop()
    names = [dbus.service.BusName(name, bus) for name in (STORE, PORTAL)]
    store = Store(bus, application, stored)
    portal = Portal(bus, application, answer, store, loop)
    say("ready")
    loop.run()
    del names, portal


if __name__ == "__main__":
    main()
