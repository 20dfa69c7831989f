"""Finds a track in a capture and describes in words where the two first differ. Knows bytes only, no product code."""

SILENCE = b"\x00"


def identical(expected, captured, frame_bytes):
    """None when the capture is silence, the expected frames once and unbroken, silence; else the first difference."""
    start = _start(captured, frame_bytes)
    if start is None:
        return "nothing was captured but silence"
    end = start + len(expected)
    if captured[start:end] == expected:
        rest = captured[end:]
        if not rest:
            return "the capture ends with the track: what follows its end is not known"
        return None if _silent(rest) else _after_the_end(rest, frame_bytes)
    return _difference(expected, captured[start:], frame_bytes)


def identical_but_for_a_gap(expected, captured, frame_bytes, least_gap):
    """As identical(), with exactly one gap of silence, of that many frames or more, somewhere inside the track."""
    start = _start(captured, frame_bytes)
    if start is None:
        return "nothing was captured but silence"
    captured = captured[start:]
    before = _common(expected, captured, frame_bytes)
    if before == len(expected):
        return "there is no silence inside the track"
    gap = _start(captured[before:], frame_bytes)
    if gap is None:
        return f"nothing follows the pause: the track stops after frame {before // frame_bytes}"
    if gap < least_gap * frame_bytes:
        return f"{_difference(expected, captured, frame_bytes)}; silence of {gap // frame_bytes} frames there"
    return _prefixed(f"after the pause at frame {before // frame_bytes}: ",
                     identical(expected[before:], captured[before + gap:], frame_bytes))


def one_after_another(tracks, captured, frame_bytes):
    """As identical(), for several tracks with silence between them."""
    for number, expected in enumerate(tracks, 1):
        start = _start(captured, frame_bytes)
        if start is None:
            return f"track {number} was not captured"
        if captured[start:start + len(expected)] != expected:
            return f"track {number}: {_difference(expected, captured[start:], frame_bytes)}"
        captured = captured[start + len(expected):]
    return None if captured and _silent(captured) else "the last track is not followed by silence alone"


def held(expected, recording, frame_bytes, may_pause=False):
    """None when a recording of several tracks has this one whole and unbroken, or with one silence inside it."""
    at = _aligned(recording, expected[:4 * frame_bytes], frame_bytes)
    if at < 0:
        return "the recording does not hold the track's first frames"
    recording = recording[at:]
    if recording.startswith(expected):
        return None
    if not may_pause:
        return _difference(expected, recording, frame_bytes)
    before = _common(expected, recording, frame_bytes)
    gap = _start(recording[before:], frame_bytes) or 0
    if recording.startswith(expected[before:], before + gap):
        return None
    return _difference(expected[before:] if gap else expected, recording[before + gap:] if gap else recording, frame_bytes)


def _prefixed(prefix, text):
    return text and prefix + text


def _silent(data):
    return not data.strip(SILENCE)


def _start(captured, frame_bytes):
    """Offset of the first frame that is not silent."""
    quiet = len(captured) - len(captured.lstrip(SILENCE))
    return None if quiet == len(captured) else quiet // frame_bytes * frame_bytes


def _common(one, other, frame_bytes):
    """Bytes of whole frames that two texts have in common from their start; halving keeps it quick."""
    low, high = 0, min(len(one), len(other)) // frame_bytes
    while low < high:
        middle = (low + high + 1) // 2
        if one[:middle * frame_bytes] == other[:middle * frame_bytes]:
            low = middle
        else:
            high = middle - 1
    return low * frame_bytes


def _after_the_end(rest, frame_bytes):
    start = _start(rest, frame_bytes)
    return f"{_count(start // frame_bytes)} after the end something else was played"


def _count(number):
    return f"{number} frame" if number == 1 else f"{number} frames"


def _difference(expected, captured, frame_bytes):
    """The first difference of a capture whose first frame should be the track's first."""
    at = _common(expected, captured, frame_bytes)
    frame, tail, wanted = at // frame_bytes, captured[at:], expected[at:]
    probe = 4 * frame_bytes  # four frames of noise do not come about by chance
    if at == 0:
        first = _aligned(expected, captured[:probe], frame_bytes)
        if first > 0:
            return f"{_count(first // frame_bytes)} of the beginning are missing"
        early = _aligned(captured, expected[:probe], frame_bytes)
        if early > 0:
            return f"{_count(early // frame_bytes)} too many before frame 0"
        return "frame 0 differs: " + _values(wanted, tail, frame_bytes)
    if _silent(tail):
        return f"{_count(len(wanted) // frame_bytes)} of the end are missing"
    quiet = _start(tail, frame_bytes)
    if quiet and tail[quiet:quiet + frame_bytes] == wanted[:frame_bytes]:
        return f"{_count(quiet // frame_bytes)} of silence before frame {frame}"
    if quiet and tail[quiet:quiet + probe] == wanted[quiet:quiet + probe]:
        return f"{_count(quiet // frame_bytes)} are silent from frame {frame} on"
    skipped = _aligned(wanted, tail[:probe], frame_bytes)
    if skipped > 0:
        return f"{_count(skipped // frame_bytes)} lost at frame {frame}"
    repeated = _aligned(tail, wanted[:probe], frame_bytes)
    if repeated > 0:
        return f"{_count(repeated // frame_bytes)} too many before frame {frame}"
    return f"frame {frame} differs: {_values(wanted, tail, frame_bytes)}"


def _aligned(data, piece, frame_bytes):
    """Offset of the piece on a frame's edge, or −1."""
    at = data.find(piece) if piece else -1
    while at >= 0 and at % frame_bytes:
        at = data.find(piece, at + 1)
    return at


def _values(wanted, got, frame_bytes):
    return f"{got[:frame_bytes].hex()} instead of {wanted[:frame_bytes].hex()}"
