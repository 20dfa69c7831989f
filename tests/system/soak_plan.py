"""What the soak test plays, and what is done meanwhile, as values that host and machine share."""

from plan import Track

SECONDS = 1.0  # of a track
# Three stream formats: within one the tracks follow without a gap, from one to the next the output is opened anew.
KINDS = (("WAV", "16", 48000),) * 3 + (("FLAC", "16", 48000), ("FLAC", "24", 48000), ("FLAC", "16", 48000)) + (("WAV", "24", 44100),) * 2
ALBUM = tuple(Track(container, sample, rate, int(rate * SECONDS) + 41 + number)
              for number, (container, sample, rate) in enumerate(KINDS))
SPARE = Track("WAV", "16", 48000, int(48000 * SECONDS) + 7)
FOLDER = "/tmp/soak"
PULL = "pull"
# Around the ends of the tracks, one after the other: seconds from the end, and what is done. As many as are not a multiple
# of the album's, so that in time each is done at the end of each track.
ROUND = (("0.1", "exclusive"), ("-0.1", "pause"), ("0.05", "seek=0.3"), ("-0.05", "volume=0.5"), ("0.1", "shared"),
         ("-0.02", f"next={FOLDER}/{SPARE.file}"), ("0.02", "pause"), ("-0.2", "seek=0.7"), ("0.15", "volume=1"),
         ("0.1", f"say={PULL}"), ("0.1", "exclusive"), ("0.02", f"next={FOLDER}/{SPARE.file}"), ("-0.05", "pause"),
         ("0.1", f"say={PULL}"), ("0.05", "seek=0.5"), ("-0.1", "seek=0.1"), ("0.1", "shared"))
