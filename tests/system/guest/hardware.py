"""What is asked of the cards other than the loopback card, and of the list of devices."""

import functools
import pathlib
import re
import subprocess
import time

import plan
from cards import Pcm, full_volume, present, wait_until
from loopback import fetched
from probe import Probe, start
from report import ask_host

USB, HDA, DUMMY = "Audio", "Intel", "Dummy"  # the cards' names in /proc/asound
# Part of the identity, part of a name that a person recognises, and the transport.
DEVICES = (("aloop", "Loopback", "virtual", "snd_aloop"), ("dummy", "Dummy", "virtual", "snd_dummy"),
           ("usb-", "QEMU USB Audio", "usb", "snd-usb-audio"), ("pci-", "HDA Intel", "builtIn", "snd_hda_intel"))
PAUSE = ("--pause-at", "0.8", "--pause-for", "0.5")
UNPLUGGED_WITHIN = 15  # seconds from the card's disappearance to the player's end


@functools.cache
def devices():
    probe = Probe("devices").finish()
    if probe.status != 0:
        raise RuntimeError("\n".join([f"devices: exit status {probe.status}", *probe.story()]))
    return probe.lines


def device(identity):
    """The first playback device of the card."""
    return next(line for line in devices() if identity in line["uid"] and line["uid"].endswith(":0"))


def device_name(identity):
    """As a person would give it to the player."""
    return device(identity)["name"]


def device_list():
    faults = []
    for identity, name, transport, driver in DEVICES:
        line = next((line for line in devices() if identity in line["uid"]), None)
        if line is None:
            faults.append(f"no device whose uid has {identity!r}")
            continue
        if name not in line["name"] or re.search(r" at |irq|0x", line["name"]):
            faults.append(f"{line['name']!r} is no name for {name}")
        if line["transport"] != transport:
            faults.append(f"{line['name']} has the transport {line['transport']!r}, not {transport!r}")
        if (line["driver"], line["soundServer"]) != (driver, None):
            faults.append(f"{line['name']} has the driver {line['driver']}, not {driver}, and the server {line['soundServer']}")
        if not line["rates"] or len(line["streams"]) != 1:
            faults.append(f"{line['name']} has the rates {line['rates']} and {len(line['streams'])} streams")
    names = [line["name"] for line in devices()]
    if len(set(names)) != len(names):
        faults.append("two devices have one name")
    if [line["name"] for line in devices() if line["isDefault"]] not in [[device_name("usb-")], [device_name("pci-")]]:
        faults.append("the default is not one of the cards that one can hear")
    return {"faults": faults, "remark": ", ".join(names), "story": map(str, devices())}


def plays_to_the_end(identity, card, track, *options):
    full_volume(card)
    seen = set()
    pcm = Pcm(card)

    def watch():
        setup = pcm.setup()
        if setup:
            seen.add(setup)

    probe = Probe("play", fetched(track), "--device", device_name(identity), *options).finish(watch, pcm=pcm)
    faults = probe.faults(1)
    wanted = ("S16_LE", track.rate, plan.CHANNELS)
    if seen != {wanted}:
        faults.append(f"the kernel's hw_params were {sorted(seen)}, not {wanted}")
    if not pcm.closed():
        faults.append(f"the device is still held by process {pcm.owners()}")
    return {"faults": faults, "story": probe.story()}


def dummy():
    return plays_to_the_end("dummy", DUMMY, plan.DUMMY_TRACK)


def hold(card):
    """Another program playing silence to the card, or failing to."""
    return start("/usr/bin/aplay", "-q", "-D", f"hw:{card},0", "-t", "raw", "-f", "S16_LE", "-r", "48000", "-c", "2",
                 "/dev/zero", stderr=subprocess.PIPE)


def busy():
    """A device that another program holds: a clear error, and that program is not disturbed."""
    other = hold(USB)
    try:
        if not wait_until(Pcm(USB).running, 20):
            raise RuntimeError("aplay does not play")
        probe = Probe("play", fetched(plan.USB_TRACK), "--device", device_name("usb-")).finish()
        faults = refusal_faults(probe)
        wanted = f"Another program has the device open: aplay ({other.pid})."
        if wanted not in [line.get("plainly") for line in probe.lines]:
            faults.append(f"no plain sentence names the other program: {[line.get('plainly') for line in probe.lines]}")
        if other.poll() is not None or Pcm(USB).owners() != {other.pid}:
            faults.append("the other program lost the device")
    finally:
        other.kill()
        other.communicate()
    return {"faults": faults, "remark": "; ".join(probe.error_texts()), "story": probe.story()}


# alsa-lib's name for a card's own PCM, made into that of a plug-in which halves the level.
REDEFINED = """pcm.!hw {
  @args [ CARD DEV SUBDEV ]
  @args.CARD { type string default "0" }
  @args.DEV { type integer default 0 }
  @args.SUBDEV { type integer default -1 }
  type route
  slave.pcm { type hw card $CARD device $DEV }
  ttable.0.0 0.5
  ttable.1.1 0.5
}
pcm.recorded { type hw card Loopback device 1 }
"""
CONFIGURATION = pathlib.Path("/home/listener/.asoundrc")


def redefined():
    """A configuration of alsa-lib in which "hw" is not the hardware has no part in what the player does."""
    CONFIGURATION.write_text(REDEFINED)
    try:
        probe = Probe("verify", fetched(plan.USB_TRACK), "--device", device_name("aloop"), "--capture", "recorded").finish()
    finally:
        CONFIGURATION.unlink()
    verdict, captured = probe.last("verdict"), (probe.last("captured") or {}).get("result")
    faults = [] if probe.status == 0 else [f"exit status {probe.status}"]
    if (verdict, captured) != ("BIT-PERFECT", "matches"):
        faults.append(f"{verdict} over samples that, recorded, {captured}")
    return {"faults": faults, "remark": f"{verdict}, recorded: {captured}", "story": probe.story()}


def refusal_faults(probe):
    faults = [] if probe.status == 1 else [f"exit status {probe.status}, not 1"]
    if not probe.error_texts() or not all(probe.error_texts()):
        faults.append("no line says what went wrong")
    if probe.last("completed"):
        faults.append("a track is said to have been played to its end")
    return faults


def exclusive():
    """While the player has exclusive access, another program is refused; afterwards it is not."""
    probe = Probe("play", fetched(plan.LONG_TRACK), "--device", device_name("usb-"), "--exclusive", "--for", "2")
    refused = []

    def watch():
        if not refused and Pcm(USB).running():
            other = hold(USB)
            refused.append(other.communicate(timeout=20)[1].decode())

    probe.finish(watch)
    faults = [f"the player says: {text}" for text in probe.error_texts()]
    if probe.status != 0:
        faults.append(f"exit status {probe.status}")
    if not refused or "busy" not in refused[0]:
        faults.append(f"another program was not refused: {refused}")
    if "active" not in [line.get("kind") for line in probe.values("exclusiveAccessStatus")]:
        faults.append("exclusive access never became active")
    other = hold(USB)
    if not wait_until(lambda: Pcm(USB).running() or other.poll() is not None, 20) or other.poll() is not None:
        faults.append("another program cannot play afterwards")
    other.kill()
    other.communicate()
    return {"faults": faults, "story": probe.story()}


def unplugged():
    """A card pulled while it plays: the player ends with an error, soon, and holds nothing."""
    pcm = Pcm(USB)
    probe = Probe("play", fetched(plan.LONG_TRACK), "--device", device_name("usb-"))
    if not wait_until(pcm.running, 20):
        faults = probe.finish(seconds=5).faults(1)
        return {"faults": ["the card does not play", *faults], "story": probe.story()}
    time.sleep(1)
    ask_host("unplug usb")
    gone = []

    def watch():
        if not gone and not present(USB):
            gone.append(time.monotonic())

    probe.finish(watch, UNPLUGGED_WITHIN + 20)
    if not gone:
        raise RuntimeError("the card did not go")
    took = time.monotonic() - gone[0]
    faults = refusal_faults(probe)
    if took > UNPLUGGED_WITHIN:
        faults.append(f"the player took {took:.1f} s to end")
    return {"faults": faults, "remark": f"{'; '.join(probe.error_texts())} ({took:.1f} s after it went)",
            "story": probe.story()}


def plugged_in_again():
    ask_host("plug usb")
    if not wait_until(lambda: present(USB), 30):
        raise RuntimeError("the card does not come back")
    before = device("usb-")
    subprocess.run(["udevadm", "settle", "--timeout=30"], check=True, timeout=60)
    devices.cache_clear()
    result = plays_to_the_end("usb-", USB, plan.USB_TRACK)
    for key in ("name", "uid"):
        if device("usb-")[key] != before[key]:
            result["faults"].append(f"its {key} was {before[key]!r} and is now {device('usb-')[key]!r}")
    return result


def tests():
    return (("Every card is listed with a name that a person recognises", device_list),
            (plan.USB_PLAYS, lambda: plays_to_the_end("usb-", USB, plan.USB_TRACK)),
            (plan.HDA_PLAYS, lambda: plays_to_the_end("pci-", HDA, plan.HDA_TRACK)),
            (plan.USB_PAUSES, lambda: plays_to_the_end("usb-", USB, plan.PAUSED_TRACK, *PAUSE)),
            (plan.HDA_PAUSES, lambda: plays_to_the_end("pci-", HDA, plan.PAUSED_TRACK, *PAUSE)),
            ("The dummy card plays to the end", dummy),
            ("A device that another program holds is a clear error", busy),
            ("A plug-in under the name of the hardware is not what plays", redefined),
            ("Exclusive access keeps other programs out, and gives the device back", exclusive),
            ("A USB card pulled while it plays ends the player with an error", unplugged),
            (plan.USB_PLAYS_AGAIN, plugged_in_again))
