#include "engine/ExclusiveAccess.h"

#include "engine/EngineStateMachine.h"

namespace tolvane {
namespace {

constexpr std::chrono::milliseconds exclusiveAccessCheckInterval{500};
constexpr std::chrono::milliseconds exclusiveAccessRetryInterval{1000};

}  // namespace

void ExclusiveAccess::applyHogModeReport(const HogModeReport& report, bool judgesPath) {
  if (Output* const output = machine_.output()) output->setOwnsHogMode(report.mayBeOwned());
  const ExclusiveAccessStatus before = machine_.next().exclusiveAccessStatus;
  machine_.setExclusiveAccessStatus(machine_.choices().isExclusiveAccessEnabled
                                        ? ExclusiveAccessStatus::verified(report)
                                        : ExclusiveAccessStatus::off());
  if (judgesPath && machine_.next().exclusiveAccessStatus != before) machine_.judgePath(report);
}

std::optional<double> ExclusiveAccess::setExclusiveAccessEnabled(bool enabled) {
  const bool changed = machine_.choices().isExclusiveAccessEnabled != enabled;
  machine_.setExclusiveAccessEnabled(enabled);
  const bool isLoaded = machine_.isPlayingOrPaused();
  if (!enabled) machine_.setExclusiveAccessStatus(ExclusiveAccessStatus::off());
  // An output kept for the next track must be reopened with the new setting.
  if (changed && machine_.isOutputKept()) machine_.closeKeptOutput();
  // Between two attempts to recover, the next attempt determines the status.
  if (enabled && (!isLoaded || (changed && machine_.is<Recovering>())))
    machine_.setExclusiveAccessStatus(ExclusiveAccessStatus::requested());
  machine_.publish();
  return changed && isLoaded && !machine_.is<Recovering>() ? rebuildOutput() : std::nullopt;
}

std::optional<double> ExclusiveAccess::rebuildOutput() {
  machine_.completion().cancel();
  if (machine_.is<Playing>() && machine_.stopUnit() != noErr) {
    machine_.failRuntime("The output device could not change exclusive access safely.");
    return std::nullopt;
  }
  const auto frame = machine_.rebuildOutput({.unitAlreadyStopped = true, .discardPrepared = false});
  if (!frame) {
    machine_.failRuntime(frame.error());
    return std::nullopt;
  }
  return *frame ? std::optional(static_cast<double>(**frame) / machine_.track()->context->format().mSampleRate)
                : std::nullopt;
}

void ExclusiveAccess::verifyExclusiveAccess(bool recoverIfAvailable) {
  Output* const output = machine_.isPlayingOrPaused() ? machine_.output() : nullptr;
  if (!machine_.choices().isExclusiveAccessEnabled || output == nullptr) {
    if (Output* const kept = machine_.output()) kept->setOwnsHogMode(false);
    machine_.setExclusiveAccessStatus(machine_.choices().isExclusiveAccessEnabled ? ExclusiveAccessStatus::requested()
                                                                                  : ExclusiveAccessStatus::off());
    return machine_.publish();
  }
  DeviceProperties& device = machine_.services().device;
  HogModeReport report = device.readHogMode(output->deviceID());
  const auto now = machine_.services().runLoop.now();
  if (recoverIfAvailable && report.isFree() && now >= nextExclusiveAccessRecoveryAttempt_) {
    nextExclusiveAccessRecoveryAttempt_ = now + exclusiveAccessRetryInterval;
    const HogModeReport acquired = device.acquireHogMode(output->deviceID());
    if (acquired.isOwnedByCurrentProcess) {
      nextExclusiveAccessRecoveryAttempt_ = RunLoop::TimePoint::min();
      machine_.services().logger.standard("Exclusive Access was restored on device {}", output->deviceID());
      report = acquired;
    }
  }
  applyHogModeReport(report, true);
  machine_.publish();
}

void ExclusiveAccess::startExclusiveAccessMonitorIfNeeded() {
  stopExclusiveAccessMonitor();
  if (!machine_.choices().isExclusiveAccessEnabled || machine_.output() == nullptr) return;
  exclusiveAccessTimer_ = machine_.services().runLoop.scheduleTimer(exclusiveAccessCheckInterval, true,
                                                                    [this] { verifyExclusiveAccess(true); });
}

void ExclusiveAccess::stopExclusiveAccessMonitor() {
  exclusiveAccessTimer_.reset();
  nextExclusiveAccessRecoveryAttempt_ = RunLoop::TimePoint::min();
}

}  // namespace tolvane
