"""The user's session: its bus, PipeWire and its session manager, and what the server reports about its sinks."""

import grp
import json
import os
import pathlib
import subprocess
import time

import cards
from cards import wait_until

USER = 4242
RUNTIME = "/run/user/4242"
ENVIRONMENT = {"PATH": os.environ["PATH"], "HOME": "/home/listener", "LC_ALL": "C.UTF-8", "XDG_RUNTIME_DIR": RUNTIME,
               "DBUS_SESSION_BUS_ADDRESS": f"unix:path={RUNTIME}/bus"}
CARDS = ("Loopback", "Intel", "Audio")
LOOK = 0.3  # seconds between two looks at what the server has
servers = {}
volumes = {}


def start(program, *arguments, settings=(), **streams):
    """A process of the user's session."""
    return subprocess.Popen([str(program), *map(str, arguments)], cwd="/home/listener",
                            user=USER, group=USER, extra_groups=[grp.getgrnam("audio").gr_gid],
                            env={**ENVIRONMENT, **dict(settings)}, **{"stdin": subprocess.DEVNULL, **streams})


def text_of(program, *arguments):
    return start(program, *arguments, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).communicate(timeout=60)[0]


def start_server(name):
    with open(f"/tmp/{name}.log", "ab") as log:
        servers[name] = start(f"/usr/bin/{name}", stdout=log, stderr=log)


def begin():
    start("/usr/bin/dbus-daemon", "--session", f"--address=unix:path={RUNTIME}/bus", "--nopidfile", "--nofork")
    wait_until(lambda: pathlib.Path(RUNTIME, "bus").exists(), 20)
    start_server("pipewire")
    wait_until(lambda: pathlib.Path(RUNTIME, "pipewire-0").exists(), 20)
    start_server("wireplumber")
    for card in CARDS:
        sink(card)


def start_servers():
    """Both at once, as a session does it."""
    start_server("pipewire")
    start_server("wireplumber")


def kill_server(name):
    servers[name].kill()
    servers[name].wait()


def kill_servers():
    for name in servers:
        kill_server(name)


def objects():
    """All that the server has."""
    try:
        return json.JSONDecoder().raw_decode(text_of("pw-dump"))[0]
    except ValueError:
        return []


def properties_of(item):
    return (item.get("info") or {}).get("props") or {}


def sinks():
    """Card index → the sink's properties."""
    found = {}
    for item in objects():
        properties = properties_of(item)
        if properties.get("media.class") == "Audio/Sink" and "alsa.card" in properties:
            found[properties["alsa.card"]] = properties
    return found


def sink(card):
    """Of the card with this name in /proc/asound. Waits for it."""
    index = int(os.readlink(f"/proc/asound/{card}").removeprefix("card"))
    found = wait_until(lambda: sinks().get(index), 30, LOOK)
    if not found:
        raise RuntimeError(f"the card {card} has no sink")
    return found


def full_volume(card):
    """Of the sink, and of the card behind it, wherever the one has left the other."""
    set_volume(card, "1.0")
    cards.full_volume(card)


def set_volume(card, volume, is_new=True):
    """`is_new`: whatever it was set to before. A session manager may have set it since."""
    if not is_new and volumes.get(card) == volume:
        return
    text_of("wpctl", "set-volume", sink(card)["object.id"], volume)
    volumes[card] = volume
    time.sleep(0.2)
