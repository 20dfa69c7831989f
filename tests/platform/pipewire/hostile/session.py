#!/usr/bin/env python3
"""session.py HOSTILE_SESSION PROBE: the player plays to a sound server of the test's own, while another client sets levels and
settings on the player's stream, well-formed and malformed. The verdict must become DSP ACTIVE and name each that alters the
samples (over this sink, which is no hardware, it is not BIT-PERFECT before either); the player must play on and end by
itself."""

import json
import os
import pathlib
import queue
import subprocess
import sys
import tempfile
import threading
import wave

from run import PATIENCE, SANE, SERVER, wait_until

LINKS = "{ name = libpipewire-module-link-factory }"
# What the verdict names afterwards. The malformed ones need not be taken; the last one shows that the player still reads.
NAMED = {"the level of one half": "The player's stream is at 79 % in the sound server's mixer",
         "dither": "dithers the samples of the player's stream (dither.noise is 3)",
         "mute": "The player's stream is muted in the sound server's mixer",
         "other dither": "(dither.noise is 5)"}
ATTACKS = 11


class Lines:
    """A program's lines, as they come."""

    def __init__(self, stream):
        self._lines = queue.Queue()
        threading.Thread(target=self._read, args=(stream,), daemon=True).start()

    def _read(self, stream):
        for line in stream:
            self._lines.put(line.rstrip("\n"))
        self._lines.put(None)

    def next(self, what):
        line = self._lines.get(timeout=PATIENCE)
        if line is None:
            raise RuntimeError(f"no {what} any more: the program has ended")
        return line

    def rest(self):
        return list(iter(lambda: self._lines.get(timeout=PATIENCE), None))


class Verdicts:
    def __init__(self, lines):
        self._lines = lines
        self.seen = []

    def take(self, line):
        value = json.loads(line)
        if value.get("property") == "audioPathStatus":
            self.seen.append((value["label"], value["detail"]))
        return value

    def wait_for(self, condition, what):
        while not condition(self.take(self._lines.next(what))):
            pass


def play(hostile, probe, environment, track):
    """The attacks that were made, the verdicts, and how the player ended."""
    session = subprocess.Popen([hostile, "tolvane-player", "sane"], env=environment, stdin=subprocess.PIPE,
                               stdout=subprocess.PIPE, text=True)
    lines = Lines(session.stdout)
    while lines.next("session") != "ready":
        pass
    player = subprocess.Popen([probe, "play", "--device", SANE, track], env=environment, stdout=subprocess.PIPE, text=True)
    try:
        said = Lines(player.stdout)
        verdicts = Verdicts(said)
        verdicts.wait_for(lambda line: line.get("property") == "isPlaying" and line["value"], "music")
        before = len(verdicts.seen)
        attacks = []
        while len(attacks) < ATTACKS:
            session.stdin.write("\n")
            session.stdin.flush()
            attack = lines.next("attack")
            while attack.startswith("linked"):
                attack = lines.next("attack")
            attacks.append(attack)
            if attack in NAMED:
                verdicts.wait_for(lambda line: NAMED[attack] in line.get("detail", ""), f"verdict after {attack}")
        player.terminate()
        for line in said.rest():
            verdicts.take(line)
        return attacks, verdicts.seen, before, player.wait(PATIENCE)
    finally:
        for process in (player, session):
            process.kill()
            process.wait()


def main():
    hostile, probe = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        environment = {**os.environ, "XDG_RUNTIME_DIR": folder, "HOME": folder, "PIPEWIRE_RUNTIME_DIR": folder,
                       "DBUS_SESSION_BUS_ADDRESS": f"unix:path={folder}/none"}
        configuration = pathlib.Path(folder, "server.conf")
        configuration.write_text(SERVER.replace("context.modules = [", f"context.modules = [ {LINKS}"))
        track = pathlib.Path(folder, "track.wav")
        with wave.open(str(track), "wb") as file:
            file.setnchannels(2)
            file.setsampwidth(2)
            file.setframerate(48000)
            file.writeframes(bytes(range(1, 5)) * 48000 * PATIENCE)
        server = subprocess.Popen(["pipewire", "-c", configuration], env=environment)
        try:
            wait_until(pathlib.Path(folder, "pipewire-0").exists, "the server")
            attacks, verdicts, before, status = play(hostile, probe, environment, track)
        finally:
            server.terminate()
            server.wait()
    for label, detail in verdicts:
        print(f"{label}: {detail}")
    faults = [f"{attack}: not made" for attack in NAMED if attack not in attacks]
    faults += [f"{label} was said" for label, _ in verdicts if label == "BIT-PERFECT"]
    faults += [f"{label} is said of altered samples" for label, detail in verdicts
               if "player's stream" in detail and label != "DSP ACTIVE"]
    faults += [f"named before it was set: {detail}" for _, detail in verdicts[:before] if "player's stream" in detail]
    faults += ["a control character was printed" for _, detail in verdicts if not detail.isprintable()]
    if status != 0:
        faults.append(f"the player ended with {status}")
    print(f"{len(attacks)} attacks, {len(verdicts)} verdicts" + "".join(f"\nFAIL {fault}" for fault in faults))
    return bool(faults)


if __name__ == "__main__":
    sys.exit(main())
