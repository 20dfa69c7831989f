"""A USB DAC made of software (tests/system/dac), plugged into the machine's kernel, which drives it as a real one."""

import json
import pathlib
import shutil
import subprocess
import tempfile

from cards import Pcm, present, wait_until
from loopback import fetched
from probe import Probe

PROGRAM = pathlib.Path("/tmp/bin/test_dac")
CARD = "DAC"  # in /proc/asound: the last word of its name
NAME = "Test DAC"
PCM = Pcm(CARD)


class Dac:
    """One DAC, plugged in, with the options that the program knows. What it recorded goes with it."""

    def __init__(self, *options):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="dac-", dir="/tmp"))
        self.commands = self.folder / "commands"
        subprocess.run(["modprobe", "vhci-hcd"], check=True, timeout=60)
        with open(self.folder / "errors", "wb") as errors:
            self.process = subprocess.Popen(
                [PROGRAM, "--name", NAME, "--record", str(self.folder / "wire"), "--commands", str(self.commands),
                 *options], stdin=subprocess.DEVNULL, stderr=errors)
        self._device = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        try:
            self.process.wait(20)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        wait_until(lambda: not present(CARD), 20)
        shutil.rmtree(self.folder)

    def device(self):
        """The player's line about the DAC. Waits until the card is there with the name that udev gives it."""
        if self._device is None:
            wait_until(lambda: self.ended() or PCM.folder.exists(), 20)
            if self.ended() or not PCM.folder.exists():
                raise RuntimeError(f"the DAC does not appear. {self.ended()}")
            subprocess.run(["udevadm", "settle", "--timeout=30"], check=True, timeout=60)
            listed = Probe("devices").finish().lines
            self._device = next((line for line in listed if "usb-Tolvane" in line["uid"]), None)
            if self._device is None:
                raise RuntimeError(f"the player does not list the DAC, but {[line['uid'] for line in listed]}")
        return self._device

    def ended(self):
        """How its program ended, when it did."""
        status = self.process.poll()
        return None if status is None else f"test_dac ended with {status}: {(self.folder / 'errors').read_text()}"

    def plug_in(self):
        self._device = None  # found anew
        self.command("attach")

    def pull(self):
        """Returns when the card has gone."""
        self.command("detach")
        if not wait_until(lambda: not present(CARD), 20):
            raise RuntimeError("the card does not go")

    def command(self, text):
        with open(self.commands, "w", encoding="ascii") as commands:
            commands.write(text + "\n")

    def events(self, name):
        """What happened of one kind. REQUIRES: device() has been asked for."""
        lines = (self.folder / "wire.jsonl").read_text().splitlines()
        return [event for event in map(json.loads, lines) if event["event"] == name]

    def stream(self):
        """From now on: what becomes of the stream."""
        return Stream(self, len(self.events("start")))

    def received(self, run):
        return (self.folder / f"wire.{run['run']}.raw").read_bytes()


class Stream:
    """The runs of a DAC's stream since one moment: unbroken stretches of packets."""

    def __init__(self, dac, first):
        self.dac, self.first = dac, first

    def runs(self):
        """The last output of each, when all have ended."""
        wait_until(lambda: len(self.dac.events("stop")) == len(self.dac.events("start")), 5)
        return self.dac.events("stop")[self.first:]

    def pieces(self):
        """The bytes of each."""
        return [self.dac.received(run) for run in self.runs()]

    def bytes(self):
        return b"".join(self.pieces())

    def faults(self, setup):
        """A track is one run, in the format, rate and channels that the host chose, which the host ends by taking back
        what it has queued, and whose wire never runs dry."""
        runs, starts = self.runs(), self.dac.events("start")[self.first:]
        if self.dac.ended():
            return [self.dac.ended()]
        if len(runs) != 1 or runs[0]["why"] not in ("unlink", "alternate"):
            return [f"the stream came in {len(runs)} runs: {runs}"]
        faults = [f"the wire ran dry: {runs}"] if runs[0]["dryWires"] else []
        if (starts[0]["format"], starts[0]["rate"], starts[0]["channels"]) != setup:
            faults.append(f"the DAC was set to {starts[0]}, not {setup}")
        return faults

    def story(self):
        return [str(run) for run in self.runs()]


def play(dac, track, *options, watch=None):
    """(the player's run, every hw_params that the kernel showed while it ran: none that the player only tries). `watch` may
    start programs: the machine's clock then keeps its pace."""
    seen = set()
    name = dac.device()["name"]
    file = fetched(track)

    def look():
        setup = PCM.setup() if PCM.running() else None
        if setup:
            seen.add(setup)
        if watch:
            watch()

    probe = Probe("play", file, "--device", name, *options).finish(look, pcm=None if watch else PCM)
    file.unlink()
    return probe, seen
