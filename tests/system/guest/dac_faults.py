"""What a DAC can do to a player: run fast, refuse a rate, stand at another volume, carry fewer bits, lose its cable, keep
its driver waiting for ever."""

import json
import os
import re
import signal
import subprocess
import time

import compare
import dac_plan
import plan
from cards import wait_until
from hardware import refusal_faults
from loopback import fetched, path_faults
from probe import PROGRAM, Probe, start
from report import SHARED
from usb_dac import CARD, PCM, Dac, play

WAV_HEADER = 44
GIVES_UP_WITHIN = 15  # seconds from the card's disappearance to the player's end
GAVE_UP = "The output device did not recover after 3 attempts. "
MOST_REPEATED = 0.1  # seconds that a recovery may play twice: what was on its way when the cable was pulled
# Seconds of music that this driver keeps when a stream runs dry: it never sends the transfer that it is filling then.
NEVER_SENT = 0.004


def plays_exactly(dac, track, watch=None):
    """(faults, story) of a whole play: the player's word, the kernel's, the DAC's, and every byte on the wire."""
    layout = plan.OWN_LAYOUT[track.container, track.sample]
    dac.device()
    stream = dac.stream()
    probe, seen = play(dac, track, watch=watch)
    faults = probe.faults(1) + path_faults(plan.Case("", track, layout), probe, seen)
    faults += stream.faults((layout, track.rate, plan.CHANNELS))
    difference = compare.identical(sound(track), stream.bytes(), frame_bytes(track))
    if difference:
        faults.insert(0, difference)
    return faults, [*probe.story(), *stream.story()]


def sound(track):
    """The samples as the device's own layout has them."""
    return (SHARED / "tracks" / track.file).read_bytes()[WAV_HEADER:]


def frame_bytes(track):
    return plan.SAMPLE_BYTES[plan.OWN_LAYOUT[track.container, track.sample]] * plan.CHANNELS


def verdicts(probe):
    return [(line["label"], line["detail"]) for line in probe.values("audioPathStatus")]


def listed():
    with Dac() as dac:
        device = dac.device()
    wanted = {"name": "Test DAC", "transport": "usb", "rates": [float(rate) for rate in dac_plan.RATES], "hogOwner": -1}
    faults = [f"its {key} is {device[key]!r}, not {value!r}" for key, value in wanted.items() if device[key] != value]
    return {"faults": faults, "remark": device["uid"], "story": [str(device)]}


def seen_by_another():
    """A second program's list of devices, against the kernel's files, while the first one plays."""
    said, faults = [], []

    def watch():
        if said or not PCM.running():
            return
        text = start(PROGRAM, "devices", stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).communicate(timeout=60)[0]
        said.extend(line for line in map(json.loads, text.splitlines()) if "usb-Tolvane" in line["uid"])
        if not PCM.running():
            faults.append("the track was over too soon: the test proves nothing")
        if said and said[0]["nominalRate"] != PCM.setup()[1]:
            faults.append(f"the rate is said to be {said[0]['nominalRate']}, the kernel's is {PCM.setup()[1]}")
        if said and {said[0]["hogOwner"]} != PCM.owners():
            faults.append(f"the owner is said to be {said[0]['hogOwner']}, the kernel's is {PCM.owners()}")

    with Dac() as dac:
        others, story = plays_exactly(dac, dac_plan.MEASURED_TRACK, watch)
    if not said:
        faults.append("it is not listed")
    return {"faults": faults + others, "story": [*story, *map(str, said)]}


def fast():
    track = dac_plan.FAST_TRACK
    with Dac("--ppm", "200") as dac:
        faults, story = plays_exactly(dac, track)
        rate = dac.events("stop")[-1]["framesPerSecond"]
    if abs(rate - track.rate * 1.0002) > 1:
        faults.append(f"the wire carried {rate:.2f} frames a second, not {track.rate * 1.0002:.2f}")
    return {"faults": faults, "remark": f"{rate:.2f} frames a second for {track.rate} Hz", "story": story}


def rates_of_the_files():
    """Several tracks of three rates, by themselves and in a row, with and without Exclusive Access: what the DAC is asked
    for from its first track on."""
    faults, story, asked = [], [], []
    wanted = {track.rate for track in dac_plan.MIXED_RATE_TRACKS}
    with Dac() as dac:
        name = dac.device()["name"]
        before = len(dac.events("rate"))
        files = [fetched(track) for track in dac_plan.MIXED_RATE_TRACKS]
        for options in ((), ("--exclusive",)):
            for run in (*([file] for file in files), files):
                probe = Probe("play", *run, "--device", name, *options).finish()
                faults += probe.faults(len(run))
                story += probe.story()
        asked = [event["rate"] for event in dac.events("rate")[before:]]
        for file in files:
            file.unlink()
    if set(asked) != wanted:
        faults.append(f"the DAC was asked for {asked}; the files have {sorted(wanted)}")
    return {"faults": faults, "remark": f"asked {len(asked)} times", "story": [*story, str(asked)]}


def refusing():
    rate = dac_plan.REFUSED_TRACK.rate
    with Dac("--refuse-rate", str(rate)) as dac:
        probe, seen = play(dac, dac_plan.REFUSED_TRACK)
        faults = probe.faults(1)
        if {"rate": rate, "isAccepted": False} not in [{key: event[key] for key in ("rate", "isAccepted")}
                                                       for event in dac.events("rate")]:
            faults.append("the DAC was never asked for the rate: the test proves nothing")
        labels = [label for label, _ in verdicts(probe)]
        if "CONVERTED" not in labels or "BIT-PERFECT" in labels:
            faults.append(f"the player says {verdicts(probe)}")
        if not seen or any(setup[1] == rate for setup in seen):
            faults.append(f"the kernel's hw_params were {sorted(seen)}")
        story, said = probe.story(), dict(verdicts(probe)).get("CONVERTED", "")
        others, more = plays_exactly(dac, dac_plan.ALLOWED_TRACK)
        dac.command(f"allow {rate}")
        allowed, most = plays_exactly(dac, dac_plan.REFUSED_TRACK)
    return {"faults": [*faults, *others, *allowed], "remark": said, "story": [*story, *more, *most]}


def turned_down():
    def volumes():
        text = subprocess.run(["amixer", "-c", CARD], check=True, capture_output=True, text=True, timeout=30).stdout
        return re.findall(r"\[(-?[\d.]+dB)\]", text)

    with Dac("--volume", "-10") as dac:
        said = dac.device()["hardwareVolume"]
        before = volumes()
        settings = len(dac.events("volume"))
        faults, story = plays_exactly(dac, dac_plan.LOUD_TRACK)
        if said != -10:
            faults.append(f"the player says the volume is {said!r}")
        if not before or set(before + volumes()) != {"-10.00dB"} or len(dac.events("volume")) != settings:
            faults.append(f"the volume was {before}, is {volumes()}; the DAC saw {dac.events('volume')}")
    return {"faults": faults, "remark": f"it stands at {before[0] if before else 'no volume'}, the player says {said} dB",
            "story": story}


def narrow():
    """32-bit music, 32-bit containers, 24 bits in them: only the driver's stream file shows it."""
    with Dac("--formats", "s24in32") as dac:
        dac.device()
        bits = re.findall(r"Bits: (\d+)", (PCM.folder.parent / "stream0").read_text())
        probe, seen = play(dac, dac_plan.LOUD_TRACK)
    faults = probe.faults(1)
    if bits != ["24"] or seen != {("S32_LE", dac_plan.LOUD_TRACK.rate, plan.CHANNELS)}:
        faults.append(f"the kernel's hw_params were {sorted(seen)}, with {bits} bits: the test proves nothing")
    said = dict(verdicts(probe))
    if "BIT-PERFECT" in said or "96 kHz, 24-bit integer, 2 ch" not in said.get("CONVERTED", ""):
        faults.append(f"the player says {said}")
    return {"faults": faults, "remark": said.get("CONVERTED", ""), "story": probe.story()}


def carried(track, stream):
    """Per run of the stream, (first frame, frame after the last) of the track. Raises on anything else on the wire."""
    whole, size, found = sound(track), frame_bytes(track), []
    for data in stream.pieces():
        quiet = (len(data) - len(data.lstrip(b"\0"))) // size * size
        data = data[quiet:-(-len(data.rstrip(b"\0")) // size) * size]
        if not data:
            continue
        at = whole.find(data)
        while at >= 0 and at % size:
            at = whole.find(data, at + 1)
        if at < 0:
            raise RuntimeError(f"a run of {len(data) // size} frames is no piece of the track: {stream.story()}")
        found.append((at // size, (at + len(data)) // size))
    return found


def plays_for_a_second(dac):
    """A player a second into its track, and what becomes of the stream."""
    name, stream = dac.device()["name"], dac.stream()
    probe = Probe("play", SHARED / "tracks" / dac_plan.PULLED_TRACK.file, "--device", name)
    if not wait_until(PCM.running, 20):
        probe.finish(seconds=5)
        raise RuntimeError("\n".join(["the DAC does not play", *probe.story()]))
    time.sleep(1)
    return probe, stream


def pulled_for_a_moment():
    track = dac_plan.PULLED_TRACK
    with Dac() as dac:
        probe, stream = plays_for_a_second(dac)
        dac.pull()
        dac.plug_in()
        probe.finish()
        heard = carried(track, stream)
    faults = [fault for fault in probe.faults(1) if not fault.startswith("recoveries")]
    if probe.last("recoveries") != 1:
        faults.append(f"there were {probe.last('recoveries')} recoveries")
    labels = [label for label, _ in verdicts(probe)]
    if labels[-2:] != ["BIT-PERFECT", "READY"]:
        faults.append(f"the player says {labels}")
    repeated = heard[0][1] - heard[1][0] if len(heard) == 2 else -1
    if (heard[0][0], heard[-1][1]) != (0, track.frames) or not 0 <= repeated <= MOST_REPEATED * track.rate:
        faults.append(f"of {track.frames} frames the wire carried {heard}")
    return {"faults": faults, "remark": f"{repeated} frames were played twice", "story": probe.story()}


def pulled_for_good():
    track = dac_plan.PULLED_TRACK
    with Dac() as dac:
        probe, stream = plays_for_a_second(dac)
        dac.pull()
        gone = time.monotonic()
        probe.finish()
        took = time.monotonic() - gone
        faults, said = refusal_faults(probe), verdicts(probe)[-1]
        if took > GIVES_UP_WITHIN:
            faults.append(f"the player took {took:.1f} s to end")
        if said[0] != "PATH ERROR" or not said[1].startswith(GAVE_UP) or probe.error_texts() != [said[1]]:
            faults.append(f"the player says {said} and {probe.error_texts()}")
        heard = carried(track, stream)
        if len(heard) != 1 or heard[0][0] != 0:
            faults.append(f"the wire carried {heard}")
        story, before = probe.story(), dac.device()
        dac.plug_in()
        others, more = plays_exactly(dac, dac_plan.ALLOWED_TRACK)
        for key in ("name", "uid"):
            if dac.device()[key] != before[key]:
                faults.append(f"its {key} was {before[key]!r} and is now {dac.device()[key]!r}")
    return {"faults": [*faults, *others], "remark": f"{said[1]} ({took:.1f} s after it went)", "story": [*story, *more]}


def held_up():
    """A player that gets no processor for longer than its ring lasts: one underrun, counted, and it goes on."""
    track = dac_plan.PULLED_TRACK
    with Dac() as dac:
        probe, stream = plays_for_a_second(dac)
        os.kill(probe.process.pid, signal.SIGSTOP)
        time.sleep(1)
        os.kill(probe.process.pid, signal.SIGCONT)
        probe.finish()
        heard = carried(track, stream)
    faults = [fault for fault in probe.faults(1) if not fault.startswith("underruns")]
    if probe.last("underruns") != 1:
        faults.append(f"{probe.last('underruns')} underruns were counted")
    lost = heard[1][0] - heard[0][1] if len(heard) == 2 else -1
    if (heard[0][0], heard[-1][1]) != (0, track.frames) or not 0 <= lost <= NEVER_SENT * track.rate:
        faults.append(f"of {track.frames} frames the wire carried {heard}")
    return {"faults": faults, "remark": f"{lost} frames stayed in the driver", "story": probe.story()}


def made_exclusive():
    """Its only substream becomes the player's own in the middle of a track."""
    track = dac_plan.PULLED_TRACK
    with Dac() as dac:
        dac.device()
        stream = dac.stream()
        probe, _ = play(dac, track, "--exclusive-at", "2")
        heard = carried(track, stream)
    faults, said = probe.faults(1), verdicts(probe)
    kinds = [line["kind"] for line in probe.values("exclusiveAccessStatus")]
    if "active" not in kinds:
        faults.append(f"Exclusive Access was {kinds}")
    if [label for label, _ in said if label not in ("READY", "CHECKING")] != ["BIT-PERFECT", "BIT-PERFECT"]:
        faults.append(f"the player says {said}")
    repeated = heard[0][1] - heard[1][0] if len(heard) == 2 else -1
    if (heard[0][0], heard[-1][1]) != (0, track.frames) or not 0 <= repeated <= MOST_REPEATED * track.rate:
        faults.append(f"of {track.frames} frames the wire carried {heard}")
    return {"faults": faults, "remark": f"{repeated} frames were played twice", "story": probe.story()}


LEFT_BEHIND = "Test DAC does not answer: a call into its driver was left behind after 10 s"
LEAVES_WITHIN = 20  # seconds: the ten of the player's patience, and a busy machine


def left_behind(dac, probe, ending):
    """(faults, seconds) of a player whose driver does not return: it comes to its end, `ending`, all the same. The kernel
    keeps its process until the DAC answers. Reads none of the kernel's files about the PCM: they wait for the driver."""
    began, faults = time.monotonic(), []
    reached = wait_until(lambda: ending(probe), LEAVES_WITHIN)
    took = time.monotonic() - began
    if not reached:
        faults.append(f"the player did not get there in {took:.1f} s")
    if not dac.events("unanswered"):
        faults.append("the DAC was asked for nothing: the test proves nothing")
    if probe.process.poll() is not None:
        faults.append("the driver returned: the test proves nothing")
    said = probe.errors.read_text()
    if LEFT_BEHIND not in said:
        faults.append("the log does not say that a call was left behind")
    dac.command("answer")
    probe.finish(seconds=30)
    if probe.status is None:
        faults.append("the process did not end when the driver had returned")
    return faults, took


def silent_when_opened():
    """It answers no request of the driver, not even that it takes one back."""
    track = dac_plan.PULLED_TRACK
    with Dac() as dac:
        name = dac.device()["name"]
        dac.command("silent")
        if not wait_until(lambda: dac.events("command"), 10):
            raise RuntimeError("the DAC does not hear")
        probe = Probe("play", SHARED / "tracks" / track.file, "--device", name)
        faults, took = left_behind(dac, probe, lambda running: running.error_texts())
        story, said = probe.story(), verdicts(probe)[-1:]
        if [label for label, _ in said] != ["PATH ERROR"]:
            faults.append(f"the player says {said}")
        others, more = plays_exactly(dac, dac_plan.ALLOWED_TRACK)
    return {"faults": [*faults, *others], "remark": f"{said} after {took:.1f} s", "story": [*story, *more]}


def silent_when_closed():
    track = dac_plan.PULLED_TRACK
    with Dac() as dac:
        probe, stream = plays_for_a_second(dac)
        dac.command("silent")
        faults, took = left_behind(dac, probe, lambda running: running.last("completed") is not None)
        story = probe.story()
        if probe.last("completed") != 1 or probe.error_texts():
            faults.append(f"completed is {probe.last('completed')}, the player says {probe.error_texts()}")
        heard = carried(track, stream)
        if heard != [(0, track.frames)]:
            faults.append(f"of {track.frames} frames the wire carried {heard}")
        others, more = plays_exactly(dac, dac_plan.ALLOWED_TRACK)
    return {"faults": [*faults, *others], "remark": f"the end came {took:.1f} s after it fell silent",
            "story": [*story, *more]}


def tests():
    return (("The DAC is listed as a USB device with its rates", listed),
            ("What a second program says of the playing DAC is what the kernel says", seen_by_another),
            ("A DAC whose clock runs 200 ppm fast gets every sample, as fast as it asks", fast),
            ("The DAC is asked for no rate but those of the files", rates_of_the_files),
            ("A rate that the DAC refuses is converted and said to be; others play as they are", refusing),
            ("A DAC turned down to -10 dB is said to be, still gets every sample, and is left there", turned_down),
            ("A DAC whose 32-bit samples carry 24 bits is never bit-perfect with 32-bit music", narrow),
            ("A DAC pulled and plugged in again while it plays loses no frame", pulled_for_a_moment),
            ("A DAC pulled for good ends the player with its sentence; back again, it plays", pulled_for_good),
            ("Exclusive Access turned on while the DAC's only substream plays is active, and loses no frame", made_exclusive),
            ("A player held up for a second counts one underrun and loses only what the driver keeps", held_up),
            ("A DAC that keeps its driver waiting when it is opened is left behind, and plays when it answers",
             silent_when_opened),
            ("A DAC that keeps its driver waiting at the end of a track is left behind, and plays when it answers",
             silent_when_closed))
