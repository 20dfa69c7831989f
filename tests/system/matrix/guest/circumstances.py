"""What may happen to samples on the way through the sound server while the music plays: one entry a row of the matrix."""

import pathlib
import subprocess
from dataclasses import dataclass
from typing import Callable

import desktop
import layouts
from cards import Pcm, wait_until
from layouts import FILTER, HALVED

CONVERTER = pathlib.Path("/usr/lib/x86_64-linux-gnu/spa-0.2/audioconvert/libspa-audioconvert.so")
OTHER = pathlib.Path("/tmp/other.wav")
LOWERED = 0.4 ** 3  # the factor of 40 %
NOTHING, LOWERED_DEVICE = "nothing in the way", "device at 40 % in the server"
DEVICE, STREAM = "this device", "the player's stream"


class NotThere(Exception):
    """This version of the server does not have the circumstance."""


@dataclass(frozen=True)
class Circumstance:
    row: str
    names: str  # a regular expression: what a verdict that is not the best must say
    begin: Callable
    end: Callable
    alters: bool | None = True  # None: it may leave the samples as they are
    least: int = 1  # channels
    settled: float = 0.5  # seconds of music
    forbids_best: bool = False  # the verdict must not be the best, whatever the samples are
    setting: str = ""  # of the converter, that the circumstance is made of


def has_setting(name):
    """Whether this version's converter knows it."""
    return name.encode() + b"\0" in CONVERTER.read_bytes()


def setting(row, node, name, value, neutral, names, alters=True):
    """A setting of the converter of the sink or of the player's stream."""
    def to(this):
        def change(show):
            if not has_setting(name):
                raise NotThere(name)
            show.server.set_settings(getattr(show, node), {name: this})
        return change


    def end(show):
        to(neutral)(show)
        if name == FILTER:
            # The server reports a filter's controls until it reports something else.
            show.scene.advance(0.2)
            props(node, mute=False)(show)
    return Circumstance(row, names, to(value), end, alters, setting=name)


# How channels are mixed, and what the converter has when it does not: nothing of it may reach samples that need no mixing.
MIXING = {"channelmix.normalize": True, "channelmix.mix-lfe": False, "channelmix.upmix": True, "channelmix.upmix-method": "psd",
          "channelmix.lfe-cutoff": 150.0, "channelmix.fc-cutoff": 6000.0, "channelmix.rear-delay": 12.0,
          "channelmix.stereo-widen": 0.5}
NO_MIXING = {"channelmix.normalize": False, "channelmix.mix-lfe": True, "channelmix.upmix": False, "channelmix.lfe-cutoff": 0.0,
             "channelmix.fc-cutoff": 0.0, "channelmix.rear-delay": 0.0, "channelmix.stereo-widen": 0.0}


def mixing(row, node):
    def to(settings):
        return lambda show: show.server.set_settings(getattr(show, node), settings)
    return Circumstance(row, "$.", to(MIXING), to(NO_MIXING), alters=False)


def props(node, **values):
    """Properties of the sink or of the player's stream. These profiles of the card have no mixer: the server scales."""
    return lambda show: show.server.set(getattr(show, node), "Props", **values)


def volume(node, factor):
    def change(show):
        def levels():
            props = getattr(show, node)["info"]["params"].get("Props") or [{}]
            return props[0].get("channelVolumes")
        props(node, channelVolumes=[factor] * len(wait_until(levels, 20)))(show)
    return change


def graph_rate(hertz):
    return lambda show: desktop.text_of("pw-metadata", "-n", "settings", "0", "clock.force-rate", hertz)


def play_too(show):
    if not OTHER.exists():
        layouts.write_track(OTHER, layouts.TRACKS[2], 30)
    show.other = desktop.start("/usr/bin/pw-play", "--target", show.sink_name, OTHER)


def stop_too(show):
    show.other.kill()
    show.other.wait()


def cross(*options):
    def change(show):
        own, other = layouts.FILE_ORDER[show.channels][:2]
        desktop.text_of("pw-link", *options, f"tolvane-player:output_{own}", f"{show.sink_name}:playback_{other}")
    return change


def clock(*options):
    """Links the stream to another card's sink too, whose clock a rule prefers."""
    def change(show):
        leader = desktop.sink(layouts.CLOCK_CARD)["node.name"]
        desktop.text_of("pw-link", *options, f"tolvane-player:output_{layouts.FILE_ORDER[show.channels][0]}", f"{leader}:playback_FL")
    return change


def open_too(show):
    """Another of the card's ways in. Its music goes elsewhere, but the kernel now shows two formats."""
    show.other = subprocess.Popen(["aplay", "-q", "-D", "hw:Loopback,0,5", "-t", "raw", "-f", "S16_LE", "-r", "8000", "-c", "1",
                                   "/dev/zero"], stdin=subprocess.DEVNULL)
    wait_until(lambda: len(Pcm("Loopback").setups()) == 2, 20)


def nothing(_):
    pass


GRAPH_RATE = Circumstance("graph at another rate", "mixes at 44.1 kHz|resamples the track", graph_rate(44100), graph_rate(0),
                          settled=0.8)
WHILE_PLAYING = (
    Circumstance(NOTHING, "$.", nothing, nothing, alters=False),
    Circumstance(LOWERED_DEVICE, "plays this device at 40 % volume", volume("sink", LOWERED), volume("sink", 1)),
    Circumstance("device muted in the server", "is muted in the sound server", props("sink", mute=True), props("sink", mute=False)),
    Circumstance("stream at 40 % in the server", "stream is at 40 % in", volume("stream", LOWERED), volume("stream", 1)),
    Circumstance("stream muted in the server", "stream is muted in", props("stream", mute=True), props("stream", mute=False)),
    setting("filter graph in the device's converter", "sink", FILTER, HALVED, "", f"filters the samples of {DEVICE}"),
    setting("filter graph in the stream's converter", "stream", FILTER, HALVED, "", f"filters the samples of {STREAM}"),
    setting("channelmix.max-volume of the device", "sink", "channelmix.max-volume", 0.25, 10.0, f"level of {DEVICE} below"),
    setting("channelmix.max-volume of the stream", "stream", "channelmix.max-volume", 0.25, 10.0, f"level of {STREAM} below"),
    setting("channelmix.min-volume of the device", "sink", "channelmix.min-volume", 2.0, 0.0, f"level of {DEVICE} above"),
    setting("channelmix.min-volume of the stream", "stream", "channelmix.min-volume", 2.0, 0.0, f"level of {STREAM} above"),
    setting("dither of the device", "sink", "dither.noise", 16, 0, f"dithers the samples of {DEVICE}", alters=None),
    mixing("options for mixing of the device", "sink"),
    mixing("options for mixing of the stream", "stream"),
    Circumstance("another program on the device", "Another program plays on this device", play_too, stop_too),
    Circumstance("another program has the card open", "does not expose its physical stream format", open_too, stop_too,
                 alters=False, forbids_best=True, settled=1.2),
    Circumstance("a channel linked into another", "is linked to another channel", cross(), cross("-d"), least=2),
    Circumstance("stream linked to another device too, whose clock leads", "follows the clock of another device", clock(),
                 clock("-d"), settled=0.8),
    GRAPH_RATE,
)
