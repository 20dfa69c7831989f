"""The sound server as the matrix sees and changes it, through two of its own programs that stay: one reports every object
and each change, the other sets what it is asked to. To start a program for each question would take most of the time."""

import json
import subprocess
import threading

import desktop
from cards import wait_until

LIMIT = 30  # seconds


class Server:
    def __init__(self):
        self.objects = {}
        self.lock = threading.Lock()
        with open("/tmp/server.log", "ab") as log:
            # Line by line: what is reported into a pipe would otherwise wait for more.
            self.reporter = desktop.start("/usr/bin/stdbuf", "-oL", "/usr/bin/pw-dump", "--monitor", "--no-colors",
                                          stdout=subprocess.PIPE, stderr=log, text=True)
            self.setter = desktop.start("/usr/bin/pw-cli", stdin=subprocess.PIPE, stdout=log, stderr=log, text=True)
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def close(self):
        for process in (self.reporter, self.setter):
            process.terminate()
            process.wait(20)
        self.reader.join(20)
        self.setter.stdin.close()

    def _read(self):
        lines = []
        for line in self.reporter.stdout:
            lines.append(line)
            if line.rstrip() != "]":
                continue
            changed, lines = json.loads("".join(lines)), []
            with self.lock:
                for item in changed:
                    if item.get("info") is None:
                        self.objects.pop(item["id"], None)
                    else:
                        self.objects[item["id"]] = item

    def find(self, **properties):
        """The object that has these; None."""
        with self.lock:
            items = list(self.objects.values())
        wanted = {key.replace("_", "."): value for key, value in properties.items()}
        return next((item for item in items if wanted.items() <= desktop.properties_of(item).items()), None)

    def wait_for(self, **properties):
        found = wait_until(lambda: self.find(**properties), LIMIT)
        if not found:
            raise RuntimeError(f"the server has no object with {properties}")
        return found

    def _ask(self, text):
        if self.setter.poll() is not None:
            raise RuntimeError(f"pw-cli has ended with {self.setter.returncode}")
        self.setter.stdin.write(text + "\n")
        self.setter.stdin.flush()

    def set(self, item, kind, **values):
        self._ask(f"set-param {item['id']} {kind} {json.dumps(values)}")

    def suspend(self, node):
        """It closes its card now, and not some seconds later."""
        self._ask(f"send-command {node['id']} Suspend {{}}")

    def set_settings(self, node, settings):
        """Of the node's converter: name → value."""
        self.set(node, "Props", params=[part for pair in settings.items() for part in pair])

    def sink_profile(self, card_name, profile):
        """What the sink of a card's profile calls it: it begins with the profile's name. Chooses the profile."""
        def found():
            with self.lock:
                items = list(self.objects.values())
            names = [desktop.properties_of(item).get("device.profile.name", "") for item in items
                     if desktop.properties_of(item).get("media.class") == "Audio/Sink"]
            return next((name for name in names if name.startswith(profile + ":")), None)

        wait_until(lambda: self.profile_of(card_name, profile), LIMIT)
        for _ in range(LIMIT):
            chosen = self.profile_of(card_name, profile)
            if not chosen:
                raise RuntimeError(f"the card has no profile {profile}")
            self.set(self.find(device_name=card_name), "Profile", index=chosen["index"], save=True)
            name = wait_until(found, 2)
            if name:
                return name
        raise RuntimeError(f"the card's profile {profile} has no sink")

    def profile_of(self, card_name, name):
        card = self.find(device_name=card_name)
        params = card["info"]["params"] if card else {}
        return next((profile for profile in params.get("EnumProfile", ()) if profile["name"] == name), None)

    def set_profile(self, card_name, name, sink_profile):
        """Of a card. Returns when there is its sink: after Exclusive Access the card is made anew, and
        the object that was asked may have been the one before."""
        for _ in range(LIMIT):
            profile = wait_until(lambda: self.profile_of(card_name, name), LIMIT)
            if not profile:
                raise RuntimeError(f"the card has no profile {name}")
            self.set(self.find(device_name=card_name), "Profile", index=profile["index"], save=True)
            if wait_until(lambda: self.find(device_profile_name=sink_profile, media_class="Audio/Sink"), 2):
                return
        raise RuntimeError(f"the card's profile {name} has no sink")
