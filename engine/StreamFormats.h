#pragma once
// Compares rates and stream formats, and formats them as text for the user. Pure functions; the only place where such a
// text is made.

#include <string>

#include "engine/PreparedAudio.h"
#include "platform/AudioStreamBasicDescription.h"
#include "platform/BilingualText.h"

namespace tolvane {

/// Both are above 0 and at most max(reference × 0.00002, 1.0) Hz apart: 1 Hz below 50 kHz; above, 20 parts per million,
/// the tolerance of crystal clocks.
[[nodiscard]] bool ratesAgree(double reference, double rate);

/// The rates agree (`a` is the reference) and every other field of the description is equal.
[[nodiscard]] bool formatsMatch(const AudioStreamBasicDescription& a, const AudioStreamBasicDescription& b);

/// "44.1 kHz", "48 kHz"; "an unknown rate" for 0, negative rates and not-a-number.
[[nodiscard]] BilingualText formatRate(double hertz);

/// "96 kHz, 24-bit integer, 2 ch"
[[nodiscard]] BilingualText formatDescription(const AudioStreamBasicDescription& format);

/// Whether the physical format carries the track's source without loss. Integers of more than 24 bits count as lossy in
/// any float of the hardware, and in the 32-bit float of a decoder; floats count as lossy in any integer.
[[nodiscard]] bool physicalFormatCompatibility(const PreparedAudio& prepared,
                                               const AudioStreamBasicDescription& physicalFormat);

}  // namespace tolvane
