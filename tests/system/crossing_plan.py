"""What is played across the ends of tracks, and what is done there, as values that host and machine share."""

from dataclasses import dataclass

from plan import Track

# Seconds from the end of a track at which something is done: before it, or within the next one.
MOMENTS = (-0.3, -0.15, -0.02, 0.02, 0.15, 0.3)
FEWER_MOMENTS = (-0.1, 0.02)  # for what takes the machine long
DEATHS = (-0.3, -0.1, 0.02, 0.1, 0.3)
LOOKS = (-0.3, -0.2, -0.1, -0.02, 0.02, 0.1, 0.2, 0.3)  # at the player's position
ALONE, SHARED, EXCLUSIVE = "ALSA alone", "shared", "exclusive"
WAYS = (ALONE, SHARED, EXCLUSIVE)
# Groups that follow each other differ in their stream format, which ends the recording's unbroken stretch.
GROUPS = ((("WAV", "16"),) * 3, (("FLAC", "16"),) * 3, (("WAV", "24"),) * 3, (("FLAC", "24"),) * 3, (("AIFF", "16"),) * 3,
          (("FLAC", "16"), ("FLAC", "24"), ("FLAC", "16")))
DEVICES = ("platform-snd_aloop.0:0", "platform-snd_aloop.1:0")
LOUDNESS = 0.5  # the volume that is chosen, and left again
BACK = 0.8  # seconds before the end to which a seek before the crossing goes
FORWARD = 0.6  # seconds into the track to which one behind it goes
SEQUENCE_SECONDS, ACTION_SECONDS = 1.5, 1.0


@dataclass(frozen=True)
class Run:
    """One run of the player."""

    title: str
    what: str  # joined, position, pause, seek, volume, next, device, exclusive or dies
    rate: int
    groups: tuple  # of tracks that follow one another without a gap
    actions: tuple = ()  # (number of the file, seconds from its end, the action)
    spare: tuple = ()  # files that are named to follow instead

    @property
    def tracks(self):
        return tuple(track for group in self.groups for track in group)

    @property
    def options(self):
        return [word for number, seconds, action in self.actions for word in ("--at", f"{number}:{seconds:g}:{action}")]

    @property
    def devices(self):
        return DEVICES if self.what == "device" else DEVICES[:1]


def cuts(kinds, rate, seconds, first):
    """Files cut from the shared noise, one behind the other; each of another length, a multiple of nothing."""
    made = []
    for number, (container, sample) in enumerate(kinds):
        made.append(Track(container, sample, rate, int(rate * seconds) // 2 * 2 + 41 + 2 * number, cut_at=first))
        first += made[-1].frames
    return tuple(made)


def joined(rate):
    made, first = [], 0
    for group in GROUPS:
        made.append(cuts(group, rate, SEQUENCE_SECONDS, first))
        first += sum(track.frames for track in made[-1])
    return Run(f"{len(GROUPS)} times 3 files of one noise at {rate / 1000:g} kHz, each time one unbroken recording",
               "joined", rate, tuple(made))


def acted(title, what, rate, action, moments=MOMENTS, spares=False):
    """An album with the action at the end of each track but the last, every time at another moment. `spares`: with a file
    for each action, and a track more, so that there is a successor behind each crossing too."""
    count = len(moments) + (2 if spares else 1)
    album = cuts([("WAV", "24")] * count, rate, ACTION_SECONDS, 0)
    behind = sum(track.frames for track in album)
    spare = cuts([("WAV", "24")] * len(moments), rate, ACTION_SECONDS, behind) if spares else ()
    actions = tuple((number, moment, action(number, moment, album, spare)) for number, moment in enumerate(moments, 1))
    at = ", ".join(f"{1000 * moment:+g}" for moment in moments)
    return Run(f"{title} at {at} ms", what, rate, (album,), actions, spare)


def looked_at():
    album = cuts([("WAV", "24")] * 3, 48000, ACTION_SECONDS, 0)
    actions = tuple((number, moment, "say=look") for number in (1, 2) for moment in LOOKS)
    return Run("the position is what the card has played", "position", 48000, (album,), actions)


def seek(number, moment, album, _):
    seconds = album[number - 1].frames / album[0].rate - BACK if moment < 0 else FORWARD
    return f"seek={seconds:.6f}"


def runs(way):
    """What is played in this way."""
    found = [] if way == ALONE else [joined(44100)]
    found.append(looked_at())
    # The card's path is the same with a server and without one.
    moments = FEWER_MOMENTS if way == EXCLUSIVE else MOMENTS
    found += [
        acted("a pause", "pause", 48000, lambda *_: "pause", moments),
        acted("a seek", "seek", 48000, seek, moments),
        acted("another successor", "next", 48000,
              lambda number, _, __, spare: f"next=/tmp/tracks/{spare[number - 1].file}", moments, spares=True),
        acted("another volume", "volume", 48000, lambda number, *_: f"volume={LOUDNESS if number % 2 else 1:g}", moments),
        acted("another device", "device", 48000, lambda number, *_: f"device={DEVICES[number % 2]}", moments),
    ]
    if way == SHARED:
        found += [acted("Exclusive Access on and off", "exclusive", 48000,
                        lambda number, *_: "exclusive" if number % 2 else "shared", FEWER_MOMENTS)]
        found += [acted("the server is killed and comes back", "dies", 48000, lambda *_: "say=now", [moment])
                  for moment in DEATHS]
    return found


def all_tracks():
    found = {track for way in WAYS for run in runs(way) for track in (*run.tracks, *run.spare)}
    return sorted(found, key=lambda track: track.file)
