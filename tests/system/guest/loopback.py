"""Plays every planned case to the loopback card and records what comes out on its other side."""

import pathlib
import shutil

import plan
from cards import Capture, Pcm
from probe import Probe
from report import SHARED

PLAYBACK = Pcm("Loopback", 0)
RECORDING = pathlib.Path("/tmp/capture.raw")


def play(case, number, device):
    """The faults seen in the machine; the host compares the capture."""
    seen = set()
    files = [fetched(track) for track in case.tracks]

    def watch():
        setup = PLAYBACK.setup()
        if setup:
            seen.add(setup)

    with Capture(RECORDING, case.capture, case.track.rate, case.track.channels) as capture:
        probe = Probe("play", *files, "--device", device, *case.options).finish(watch, pcm=PLAYBACK)
    faults = capture.faults() + probe.faults(len(files)) + path_faults(case, probe, seen)
    if not PLAYBACK.closed():
        faults.append(f"the device is still held by process {PLAYBACK.owners()}")
    kept = SHARED / "captures" / f"{number:03}.raw"
    shutil.copyfile(RECORDING, kept)
    for file in files:
        file.unlink()
    return {"faults": faults, "story": probe.story(), "capture": kept.name}


def path_faults(case, probe, seen):
    """What the kernel says the device was set to, against what was asked and what the player says."""
    faults = []
    rate = case.track.rate
    wanted = (case.capture, rate, case.track.channels)
    if seen != {wanted}:
        faults.append(f"the kernel's hw_params were {sorted(seen)}, not {wanted}")
    said = [line.get("value") for line in probe.values("sampleRate") if line.get("value")]
    if not said or any(value != rate for value in said):
        faults.append(f"the player says the sample rate is {said}, not {rate}")
    labels = [line.get("label") for line in probe.values("audioPathStatus")]
    if case.verdict not in labels or case.verdict != "BIT-PERFECT" and "BIT-PERFECT" in labels:
        details = [line.get("detail") for line in probe.values("audioPathStatus")]
        faults.append(f"the player should say {case.verdict}, but says {list(zip(labels, details))}")
    return faults


def fetched(track):
    """The track on the machine's own memory disk, where reading it takes none of the machine's time."""
    path = pathlib.Path("/tmp") / track.file
    shutil.copyfile(SHARED / "tracks" / track.file, path)
    return path
