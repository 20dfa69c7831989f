"""A server, or a session manager, that dies, hangs, comes late or is not there."""

import contextlib
import shutil
import signal
import time

import desktop
from cards import wait_until
from pace import skipping
from player import (LIMIT, NOT_RECOVERED, SHARED, Play, label_faults, losses, name_of, recorded, to_loopback, track)

SHARED_PATH = "through PipeWire"
HANG = 4.0  # seconds
RESUMED_WITHIN = 3.0  # seconds after the server is back
GIVEN_UP_WITHIN = 12.0  # seconds after it has hung
RATE = 48000
PAUSE = 20  # seconds, in which a server has started, its session manager and the sinks of all cards
LONGEST_GAP = 0.1  # seconds of music that a server may take with it


def recovered(play):
    """Faults of a run that the player must bring to its end."""
    faults, end = play.finish(), play.last()
    if end.get("completed") != 1 or end.get("recoveries", 0) < 1:
        faults.append(f"it ended with {end}")
    return faults


def loss_faults(wanted, captured):
    """(faults, remark): nothing is heard twice, and little is missing."""
    lost, again = losses(wanted, captured)
    faults = [f"{again} frames were heard twice"] if again else []
    if lost > LONGEST_GAP * RATE:
        faults.append(f"{lost} frames were lost")
    return faults, f"recovered; {lost} frames were lost"


def restarted():
    """The server dies while it plays, and is started again: the player goes on."""
    desktop.set_volume("Loopback", "1.0")

    def restart(_):
        with skipping():
            time.sleep(1)
        desktop.kill_servers()
        desktop.start_servers()
        time.sleep(2)  # they are being loaded

    faults, play, wanted, captured = recorded(RATE, 3, 8, busy=restart, end=recovered)
    more, remark = loss_faults(wanted, captured)
    for card in desktop.CARDS:
        desktop.set_volume(card, "1.0")
    return {"faults": faults + more, "remark": remark, "story": play.lines}


def restarted_while_paused():
    """The user resumes when the server is back: at the frame where the music paused."""
    desktop.full_volume("Intel")
    track(SHARED / "resumed.wav", 48000, 2, 2)
    shutil.copyfile(SHARED / "resumed.wav", "/tmp/resumed.wav")
    play = Play("/tmp/resumed.wav", "--device", name_of("pci-"), "--pause-at", "0.5", "--pause-for", PAUSE)
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


@contextlib.contextmanager
def server_stopped():
    """Gives when it was stopped."""
    desktop.servers["pipewire"].send_signal(signal.SIGSTOP)
    try:
        yield time.monotonic()
    finally:
        desktop.servers["pipewire"].send_signal(signal.SIGCONT)


def frozen():
    """The server hangs for some seconds: the player goes on when it is back, and soon."""
    desktop.set_volume("Loopback", "1.0")
    stopped = []

    def hang(_):
        time.sleep(0.5)
        with server_stopped() as moment, skipping():
            stopped.append(moment)
            time.sleep(HANG)

    faults, play, wanted, captured = recorded(RATE, 3, 8, busy=hang, end=recovered)
    more, remark = loss_faults(wanted, captured)
    again = play.moment("Recovered output")
    took = again - stopped[0] if again else 0
    if took > HANG + RESUMED_WITHIN:
        faults.append(f"it went on {took - HANG:.1f} s after the server did")
    return {"faults": faults + more, "remark": f"{remark}, {took - HANG:.1f} s after the server was back", "story": play.lines}


def frozen_for_good():
    """The server hangs: the player soon reports it, and plays again when the server is back."""
    desktop.set_volume("Loopback", "1.0")
    track("/tmp/long.wav", RATE, 2, 8)
    play = Play("/tmp/long.wav", "--device", name_of("aloop"))
    play.said('"isPlaying","value":true')
    time.sleep(0.5)
    with server_stopped() as stopped, skipping():
        faults = play.finish()
        took = (play.moment('"error"') or stopped + LIMIT) - stopped
    if not play.last().get("error", "").startswith(NOT_RECOVERED):
        faults.append(f"it ended with {play.last()}")
    if took > GIVEN_UP_WITHIN:
        faults.append(f"that took {took:.1f} s")
    more, again = to_loopback(RATE, 2, 1)
    return {"faults": faults + more + label_faults(again, "CHECKING", "BIT-PERFECT", "READY"),
            "remark": f"{play.last().get('error')} ({took:.1f} s after it hung)", "story": play.lines + again.lines}


def without_manager():
    """A server alone has no sinks: the cards are listed, and played to, directly."""
    desktop.kill_server("wireplumber")
    wait_until(lambda: not desktop.sinks(), 20, desktop.LOOK)
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
    """The server comes while the player plays to the card, which is reserved. It gets the card in the next pause, and the music
    goes on through the sink, also with the next track; so does what the next player plays."""
    desktop.kill_servers()
    name_of.cache_clear()
    files = ["/tmp/first.wav", "/tmp/second.wav"]
    for file, seconds in zip(files, (10, 2)):
        track(file, RATE, 2, seconds)
    play = Play(*files, "--device", name_of("aloop"), "--pause-at", "7", "--pause-for", PAUSE)
    play.said('"isPlaying","value":true')
    faults = ["there is a server"] if play.has_said(SHARED_PATH) else []
    desktop.start_servers()
    time.sleep(2)  # they are being loaded
    with skipping():
        faults += play.faults(completed=2)
    # The session manager may bring the card up at its own volume.
    if play.labels()[:2] != ["CHECKING", "BIT-PERFECT"] or play.labels()[-2] not in ("BIT-PERFECT", "DSP ACTIVE"):
        faults.append(f"the player says {play.labels()}")
    opened = [line.partition("Opened ")[2] for line in play.lines if "AudioOutput: Opened" in line]
    if [SHARED_PATH in line for line in opened] != [False, True]:
        faults.append(f"the output was opened as {opened}")
    for card in desktop.CARDS:
        desktop.set_volume(card, "1.0")
    name_of.cache_clear()
    more, again = to_loopback(44100, 3, 1)
    if not again.has_said(SHARED_PATH):
        faults.append("what was played then did not go through the server")
    return {"faults": faults + more, "remark": opened[-1], "story": play.lines + again.lines}
