"""A session bus of the ordinary user, and other programs on it that reserve cards (reserver.py)."""

import grp
import json
import pathlib
import subprocess
import tempfile

from cards import CARDS, wait_until
from probe import start

RESERVER = pathlib.Path(__file__).with_name("reserver.py")
SOON = 20  # seconds within which a working program on the bus has printed a line


class SessionBus:
    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="session-", dir="/tmp"))
        self.folder.chmod(0o777)
        self.settings = {"DBUS_SESSION_BUS_ADDRESS": f"unix:path={self.folder}/bus"}
        with open(self.folder / "errors", "wb") as errors:
            self.process = start("/usr/bin/dbus-daemon", "--session", "--nofork", "--nopidfile",
                                 f"--address=unix:path={self.folder}/bus", stderr=errors)
        if not wait_until((self.folder / "bus").exists, SOON):
            raise RuntimeError(f"no session bus: {(self.folder / 'errors').read_text()}")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.kill()

    def kill(self):
        self.process.kill()
        self.process.wait()

    def program(self, card, priority, *options):
        return Program(self, card, priority, options)


class Program:
    """Another program of the session that knows a card, given by its name in /proc/asound."""

    def __init__(self, bus, card, priority, options):
        number = (CARDS / card).resolve().name.removeprefix("card")
        self.output = pathlib.Path(tempfile.mkstemp(prefix="reserver-", dir="/tmp")[1])
        self.errors = self.output.with_suffix(".errors")
        # Not "start": its commands come through a pipe.
        with open(self.output, "wb") as output, open(self.errors, "wb") as errors:
            self.process = subprocess.Popen(
                ["/usr/bin/python3", "-B", RESERVER, number, str(priority), *options], stdin=subprocess.PIPE, stdout=output,
                stderr=errors, user=4242, group=4242, extra_groups=[grp.getgrnam("audio").gr_gid], env={**bus.settings, "LC_ALL": "C.UTF-8"}, text=True)
        self.wait("watching")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.communicate()

    def send(self, command):
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()

    def events(self, name):
        lines = self.output.read_text().splitlines(keepends=True)
        return [event for event in (json.loads(line) for line in lines if line.endswith("\n")) if event["event"] == name]

    def wait(self, name, count=1):
        """The event, once it has come so many times."""
        if not wait_until(lambda: len(self.events(name)) >= count or self.process.poll() is not None, SOON) or \
                len(self.events(name)) < count:
            raise RuntimeError(f"another program never prints {name!r}: {self.output.read_text()} {self.errors.read_text()}")
        return self.events(name)[count - 1]

    def asked(self, command, name):
        """The event that the command leads to."""
        before = len(self.events(name))
        self.send(command)
        return self.wait(name, before + 1)

    def take(self):
        """Whether the card is its now."""
        return self.asked("take", "took")["value"] == [1]

    def request(self, holds=False):
        """Asks the owner to let go: its answer. An owner that agrees is taken over from at once; `holds`: with the device."""
        return self.asked("request hold" if holds else "request", "answered")

    def story(self):
        return [f"reserver: {line}" for line in self.output.read_text().splitlines()[-8:]]
