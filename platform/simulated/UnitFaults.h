#pragma once
// The script of failures in an output unit's life: which stage fails, with which status, how often.
// Player's thread. A plain record; knows nothing of units.

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "platform/AudioStatus.h"

namespace tolvane {

enum class UnitStage : std::uint8_t {
  newInstance,
  setCurrentDevice,
  enableOutput,
  disableInput,
  setFormat,
  readFormat,
  renderQuality,
  setCallback,
  initialize,
  start,
  stop,          ///< the unit is stopped all the same
  uninitialize,  ///< the unit is uninitialised all the same
  lastRenderError,
  isRunning,
  sampleTime,
};
constexpr std::size_t kUnitStageCount = static_cast<std::size_t>(UnitStage::sampleTime) + 1;

class UnitFaults {
 public:
  static constexpr int kAlways = std::numeric_limits<int>::max();

  void failNext(UnitStage stage, OSStatus status, int times = 1) { at(stage) = {status, times}; }
  void failAlways(UnitStage stage, OSStatus status) { failNext(stage, status, kAlways); }
  void heal(UnitStage stage) { at(stage) = {}; }
  void healAll() { faults_ = {}; }

  /// Whether the next call of the stage fails.
  [[nodiscard]] bool isDue(UnitStage stage) const { return faults_[static_cast<std::size_t>(stage)].remaining != 0; }

  /// The status of this call of the stage: noErr unless a failure is due, which is used up.
  [[nodiscard]] OSStatus take(UnitStage stage) {
    Fault& fault = at(stage);
    if (fault.remaining == 0) return noErr;
    if (fault.remaining != kAlways) --fault.remaining;
    return fault.status;
  }

 private:
  struct Fault {
    OSStatus status = noErr;
    int remaining = 0;
  };
  [[nodiscard]] Fault& at(UnitStage stage) { return faults_[static_cast<std::size_t>(stage)]; }

  std::array<Fault, kUnitStageCount> faults_{};
};

}  // namespace tolvane
