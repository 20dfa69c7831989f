"""What is played to the emulated DAC (dac/) and compared by the host: as plan.py has it for the loopback card."""

from plan import Case, Track, frames, title

RATES = (44100, 48000, 88200, 96000, 176400, 192000, 352800, 384000, 705600, 768000)

# Rows of the table: container, sample, and the format that the DAC, which has these three, should be set to.
FORMATS = (("WAV", "16", "S16_LE"), ("WAV", "24", "S24_3LE"), ("WAV", "32", "S32_LE"))


def table_cases():
    for row, (container, sample, layout) in enumerate(FORMATS):
        for rate in RATES:
            track = Track(container, sample, rate, frames(rate, 0.4, 101 + 2 * row))
            yield Case(f"{title(container, sample, rate)} is on the DAC's wire as it is", track, layout,
                       cell=((container, sample, layout), rate))


def container_cases():
    for container, sample, rate, layout in (("AIFF", "24", 96000, "S24_3LE"), ("AIFF", "32", 384000, "S32_LE"),
                                            ("FLAC", "16", 44100, "S32_LE"), ("FLAC", "24", 192000, "S32_LE")):
        yield Case(f"{title(container, sample, rate)} is on the DAC's wire exactly",
                   Track(container, sample, rate, frames(rate, 0.4, 109)), layout)


def narrow_cases():
    for container, sample, rate in (("WAV", "16", 44100), ("WAV", "24", 96000), ("FLAC", "24", 192000)):
        yield Case(f"{title(container, sample, rate)} is exact on a DAC whose 32-bit samples carry 24 bits",
                   Track(container, sample, rate, frames(rate, 0.4, 113)), "S32_LE")


# Each DAC, by the options of test_dac, and what is played to it.
DACS = (((), (*table_cases(), *container_cases())), (("--formats", "s24in32"), tuple(narrow_cases())))

# Compared inside the machine: files whose samples, after a header of 44 bytes, are the device's own layout.
FAST_TRACK = Track("WAV", "24", 48000, frames(48000, 4, 127))
MEASURED_TRACK = Track("WAV", "24", 96000, frames(96000, 2, 131))
LOUD_TRACK = Track("WAV", "32", 96000, frames(96000, 0.7, 137))
REFUSED_TRACK = Track("WAV", "16", 96000, frames(96000, 0.7, 139))
ALLOWED_TRACK = Track("WAV", "16", 48000, frames(48000, 0.7, 149))
PULLED_TRACK = Track("WAV", "16", 44100, frames(44100, 4, 151))
LOSSY_TRACK = Track("MP3", "16", 44100, frames(44100, 0.7, 157))
FLOAT_TRACK = Track("WAV", "float32", 48000, frames(48000, 0.7, 163))

MIXED_RATE_TRACKS = tuple(Track("WAV", "16", rate, frames(rate, 0.4, 167 + 2 * number))
                          for number, rate in enumerate((44100, 96000, 44100, 88200)))


def cases():
    return [case for _, played in DACS for case in played]


def all_tracks():
    return [*(case.track for case in cases()), FAST_TRACK, MEASURED_TRACK, LOUD_TRACK, REFUSED_TRACK, ALLOWED_TRACK,
            PULLED_TRACK, LOSSY_TRACK, FLOAT_TRACK, *MIXED_RATE_TRACKS]
