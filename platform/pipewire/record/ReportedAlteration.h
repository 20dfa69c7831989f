#pragma once
// The alteration that was last notified to the listeners of a device. Player's thread; a plain value. While nothing
// plays it is unknown: what they read meanwhile is no verdict on the music that follows.

#include <string>
#include <utility>

namespace tolvane {

class ReportedAlteration {
 public:
  /// Whether to notify the listeners of this alteration; empty: the samples are unaltered. Always true the first time
  /// after reset().
  [[nodiscard]] bool mustNotify(const std::string& reason) const { return !isKnown_ || reason_ != reason; }
  /// Whether to log a notification: not the first one after reset() if it says that the samples are unaltered.
  [[nodiscard]] bool mustLog(const std::string& reason) const {
    return mustNotify(reason) && (isKnown_ || !reason.empty());
  }
  void store(std::string reason) {
    reason_ = std::move(reason);
    isKnown_ = true;
  }
  /// The unit has stopped playing.
  void reset() { isKnown_ = false; }

 private:
  std::string reason_;
  bool isKnown_ = false;
};

}  // namespace tolvane
