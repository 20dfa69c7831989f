#include "platform/adapter/OutputUnitSettings.h"

#include <gmock/gmock.h>

#include <limits>

namespace tolvane {
namespace {

using Phase = OutputUnitSettings::Phase;
using Property = AudioUnitProperty;
using Scope = AudioUnitScope;

constexpr AudioObjectID knownDevice = 7;

AudioStreamBasicDescription stereo(double rate = 44100) {
  return {rate, kAudioFormatLinearPCM, kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked, 4, 1, 4, 2, 16, 0};
}

AURenderCallback callback() {
  return {[](void*, std::uint32_t, AudioBufferList*) noexcept -> OSStatus { return noErr; }, nullptr};
}

/// Settings that know one device.
struct KnownDevice {
  OutputUnitSettings settings;

  OSStatus set(Property property, Scope scope, std::uint32_t element, const AudioUnitPropertyValue& value,
               Phase phase = Phase::created) {
    return settings.set(property, scope, element, value, phase, [](AudioObjectID id) { return id == knownDevice; });
  }
  void setAll() {
    EXPECT_EQ(set(Property::currentDevice, Scope::global, 0, knownDevice), noErr);
    EXPECT_EQ(set(Property::streamFormat, Scope::input, 0, stereo()), noErr);
    EXPECT_EQ(set(Property::setRenderCallback, Scope::input, 0, callback()), noErr);
  }
};

TEST(OutputUnitSettings, AreCompleteWithADeviceAFormatACallbackAndAnOutput) {
  KnownDevice unit;
  EXPECT_FALSE(unit.settings.areComplete());
  unit.setAll();
  EXPECT_TRUE(unit.settings.areComplete());
  EXPECT_EQ(unit.set(Property::enableIO, Scope::output, 0, std::uint32_t{0}), noErr);
  EXPECT_FALSE(unit.settings.areComplete());
}

TEST(OutputUnitSettings, ReturnTheValuesThatWereSet) {
  KnownDevice unit;
  unit.setAll();
  EXPECT_EQ(unit.set(Property::renderQuality, Scope::global, 0, std::uint32_t{3}), noErr);
  EXPECT_EQ(unit.settings.get(Property::currentDevice, Scope::global), AudioUnitPropertyValue(knownDevice));
  EXPECT_EQ(unit.settings.get(Property::streamFormat, Scope::input), AudioUnitPropertyValue(stereo()));
  EXPECT_EQ(unit.settings.get(Property::setRenderCallback, Scope::input), AudioUnitPropertyValue(callback()));
  EXPECT_EQ(unit.settings.get(Property::renderQuality, Scope::global), AudioUnitPropertyValue(std::uint32_t{3}));
  EXPECT_EQ(unit.settings.get(Property::enableIO, Scope::output), AudioUnitPropertyValue(std::uint32_t{1}));
  EXPECT_EQ(unit.settings.get(Property::enableIO, Scope::input), AudioUnitPropertyValue(std::uint32_t{0}));
}

TEST(OutputUnitSettings, TakeTheDepthOfTheSource) {
  KnownDevice unit;
  EXPECT_EQ(unit.settings.sourceBits(), 0U);
  EXPECT_EQ(unit.set(Property::sourceBits, Scope::input, 0, std::uint32_t{16}), noErr);
  EXPECT_EQ(unit.settings.sourceBits(), 16U);
  EXPECT_EQ(unit.settings.get(Property::sourceBits, Scope::input), AudioUnitPropertyValue(std::uint32_t{16}));
  EXPECT_EQ(unit.set(Property::sourceBits, Scope::input, 0, std::uint32_t{65}), kAudioUnitErr_InvalidPropertyValue);
  EXPECT_EQ(unit.set(Property::sourceBits, Scope::input, 0, 16.0), kAudioUnitErr_InvalidPropertyValue);
  EXPECT_EQ(unit.set(Property::sourceBits, Scope::global, 0, std::uint32_t{16}), kAudioUnitErr_InvalidScope);
  EXPECT_EQ(unit.set(Property::sourceBits, Scope::input, 0, std::uint32_t{8}, Phase::initialised),
            kAudioUnitErr_Initialized);
  EXPECT_EQ(unit.settings.sourceBits(), 16U);
}

TEST(OutputUnitSettings, HaveTheUsualChannelsUntilOthersAreSet) {
  KnownDevice unit;
  const ChannelLayout swapped{{ChannelPosition::frontRight, ChannelPosition::frontLeft}};
  EXPECT_EQ(unit.set(Property::channelLayout, Scope::input, 0, swapped), kAudioUnitErr_InvalidPropertyValue)
      << "there is no format yet";
  EXPECT_EQ(unit.settings.get(Property::channelLayout, Scope::input).error(), kAudioUnitErr_CannotDoInCurrentContext);
  unit.setAll();
  EXPECT_EQ(unit.settings.channelLayout(), usualLayout(2));
  EXPECT_EQ(unit.set(Property::channelLayout, Scope::input, 0, swapped), noErr);
  EXPECT_EQ(unit.settings.get(Property::channelLayout, Scope::input), AudioUnitPropertyValue(swapped));
  EXPECT_EQ(unit.set(Property::channelLayout, Scope::input, 0, usualLayout(6)), kAudioUnitErr_InvalidPropertyValue);
  EXPECT_EQ(unit.set(Property::channelLayout, Scope::input, 0, usualLayout(2), Phase::initialised),
            kAudioUnitErr_Initialized);
  EXPECT_EQ(unit.settings.channelLayout(), swapped);
  EXPECT_EQ(unit.set(Property::streamFormat, Scope::input, 0, stereo(48000)), noErr);
  EXPECT_EQ(unit.settings.channelLayout(), usualLayout(2)) << "another format, other channels";
}

TEST(OutputUnitSettings, RefuseWhatIsNotThereNotRightOrTooLate) {
  const double notANumber = std::numeric_limits<double>::quiet_NaN();
  const struct {
    const char* what;
    Property property;
    Scope scope;
    std::uint32_t element;
    AudioUnitPropertyValue value;
    Phase phase;
    OSStatus status;
  } rows[] = {
      {"unknown device", Property::currentDevice, Scope::global, 0, std::uint32_t{8}, Phase::created,
       kAudioHardwareBadDeviceError},
      {"device of another type", Property::currentDevice, Scope::global, 0, 7.0, Phase::created,
       kAudioUnitErr_InvalidPropertyValue},
      {"device too late", Property::currentDevice, Scope::global, 0, knownDevice, Phase::initialised,
       kAudioUnitErr_Initialized},
      {"device elsewhere", Property::currentDevice, Scope::input, 0, knownDevice, Phase::created,
       kAudioUnitErr_InvalidScope},
      {"device's element", Property::currentDevice, Scope::global, 1, knownDevice, Phase::created,
       kAudioUnitErr_InvalidElement},
      {"an input", Property::enableIO, Scope::input, 1, std::uint32_t{1}, Phase::created,
       kAudioUnitErr_InvalidPropertyValue},
      {"input's element", Property::enableIO, Scope::input, 0, std::uint32_t{0}, Phase::created,
       kAudioUnitErr_InvalidElement},
      {"neither input nor output", Property::enableIO, Scope::global, 0, std::uint32_t{1}, Phase::created,
       kAudioUnitErr_InvalidScope},
      {"format without a rate", Property::streamFormat, Scope::input, 0, stereo(0), Phase::created,
       kAudioUnitErr_FormatNotSupported},
      {"format whose rate is no number", Property::streamFormat, Scope::input, 0, stereo(notANumber), Phase::created,
       kAudioUnitErr_FormatNotSupported},
      {"format too late", Property::streamFormat, Scope::input, 0, stereo(), Phase::initialised,
       kAudioUnitErr_Initialized},
      {"no callback", Property::setRenderCallback, Scope::input, 0, AURenderCallback(), Phase::created,
       kAudioUnitErr_InvalidPropertyValue},
      {"callback too late", Property::setRenderCallback, Scope::input, 0, callback(), Phase::running,
       kAudioUnitErr_Initialized},
      {"too much quality", Property::renderQuality, Scope::global, 0, kRenderQuality_Max + 1, Phase::created,
       kAudioUnitErr_InvalidPropertyValue},
      {"what only the unit knows", Property::isRunning, Scope::global, 0, std::uint32_t{1}, Phase::created,
       kAudioUnitErr_InvalidProperty},
      {"no property", static_cast<Property>(99), Scope::global, 0, std::uint32_t{1}, Phase::created,
       kAudioUnitErr_InvalidProperty},
  };
  for (const auto& row : rows) {
    KnownDevice unit;
    EXPECT_EQ(unit.set(row.property, row.scope, row.element, row.value, row.phase), row.status) << row.what;
  }
}

TEST(OutputUnitSettings, TakeACallbackUntilTheUnitRuns) {
  KnownDevice unit;
  EXPECT_EQ(unit.set(Property::setRenderCallback, Scope::input, 0, callback(), Phase::initialised), noErr);
}

TEST(OutputUnitSettings, CannotGiveAFormatThatWasNotSet) {
  const KnownDevice unit;
  EXPECT_EQ(unit.settings.get(Property::streamFormat, Scope::input),
            (std::expected<AudioUnitPropertyValue, OSStatus>(std::unexpected(kAudioUnitErr_CannotDoInCurrentContext))));
}

}  // namespace
}  // namespace tolvane
