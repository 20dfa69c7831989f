"""A long evening in short: an album of short tracks played over and over to the USB DAC made of software, by a user who
pauses, seeks, reorders, switches Exclusive Access and pulls the cable, on a processor that others keep busy. What the player
holds at the end, memory, descriptors and threads, must be what it held at the beginning."""

import collections
import json
import os
import pathlib
import time

import desktop
import soak_plan
import usb
from cards import wait_until
from pace import skipping
from player import SHARED, Play, name_of
from usb_dac import Dac

# A processor that is busy for a fifth of the time, at once as long as the player's ring is (0.2 s): a turn of the inner loop
# takes 13,000 instructions, of which the machine does one a nanosecond.
BUSY = "while :; do i=0; while [ $i -lt 15000 ]; do i=$((i+1)); done; usleep 800000; done"
STEP = 0.5  # seconds between two looks
PULLED = 6.0  # seconds from the moment at which the cable is pulled, by which the music goes on: the sink is waited for 3.5 s
SOON = 1.0  # seconds after an action in which an underrun is its own
WARM_UP = 5.0  # seconds after the first pull: from then on the player has held what each action takes
LEAST_LOOKS = 12
NOTHING = "nothing that was done"
# The C library returns to the system at once what the player frees, and has one heap for all threads: else its own store
# grows for minutes, by more than what is looked for.
ALLOCATOR = {"MALLOC_ARENA_MAX": "1", "MALLOC_MMAP_THRESHOLD_": "32768", "MALLOC_TRIM_THRESHOLD_": "65536"}
MORE = {"memory": 2048, "descriptors": 0, "threads": 0}  # KiB and numbers by which the end may exceed the beginning


def held(pid):
    """What the process holds; None: it has gone. Of its memory what is its own: pages of libraries come and go with the
    machine's need."""
    try:
        status = dict(line.split(":", 1) for line in pathlib.Path(f"/proc/{pid}/status").read_text().splitlines())
        return {"memory": int(status["RssAnon"].split()[0]), "descriptors": len(os.listdir(f"/proc/{pid}/fd")),
                "threads": int(status["Threads"])}
    except (OSError, KeyError, ValueError):
        return None


class Pulls:
    """Pulls the cable each time that the player prints a line with "said"."""

    def __init__(self, dac, play):
        self.dac, self.play, self.done, self.read = dac, play, 0, 0

    def look(self):
        new = self.play.lines[self.read:]
        self.read += len(new)
        if not any('"said"' in line for line in new):
            return
        self.done += 1
        with skipping():
            self.dac.pull()
        self.dac.plug_in()
        self.forget_recordings()

    def forget_recordings(self):
        """Of what the DAC has recorded only the last one is still written to."""
        for path in sorted(self.dac.folder.glob("wire.*.raw"), key=lambda path: path.stat().st_mtime)[:-1]:
            path.unlink()


def idle():
    """Seconds that the processor has had nothing to do."""
    return float(pathlib.Path("/proc/uptime").read_text().split()[1])


def album(seconds):
    """(the files, the options with what is done at their ends)"""
    count = int(seconds / soak_plan.SECONDS) + 10
    names = [f"{soak_plan.FOLDER}/{track.file}" for track in soak_plan.ALBUM]
    actions = [word for number in range(1, count) for moment, action in [soak_plan.ROUND[(number - 1) % len(soak_plan.ROUND)]]
               for word in ("--at", f"{number}:{moment}:{action}")]
    return [names[number % len(names)] for number in range(count)], actions


def soaked(seconds):
    """{"faults", "remark", "story"} of so many seconds."""
    files, actions = album(seconds)
    looks = []
    desktop.ENVIRONMENT.update(ALLOCATOR)
    busy = desktop.start("/usr/bin/busybox", "sh", "-c", BUSY)
    try:
        with Dac() as dac, open(SHARED / "looks.jsonl", "a", buffering=1, encoding="utf-8") as record:
            name = usb.ready()
            play = Play(*files, "--device", name, "--go-on", "--pause-for", "0.2", "--for", seconds, *actions)
            play.said('"isPlaying","value":true')
            pulls = Pulls(dac, play)
            while play.process.poll() is None:
                with skipping():
                    wait_until(lambda: play.process.poll() is not None, STEP)
                pulls.look()
                now = held(play.process.pid)
                if now and pulls.done:
                    looks.append(now)
                    record.write(json.dumps({"at": round(time.monotonic(), 1), "idle": idle(), **now}) + "\n")
            play.finish()
    finally:
        busy.kill()
        busy.wait()
        name_of.cache_clear()
    (SHARED / "story.jsonl").write_text("\n".join(play.lines) + "\n", encoding="utf-8")
    return judged(play, looks[int(WARM_UP / STEP):], pulls.done, seconds)


def judged(play, looks, pulls, seconds):
    lines = [json.loads(line) for line in play.lines if line.startswith("{")]
    end = lines[-1] if lines else {}
    done = {line["value"] for line in lines if line.get("property") == "action"}
    wanted = {action.partition("=")[0] for _, action in soak_plan.ROUND}
    faults = [] if "completed" in end else [f"the player ended with {end}"]
    if done != wanted:
        faults.append(f"of {sorted(wanted)} only {sorted(done)} were done")
    if len(looks) < LEAST_LOOKS:
        return {"faults": [*faults, f"there were only {len(looks)} looks"], "remark": "", "story": play.lines[-60:]}
    window = min(len(looks) // 2, int(60 / STEP))
    table = []
    for kind, more in MORE.items():
        # The least of a minute or, in a short test, of half the time, in which each action was done: it shows a
        # permanent loss, but not a moment between two outputs.
        parts = [[look[kind] for look in part] for part in (looks[:window], looks[-window:])]
        first, last = (min(part) for part in parts)
        table.append(f"{kind} {first}, then {last} (at most {max(parts[1])})")
        if last > first + more:
            faults.append(f"the player held {first} ({kind}) at the beginning, and {last} at the end")
    behind = underruns(lines)
    if behind[NOTHING]:
        faults.append(f"{behind[NOTHING]} underruns came behind nothing that was done")
    errors = sum(line.get("kind") == "error" for line in lines)
    remark = (f"{seconds} s, {end.get('completed')} tracks played to their end, "
              f"{sum(line.get('property') == 'crossing' for line in lines)} without a gap, "
              f"{sum(line.get('property') == 'action' for line in lines)} actions, {pulls} pulls, {end.get('recoveries')} "
              f"recoveries, {errors} times given up; {sum(behind.values())} underruns"
              f"{''.join(f', {number} behind {what}' for what, number in sorted(behind.items()))}; "
              f"held at least, in {len(looks)} looks: {', '.join(table)}")
    return {"faults": faults, "remark": remark, "story": play.lines[-60:]}


def underruns(lines):
    """What they came behind → how many."""
    behind, total, last, pulled = collections.Counter(), 0, None, None
    for line in lines:
        if line.get("property") == "action":
            last = line
        if line.get("property") == "said":
            pulled = line["t"]
        if line.get("property") != "underruns":
            continue
        new, total = line["value"] - total, line["value"]
        if pulled is not None and line["t"] - pulled <= PULLED:
            behind["a pull"] += new
        elif last and line["t"] - last["t"] <= SOON:
            behind[last["value"]] += new
        else:
            behind[NOTHING] += new
    if lines and lines[-1].get("underruns", 0) > total:
        behind["the end"] += lines[-1]["underruns"] - total
    return behind
