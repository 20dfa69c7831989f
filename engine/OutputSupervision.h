#pragma once
// Monitors a configured output with property listeners and a health timer, and runs the bounded recovery that rebuilds
// the output at the same frame. Player's thread.

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
#include "platform/WeakSelf.h"

namespace tolvane {

class EngineStateMachine;

class OutputSupervision {
 public:
  explicit OutputSupervision(EngineStateMachine& machine) : machine_(machine) {}
  ~OutputSupervision() { removeOutputPropertyObservers(); }
  OutputSupervision(const OutputSupervision&) = delete;
  OutputSupervision& operator=(const OutputSupervision&) = delete;

  /// Observes the device and its output streams, instead of those observed before. The present condition of the device
  /// becomes the one that it was configured for.
  void installOutputPropertyObservers(AudioObjectID deviceID);
  void removeOutputPropertyObservers();

  /// Checks twice a second for a render error, a stopped unit and a clock that does not advance.
  void startOutputHealthMonitor();
  void stopOutputHealthMonitor();

  /// While the output is paused: reopens it, in a later turn, if another program waits for that.
  void reopenIfDue();

  /// A new track, or none: resets all counters and cancels a pending recovery.
  void resetRecoveryState();
  /// Cancels a pending recovery and keeps the counters.
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
  /// Whether the render clock has advanced since the last check; nothing without an earlier reading.
  [[nodiscard]] std::optional<bool> renderClockProgressed();

  void scheduleOutputRecovery(BilingualText reason, double delay);
  /// After the end of a burst of notifications: whether the output is still as it was configured.
  [[nodiscard]] bool isAsConfigured();
  void recoverOutputIfNeeded();
  void recoveryFailed(const AudioPlayerError& error);
  void finishRecoveryWithError(const AudioPlayerError& error);

  EngineStateMachine& machine_;
  std::vector<AudioHardware::ListenerID> propertyObservations_;
  std::uint64_t outputObservationGeneration_ = 0;  ///< incremented at each removal: older notifications are stale
  /// Expires with this object, so that a notification that was queued before has no effect.
  WeakSelf<OutputSupervision> self_{this};

  RunLoop::Timer healthTimer_;
  std::int64_t stableHealthChecks_ = 0;
  std::int64_t stalledHealthChecks_ = 0;
  std::int64_t stoppedHealthChecks_ = 0;
  std::optional<double> lastRenderSampleTime_;
  std::optional<std::int64_t> lastRenderCycleCount_;

  DeviceCondition configuredFor_;  ///< the device when it was last configured
  /// The device's buffer at the last recovery after a notification. A recovery does not change it if it is reported
  /// again.
  std::optional<std::uint32_t> bufferFramesThatStay_;
  /// Set by the player's thread, cleared by the thread that reads it.
  const std::shared_ptr<std::atomic<bool>> isReadingAhead_ = std::make_shared<std::atomic<bool>>(false);

  RunLoop::Timer recoveryTask_;
  bool recoversOnlyAfterAChange_ = false;  ///< applies to the pending recovery
  BilingualText recoveryReason_;
  std::int64_t recoveryAttempts_ = 0;
};

}  // namespace tolvane
