#pragma once
// Judging and printing rates and stream formats. Pure functions; the only places where a rate or a format becomes text.

#include <string>

#include "engine/PreparedAudio.h"
#include "platform/AudioStreamBasicDescription.h"

namespace tolvane {

/// Both above 0 and no further apart than max(reference × 0.00002, 1.0) Hz: 1 Hz below 50 kHz, above it 20 parts per
/// million, the error that crystal clocks are allowed.
[[nodiscard]] bool ratesAgree(double reference, double rate);

/// The rates agree (`a` is the reference) and every other field of the description is equal.
[[nodiscard]] bool formatsMatch(const AudioStreamBasicDescription& a, const AudioStreamBasicDescription& b);

/// "44.1 kHz", "48 kHz"; "an unknown rate" for 0, negative rates and not-a-number.
[[nodiscard]] std::string formatRate(double hertz);

/// "96 kHz, 24-bit integer, 2 ch"
[[nodiscard]] std::string formatDescription(const AudioStreamBasicDescription& format);

/// Whether the hardware's own format carries the track's source without loss. Integers of more than 24 bits are judged
/// lossy in any float, be it the hardware's or the 32-bit float that a decoder delivered; floats in any integer.
[[nodiscard]] bool physicalFormatCompatibility(const PreparedAudio& prepared,
                                               const AudioStreamBasicDescription& physicalFormat);

}  // namespace tolvane
