#pragma once
// A user who listens to a DAC behind a sink of the scripted server: the vocabulary of the tests of what happens then.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/platform/pipewire/scripted/ScriptedDesktop.h"

namespace tolvane::test {

/// Renders silence, and counts it.
class Source {
 public:
  [[nodiscard]] AURenderCallback callback() { return {&Source::render, this}; }
  [[nodiscard]] std::int64_t rendered() const { return rendered_; }

 private:
  static OSStatus render(void* self, std::uint32_t frames, AudioBufferList*) noexcept {
    static_cast<Source*>(self)->rendered_ += frames;
    return noErr;
  }
  std::int64_t rendered_ = 0;
};

/// Counts the notifications about one property of a device.
class Notifications {
 public:
  Notifications(AudioHardware& hardware, AudioObjectID object, FourCharCode selector)
      : hardware_(hardware),
        listener_(*hardware.addPropertyListener(object, globalAddress(selector), [this](const auto&) { ++count_; })) {}
  ~Notifications() { hardware_.removePropertyListener(listener_); }
  Notifications(const Notifications&) = delete;
  Notifications& operator=(const Notifications&) = delete;

  /// Since the last call.
  [[nodiscard]] int take() { return std::exchange(count_, 0); }

 private:
  AudioHardware& hardware_;
  const AudioHardware::ListenerID listener_;
  int count_ = 0;
};

/// A DAC behind a sink, and a unit that may play on it.
class Listening {
 public:
  Listening() { desktop.runLoop.runUntilIdle(); }

  std::unique_ptr<AudioOutputUnit> makeUnit() {
    auto unit = *desktop.hardware().outputComponent()->newInstance();
    const auto format = linearPCM(48000, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
    EXPECT_EQ(unit->setProperty(AudioUnitProperty::currentDevice, AudioUnitScope::global, 0, device), noErr);
    EXPECT_EQ(unit->setProperty(AudioUnitProperty::enableIO, AudioUnitScope::output, 0, std::uint32_t{1}), noErr);
    EXPECT_EQ(unit->setProperty(AudioUnitProperty::enableIO, AudioUnitScope::input, 1, std::uint32_t{0}), noErr);
    EXPECT_EQ(unit->setProperty(AudioUnitProperty::streamFormat, AudioUnitScope::input, 0, format), noErr);
    EXPECT_EQ(unit->setProperty(AudioUnitProperty::setRenderCallback, AudioUnitScope::input, 0, source.callback()),
              noErr);
    return unit;
  }
  /// Through the sink, for a while.
  std::unique_ptr<AudioOutputUnit> playingUnit() {
    auto unit = makeUnit();
    EXPECT_EQ(unit->initialize(), noErr);
    EXPECT_EQ(unit->start(), noErr);
    desktop.runLoop.advance(std::chrono::seconds(1));
    EXPECT_GT(source.rendered(), 0);
    return unit;
  }
  /// The profile of the card is off, and a unit plays over the card.
  std::unique_ptr<AudioOutputUnit> exclusiveUnit() {
    EXPECT_EQ(toggle(), noErr);
    return playingUnit();
  }
  OSStatus toggle() { return desktop.hardware().setPropertyData(device, hogModeAddress, std::int32_t{-1}); }
  std::int32_t owner() { return readProperty<std::int32_t>(desktop.hardware(), device, hogModeAddress).value_or(0); }
  double pauseSeconds() {
    return readProperty<double>(desktop.hardware(), device, globalAddress(kAudioDevicePropertyHogModePause))
        .value_or(-1);
  }
  std::vector<std::string> alterations() {
    std::vector<std::string> details;
    const auto found = readProperty<std::vector<SampleAlteration>>(
        desktop.hardware(), device, globalAddress(kAudioDevicePropertySampleAlterations));
    for (const auto& alteration : found.value_or(std::vector<SampleAlteration>())) details.push_back(alteration.detail);
    return details;
  }
  static OSStatus takeError(const AudioOutputUnit& unit) {
    return readProperty<std::int32_t>(unit, AudioUnitProperty::lastRenderError).value_or(noErr);
  }
  static bool isRunning(const AudioOutputUnit& unit) {
    return readProperty<std::uint32_t>(unit, AudioUnitProperty::isRunning).value_or(0) != 0;
  }
  PipeWireSink& sinkIn(PipeWireFacts& facts) { return facts.sinks.at(*desktop.server().sinkOfCard(desktop.card())); }
  bool goesOn() {
    const auto before = source.rendered();
    desktop.runLoop.advance(std::chrono::seconds(2));
    return source.rendered() > before;
  }
  std::string profile(std::uint32_t number) {
    return "profile " + std::to_string(number) + " of card " + std::to_string(desktop.card());
  }
  std::string off() { return profile(ScriptedServer::profileOff); }
  std::string stereo() { return profile(ScriptedServer::profileStereo); }
  bool hasSink() { return desktop.server().sinkOfCard(desktop.card()).has_value(); }

  ScriptedDesktop desktop{{.name = "DAC", .nominalRate = 48000}};
  Source source;
  const AudioObjectID device = desktop.device();
};

}  // namespace tolvane::test
