#pragma once
// The two published verdicts and the listener's switch for exclusive ownership of the device (hog mode). Player's
// thread. Verification changes the device only through acquireHogMode; the switch rebuilds the output.

#include <optional>

#include "engine/AudioPathStatus.h"
#include "engine/ExclusiveAccessStatus.h"
#include "platform/RunLoop.h"

namespace tolvane {

struct PlayerCore;

class ExclusiveAccess {
 public:
  explicit ExclusiveAccess(PlayerCore& core) : core_(core) {}

  /// Judges the path from the device as it stands now and publishes the verdict. Does nothing while no output is
  /// configured.
  void refreshAudioPathStatus(const HogModeReport& hogReport);

  /// Turns a reading into ownership and a status; judges the path again when the status changed and it is asked for.
  void applyHogModeReport(const HogModeReport& report, bool refreshAudioPath);

  /// Publishes and logs; nothing when the status is as it was.
  void updateExclusiveAccessStatus(ExclusiveAccessStatus status);

  /// The listener's switch. Rebuilds the output in place while playing or paused, and then returns the position in
  /// seconds at which it goes on.
  std::optional<double> setExclusiveAccessEnabled(bool enabled);

  /// Reads hog mode, retakes it when the device is free and that is wanted (at most once a second), applies the report.
  void verifyExclusiveAccess(bool recoverIfAvailable);

  /// Verifies twice a second from now on, when Exclusive Access is on and an output is configured.
  void startExclusiveAccessMonitorIfNeeded();
  void stopExclusiveAccessMonitor();

 private:
  [[nodiscard]] AudioPathFacts gatherFacts(const HogModeReport& hogReport) const;
  std::optional<double> reconfigureInPlace(bool enabled);

  PlayerCore& core_;
  RunLoop::Timer exclusiveAccessTimer_;
  RunLoop::TimePoint nextExclusiveAccessRecoveryAttempt_ = RunLoop::TimePoint::min();
};

}  // namespace tolvane
