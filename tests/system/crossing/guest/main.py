"""Plays the planned albums over ALSA alone, then through each version of the server, and records what comes out."""

import json
import os
import pathlib
import resource
import shutil
import subprocess
import sys
import time
import traceback

sys.path.insert(0, "/vm/tests")

import crossing_plan  # noqa: E402
import desktop  # noqa: E402
from cards import Capture, Pcm, wait_until  # noqa: E402
from newer import NEWER, install_newer, installed_version, restart  # noqa: E402
from pace import skipping  # noqa: E402
from player import PROBE, SHARED, Play  # noqa: E402

TRACKS = pathlib.Path("/tmp/tracks")
CARDS = ("Loopback", "Loopback_1")  # in the order of crossing_plan.DEVICES
SYSTEMS, NEWER_NAME = "own", "newer"  # as the caller names the versions
PAUSE = "0.3"  # seconds


def report(**record):
    with open(SHARED / "results.jsonl", "a", encoding="utf-8") as results:
        results.write(json.dumps(record) + "\n")


def two_loopback_cards():
    subprocess.run(["modprobe", "-r", "snd-aloop"], check=True, timeout=60)
    subprocess.run(["modprobe", "snd-aloop", "enable=1,1", "pcm_substreams=1,1"], check=True, timeout=60)
    subprocess.run(["udevadm", "settle", "--timeout=60"], check=True, timeout=90)
    desktop.CARDS = CARDS


class CardCapture(Capture):
    """Of one of the two cards."""

    def __init__(self, path, card, rate):
        super().__init__(path, "S32_LE", rate, 2, card, buffer=1)

    def recorded(self, moment):
        """Frames, at a moment a little while ago. What is recorded is what the card has played."""
        frames = int(self.pcm.statuses()[0]["hw_ptr"])
        return frames - int((time.monotonic() - moment) * self.rate)


def restart_servers(play):
    """Restarts the servers when the player prints a line with "said"."""
    play.says_soon('"said"')
    desktop.kill_servers()
    desktop.start_servers()
    time.sleep(2)  # they are being loaded


class Looks:
    """(number of the line, frames that had been recorded when the player said it) of each line about its position."""

    def __init__(self, play, capture):
        self.play, self.capture, self.next, self.found = play, capture, 0, []

    def look(self):
        """Whether the player has ended."""
        has_ended = self.play.process.poll() is not None
        for number in range(self.next, len(self.play.lines)):
            if '"action"' in self.play.lines[number] or '"crossing"' in self.play.lines[number]:
                self.found.append((number, self.capture.recorded(self.play.moments[number])))
            self.next = number + 1
        return has_ended


def played(run, way, number):
    cards = CARDS[:len(run.devices)]
    with skipping():
        for card in cards:
            wait_until(Pcm(card).closed, 30)  # a sink keeps its card for some seconds, and so its format
    captures = [CardCapture(pathlib.Path(f"/tmp/capture-{card}.raw"), card, run.rate) for card in cards]
    options = ["--device", run.devices[0], "--pause-for", PAUSE, *run.options]
    if way == crossing_plan.EXCLUSIVE:
        options.append("--exclusive")
    for capture in captures:
        capture.__enter__()
    play = Play(*(TRACKS / track.file for track in run.tracks), *options)
    looks = Looks(play, captures[0])
    try:
        play.said('"isPlaying","value":true')
        if run.what == "dies":
            restart_servers(play)
        with skipping():
            if run.what == "position":
                wait_until(looks.look, 60)
            faults = play.finish()
    finally:
        for capture in captures:
            capture.__exit__()
    faults += [fault for capture in captures for fault in capture.faults()]
    names = []
    for capture in captures:
        names.append(f"{number:02}-{capture.path.name}")
        shutil.copyfile(capture.path, SHARED / "captures" / names[-1])
    return {"faults": faults, "captures": names, "looks": looks.found, "story": play.lines}


class Runs:
    def __init__(self, only):
        self.only, self.number = only, 0

    def wanted(self, way, which):
        return [run for run in crossing_plan.runs(way)
                if not self.only or any(text in f"{which} {way}: {run.title}" for text in self.only)]

    def all(self, way, which, version):
        for run in self.wanted(way, which):
            self.number += 1
            began = time.monotonic()
            try:
                found = played(run, way, self.number)
            except Exception:  # noqa: BLE001 - whatever it is, it belongs in the report
                found = {"faults": ["the test broke down"], "captures": [], "story": traceback.format_exc().splitlines()}
            if run.what == "dies":
                for card in CARDS:
                    desktop.sink(card)
            report(way=way, version=version, title=run.title, seconds=round(time.monotonic() - began, 1), **found)


def main():
    resource.setrlimit(resource.RLIMIT_RTPRIO, (20, 20))
    os.chmod("/tmp", 0o1777)
    shutil.copytree(SHARED / "bin", PROBE.parent)
    shutil.copytree(SHARED / "tracks", TRACKS)
    two_loopback_cards()
    runs = Runs(json.loads((SHARED / "only.json").read_text()))
    runs.all(crossing_plan.ALONE, "alone", "")
    begun = False
    for which in (SYSTEMS, NEWER_NAME) if NEWER.exists() else (SYSTEMS,):
        ways = [way for way in (crossing_plan.SHARED, crossing_plan.EXCLUSIVE) if runs.wanted(way, which)]
        if not ways:
            continue
        if which == NEWER_NAME:
            if begun:
                desktop.kill_servers()
            install_newer()
        restart() if begun else desktop.begin()
        begun = True
        for card in CARDS:
            desktop.set_volume(card, "1.0")
        # Fewer cycles a second cost the machine less, and leave the samples as they are.
        desktop.text_of("pw-metadata", "-n", "settings", "0", "clock.force-quantum", "2048")
        for way in ways:
            runs.all(way, which, installed_version())
    for log in pathlib.Path("/tmp").glob("*.log"):
        shutil.copy(log, SHARED)
    (SHARED / "finished").touch()


if __name__ == "__main__":
    pathlib.Path("/vm/shared/booted").touch()
    main()
