"""What is played and captured, as values that the host (which makes and compares) and the machine (which plays) share."""

from dataclasses import dataclass, field

RATES = (44100, 48000, 88200, 96000, 176400, 192000)

# Container and sample, as the table's rows name them.
FORMATS = (("WAV", "16"), ("WAV", "24"), ("WAV", "32"), ("WAV", "float32"),
           ("AIFF", "16"), ("AIFF", "24"), ("AIFF", "32"), ("AIFF", "float32"),
           ("FLAC", "16"), ("FLAC", "24"))

# The device format that each source should choose where the device has all of them: its own layout.
OWN_LAYOUT = {("WAV", "16"): "S16_LE", ("WAV", "24"): "S24_3LE", ("WAV", "32"): "S32_LE", ("WAV", "float32"): "FLOAT_LE",
              ("AIFF", "16"): "S16_BE", ("AIFF", "24"): "S24_3BE", ("AIFF", "32"): "S32_BE",
              ("AIFF", "float32"): "FLOAT_BE", ("FLAC", "16"): "FLOAT_LE", ("FLAC", "24"): "FLOAT_LE"}

SAMPLE_BYTES = {"S16_LE": 2, "S16_BE": 2, "S24_3LE": 3, "S24_3BE": 3, "S24_LE": 4, "S32_LE": 4, "S32_BE": 4,
                "FLOAT_LE": 4, "FLOAT_BE": 4}
CHANNELS = 2
MP3_LIMIT = 48000  # Hz: the highest rate of MPEG-1 layer III


@dataclass(frozen=True)
class Track:
    """One file of noise; its samples follow from its name alone, or are cut from a noise that several files share."""

    container: str
    sample: str
    rate: int
    frames: int
    channels: int = CHANNELS  # more than two: WAV only, in WAVE's order, with the mask that states it
    cut_at: int | None = None  # the frame of the shared noise that is the first of this file

    @property
    def file(self):
        channels = f"-{self.channels}ch" if self.channels != CHANNELS else ""
        cut = f"-at-{self.cut_at}" if self.cut_at is not None else ""
        return f"{self.container}-{self.sample}-{self.rate}-{self.frames}{channels}{cut}.{self.container.lower()}".lower()


@dataclass(frozen=True)
class Case:
    """One play of a track to the loopback card, captured on the card's other side in the format given."""

    name: str
    track: Track
    capture: str
    options: tuple = ()
    pauses: bool = False
    first_frame: int = 0
    then: tuple = ()  # further tracks of the same run
    joins: bool = True  # they follow without a gap; else with silence in between
    verdict: str = "BIT-PERFECT"  # the label that the player must show while it plays
    cell: tuple = field(default=None)  # row and column of the table

    @property
    def tracks(self):
        return (self.track, *self.then)


def frames(rate, seconds, odd):
    """About so many seconds, and a multiple of nothing that a driver counts in."""
    return int(rate * seconds) // 2 * 2 + odd


def title(container, sample, rate):
    return f"{container} {sample} at {rate / 1000:g} kHz"


def table_cases():
    for row, (container, sample) in enumerate(FORMATS):
        for column, rate in enumerate(RATES):
            track = Track(container, sample, rate, frames(rate, 0.6, 17 + 2 * row))
            yield Case(f"{title(container, sample, rate)} arrives as it is", track, OWN_LAYOUT[container, sample],
                       cell=((container, sample), rate))


def widening_cases():
    for container, sample, rate, capture in (
            ("WAV", "16", 44100, "S32_LE"), ("WAV", "16", 48000, "S24_3LE"), ("WAV", "16", 88200, "S24_LE"),
            ("WAV", "24", 96000, "S32_LE"), ("WAV", "24", 44100, "S24_LE"), ("WAV", "24", 48000, "S32_BE"),
            ("AIFF", "16", 192000, "S32_LE"), ("AIFF", "24", 48000, "S32_LE"), ("AIFF", "24", 96000, "S24_3LE"),
            ("FLAC", "16", 44100, "S32_LE"), ("FLAC", "16", 48000, "S16_LE"),
            ("FLAC", "24", 192000, "S32_LE"), ("FLAC", "24", 96000, "S24_3LE"), ("FLAC", "24", 44100, "S24_LE")):
        yield Case(f"{title(container, sample, rate)} arrives exactly on a device that has only {capture}",
                   Track(container, sample, rate, frames(rate, 0.5, 29)), capture)


def pause_cases():
    for container, sample, rate, at, length in (("WAV", "16", 44100, 0.7, 0.5), ("WAV", "24", 96000, 0.31, 1.2),
                                                ("AIFF", "32", 192000, 0.9, 0.3), ("FLAC", "24", 48000, 0.05, 0.4)):
        yield Case(f"{title(container, sample, rate)} paused after {at} s for {length} s loses and repeats no frame",
                   Track(container, sample, rate, frames(rate, 1.6, 31)), OWN_LAYOUT[container, sample],
                   ("--pause-at", str(at), "--pause-for", str(length)), pauses=True)


def seek_cases():
    # 0.33337 s × 44.1 kHz = 14701.6…: what follows the point is cut off, not rounded.
    for container, sample, rate, start in (("WAV", "16", 44100, 0.33337), ("AIFF", "24", 96000, 0.70001),
                                           ("FLAC", "16", 192000, 0.123457), ("WAV", "float32", 88200, 0.5)):
        first = int(start * rate)
        yield Case(f"{title(container, sample, rate)} from {start} s starts exactly at frame {first}, and nothing before it is heard",
                   Track(container, sample, rate, frames(rate, 1.1, 37)), OWN_LAYOUT[container, sample],
                   ("--from", str(start)), first_frame=first)


def end_cases():
    for container, sample, rate, length, what in (
            ("WAV", "16", 44100, 1, "a track of one frame"), ("FLAC", "24", 96000, 1, "a track of one frame"),
            ("WAV", "24", 192000, 2, "a track of two frames"), ("AIFF", "16", 48000, 777, "a track shorter than the ring"),
            ("WAV", "32", 88200, 2049, "a track shorter than the ring"),
            ("WAV", "16", 44100, 154350 + 1, "a track of 3.5 seconds")):
        yield Case(f"{title(container, sample, rate)}: {what} is not cut",
                   Track(container, sample, rate, length), OWN_LAYOUT[container, sample])


def cuts(kinds, rate, seconds=0.45):
    """Tracks of one rate that follow one another, each of another length."""
    return tuple(Track(container, sample, rate, frames(rate, seconds, 41 + 2 * number))
                 for number, (container, sample) in enumerate(kinds))


def sequence_cases():
    for container, sample, rate in (("WAV", "16", 44100), ("WAV", "24", 48000), ("WAV", "32", 192000), ("AIFF", "24", 96000),
                                    ("AIFF", "16", 44100), ("FLAC", "16", 44100), ("FLAC", "24", 96000)):
        first, *others = cuts([(container, sample)] * 3, rate)
        yield Case(f"Three tracks, {title(container, sample, rate)}, arrive as one without a gap", first,
                   OWN_LAYOUT[container, sample], then=tuple(others))
    first, *others = cuts([("FLAC", "16"), ("FLAC", "24"), ("FLAC", "16")], 48000)
    yield Case("Tracks of 16 and of 24 bits, FLAC, arrive as one without a gap on a device that has both", first, "S32_LE",
               then=tuple(others))
    for at in (0.3, 0.42, 0.46, 0.5, 0.6):  # the first track ends after 0.45 s
        first, *others = cuts([("WAV", "16")] * 2, 44100)
        yield Case(f"A pause after {at} s, around the end of the first of two tracks, loses and repeats no frame", first,
                   "S16_LE", ("--pause-at", str(at), "--pause-for", "0.4"), pauses=True, then=tuple(others))
    first, *others = cuts([("WAV", "16"), ("WAV", "24"), ("FLAC", "16")], 48000)
    yield Case("Tracks of several layouts at one rate all arrive whole", first, "S32_LE", then=tuple(others), joins=False)


def surround_cases():
    # The loopback card has no channel map: the samples must arrive in the track's order, and must not be vouched for.
    for sample, rate, channels in (("16", 48000, 6), ("24", 96000, 6), ("16", 44100, 8), ("32", 48000, 8)):
        yield Case(f"{title('WAV', sample, rate)} with {channels} channels arrives in order on a card without a channel map",
                   Track("WAV", sample, rate, frames(rate, 0.4, 47), channels), OWN_LAYOUT["WAV", sample],
                   verdict="DIRECT PCM")


def loopback_cases():
    return [*table_cases(), *widening_cases(), *pause_cases(), *seek_cases(), *end_cases(), *sequence_cases(),
            *surround_cases()]


# What the other cards are given: 48 kHz, 16 bit, the one format that both emulated cards take.
USB_TRACK = Track("WAV", "16", 48000, frames(48000, 1.2, 53))
HDA_TRACK = Track("WAV", "16", 48000, frames(48000, 1.2, 59))
DUMMY_TRACK = Track("AIFF", "16", 44100, frames(44100, 1.2, 61))
PAUSED_TRACK = Track("WAV", "16", 48000, frames(48000, 2, 71))
LONG_TRACK = Track("WAV", "16", 48000, frames(48000, 20, 67))


def all_tracks():
    cases = [track for case in loopback_cases() for track in case.tracks]
    return sorted({*cases, USB_TRACK, HDA_TRACK, DUMMY_TRACK, PAUSED_TRACK, LONG_TRACK}, key=lambda track: track.file)


def signed_tracks():
    """A track of every format, depth and rate, whose signature is shown through the sound server."""
    yield from (Track(container, sample, rate, frames(rate, 0.3, 73)) for container, sample in FORMATS for rate in RATES)
    yield from (Track("MP3", "16", rate, frames(rate, 0.3, 79)) for rate in RATES if rate <= MP3_LIMIT)


# Tests whose outcome the host completes from what QEMU wrote of the card.
USB_PLAYS = "The USB card receives every sample as it is"
HDA_PLAYS = "The HDA card receives every sample as it is"
USB_PLAYS_AGAIN = "A USB card that is plugged in again plays under its old name, every sample as it is"
USB_PAUSES, HDA_PAUSES = (f"A pause on the {card} card loses and repeats no frame" for card in ("USB", "HDA"))
# Test → QEMU's recording, the track in it, and whether it may have one silence inside.
RECEIVED = {USB_PLAYS: ("usb.wav", USB_TRACK, False), HDA_PLAYS: ("hda.wav", HDA_TRACK, False),
            USB_PAUSES: ("usb.wav", PAUSED_TRACK, True), HDA_PAUSES: ("hda.wav", PAUSED_TRACK, True),
            USB_PLAYS_AGAIN: ("usb-again.wav", USB_TRACK, False)}
