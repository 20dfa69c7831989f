"""Tracks of 1, 2, 6 and 8 channels, the loopback card's profiles for them, and what of a track a recording holds."""

import array
import functools
import json
import pathlib
import random
import struct
import subprocess
from dataclasses import dataclass

RATE = 48000
FRAMES = 65536  # of noise, which a track repeats
COUNTS = (1, 2, 6, 8)
# In the order of a WAV file, and in the card's.
FILE_ORDER = {1: ("MONO",), 2: ("FL", "FR"), 6: ("FL", "FR", "FC", "LFE", "RL", "RR"),
              8: ("FL", "FR", "FC", "LFE", "RL", "RR", "SL", "SR")}
CARD_ORDER = {**FILE_ORDER, 6: ("FL", "FR", "RL", "RR", "FC", "LFE"), 8: ("FL", "FR", "RL", "RR", "FC", "LFE", "SL", "SR")}
MASKS = {1: 0x4, 2: 0x3, 6: 0x3F, 8: 0x63F}
LONG_NAMES = {"MONO": "mono", "FL": "front-left", "FR": "front-right", "RL": "rear-left", "RR": "rear-right", "FC": "front-center",
              "LFE": "lfe", "SL": "side-left", "SR": "side-right"}
NAMES = {count: ",".join(map(LONG_NAMES.get, order)) for count, order in CARD_ORDER.items()}
PCMS = {1: "hw:%f", 2: "front:%f", 6: "surround51:%f", 8: "surround71:%f"}
HALF = {count: f"half-{count}" for count in COUNTS}  # the profile whose PCM is a plug-in that halves the level
# The recording end of the loopback card: with 16 bits; with its channels in the order of a file.
NARROW = "narrow"
IN_FILE_ORDER = {count: f"ordered{count}" for count in (6, 8)}
PLAIN = {count: f"plain-{count}" for count in COUNTS}
OTHER_ORDER = {2: ("FR", "FL"), 6: FILE_ORDER[6], 8: FILE_ORDER[8]}  # than the card's
FILTER = "audioconvert.filter-graph"
HALVED = "{ nodes = [ { type = builtin label = linear name = half control = { Mult = 0.5 Add = 0.0 } } ] }"
# Profiles to whose sinks a rule of the session manager gives a setting: (its name, its value for so many channels).
RULED = {"filtered": (FILTER, lambda count: HALVED), "lowered": ("channelmix.max-volume", lambda count: "0.25"),
         "raised": ("channelmix.min-volume", lambda count: "2.0"),
         "renamed": ("audio.position", lambda count: ",".join(OTHER_ORDER.get(count, FILE_ORDER[count])))}
# Profiles of the USB device beyond stereo, whose PCM the server opens as "hw": its channels are named as the device has
# them, or in the order of the loopback card's.
OWN_ORDER = {count: f"own-order-{count}" for count in (6, 8)}
OTHER_THAN_OWN = {count: f"other-order-{count}" for count in (6, 8)}
# Verbs of the USB device's configuration (UCM). For the second kind a rule names the channels as the device has them.
CONFIGURED = {count: f"Configured-{count}" for count in COUNTS}
RENAMED = {count: f"Renamed-{count}" for count in (6, 8)}
CLOCK_CARD = "Intel"  # whose clock others follow when they are linked to the same stream


@dataclass(frozen=True)
class Track:
    positions: tuple  # of its channels
    mask: int  # as its file states them; 0: it does not


TRACKS = {count: Track(FILE_ORDER[count], MASKS[count]) for count in COUNTS}
UNSTATED = {count: Track(FILE_ORDER[count], 0) for count in COUNTS}
# Whose channels a device with the same loudspeakers has in another order: (track, the device's mask, its order, in which
# the only pair of surround loudspeakers has the track's names).
PERMUTED = {6: (Track(("FL", "FR", "FC", "RC", "SL", "SR"), 0x707), 0x137, ("FL", "FR", "FC", "SL", "SR", "RC")),
            8: (Track(("FL", "FR", "FC", "LFE", "FLC", "FRC", "SL", "SR"), 0x6CF), 0xFF,
                ("FL", "FR", "FC", "LFE", "SL", "SR", "FLC", "FRC"))}
SIDE_51 = Track(("FL", "FR", "FC", "LFE", "SL", "SR"), 0x60F)


EVERY_RULE = "every-rule"  # a profile whose sinks have all of them


def ruled(kind, count):
    """The profile's name."""
    return f"{kind}-{count}"


def install_rules():
    """Of both versions of the session manager, each in the form that it reads."""
    # A sink that comes while the one before is not gone yet has a number behind its name.
    rules = [(f"*.{ruled(kind, count)}*", name, value(count)) for kind, (name, value) in RULED.items() for count in COUNTS]
    rules += [(f"*.{ruled(EVERY_RULE, count)}*", name, value(count)) for name, value in RULED.values() for count in COUNTS]
    rules.append(("alsa_output.pci-*", "priority.driver", "30000"))
    rules += [(f"alsa_output.usb-*.{verb}*", "audio.position", ",".join(FILE_ORDER[count])) for count, verb in RENAMED.items()]
    lua = [f'table.insert(alsa_monitor.rules, {{ matches = {{{{{{ "node.name", "matches", {json.dumps(node)} }}}}}}, '
           f'apply_properties = {{ [{json.dumps(name)}] = {json.dumps(value)} }} }})' for node, name, value in rules]
    conf = [f'{{ matches = [ {{ node.name = {json.dumps("~" + node.replace(".", "[.]").replace("*", ".*"))} }} ], '
            f'actions = {{ update-props = {{ {name} = {json.dumps(value)} }} }} }}' for node, name, value in rules]
    for path, text in (("/etc/wireplumber/main.lua.d/60-matrix.lua", "\n".join(lua)),
                       ("/etc/wireplumber/wireplumber.conf.d/60-matrix.conf", "monitor.alsa.rules = [\n" + "\n".join(conf) + "\n]")):
        pathlib.Path(path).parent.mkdir(parents=True, exist_ok=True)
        pathlib.Path(path).write_text(text + "\n")


def set_profiles(name, profiles, card):
    """Gives the card with this id a set of profiles: lines of a file."""
    pathlib.Path(f"/usr/share/alsa-card-profile/mixer/profile-sets/{name}.conf").write_text(
        "\n".join(["[General]", "auto-profiles = yes", *profiles]) + "\n")
    pathlib.Path(f"/etc/udev/rules.d/91-{name}.rules").write_text(
        f'SUBSYSTEM=="sound", KERNEL=="card*", ATTR{{id}}=="{card}", ENV{{ACP_PROFILE_SET}}="{name}.conf"\n')


def mapping(name, pcm, channels):
    return [f"[Mapping {name}]", f"device-strings = {pcm}", f"channel-map = {channels}", "direction = output"]


# The device's configuration is there while it is plugged in as one that has one (use_configuration).
UCM = pathlib.Path("/usr/share/alsa/ucm2")
NO_CONFIGURATION = "Syntax 4\n"


def use_configuration(channels):
    """Of the USB device that is plugged in next: with so many channels; None: it has none."""
    if channels is None:
        return (UCM / "ucm.conf").write_text(NO_CONFIGURATION)
    verbs = [each[channels] for each in (CONFIGURED, RENAMED) if channels in each]
    (UCM / "matrix.conf").write_text("Syntax 4\n" + "".join(
        f'SectionUseCase."{verb}" {{ File "/matrix-verb.conf" Comment "{verb}" }}\n' for verb in verbs))
    (UCM / "matrix-verb.conf").write_text(
        'SectionVerb { EnableSequence [ ] }\n'
        'SectionDevice."Line" { EnableSequence [ ] Value {\n'
        f'PlaybackPCM "hw:${{CardId}}"\nPlaybackChannels {channels}\nPlaybackPriority 100\n}} }}\n')
    return (UCM / "ucm.conf").write_text(
        'Syntax 4\nIf.dac { Condition { Type String Haystack "${CardName}" Needle "Test DAC" }\n'
        'True { UseCasePath.matrix { Directory "." File "matrix.conf" } } }\n')


def install():
    """The profiles, the rules and the plug-in. The session manager reads them when it starts."""
    use_configuration(None)
    install_rules()
    pathlib.Path("/etc/udev/rules.d").mkdir(parents=True, exist_ok=True)
    profiles = []
    plugins = [f"pcm.{NARROW} {{ type hw card Loopback device 1 format S16_LE }}"]
    for count, name in IN_FILE_ORDER.items():
        ways = " ".join(f"{FILE_ORDER[count].index(position)}.{at} 1" for at, position in enumerate(CARD_ORDER[count]))
        plugins.append(f"pcm.{name} {{ type route slave {{ pcm {{ type hw card Loopback device 1 }} channels {count} }} "
                       f"ttable {{ {ways} }} }}")
    for count in COUNTS:
        for name, pcm in ((PLAIN[count], PCMS[count]), (HALF[count], f"half{count}:%f"),
                          *((ruled(kind, count), PCMS[count]) for kind in (*RULED, EVERY_RULE))):
            profiles += mapping(name, pcm, NAMES[count])
        plugins.append(f"pcm.half{count} {{ @args [ CARD ] @args.CARD {{ type string }} type route\n"
                       f"slave {{ pcm {{ type hw card $CARD }} channels {count} }}\n"
                       "ttable { " + " ".join(f"{k}.{k} 0.5" for k in range(count)) + " } }")
    set_profiles("matrix", profiles, "Loopback")
    set_profiles("matrix-usb", [line for count in (6, 8) for line in (
        *mapping(OWN_ORDER[count], "hw:%f", ",".join(map(LONG_NAMES.get, FILE_ORDER[count]))),
        *mapping(OTHER_THAN_OWN[count], "hw:%f", NAMES[count]))], "DAC")
    pathlib.Path("/etc/asound.conf").write_text("\n".join(plugins) + "\n")
    for command in (("control", "--reload"), ("trigger", "--action=change", "--subsystem-match=sound"), ("settle",)):
        subprocess.run(["udevadm", *command], check=True, timeout=60)


@functools.cache
def noise(count):
    """24 bits in 32, another signal in each channel."""
    data = bytearray(random.Random(f"{count} channels").randbytes(FRAMES * count * 4))
    data[0::4] = bytes(FRAMES * count)
    return bytes(data)


def write_track(path, track, seconds):
    count = len(track.positions)
    data = noise(count)
    packed = bytearray(FRAMES * count * 3)
    for byte in range(3):
        packed[byte::3] = data[byte + 1::4]
    times = -(-int(seconds * RATE) // FRAMES)
    size = len(packed) * times
    form = struct.pack("<HHIIHHHHI", 0xFFFE, count, RATE, RATE * count * 3, count * 3, 24, 22, 24, track.mask) + \
        struct.pack("<H", 1) + bytes.fromhex("000000001000800000aa00389b71")
    with open(path, "wb") as file:
        file.write(b"RIFF" + struct.pack("<I", 4 + 8 + len(form) + 8 + size) + b"WAVE")
        file.write(b"fmt " + struct.pack("<I", len(form)) + form + b"data" + struct.pack("<I", size))
        for _ in range(times):
            file.write(packed)
    return path


@functools.lru_cache(4)
def wanted(positions, order):
    """The noise of a track with channels at these positions, twice over, as a device with channels in this order must
    receive it: a channel that the track does not have is silent. None: the track has one that the device has not."""
    if not set(positions) <= set(order):
        return None
    count = len(positions)
    data = array.array("i", noise(count))
    out = array.array("i", bytes(FRAMES * len(order) * 4))
    for at, name in enumerate(order):
        if name in positions:
            out[at::len(order)] = data[positions.index(name)::count]
    return out.tobytes() * 2


def holds(positions, order, heard):
    """Whether these frames are a piece of the track."""
    track, frame = wanted(positions, order), 4 * len(order)
    if track is None or not heard:
        return False
    at = track.find(heard[:8 * frame])
    while at >= 0 and at % frame:
        at = track.find(heard[:8 * frame], at + 1)
    return at >= 0 and track[at:at + len(heard)] == heard
