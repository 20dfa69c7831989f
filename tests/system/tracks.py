"""Makes the tracks and computes, from their samples alone, what a device of a given format must receive."""

import array
import functools
import math
import random
import struct
import subprocess
import sys

from plan import CHANNELS, SAMPLE_BYTES

EXTENSIBLE = 0xFFFE
CHANNEL_MASKS = {6: 0x3F, 8: 0x63F}
SUB_FORMAT_TAIL = bytes.fromhex("000000001000800000aa00389b71")
SHARED_FRAMES = 3_000_000
INTEGER_BITS = {"16": 16, "24": 24, "32": 32}
FLOAT_EXTREMES = (1.0, -1.0, 0.99999994, -0.99999994, 1.25, 1.401298464324817e-45, -1.1754943508222875e-38, -0.0, 2**-24)


SHARED_NOISE = 24  # bits; a file of 16 has the upper ones


@functools.lru_cache(maxsize=1)
def _shared_noise():
    return array.array("i", _integers(random.Random("shared"), SHARED_FRAMES * CHANNELS, SHARED_NOISE))


def _cut(track):
    """No frame is silent, in 16 bits either: a frame that would be has the least loud sample there is."""
    first, shift = track.cut_at * CHANNELS, SHARED_NOISE - INTEGER_BITS[track.sample]
    values = [value >> shift for value in _shared_noise()[first:first + track.frames * CHANNELS]]
    if len(values) != track.frames * CHANNELS:
        raise ValueError(f"the shared noise ends before {track.file} does")
    for at in range(0, len(values), CHANNELS):
        if not values[at] and not values[at + 1]:
            values[at] = 1
    return values


@functools.lru_cache(maxsize=4)
def samples(track):
    """Interleaved sample values: whole numbers, or floats that 32 bits hold. No frame is silent in all channels."""
    if track.cut_at is not None:
        return _cut(track)
    noise = random.Random(track.file)
    count = track.frames * track.channels
    if track.sample == "float32":
        values = [value / 2**23 for value in _integers(noise, count, 24)]
        extremes = FLOAT_EXTREMES
    else:
        bits = INTEGER_BITS[track.sample]
        values = _integers(noise, count, bits)
        if track.container == "FLAC":
            _add_tone(values, track.rate, bits)
        extremes = (2**(bits - 1) - 1, -2**(bits - 1), -1, 1, 0)
    # The first and the last frame stay noise, so that an end that is cut by one frame is seen.
    for index, value in enumerate(extremes * track.channels):
        if 4 + index < count - 4:
            values[4 + index] = value
    for frame in range(track.frames):
        if not any(values[frame * track.channels:(frame + 1) * track.channels]):
            values[frame * track.channels] = extremes[0]
    return values


def _integers(noise, count, bits):
    code = {16: "h", 24: "i", 32: "i"}[bits]
    raw = array.array(code, noise.randbytes(count * array.array(code).itemsize))
    if sys.byteorder == "big":
        raw.byteswap()
    return [value >> 8 for value in raw] if bits == 24 else raw.tolist()


def _add_tone(values, rate, bits):
    """Turns the first half into a tone with some noise: pure noise would leave the encoder nothing to predict."""
    loudness, step = 2**(bits - 2), 2 * math.pi * 997 / rate
    for index in range(len(values) // 2):
        values[index] = int(loudness * math.sin(step * (index // CHANNELS))) + (values[index] >> (bits - 6))


def expected(track, device_format, first_frame=0):
    """The bytes that a device of this format receives when nothing is altered on the way."""
    values = samples(track)[first_frame * track.channels:]
    order = "big" if device_format.endswith("BE") else "little"
    if device_format.startswith("FLOAT"):
        if track.sample != "float32":
            values = [value / 2**(INTEGER_BITS[track.sample] - 1) for value in values]
        return _packed("f", values, order)
    if track.sample == "float32":
        raise ValueError("a float track is expected on float devices only")
    source, device = INTEGER_BITS[track.sample], {"S16": 16, "S24": 24, "S32": 32}[device_format[:3]]
    if device < source:
        raise ValueError(f"{device_format} cannot hold {source} bits")
    values = [value << (device - source) for value in values]
    if SAMPLE_BYTES[device_format] == 3:
        return _packed_24(values, order)
    return _packed("h" if device == 16 else "i", values, order)


def _packed(code, values, order):
    packed = array.array(code, values)
    if sys.byteorder != order:
        packed.byteswap()
    return packed.tobytes()


def _packed_24(values, order):
    wide = _packed("i", values, "little")
    packed = bytearray(len(values) * 3)
    for byte in range(3):
        packed[byte::3] = wide[byte if order == "little" else 2 - byte::4]
    return bytes(packed)


def write(track, folder):
    path = folder / track.file
    if track.container == "WAV":
        path.write_bytes(_wav(track))
    elif track.container == "AIFF":
        path.write_bytes(_aiff(track))
    elif track.container == "MP3":
        subprocess.run(["lame", "--quiet", "-b", "192", "-", str(path)], input=_wav(track), check=True, timeout=60)
    else:
        _write_flac(track, path)


def _wav(track):
    form = {"16": "S16_LE", "24": "S24_3LE", "32": "S32_LE", "float32": "FLOAT_LE"}[track.sample]
    size, data = SAMPLE_BYTES[form], expected(track, form)
    tag, frame = 3 if track.sample == "float32" else 1, size * track.channels
    head = struct.pack("<HHIIHH", tag if track.channels == CHANNELS else EXTENSIBLE, track.channels, track.rate,
                       track.rate * frame, frame, size * 8)
    if track.channels != CHANNELS:
        head += struct.pack("<HHIH", 22, size * 8, CHANNEL_MASKS[track.channels], tag) + SUB_FORMAT_TAIL
    chunks = _chunk("<", b"fmt ", head) + _chunk("<", b"data", data)
    return b"RIFF" + struct.pack("<I", 4 + len(chunks)) + b"WAVE" + chunks


def _aiff(track):
    form = {"16": "S16_BE", "24": "S24_3BE", "32": "S32_BE", "float32": "FLOAT_BE"}[track.sample]
    size, data = SAMPLE_BYTES[form], expected(track, form)
    common = struct.pack(">hIh", track.channels, track.frames, size * 8) + _extended(track.rate)
    sound = _chunk(">", b"SSND", struct.pack(">II", 0, 0) + data)
    if track.sample == "float32":
        common += b"fl32" + b"\x00\x00"
        chunks = _chunk(">", b"FVER", struct.pack(">I", 0xA2805140)) + _chunk(">", b"COMM", common) + sound
        return b"FORM" + struct.pack(">I", 4 + len(chunks)) + b"AIFC" + chunks
    chunks = _chunk(">", b"COMM", common) + sound
    return b"FORM" + struct.pack(">I", 4 + len(chunks)) + b"AIFF" + chunks


def _chunk(order, name, body):
    return name + struct.pack(order + "I", len(body)) + body + b"\x00" * (len(body) % 2)


def _extended(rate):
    """A whole number as the 80-bit float that AIFF writes rates in."""
    exponent = rate.bit_length() - 1
    return struct.pack(">HQ", 16383 + exponent, rate << (63 - exponent))


def _write_flac(track, path):
    form = {"16": "S16_LE", "24": "S24_3LE"}[track.sample]
    subprocess.run(["flac", "--silent", "--force", "--force-raw-format", "--endian=little", "--sign=signed",
                    f"--channels={track.channels}", f"--bps={track.sample}", f"--sample-rate={track.rate}",
                    "-o", str(path), "-"], input=expected(track, form), check=True, timeout=60)
