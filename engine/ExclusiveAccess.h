#pragma once
// The published status of Exclusive Access, and the user's switch for exclusive ownership of the device (hog mode).
// Player's thread. Verification changes the device only through acquireHogMode; the switch rebuilds the output.

#include <optional>

#include "engine/HogModeReport.h"
#include "platform/RunLoop.h"

namespace tolvane {

class EngineStateMachine;

class ExclusiveAccess {
 public:
  explicit ExclusiveAccess(EngineStateMachine& machine) : machine_(machine) {}

  /// Turns a reading into ownership and a status. If `judgesPath` and the status changed, judges the path again. The
  /// caller publishes.
  void applyHogModeReport(const HogModeReport& report, bool judgesPath);

  /// The user's switch. While playing or paused, rebuilds the output in place and returns the position, in seconds, at
  /// which it continues.
  std::optional<double> setExclusiveAccessEnabled(bool enabled);

  /// Reads hog mode, retakes it if it is wanted and the device is free (at most once a second), and applies the report.
  void verifyExclusiveAccess(bool recoverIfAvailable);

  /// If Exclusive Access is on and there is an output, verifies twice a second until the monitor is stopped.
  void startExclusiveAccessMonitorIfNeeded();
  void stopExclusiveAccessMonitor();

 private:
  [[nodiscard]] std::optional<double> rebuildOutput();

  EngineStateMachine& machine_;
  RunLoop::Timer exclusiveAccessTimer_;
  RunLoop::TimePoint nextExclusiveAccessRecoveryAttempt_ = RunLoop::TimePoint::min();
};

}  // namespace tolvane
