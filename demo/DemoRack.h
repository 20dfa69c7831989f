#pragma once
// The demo's devices: simulated hardware whose clock is driven by the real one. Window's thread, on which
// the demo's player runs, too.

#include <cstddef>
#include <string>
#include <vector>

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

  /// The run loop that the player over this hardware must use.
  [[nodiscard]] ManualRunLoop& runLoop() { return runLoop_; }
  [[nodiscard]] SimulatedAudioHardware& hardware() { return hardware_; }

  // The front of the rack: one row per device, with its controls.

  struct Row {
    std::string name;
    double rate = 0;  ///< hertz
    bool isPluggedIn = true;
    bool isTaken = false;  ///< another program has it for itself
    bool isStalled = false;
    bool canReclock = false;  ///< it has another rate to go to

    bool operator==(const Row&) const = default;
  };

  [[nodiscard]] std::size_t rowCount() const { return devices_.size(); }
  /// REQUIRES: index < rowCount(), here and below.
  [[nodiscard]] Row row(std::size_t index);
  void setPluggedIn(std::size_t index, bool isPluggedIn);
  void setTaken(std::size_t index, bool isTaken);
  void setStalled(std::size_t index, bool isStalled);
  /// As when another program sets the next one of its rates.
  void reclock(std::size_t index);

 private:
  void catchUp();
  [[nodiscard]] SimulatedDevice& device(std::size_t index) { return hardware_.device(devices_[index]); }

  RunLoop& realTime_;
  RunLoop::TimePoint caughtUpTo_;
  ManualRunLoop runLoop_;
  SimulatedAudioHardware hardware_{runLoop_};
  const std::vector<AudioObjectID> devices_;
  RunLoop::Timer heartbeat_;
};

}  // namespace tolvane
