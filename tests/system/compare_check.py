"""Shows, at the start of every run, that the comparison sees each fault that a player can make."""

import random

import compare

FRAME = 6
TRACK = bytes(byte or 1 for byte in random.Random("comparison").randbytes(FRAME * 5000))
QUIET = bytes(FRAME * 700)


def cut(first, end):
    """The track without these frames."""
    return TRACK[:first * FRAME] + TRACK[end * FRAME:]


def twice(first, end):
    """The track with these frames once more."""
    return TRACK[:end * FRAME] + TRACK[first * FRAME:]


def changed(frame):
    """The track with the lowest bit of one sample turned."""
    at = frame * FRAME + 3
    return TRACK[:at] + bytes([TRACK[at] ^ 1]) + TRACK[at + 1:]


def split(frame):
    return TRACK[:frame * FRAME] + QUIET + TRACK[frame * FRAME:]


WHOLE = (("the track as it is", TRACK, None),
         ("a changed bit", changed(2345), "frame 2345 differs"),
         ("a changed bit in the first frame", changed(0), "frame 0 differs"),
         ("a changed bit in the last frame", changed(4999), "frame 4999 differs"),
         ("a lost frame", cut(1234, 1235), "1 frame lost at frame 1234"),
         ("lost frames", cut(1234, 1300), "66 frames lost at frame 1234"),
         ("a repeated frame", twice(3000, 3001), "1 frame too many before frame 3001"),
         ("repeated frames", twice(3000, 3256), "256 frames too many before frame 3256"),
         ("a cut start", cut(0, 7), "7 frames of the beginning are missing"),
         ("a cut end", cut(4999, 5000), "1 frame of the end are missing"),
         ("an end played twice", twice(4990, 5000), "0 frames after the end something else"),
         ("a gap", split(2500), "700 frames of silence before frame 2500"),
         ("frames turned silent", TRACK[:2500 * FRAME] + bytes(9 * FRAME) + TRACK[2509 * FRAME:],
          "9 frames are silent from frame 2500"),
         ("swapped bytes", TRACK[1:] + TRACK[:1], "frame 0 differs"),
         ("silence", b"", "nothing was captured"))

PAUSED = (("a pause", split(2500), None),
          ("no pause", TRACK, "there is no silence"),
          ("a frame lost at the pause", TRACK[:2500 * FRAME] + QUIET + TRACK[2501 * FRAME:], "1 frame"),
          ("a frame repeated at the pause", TRACK[:2500 * FRAME] + QUIET + TRACK[2499 * FRAME:], "after the pause"),
          ("a frame lost elsewhere", TRACK[:2500 * FRAME] + QUIET + TRACK[2500 * FRAME:4000 * FRAME] + TRACK[4001 * FRAME:],
           "1 frame lost at frame 1500"),
          ("a second gap", split(2500)[:-FRAME] + QUIET + TRACK[-FRAME:], "700 frames of silence"),
          ("nothing after the pause", TRACK[:2500 * FRAME], "nothing follows"))

SEEK = 2000  # frames
SOUGHT = (("a start at its frame", TRACK[SEEK * FRAME:], None),
          ("the track's beginning before it", TRACK[:90 * FRAME] + QUIET + TRACK[SEEK * FRAME:], "790 frames too many"),
          ("a start one frame too far", TRACK[(SEEK + 1) * FRAME:], "1 frame of the beginning are missing"),
          ("a start one frame short", TRACK[(SEEK - 1) * FRAME:], "1 frame too many"),
          ("a start at the beginning", TRACK, "2000 frames too many"))

HELD = (("the track between others", QUIET + TRACK[60:600] + TRACK + TRACK[:600], None),
        ("the track with a pause", split(2500) + TRACK[:600], None),
        ("a lost frame", cut(1234, 1235), "1 frame lost at frame 1234"),
        ("a frame lost at the pause", TRACK[:2500 * FRAME] + QUIET + TRACK[2501 * FRAME:], "1 frame of the beginning"),
        ("two pauses", split(2500)[:-FRAME] + QUIET + TRACK[-FRAME:], "of silence"),
        ("a cut end", cut(4999, 5000), "1 frame of the end are missing"),
        ("another track", TRACK[FRAME:], "does not hold"))


def faults():
    """What the comparison got wrong; nothing when it can be trusted."""
    found = []
    for rows, judge in ((WHOLE, lambda data: compare.identical(TRACK, data, FRAME)),
                        (PAUSED, lambda data: compare.identical_but_for_a_gap(TRACK, data, FRAME, 600)),
                        (SOUGHT, lambda data: compare.identical(TRACK[SEEK * FRAME:], data, FRAME)),
                        (HELD, lambda data: compare.held(TRACK, data, FRAME, may_pause=True))):
        for name, played, wanted in rows:
            verdict = judge(QUIET + played + QUIET)
            if (verdict is None) != (wanted is None) or (wanted and wanted not in verdict):
                found.append(f"{name}: says {verdict!r}, should say {wanted!r}")
    for name, played, wanted in (("both tracks", TRACK + QUIET + TRACK[:600], None),
                                 ("one track", TRACK, "track 2 was not captured")):
        verdict = compare.one_after_another([TRACK, TRACK[:600]], played + QUIET, FRAME)
        if (verdict is None) != (wanted is None) or (wanted and wanted not in verdict):
            found.append(f"{name}: says {verdict!r}, should say {wanted!r}")
    return found
