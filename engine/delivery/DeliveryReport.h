#pragma once
// What is known of the samples that were handed to the device in one pass of a track. A plain value.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/AudioFileServices.h"
#include "platform/FileURL.h"

namespace tolvane {

struct DeliveryReport {
  enum class Result : std::uint8_t {
    checking,  ///< the pass is not over; all frames so far agree
    matches,   ///< all frames of the track, from the first to the last
    damaged,   ///< all frames are those that the decoder made, and they do not match the encoder's signature
    differs,   ///< some frame is another one than the track's
    unknown    ///< it cannot be said of this pass
  };
  /// What the frames are compared with.
  enum class Reference : std::uint8_t {
    signature,  ///< the encoder's, stored in the file; and each frame with what the decoder made
    fileData,   ///< the sample data of the file
    decoded     ///< what the decoder made
  };
  /// Why it cannot be said, or why samples differ that must.
  enum class Reason : std::uint8_t {
    none,
    notFromTheBeginning,
    seek,
    ended,     ///< before the last frame
    levels,    ///< volume or balance was not neutral
    computed,  ///< a rate conversion or a mix of channels makes new samples
    channels,  ///< it is not known which channel of the device is which one of the track
    layout,    ///< samples of this kind are not read here
    missing    ///< the computer was too busy to look at every frame
  };

  FileURL url{};  ///< of the track
  Result result = Result::checking;
  Reference reference = Reference::fileData;
  Reason reason = Reason::none;
  std::int64_t frames = 0;  ///< of the track, from its beginning, that were handed over and compared
  std::int64_t totalFrames = 0;
  std::optional<std::int64_t> firstDifference{};  ///< frame of the track
  /// The samples are floating point and the device's are not: the nearest ones count as the same. Their bits; 0: none
  /// were rounded.
  std::uint32_t roundedToBits = 0;
  std::optional<SampleSignature> delivered{};  ///< of `frames` frames; of integer sources
  std::optional<SampleSignature> stored{};     ///< the encoder's

  bool operator==(const DeliveryReport&) const = default;
};

/// "matches", …: the names of the cases.
[[nodiscard]] std::string_view resultName(DeliveryReport::Result result);
[[nodiscard]] std::string_view reasonName(DeliveryReport::Reason reason);

/// "12,345,678". REQUIRES: not negative.
[[nodiscard]] std::string groupedDigits(std::int64_t number);

/// One or two sentences for a listener.
[[nodiscard]] std::string deliverySentence(const DeliveryReport& report);

}  // namespace tolvane
