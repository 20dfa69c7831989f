#pragma once
// Records what a card plays, at its other end, for comparison with what it should play. Player's thread.

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
    DeliveryRecord::Form form;     ///< without channel positions if none are stated
    std::vector<std::byte> bytes;  ///< whole frames, from the start on
    bool isWhole = true;           ///< no gap until stop()
  };

  Recording() = default;
  virtual ~Recording() = default;
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  /// What is to be recorded.
  struct Request {
    std::uint32_t rate = 0;  ///< hertz
    std::uint32_t channels = 0;
    std::size_t maximumFrames = 0;  ///< the recording ends there, and is not whole
  };

  /// Starts; may be retried after an error. The error is a sentence.
  [[nodiscard]] virtual std::expected<void, std::string> start(const Request& request) = 0;
  /// Stops. REQUIRES: started.
  [[nodiscard]] virtual Frames stop() = 0;
};

}  // namespace tolvane
