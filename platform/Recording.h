#pragma once
// A recording of what a card played, made at its other end, to be compared with what it was to play. Main thread.

#include <cstddef>
#include <cstdint>
#include <expected>
#include <string>
#include <vector>

#include "platform/DeliveryRecord.h"

namespace tolvane {

class Recording {
 public:
  struct Frames {
    DeliveryRecord::Form form;     ///< without positions of the channels where nothing states them
    std::vector<std::byte> bytes;  ///< whole frames, from the start on
    bool isWhole = true;           ///< until stop(), without a gap
  };

  Recording() = default;
  virtual ~Recording() = default;
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  /// What is to be recorded.
  struct Request {
    std::uint32_t rate = 0;  ///< hertz
    std::uint32_t channels = 0;
    std::size_t maximumFrames = 0;  ///< after which it ends, and is not whole
  };

  /// Begins; it may be tried again. The error is a sentence.
  [[nodiscard]] virtual std::expected<void, std::string> start(const Request& request) = 0;
  /// Ends it. REQUIRES: it has begun.
  [[nodiscard]] virtual Frames stop() = 0;
};

}  // namespace tolvane
