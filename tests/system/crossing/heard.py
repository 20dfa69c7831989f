"""What the recordings of a run must hold, and the first thing that is wrong with them. Knows bytes only, no product code."""

import array
import json

import compare
import crossing_plan
import tracks
from pieces import losses, pieces, without_silence

FRAME = 8  # bytes: two channels of 32 bits
NEAR = 0.35  # seconds around the end of a track in which something must have been done
NEAR_END = 0.3  # seconds of a successor that is replaced: what a sink holds of it is heard all the same
LONGEST_GAP = 0.1  # seconds of music that a server may take with it
FURTHEST = 0.1  # seconds that the position may be away from what is heard
LATEST = 0.05  # seconds of a track that are heard before it is announced
SETTLED = {"CHECKING", "BIT-PERFECT", "READY"}


def joined_bytes(some):
    return b"".join(tracks.expected(track, "S32_LE") for track in some)


class Story:
    """The lines of one run of the player."""

    def __init__(self, run, lines, looks=()):
        self.run = run
        self.lines = [json.loads(line) for line in lines if line.startswith("{")]
        self.looks = [(json.loads(lines[number]), frames) for number, frames in looks]

    def of(self, name):
        return [line for line in self.lines if line.get("property") == name]

    def actions(self):
        """(index of the track, seconds of it that had been heard)"""
        return [(line["file"] - 1, line["position"]) for line in self.of("action")]

    def last(self):
        return self.lines[-1] if self.lines else {}

    def labels(self):
        return {line["label"] for line in self.of("audioPathStatus")}

    def faults(self, way, lines):
        last, run = self.last(), self.run
        found = [] if last.get("completed") == len(run.tracks) else [f"it ended with {last}"]
        if last.get("underruns") != 0:
            found.append(f"{last.get('underruns')} underruns")
        if run.what != "dies" and last.get("recoveries") != 0:
            found.append(f"{last.get('recoveries')} recoveries")
        if run.what == "joined" and self.labels() != SETTLED:
            found.append(f"the player says {sorted(self.labels())}")
        is_shared = any("through PipeWire" in line for line in lines)
        if is_shared != (way == crossing_plan.SHARED):
            found.append(f"it went {'' if is_shared else 'not '}through the server")
        return found + (self.action_faults() if run.what != "position" else [])

    def action_faults(self):
        done, run = self.actions(), self.run
        if len(done) != len(run.actions):
            return [f"{len(done)} of {len(run.actions)} actions were done"]
        late = []
        for (index, position), (number, _, _) in zip(done, run.actions):
            length = run.tracks[index].frames / run.rate
            distance = position if index == number else length - position if index == number - 1 else NEAR + 1
            if not -0.01 <= distance <= NEAR:
                late.append(f"an action at the end of track {number} was done {position:.3f} s into track {index + 1}")
        return late


def joined(run, story, captured):
    difference = compare.one_after_another([joined_bytes(group) for group in run.groups], captured[0], FRAME)
    crossings = len(story.of("crossing"))
    wanted = sum(len(group) - 1 for group in run.groups)
    faults = [difference] if difference else []
    if crossings != wanted:
        faults.append(f"{crossings} tracks of {wanted} followed without a gap")
    return faults, f"{crossings} crossings, no frame between"


def whole(run, _, captured):
    lost, again = losses(joined_bytes(run.tracks), captured[0])
    return [f"{lost} frames were lost, {again} were heard twice"] if lost or again else [], ""


def followed(run, story, captured):
    """The position of each look beside the frames that had been heard, and each crossing beside the frame of its track."""
    lost, again = losses(joined_bytes(run.tracks), captured[0])
    faults = [f"{lost} frames were lost, {again} were heard twice"] if lost or again else []
    begin = next((at // FRAME for at in range(0, len(captured[0]), FRAME) if any(captured[0][at:at + FRAME])), 0)
    starts = [0]
    for track in run.tracks:
        starts.append(starts[-1] + track.frames)
    leads, delays = [], []
    for line, recorded in story.looks:
        if line["property"] == "action":
            leads.append((starts[line["file"] - 1] - recorded + begin) / run.rate + line["position"])
        else:
            delays.append((recorded - begin - starts[1 + len(delays)]) / run.rate)
    if len(leads) != len(run.actions) or len(delays) != len(run.tracks) - 1:
        faults.append(f"there were {len(leads)} looks and {len(delays)} crossings")
    if any(abs(lead) > FURTHEST for lead in leads):
        faults.append(f"the position was ahead of the music by {[round(lead, 3) for lead in leads]} s")
    if any(not -LATEST / 5 <= delay <= LATEST for delay in delays):
        faults.append(f"the next track was announced {[round(delay, 3) for delay in delays]} s behind its first frame")
    return faults, (f"ahead of the music by {1000 * min(leads, default=0):.0f} to {1000 * max(leads, default=0):.0f} ms in "
                    f"{len(leads)} looks, a track announced up to {1000 * max(delays, default=0):.0f} ms behind its first frame")


def sought(run, story, captured):
    """Up to the frame that is heard when the music stops, and on from the very frame that was asked for."""
    starts = [0]
    for track in run.tracks:
        starts.append(starts[-1] + track.frames)
    found = pieces(joined_bytes(run.tracks), captured[0])
    firsts, ends, most = [0], [], 0.0
    for (index, position), (_, _, action) in zip(story.actions(), run.actions):
        ends.append(starts[index] + position * run.rate)
        firsts.append(starts[index] + int(float(action.partition("=")[2]) * run.rate))
    faults = []
    if [first for first, _ in found] != firsts:
        faults.append(f"the music went on at the frames {[first for first, _ in found]}, not {firsts}")
    for (first, length), end in zip(found, ends):
        most = max(most, abs(first + length - end) / run.rate)
    if most > NEAR:
        faults.append(f"a seek left the music {most:.3f} s from where the player said that it was")
    if found and found[-1][0] + found[-1][1] != starts[-1]:
        faults.append(f"the end is missing: the last piece is {found[-1]}")
    return faults, f"what was left was up to {1000 * most:.0f} ms from the position reported"


def reordered(run, story, captured):
    """The tracks that were named, each whole."""
    order, replaced = list(run.tracks), {}
    for (index, _), spare in zip(story.actions(), run.spare):
        replaced[index + 1], order[index + 1] = order[index + 1], spare
    wanted = joined_bytes(order)
    found = pieces(wanted + joined_bytes(replaced.values()), captured[0])
    # Of the track that was to follow before, the beginning may have been heard already.
    music = [piece for piece in found if piece[0] < len(wanted) // FRAME]
    olds = [piece for piece in found if piece not in music]
    end, faults = 0, []
    for first, length in music:
        if first != end:
            faults.append(f"frame {first} follows frame {end}")
        end = first + length
    if end != len(wanted) // FRAME or any(length > NEAR_END * run.rate for _, length in olds):
        faults.append(f"of {len(wanted) // FRAME} frames the pieces {found} were heard")
    return faults, (f"{len(story.of('crossing'))} without a gap; the old successor had begun {len(olds)} times, with "
                    f"{sum(length for _, length in olds)} frames")


def scaled(run, _, captured):
    """Every frame once, at the one volume or at the other, and no more changes than were made."""
    wanted, heard = joined_bytes(run.tracks), without_silence(captured[0])
    if len(wanted) != len(heard):
        return [f"{len(heard) // FRAME} frames of {len(wanted) // FRAME} came"], ""
    ours, theirs = array.array("i", wanted), array.array("i", heard)
    at, gain, switches = 0, 1.0, []
    while at < len(ours):
        if not is_at(gain, ours, theirs, at):
            gain = crossing_plan.LOUDNESS if gain == 1.0 else 1.0
            if not is_at(gain, ours, theirs, at):
                return [f"frame {at // 2} is {theirs[at:at + 2].tolist()} instead of {ours[at:at + 2].tolist()}"], ""
            switches.append(at // 2)
        at += 2
    faults = [] if len(switches) == len(run.actions) else [f"the volume changed {len(switches)} times"]
    return faults, f"changed at the frames {', '.join(map(str, switches))}"


def is_at(gain, ours, theirs, at):
    """Of a source of 24 bits, whose last bit is rounded."""
    return all(abs(theirs[at + channel] - gain * ours[at + channel]) < (1 if gain == 1.0 else 512) for channel in (0, 1))


def moved(run, _, captured):
    """From one card to the other and back: piece by piece."""
    wanted = joined_bytes(run.tracks)
    there = [pieces(wanted, one) for one in captured]
    count = len(run.actions) + 1
    if [len(found) for found in there] != [(count + 1) // 2, count // 2]:
        return [f"the cards got the pieces {there}"], ""
    order = [there[number % 2][number // 2] for number in range(count)]
    steps = [later[0] - earlier[0] - earlier[1] for earlier, later in zip(order, order[1:])]
    whole_frames = len(wanted) // FRAME
    faults = []
    if order[0][0] or order[-1][0] + order[-1][1] != whole_frames or any(steps):
        faults.append(f"of {whole_frames} frames the cards got {order}: left out (negative: heard again) {steps}")
    return faults, ""


def survived(run, story, captured):
    lost, again = losses(joined_bytes(run.tracks), captured[0])
    faults = [f"{again} frames were heard twice"] if again else []
    if lost > LONGEST_GAP * len(run.actions) * run.rate:
        faults.append(f"{lost} frames were lost")
    if story.last().get("recoveries", 0) < len(run.actions):
        faults.append(f"{story.last().get('recoveries')} recoveries")
    return faults, f"{lost} frames lost with {len(run.actions)} servers, {story.last().get('recoveries')} recoveries"


JUDGES = {"joined": joined, "position": followed, "pause": whole, "exclusive": whole, "seek": sought, "next": reordered, "volume": scaled,
          "device": moved, "dies": survived}


def judged(run, way, record, folder):
    """(faults, remark) of a run, with those that the machine has seen."""
    story = Story(run, record["story"], record.get("looks", ()))
    if not record["captures"]:
        return record["faults"], ""
    captured = [(folder / name).read_bytes() for name in record["captures"]]
    try:
        faults, remark = JUDGES[run.what](run, story, captured)
    except RuntimeError as foreign:
        faults, remark = [str(foreign)], ""
    return record["faults"] + faults + story.faults(way, record["story"]), remark
