#pragma once
// The alteration that was last notified to the listeners of a device. Player's thread; a plain value. While nothing
// plays it is unknown: what they read meanwhile is no verdict on the music that follows.

#include <string>
#include <utility>

namespace tolvane {

class ToldAlteration {
 public:
  /// Whether to notify the listeners of this alteration; empty: the samples are unaltered. Always true the first time
  /// after reset().
  [[nodiscard]] bool isNews(const std::string& reason) const { return !isTold_ || told_ != reason; }
  /// Whether to log a notification: not the first one after reset() if it says that the samples are unaltered.
  [[nodiscard]] bool isWorthALine(const std::string& reason) const {
    return isNews(reason) && (isTold_ || !reason.empty());
  }
  void tell(std::string reason) {
    told_ = std::move(reason);
    isTold_ = true;
  }
  /// The unit has stopped playing.
  void reset() { isTold_ = false; }

 private:
  std::string told_;
  bool isTold_ = false;
};

}  // namespace tolvane
