"""Which stretches of one noise a recording holds: what of it was lost, and what was heard again. Frames are 8 bytes, two
channels of 32 bits; silence between them does not count. Without a loop over frames where all is well: the machine, which
runs this too, is slow."""

import array


def without_silence(data):
    frames = array.array("Q", data[:len(data) // 8 * 8])
    return array.array("Q", filter(None, frames)).tobytes() + data[len(frames) * 8:]


def wide(data, width):
    """Samples of so many bytes as 32-bit ones."""
    out = bytearray(len(data) // width * 4)
    for byte in range(width):
        out[4 - width + byte::4] = data[byte::width]
    return bytes(out)


def difference(wanted, captured):
    heard = without_silence(captured)
    if heard == wanted:
        return []
    same = next((at for at in range(0, min(len(heard), len(wanted)), 8) if heard[at:at + 8] != wanted[at:at + 8]),
                min(len(heard), len(wanted)))
    return [f"frame {same // 8} of {len(wanted) // 8} differs; {len(heard) // 8} came"]


def common(a, at, b, start):
    """How many bytes are the same from there on."""
    length = min(len(a) - at, len(b) - start)
    same = 0
    while length > same:
        step = max(1, (length - same) // 2)
        if a[at + same:at + same + step] == b[start + same:start + same + step]:
            same += step
        elif step == 1:
            break
        else:
            length = same + step
    return same


def pieces(wanted, captured):
    """The stretches of the track that were heard, in their order: (first frame, frames). Raises for what is no frame of it."""
    heard, found, at = without_silence(captured), [], 0
    while at < len(heard):
        first = wanted.find(heard[at:at + 8])
        while first >= 0 and first % 8:
            first = wanted.find(heard[at:at + 8], first + 1)
        if first < 0:
            raise RuntimeError(f"frame {at // 8} of what was heard is none of the track's")
        length = common(heard, at, wanted, first) // 8
        found.append((first // 8, length))
        at += 8 * length
    return found


def losses(wanted, captured):
    """(frames that were not heard, frames that were heard again)"""
    lost = again = end = 0
    for first, length in pieces(wanted, captured):
        lost += max(0, first - end)
        again += max(0, end - first)
        end = first + length
    return lost + len(wanted) // 8 - end, again
