"""Two witnesses: the verdict, which is made of facts, and `tolvane-probe verify --capture`, which compares samples and knows
none of them. What alters the player's own stream comes while the track plays; every other circumstance is there before the
player is. A part of Show."""

import json
import subprocess
import time

import desktop
import layouts
from beforehand import RULED
from cards import wait_until
from circumstances import WHILE_PLAYING, has_setting
from player import PROBE
from scene import BEST, LOOPBACK_UID

CAPTURE = "hw:Loopback,1,0"
SECONDS = 1
SECONDS_WITH_CHANGE = 5  # the stream is altered while it plays
SETTLED = 0.5  # seconds of music: what is set of a stream that has only just begun stays without effect on PipeWire 0.3.65
LIMIT = 60  # seconds
OF_THE_STREAM = ("stream", "a channel linked")  # in the rows of what only a stream has
PLUGIN = "a plug-in of alsa-lib that halves the level"


def ran(*options, change=None):
    """What the player says of a track that it plays: the line of `verify`. `change` is called when its stream is there."""
    seconds = SECONDS_WITH_CHANGE if change else SECONDS
    file = layouts.write_track(f"/tmp/witness-{seconds}.wav", layouts.TRACKS[2], seconds)
    with open("/tmp/witness.log", "ab") as log:
        process = desktop.start(PROBE, "verify", file, "--device", LOOPBACK_UID, "--capture", CAPTURE, *options,
                                stdout=subprocess.PIPE, stderr=log, text=True)
        try:
            if change:
                change()
            return json.loads(process.communicate(timeout=LIMIT)[0])
        finally:
            process.kill()
            process.wait()


def judged(line, alters):
    """What is wrong with the line of a circumstance that alters the samples; None: it may."""
    captured = line.get("captured", {}).get("result", "nothing")
    faults = []
    if captured not in ("matches", "differs"):
        faults.append(f"nothing can be said of the samples: {line}")
    if line["verdict"] == BEST and captured != "matches":
        faults.append("BIT-PERFECT over samples that differ")
    if alters is False and captured != "matches" or alters and captured != "differs":
        faults.append(f"the recording {captured}: the circumstance proves nothing")
    # What is altered behind the player is not altered before it.
    if line["result"] != "matches":
        faults.append(f"what was handed over {line['result']}")
    return faults


class Witnesses:
    def witnesses(self):
        """For stereo; the cells have the other counts."""
        if self.channels != 2:
            return
        for circumstance in WHILE_PLAYING:
            if any(word in circumstance.row for word in OF_THE_STREAM):
                self.witness_change(circumstance)
            elif not circumstance.setting and "options for mixing" not in circumstance.row:
                circumstance.begin(self)
                try:
                    self.witness(circumstance.row, "shared", circumstance.alters, circumstance.is_told)
                finally:
                    circumstance.end(self)
        self.witness("nothing in the way", "exclusive", False, False, "--exclusive")
        for profile, row in self.altering_profiles():
            self.choose(profile)
            self.witness(row, "shared", True, False)

    @staticmethod
    def altering_profiles():
        """(profile, row)"""
        yield layouts.HALF[2], PLUGIN
        for kind, (row, _, _) in RULED.items():
            name, _ = layouts.RULED[kind]
            if name.startswith("audio.") or has_setting(name):
                yield layouts.ruled(kind, 2), row

    def witness_change(self, circumstance):
        """It ends with the stream."""
        if circumstance.setting and not has_setting(circumstance.setting):
            return

        def change():
            if not wait_until(lambda: self.stream["info"]["state"] == "running", LIMIT):
                raise RuntimeError("the player's stream does not run")
            time.sleep(SETTLED)
            circumstance.begin(self)
        self.witness(circumstance.row, "shared", circumstance.alters, circumstance.is_told, change=change)

    def witness(self, row, way, alters, is_told, *options, change=None):
        self.server.suspend(self.sink)
        line = ran(*options, change=change)
        faults = judged(line, alters)
        if alters is False and not is_told and line["verdict"] != BEST:
            faults.append(f"{line['verdict']} over samples that are the track's")
        self.report(version=self.version, witness=row, way=way, verdict=line["verdict"], handed=line["result"],
                    captured=line.get("captured", {}).get("result"), first=line.get("captured", {}).get("firstDifference"),
                    faults=faults)
