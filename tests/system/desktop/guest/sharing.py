"""Playing beside other programs: what arrives, and what the player reports."""

import os
import subprocess
import time

import desktop
from cards import wait_until
from pace import skipping
from player import LOOPBACK, PROBE, Play, detail_faults, label_faults, name_of, to_loopback, track

TURNED_DOWN = "The sound server plays this device at 80 % volume, so samples are altered. Set its volume to 100 %."
NEUTRAL = ("CHECKING", "BIT-PERFECT", "READY")
OTHER_CLOCK = "This device follows the clock of another device"
STREAM = "tolvane-player"


def shared(rate, width):
    desktop.set_volume("Loopback", "1.0", is_new=False)
    faults, play = to_loopback(rate, width, 1)
    return {"faults": faults + label_faults(play, *NEUTRAL), "story": play.lines}


def paused():
    desktop.set_volume("Loopback", "1.0")
    faults, play = to_loopback(44100, 3, 2, "--pause-at", "0.7", "--pause-for", "0.5")
    return {"faults": faults, "story": play.lines}


def attenuated():
    """The server alters the samples: the player must not report the format that the kernel shows meanwhile."""
    desktop.set_volume("Loopback", "0.8")
    seen = set()

    def look(play):
        play.said(TURNED_DOWN)
        seen.add((LOOPBACK.setup(), play.process.pid in LOOPBACK.owners()))

    _, play = to_loopback(48000, 2, 1, busy=look)
    desktop.set_volume("Loopback", "1.0")
    faults = label_faults(play, "CHECKING", "DSP ACTIVE", "READY") + detail_faults(play, "DSP ACTIVE", TURNED_DOWN)
    if seen != {(("S32_LE", 48000, 2), False)}:
        faults.append(f"the kernel's hw_params, and whether the player has the card, were {seen}")
    return {"faults": faults, "story": play.lines,
            "verdict": ("6b", "DSP ACTIVE", "S32_LE 48000 Hz", "a sink at 80 %, Exclusive Access off")}


def reported():
    """The report names the other program, and where the card's format was read."""
    desktop.set_volume("Loopback", "1.0")
    track("/tmp/reported.wav", 48000, 2, 1)
    server = desktop.text_of("pipewire", "--version").split()[-1]
    text = " ".join(desktop.text_of(PROBE, "play", "/tmp/reported.wav", "--device", name_of("aloop"), "--report").split())
    faults = [f"it does not say {wanted!r}" for wanted in (
        "BIT-PERFECT", f"Sound server PipeWire {server}", "Driver snd_aloop", f"Kernel Linux {os.uname().release}",
        "/proc/asound/", "All 48,000 frames handed to the device", f"Handed to PipeWire {server}") if wanted not in text]
    return {"faults": faults, "story": [text]}


def turned_down():
    """The card's mixer is lowered behind the server's back, and raised again."""
    desktop.full_volume("Intel")

    def turn(play):
        subprocess.run(["amixer", "-q", "-c", "Intel", "sset", "Master", "50%"], check=True, timeout=30)
        play.says_soon("DSP ACTIVE")
        desktop.full_volume("Intel")

    track("/tmp/long.wav", 48000, 2, 6)
    play = Play("/tmp/long.wav", "--device", name_of("pci-"))
    play.said("BIT-PERFECT")
    turn(play)
    with skipping():
        faults = play.faults()
    faults += label_faults(play, "CHECKING", "BIT-PERFECT", "DSP ACTIVE", "BIT-PERFECT", "READY")
    return {"faults": faults, "story": play.lines}


def second_program():
    """Another program plays for a while: the rate stays, and the verdict changes for that time."""
    desktop.set_volume("Loopback", "1.0")
    target = desktop.sink("Loopback")["node.name"]
    track("/tmp/other.wav", 48000, 2, 1)
    seen = []

    def play_too(_):
        other = desktop.start("/usr/bin/pw-play", "--target", target, "/tmp/other.wav")
        while other.poll() is None:
            seen.append(LOOPBACK.setup())
            time.sleep(0.05)

    _, play = to_loopback(44100, 2, 6, meanwhile=play_too)
    faults = label_faults(play, "CHECKING", "BIT-PERFECT", "DSP ACTIVE", "BIT-PERFECT", "READY")
    if {setup[1] for setup in seen if setup} != {44100}:
        faults.append(f"the card ran at {set(seen)}")
    with skipping():
        wait_until(LOOPBACK.closed, 30)
    other = desktop.start("/usr/bin/pw-play", "--target", target, "/tmp/other.wav")
    wait_until(lambda: LOOPBACK.running() or other.poll() is not None, 20)
    after = LOOPBACK.setup()
    other.wait(60)
    if not after or after[1] != 48000:
        faults.append(f"afterwards the card runs at {after}, not at the other program's rate")
    return {"faults": faults, "story": play.lines}


def link(channel, sink, input_channel):
    """The stream's channel also goes into that one."""
    desktop.text_of("pw-link", f"{STREAM}:output_{channel}", f"{desktop.sink(sink)['node.name']}:playback_{input_channel}")


def unlink(channel, sink, input_channel):
    desktop.text_of("pw-link", "-d", f"{STREAM}:output_{channel}",
                    f"{desktop.sink(sink)['node.name']}:playback_{input_channel}")


def crossed():
    """Another program links the left channel into the right one too."""
    desktop.set_volume("Loopback", "1.0")

    def cross(play):
        link("FL", "Loopback", "FR")
        play.says_soon("CONVERTED", 10)
        unlink("FL", "Loopback", "FR")

    _, play = to_loopback(48000, 2, 8, busy=cross)
    return {"faults": label_faults(play, "CHECKING", "BIT-PERFECT", "CONVERTED", "BIT-PERFECT", "READY"), "story": play.lines}


def follows(card, identity, other):
    """Whether the player reports it for the card's sink while its stream also plays to the other's. (faults, answer, story)"""
    play = Play("/tmp/long.wav", "--device", name_of(identity))
    play.said("BIT-PERFECT")
    link("FL", other, "FL")
    told = play.says_soon(OTHER_CLOCK, 3)
    with skipping():
        faults = play.faults()
    expected = ["CHECKING", "BIT-PERFECT", "CONVERTED", "READY"] if told else ["CHECKING", "BIT-PERFECT", "READY"]
    return faults + label_faults(play, *expected), told, play.lines


def clocks():
    """Two sinks in one graph: one keeps the time, and the other is made to."""
    desktop.full_volume("Intel")
    desktop.set_volume("Loopback", "1.0")
    track("/tmp/long.wav", 48000, 2, 10)
    faults, intel, story = follows("Intel", "pci-", "Loopback")
    more, loopback, lines = follows("Loopback", "aloop", "Intel")
    faults += more
    if intel == loopback:
        faults.append("one of both follows the other, and the player says it of " + ("both" if intel else "neither"))
    return {"faults": faults, "remark": f"{'Intel' if intel else 'Loopback'} follows", "story": [*story, *lines]}
