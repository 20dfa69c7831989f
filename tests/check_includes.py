#!/usr/bin/env python3
"""Checks that every #include respects the floors of the architecture (docs/ARCHITECTURE.md). Usage: check_includes.py ROOT"""

import pathlib
import re
import sys

# Folder -> the project folders it may include, itself aside: their own headers, not their subfolders'. A name with a
# suffix is one header.
CONTRACTS = {"platform"}
ENGINE = CONTRACTS | {"engine", "engine/delivery", "engine/render"}
SESSION = ENGINE | {"session"}
UI = SESSION | {"engine/waveform", "ui"} | {"ui/" + name for name in ("drag", "playlist", "texts", "waveforms")}
QT = {"ui/qt", "ui/qt/items", "ui/qt/models", "ui/qt/window"}
CODECS = {"platform/codecs/" + name for name in ("bytes", "decoding", "flac", "mp3", "pcm")}
ADAPTERS = {"platform/" + name for name in ("adapter", "alsa", "codecs", "conversion", "desktop", "simulated", "storage", "pipewire", "tags")}
SHELL = SESSION | {"app/shell"}
ADAPTER = CONTRACTS | {"platform/adapter", "platform/conversion"}
CARDS = ADAPTER | {"platform/alsa/facts", "platform/alsa/pcm"}
# Of the sound server's library the rest of platform/pipewire knows the contract that its objects are used through.
SERVER_CONTRACT = ADAPTER | {"platform/pipewire/facts", "platform/pipewire/server/SoundServer.h"}
UNITS = SERVER_CONTRACT | {"platform/pipewire/units"}
RECORD = UNITS | {"platform/pipewire/record"}
PROGRAM = UI | SHELL | QT | {"app/dbus"} | ADAPTERS
ALLOWED = {
    "platform": CONTRACTS,
    "platform/alsa": CARDS | {"platform/alsa/cards"},
    "platform/alsa/cards": CARDS,
    "platform/alsa/facts": CONTRACTS | {"platform/conversion"},
    "platform/alsa/pcm": CARDS,
    "platform/adapter": CONTRACTS | {"platform/conversion"},
    "platform/codecs": CONTRACTS | CODECS,
    "platform/codecs/bytes": CONTRACTS,
    "platform/codecs/decoding": CONTRACTS | {"platform/codecs/bytes"},
    "platform/codecs/flac": CONTRACTS | {"platform/codecs/bytes", "platform/codecs/decoding"},
    "platform/codecs/mp3": CONTRACTS | {"platform/codecs/bytes", "platform/codecs/decoding"},
    "platform/codecs/pcm": CONTRACTS | {"platform/codecs/bytes"},
    "platform/conversion": CONTRACTS,
    "platform/desktop": CONTRACTS,
    "platform/pipewire": RECORD | {"platform/pipewire/" + name for name in ("devices", "paths", "server")},
    "platform/pipewire/devices": RECORD,
    "platform/pipewire/facts": CONTRACTS | {"platform/conversion"},
    "platform/pipewire/paths": RECORD | {"platform/pipewire/devices"},
    "platform/pipewire/record": RECORD,
    "platform/pipewire/server": CONTRACTS | {"platform/conversion", "platform/pipewire/facts"},
    "platform/pipewire/units": UNITS,
    "platform/simulated": ADAPTER,
    "platform/storage": CONTRACTS,
    "platform/tags": CONTRACTS | {"platform/codecs/bytes", "platform/codecs/pcm"},
    "engine": ENGINE,
    "engine/delivery": CONTRACTS | {"engine/render"},
    "engine/render": CONTRACTS,
    "engine/waveform": CONTRACTS | {"engine", "engine/delivery"},
    "session": SESSION,
    "ui": UI,
    "ui/drag": SESSION,
    "ui/playlist": SESSION | {"ui/texts"},
    "ui/qt": UI | QT,
    "ui/qt/items": UI | {"ui/qt"},
    "ui/qt/models": UI | {"ui/qt", "ui/qt/items"},
    "ui/qt/window": UI | QT,
    "ui/texts": SESSION | {"ui/Theme.h"},
    "ui/waveforms": SESSION | {"engine/waveform"},
    "app/shell": SHELL,
    "app/dbus": SHELL,
    "app": PROGRAM,
    "demo": PROGRAM | {"app"},
    "tools": PROGRAM - QT - {"app/shell", "app/dbus"},
}

# The window's folders reach the player through session/SessionProxy.h alone: not these, which belong to its thread.
WINDOW = (UI - SESSION - {"engine/waveform"}) | QT | {"app/shell", "app/dbus"}
PLAYERS_THREAD = {
    "engine/BitPerfectAudioPlayer.h",
    "platform/AudioHardware.h",
    "platform/AudioOutputUnit.h",
    "platform/DeviceReservation.h",
    "platform/FileBookmarks.h",
    "session/OutputDeviceList.h",
    "session/PlayerSession.h",
    "session/SessionHost.h",
    "session/UnplayableFiles.h",
}

# Library headers that one folder alone may include.
LIBRARIES = {
    r"alsa/": {"platform/alsa", "platform/alsa/cards", "platform/alsa/facts", "platform/alsa/pcm"},
    r"FLAC/": {"platform/codecs/bytes", "platform/codecs/flac"},
    r"mpg123\.h": {"platform/codecs/bytes", "platform/codecs/mp3"},
    r"soxr\.h": {"platform/conversion"},
    r"pipewire/": {"platform/pipewire/server"},
    r"spa/": {"platform/pipewire/facts", "platform/pipewire/server"},  # facts: the names of numbers
    r"sqlite3\.h": {"platform/storage"},
    r"taglib/": {"platform/tags"},
    r"openssl/": {"platform"},
    r"xcb/": {"app"},
    r"Q[A-Z]\w*|Qt\w+/": {"app", "app/dbus", "demo", "platform/desktop"} | QT,
}

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def complaints(root):
    for path in sorted(root.rglob("*")):
        relative = path.relative_to(root)
        if path.suffix not in (".h", ".cpp") or relative.parts[0] not in {folder.split("/")[0] for folder in ALLOWED}:
            continue
        folder = str(relative.parent)
        if folder not in ALLOWED:
            yield f"{relative}: folder {folder} has no floor; name it in {pathlib.Path(__file__).name}"
            continue
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            where, (kind, target) = f"{relative}:{number}", match.groups()
            if kind == '"' and "/" in target:
                included = target.rpartition("/")[0]
                if included != folder and not {included, target} & ALLOWED[folder]:
                    yield f"{where}: {folder} may not include {target}"
                elif folder in WINDOW and target in PLAYERS_THREAD:
                    yield f"{where}: {target} belongs to the player's thread; {folder} runs on the window's"
                elif not (root / target).is_file() and not target.endswith(".moc"):
                    yield f"{where}: there is no {target}"
            elif kind == '"' and not target.endswith(".moc"):
                yield f"{where}: name {target} from the root of the project"
            else:
                for pattern, homes in LIBRARIES.items():
                    if re.match(pattern, target) and folder not in homes:
                        yield f"{where}: <{target}> belongs to {', '.join(sorted(homes))}"


def main():
    found = list(complaints(pathlib.Path(sys.argv[1])))
    print("\n".join(found) if found else "Every include respects the floors.")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
