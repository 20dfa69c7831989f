"""Runs of the player in the user's session, and what of a track comes out of the loopback card."""

import functools
import json
import pathlib
import random
import subprocess
import threading
import time
import wave

import desktop
from cards import Capture, Pcm, wait_until
from pace import skipping
from pieces import difference, losses, wide  # noqa: F401 - the tests of the desktop have them from here

SHARED = pathlib.Path("/vm/shared")
PROBE = pathlib.Path("/tmp/bin/tolvane-probe")
LOOPBACK = Pcm("Loopback")
LIMIT = 90
ODD = bytes(byte | 1 for byte in range(256))
NOT_RECOVERED = "The output device did not recover after 3 attempts. "


def track(path, rate, width, seconds):
    """Noise without a silent frame, of its own for each name; its frames as 32-bit ones."""
    noise = bytearray(random.Random(f"{pathlib.Path(path).name} {rate} {width} {seconds}").randbytes(int(rate * seconds) * 2 * width))
    frame = 2 * width
    noise[::frame] = noise[::frame].translate(ODD)
    with wave.open(str(path), "wb") as file:
        file.setnchannels(2)
        file.setsampwidth(width)
        file.setframerate(rate)
        file.writeframes(noise)
    return wide(noise, width)


@functools.cache
def name_of(part):
    for line in desktop.text_of(PROBE, "devices").splitlines():
        device = json.loads(line)
        if part in device["uid"]:
            return device["name"]
    raise RuntimeError(f"the player has no device {part}")


class Play:
    """A run of the player, read as it goes."""

    def __init__(self, *arguments):
        self.lines, self.moments = [], []
        self.process = desktop.start(PROBE, "play", *arguments, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def _read(self):
        for line in self.process.stdout:
            self.moments.append(time.monotonic())
            self.lines.append(line.rstrip())

    def said(self, text, seconds=LIMIT):
        """Whether it has, or does within the time."""
        wait_until(lambda: self.has_said(text) or self.process.poll() is not None, seconds)
        return self.has_said(text)

    def says_soon(self, text, seconds=LIMIT):
        """The same while nothing is being loaded."""
        with skipping():
            return self.said(text, seconds)

    def has_said(self, text):
        return any(text in line for line in self.lines)

    def moment(self, text):
        """When it first printed that; None: it has not."""
        return next((moment for moment, line in zip(self.moments, self.lines) if text in line), None)

    def finish(self):
        """Faults of its end."""
        try:
            self.process.wait(LIMIT)
        except subprocess.TimeoutExpired:
            self.process.kill()
            return [f"the player had to be killed after {LIMIT} s"]
        finally:
            self.reader.join(10)
        return []

    def verdicts(self):
        """(label, detail) of each."""
        found = [json.loads(line) for line in self.lines if line.startswith("{") and "audioPathStatus" in line]
        return [(line["label"], line["detail"]) for line in found]

    def labels(self):
        return [label for label, _ in self.verdicts()]

    def last(self):
        return json.loads(next((line for line in reversed(self.lines) if line.startswith("{")), "{}"))

    def faults(self, completed=1):
        found = self.finish()
        if self.last().get("completed") != completed:
            found.append(f"it ended with {self.last()}")
        return found


def label_faults(play, *expected):
    return [] if play.labels() == list(expected) else [f"the player says {play.labels()}, not {list(expected)}"]


def detail_faults(play, label, detail):
    """The first verdict in whole."""
    said = next((line for line in play.verdicts() if line[0] not in ("CHECKING", "READY")), None)
    return [] if said == (label, detail) else [f"the player says {said}, not {(label, detail)}"]


def recorded(rate, width, seconds, *options, meanwhile=lambda play: None, busy=lambda play: None,
             end=lambda play: play.faults()):
    """(faults of the run and the recording, the run, the track's frames, what came out of the loopback card). `busy` does what
    starts programs, in the machine's full time; `meanwhile` what waits; `end` judges the end."""
    file = pathlib.Path("/tmp/track.wav")
    wanted = track(file, rate, width, seconds)
    with skipping():
        wait_until(LOOPBACK.closed, 30)  # a sink keeps its card for some seconds, and so its format
    recording = pathlib.Path("/tmp/capture.raw")
    with Capture(recording, "S32_LE", rate, 2) as capture:
        play = Play(file, "--device", name_of("aloop"), *options)
        play.said('"isPlaying","value":true')
        busy(play)
        with skipping():
            meanwhile(play)
            faults = end(play)
    return faults + capture.faults(), play, wanted, recording.read_bytes()


def to_loopback(rate, width, seconds, *options, **actions):
    """(faults of what came out, the run): every frame, once."""
    faults, play, wanted, heard = recorded(rate, width, seconds, *options, **actions)
    return faults + difference(wanted, heard), play

