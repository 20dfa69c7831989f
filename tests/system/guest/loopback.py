"""Plays every planned case to the loopback card and records what comes out on its other side."""

import hashlib
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
    """The set-up of the device in the kernel, compared with the request and with what the player reports."""
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
    return faults + delivery_faults(case, probe)


def delivery_faults(case, probe):
    """What the player reports about the samples that it handed over, compared with its verdict and the files."""
    found = probe.values("delivery")
    results = [(line["result"], line["reason"]) for line in found]
    if case.verdict != "BIT-PERFECT":
        return [f"delivered whole, and yet {case.verdict}"] if case.verdict != "DIRECT PCM" and ("matches", "none") in results else []
    wanted = ("unknown", "notFromTheBeginning") if case.first_frame else ("matches", "none")
    faults = [] if results == [wanted] * len(case.tracks) else [f"of what was delivered the player says {results}, not {wanted}"]
    for track, line in zip(case.tracks, found):
        if case.first_frame or "float" in track.sample:
            continue
        stored = line["storedMD5"] if track.container == "FLAC" else data_md5(track)
        if stored is None or line["deliveredMD5"] != stored:
            faults.append(f"the MD5 of what was delivered of {track.file} is {line['deliveredMD5']}, not {stored}")
    return faults


def data_md5(track):
    """Of the samples as they are stored, in little-endian order."""
    data = (SHARED / "tracks" / track.file).read_bytes()
    if track.container == "AIFF":
        at = data.index(b"SSND")
        size = int.from_bytes(data[at + 4:at + 8], "big") - 8  # without the chunk's own offset and block size
        width = int(track.sample) // 8
        samples = data[at + 16:at + 16 + size]
        turned = bytearray(size)
        for byte in range(width):
            turned[byte::width] = samples[width - 1 - byte::width]
        return hashlib.md5(turned).hexdigest()
    at = data.index(b"data")
    return hashlib.md5(data[at + 8:at + 8 + int.from_bytes(data[at + 4:at + 8], "little")]).hexdigest()


def fetched(track):
    """The track on the machine's own memory disk, where reading it takes none of the machine's time."""
    path = pathlib.Path("/tmp") / track.file
    shutil.copyfile(SHARED / "tracks" / track.file, path)
    return path
