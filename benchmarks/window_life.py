#!/usr/bin/env python3
"""From the start of the program to its first picture, and what it costs while nobody looks: beside a bare window of the same
toolkit, and beside mpv. Usage: window_life.py BUILD_DIR TRACK; prints a line of JSON a figure, of ours and of the peers'.

Needs an X server without a window manager (DISPLAY) and a session bus, both of its own. It starts a sound server of its own, whose
only device takes the samples and drops them, at the pace of the clock. Processor time is that of the whole program, from /proc.
"""

import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

ROUNDS = 7
SETTLED = 5  # seconds until what follows a start, or a pause, is over
OBSERVED = 20  # seconds
SINK = """context.objects = [ { factory = adapter args = {
  factory.name = support.null-audio-sink node.name = nowhere node.description = "Nowhere" media.class = Audio/Sink
  audio.position = [ FL FR ] object.linger = true } } ]
"""


class Window:
    """A program whose window bench_start has seen; ended with the block."""

    def __init__(self, build, *command):
        self.watcher = subprocess.Popen([build / "bin/bench_start", *command], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        text=True)
        seen = self.watcher.stdout.readline()
        if not seen:
            raise RuntimeError(f"{command[0]}: no window")
        self.seen = json.loads(seen)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.watcher.communicate()

    def close(self):
        print("close", file=self.watcher.stdin, flush=True)


def start_rows(build, programs):
    seen = {name: [] for name in programs}
    for _ in range(ROUNDS):
        for name, command in programs.items():
            with Window(build, *command) as window:
                seen[name].append(window.seen)
    for what in ("mapped", "drawn"):
        yield {"what": f"from the start to a window that is {what}", "unit": "ms", **{name: statistics.median(each[what] for each in rounds) for name, rounds in seen.items()}}


def processor_seconds(pid):
    after_name = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    return (int(after_name[11]) + int(after_name[12])) / os.sysconf("SC_CLK_TCK")


def share_of_a_core(pid):
    """In percent."""
    time.sleep(SETTLED)
    began, before = time.monotonic(), processor_seconds(pid)
    time.sleep(OBSERVED)
    return (processor_seconds(pid) - before) / (time.monotonic() - began) * 100


def remote(*words):
    return subprocess.run(["playerctl", "--player=tolvane_player", *words], capture_output=True, text=True).stdout.strip()


def wait_for(status):
    for _ in range(100):
        if remote("status") == status:
            return
        time.sleep(0.1)
    raise RuntimeError(f"the player does not say that it is {status}; it says \"{remote('status')}\"")


def own_idle_rows(build, track):
    with Window(build, build / "bin/tolvane-player", track) as window:
        pid = window.seen["pid"]
        wait_for("Playing")
        yield "playing, window shown", share_of_a_core(pid)
        window.close()  # with a session bus the music goes on without a window
        yield "playing, window hidden", share_of_a_core(pid)
        wait_for("Playing")  # still
        remote("pause")
        wait_for("Paused")
        yield "paused, window hidden", share_of_a_core(pid)


def peer_idle(*options):
    with subprocess.Popen(["mpv", "--no-config", "--really-quiet", "--no-video", "--ao=pipewire", *options],
                          stdin=subprocess.DEVNULL) as peer:
        try:
            return share_of_a_core(peer.pid)
        finally:
            peer.terminate()


def idle_rows(build, track):
    peers = {"playing, window hidden": lambda: peer_idle(track), "paused, window hidden": lambda: peer_idle("--pause", track)}
    for what, ours in own_idle_rows(build, track):
        yield {"what": f"processor time of a core, {what}", "unit": "%", "ours": ours, **({"mpv": peers[what]()} if what in peers else {})}


def start_sound(folder):
    """The sound server, until this program ends."""
    settings = folder / "settings/pipewire/pipewire.conf.d"
    settings.mkdir(parents=True)
    (settings / "nowhere.conf").write_text(SINK)
    for name in ("home", "run"):
        (folder / name).mkdir(mode=0o700)
    os.environ.update(HOME=str(folder / "home"), XDG_CONFIG_HOME=str(folder / "settings"), XDG_RUNTIME_DIR=str(folder / "run"))
    for program in ("pipewire", "wireplumber"):
        with open(folder / f"{program}.log", "wb") as log:
            yield subprocess.Popen(["setpriv", "--pdeathsig", "KILL", program], stdout=log, stderr=log)
        time.sleep(1)


def main():
    build, track = (pathlib.Path(word).resolve() for word in sys.argv[1:])
    with tempfile.TemporaryDirectory() as name:
        servers = list(start_sound(pathlib.Path(name)))
        try:
            programs = {"ours": (build / "bin/tolvane-player",), "bare window": (build / "bin/bench_bare_window",),
                        "mpv": ("mpv", "--no-config", "--idle", "--force-window")}
            for row in (*start_rows(build, programs), *idle_rows(build, track)):
                print(json.dumps(row), flush=True)
        finally:
            for server in reversed(servers):
                server.terminate()
                server.wait()


if __name__ == "__main__":
    main()
