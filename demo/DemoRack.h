#pragma once
// The demo's devices: simulated hardware whose clock is driven by the real one. Main thread.

#include "platform/RunLoop.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/SimulatedAudioHardware.h"

namespace tolvane {

class DemoRack {
 public:
  /// Time on the rack passes as it does on `realTime`, which outlives it.
  explicit DemoRack(RunLoop& realTime);
  DemoRack(const DemoRack&) = delete;
  DemoRack& operator=(const DemoRack&) = delete;
  ~DemoRack() = default;

  /// What the player over this hardware must use as its run loop.
  [[nodiscard]] ManualRunLoop& runLoop() { return runLoop_; }
  [[nodiscard]] SimulatedAudioHardware& hardware() { return hardware_; }

 private:
  void catchUp();

  RunLoop& realTime_;
  RunLoop::TimePoint caughtUpTo_;
  ManualRunLoop runLoop_;
  SimulatedAudioHardware hardware_{runLoop_};
  RunLoop::Timer heartbeat_;
};

}  // namespace tolvane
