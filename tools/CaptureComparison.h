#pragma once
// Compares a recording of what a card played with the track that it was to play. It uses nothing of what leads to the
// verdict, nor what the output unit recorded of itself: it is a witness of its own. Pure.

#include <cstdint>
#include <optional>
#include <string>

#include "engine/PreparedAudio.h"
#include "platform/Recording.h"

namespace tolvane {

struct CaptureComparison {
  enum class Result : std::uint8_t { matches, differs, unknown };

  Result result = Result::unknown;
  std::int64_t frames = 0;  ///< of the track, that were recorded and compared
  std::int64_t totalFrames = 0;
  std::optional<std::int64_t> firstDifference{};  ///< frame of the track; totalFrames: more was heard behind its end
  std::string detail;                             ///< one sentence
};

/// The track must be heard from its first frame to its last, once, with silence before and behind it. Where it begins
/// in the recording is known from the first sample that is not silent.
[[nodiscard]] CaptureComparison compareCapture(const PreparedAudio& track, const Recording::Frames& recorded);

/// "matches", "differs", "unknown".
[[nodiscard]] std::string_view resultName(CaptureComparison::Result result);

}  // namespace tolvane
