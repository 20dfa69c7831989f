"""The cells of one version of the server, scene by scene."""

import contextlib
import time
import traceback

import circumstances
import desktop
import layouts
from beforehand import Beforehand
from cards import wait_until
from causes import CHANNELS, NO_MAP, PLUGIN, ROW_BITS, ROW_CODEC, ROW_PLUGIN, ROW_VIRTUAL, TOO_FEW_BITS, VIRTUAL
from circumstances import CONVERTER, GRAPH_RATE, LOWERED, NOTHING, WHILE_PLAYING, NotThere, has_setting
from layouts import CARD_ORDER, FILE_ORDER
from pace import skipping
from scene import BEST, HDA_UID, LONG_TRACK, LOOPBACK_UID, TRACK, HdaRecording, LoopbackRecording, Scene
from server import Server
from witnesses import Witnesses

CARD = "alsa_card.platform-snd_aloop.0"
SWITCH = ("--exclusive-at", "2")  # seconds after its begin at which the player asks for Exclusive Access
OTHER_COUNT = {1: 2, 2: 6, 6: 2, 8: 6}  # channels of a device that the track was not made for
# What a newer server may bring: the names of two settings, changed in the server's and the client's own converter.
RENAMED = {b"dither.noise\0": b"dither.moons\0", b"channelmix.max-volume\0": b"channelmix.moon-phase\0"}
UNHEARD_OF, LOWERING = "dither.moons", "channelmix.moon-phase"

ROW_CHANNELS = "a device with other channels"
ROW_UNHEARD_OF = "a setting that the player has not heard of"
ROW_LOWERING = "a setting that it has not heard of lowers the level"
STREAM_ROWS = ("stream", "a channel linked")  # begin the rows of what only a stream has


class Show(Beforehand, Witnesses):
    def __init__(self, version, report):
        self.version, self.report = version, report
        self.server = Server()
        self.scene, self.pending = None, []
        self.card = CARD
        self.pace()

    def close(self):
        self.server.close()

    # The circumstances read these. What comes back after Exclusive Access is another object.

    @property
    def sink(self):
        """Of the card that plays."""
        return self.server.wait_for(device_profile_name=self.profile, media_class="Audio/Sink")

    @property
    def stream(self):
        return self.server.wait_for(node_name="tolvane-player", media_class="Stream/Output/Audio")

    @property
    def sink_name(self):
        return self.sink["info"]["props"]["node.name"]

    def cell(self, way, row, **found):
        self.report(version=self.version, way=way, channels=self.channels, row=row, **found)
        if (way, row) in self.pending:
            self.pending.remove((way, row))

    @contextlib.contextmanager
    def cells(self, *pending):
        """Of these (way, row) the body reports each. What it did not come to because it broke down is a failure."""
        self.pending, self.scene = list(pending), None
        try:
            yield
        except Exception as error:  # noqa: BLE001 - whatever it is, it belongs in the report
            said = self.scene.play.lines[-8:] if self.scene and hasattr(self.scene, "play") else []
            for way, row in list(self.pending):
                self.cell(way, row, faults=[f"the test broke down: {error}"], story=traceback.format_exc().splitlines() + said)

    @staticmethod
    def pace():
        """Fewer cycles a second cost the machine less, and leave the samples as they are."""
        desktop.text_of("pw-metadata", "-n", "settings", "0", "clock.force-quantum", "2048")

    def choose(self, profile, sink_profile=None):
        """Of the card, at full volume."""
        self.profile, self.chosen = sink_profile or profile, (profile, sink_profile)

        def sink_id():
            found = self.server.find(device_profile_name=self.profile, media_class="Audio/Sink")
            return found["id"] if found else None
        for _ in range(20):
            self.server.set_profile(self.card, profile if sink_profile else f"output:{profile}", self.profile)
            before = sink_id()
            with skipping():
                time.sleep(1)  # a card that is being made anew takes its sink with it
            if before and sink_id() == before:
                break
        else:
            raise RuntimeError(f"no sink of the profile {profile} stays")
        circumstances.volume("sink", 1)(self)

    def play(self, recording, *options, device=LOOPBACK_UID, track=None, seconds=TRACK):
        wait_until(lambda: not self.server.find(node_name="tolvane-player"), 20)
        if not self.server.find(device_profile_name=self.profile, media_class="Audio/Sink"):
            self.choose(*self.chosen)  # the session manager made the card anew, late, with the profile that it had before
        self.server.suspend(self.sink)
        self.scene = Scene(track or layouts.TRACKS[self.channels], recording, device, *options, seconds=seconds)
        return self.scene

    def exclusively(self):
        """Waits until the player has asked for Exclusive Access, and knows."""
        if self.scene.statuses() > 1:
            raise RuntimeError("the player asked for Exclusive Access before the shared cell was judged")
        with skipping():
            wait_until(lambda: self.scene.statuses() > 1, 20)

    def judged_exclusively(self, names, alters):
        """Where the card has no map, the file's channels keep their order; the best verdict is not given then."""
        recording = self.scene.recording
        keeps_order = not recording.has_map and len(recording.order) == self.channels
        order = self.scene.track.positions if keeps_order else None
        found = self.scene.judged(names, alters, order=order)
        if found["label"] == BEST and not found["detail"].startswith("Exclusive Access, "):
            found["faults"].append(f"it is not exclusive: {found['detail']}")
        return found

    def both_paths(self, row, recording, names, alters, exclusive_names, exclusive_alters, between=lambda: None,
                  then=lambda: None, also=(), **where):
        """One run of the player, which asks for Exclusive Access in the middle. `also`: rows whose circumstances are there as
        well from then on: `between` brings them about before, `then` afterwards."""
        rows = [row, *also]
        with self.cells(("shared", row), *(("exclusive", each) for each in rows)):
            with self.play(recording, *SWITCH, **where):
                self.cell("shared", row, **self.scene.judged(names, alters))
                between()
                self.exclusively()
                then()
                found = self.judged_exclusively(exclusive_names, exclusive_alters)
                for each in rows:
                    self.cell("exclusive", each, **found)

    # What changes while the music plays.

    def while_playing(self):
        with self.cells(*(("shared", circumstance.row) for circumstance in WHILE_PLAYING)):
            with self.play(LoopbackRecording(CARD_ORDER[self.channels]), seconds=LONG_TRACK):
                for node in (self.sink, self.stream):  # the machine resamples eight channels at a tenth of their pace
                    self.server.set_settings(node, {"resample.quality": 0})
                self.scene.advance(0.5)
                best = self.scene.verdict()
                for circumstance in WHILE_PLAYING:
                    self.one(circumstance, best)

    def one(self, circumstance, best):
        if self.channels < circumstance.least:
            return self.cell("shared", circumstance.row, absent="too few channels", faults=[])
        try:
            circumstance.begin(self)
        except NotThere as missing:
            return self.cell("shared", circumstance.row, absent=f"{self.version} has no {missing}", faults=[])
        found = self.scene.judged(circumstance.names, circumstance.alters, circumstance.settled)
        if circumstance.forbids_best and found["label"] == BEST:
            found["faults"].append("the verdict does not show it")
        self.cell("shared", circumstance.row, **found)
        circumstance.end(self)
        self.scene.recovered(best)

    def alone(self):
        with self.cells(("exclusive", NOTHING)):
            with self.play(LoopbackRecording(CARD_ORDER[self.channels]), "--exclusive"):
                found = self.judged_exclusively(NO_MAP[self.channels], False)
                self.cell("exclusive", NOTHING, **found)

    # A device behind something.

    def behind(self, row, sink, alters, name):
        """A sink of the server's that is no hardware. The device behind it plays as soon as it is there, and so it comes after
        the recording has begun."""
        with contextlib.ExitStack() as running:
            recording = LoopbackRecording(CARD_ORDER[self.channels], ready=lambda: running.enter_context(sink()))
            self.both_paths(row, recording, VIRTUAL, alters, VIRTUAL + "|does not expose exclusive access", alters,
                           device=f"sink:{name}")

    def plugin(self):
        """The plug-in alone; then all that a sink can have at once, and Exclusive Access."""
        self.choose(layouts.HALF[self.channels])
        rows = []
        for circumstance in WHILE_PLAYING[1:]:
            if circumstance.row.startswith(STREAM_ROWS) or " of the stream" in circumstance.row or "stream's" in circumstance.row:
                self.cell("exclusive", circumstance.row, absent="there is no stream", faults=[])
            elif circumstance.forbids_best:
                self.cell("exclusive", circumstance.row, absent="the card is not given while another program has it", faults=[])
            elif circumstance.setting and not has_setting(circumstance.setting):
                self.cell("exclusive", circumstance.row, absent=f"{self.version} has no {circumstance.setting}", faults=[])
            else:
                rows.append(circumstance)

        def begin(is_late):
            """To resample six channels takes the machine long: another rate comes when the sink has gone."""
            for circumstance in rows:
                if (circumstance is GRAPH_RATE) == is_late:
                    circumstance.begin(self)
        try:
            self.both_paths(ROW_PLUGIN, LoopbackRecording(CARD_ORDER[self.channels]), PLUGIN, True, NO_MAP[self.channels], False,
                           lambda: begin(False), lambda: begin(True), [circumstance.row for circumstance in rows])
        finally:
            circumstances.graph_rate(0)(self)
            circumstances.stop_too(self)

    @contextlib.contextmanager
    def lowered_virtual_device(self):
        """A virtual sink before the card's, which is turned down."""
        positions = ", ".join(FILE_ORDER[self.channels])
        before = desktop.start("/usr/bin/pw-loopback", "-c", self.channels, "-m", f"[ {positions} ]", "-P", self.sink_name,
                               "--capture-props", "{ media.class = Audio/Sink node.name = virtual node.description = virtual }")
        try:
            self.server.wait_for(node_name="virtual")
            circumstances.volume("sink", LOWERED)(self)
            yield
        finally:
            before.kill()
            before.wait()
            circumstances.volume("sink", 1)(self)

    def virtual(self):
        self.behind(ROW_VIRTUAL, self.lowered_virtual_device, True, "virtual")

    def fewer_bits(self):
        self.both_paths(ROW_BITS, LoopbackRecording(CARD_ORDER[self.channels], "S16_LE"), TOO_FEW_BITS, True, TOO_FEW_BITS, True)

    def other_channels(self):
        count = OTHER_COUNT[self.channels]
        self.choose(layouts.PLAIN[count])
        self.both_paths(ROW_CHANNELS, LoopbackRecording(CARD_ORDER[count]), CHANNELS, None, CHANNELS, None)

    def codec(self):
        if self.channels != 2:
            for way in ("shared", "exclusive"):
                self.cell(way, ROW_CODEC, absent="the emulated codec has two channels", faults=[])
            return
        desktop.full_volume("Intel")
        self.both_paths(ROW_CODEC, HdaRecording(), TOO_FEW_BITS, True, TOO_FEW_BITS, True, device=HDA_UID)

    # A server that is newer than the player.

    @staticmethod
    def rename_settings():
        data = CONVERTER.read_bytes()
        for old, new in RENAMED.items():
            data = data.replace(old, new)
        CONVERTER.unlink()
        CONVERTER.write_bytes(data)

    def unheard_of(self):
        with self.cells(("shared", ROW_UNHEARD_OF), ("shared", ROW_LOWERING), ("exclusive", ROW_UNHEARD_OF), ("exclusive", ROW_LOWERING)):
            with self.play(LoopbackRecording(CARD_ORDER[self.channels]), *SWITCH):
                self.cell("shared", ROW_UNHEARD_OF, **self.scene.judged(f"does not know: .*{UNHEARD_OF}", False))
                lowering = has_setting(LOWERING)
                if lowering:
                    self.server.set_settings(self.sink, {LOWERING: 0.25})
                    self.cell("shared", ROW_LOWERING, **self.scene.judged(f"does not know: .*{LOWERING}", True))
                self.exclusively()
                found = self.judged_exclusively(NO_MAP[self.channels], False)
                self.cell("exclusive", ROW_UNHEARD_OF, **found)
                for way in ("shared", "exclusive") if not lowering else ():
                    self.cell(way, ROW_LOWERING, absent=f"{self.version} has no limit of the level to rename", faults=[])
                if lowering:
                    self.cell("exclusive", ROW_LOWERING, **found)

    SCENES = (while_playing, Witnesses.witnesses, alone, virtual, fewer_bits, codec, plugin, *Beforehand.SCENES, other_channels, unheard_of)

    def run(self, counts, scenes):
        for self.channels in counts:
            for scene in scenes:
                try:
                    with skipping():  # all that is loaded is in memory
                        self.choose(layouts.PLAIN[self.channels])
                        scene(self)
                except Exception as error:  # noqa: BLE001 - whatever it is, it belongs in the report
                    self.cell("shared", f"scene {scene.__name__}", faults=[f"it broke down: {error}"],
                              story=traceback.format_exc().splitlines())
