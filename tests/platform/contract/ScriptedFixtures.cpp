// The contract suite over the device layer of a sound server that follows a script: a card behind a sink, and the same
// card without a server.

#include <cmath>
#include <limits>

#include "tests/platform/contract/AudioHardwareFixture.h"
#include "tests/platform/pipewire/scripted/ScriptedDesktop.h"

namespace tolvane::test {
namespace {

using std::chrono_literals::operator""ms;

constexpr std::int32_t anotherProcess = std::numeric_limits<std::int32_t>::max();  // no process has it

using Presence = ScriptedDesktop::Server;

template <typename Interface>
class ScriptedFixture : public Interface {
 public:
  explicit ScriptedFixture(Presence presence) : desktop_({.name = "DAC"}, presence), presence_(presence) {
    desktop_.runLoop.runUntilIdle();
    device_ = desktop_.device();
  }

  AudioHardware& hardware() override { return desktop_.hardware(); }
  AudioObjectID device() override { return device_; }
  AudioStreamBasicDescription clientFormat() override {
    return linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
  }
  void pump(RunLoop::Duration duration) override { desktop_.runLoop.advance(duration); }
  bool pumpUntil(const std::function<bool()>& condition, RunLoop::Duration limit) override {
    return desktop_.runLoop.advanceUntil(condition, limit);
  }

 protected:
  ScriptedDesktop desktop_;
  const Presence presence_;
  AudioObjectID device_ = kAudioObjectUnknown;
};

/// The samples of two channels of 16 bits, as the frames that the source counts.
class ScriptedAudibleFixture final : public ScriptedFixture<AudibleHardwareFixture> {
 public:
  using ScriptedFixture::ScriptedFixture;
  void beginListening() override { desktop_.server().beginListening(); }
  std::vector<std::uint32_t> endListening() override {
    const auto samples = desktop_.server().endListening();
    std::vector<std::uint32_t> frames;
    const auto bits = [](float sample) { return static_cast<std::uint16_t>(std::lround(sample * 32768)); };
    for (std::size_t i = 0; i + 1 < samples.size(); i += 2)
      frames.push_back(bits(samples[i]) | static_cast<std::uint32_t>(bits(samples[i + 1])) << 16U);
    return frames;
  }
};

class ScriptedRemovableFixture final : public ScriptedFixture<RemovableHardwareFixture> {
 public:
  using ScriptedFixture::ScriptedFixture;
  bool findsItsWayAgain() const override { return presence_ == Presence::isThere; }
  void unplug() override {
    if (presence_ == Presence::isThere) desktop_.server().unplug(desktop_.card());
    desktop_.cards.removeDevice(desktop_.cardDevice());
  }
  void plugIn() override {
    desktop_.cards.replug(desktop_.cardDevice());
    if (presence_ == Presence::isThere) desktop_.server().addCard(desktop_.cardDevice());
  }
};

class ScriptedContestedFixture final : public ScriptedFixture<ContestedHardwareFixture> {
 public:
  using ScriptedFixture::ScriptedFixture;
  std::int32_t occupy() override {
    desktop_.dac().script().hogOwnerName = occupantName();
    desktop_.dac().setHogOwner(anotherProcess);
    return anotherProcess;
  }
  std::string occupantName() const override { return "another player"; }
  void leave() override { desktop_.dac().setHogOwner(-1); }
};

template <typename Interface, typename Fixture>
std::vector<FixtureMaker<Interface>> bothPaths() {
  return {{"sink", [] { return std::make_unique<Fixture>(Presence::isThere); }},
          {"cardWithoutServer", [] { return std::make_unique<Fixture>(Presence::isAbsent); }}};
}

}  // namespace

std::vector<FixtureMaker<AudioHardwareFixture>> hardwareFixtures() {
  return bothPaths<AudioHardwareFixture, ScriptedFixture<AudioHardwareFixture>>();
}
std::vector<FixtureMaker<AudibleHardwareFixture>> audibleFixtures() {
  return {{"sink", [] { return std::make_unique<ScriptedAudibleFixture>(Presence::isThere); }}};
}
std::vector<FixtureMaker<RemovableHardwareFixture>> removableFixtures() {
  return bothPaths<RemovableHardwareFixture, ScriptedRemovableFixture>();
}
std::vector<FixtureMaker<ContestedHardwareFixture>> contestedFixtures() {
  return bothPaths<ContestedHardwareFixture, ScriptedContestedFixture>();
}

}  // namespace tolvane::test
