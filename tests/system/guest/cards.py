"""What the kernel reports about the cards, read by the tests themselves and not through the player."""

import os
import pathlib
import re
import subprocess
import time

from pace import skipping

CARDS = pathlib.Path("/proc/asound")
STEP, LONGER_STEP, LONGEST_STEP = 0.01, 0.03, 0.1  # seconds between two looks


def wait_until(condition, seconds, step=STEP):
    """The condition's value when it came true within the time, else a false one. `step`: seconds between the first looks; longer
    for one that starts a program, which takes what is waited for the processor. What has been waited for long is looked at
    less often, a twentieth of the time late at most: a look takes the machine as long as milliseconds of music."""
    began = now = time.monotonic()
    while True:
        value = condition()
        if value or now > began + seconds:
            return value
        time.sleep(max(step, min(LONGEST_STEP, (now - began) / 20)))
        now = time.monotonic()


class Pcm:
    """One PCM of one card. `name` is the card's id in /proc/asound."""

    def __init__(self, name, device=0, direction="p"):
        self.folder = CARDS / name / f"pcm{device}{direction}"

    def _read(self, file):
        """Per open substream, the content of the file as a dictionary; nothing for a card that is gone."""
        found = []
        for substream in self._substreams():  # without pathlib: this is done a hundred times a second
            try:
                with open(f"{self.folder}/{substream}/{file}", encoding="ascii") as opened:
                    text = opened.read()
            except OSError:
                continue
            if text.strip() not in ("closed", "", "no setup"):
                found.append({key.strip(): value.strip() for key, _, value in
                              (line.partition(":") for line in text.splitlines())})
        return found

    def _substreams(self):
        try:
            return sorted(name for name in os.listdir(self.folder) if name.startswith("sub"))
        except OSError:
            return []

    def statuses(self):
        return self._read("status")

    def closed(self):
        return not self.statuses()

    def running(self):
        return any(status.get("state") == "RUNNING" for status in self.statuses())

    def owners(self):
        """The processes that hold the PCM: the kernel names a thread, its process is the thread group."""
        return {_process(int(status["owner_pid"])) for status in self.statuses() if "owner_pid" in status}

    def setups(self):
        """(format, rate, channels) of everything that is open."""
        return [(parameters["format"], int(parameters["rate"].split()[0]), int(parameters["channels"]))
                for parameters in self._read("hw_params")]

    def setup(self):
        """Of the first of them, or None."""
        return next(iter(self.setups()), None)


def _process(thread):
    try:
        status = pathlib.Path(f"/proc/{thread}/status").read_text()
    except OSError:
        return None
    return next(int(line.split()[1]) for line in status.splitlines() if line.startswith("Tgid:"))


def present(name):
    return (CARDS / name).exists()


def full_volume(name):
    """Sets the card's own mixer to let everything through: emulated USB audio starts at −0.5 dB, HDA muted."""
    listed = subprocess.run(["amixer", "-c", name, "scontrols"], check=True, capture_output=True, text=True, timeout=30)
    for control in re.findall(r"'(.*)',\d+$", listed.stdout, re.MULTILINE):
        subprocess.run(["amixer", "-q", "-c", name, "sset", control, "100%", "unmute"], capture_output=True, timeout=30)


class Capture:
    """Records the other side of a loopback card. It runs before the player, and so fixes the format the player must use."""

    STARTS = 10

    def __init__(self, path, sample_format, rate, channels, card="Loopback", buffer=0.5):
        """`buffer`: seconds that it may be late."""
        self.path, self.rate = path, rate
        self.errors = path.with_suffix(".arecord")
        self.pcm = Pcm(card, 1, "c")
        self.command = ["arecord", "-q", "-D", f"hw:{card},1,0", "-t", "raw", "-f", sample_format, "-r", str(rate),
                        "-c", str(channels), f"--buffer-size={int(rate * buffer)}", f"--period-size={int(rate * buffer) // 10}",
                        str(path)]
        self.process = self._started()

    def _started(self):
        with open(self.errors, "wb") as errors:
            return subprocess.Popen(self.command, stdin=subprocess.DEVNULL, stderr=errors)

    def __enter__(self):
        """A sound server that gets the card back looks at it once more, in a format of its own: then arecord ends at once,
        and is started again."""
        for start in range(self.STARTS):
            if start:
                with skipping():
                    time.sleep(1)
                self.process = self._started()
            wait_until(lambda: self.pcm.running() or self.process.poll() is not None, 20)
            if self.process.poll() is None:
                break
        if self.process.poll() is not None or not self.pcm.running():
            self.__exit__()
            raise RuntimeError(f"arecord does not record: {self.errors.read_text().strip()}")
        return self

    def __exit__(self, *_):
        with skipping():
            time.sleep(0.2)  # what the card still holds, and the silence that must follow it
        self.process.terminate()
        self.process.wait(20)
        wait_until(self.pcm.closed, 5)

    def faults(self):
        text = self.errors.read_text()
        return ["the recorder lost frames: the test proves nothing"] if "overrun" in text else []
