"""One run of the player beside a recording of what its card got, in which circumstances come and go."""

import os
import pathlib
import re
import signal
import subprocess
import time

import usb_dac
from cards import Capture, Pcm, wait_until
from layouts import CARD_ORDER, RATE, holds, write_track
from pace import skipping
from player import LOOPBACK, SHARED, Play

LIMIT = 20  # seconds
WINDOW = 0.1  # seconds of music that are judged
TRACK = 12  # seconds: more than a run takes that judges a cell or two; to load a longer one takes the machine long
LONG_TRACK = 45  # seconds: of a run in which circumstances come and go
BEST = "BIT-PERFECT"
LOOPBACK_UID = "platform-snd_aloop.0:0"
HDA_UID = "pci-0000:00:06.0:0"


class LoopbackRecording:
    """Begins before the player does, and so fixes the card's format and channels."""

    header, has_map = 0, False

    def __init__(self, order, sample_format="S32_LE", ready=lambda: None):
        """`ready` is called when it records."""
        self.order, self.sample_format, self.ready = order, sample_format, ready
        self.bytes = {"S16_LE": 2, "S32_LE": 4}[sample_format]
        self.path = pathlib.Path("/tmp/capture.raw")

    def __enter__(self):
        with skipping():
            wait_until(LOOPBACK.closed, 30)  # a sink keeps its card for some seconds, and so its format
        self.path.unlink(missing_ok=True)
        self.capture = Capture(self.path, self.sample_format, RATE, len(self.order)).__enter__()
        self.ready()

    def __exit__(self, *_):
        self.capture.__exit__()


class HdaRecording:
    """What QEMU writes of the emulated HD Audio card."""

    header, bytes, order, has_map = 44, 2, CARD_ORDER[2], False
    path = SHARED / "hda.wav"

    def __enter__(self):
        with skipping():
            wait_until(Pcm("Intel").closed, 30)

    def __exit__(self, *_):
        pass


class DacRecording:
    """What the emulated USB DAC writes of its wire: a file for each run of its stream."""

    header, bytes, has_map = 0, 4, True

    def __init__(self, dac, order):
        self.dac, self.order = dac, order
        self.first = len(self._files())

    def _files(self):
        return sorted(self.dac.folder.glob("wire.*.raw"), key=lambda path: int(path.suffixes[0][1:]))

    @property
    def path(self):
        files = self._files()
        return files[-1] if len(files) > self.first else pathlib.Path("/dev/null")

    def __enter__(self):
        with skipping():
            wait_until(usb_dac.PCM.closed, 30)

    def __exit__(self, *_):
        pass


class PipeRecording:
    """What a tunnel of the sound server's writes into a pipe."""

    header, bytes, has_map = 0, 4, False
    path, pipe = pathlib.Path("/tmp/tunnel.raw"), pathlib.Path("/tmp/tunnel.pipe")

    def __init__(self, order, ready):
        """`ready` is called when it records."""
        self.order, self.ready = order, ready

    def __enter__(self):
        for path in (self.path, self.pipe):
            path.unlink(missing_ok=True)
        os.mkfifo(self.pipe)
        os.chmod(self.pipe, 0o666)
        with open(self.path, "wb") as file:
            # Open for writing too: the tunnel may come and go.
            self.copy = subprocess.Popen(["sh", "-c", f"exec cat <>{self.pipe}"], stdout=file, stdin=subprocess.DEVNULL)
        self.ready()

    def __exit__(self, *_):
        self.copy.kill()
        self.copy.wait()


class Scene:
    def __init__(self, track, recording, device, *options, seconds=TRACK):
        self.track, self.recording, self.device, self.options, self.seconds = track, recording, device, options, seconds
        self.frame = recording.bytes * len(recording.order)
        self.file = pathlib.Path(f"/tmp/track-{len(track.positions)}-{track.mask:x}-{seconds}.wav")

    def __enter__(self):
        if not self.file.exists():
            write_track(self.file, self.track, self.seconds)
        self.recording.__enter__()
        self.play = Play(self.file, "--device", self.device, *self.options)
        if not self.play.said('"isPlaying","value":true'):
            self.__exit__()
            raise RuntimeError("the player does not play")
        return self

    def __exit__(self, *_):
        # In this order: the session manager makes a card anew that is given back, with the profiles that it then has room for.
        self.recording.__exit__()
        self.play.process.send_signal(signal.SIGTERM)
        self.play.finish()

    def frames(self):
        return max(0, self.recording.path.stat().st_size - self.recording.header) // self.frame

    def advance(self, seconds):
        """So much more of the music is in the recording."""
        end = self.frames() + int(seconds * RATE)
        with skipping():
            wait_until(lambda: self.frames() >= end or self.play.process.poll() is not None, LIMIT)
        if self.frames() < end:
            raise RuntimeError("the music stopped")

    def statuses(self):
        """How often the player has printed the status of Exclusive Access."""
        return sum('"exclusiveAccessStatus"' in line for line in self.play.lines)

    def verdict(self):
        return self.play.verdicts()[-1]

    def window(self):
        """(verdict, its detail, the frames) of a piece of music in which the verdict stayed."""
        for _ in range(40):
            first, said = self.frames(), len(self.play.verdicts())
            self.advance(WINDOW + 0.05)
            if len(self.play.verdicts()) == said and self.verdict()[0] != "CHECKING":
                break
        else:
            raise RuntimeError("the verdict does not settle")
        with open(self.recording.path, "rb") as file:
            file.seek(self.recording.header + first * self.frame)
            heard = file.read(int(WINDOW * RATE) * self.frame)
        return *self.verdict(), heard

    def judged(self, names, alters, settled=0.5, order=None):
        """A cell: the verdict, what the samples say, and what is wrong with both. `names`: what a verdict that is not the
        best must say. `alters`: whether the samples must differ; None: they need not. `settled`: seconds of music after
        which what was changed is heard, and the verdict has followed. `order` of the card's channels, where it is not the
        recording's."""
        def is_equal():
            return self.recording.bytes == 4 and holds(self.track.positions, order or self.recording.order, heard)
        try:
            self.advance(settled)
            for _ in range(10):
                label, detail, heard = self.window()
                if not (alters and is_equal()):
                    break  # else it is not heard yet: another program's first sound comes after its link
        except RuntimeError:
            # A track that is refused has no samples.
            label, detail = next((said for said in self.play.verdicts() if said[0] == "PATH ERROR"), (None, None))
            if not label or alters is not None:
                raise
            heard = b""
        faults = []
        if label == BEST and not is_equal():
            faults.append("BIT-PERFECT over samples that differ")
        if label != BEST and not re.search(names, detail):
            faults.append(f"{label} without the cause: {detail}")
        if alters is not None and alters == is_equal():
            faults.append("the circumstance was not heard: the cell proves nothing" if alters else "the samples differ")
        return {"label": label, "isEqual": is_equal(), "faults": faults, "detail": detail}

    def recovered(self, best):
        """Waits until the verdict is what it was before the circumstance."""
        for _ in range(20):
            self.advance(0.15)
            if self.verdict() == best:
                return
        raise RuntimeError(f"the verdict did not come back: {self.verdict()}")
