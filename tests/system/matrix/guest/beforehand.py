"""The scenes of what was there before the music: settings by rule and file, sinks that are no hardware, tracks and devices
that state their channels, or not. A part of Show."""

import contextlib
import pathlib

import desktop
import layouts
from causes import ASSUMED, CHANNELS, LINKED, NEVER, NO_MAP, REFUTED, VIRTUAL
from circumstances import DEVICE, STREAM, has_setting
from layouts import CARD_ORDER, FILE_ORDER, FILTER, HALVED
from scene import DacRecording, LoopbackRecording, PipeRecording
from usb_dac import Dac

# By a rule of the session manager, before the music: kind of a profile → (row, what the verdict must name, whether it is heard).
RULED = {"filtered": ("filter graph of the device by rule", f"filters the samples of {DEVICE}", True),
         "lowered": ("channelmix.max-volume of the device by rule", f"level of {DEVICE} below", True),
         "raised": ("channelmix.min-volume of the device by rule", f"level of {DEVICE} above", True),
         "renamed": ("audio.position of the device by rule", "in another order", True)}
# By client.conf: name → (row, value, what the verdict must name, whether it is heard).
CONFIGURED = {FILTER: ("stream's filter graph by client.conf", HALVED, f"filters the samples of {STREAM}", True),
              "channelmix.max-volume": ("stream's channelmix.max-volume by client.conf", "0.25", f"level of {STREAM} below", True),
              "channelmix.min-volume": ("stream's channelmix.min-volume by client.conf", "2.0", f"level of {STREAM} above", True),
              # Without a resampler in the way it has nothing to do.
              "resample.peaks": ("stream's resample.peaks by client.conf", "true", NEVER, False)}
CLIENT_CONF = [pathlib.Path(f"/home/listener/.config/pipewire/{name}.conf.d/matrix.conf") for name in ("client", "client-rt")]
# What runs a module of the server's beside it.
MODULE_CONF = """context.spa-libs = {{ audio.convert.* = audioconvert/libspa-audioconvert support.* = support/libspa-support }}
context.modules = [ {{ name = libpipewire-module-protocol-native }} {{ name = libpipewire-module-client-node }}
  {{ name = libpipewire-module-adapter }} {{ name = {name} args = {{ {arguments} }} }} ]
"""
OTHER_MASKS = {6: 0xCF, 8: 0xFF}  # with the loudspeakers between centre and front
DAC_CARD = "alsa_card.usb-Tolvane_Test_DAC_0001-00"

ROW_COMBINED = "a combination of this device alone"
ROW_EQUALISER = "an equaliser in front of this device"
ROW_TUNNEL = "a tunnel to another program"
ROW_UNSTATED = "a track that does not state its channels"
ROW_SIDE = "5.1 track with side channels"
ROW_SIDE_ON_71 = "5.1 track with side channels on a 7.1 USB device"
ROW_NUMBERED = "Pro Audio of a USB device that states its channels"
ROW_UNSTATED_USB = "Pro Audio of a USB device that does not"
ROW_PERMUTED = "a USB device with the track's channels in another order"
ROW_OWN_ORDER = "a USB device whose sink has the order that it states"
ROW_REFUTED = "a USB device whose sink has another order than it states"
ROW_MADE_UP = "a USB device whose driver made an order up"
ROW_UCM = "UCM for a USB device that states its channels"
ROW_UCM_RENAMED = "UCM, and a rule with the order that the device states"
ROW_UCM_MADE_UP = "UCM for a USB device that states no channels"
ROW_OTHER_USB = "Pro Audio of a USB device with other loudspeakers"


class Beforehand:
    # What was set before the music began.

    def absent(self, row, why, *ways):
        for way in ways or ("shared", "exclusive"):
            self.cell(way, row, absent=why, faults=[])

    def ruled(self):
        rows = []
        for kind, (row, names, alters) in RULED.items():
            setting, _ = layouts.RULED[kind]
            if kind == "renamed" and self.channels == 1:
                self.absent(row, "one channel has no order")
            elif not setting.startswith("audio.") and not has_setting(setting):
                self.absent(row, f"{self.version} has no {setting}")
            else:
                rows.append(row)
                self.choose(layouts.ruled(kind, self.channels))
                with self.cells(("shared", row)):
                    with self.play(LoopbackRecording(CARD_ORDER[self.channels])):
                        self.cell("shared", row, **self.scene.judged(names, alters))
        if rows:
            self.choose(layouts.ruled(layouts.EVERY_RULE, self.channels))
            with self.cells(*(("exclusive", row) for row in rows)):
                with self.play(LoopbackRecording(CARD_ORDER[self.channels]), "--exclusive"):
                    found = self.judged_exclusively(NO_MAP[self.channels], False)
                    for row in rows:
                        self.cell("exclusive", row, **found)

    def configured(self):
        for setting, (row, value, names, alters) in CONFIGURED.items():
            self.absent(row, "there is no stream", "exclusive")
            if not has_setting(setting):
                self.absent(row, f"{self.version} has no {setting}", "shared")
                continue
            for path in CLIENT_CONF:
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(f"stream.properties = {{ {setting} = {value} }}\n")
            try:
                with self.cells(("shared", row)):
                    with self.play(LoopbackRecording(CARD_ORDER[self.channels])):
                        self.cell("shared", row, **self.scene.judged(names, alters))
            finally:
                for path in CLIENT_CONF:
                    path.unlink()

    # Sinks that are no hardware.

    @contextlib.contextmanager
    def module(self, name, node, arguments):
        """A module of the server's, which makes a sink of this name."""
        path = pathlib.Path(f"/tmp/{node}.conf")
        path.write_text(MODULE_CONF.format(name=f"libpipewire-module-{name}", arguments=arguments))
        with open("/tmp/module.log", "ab") as log:
            process = desktop.start("/usr/bin/pipewire", "-c", path, stdout=log, stderr=log)
        try:
            self.server.wait_for(node_name=node)
            yield
        finally:
            process.kill()
            process.wait()

    def combined_sink(self):
        positions = " ".join(FILE_ORDER[self.channels])
        sink = f'{{ matches = [ {{ node.name = "{self.sink_name}" }} ] actions = {{ create-stream = {{ }} }} }}'
        return self.module("combine-stream", "combined", f"""combine.mode = sink node.name = combined
            node.description = combined combine.props = {{ audio.position = [ {positions} ] }} stream.rules = [ {sink} ]""")

    def combined(self):
        self.behind(ROW_COMBINED, self.combined_sink, None, "combined")

    def equaliser_sink(self):
        positions = " ".join(FILE_ORDER[self.channels])
        return self.module("filter-chain", "equaliser", f"""node.description = equaliser
            audio.channels = {self.channels} audio.position = [ {positions} ]
            filter.graph = {{ nodes = [ {{ type = builtin name = shelf label = bq_lowshelf
                control = {{ "Freq" = 200.0 "Q" = 1.0 "Gain" = 6.0 }} }} ] }}
            capture.props = {{ node.name = equaliser media.class = Audio/Sink }}
            playback.props = {{ node.name = equaliser.output node.target = "{self.sink_name}"
                target.object = "{self.sink_name}" }}""")

    def equaliser(self):
        self.behind(ROW_EQUALISER, self.equaliser_sink, True, "equaliser")

    def tunnel(self):
        positions = " ".join(FILE_ORDER[self.channels])
        with contextlib.ExitStack() as running:
            def begin():
                running.enter_context(self.module("pipe-tunnel", "tunnel", f"""tunnel.mode = sink node.name = tunnel
                    node.description = tunnel pipe.filename = "{PipeRecording.pipe}" audio.format = S32LE audio.rate = {layouts.RATE}
                    audio.channels = {self.channels} audio.position = [ {positions} ]
                    stream.props = {{ media.class = Audio/Sink node.name = tunnel }}"""))
            self.both_paths(ROW_TUNNEL, PipeRecording(FILE_ORDER[self.channels], begin), VIRTUAL, None,
                           VIRTUAL + "|does not expose exclusive access", None, device="sink:tunnel")

    # Tracks and devices that state their channels in other ways, or not.

    def unstated(self):
        names = "track does not state which loudspeakers" if self.channels > 2 else NEVER
        self.both_paths(ROW_UNSTATED, LoopbackRecording(CARD_ORDER[self.channels]), names, False,
                       names, False, track=layouts.UNSTATED[self.channels])

    def side(self):
        if self.channels != 6:
            for row in (ROW_SIDE, ROW_SIDE_ON_71):
                self.absent(row, "5.1 has six channels")
            return
        order = tuple({"RL": "SL", "RR": "SR"}.get(name, name) for name in CARD_ORDER[6])
        self.both_paths(ROW_SIDE, LoopbackRecording(order), NEVER, False, NO_MAP[6], False, track=layouts.SIDE_51)
        with self.usb(8, layouts.MASKS[8]) as dac:
            self.both_paths(ROW_SIDE_ON_71, DacRecording(dac, FILE_ORDER[8]), CHANNELS, None, CHANNELS, False, device=dac.device()["uid"],
                           track=layouts.SIDE_51)

    @contextlib.contextmanager
    def dac(self, channels, mask):
        """A USB device, whose profile is to be chosen."""
        with Dac("--channels", str(channels), "--positions", f"{mask:x}", "--rates", str(layouts.RATE), "--formats", "s32") as dac:
            usual, self.card = self.card, DAC_CARD
            try:
                yield dac
            finally:
                self.card = usual

    @contextlib.contextmanager
    def usb(self, channels, mask):
        """A USB device, with the profile that numbers its channels."""
        with self.dac(channels, mask) as dac:
            self.choose("pro-audio", "pro-output-0")
            yield dac

    def usb_paths(self, row, dac, names, alters, exclusive_names, exclusive_alters, order=None, **more):
        recording = DacRecording(dac, order or FILE_ORDER[self.channels])
        self.both_paths(row, recording, names, alters, exclusive_names, exclusive_alters, device=dac.device()["uid"], **more)

    def numbered(self):
        count, beyond = self.channels, self.channels > 2
        # The session manager finds no channel of a numbered sink for the loudspeakers beyond stereo. It makes mono into
        # stereo, and then finds one for the left channel only.
        numbered, is_altered = {1: (LINKED, None), 2: (NEVER, False)}.get(count, (LINKED, True))
        if not beyond:
            with self.usb(count, layouts.MASKS[count]) as dac:
                self.usb_paths(ROW_NUMBERED, dac, numbered, is_altered, NEVER, False)
            for row in (ROW_UNSTATED_USB, ROW_OTHER_USB, ROW_PERMUTED, ROW_OWN_ORDER, ROW_REFUTED, ROW_MADE_UP):
                self.absent(row, "one channel and two have their usual places")
            return
        with self.dac(count, layouts.MASKS[count]) as dac:
            self.choose(layouts.OWN_ORDER[count])
            self.usb_shared(ROW_OWN_ORDER, dac, NEVER, False)
            self.choose(layouts.OTHER_THAN_OWN[count])
            self.usb_shared(ROW_REFUTED, dac, REFUTED, True)
            self.choose("pro-audio", "pro-output-0")
            self.usb_paths(ROW_NUMBERED, dac, numbered, is_altered, NEVER, False, also=(ROW_OWN_ORDER, ROW_REFUTED))
        with self.dac(count, 0) as dac:
            self.choose(layouts.OWN_ORDER[count])
            self.usb_shared(ROW_MADE_UP, dac, ASSUMED, False)
            self.choose("pro-audio", "pro-output-0")
            self.usb_paths(ROW_UNSTATED_USB, dac, numbered, is_altered, "does not state which loudspeakers", False, also=(ROW_MADE_UP,))
        with self.usb(count, OTHER_MASKS[count]) as dac:
            self.usb_paths(ROW_OTHER_USB, dac, numbered, is_altered, "no loudspeaker", True)
        track, mask, order = layouts.PERMUTED[count]
        with self.usb(count, mask) as dac:
            self.usb_paths(ROW_PERMUTED, dac, numbered, is_altered, NEVER, False, order, track=track)

    def usb_shared(self, row, dac, names, alters):
        """The profile is the device's own matter: with Exclusive Access the device is the same with each."""
        with self.cells(("shared", row)):
            with self.play(DacRecording(dac, FILE_ORDER[self.channels]), device=dac.device()["uid"]):
                self.cell("shared", row, **self.scene.judged(names, alters))

    def choose_verb(self, name):
        """A profile that a configuration for the device makes. What its sink calls it is each server's own."""
        self.choose(name, self.server.sink_profile(DAC_CARD, name))
        # The level of such a sink is the card's: what is set of the sink does not change it.
        desktop.text_of("wpctl", "set-volume", self.sink["id"], "1.0")

    def configured_device(self):
        count, beyond = self.channels, self.channels > 2
        layouts.use_configuration(count)
        try:
            with self.dac(count, layouts.MASKS[count]) as dac:
                if beyond:
                    self.choose_verb(layouts.RENAMED[count])
                    self.usb_shared(ROW_UCM_RENAMED, dac, NEVER, False)
                self.choose_verb(layouts.CONFIGURED[count])
                self.usb_paths(ROW_UCM, dac, REFUTED if beyond else NEVER, beyond, NEVER, False, also=(ROW_UCM_RENAMED,) if beyond else ())
            if not beyond:
                for row in (ROW_UCM_RENAMED, ROW_UCM_MADE_UP):
                    self.absent(row, "one channel and two have their usual places")
                return
            with self.dac(count, 0) as dac:
                self.choose_verb(layouts.RENAMED[count])
                self.usb_paths(ROW_UCM_MADE_UP, dac, ASSUMED, False, "does not state which loudspeakers", False)
        finally:
            layouts.use_configuration(None)

    SCENES = (combined, equaliser, tunnel, unstated, side, numbered, configured_device, ruled, configured)
