#pragma once
// What the listeners of a device know about what alters its samples. Player's thread; a plain value. While nothing
// plays they know nothing: whatever they read meanwhile was no verdict on the music that comes next.

#include <string>
#include <utility>

namespace tolvane {

class ToldAlteration {
 public:
  /// Whether the listeners are to be told this reason; empty: nothing alters the samples. Always, the first time after
  /// reset().
  [[nodiscard]] bool isNews(const std::string& reason) const { return !isTold_ || told_ != reason; }
  /// A verdict that nobody was told to doubt goes without a line in the log.
  [[nodiscard]] bool isWorthALine(const std::string& reason) const {
    return isNews(reason) && (isTold_ || !reason.empty());
  }
  void tell(std::string reason) {
    told_ = std::move(reason);
    isTold_ = true;
  }
  /// The unit plays no more.
  void reset() { isTold_ = false; }

 private:
  std::string told_;
  bool isTold_ = false;
};

}  // namespace tolvane
