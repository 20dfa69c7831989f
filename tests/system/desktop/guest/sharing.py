"""Playing beside other programs: what arrives, and what the player says of it."""

import json
import subprocess
import time

import desktop
from cards import wait_until
from contested import WITHHELD
from pace import skipping
from player import LOOPBACK, Play, label_faults, name_of, to_loopback, track

NOT_EXPOSED = ("Shared device access is active and the sample rate matches, but the device does not expose its physical stream "
               "format.")
NEUTRAL = ("CHECKING", "BIT-PERFECT", "READY")
OTHER_CLOCK = "the sink follows another clock"
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
    """The server alters the samples, so that no physical format is theirs: first while another program keeps Exclusive Access
    from the player, then with the switch off. The kernel tells what format the card has all the while, and who has it."""
    desktop.set_volume("Loopback", "0.8")
    with skipping():
        wait_until(LOOPBACK.closed, 30)
    other = subprocess.Popen(["aplay", "-q", "-D", "hw:Loopback,0,5", "-t", "raw", "-f", "S16_LE", "-r", "8000", "-c", "1",
                              "/dev/zero"], stdin=subprocess.DEVNULL)
    try:
        if not wait_until(lambda: LOOPBACK.owners() == {other.pid}, 20):
            raise RuntimeError(f"aplay does not play: {LOOPBACK.owners()}")
        track("/tmp/long.wav", 48000, 2, 3)
        play = Play("/tmp/long.wav", "--device", name_of("aloop"), "--exclusive", "--shared-at", "1.5")
        seen = []
        for detail in (WITHHELD, NOT_EXPOSED):
            play.said(detail)
            wait_until(lambda: len(LOOPBACK.setups()) > 1, 5)
            seen.append((LOOPBACK.setups(), LOOPBACK.owners() - {other.pid}))
        with skipping():
            faults = play.faults()
    finally:
        other.kill()
        other.wait()
        desktop.set_volume("Loopback", "1.0")
    said = [line for line in play.verdicts() if line[0] not in ("CHECKING", "READY")]
    if said != [("DIRECT PCM", WITHHELD), ("DIRECT PCM", NOT_EXPOSED)]:
        faults.append(f"the player says {said}")
    if not play.has_said("samples are altered: the sink's volume is"):
        faults.append("the player does not name the sink's volume")
    ours = [[setup for setup in setups if setup != ("S16_LE", 8000, 1)] for setups, _ in seen]
    if any(len(setups) != 1 or setups[0][1:] != (48000, 2) for setups in ours):
        faults.append(f"the kernel's hw_params were {ours}")
    if any(len(owners) != 1 or play.process.pid in owners for _, owners in seen):
        faults.append(f"the card was held by {seen}, not by the server")
    shown = [setups[0][:2] if setups else ("none", 0) for setups in ours]
    return {"faults": faults, "story": play.lines, "verdicts": [
        (row, "DIRECT PCM", "{} {} Hz".format(*setup), f"a sink at 80 %, Exclusive Access {access}")
        for row, setup, access in zip(("8", "7"), shown, ("withheld by another program", "off"))]}


def turned_down():
    """The card's mixer is lowered behind the server's back, and raised again."""
    desktop.full_volume("Intel")

    def turn(play):
        subprocess.run(["amixer", "-q", "-c", "Intel", "sset", "Master", "50%"], check=True, timeout=30)
        play.says_soon("DIRECT PCM")
        desktop.full_volume("Intel")

    track("/tmp/long.wav", 48000, 2, 6)
    play = Play("/tmp/long.wav", "--device", name_of("pci-"))
    play.said("BIT-PERFECT")
    turn(play)
    with skipping():
        faults = play.faults()
    faults += label_faults(play, "CHECKING", "BIT-PERFECT", "DIRECT PCM", "BIT-PERFECT", "READY")
    return {"faults": faults, "story": play.lines}


def second_program():
    """Somebody else plays for a while: the rate stays, and the verdict is another as long as that lasts."""
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
    faults = label_faults(play, "CHECKING", "BIT-PERFECT", "DIRECT PCM", "BIT-PERFECT", "READY")
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
    """Somebody links the left channel into the right one too."""
    desktop.set_volume("Loopback", "1.0")

    def cross(play):
        link("FL", "Loopback", "FR")
        play.says_soon("DIRECT PCM", 10)
        unlink("FL", "Loopback", "FR")

    _, play = to_loopback(48000, 2, 8, busy=cross)
    return {"faults": label_faults(play, "CHECKING", "BIT-PERFECT", "DIRECT PCM", "BIT-PERFECT", "READY"), "story": play.lines}


def follows(card, identity, other):
    """Whether the player says so of the card's sink while its stream also plays to the other's. (faults, answer, story)"""
    play = Play("/tmp/long.wav", "--device", name_of(identity))
    play.said("BIT-PERFECT")
    link("FL", other, "FL")
    told = play.says_soon(OTHER_CLOCK, 3)
    with skipping():
        faults = play.faults()
    expected = ["CHECKING", "BIT-PERFECT", "DIRECT PCM", "READY"] if told else ["CHECKING", "BIT-PERFECT", "READY"]
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
