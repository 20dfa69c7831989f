"""The DAC among the programs of a session that reserve cards, and what is left when the player or the bus goes."""

import contextlib
import shutil
import time

import dac_plan
from cards import wait_until
from dac_faults import GIVES_UP_WITHIN, MOST_REPEATED, carried, plays_exactly, verdicts
from hardware import hold, refusal_faults
from loopback import fetched
from probe import Probe, start
from report import SHARED
from session import SessionBus
from usb_dac import CARD, PCM, Dac

SERVER, EQUAL, HIGHER = -20, 30, 100  # priorities beside the player's 30
RETAKEN_WITHIN = 2  # seconds
GIVEN_UP_AFTER = 1.5  # seconds: the player's three attempts come within 1.85
MOMENTS = 4  # attempts at holding a device for less
TRACK = dac_plan.PULLED_TRACK
OWNED = "Exclusive Access, 44.1 kHz, and the device PCM format are confirmed. No app-level DSP is active."


@contextlib.contextmanager
def session(priority=None):
    """The DAC, a session bus, and another program of this priority on it, if any."""
    with Dac() as dac, SessionBus() as bus:
        dac.device()
        if priority is None:
            yield dac, bus, None
            return
        with bus.program(CARD, priority) as other:
            yield dac, bus, other


def plays_exclusively(dac, bus):
    """A player that is a second into its track with Exclusive Access, and what becomes of the stream."""
    name, stream = dac.device()["name"], dac.stream()
    probe = Probe("play", SHARED / "tracks" / TRACK.file, "--device", name, "--exclusive", settings=bus.settings)
    if not wait_until(PCM.running, 20):
        probe.finish(seconds=5)
        raise RuntimeError("\n".join(["the DAC does not play", *probe.story()]))
    time.sleep(1)
    return probe, stream


def afterwards_faults():
    """No program holds the device, and another program plays to it."""
    if not wait_until(PCM.closed, 5):
        return [f"the device is still held by process {PCM.owners()}"]
    other = hold(CARD)
    try:
        if not wait_until(lambda: PCM.running() or other.poll() is not None, 20) or other.poll() is not None:
            return ["another program cannot play afterwards"]
    finally:
        other.kill()
        other.communicate()
        wait_until(PCM.closed, 5)
    return []


def whole(stream):
    heard = carried(TRACK, stream)
    return [] if heard == [(0, TRACK.frames)] else [f"of {TRACK.frames} frames the wire carried {heard}"]


def exclusive_faults(probe):
    kinds = [line["kind"] for line in probe.values("exclusiveAccessStatus")]
    faults = [] if "active" in kinds else [f"Exclusive Access was {kinds}"]
    if ("BIT-PERFECT", OWNED) not in verdicts(probe):
        faults.append(f"the player says {verdicts(probe)}")
    return faults


def taken_from_the_server():
    """In order, from a program that yields; given back when the PCM is closed and not before."""
    with session(SERVER) as (dac, bus, server):
        faults = [] if server.take() else ["the server could not reserve the card"]
        probe, stream = plays_exclusively(dac, bus)
        server.send("property ApplicationName")
        if server.wait("property")["value"] != [["s", "Tolvane Music Player"]]:
            faults.append(f"the player calls itself {server.events('property')}")
        probe.finish()
        released = server.wait("owner", 3)
        faults += probe.faults(1) + exclusive_faults(probe) + whole(stream)
        if [event["value"] for event in server.events("asked")] != [30]:
            faults.append(f"the server was asked {server.events('asked')}")
        if released["value"] or not released["closed"]:
            faults.append(f"the card was released too soon, or not at all: {released}")
        if not server.take():
            faults.append("the server does not get the card back")
        story = [*probe.story(), *server.story()]
    return {"faults": faults, "story": story}


def taken_from_a_playing_server():
    """The server's daemon, another process, closes the device some time after the reservation's owner has agreed."""
    daemon_program = "/tmp/pipewire"  # the kernel's name of the process; aplay minds what it is called by
    shutil.copy2("/usr/bin/aplay", daemon_program)
    with session(SERVER) as (dac, bus, server):
        server.take()
        stream = dac.stream()
        daemon = start("aplay", "-q", "-D", f"hw:{CARD},0", "-t", "raw", "-f", "S16_LE", "-r", "48000", "-c", "2",
                       "/dev/zero", executable=daemon_program)
        if not wait_until(PCM.running, 20):
            raise RuntimeError("the server's daemon does not play")
        owners = [line["hogOwner"] for line in Probe("devices", settings=bus.settings).finish().lines
                  if "usb-Tolvane" in line["uid"]]
        probe = Probe("play", SHARED / "tracks" / TRACK.file, "--device", dac.device()["name"], "--exclusive",
                      settings=bus.settings)
        server.wait("asked")
        time.sleep(0.3)
        daemon.kill()
        daemon.wait()
        probe.finish()
        faults = probe.faults(1) + exclusive_faults(probe) + whole(stream)
        if owners != [-1]:
            faults.append(f"the owner is said to be {owners}, though the server yields")
    return {"faults": faults, "story": [*probe.story(), *server.story()]}


def kept_by_another_player():
    """Reserved, though not opened, by a program of equal priority: it is not even asked."""
    with session(EQUAL) as (dac, bus, player):
        faults = [] if player.take() else ["the other player could not reserve the card"]
        opened = []
        probe = Probe("play", fetched(TRACK), "--device", dac.device()["name"], "--exclusive", settings=bus.settings)
        probe.finish(lambda: PCM.closed() or opened.append(True))
        faults += refusal_faults(probe)
        said, story = "; ".join(probe.error_texts()), probe.story()
        if player.events("asked") or opened:
            faults.append(f"it was disturbed: {player.events('asked')}, {len(opened)}")
        listed = Probe("devices", settings=bus.settings).finish().lines
        owners = [line["hogOwner"] for line in listed if "usb-Tolvane" in line["uid"]]
        if owners != [player.process.pid]:
            faults.append(f"the owner is said to be {owners}, not {player.process.pid}")
        player.send("drop")
        player.wait("dropped")
        played, more = plays_exactly(dac, dac_plan.ALLOWED_TRACK)
        story += [*player.story(), *more]
    return {"faults": faults + played, "remark": said, "story": story}


def asked_by_a_lower():
    with session(EQUAL) as (dac, bus, other):
        probe, stream = plays_exclusively(dac, bus)
        answer = other.request()
        probe.finish()
        faults = probe.faults(1) + exclusive_faults(probe) + whole(stream)
        if answer["value"] != [False] or answer["closed"]:
            faults.append(f"the answer was {answer}")
    return {"faults": faults, "story": [*probe.story(), *other.story()]}


def asked_by_a_higher():
    """The device is closed when the answer comes; the other program can play at once, and is left alone."""
    with session(HIGHER) as (dac, bus, other):
        probe, stream = plays_exclusively(dac, bus)
        answer, asked = other.request(), time.monotonic()
        faults = [] if answer["value"] == [True] and answer["closed"] else [f"the answer was {answer}"]
        if other.wait("took")["value"] != [1]:
            faults.append("the other program did not get the card")
        playing = hold(CARD)
        try:
            probe.finish()
            took = time.monotonic() - asked
            if playing.poll() is not None or PCM.owners() != {playing.pid}:
                faults.append(f"the other program does not play: {PCM.owners()}")
        finally:
            playing.kill()
            playing.communicate()
        heard = carried(TRACK, stream)[:1]
        kinds = [line["kind"] for line in probe.values("exclusiveAccessStatus")]
        faults += refusal_faults(probe)
        if took > GIVES_UP_WITHIN or verdicts(probe)[-1][0] != "PATH ERROR" or "lost" not in kinds:
            faults.append(f"after {took:.1f} s the player says {verdicts(probe)[-1]}, Exclusive Access was {kinds}")
        if not heard or heard[0][0] != 0:
            faults.append(f"the wire carried {heard}")
    return {"faults": faults, "remark": f"{verdicts(probe)[-1][1]} ({took:.1f} s after the request)",
            "story": [*probe.story(), *other.story()]}


def taken_for_a_moment():
    """The other program opens the device, and leaves before the player has given up: it goes on where it was. A machine that
    is too busy to leave in time shows nothing, and tries again."""
    for attempt in range(1, MOMENTS + 1):
        found = taken_once()
        if found["held"] < GIVEN_UP_AFTER:
            return {**found["result"], "remark": f"{found['result']['remark']}; attempt {attempt}"}
    return {"faults": [f"in {MOMENTS} attempts the device was never held for less than {GIVEN_UP_AFTER} s: nothing was shown"],
            "story": found["result"]["story"]}


def taken_once():
    with session(HIGHER) as (dac, bus, other):
        probe, stream = plays_exclusively(dac, bus)
        answer = other.request(holds=True)
        faults = [] if answer["value"] == [True] and answer["closed"] else [f"the answer was {answer}"]
        refused = other.wait("held")["closed"]
        lost = wait_until(lambda: last_kind(probe) == "lost", 5)
        other.send("drop")
        held = other.wait("let go")["seconds"]
        left = time.monotonic()
        other.wait("dropped")
        found = wait_until(lambda: last_kind(probe) == "active", 10)
        took = time.monotonic() - left
        probe.finish()
        heard = carried(TRACK, stream)
        if refused or not lost or not found or took > RETAKEN_WITHIN:
            faults.append(f"the other program held the device: {not refused}, {held:.2f} s; Exclusive Access was lost: {lost}, "
                          f"active: {found} {took:.1f} s after it had left")
        faults += [fault for fault in probe.faults(1) if not fault.startswith("recoveries")] + exclusive_faults(probe)
        if not 1 <= (probe.last("recoveries") or 0) <= 3:
            faults.append(f"there were {probe.last('recoveries')} recoveries")
        repeated = heard[0][1] - heard[1][0] if len(heard) == 2 else -1
        if not heard or (heard[0][0], heard[-1][1]) != (0, TRACK.frames) or not 0 <= repeated <= MOST_REPEATED * TRACK.rate:
            faults.append(f"of {TRACK.frames} frames the wire carried {heard}")
    return {"held": held, "result": {"faults": faults, "story": [*probe.story(), *other.story()],
                                     "remark": f"active {took:.2f} s after it had left; {repeated} frames were played twice"}}


def last_kind(probe):
    return next((line["kind"] for line in reversed(probe.values("exclusiveAccessStatus"))), None)


def ended(how):
    """A player that quits, or is killed, in the middle of its exclusive track: nothing stays reserved."""
    def test():
        with session(SERVER) as (dac, bus, server):
            server.take()
            probe, _ = plays_exclusively(dac, bus)
            how(probe.process)
            probe.finish(seconds=20)
            server.wait("owner", 3)
            faults = [] if server.events("owner")[2]["value"] == "" else [f"the card went {server.events('owner')}"]
            faults += afterwards_faults()
            if not server.take():
                faults.append("the server does not get the card back")
            story = [*probe.story(), *server.story()]
        return {"faults": faults, "remark": f"exit status {probe.status}", "story": story}
    return test


def bus_killed():
    """The kernel's own exclusivity serves on, and the music with it."""
    with session() as (dac, bus, _):
        probe, stream = plays_exclusively(dac, bus)
        bus.kill()
        refused = hold(CARD).communicate(timeout=20)[1].decode()
        probe.finish()
        faults = probe.faults(1) + exclusive_faults(probe) + whole(stream)
        if "busy" not in refused:
            faults.append(f"another program was not refused: {refused!r}")
        kinds = [line["kind"] for line in probe.values("exclusiveAccessStatus")]
        if kinds[-2:] != ["active", "requested"]:  # the latter at its end
            faults.append(f"Exclusive Access was {kinds}")
        faults += afterwards_faults()
    return {"faults": faults, "story": probe.story()}


def tests():
    return (("A card that a sound server has reserved is taken in order and given back closed", taken_from_the_server),
            ("A card that a sound server plays to is taken when its daemon has let go", taken_from_a_playing_server),
            ("A card that another player has reserved is left alone, and its owner named", kept_by_another_player),
            ("A request of equal priority does not disturb the player", asked_by_a_lower),
            ("A request of higher priority gets the card, closed, and keeps it", asked_by_a_higher),
            ("A request of higher priority takes the card for a moment: the player is back by itself, at the same frame",
             taken_for_a_moment),
            ("After quitting nothing stays reserved", ended(lambda process: process.terminate())),
            ("After kill -9 nothing stays reserved", ended(lambda process: process.kill())),
            ("A session bus that is killed costs no frame, and nothing stays reserved", bus_killed))
