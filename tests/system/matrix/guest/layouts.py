"""Tracks of 1, 2, 6 and 8 channels, the loopback card's profiles for them, and what of a track a recording holds."""

import array
import functools
import pathlib
import random
import struct
import subprocess

RATE = 48000
FRAMES = 65536  # of noise, which a track repeats
COUNTS = (1, 2, 6, 8)
# In the order of a WAV file, and in the card's.
FILE_ORDER = {1: ("MONO",), 2: ("FL", "FR"), 6: ("FL", "FR", "FC", "LFE", "RL", "RR"),
              8: ("FL", "FR", "FC", "LFE", "RL", "RR", "SL", "SR")}
CARD_ORDER = {**FILE_ORDER, 6: ("FL", "FR", "RL", "RR", "FC", "LFE"), 8: ("FL", "FR", "RL", "RR", "FC", "LFE", "SL", "SR")}
MASKS = {1: 0x4, 2: 0x3, 6: 0x3F, 8: 0x63F}
NAMES = {1: "mono", 2: "front-left,front-right", 6: "front-left,front-right,rear-left,rear-right,front-center,lfe",
         8: "front-left,front-right,rear-left,rear-right,front-center,lfe,side-left,side-right"}
PCMS = {1: "hw:%f", 2: "front:%f", 6: "surround51:%f", 8: "surround71:%f"}
HALF = {count: f"half-{count}" for count in COUNTS}  # the profile whose PCM is a plug-in that halves the level
PLAIN = {count: f"plain-{count}" for count in COUNTS}


def install():
    """The profiles and the plug-in. The session manager reads them when it starts."""
    profiles = ["[General]", "auto-profiles = yes"]
    plugins = []
    for count in COUNTS:
        for name, pcm in ((PLAIN[count], PCMS[count]), (HALF[count], f"half{count}:%f")):
            profiles += [f"[Mapping {name}]", f"device-strings = {pcm}", f"channel-map = {NAMES[count]}", "direction = output"]
        plugins.append(f"pcm.half{count} {{ @args [ CARD ] @args.CARD {{ type string }} type route\n"
                       f"slave {{ pcm {{ type hw card $CARD }} channels {count} }}\n"
                       "ttable { " + " ".join(f"{k}.{k} 0.5" for k in range(count)) + " } }")
    pathlib.Path("/usr/share/alsa-card-profile/mixer/profile-sets/matrix.conf").write_text("\n".join(profiles) + "\n")
    pathlib.Path("/etc/asound.conf").write_text("\n".join(plugins) + "\n")
    pathlib.Path("/etc/udev/rules.d").mkdir(parents=True, exist_ok=True)
    pathlib.Path("/etc/udev/rules.d/91-matrix.rules").write_text(
        'SUBSYSTEM=="sound", KERNEL=="card*", ATTR{id}=="Loopback", ENV{ACP_PROFILE_SET}="matrix.conf"\n')
    for command in (("control", "--reload"), ("trigger", "--action=change", "--subsystem-match=sound"), ("settle",)):
        subprocess.run(["udevadm", *command], check=True, timeout=60)


@functools.cache
def noise(count):
    """24 bits in 32, another signal in each channel."""
    data = bytearray(random.Random(f"{count} channels").randbytes(FRAMES * count * 4))
    data[0::4] = bytes(FRAMES * count)
    return bytes(data)


def write_track(path, count, seconds):
    data = noise(count)
    packed = bytearray(FRAMES * count * 3)
    for byte in range(3):
        packed[byte::3] = data[byte + 1::4]
    times = -(-int(seconds * RATE) // FRAMES)
    size = len(packed) * times
    form = struct.pack("<HHIIHHHHI", 0xFFFE, count, RATE, RATE * count * 3, count * 3, 24, 22, 24, MASKS[count]) + \
        struct.pack("<H", 1) + bytes.fromhex("000000001000800000aa00389b71")
    with open(path, "wb") as file:
        file.write(b"RIFF" + struct.pack("<I", 4 + 8 + len(form) + 8 + size) + b"WAVE")
        file.write(b"fmt " + struct.pack("<I", len(form)) + form + b"data" + struct.pack("<I", size))
        for _ in range(times):
            file.write(packed)
    return path


@functools.lru_cache(4)
def wanted(count, order):
    """The noise twice over, as a device with channels in this order must receive it: a channel that the track does not
    have is silent. None: the track has one that the device has not."""
    if not set(FILE_ORDER[count]) <= set(order):
        return None
    data = array.array("i", noise(count))
    out = array.array("i", bytes(FRAMES * len(order) * 4))
    for at, name in enumerate(order):
        if name in FILE_ORDER[count]:
            out[at::len(order)] = data[FILE_ORDER[count].index(name)::count]
    return out.tobytes() * 2


def holds(count, order, heard):
    """Whether these frames are a piece of the track."""
    track, frame = wanted(count, order), 4 * len(order)
    if track is None or not heard:
        return False
    at = track.find(heard[:8 * frame])
    while at >= 0 and at % frame:
        at = track.find(heard[:8 * frame], at + 1)
    return at >= 0 and track[at:at + len(heard)] == heard
