"""All tests of the desktop, in order. One that breaks down is its own failure."""

import functools
import json
import os
import pathlib
import random
import resource
import shutil
import subprocess
import sys
import threading
import time
import traceback
import wave

import desktop
from cards import Capture, Pcm, full_volume, wait_until
from pace import skipping

SHARED = pathlib.Path("/vm/shared")
PROBE = pathlib.Path("/tmp/bin/tolvane-probe")
CONTRACT = pathlib.Path("/tmp/bin/contract_pipewire")
LOOPBACK = Pcm("Loopback")
LIMIT = 90
NOT_RECOVERED = "The output device did not recover after 3 attempts. "


def track(path, rate, width, seconds):
    """Noise without a silent frame; its frames as 32-bit ones."""
    noise = bytearray(random.Random(f"{rate} {width} {seconds}").randbytes(int(rate * seconds) * 2 * width))
    frame = 2 * width
    for at in range(0, len(noise), frame):
        noise[at] |= 1
    with wave.open(str(path), "wb") as file:
        file.setnchannels(2)
        file.setsampwidth(width)
        file.setframerate(rate)
        file.writeframes(noise)
    padding = bytes(4 - width)
    return b"".join(padding + noise[at:at + width] for at in range(0, len(noise), width))


@functools.cache
def name_of(part):
    for line in desktop.text_of(PROBE, "devices").splitlines():
        device = json.loads(line)
        if part in device["uid"]:
            return device["name"]
    raise RuntimeError(f"the player has no device {part}")


class Play:
    """A run of the player, read as it goes."""

    def __init__(self, *arguments):
        self.lines, self.process = [], desktop.start(PROBE, "play", *arguments, stdout=subprocess.PIPE,
                                                     stderr=subprocess.STDOUT, text=True)
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def _read(self):
        for line in self.process.stdout:
            self.lines.append(line.rstrip())

    def said(self, text):
        return wait_until(lambda: any(text in line for line in self.lines) or self.process.poll() is not None, LIMIT)

    def finish(self):
        """Faults of its end."""
        try:
            self.process.wait(LIMIT)
        except subprocess.TimeoutExpired:
            self.process.kill()
            return [f"the player had to be killed after {LIMIT} s"]
        finally:
            self.reader.join(10)
        return []

    def labels(self):
        found = [json.loads(line) for line in self.lines if line.startswith("{") and "audioPathStatus" in line]
        return [line["label"] for line in found]

    def last(self):
        return json.loads(next((line for line in reversed(self.lines) if line.startswith("{")), "{}"))

    def faults(self, completed=1):
        found = self.finish()
        if self.last().get("completed") != completed:
            found.append(f"it ended with {self.last()}")
        return found


def without_silence(data):
    return b"".join(data[at:at + 8] for at in range(0, len(data), 8) if any(data[at:at + 8]))


def difference(wanted, captured):
    heard = without_silence(captured)
    if heard == wanted:
        return []
    same = next((at for at in range(0, min(len(heard), len(wanted)), 8) if heard[at:at + 8] != wanted[at:at + 8]),
                min(len(heard), len(wanted)))
    return [f"frame {same // 8} of {len(wanted) // 8} differs; {len(heard) // 8} came"]


def to_loopback(rate, width, seconds, *options, meanwhile=lambda play: None):
    """(faults of what came out, the run)"""
    file = pathlib.Path("/tmp/track.wav")
    wanted = track(file, rate, width, seconds)
    with skipping():
        wait_until(LOOPBACK.closed, 30)  # a sink keeps its card for some seconds, and so its format
    recording = pathlib.Path("/tmp/capture.raw")
    with Capture(recording, "S32_LE", rate, 2) as capture:
        play = Play(file, "--device", name_of("aloop"), *options)
        play.said('"isPlaying","value":true')
        with skipping():
            meanwhile(play)
            faults = play.faults()
    return faults + capture.faults() + difference(wanted, recording.read_bytes()), play


def shared(rate, width):
    desktop.set_volume("Loopback", "1.0")
    faults, play = to_loopback(rate, width, 1)
    if play.labels() != ["CHECKING", "BIT-PERFECT", "READY"]:
        faults.append(f"the player says {play.labels()}")
    return {"faults": faults, "story": play.lines}


def paused():
    desktop.set_volume("Loopback", "1.0")
    faults, play = to_loopback(44100, 3, 2, "--pause-at", "0.7", "--pause-for", "0.5")
    return {"faults": faults, "story": play.lines}


def attenuated():
    desktop.set_volume("Loopback", "0.8")
    _, play = to_loopback(48000, 2, 1)
    desktop.set_volume("Loopback", "1.0")
    faults = [] if play.labels() == ["CHECKING", "DIRECT PCM", "READY"] else [f"the player says {play.labels()}"]
    return {"faults": faults, "story": play.lines}


def second_program():
    """Somebody else plays for a while: the rate stays, and the verdict is another as long as that lasts."""
    desktop.set_volume("Loopback", "1.0")
    target = desktop.sink("Loopback")["node.name"]
    track("/tmp/other.wav", 48000, 2, 1)
    seen = []

    def play_too(_):
        other = desktop.start("/usr/bin/pw-play", "--target", target, "/tmp/other.wav")
        while other.poll() is None:
            seen.append(LOOPBACK.setup())
            time.sleep(0.05)

    _, play = to_loopback(44100, 2, 6, meanwhile=play_too)
    faults = [] if play.labels() == ["CHECKING", "BIT-PERFECT", "DIRECT PCM", "BIT-PERFECT", "READY"] else [
        f"the player says {play.labels()}"]
    if {setup[1] for setup in seen if setup} != {44100}:
        faults.append(f"the card ran at {set(seen)}")
    with skipping():
        wait_until(LOOPBACK.closed, 30)
    other = desktop.start("/usr/bin/pw-play", "--target", target, "/tmp/other.wav")
    wait_until(lambda: LOOPBACK.running() or other.poll() is not None, 20)
    after = LOOPBACK.setup()
    other.wait(60)
    if not after or after[1] != 48000:
        faults.append(f"afterwards the card runs at {after}, not at the other program's rate")
    return {"faults": faults, "story": play.lines}


def switched():
    """Exclusive Access on and off in the middle. The host looks at what the card received."""
    full_volume("Intel")
    desktop.set_volume("Intel", "1.0")
    before = desktop.sink("Intel")["node.name"]
    desktop.text_of("wpctl", "set-default", desktop.sink("Intel")["object.id"])
    with skipping():
        time.sleep(5)  # the session manager writes down what it is to give the sink back with
    track(SHARED / "switched.wav", 48000, 2, 6)
    shutil.copyfile(SHARED / "switched.wav", "/tmp/switched.wav")
    play = Play("/tmp/switched.wav", "--device", name_of("pci-"), "--exclusive-at", "2", "--shared-at", "4")
    play.said('"isPlaying","value":true')
    with skipping():
        faults = play.faults()
    if play.labels() != ["CHECKING", "BIT-PERFECT"] * 3 + ["READY"]:
        faults.append(f"the player says {play.labels()}")
    if not any('"active"' in line for line in play.lines):
        faults.append("Exclusive Access was never active")
    if desktop.sink("Intel")["node.name"] != before:
        faults.append(f"the sink came back as {desktop.sink('Intel')['node.name']}")
    metadata = desktop.text_of("pw-metadata", "0", "default.audio.sink")
    if before not in metadata:
        faults.append(f"the sink is not the default one any more: {metadata}")
    return {"faults": faults, "story": play.lines, "received": "hda.wav", "track": "switched.wav"}


def restarted():
    """The server dies while it plays, and is started again: the player goes on, or says that it cannot."""
    desktop.set_volume("Intel", "1.0")
    track("/tmp/long.wav", 48000, 2, 8)
    play = Play("/tmp/long.wav", "--device", name_of("pci-"))
    play.said('"isPlaying","value":true')
    time.sleep(1)
    desktop.kill_servers()
    time.sleep(0.5)
    desktop.start_server("pipewire")
    desktop.start_server("wireplumber")
    time.sleep(2)  # they are being loaded
    with skipping():
        faults = play.finish()
    end = play.last()
    recovered = end.get("completed") == 1 and end.get("recoveries", 0) >= 1
    if not recovered and not end.get("error", "").startswith(NOT_RECOVERED):
        faults.append(f"it ended with {end}")
    return {"faults": faults, "remark": "recovered" if recovered else end.get("error", ""), "story": play.lines}


def contract():
    name = name_of("pci-")
    run = desktop.start(CONTRACT, "--gtest_filter=*AudioHardware*Contract*:*HogMode*:*OutputUnit*:-*Uninstantiated*",
                        settings={"TOLVANE_CONTRACT_DEVICES": name}, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                        text=True)
    time.sleep(1)  # it is being loaded
    with skipping():
        output = run.communicate(timeout=400)[0].splitlines()
    passed = sum(line.startswith("[       OK ]") for line in output)
    faults = [] if run.returncode == 0 and passed > 50 else [f"exit status {run.returncode}, {passed} tests passed"]
    return {"faults": faults, "remark": f"{passed} tests", "story": [line for line in output if "[ RUN" not in line][-60:]}


def tests():
    for width in (2, 3):
        for rate in (44100, 48000, 96000, 192000):
            yield f"{8 * width} bits at {rate / 1000:g} kHz arrive as they are through the sink", lambda w=width, r=rate: shared(r, w)
    yield "A pause loses and repeats no frame", paused
    yield "A sink at 80 % is not BIT-PERFECT", attenuated
    yield "A second program plays, and the rate comes back afterwards", second_program
    yield "Exclusive Access comes and goes while the music plays, and loses no frame", switched
    yield "The adapter keeps its contract", contract
    yield "A server that dies and comes back is recovered from, or said to be missing", restarted


def main():
    resource.setrlimit(resource.RLIMIT_RTPRIO, (20, 20))
    os.chmod("/tmp", 0o1777)
    shutil.copytree(SHARED / "bin", PROBE.parent)
    only = json.loads((SHARED / "only.json").read_text())
    desktop.begin()
    for name, test in tests():
        if only and not any(text in name for text in only):
            continue
        try:
            record = {"remark": "", **test()}
        except Exception:  # noqa: BLE001 - whatever it is, it belongs in the report
            record = {"faults": ["the test broke down"], "remark": "", "story": traceback.format_exc().splitlines()}
        with open(SHARED / "results.jsonl", "a", encoding="utf-8") as results:
            results.write(json.dumps({"test": name, **record}) + "\n")
    (SHARED / "finished").touch()


if __name__ == "__main__":
    pathlib.Path("/vm/shared/booted").touch()
    main()
