"""A device that other programs use too: Exclusive Access waits for them, and is there by itself when they have gone."""

import contextlib
import subprocess
import time

import hardware
import plan
from cards import Pcm, wait_until
from dac_faults import verdicts
from probe import Probe, start
from report import SHARED

PLAYBACK = Pcm("Loopback", 0)
SUBSTREAMS = 8
TAKEN = range(1, SUBSTREAMS)  # by the other programs: one is left
OTHERS_RATE = 8000  # hertz
RETAKEN_WITHIN = 2  # seconds
ANOTHER = "Another process owns the output device. Tolvane Music Player will retry when it becomes available."
ACTIVE = "Verified: Tolvane Music Player exclusively owns the selected output device."
WITHHELD = ("Sample rate and PCM format match with no app-level DSP, but Exclusive Access was requested and another process or "
            "the driver retained shared access.")
SHARED_ACCESS = ("48 kHz and the device PCM format are confirmed with no app-level DSP. Exclusive Access is off, so other apps may "
                 "still mix audio into the device.")
OWNED = "Exclusive Access, 48 kHz, and the device PCM format are confirmed. No app-level DSP is active."


@contextlib.contextmanager
def others():
    """aplay on each of the taken substreams of the loopback card. Gives what ends them."""
    programs = [start("/usr/bin/aplay", "-q", "-D", f"hw:Loopback,0,{number}", "-t", "raw", "-f", "S16_LE", "-r", str(OTHERS_RATE),
                      "-c", "1", "/dev/zero", stderr=subprocess.DEVNULL) for number in TAKEN]

    def leave():
        for program in programs:
            program.kill()
            program.wait()

    try:
        if not wait_until(lambda: PLAYBACK.owners() >= {program.pid for program in programs}, 60):
            raise RuntimeError(f"aplay does not play: {PLAYBACK.owners()}")
        yield leave
    finally:
        leave()


@contextlib.contextmanager
def player(*options):
    """One that plays the long track to the loopback card."""
    probe = Probe("play", SHARED / "tracks" / plan.LONG_TRACK.file, "--device", hardware.device_name("aloop"), *options)
    try:
        yield probe
    finally:
        probe.finish()


def there_before():
    """The player starts on the one substream that is left."""
    with others() as leave, player("--exclusive", "--for", "5") as probe:
        observed = until_they_leave(probe, leave)
    return judged(probe, *observed, [], "from the beginning on")


def came_in_the_middle():
    """The player plays alone; the programs start, and only then Exclusive Access is turned on."""
    with player("--exclusive-at", "8", "--for", "12") as probe:
        if not wait_until(PLAYBACK.running, 20):
            raise RuntimeError("the player does not play")
        with others() as leave:
            observed = until_they_leave(probe, leave)
    return judged(probe, *observed, [("BIT-PERFECT", SHARED_ACCESS)], "from the middle on")


def until_they_leave(probe, leave):
    """(waiting, setups, found, seconds, owners): what is seen while the programs are there and after they have left."""
    waiting = wait_until(lambda: last_of(probe) == ANOTHER, 20)
    setups = [setup for setup in PLAYBACK.setups() if setup[1] != OTHERS_RATE]
    leave()
    left = time.monotonic()
    found = wait_until(lambda: last_of(probe) == ACTIVE, 10)
    return waiting, setups, found, time.monotonic() - left, PLAYBACK.owners()


def judged(probe, waiting, setups, found, took, owners, before, when):
    faults = [f"the player says: {text}" for text in probe.error_texts()]
    if not waiting or not found or took > RETAKEN_WITHIN:
        faults.append(f"Exclusive Access was {probe.values('exclusiveAccessStatus')}, {took:.2f} s after the others left")
    if owners != {probe.process.pid}:
        faults.append(f"the device's substreams are held by {owners}, not by the player alone")
    if setups != [("S16_LE", plan.LONG_TRACK.rate, plan.CHANNELS)]:
        faults.append(f"the kernel's hw_params were {setups}")
    spoken = [line for line in verdicts(probe) if line[0] not in ("READY", "CHECKING")]
    if spoken != [*before, ("DIRECT PCM", WITHHELD), ("BIT-PERFECT", OWNED)]:
        faults.append(f"the player says {spoken}")
    if probe.last("recoveries") or probe.last("underruns"):
        faults.append("the music was disturbed")
    return {"faults": faults, "remark": f"{took:.2f} s after they had left", "story": probe.story(),
            "verdict": ("10", "DIRECT PCM", "S16_LE 48000 Hz", f"{len(TAKEN)} of {SUBSTREAMS} substreams are other "
                        f"programs' {when}")}


def last_of(probe):
    """The player's last line about Exclusive Access, or nothing."""
    return next((line["message"] for line in reversed(probe.values("exclusiveAccessStatus"))), None)


def tests():
    return (("Verdict 10, DIRECT PCM: Exclusive Access is lost to other programs and back by itself within 2 s",
             there_before),
            ("Verdict 10, DIRECT PCM: so it is when the other programs come in the middle of a track", came_in_the_middle))
