#pragma once
// Real-time priority for render threads: directly if the limits allow it, else requested from RealtimeKit over D-Bus.
// Player's thread, except makeThreadRealtime. Without either, playback continues at normal priority; that is logged
// once.

#include <sys/types.h>

#include <memory>

#include "platform/Log.h"
#include "platform/RunLoop.h"

namespace tolvane {

class RealtimeScheduling {
 public:
  RealtimeScheduling(RunLoop& runLoop, Log& log);
  ~RealtimeScheduling();
  RealtimeScheduling(const RealtimeScheduling&) = delete;
  RealtimeScheduling& operator=(const RealtimeScheduling&) = delete;

  /// Any thread; `tid` is a thread of this process. Makes a system call or two and never waits. True when the thread is
  /// real-time now; otherwise RealtimeKit is asked from the player's thread, and may grant it a moment later.
  [[nodiscard]] bool makeThreadRealtime(pid_t tid);

 private:
  struct Implementation;
  std::shared_ptr<Implementation> implementation_;
};

}  // namespace tolvane
