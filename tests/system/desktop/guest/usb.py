"""The USB DAC made of software, with the server between it and the player: its wire gets what the files hold."""

import pathlib
import time

import desktop
from cards import present, wait_until
from pace import skipping
from player import NOT_RECOVERED, Play, difference, losses, name_of, track, wide
from usb_dac import CARD, PCM, Dac

WIDTHS = {"S16_LE": 2, "S24_3LE": 3, "S32_LE": 4}
FILE = pathlib.Path("/tmp/usb.wav")
IDENTITY = "usb-Tolvane"
LONGEST_GAP = 4800  # frames that may go with a DAC


def ready():
    """The DAC has a sink, at full volume."""
    if not wait_until(lambda: present(CARD), 30):
        raise RuntimeError("the DAC does not appear")
    desktop.set_volume(CARD, "1.0")
    name_of.cache_clear()
    return name_of(IDENTITY)


def on_the_wire(dac, since):
    """rate → (formats, frames) of the runs since so many."""
    with skipping():
        wait_until(PCM.closed, 30)  # the sink keeps the card for some seconds
    stream = dac.stream()
    stream.first = since
    found = {}
    for start, piece in zip(dac.events("start")[since:], stream.pieces()):
        formats, frames = found.setdefault(start["rate"], (set(), bytearray()))
        formats.add(start["format"])
        frames += wide(piece, WIDTHS[start["format"]])
    return found


def plays(dac, name, wanted):
    """(faults, the run, the wire's formats) of tracks one after another: (rate, width) → seconds."""
    since = len(dac.events("start"))
    files, expected = [], {}
    for (rate, width), seconds in wanted.items():
        files.append(pathlib.Path(f"/tmp/usb-{rate}-{width}.wav"))
        expected[rate] = expected.get(rate, b"") + track(files[-1], rate, width, seconds)
    play = Play(*files, "--device", name)
    play.said('"isPlaying","value":true')
    with skipping():
        faults = play.faults(completed=len(files))
    heard = on_the_wire(dac, since)
    for rate, frames in expected.items():
        faults += [f"{rate} Hz: {fault}" for fault in difference(frames, bytes(heard.get(rate, (set(), b""))[1]))]
    if play.labels().count("BIT-PERFECT") != len(files) or set(play.labels()) != {"CHECKING", "BIT-PERFECT", "READY"}:
        faults.append(f"the player says {play.labels()}")
    if not play.has_said("through PipeWire"):
        faults.append("it did not go through the server")
    return faults, play, {kind for rate in expected for kind in heard.get(rate, ((), b""))[0]}


def table():
    rates = (44100, 48000, 96000, 192000)
    with Dac() as dac:
        faults, play, formats = plays(dac, ready(), {(rate, width): 0.5 for rate in rates for width in (2, 3)})
    name_of.cache_clear()
    return {"faults": faults, "remark": f"as {', '.join(sorted(formats))}", "story": play.lines}


def unplugged():
    """The DAC is pulled from under the music, and comes back: the same device, and the music goes on."""
    with Dac() as dac:
        name = ready()
        since = len(dac.events("start"))
        wanted = track(FILE, 48000, 3, 5)
        play = Play(FILE, "--device", name)
        play.said('"isPlaying","value":true')
        with skipping():
            time.sleep(1)
        dac.pull()
        dac.plug_in()
        faults, end = play.finish(), play.last()
        recovered = end.get("completed") == 1 and end.get("recoveries", 0) >= 1
        if not recovered and not end.get("error", "").startswith(NOT_RECOVERED):
            faults.append(f"it ended with {end}")
        if ready() != name:
            faults.append(f"it came back as {name_of(IDENTITY)}")
        lost, heard_again = losses(wanted, bytes(on_the_wire(dac, since)[48000][1]))
        if heard_again or (recovered and lost > LONGEST_GAP):
            faults.append(f"{lost} frames were lost, {heard_again} were heard twice")
        more, again, _ = plays(dac, name, {(96000, 3): 0.5})
    name_of.cache_clear()
    return {"faults": faults + more, "story": play.lines + again.lines,
            "remark": f"recovered; {lost} frames were lost" if recovered else end.get("error", "")}
