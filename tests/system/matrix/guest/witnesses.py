"""Two witnesses: the verdict, which is made of facts, and `tolvane-probe verify --capture`, which compares samples and knows
none of them. What alters the player's own stream comes while the track plays; every other circumstance is there before the
player is. A part of Show."""

import json
import subprocess
import time

import desktop
import layouts
from beforehand import ROW_COMBINED, ROW_EQUALISER, RULED
from cards import wait_until
from causes import ROW_BITS, ROW_CODEC, ROW_PLUGIN, ROW_VIRTUAL
from circumstances import LOWERED, LOWERED_DEVICE, NOTHING, WHILE_PLAYING, has_setting, props, volume
from player import PROBE
from scene import BEST, HDA_UID, LOOPBACK_UID

CAPTURE = "hw:Loopback,1,0"
SECONDS = 1
SECONDS_WITH_CHANGE = 5  # the stream is altered while it plays
SETTLED = 0.5  # seconds of music: what is set of a stream that has only just begun stays without effect on PipeWire 0.3.65
LIMIT = 60  # seconds
OF_THE_STREAM = ("stream", "a channel linked")  # in the rows of what only a stream has


def ran(channels, *options, device=LOOPBACK_UID, capture=CAPTURE, change=None):
    """The player's report on a track that it plays: the line of `verify`. `change` is called when its stream exists."""
    seconds = SECONDS_WITH_CHANGE if change else SECONDS
    file = layouts.write_track(f"/tmp/witness-{channels}-{seconds}.wav", layouts.TRACKS[channels], seconds)
    with open("/tmp/witness.log", "ab") as log:
        process = desktop.start(PROBE, "verify", file, "--device", device, *(("--capture", capture) if capture else ()), *options,
                                stdout=subprocess.PIPE, stderr=log, text=True)
        try:
            if change:
                change()
            return json.loads(process.communicate(timeout=LIMIT)[0])
        finally:
            process.kill()
            process.wait()


def judged(line, alters, handed):
    """What is wrong with the line of a circumstance that alters the samples; None: it may. `handed`: what it must say of those
    that were handed over."""
    captured = line["captured"]["result"] if "captured" in line else line["result"]
    faults = []
    if captured not in ("matches", "differs"):
        faults.append(f"nothing can be said of the samples: {line}")
    if line["verdict"] == BEST and captured != "matches":
        faults.append("BIT-PERFECT over samples that differ")
    if alters is False and captured != "matches" or alters and captured != "differs":
        faults.append(f"the recording {captured}: the circumstance proves nothing")
    if line["result"] != handed:
        faults.append(f"what was handed over {line['result']}")
    return faults


class Witnesses:
    def witnesses(self):
        try:
            self.witness_all()
        finally:
            self.make_anew()

    @staticmethod
    def make_anew():
        """The session manager gave a card that came back during a recording the profiles with that one's channels only."""
        file = layouts.write_track("/tmp/brief.wav", layouts.TRACKS[2], 0.1)
        desktop.text_of(PROBE, "play", file, "--device", LOOPBACK_UID, "--exclusive")

    def witness_all(self):
        plugin = layouts.HALF[self.channels]
        if self.channels != 2:
            self.witness_each(lambda circumstance: circumstance.row in (NOTHING, LOWERED_DEVICE))
            self.witness_exclusively(NOTHING)
            self.choose(plugin)
            self.witness(ROW_PLUGIN, "shared", True, False)
            return
        self.witness_each(lambda circumstance: True)
        self.witness_exclusively(NOTHING)
        self.witness_virtual()
        self.witness_few_bits()
        for profile, row in ((plugin, ROW_PLUGIN), *self.altering_profiles()):
            self.choose(profile)
            self.witness(row, "shared", True, False)
            # With the server's volume as well: nothing of the server is in the way of a card that the player owns.
            props("sink", mute=True)(self)
            self.witness_exclusively(row)
            self.choose(profile)
            props("sink", mute=False)(self)

    def witness_each(self, is_wanted):
        """Of what may happen while the music plays. What is the stream's own, and what is set of a converter, comes then."""
        for circumstance in filter(is_wanted, WHILE_PLAYING):
            if circumstance.setting or any(word in circumstance.row for word in OF_THE_STREAM):
                self.witness_change(circumstance)
                continue
            circumstance.begin(self)
            try:
                self.witness(circumstance.row, "shared", circumstance.alters, circumstance.forbids_best)
            finally:
                circumstance.end(self)

    def witness_exclusively(self, row):
        """Whose verdict is the best where the card says which loudspeakers its channels go to, and they are two at most."""
        has_no_map = self.channels > 2
        self.witness(row, "exclusive", False, has_no_map, "--exclusive", handed="unknown" if has_no_map else "matches")

    def altering_profiles(self):
        """(profile, row)"""
        for kind, (row, _, _) in RULED.items():
            name, _ = layouts.RULED[kind]
            if name.startswith("audio.") or has_setting(name):
                yield layouts.ruled(kind, self.channels), row

    def witness_virtual(self):
        """What is played to is no hardware: the verdict cannot be the best, whatever comes out behind it."""
        with self.lowered_virtual_device():
            # Once more: what was set before does not last on PipeWire 1.4.2.
            lowered = volume("sink", LOWERED)
            self.witness(ROW_VIRTUAL, "shared", True, True, device="sink:virtual", change=lambda: self.while_it_plays(lowered))
        with self.equaliser_sink():
            self.witness(ROW_EQUALISER, "shared", True, True, device="sink:equaliser")
        with self.combined_sink():
            self.witness(ROW_COMBINED, "shared", None, True, device="sink:combined")

    def witness_few_bits(self):
        """What reaches a device of 16 bits: all that the server was handed, or what is left of it."""
        for way, handed, options in (("shared", "matches", ()), ("exclusive", "differs", ("--exclusive",))):
            self.witness(ROW_BITS, way, True, True, *options, capture=layouts.NARROW, handed=handed)
        self.witness(ROW_CODEC, "exclusive", True, True, "--exclusive", device=HDA_UID, capture=None, handed="differs")

    def witness_change(self, circumstance):
        if circumstance.setting and not has_setting(circumstance.setting):
            return
        is_of_the_stream = any(word in circumstance.row for word in OF_THE_STREAM)
        if circumstance.setting == layouts.FILTER and not is_of_the_stream:
            return  # as one that a rule sets

        try:
            self.witness(circumstance.row, "shared", circumstance.alters, circumstance.forbids_best,
                         change=lambda: self.while_it_plays(circumstance.begin))
        finally:
            if not is_of_the_stream:  # those end with the stream
                circumstance.end(self)

    def while_it_plays(self, begin):
        if not wait_until(lambda: self.stream["info"]["state"] == "running", LIMIT):
            raise RuntimeError("the player's stream does not run")
        time.sleep(SETTLED)
        begin(self)

    def witness(self, row, way, alters, forbids_best, *options, handed="matches", **where):
        """`forbids_best`: the verdict is not the best, whatever the samples are."""
        self.server.suspend(self.sink)
        if way == "shared" and self.channels in layouts.IN_FILE_ORDER:
            where["capture"] = layouts.IN_FILE_ORDER[self.channels]
        line = ran(self.channels, *options, **where)
        faults = judged(line, alters, handed)
        if alters is False and not forbids_best and line["verdict"] != BEST:
            faults.append(f"{line['verdict']} over samples that are the track's")
        if forbids_best and line["verdict"] == BEST:
            faults.append("the verdict does not show it")
        self.report(version=self.version, witness=f"{row}, {self.channels} ch", way=way, verdict=line["verdict"], handed=line["result"],
                    captured=line.get("captured", {}).get("result"), first=line.get("captured", {}).get("firstDifference"),
                    faults=faults)
