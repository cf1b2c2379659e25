#!/usr/bin/python3
"""A client of the quotlink feeder service, with Debian's python3-dbus.

Creates a QUOTLINKCls object on the session bus (the bus starts `quotlink serve` when it
doesn't run), starts it with a folder, watches the symbols given and prints each FeederReady.
Releasing the object at the end shuts the service down, as in process.

Usage: feeder_client.py [--folder DIR] [--count N] SYMBOL...
  --folder DIR   the feeder's folder (absolute; default: the service's own)
  --count N      release and end after N quotes (default: run until Ctrl-C)
"""
import argparse
import os
import signal
import sys

import dbus
import dbus.mainloop.glib
from gi.repository import GLib

BUS_NAME = "io.quotlink.Feeder"
FACTORY_PATH = "/io/quotlink/Feeder"
FACTORY_INTERFACE = "io.quotlink.Feeder1"
OBJECT_INTERFACE = "io.quotlink.QUOTLINKCls1"
# The mailbox of FeederReady, in the order of the signal's struct.
FIELDS = ("Simbolo", "Last", "Bid", "Ask", "LastS", "Change", "BidS", "AskS", "OpenV", "High",
          "Low", "Previous", "OInt", "Vol", "TimeV", "ComunicationOK", "Flag")


def main():
    parser = argparse.ArgumentParser(description="Prints the quotes of the quotlink service.")
    parser.add_argument("--folder", default="")
    parser.add_argument("--count", type=int, default=0)
    parser.add_argument("symbols", nargs="+")
    args = parser.parse_args()
    if args.folder:
        args.folder = os.path.abspath(args.folder)

    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.SessionBus()
    # The first call starts the service. Its unique name is kept: once it has ended, a call
    # fails instead of starting another one.
    factory = bus.get_object(BUS_NAME, FACTORY_PATH)
    path = factory.CreateObject(dbus_interface=FACTORY_INTERFACE)
    service = bus.get_name_owner(BUS_NAME)
    feeder = dbus.Interface(bus.get_object(service, path, introspect=False), OBJECT_INTERFACE)

    loop = GLib.MainLoop()
    state = {"seen": 0, "last": 0}

    def feeder_ready(mailbox, sequence):
        quote = dict(zip(FIELDS, mailbox))
        if sequence > state["last"] + 1:
            print(f"({sequence - state['last'] - 1} quotes missed)", file=sys.stderr)
        state["last"] = sequence
        print("{Simbolo:<8} Last {Last:<10g} Bid {Bid:<10g} Ask {Ask:<10g} Vol {Vol:<8g} "
              "Flag {Flag}".format(**quote), flush=True)
        state["seen"] += 1
        if args.count and state["seen"] >= args.count:
            loop.quit()

    # The service sends FeederReady to the object's owner alone.
    bus.add_signal_receiver(feeder_ready, signal_name="FeederReady",
                            dbus_interface=OBJECT_INTERFACE, bus_name=service, path=path)
    GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, signal.SIGINT, loop.quit)
    GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, signal.SIGTERM, loop.quit)

    # Iniciar returns when the session start has ended: over 20 s without a feed server.
    feeder.Iniciar(args.folder, timeout=120)
    for symbol in args.symbols:
        feeder.AddSimbolos(symbol)
    loop.run()
    feeder.Release()
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except dbus.DBusException as e:
        print(f"feeder_client: {e.get_dbus_name()}: {e.get_dbus_message()}", file=sys.stderr)
        sys.exit(1)
