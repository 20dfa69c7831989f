"""Shows, at the start of every run, that the judges see each fault that a player can make around a crossing."""

import array
import random

import crossing_plan
import heard
from crossing_plan import Run
from heard import FRAME

RATE = 8000
CUTS = crossing_plan.cuts([("WAV", "24")] * 3, RATE, 0.5, 0)
FIRST, SECOND, THIRD = (heard.joined_bytes([track]) for track in CUTS)
DATA = FIRST + SECOND + THIRD
GAP, END = bytes(FRAME * 50), bytes(FRAME * 90)
MIDDLE = len(FIRST) // FRAME + 800  # a frame of the second track
JOINED, PAUSED = Run("", "joined", RATE, (CUTS,)), Run("", "pause", RATE, (CUTS,))
SOUGHT = Run("", "seek", RATE, (CUTS,), ((1, -0.1, "seek=0.25"),))
OTHER = Run("", "next", RATE, (CUTS[:2],), ((1, -0.1, "next=x"),), CUTS[2:])
LOUDER = Run("", "volume", RATE, (CUTS,), ((1, 0, "volume=1"),))
MOVED = Run("", "device", RATE, (CUTS,), ((1, 0, "device=x"),))
DIES = Run("", "dies", RATE, (CUTS,), ((1, -0.1, "say=x"),))
FOLLOWED = Run("", "position", RATE, (CUTS,), ((1, -0.1, "say=x"), (2, 0.1, "say=x")))
BEGIN = 70  # the first frame of music in a recording


class Reported:
    """The output of a player that did one thing at 3,900 frames of the first track."""

    def __init__(self, crossings=2, looks=()):
        self.crossings, self.looks = crossings, looks

    def actions(self):
        return [(0, 3900 / RATE)]

    def of(self, _):
        return [None] * self.crossings

    def last(self):
        return {"recoveries": 1}


def part(first=0, end=len(DATA) // FRAME):
    """Frames of all three tracks."""
    return DATA[first * FRAME:end * FRAME]


def halved(data):
    return array.array("i", [value // 2 for value in array.array("i", data)]).tobytes()


def looks(lead=0.0, delay=0.0):
    """Of a player whose position is so many seconds ahead once, and that announces a track so many seconds late."""
    ends = [sum(track.frames for track in CUTS[:count]) for count in (1, 2)]
    late = int(delay * RATE)
    return [({"property": "action", "file": 1, "position": 3900 / RATE}, BEGIN + 3900),
            ({"property": "crossing"}, BEGIN + ends[0]),
            ({"property": "crossing"}, BEGIN + ends[1] + late),
            ({"property": "action", "file": 3, "position": lead + 800 / RATE}, BEGIN + ends[1] + 800)]


POSITIONS = (  # whether it is right, what, the looks
    (True, "a position that is heard", looks()),
    (True, "a position that is a little ahead", looks(0.08)),
    (True, "a track that is announced a little late", looks(0, 0.03)),
    (False, "a position that is ahead", looks(0.12)),
    (False, "a position that is behind", looks(-0.12)),
    (False, "a track that is announced late", looks(0, 0.08)),
    (False, "a track that is announced before it is heard", looks(0, -0.08)),
    (False, "a look less", looks()[:-1]),
)


RIGHT = (
    ("three files", JOINED, [DATA]),
    ("a pause", PAUSED, [part(0, MIDDLE) + GAP + part(MIDDLE)]),
    ("a seek", SOUGHT, [part(0, 3900) + GAP + part(2000)]),
    ("another successor", OTHER, [FIRST + GAP + THIRD]),
    ("another successor behind the old one's beginning", OTHER, [FIRST + SECOND[:FRAME * 20] + THIRD]),
    ("another volume", LOUDER, [part(0, 2000) + halved(part(2000))]),
    ("another card", MOVED, [part(0, MIDDLE), part(MIDDLE)]),
    ("a server that dies", DIES, [part(0, MIDDLE) + GAP + part(MIDDLE + 100)]),
)
WRONG = (
    ("a gap between files", JOINED, [FIRST + GAP + SECOND + THIRD]),
    ("a frame lost between files", JOINED, [FIRST[:-FRAME] + SECOND + THIRD]),
    ("a frame repeated between files", JOINED, [FIRST + FIRST[-FRAME:] + SECOND + THIRD]),
    ("a pause that loses a frame", PAUSED, [part(0, MIDDLE) + GAP + part(MIDDLE + 1)]),
    ("a pause that repeats a frame", PAUSED, [part(0, MIDDLE) + GAP + part(MIDDLE - 1)]),
    ("a frame of something else", PAUSED, [part(0, MIDDLE) + random.Random(1).randbytes(FRAME) + part(MIDDLE)]),
    ("an end that is missing", PAUSED, [part(0, MIDDLE)]),
    ("a seek to the next frame", SOUGHT, [part(0, 3900) + GAP + part(2001)]),
    ("a seek that was not heard", SOUGHT, [DATA]),
    ("a seek from elsewhere", SOUGHT, [part(0, 900) + part(2000)]),
    ("too much of the old successor", OTHER, [FIRST + SECOND[:FRAME * 2500] + THIRD]),
    ("the old successor", OTHER, [FIRST + SECOND]),
    ("a volume from the beginning", LOUDER, [halved(part(0, 2000)) + part(2000)]),
    ("a volume that loses a frame", LOUDER, [part(0, 2000) + halved(part(2001))]),
    ("a third volume", LOUDER, [part(0, 2000) + halved(halved(part(2000)))]),
    ("another card, a frame later", MOVED, [part(0, MIDDLE), part(MIDDLE + 1)]),
    ("another card, and the old one too", MOVED, [DATA, part(MIDDLE)]),
    ("a server that dies, and an echo", DIES, [part(0, MIDDLE) + GAP + part(MIDDLE - 1)]),
    ("a server that takes too much", DIES, [part(0, MIDDLE) + part(MIDDLE + RATE // 5)]),
)


def is_refused(run, recordings, reported=None):
    try:
        faults, _ = heard.JUDGES[run.what](run, reported or Reported(), [one + END for one in recordings])
        return bool(faults)
    except RuntimeError:
        return True


def faults():
    """(recordings that were refused as they must be, what was judged wrongly)"""
    found = [f"{name} is refused" for name, run, recordings in RIGHT if is_refused(run, recordings)]
    found += [f"{name} is taken for right" for name, run, recordings in WRONG if not is_refused(run, recordings)]
    if not is_refused(JOINED, [DATA], Reported(crossings=1)):
        found.append("a crossing less than announced is taken for right")
    for is_right, name, reported in POSITIONS:
        if is_refused(FOLLOWED, [bytes(FRAME * BEGIN) + DATA], Reported(looks=reported)) == is_right:
            found.append(f"{name} is {'refused' if is_right else 'taken for right'}")
    return len(WRONG) + sum(not is_right for is_right, _, _ in POSITIONS), found
