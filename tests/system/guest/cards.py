"""What the kernel says about the cards, read by the tests themselves and not through the player."""

import pathlib
import re
import subprocess
import time

from pace import skipping

CARDS = pathlib.Path("/proc/asound")
STEP = 0.01  # seconds between two looks


def wait_until(condition, seconds):
    """The condition's value when it came true within the time, else a false one."""
    end = time.monotonic() + seconds
    while True:
        value = condition()
        if value or time.monotonic() > end:
            return value
        time.sleep(STEP)


class Pcm:
    """One PCM of one card. `name` is the card's id in /proc/asound."""

    def __init__(self, name, device=0, direction="p"):
        self.folder = CARDS / name / f"pcm{device}{direction}"

    def _read(self, file):
        """Per open substream, what the file says as a dictionary; nothing for a card that has gone."""
        found = []
        for path in sorted(self.folder.glob(f"sub*/{file}")):
            try:
                text = path.read_text()
            except OSError:
                continue
            if text.strip() not in ("closed", "", "no setup"):
                found.append({key.strip(): value.strip() for key, _, value in
                              (line.partition(":") for line in text.splitlines())})
        return found

    def closed(self):
        return not self._read("status")

    def running(self):
        return any(status.get("state") == "RUNNING" for status in self._read("status"))

    def owners(self):
        """The processes that hold the PCM: the kernel names a thread, its process is the thread group."""
        return {_process(int(status["owner_pid"])) for status in self._read("status") if "owner_pid" in status}

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
    """Records the loopback card's other side. It runs before the player, and so fixes the format the player must use."""

    def __init__(self, path, sample_format, rate, channels):
        self.path = path
        self.errors = path.with_suffix(".arecord")
        self.pcm = Pcm("Loopback", 1, "c")
        with open(self.errors, "wb") as errors:
            self.process = subprocess.Popen(
                ["arecord", "-q", "-D", "hw:Loopback,1,0", "-t", "raw", "-f", sample_format, "-r", str(rate),
                 "-c", str(channels), f"--buffer-size={rate // 2}", f"--period-size={rate // 20}", str(path)],
                stdin=subprocess.DEVNULL, stderr=errors)

    def __enter__(self):
        if not wait_until(self.pcm.running, 20):
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
