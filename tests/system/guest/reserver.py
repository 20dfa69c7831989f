"""reserver.py CARD PRIORITY [keeps]: another program that reserves a sound card, on the session bus of its environment.

Reads commands, a line each: take, drop, request (to let go; with "hold" the device is then opened, until `drop`), property NAME
(of the program that has it). Writes what happens, a JSON line each; `closed`: whether the kernel has all of the card's playback
devices as closed at that moment. With `keeps` it refuses to let go.
"""

import json
import os
import pathlib
import select
import sys
import time

from jeepney import DBusAddress, HeaderFields, MatchRule, MessageType, message_bus, new_error, new_method_call, new_method_return
from jeepney.io.blocking import open_dbus_connection

INTERFACE = "org.freedesktop.ReserveDevice1"
PROPERTIES = "org.freedesktop.DBus.Properties"
ALLOW_REPLACEMENT, REPLACE, DO_NOT_QUEUE = 1, 2, 4
PRIMARY_OWNER = 1


class Reserver:
    def __init__(self, card, priority, keeps):
        self.card, self.priority, self.keeps = card, priority, keeps
        self.name = f"{INTERFACE}.Audio{card}"
        self.holder = DBusAddress(f"/org/freedesktop/ReserveDevice1/Audio{card}", self.name, INTERFACE)
        self.bus = open_dbus_connection("SESSION")
        self.expected = {}  # serial of a call → what its answer is called
        self.holds = False  # whether a reservation opens the device
        self.device, self.opened = None, 0.0  # while it holds the device: its descriptor, and since when
        changes = MatchRule(type="signal", interface="org.freedesktop.DBus", member="NameOwnerChanged")
        changes.add_arg_condition(0, self.name)
        self.call("watching", message_bus.AddMatch(changes))

    def call(self, event, message):
        serial = next(self.bus.outgoing_serial)
        self.expected[serial] = event
        self.bus.send(message, serial=serial)

    def take(self):
        self.call("took", message_bus.RequestName(self.name, ALLOW_REPLACEMENT | REPLACE | DO_NOT_QUEUE))

    def command(self, words):
        if words[0] == "take":
            self.take()
        elif words[0] == "drop":
            self.close()
            self.call("dropped", message_bus.ReleaseName(self.name))
        elif words[0] == "request":
            self.holds = words[1:] == ["hold"]
            self.call("answered", new_method_call(self.holder, "RequestRelease", "i", (self.priority,)))
        else:
            asked = DBusAddress(self.holder.object_path, self.name, PROPERTIES)
            self.call("property", new_method_call(asked, "Get", "ss", (INTERFACE, words[1])))

    def heard(self, message):
        kind, fields = message.header.message_type, message.header.fields
        if kind in (MessageType.method_return, MessageType.error):
            event = self.expected.pop(fields[HeaderFields.reply_serial], None)
            if kind == MessageType.error:
                self.say("failed", what=event, why=fields[HeaderFields.error_name])
            else:
                self.say(event, value=list(message.body))
                if event == "answered" and message.body[0]:
                    self.take()
                elif event == "took" and message.body[0] == PRIMARY_OWNER and self.holds:
                    self.open()
        elif kind == MessageType.signal and fields.get(HeaderFields.member) == "NameOwnerChanged":
            self.say("owner", value=message.body[2])
        elif kind == MessageType.method_call:
            self.asked(message, fields)

    def asked(self, message, fields):
        if fields.get(HeaderFields.member) == "RequestRelease":
            self.say("asked", value=message.body[0])
            self.bus.send(new_method_return(message, "b", (not self.keeps,)))
        elif fields.get(HeaderFields.member) == "Get" and message.body[1] == "Priority":
            self.bus.send(new_method_return(message, "v", (("i", self.priority),)))
        else:
            self.bus.send(new_error(message, "org.freedesktop.DBus.Error.UnknownMethod"))

    def open(self):
        """The kernel refuses the device to every other process from now on."""
        self.device, self.opened = os.open(f"/dev/snd/pcmC{self.card}D0p", os.O_RDWR | os.O_NONBLOCK), time.monotonic()
        self.say("held")

    def close(self):
        if self.device is not None:
            os.close(self.device)
            self.device = None
            self.say("let go", seconds=time.monotonic() - self.opened)

    def closed(self):
        folder = pathlib.Path(f"/proc/asound/card{self.card}")
        return all(status.read_text().strip() == "closed" for status in folder.glob("pcm*p/sub*/status"))

    def say(self, event, **members):
        print(json.dumps({"event": event, "closed": self.closed(), **members}), flush=True)

    def run(self):
        while True:
            ready = select.select([sys.stdin, self.bus.sock], [], [])[0]
            if sys.stdin in ready:
                line = sys.stdin.readline()
                if not line:
                    return
                self.command(line.split())
            if self.bus.sock in ready:
                self.receive()

    def receive(self):
        """Everything that has arrived: one read may bring several messages."""
        try:
            while True:
                self.heard(self.bus.receive(timeout=0))
        except TimeoutError:
            return


if __name__ == "__main__":
    Reserver(int(sys.argv[1]), int(sys.argv[2]), sys.argv[3:] == ["keeps"]).run()
