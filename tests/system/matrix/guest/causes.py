"""What a verdict that is not the best must say: regular expressions; and rows of the matrix."""

NEVER = "$."  # a regular expression that no text matches
# The loopback card has no channel map: played to directly, it does not say where more than two channels go.
NO_MAP = {1: NEVER, 2: NEVER, 6: "does not state which loudspeakers", 8: "does not state which loudspeakers"}
TOO_FEW_BITS = "does not preserve the source format exactly"
ASSUMED = "assumes which loudspeakers"
REFUTED = "but its driver states FL, FR, FC, LFE, RL, RR"
LINKED = "is linked to another channel"
VIRTUAL = "It is a virtual device of the sound server"
PLUGIN = "of the system's sound library, which may alter samples"
CHANNELS = "mixes the track's channels|track's \\d+ channel|no loudspeaker|\\d ch, which does not preserve|" + NO_MAP[6]

# Rows that the cells and the two witnesses share.
ROW_PLUGIN = "a plug-in of alsa-lib that halves the level"
ROW_VIRTUAL = "a virtual device, with the device behind it at 40 %"
ROW_BITS = "24-bit track on a device with 16 bits"
ROW_CODEC = "24-bit track on an HD Audio codec with 16 bits"
