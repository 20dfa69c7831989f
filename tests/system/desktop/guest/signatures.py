"""Every format, depth and rate, shared through the server and with Exclusive Access: what the player reports about the samples
that it handed over (`tolvane-probe verify`), beside its verdict and beside what came out of the loopback card."""

import json
import pathlib
import shutil
import subprocess

import desktop
import plan
from cards import wait_until
from pace import skipping
from player import LOOPBACK, PROBE, SHARED

LIMIT = 300  # seconds
DEVICE = "platform-snd_aloop.0:0"
# The other end of the loopback card decides the format of both. The server's sink needs one of whole numbers.
EVERY_FORMAT, FLOATS = "hw:Loopback,1,0", "floats"
FLOATS_ONLY = f"pcm.{FLOATS} {{ type hw card Loopback device 1 format FLOAT_LE }}\n"
# (verdict, what was handed over, what was recorded). What the server mixes in, floats, holds 24 bits of a whole number, and
# its sink is not one of floats. A lossy file has no samples of its own that a path could preserve.
USUAL = ("BIT-PERFECT", "matches", "matches")
EXPECTED = {("32", "shared"): ("CONVERTED", "differs", "differs"), ("float32", "shared"): ("CONVERTED", "matches", "differs"),
            ("MP3", "shared"): ("DIRECT PCM", "matches", "differs"), ("MP3", "exclusive"): ("DIRECT PCM", "matches", "matches")}


def capture_of(track, way):
    return FLOATS if (track.sample, way) == ("float32", "exclusive") else EVERY_FORMAT


def tracks_at(rate):
    return [track for track in plan.signed_tracks() if track.rate == rate]


def verified(tracks, way):
    """A line of the player's each. Fewer: it did not come to the others."""
    lines = []
    for capture in dict.fromkeys(capture_of(track, way) for track in tracks):
        files = [pathlib.Path("/tmp") / track.file for track in tracks if capture_of(track, way) == capture]
        with skipping():
            wait_until(LOOPBACK.closed, 30)
        with open("/tmp/signatures.log", "ab") as log:
            process = desktop.start(PROBE, "verify", *files, "--device", DEVICE, "--capture", capture,
                                    *(["--exclusive"] if way == "exclusive" else []), stdout=subprocess.PIPE, stderr=log, text=True)
            with skipping():
                lines += process.communicate(timeout=LIMIT)[0].splitlines()
    return {pathlib.Path(line["url"]).name: line for line in map(json.loads, lines) if "url" in line}


def faults_of(track, way, line):
    """Of one cell."""
    if line is None:
        return ["the player says nothing"]
    found = (line["verdict"], line["result"], line.get("captured", {}).get("result"))
    expected = EXPECTED.get((track.container, way)) or EXPECTED.get((track.sample, way), USUAL)
    return [] if found == expected else [f"{found}, not {expected}: {line.get('error') or line.get('plainly')}"]


def signed(way, rates=plan.RATES):
    """A test."""
    def test():
        pathlib.Path("/home/listener/.asoundrc").write_text(FLOATS_ONLY)
        desktop.set_volume("Loopback", "1.0")
        faults, story, cells, again = [], [], 0, 0
        for rate in rates:
            tracks = tracks_at(rate)
            for track in tracks:
                shutil.copyfile(SHARED / "tracks" / track.file, pathlib.Path("/tmp") / track.file)
            lines = verified(tracks, way)
            # A server on a busy machine may not have released the card in time: the player then reports it, and plays nothing.
            refused = [track for track in tracks if "verdict" not in lines.get(track.file, {}) or not lines[track.file]["verdict"]]
            again += len(refused)
            lines.update(verified(refused, way))
            for track in tracks:
                line = lines.get(track.file)
                wrong = faults_of(track, way, line)
                faults += [f"{track.file}: {fault}" for fault in wrong]
                story += [json.dumps(line)] if wrong else []
                cells += not wrong
                (pathlib.Path("/tmp") / track.file).unlink()
        story += [f"devices: {line[:200]}" for line in desktop.text_of(PROBE, "devices").splitlines()] if faults else []
        return {"faults": faults, "remark": f"{cells} files, {again} of them asked for twice", "story": story}
    return test
