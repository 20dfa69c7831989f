#pragma once
// Devices that the kernel has announced before the server did: for a while each waits for its sink. Player's thread; a
// plain value.

#include <chrono>
#include <map>
#include <string>

#include "platform/RunLoop.h"

namespace tolvane {

class Newcomers {
 public:
  static constexpr RunLoop::Duration limit = std::chrono::milliseconds(2000);

  /// True: it is new, and must be checked again when the limit has passed.
  bool add(const std::string& uid, RunLoop::TimePoint now) { return ends_.try_emplace(uid, now + limit).second; }
  /// It is listed, or has no sink to wait for.
  void remove(const std::string& uid) { ends_.erase(uid); }
  [[nodiscard]] bool isWaiting(const std::string& uid, RunLoop::TimePoint now) const {
    const auto found = ends_.find(uid);
    return found != ends_.end() && now < found->second;
  }

 private:
  std::map<std::string, RunLoop::TimePoint> ends_;  ///< by uid
};

}  // namespace tolvane
