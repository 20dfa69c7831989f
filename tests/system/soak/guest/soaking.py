"""A long evening in short: an album of short tracks played over and over to the USB DAC made of software, by a listener who
pauses, seeks, reorders, switches Exclusive Access and pulls the cable, on a processor that others keep busy. What the player
holds at the end, memory, descriptors and threads, must be what it held at the beginning."""

import json
import os
import pathlib
import wave

import desktop
import usb
from cards import wait_until
from pace import skipping
from player import Play, name_of
from usb_dac import Dac

RATE, SECONDS = 48000, 1.0  # of a track
ALBUM = [pathlib.Path(f"/tmp/soak-{number}.wav") for number in range(7)]
# At the ends of the tracks, one after the other: seconds from the end, and what is done.
ROUND = (("0.1", "exclusive"), ("-0.1", "pause"), ("0.05", "seek=0.3"), ("-0.05", "volume=0.5"), ("0.1", "shared"),
         ("-0.02", f"next={ALBUM[-1]}"), ("0.02", "pause"), ("-0.2", "seek=0.7"), ("0.15", "volume=1"), ("0.1", "say=pull"))
# A processor that is busy for about a quarter of the time, at once as long as the player's ring is.
BUSY = "while :; do i=0; while [ $i -lt 150000 ]; do i=$((i+1)); done; usleep 300000; done"
STEP = 0.5  # seconds between two looks
AFTER_A_PULL = 10.0  # seconds in which an underrun is the cable's
WARM_UP = 5.0  # seconds after the first pull: from then on the player has held what each action takes
LEAST_LOOKS = 12
MORE = {"memory": 2048, "descriptors": 0, "threads": 0}  # KiB and numbers by which the end may exceed the beginning


def write_album():
    for path in ALBUM:
        with wave.open(str(path), "wb") as file:
            file.setnchannels(2)
            file.setsampwidth(2)
            file.setframerate(RATE)
            file.writeframes(os.urandom(int(RATE * SECONDS) * 4))


def held(pid):
    """What the process holds; None: it has gone."""
    try:
        status = dict(line.split(":", 1) for line in pathlib.Path(f"/proc/{pid}/status").read_text().splitlines())
        return {"memory": int(status["VmRSS"].split()[0]), "descriptors": len(os.listdir(f"/proc/{pid}/fd")),
                "threads": int(status["Threads"])}
    except (OSError, KeyError, ValueError):
        return None


class Pulls:
    """The cable is pulled each time that the player says so."""

    def __init__(self, dac, play):
        self.dac, self.play, self.done = dac, play, 0

    def look(self):
        if sum('"said"' in line for line in self.play.lines) == self.done:
            return False
        self.done += 1
        self.dac.pull()
        self.dac.plug_in()
        return True

    def forget_recordings(self):
        """Of what the DAC has recorded only the last one is still written to."""
        for path in sorted(self.dac.folder.glob("wire.*.raw"), key=lambda path: path.stat().st_mtime)[:-1]:
            path.unlink()


def soaked(seconds):
    """{"faults", "remark", "story"} of so many seconds."""
    write_album()
    count = int(seconds / SECONDS * 1.3) + 10
    files = [ALBUM[number % (len(ALBUM) - 1)] for number in range(count)]
    actions = [word for number in range(1, count) for moment, action in [ROUND[(number - 1) % len(ROUND)]]
               for word in ("--at", f"{number}:{moment}:{action}")]
    looks = []
    busy = desktop.start("/usr/bin/busybox", "sh", "-c", BUSY)
    try:
        with Dac() as dac:
            name = usb.ready()
            play = Play(*files, "--device", name, "--go-on", "--pause-for", "0.2", "--for", seconds, *actions)
            play.said('"isPlaying","value":true')
            pulls = Pulls(dac, play)
            while play.process.poll() is None:
                with skipping():
                    wait_until(lambda: play.process.poll() is not None, STEP)
                if pulls.look():
                    pulls.forget_recordings()
                now = held(play.process.pid)
                if now and pulls.done:
                    looks.append(now)
            play.finish()
    finally:
        busy.kill()
        busy.wait()
        name_of.cache_clear()
    return judged(play, looks[int(WARM_UP / STEP):], pulls.done, seconds)


def judged(play, looks, pulls, seconds):
    lines = [json.loads(line) for line in play.lines if line.startswith("{")]
    end = lines[-1] if lines else {}
    done = {line["value"] for line in lines if line.get("property") == "action"}
    wanted = {action.partition("=")[0] for _, action in ROUND}
    faults = [] if "completed" in end else [f"the player ended with {end}"]
    if done != wanted:
        faults.append(f"of {sorted(wanted)} only {sorted(done)} were done")
    if len(looks) < LEAST_LOOKS:
        return {"faults": [*faults, f"there were only {len(looks)} looks"], "remark": "", "story": play.lines[-60:]}
    window = min(len(looks) // 3, int(60 / STEP))
    table = []
    for kind, more in MORE.items():
        first, last = (max(look[kind] for look in part) for part in (looks[:window], looks[-window:]))
        table.append(f"{kind} {first}, then {last}")
        if last > first + more:
            faults.append(f"the player held {first} ({kind}) at the beginning, and {last} at the end")
    errors = sum(line.get("kind") == "error" for line in lines)
    remark = (f"{seconds} s, {end.get('completed')} tracks played to their end, "
              f"{sum(line.get('property') == 'crossing' for line in lines)} without a gap, "
              f"{sum(line.get('property') == 'action' for line in lines)} actions, {pulls} pulls, {end.get('recoveries')} "
              f"recoveries, {errors} times given up; {underruns(lines)}; most held, in {len(looks)} looks: {', '.join(table)}")
    return {"faults": faults, "remark": remark, "story": play.lines[-60:]}


def underruns(lines):
    """How many there were, and how many of them a cable explains that was pulled."""
    pulled = [line["t"] for line in lines if line.get("property") == "said"]
    total = explained = 0
    for line in lines:
        if line.get("property") == "underruns":
            new, total = line["value"] - total, line["value"]
            explained += new if any(0 <= line["t"] - moment <= AFTER_A_PULL for moment in pulled) else 0
    rest = lines[-1].get("underruns", 0) - total if lines else 0
    return f"{total + rest} underruns, {explained} of them when the cable was pulled, {total + rest - explained} under load"
