#pragma once
// What is known about the samples handed to the device in one pass of a track. A plain value.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/AudioFileServices.h"
#include "platform/BilingualText.h"
#include "platform/FileURL.h"

namespace tolvane {

struct DeliveryReport {
  enum class Result : std::uint8_t {
    checking,  ///< the pass is not over; all frames so far agree
    matches,   ///< all frames of the track, from the first to the last
    damaged,   ///< all frames are as decoded, but they do not match the encoder's signature
    differs,   ///< at least one frame differs from the track's
    unknown    ///< this pass cannot be judged
  };
  /// What the frames are compared with.
  enum class Reference : std::uint8_t {
    signature,  ///< the encoder's, stored in the file; in addition, each frame with the decoder's output
    fileData,   ///< the file's sample data
    decoded     ///< the decoder's output
  };
  /// Why a pass cannot be judged, or why its samples differ necessarily.
  enum class Reason : std::uint8_t {
    none,
    notFromTheBeginning,
    seek,
    ended,     ///< before the last frame
    levels,    ///< volume or balance was not neutral
    computed,  ///< a rate conversion or a channel mix computes new samples
    channels,  ///< the order of the device's channels is unknown
    layout,    ///< samples of this layout cannot be read here
    missing    ///< the computer was too busy to check every frame
  };

  FileURL url{};  ///< of the track
  Result result = Result::checking;
  Reference reference = Reference::fileData;
  Reason reason = Reason::none;
  std::int64_t frames = 0;  ///< of the track, from its beginning, that were handed to the device and compared
  std::int64_t totalFrames = 0;
  std::optional<std::int64_t> firstDifference{};  ///< frame of the track
  /// The samples are floating point and the device's are not: the nearest integers count as equal. Bits of the device's
  /// samples; 0: no sample was rounded.
  std::uint32_t roundedToBits = 0;
  std::optional<SampleSignature> delivered{};  ///< of `frames` frames; integer sources only
  std::optional<SampleSignature> stored{};     ///< from the encoder

  bool operator==(const DeliveryReport&) const = default;
};

/// The name of the state: "matches", …
[[nodiscard]] std::string_view resultName(DeliveryReport::Result result);
[[nodiscard]] std::string_view reasonName(DeliveryReport::Reason reason);

/// "12,345,678". REQUIRES: not negative.
[[nodiscard]] std::string groupedDigits(std::int64_t number);

/// One or two sentences for the user.
[[nodiscard]] BilingualText deliverySentence(const DeliveryReport& report);

}  // namespace tolvane
