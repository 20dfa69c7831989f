"""A server, or a session manager, that dies, hangs, comes late or is not there."""

import shutil
import signal
import time

import desktop
from cards import wait_until
from pace import skipping
from player import NOT_RECOVERED, SHARED, Play, label_faults, name_of, to_loopback, track

SHARED_PATH = "through PipeWire"


def outcome(play):
    """(faults, remark) of a run that may end early, if it says why."""
    faults, end = play.finish(), play.last()
    recovered = end.get("completed") == 1 and end.get("recoveries", 0) >= 1
    if not recovered and not end.get("error", "").startswith(NOT_RECOVERED):
        faults.append(f"it ended with {end}")
    return faults, "recovered" if recovered else end.get("error", "")


def restarted():
    """The server dies while it plays, and is started again: the player goes on, or says that it cannot."""
    desktop.set_volume("Intel", "1.0")
    track("/tmp/long.wav", 48000, 2, 8)
    play = Play("/tmp/long.wav", "--device", name_of("pci-"))
    play.said('"isPlaying","value":true')
    with skipping():
        time.sleep(1)
    desktop.kill_servers()
    desktop.start_servers()
    time.sleep(2)  # they are being loaded
    with skipping():
        faults, remark = outcome(play)
    return {"faults": faults, "remark": remark, "story": play.lines}


def restarted_while_paused():
    """The listener resumes when the server is back: at the frame where the music paused."""
    desktop.full_volume("Intel")
    track(SHARED / "resumed.wav", 48000, 2, 2)
    shutil.copyfile(SHARED / "resumed.wav", "/tmp/resumed.wav")
    play = Play("/tmp/resumed.wav", "--device", name_of("pci-"), "--pause-at", "0.5", "--pause-for", "6")
    play.said('"isPaused","value":true')
    with skipping():
        time.sleep(0.5)  # the server plays what it has been given
    desktop.kill_servers()
    desktop.start_servers()
    desktop.full_volume("Intel")
    with skipping():
        faults = play.faults()
    opened = [line.partition("Opened ")[2] for line in play.lines if "AudioOutput: Opened" in line]
    if len(opened) != 2:
        faults.append(f"the output was opened as {opened}")
    return {"faults": faults + label_faults(play, "CHECKING", "BIT-PERFECT", "READY"), "remark": opened[-1],
            "story": play.lines, "received": "hda.wav", "track": "resumed.wav", "mayBeTurnedDown": False}


def frozen():
    """The server hangs for some seconds. The player ends in time, and plays again afterwards."""
    desktop.set_volume("Loopback", "1.0")
    track("/tmp/long.wav", 48000, 2, 8)
    play = Play("/tmp/long.wav", "--device", name_of("aloop"))
    play.said('"isPlaying","value":true')
    time.sleep(0.5)
    desktop.servers["pipewire"].send_signal(signal.SIGSTOP)
    with skipping():
        time.sleep(4)
    desktop.servers["pipewire"].send_signal(signal.SIGCONT)
    with skipping():
        faults, remark = outcome(play)
    more, again = to_loopback(48000, 2, 1)
    return {"faults": faults + more + label_faults(again, "CHECKING", "BIT-PERFECT", "READY"), "remark": remark,
            "story": play.lines + again.lines}


def without_manager():
    """A server alone has no sinks: the cards are listed, and played to, directly."""
    desktop.kill_server("wireplumber")
    wait_until(lambda: not desktop.sinks(), 20)
    name_of.cache_clear()
    faults, play = to_loopback(44100, 3, 1)
    if play.has_said(SHARED_PATH):
        faults.append("it played through a server that has no sink")
    desktop.start_server("wireplumber")
    for card in desktop.CARDS:
        desktop.sink(card)
    name_of.cache_clear()
    return {"faults": faults + label_faults(play, "CHECKING", "BIT-PERFECT", "READY"), "story": play.lines}


def later():
    """The server comes while the player plays. It gets the card, which was reserved, when the music has ended; and what is
    played then goes through it."""
    desktop.kill_servers()
    name_of.cache_clear()
    track("/tmp/first.wav", 48000, 2, 8)
    play = Play("/tmp/first.wav", "--device", name_of("aloop"))
    play.said('"isPlaying","value":true')
    faults = ["there is a server"] if play.has_said(SHARED_PATH) else []
    desktop.start_servers()
    with skipping():
        faults += play.faults()
    faults += label_faults(play, "CHECKING", "BIT-PERFECT", "READY")
    if not play.has_said("Connected to PipeWire"):
        faults.append("the player did not find the server")
    for card in desktop.CARDS:
        desktop.set_volume(card, "1.0")
    name_of.cache_clear()
    more, again = to_loopback(44100, 3, 1)
    if not again.has_said(SHARED_PATH):
        faults.append("what was played then did not go through the server")
    return {"faults": faults + more, "story": play.lines + again.lines}
