"""Reads what the matrix loads while it runs, so that the machine has it in memory: its clock may then skip idle time throughout
(pace.py). What waits for the host meanwhile would find that its time limits have passed."""

import pathlib
import re
import subprocess

LIBRARIES = pathlib.Path("/usr/lib/x86_64-linux-gnu")
PROGRAMS = ("pipewire", "wireplumber", "pw-cli", "pw-dump", "pw-link", "pw-loopback", "pw-metadata", "pw-cat", "stdbuf", "arecord",
            "aplay", "amixer", "busybox", "dash", "kmod", "udevadm")
LINKED = ("pipewire", "wireplumber", "pw-cat", "aplay", "amixer")
FOLDERS = (*(LIBRARIES / name for name in ("spa-0.2", "pipewire-0.3", "alsa-lib")), *LIBRARIES.glob("wireplumber-*"),
           *map(pathlib.Path, ("/usr/share/pipewire", "/usr/share/wireplumber", "/usr/share/alsa/cards", "/usr/share/alsa/pcm",
                               "/usr/share/alsa/ctl", "/usr/share/alsa-card-profile", "/usr/lib/udev/rules.d", "/etc/alsa")))
MODULES = ("vhci-hcd", "snd-usb-audio")


def _named_by(*command):
    """The files that a program names."""
    return map(pathlib.Path, re.findall(r"/\S+", subprocess.run(command, capture_output=True, text=True, timeout=120).stdout))


def preload(player):
    """Returns the number of bytes that were read."""
    binaries = pathlib.Path("/usr/bin")
    files = {player, *(binaries / name for name in PROGRAMS), pathlib.Path("/usr/share/alsa/alsa.conf"),
             *(path for folder in FOLDERS for path in folder.rglob("*")),
             *_named_by("ldd", player, *(binaries / name for name in LINKED)),
             *(path for module in MODULES for path in _named_by("modprobe", "--show-depends", module))}
    total = 0
    for path in files:
        if path.is_file():
            total += len(path.read_bytes())
    return total
