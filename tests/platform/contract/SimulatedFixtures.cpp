// The contract suite over simulated hardware: three sorts of device, ordinary and awkward.

#include <cstring>

#include "platform/simulated/SimulatedAudioHardware.h"
#include "tests/platform/contract/AudioHardwareFixture.h"

namespace tolvane::test {
namespace {

using std::chrono_literals::operator""ms;

constexpr std::int32_t kAnotherProcess = 4711;

SimulatedDeviceConfig ordinaryDAC() { return {.name = "DAC"}; }

SimulatedDeviceConfig slowDAC() {
  return {.name = "Slow DAC",
          .nominalRate = 48000,
          .rateSettleDelay = 180ms,
          .actualRateLag = 40ms,
          .clockErrorPPM = -80,
          .bufferFrameSize = 4096};
}

/// Nothing but 32-bit, a rate range, no actual rate, several units at once.
SimulatedDeviceConfig virtualDevice() {
  SimulatedDeviceConfig config{.name = "Mixer", .transport = kAudioDeviceTransportTypeVirtual};
  config.streams.front().physicalFormats = {physicalInteger(32)};
  config.rates = {{8000, 192000}};
  config.actualRate = SimulatedActualRate::absent;
  config.unitsAtOnce = 8;
  return config;
}

/// The device under test is not alone and not the default.
void addNeighbours(SimulatedAudioHardware& hardware) {
  hardware.addDevice({.name = "Built-in Output", .transport = kAudioDeviceTransportTypeBuiltIn});
  hardware.addDevice({.name = "Microphone", .isInputOnly = true});
}

template <typename Interface>
class SimulatedFixture : public Interface {
 public:
  explicit SimulatedFixture(SimulatedDeviceConfig config) {
    addNeighbours(hardware_);
    device_ = hardware_.addDevice(std::move(config));
  }

  AudioHardware& hardware() override { return hardware_; }
  AudioObjectID device() override { return device_; }
  AudioStreamBasicDescription clientFormat() override {
    return linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
  }
  void pump(RunLoop::Duration duration) override { runLoop_.advance(duration); }
  bool pumpUntil(const std::function<bool()>& condition, RunLoop::Duration limit) override {
    return runLoop_.advanceUntil(condition, limit);
  }

 protected:
  SimulatedDevice& simulated() { return hardware_.device(device_); }

  ManualRunLoop runLoop_;
  SimulatedAudioHardware hardware_{runLoop_};
  AudioObjectID device_ = kAudioObjectUnknown;
};

class SimulatedAudibleFixture final : public SimulatedFixture<AudibleHardwareFixture> {
 public:
  explicit SimulatedAudibleFixture(SimulatedDeviceConfig config) : SimulatedFixture(std::move(config)) {
    simulated().script().captures = true;
  }
  void beginListening() override { simulated().forgetHeard(); }
  std::vector<std::uint32_t> endListening() override {
    const auto& bytes = simulated().heard();
    std::vector<std::uint32_t> frames(bytes.size() / sizeof(std::uint32_t));
    std::memcpy(frames.data(), bytes.data(), frames.size() * sizeof(std::uint32_t));
    return frames;
  }
};

class SimulatedRemovableFixture final : public SimulatedFixture<RemovableHardwareFixture> {
 public:
  using SimulatedFixture::SimulatedFixture;
  void unplug() override { hardware_.removeDevice(device_); }
  void plugIn() override { hardware_.replug(device_); }
};

class SimulatedContestedFixture final : public SimulatedFixture<ContestedHardwareFixture> {
 public:
  using SimulatedFixture::SimulatedFixture;
  std::int32_t occupy() override {
    simulated().script().hogOwnerName = occupantName();
    simulated().setHogOwner(kAnotherProcess);
    return kAnotherProcess;
  }
  std::string occupantName() const override { return "another player"; }
  void leave() override { simulated().setHogOwner(-1); }
};

template <typename Interface, typename Fixture>
std::vector<FixtureMaker<Interface>> overAllDevices() {
  return {{"ordinaryDAC", [] { return std::make_unique<Fixture>(ordinaryDAC()); }},
          {"slowDAC", [] { return std::make_unique<Fixture>(slowDAC()); }},
          {"virtualDevice", [] { return std::make_unique<Fixture>(virtualDevice()); }}};
}

}  // namespace

std::vector<FixtureMaker<AudioHardwareFixture>> hardwareFixtures() {
  return overAllDevices<AudioHardwareFixture, SimulatedFixture<AudioHardwareFixture>>();
}
std::vector<FixtureMaker<AudibleHardwareFixture>> audibleFixtures() {
  return overAllDevices<AudibleHardwareFixture, SimulatedAudibleFixture>();
}
std::vector<FixtureMaker<RemovableHardwareFixture>> removableFixtures() {
  return overAllDevices<RemovableHardwareFixture, SimulatedRemovableFixture>();
}
std::vector<FixtureMaker<ContestedHardwareFixture>> contestedFixtures() {
  return overAllDevices<ContestedHardwareFixture, SimulatedContestedFixture>();
}

}  // namespace tolvane::test
