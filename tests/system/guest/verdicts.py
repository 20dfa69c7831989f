"""Every verdict that a real device can cause: the player's words against the hw_params that the test itself reads."""

import re

import dac_plan
import plan
from cards import wait_until
from dac_faults import verdicts
from hardware import hold
from loopback import fetched
from probe import Probe
from usb_dac import CARD, PCM, Dac, play

SHARED_ACCESS = ("{rate} and the device PCM format are confirmed with no app-level DSP. Exclusive Access is off, so other apps "
                 "may still mix audio into the device.")
EXCLUSIVE = "Exclusive Access, {rate}, and the device PCM format are confirmed. No app-level DSP is active."
LOSSY = "MP3 is decoded to PCM and sent without app-level DSP at {rate}. Lossy source data cannot be bit-perfect."
PROCESSED = ("Software volume or stereo balance is active. Set Volume to 100% and Balance to Center to bypass all app-level "
             "processing.")
ANOTHER_RATE = "The track is {rate}, but the device reports {device}. Core Audio sample-rate conversion may be active."
ANOTHER_FORMAT = "The device stream is {format}, which does not preserve the source format exactly."
TAKEN = "Initializing the output device failed (Core Audio 560492391)."


def kilohertz(rate):
    return f"{rate / 1000:g} kHz"


def described(setup, bits):
    """hw_params in the player's words, with the bits that the device itself reports."""
    layout, rate, channels = setup
    kind = "float" if layout.startswith("FLOAT") else "integer"
    return f"{kilohertz(rate)}, {bits}-bit {kind}, {channels} ch"


def bits_of(layout):
    """What the DAC's driver reports about its samples in this format."""
    text = (PCM.folder.parent / "stream0").read_text()
    return int(re.search(rf"Format: {layout}\b.*?Bits: (\d+)", text, re.DOTALL)[1])


def spoken(probe):
    """Every verdict on a path, in order."""
    return [line for line in verdicts(probe) if line[0] not in ("READY", "CHECKING")]


def verdict(row, label, detail, track, options=(), dac_options=(), layout=None, rate=None, circumstances=""):
    """The player must say it while the kernel shows these hw_params and no owner but the player, and never say anything
    better."""
    def test():
        owners = set()

        def look():
            if PCM.running():
                owners.update(PCM.owners() - {None})  # one that ended in this moment has no name

        with Dac(*dac_options) as dac:
            dac.device()
            probe, seen = play(dac, track, *options, watch=look)
            faults = probe.faults(1)
            if owners != {probe.process.pid}:
                faults.append(f"the device was held by {owners}, not by the player, {probe.process.pid}")
            expected = (layout or plan.OWN_LAYOUT[track.container, track.sample], rate or track.rate, plan.CHANNELS)
            if rate is None and seen != {expected} or len(seen) != 1:
                faults.append(f"the kernel's hw_params were {sorted(seen)}, not {expected}")
            setup = next(iter(seen), expected)
            if rate is not None and setup[1] == track.rate:
                faults.append("the DAC took the rate: the test proves nothing")
            said = detail.format(rate=kilohertz(track.rate), device=kilohertz(setup[1]),
                                 format=described(setup, bits_of(setup[0])))
        if spoken(probe) != [(label, said)]:
            faults.append(f"the player says {spoken(probe)}, not {(label, said)}")
        return {"faults": faults, "verdict": (row, label, "{} {} Hz".format(*setup[:2]), circumstances),
                "story": probe.story()}
    return (f"Verdict {row}, {label}: {circumstances}", test)


def path_error():
    """Without a path there is no verdict."""
    with Dac() as dac:
        dac.device()
        other = hold(CARD)
        try:
            if not wait_until(PCM.running, 20):
                raise RuntimeError("aplay does not play")
            probe = Probe("play", fetched(dac_plan.ALLOWED_TRACK), "--device", dac.device()["name"], "--exclusive").finish()
            holders = PCM.owners()
        finally:
            other.kill()
            other.communicate()
    faults = [] if holders == {other.pid} else [f"the device was held by {holders}"]
    if spoken(probe) != [("PATH ERROR", TAKEN)] or probe.error_texts() != [TAKEN]:
        faults.append(f"the player says {spoken(probe)} and {probe.error_texts()}")
    return {"faults": faults, "remark": "; ".join(probe.error_texts()), "story": probe.story(),
            "verdict": ("-", "PATH ERROR", "another process's", "another program plays to the device")}


def tests():
    refused = dac_plan.REFUSED_TRACK
    return (verdict("11", "BIT-PERFECT", SHARED_ACCESS, dac_plan.LOUD_TRACK, circumstances="lossless, Exclusive Access off"),
            verdict("12", "BIT-PERFECT", EXCLUSIVE, dac_plan.LOUD_TRACK, ("--exclusive",),
                    circumstances="lossless, Exclusive Access on and owned"),
            verdict("6", "DIRECT PCM", LOSSY, dac_plan.LOSSY_TRACK, ("--exclusive",), layout="S32_LE",
                    circumstances="MP3"),
            verdict("overlay", "DSP ACTIVE", PROCESSED, dac_plan.ALLOWED_TRACK, ("--exclusive", "--volume", "0.5"),
                    circumstances="software volume at 50 %"),
            verdict("4", "CONVERTED", ANOTHER_RATE, refused, ("--exclusive",), ("--refuse-rate", str(refused.rate)), rate=0,
                    circumstances="the device refuses the track's rate"),
            verdict("9", "CONVERTED", ANOTHER_FORMAT, dac_plan.LOUD_TRACK, ("--exclusive",), ("--formats", "s24in32"),
                    circumstances="32-bit music, 24 bits in the device's samples"),
            verdict("9", "CONVERTED", ANOTHER_FORMAT, dac_plan.FLOAT_TRACK, ("--exclusive",), layout="S32_LE",
                    circumstances="float music, integer device"),
            ("Verdict, PATH ERROR: another program plays to the device", path_error))
