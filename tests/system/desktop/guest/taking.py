"""Exclusive Access on a desktop whose server, or another program, has the card too."""

import pathlib
import shutil
import subprocess
import time

import desktop
import session
from cards import Pcm, wait_until
from contested import WITHHELD
from pace import skipping
from player import LOOPBACK, SHARED, Play, detail_faults, name_of, to_loopback, track

ACTIVE, LOST = '"kind":"active"', '"kind":"lost"'
PCM = Pcm("Intel")
HIGHER = 100  # priority of another program, beside the player's 30
session.RESERVER = pathlib.Path(__file__).with_name("insistent.py")


class Session:
    """The bus of the user's session, for the programs that reserve cards on it."""

    settings = {"DBUS_SESSION_BUS_ADDRESS": desktop.ENVIRONMENT["DBUS_SESSION_BUS_ADDRESS"]}


def received(play, name, expected):
    """The host looks at what the card got. Where the session manager has brought the card back at another volume, the
    last verdict must say so."""
    labels = play.labels()
    faults = [] if labels in (expected, [*expected[:-2], "DSP ACTIVE", "READY"]) else [f"the player says {labels}"]
    return {"faults": faults, "received": "hda.wav", "track": name,
            "mayBeTurnedDown": labels != expected and play.has_said("samples are altered.")}


def switched():
    """Exclusive Access on and off in the middle. The host looks at what the card received."""
    desktop.full_volume("Intel")
    before = desktop.sink("Intel")["node.name"]
    desktop.text_of("wpctl", "set-default", desktop.sink("Intel")["object.id"])
    with skipping():
        time.sleep(5)  # the session manager writes down what it is to give the sink back with
    track(SHARED / "switched.wav", 48000, 2, 6)
    shutil.copyfile(SHARED / "switched.wav", "/tmp/switched.wav")
    play = Play("/tmp/switched.wav", "--device", name_of("pci-"), "--exclusive-at", "2", "--shared-at", "4")
    play.said('"isPlaying","value":true')
    with skipping():
        faults = play.faults()
    if not play.has_said(ACTIVE):
        faults.append("Exclusive Access was never active")
    if desktop.sink("Intel")["node.name"] != before:
        faults.append(f"the sink came back as {desktop.sink('Intel')['node.name']}")
    metadata = desktop.text_of("pw-metadata", "0", "default.audio.sink")
    if before not in metadata:
        faults.append(f"the sink is not the default one any more: {metadata}")
    record = received(play, "switched.wav", ["CHECKING", "BIT-PERFECT"] * 3 + ["READY"])
    return {**record, "faults": faults + record["faults"], "story": play.lines}


def not_given_back():
    """Exclusive Access is switched off, and the session manager has died meanwhile: the sink is waited for, does not come
    back, and the music goes on over the card."""
    desktop.full_volume("Intel")
    track(SHARED / "alone.wav", 48000, 2, 6)
    shutil.copyfile(SHARED / "alone.wav", "/tmp/alone.wav")
    play = Play("/tmp/alone.wav", "--device", name_of("pci-"), "--exclusive-at", "1", "--shared-at", "3")
    faults = [] if play.said(ACTIVE) else ["Exclusive Access was never active"]
    desktop.kill_server("wireplumber")
    with skipping():
        faults += play.faults()
    opened = [line.partition("Opened ")[2] for line in play.lines if "AudioOutput: Opened" in line]
    if ["through PipeWire" in line for line in opened] != [True, False, False]:
        faults.append(f"the output was opened as {opened}")
    desktop.start_server("wireplumber")
    for card in desktop.CARDS:
        desktop.sink(card)
    record = received(play, "alone.wav", ["CHECKING", "BIT-PERFECT"] * 3 + ["READY"])
    return {**record, "faults": faults + record["faults"], "remark": opened[-1], "story": play.lines}


def ended(number):
    """The player ends while it has a card from the server: the sink comes back as it was, and another program plays."""
    desktop.full_volume("Intel")
    before = desktop.sink("Intel")["node.name"]
    desktop.text_of("wpctl", "set-default", desktop.sink("Intel")["object.id"])
    with skipping():
        time.sleep(5)  # the session manager writes down what it is to give the sink back with
    track("/tmp/ended.wav", 44100, 2, 20)
    track("/tmp/other.wav", 48000, 2, 1)
    play = Play("/tmp/ended.wav", "--device", name_of("pci-"), "--exclusive")
    faults = [] if play.said(ACTIVE) else ["Exclusive Access was never active"]
    with skipping():
        time.sleep(1)
    if PCM.setup() != ("S16_LE", 44100, 2) or PCM.owners() != {play.process.pid}:
        faults.append(f"the card is {PCM.owners()}'s, and runs at {PCM.setup()}")
    play.process.send_signal(number)
    faults += play.finish()
    if not wait_until(lambda: desktop.sink("Intel")["node.name"] == before, 20):
        faults.append(f"the sink came back as {desktop.sink('Intel')['node.name']}")
    if not wait_until(lambda: before in desktop.text_of("pw-metadata", "0", "default.audio.sink"), 20):
        faults.append("the sink is not the default one any more")
    other = desktop.start("/usr/bin/pw-play", "/tmp/other.wav")
    wait_until(lambda: PCM.running() or other.poll() is not None, 20)
    setup, owners = PCM.setup(), PCM.owners()
    if other.wait(60) != 0 or not setup or setup[1] != 48000 or owners != {desktop.servers["pipewire"].pid}:
        faults.append(f"another program plays at {setup}, over process {owners}, and ends with {other.returncode}")
    return {"faults": faults, "story": play.lines}


def stolen():
    """A program of higher priority takes the card from under the music, and drops it before the player gives up."""
    desktop.full_volume("Intel")
    track(SHARED / "stolen.wav", 48000, 2, 6)
    shutil.copyfile(SHARED / "stolen.wav", "/tmp/stolen.wav")
    with session.Program(Session, "Intel", HIGHER, ()) as other:
        play = Play("/tmp/stolen.wav", "--device", name_of("pci-"), "--exclusive")
        play.said('"isPlaying","value":true')
        faults = [] if other.request()["value"] == [True] else ["the player does not let go"]
        if not wait_until(lambda: [1] in [event["value"] for event in other.events("took")], 5):
            faults.append("the other program did not get the card")
        if not play.said(LOST, 5):
            faults.append("Exclusive Access was not lost")
        lost = len(play.lines)
        other.asked("drop", "dropped")
        with skipping():
            faults += play.faults()
    again = [line for line in play.lines[lost:] if ACTIVE in line]
    if not again:
        faults.append("Exclusive Access did not become active again")
    return {"faults": faults, "story": play.lines + other.story(), "received": "hda.wav", "track": "stolen.wav",
            "mayBeTurnedDown": False}


def left():
    """Another program has one of the card's ways in: the music plays shared until it leaves, and then exclusively. While the
    kernel shows two programs' formats, the player has none to report."""
    desktop.set_volume("Loopback", "1.0")
    other = subprocess.Popen(["aplay", "-q", "-D", "hw:Loopback,0,5", "-t", "raw", "-f", "S16_LE", "-r", "8000", "-c", "1",
                              "/dev/zero"], stdin=subprocess.DEVNULL)
    wait_until(LOOPBACK.running, 20)
    shown, seen = [], set()

    def leave(play):
        play.said(WITHHELD)
        seen.update((*LOOPBACK.setups(), play.process.pid in LOOPBACK.owners()))
        shown.append(play.has_said(ACTIVE))
        other.kill()
        other.wait()

    faults, play = to_loopback(48000, 3, 6, "--exclusive", busy=leave)
    if shown != [False]:
        faults.append("Exclusive Access was active beside the other program")
    if not play.has_said(ACTIVE):
        faults.append("Exclusive Access did not become active")
    if play.labels()[-2:] != ["BIT-PERFECT", "READY"]:
        faults.append(f"the player says {play.labels()}")
    faults += detail_faults(play, "DIRECT PCM", WITHHELD)
    if seen != {("S16_LE", 8000, 1), ("S32_LE", 48000, 2), False}:
        faults.append(f"the kernel's hw_params, and whether the player had the card, were {seen}")
    return {"faults": faults, "story": play.lines,
            "verdict": ("8", "DIRECT PCM", "S32_LE 48000 Hz", "another program has the card too, at S16_LE 8000 Hz")}
