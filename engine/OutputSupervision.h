#pragma once
// Watches a configured output: property listeners, a health timer, and the bounded recovery that rebuilds the output at
// the same frame. Player's thread.

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/AudioPlayerError.h"
#include "engine/DeviceCondition.h"
#include "platform/AudioHardware.h"
#include "platform/RunLoop.h"

namespace tolvane {

class EngineStateMachine;

class OutputSupervision {
 public:
  explicit OutputSupervision(EngineStateMachine& machine) : machine_(machine) {}
  ~OutputSupervision() { removeOutputPropertyObservers(); }
  OutputSupervision(const OutputSupervision&) = delete;
  OutputSupervision& operator=(const OutputSupervision&) = delete;

  /// Listens to the device and its output streams, in place of what was listened to before. What the device is like now
  /// is what it was configured for.
  void installOutputPropertyObservers(AudioObjectID deviceID);
  void removeOutputPropertyObservers();

  /// Looks twice a second for a render error, a unit that stopped and a clock that stands still.
  void startOutputHealthMonitor();
  void stopOutputHealthMonitor();

  /// While the output is paused: opens it anew, in a later turn, where others wait for that.
  void reopenIfDue();

  /// A new track, or none: all counters start again and no recovery is pending.
  void resetRecoveryState();
  /// A recovery that waits for its moment does not come; the counters stay.
  void cancelPendingRecovery();

 private:
  void observeAudioProperty(AudioObjectID objectID, const AudioObjectPropertyAddress& address,
                            std::uint64_t generation);
  void handleOutputPropertyChange(FourCharCode selector, std::uint64_t generation);
  void judgePathAgain();

  void checkOutputHealth();
  void keepMusicInMemory() const;
  [[nodiscard]] bool reportsRenderError();
  [[nodiscard]] bool reportsStoppedUnit();
  /// Whether the render clock moved since the last check; nothing when there is no earlier reading to compare with.
  [[nodiscard]] std::optional<bool> renderClockProgressed();

  void scheduleOutputRecovery(std::string reason, double delay);
  /// After a notice, when a burst of them has passed: whether the output is as good as when it was configured.
  [[nodiscard]] bool isAsConfigured();
  void recoverOutputIfNeeded();
  void recoveryFailed(const AudioPlayerError& error);
  void finishRecoveryWithError(const AudioPlayerError& error);

  EngineStateMachine& machine_;
  std::vector<AudioHardware::ListenerID> propertyObservations_;
  std::uint64_t outputObservationGeneration_ = 0;  ///< grows at each removal: older notifications are stale
  /// Ends with this object: a notification that was queued before finds nobody.
  std::shared_ptr<OutputSupervision*> self_ = std::make_shared<OutputSupervision*>(this);

  RunLoop::Timer healthTimer_;
  std::int64_t stableHealthChecks_ = 0;
  std::int64_t stalledHealthChecks_ = 0;
  std::int64_t stoppedHealthChecks_ = 0;
  std::optional<double> lastRenderSampleTime_;
  std::optional<std::int64_t> lastRenderCycleCount_;

  DeviceCondition configuredFor_;  ///< of the device, when it was configured last
  /// The device's buffer at the last recovery after a notice. When it is reported again, recovery does not change it.
  std::optional<std::uint32_t> bufferFramesThatStay_;
  /// Set by the player's thread, cleared by the thread that reads it.
  const std::shared_ptr<std::atomic<bool>> isReadingAhead_ = std::make_shared<std::atomic<bool>>(false);

  RunLoop::Timer recoveryTask_;
  bool recoversOnlyAfterAChange_ = false;  ///< the pending one
  std::string recoveryReason_;
  std::int64_t recoveryAttempts_ = 0;
};

}  // namespace tolvane
