#pragma once
// The published status of Exclusive Access and the listener's switch for exclusive ownership of the device (hog mode).
// Player's thread. Verification changes the device only through acquireHogMode; the switch rebuilds the output.

#include <optional>

#include "engine/HogModeReport.h"
#include "platform/RunLoop.h"

namespace tolvane {

class EngineStateMachine;

class ExclusiveAccess {
 public:
  explicit ExclusiveAccess(EngineStateMachine& machine) : machine_(machine) {}

  /// Turns a reading into ownership and a status; judges the path again when the status changed and it is asked for.
  /// The caller publishes.
  void applyHogModeReport(const HogModeReport& report, bool judgesPath);

  /// The listener's switch. Rebuilds the output in place while playing or paused, and then returns the position in
  /// seconds at which it goes on.
  std::optional<double> setExclusiveAccessEnabled(bool enabled);

  /// Reads hog mode, retakes it when the device is free and that is wanted (at most once a second), applies the report.
  void verifyExclusiveAccess(bool recoverIfAvailable);

  /// Verifies twice a second from now on, when Exclusive Access is on and an output is configured.
  void startExclusiveAccessMonitorIfNeeded();
  void stopExclusiveAccessMonitor();

 private:
  [[nodiscard]] std::optional<double> rebuildOutput();

  EngineStateMachine& machine_;
  RunLoop::Timer exclusiveAccessTimer_;
  RunLoop::TimePoint nextExclusiveAccessRecoveryAttempt_ = RunLoop::TimePoint::min();
};

}  // namespace tolvane
