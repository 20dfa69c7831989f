#include "platform/FourCharText.h"
#include "platform/simulated/SimulatedAudioHardware.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "tests/support/Printers.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr AudioObjectPropertyAddress global(FourCharCode selector) {
  return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
}
constexpr AudioObjectPropertyAddress output(FourCharCode selector) {
  return {selector, kAudioObjectPropertyScopeOutput, kAudioObjectPropertyElementMain};
}

/// What the contract suite cannot ask of every adapter: that the script is followed.
class SimulatedAudioHardwareTest : public testing::Test {
 protected:
  template <typename T>
  std::expected<T, OSStatus> read(AudioObjectID object, const AudioObjectPropertyAddress& address) {
    const auto value = hardware_.propertyData(object, address);
    if (!value) return std::unexpected(value.error());
    return std::get<T>(*value);
  }
  std::expected<double, OSStatus> nominalRate(AudioObjectID id) {
    return read<double>(id, global(kAudioDevicePropertyNominalSampleRate));
  }
  std::expected<double, OSStatus> actualRate(AudioObjectID id) {
    return read<double>(id, global(kAudioDevicePropertyActualSampleRate));
  }
  OSStatus writeRate(AudioObjectID id, double hertz) {
    return hardware_.setPropertyData(id, global(kAudioDevicePropertyNominalSampleRate), hertz);
  }
  OSStatus writeHog(AudioObjectID id) {
    return hardware_.setPropertyData(id, global(kAudioDevicePropertyHogMode), std::int32_t{-1});
  }
  void listen(AudioObjectID object, const AudioObjectPropertyAddress& address) {
    const auto id = hardware_.addPropertyListener(
        object, address, [this](const auto& changed) { notified_.push_back(fourCharText(changed.mSelector)); });
    ASSERT_TRUE(id.has_value());
    listener_ = *id;
  }

  ManualRunLoop loop_;
  SimulatedAudioHardware hardware_{loop_};
  std::vector<std::string> notified_;
  AudioHardware::ListenerID listener_ = 0;
};

TEST_F(SimulatedAudioHardwareTest, TheFirstDeviceWithOutputIsTheDefault) {
  hardware_.addDevice({.name = "Microphone", .isInputOnly = true});
  const auto dac = hardware_.addDevice({.name = "DAC"});
  hardware_.addDevice({.name = "Another DAC"});
  EXPECT_EQ(read<std::uint32_t>(kAudioObjectSystemObject, global(kAudioHardwarePropertyDefaultOutputDevice)), dac);
}

TEST_F(SimulatedAudioHardwareTest, WithoutOutputThereIsNoDefault) {
  hardware_.addDevice({.name = "Microphone", .isInputOnly = true});
  EXPECT_EQ(read<std::uint32_t>(kAudioObjectSystemObject, global(kAudioHardwarePropertyDefaultOutputDevice)),
            kAudioObjectUnknown);
}

TEST_F(SimulatedAudioHardwareTest, AnInputOnlyDeviceHasAnEmptyStreamList) {
  const auto microphone = hardware_.addDevice({.name = "Microphone", .isInputOnly = true});
  EXPECT_EQ(hardware_.propertyDataSize(microphone, output(kAudioDevicePropertyStreams)), 0U);
}

TEST_F(SimulatedAudioHardwareTest, RemovingTheDefaultDeviceMovesTheDefaultAndSaysSo) {
  const auto dac = hardware_.addDevice({.name = "DAC"});
  const auto other = hardware_.addDevice({.name = "Other"});
  listen(kAudioObjectSystemObject, global(kAudioHardwarePropertyDefaultOutputDevice));
  hardware_.removeDevice(dac);
  loop_.runUntilIdle();
  EXPECT_THAT(notified_, ElementsAre("dOut"));
  EXPECT_EQ(read<std::uint32_t>(kAudioObjectSystemObject, global(kAudioHardwarePropertyDefaultOutputDevice)), other);
}

TEST_F(SimulatedAudioHardwareTest, ASlowRateTakesEffectAfterItsDelayEvenWhileTheMainThreadSleeps) {
  const auto dac = hardware_.addDevice({.rateSettleDelay = 100ms, .actualRateLag = 50ms});
  EXPECT_EQ(writeRate(dac, 96000), noErr);
  loop_.sleepFor(99ms);
  EXPECT_EQ(nominalRate(dac), 44100);
  loop_.sleepFor(1ms);
  EXPECT_EQ(nominalRate(dac), 96000);
  EXPECT_EQ(actualRate(dac), 44100);
  loop_.sleepFor(50ms);
  EXPECT_EQ(actualRate(dac), 96000);
}

TEST_F(SimulatedAudioHardwareTest, ADeviceMayAgreeToARateAndDoNothing) {
  const auto dac = hardware_.addDevice({.ignoresRateWrites = true});
  EXPECT_EQ(writeRate(dac, 96000), noErr);
  loop_.advance(1000ms);
  EXPECT_EQ(nominalRate(dac), 44100);
}

TEST_F(SimulatedAudioHardwareTest, ARateThatIsNotSettableIsRefused) {
  const auto dac = hardware_.addDevice({.rateIsSettable = false});
  EXPECT_EQ(hardware_.isPropertySettable(dac, global(kAudioDevicePropertyNominalSampleRate)), false);
  EXPECT_EQ(writeRate(dac, 96000), kAudioHardwareIllegalOperationError);
}

TEST_F(SimulatedAudioHardwareTest, TheActualRateBehavesAsScripted) {
  const auto absent = hardware_.addDevice({.actualRate = SimulatedActualRate::absent});
  EXPECT_FALSE(hardware_.hasProperty(absent, global(kAudioDevicePropertyActualSampleRate)));
  EXPECT_EQ(actualRate(absent), std::unexpected(kAudioHardwareUnknownPropertyError));
  const auto unreadable = hardware_.addDevice({.actualRate = SimulatedActualRate::unreadable});
  EXPECT_TRUE(hardware_.hasProperty(unreadable, global(kAudioDevicePropertyActualSampleRate)));
  EXPECT_FALSE(actualRate(unreadable).has_value());
  const auto fixed = hardware_.addDevice({.actualRate = SimulatedActualRate::fixed, .fixedActualRate = 47952});
  EXPECT_EQ(actualRate(fixed), 47952);
  const auto idle = hardware_.addDevice({.actualRate = SimulatedActualRate::readableWhileRunning});
  EXPECT_EQ(actualRate(idle), std::unexpected(kAudioHardwareNotRunningError));
  const auto drifting = hardware_.addDevice({.nominalRate = 48000, .clockErrorPPM = 25});
  EXPECT_DOUBLE_EQ(*actualRate(drifting), 48001.2);
  hardware_.device(drifting).setClockErrorPPM(-25);
  EXPECT_DOUBLE_EQ(*actualRate(drifting), 47998.8);
}

TEST_F(SimulatedAudioHardwareTest, AlterationsBehindTheUnitsAreReportedOnlyWhereTheScriptHasThem) {
  const auto silent = hardware_.addDevice({});
  EXPECT_FALSE(hardware_.hasProperty(silent, global(kAudioDevicePropertyProcessingIsActive)));
  EXPECT_FALSE(hardware_.hasProperty(silent, global(kAudioDevicePropertySampleAlterations)));
  using Alterations = std::vector<SampleAlteration>;
  const auto telling = hardware_.addDevice({.alterations = Alterations{}});
  const auto processing = [&] {
    return hardware_.propertyData(telling, global(kAudioDevicePropertyProcessingIsActive)).value();
  };
  listen(telling, global(kAudioDevicePropertyProcessingIsActive));
  const auto alterations = [&] {
    return hardware_.propertyData(telling, global(kAudioDevicePropertySampleAlterations)).value();
  };
  EXPECT_EQ(processing(), AudioPropertyValue(0U));
  EXPECT_EQ(alterations(), AudioPropertyValue(Alterations{}));
  const Alterations muted = {{SampleAlteration::Kind::processed, "The device is muted.", "Unmute it."_cure}};
  hardware_.device(telling).setAlterations(muted);
  hardware_.device(telling).setAlterations(muted);
  loop_.advance(0ms);
  EXPECT_EQ(processing(), AudioPropertyValue(1U));
  EXPECT_EQ(alterations(), AudioPropertyValue(muted));
  EXPECT_EQ(notified_.size(), 1U);
}

TEST_F(SimulatedAudioHardwareTest, ARateChangeFromOutsideAnnouncesRatesAndFormats) {
  const auto dac = hardware_.addDevice({});
  listen(dac, global(kAudioDevicePropertyNominalSampleRate));
  listen(dac, global(kAudioDevicePropertyActualSampleRate));
  const auto stream = hardware_.device(dac).streamIDs().front();
  listen(stream, global(kAudioStreamPropertyPhysicalFormat));
  listen(stream, global(kAudioStreamPropertyVirtualFormat));
  hardware_.device(dac).setNominalRateFromOutside(88200);
  EXPECT_THAT(notified_, IsEmpty());
  loop_.runUntilIdle();
  EXPECT_THAT(notified_, ElementsAre("nsrt", "asrt", "pft ", "sfmt"));
  EXPECT_EQ(read<AudioStreamBasicDescription>(stream, global(kAudioStreamPropertyPhysicalFormat))->mSampleRate, 88200);
}

TEST_F(SimulatedAudioHardwareTest, HogModeFollowsItsScript) {
  const auto ignoring = hardware_.addDevice({.ignoresHogWrites = true});
  EXPECT_EQ(writeHog(ignoring), noErr);
  EXPECT_EQ(read<std::int32_t>(ignoring, global(kAudioDevicePropertyHogMode)), -1);
  const auto fixed = hardware_.addDevice({.hogIsSettable = false});
  EXPECT_EQ(writeHog(fixed), kAudioHardwareIllegalOperationError);
  const auto failing = hardware_.addDevice(
      {.properties = {.writeFailures = {{kAudioDevicePropertyHogMode, {.status = -1234, .times = 1}}}}});
  EXPECT_EQ(writeHog(failing), -1234);
  EXPECT_EQ(hardware_.hogCount(), 0U);
  EXPECT_EQ(writeHog(failing), noErr);
  EXPECT_EQ(hardware_.hogCount(), 1U);
  hardware_.device(failing).setHogOwner(4711);
  EXPECT_EQ(hardware_.hogCount(), 0U);
}

TEST_F(SimulatedAudioHardwareTest, PropertiesAreMissingOrFailAsScripted) {
  SimulatedDeviceConfig config;
  config.properties.missing = {kAudioDevicePropertyHogMode};
  config.properties.readFailures[kAudioObjectPropertyName] = {.status = -5};
  config.properties.sizeFailures[kAudioDevicePropertyStreams] = {.status = -6};
  config.properties.settableFailures[kAudioDevicePropertyNominalSampleRate] = {.status = -7};
  config.properties.listenerFailures[kAudioDevicePropertyBufferFrameSize] = {.status = -8};
  config.streams.front().properties.readFailures[kAudioStreamPropertyPhysicalFormat] = {.status = -9, .times = 2};
  const auto dac = hardware_.addDevice(config);
  EXPECT_FALSE(hardware_.hasProperty(dac, global(kAudioDevicePropertyHogMode)));
  EXPECT_EQ(read<std::string>(dac, global(kAudioObjectPropertyName)), std::unexpected(-5));
  EXPECT_EQ(hardware_.propertyDataSize(dac, output(kAudioDevicePropertyStreams)), std::unexpected(-6));
  EXPECT_EQ(hardware_.isPropertySettable(dac, global(kAudioDevicePropertyNominalSampleRate)), std::unexpected(-7));
  EXPECT_EQ(hardware_.addPropertyListener(dac, global(kAudioDevicePropertyBufferFrameSize), [](const auto&) {}),
            std::unexpected(-8));
  const auto stream = hardware_.device(dac).streamIDs().front();
  for (const bool fails : {true, true, false}) {
    EXPECT_EQ(hardware_.propertyData(stream, global(kAudioStreamPropertyPhysicalFormat)).has_value(), !fails);
  }
}

TEST_F(SimulatedAudioHardwareTest, NewStreamsHaveNewIdsAndTheOldOnesAreGone) {
  const auto dac = hardware_.addDevice({});
  const auto old = hardware_.device(dac).streamIDs().front();
  listen(dac, output(kAudioDevicePropertyStreams));
  hardware_.device(dac).changeStreams({SimulatedStreamConfig{}, SimulatedStreamConfig{.isActive = false}});
  loop_.runUntilIdle();
  EXPECT_THAT(notified_, ElementsAre("stm#"));
  const auto streams = *read<std::vector<std::uint32_t>>(dac, output(kAudioDevicePropertyStreams));
  EXPECT_EQ(streams.size(), 2U);
  EXPECT_THAT(streams, testing::Not(Contains(old)));
  EXPECT_FALSE(hardware_.hasProperty(old, global(kAudioStreamPropertyIsActive)));
  EXPECT_EQ(read<std::uint32_t>(streams[1], global(kAudioStreamPropertyIsActive)), 0U);
}

TEST_F(SimulatedAudioHardwareTest, APendingNotificationIsDroppedOrArrivesLateAsTheTestWishes) {
  for (const bool comesLate : {false, true}) {
    notified_.clear();
    hardware_.setDeliversLateNotifications(comesLate);
    const auto dac = hardware_.addDevice({});
    listen(dac, global(kAudioDevicePropertyHogMode));
    hardware_.device(dac).setHogOwner(4711);
    EXPECT_EQ(hardware_.removePropertyListener(listener_), noErr);
    loop_.runUntilIdle();
    EXPECT_EQ(notified_.size(), comesLate ? 1U : 0U);
  }
}

TEST_F(SimulatedAudioHardwareTest, NotificationsOfHardwareThatHasGoneAreNeverDelivered) {
  int notified = 0;
  {
    SimulatedAudioHardware hardware(loop_);
    const auto dac = hardware.addDevice({.rateSettleDelay = 10ms});
    ASSERT_TRUE(
        hardware.addPropertyListener(dac, global(kAudioDevicePropertyHogMode), [&](const auto&) { ++notified; }));
    hardware.device(dac).setHogOwner(4711);
    EXPECT_EQ(hardware.setPropertyData(dac, global(kAudioDevicePropertyNominalSampleRate), 96000.0),
              kAudioDevicePermissionsError);
  }
  loop_.advance(100ms);
  EXPECT_EQ(notified, 0);
}

TEST_F(SimulatedAudioHardwareTest, TheTraceHasWritesInOrder) {
  const auto dac = hardware_.addDevice({});
  (void)writeHog(dac);
  (void)writeRate(dac, 100000);
  (void)nominalRate(dac);
  EXPECT_THAT(hardware_.trace().events(), ElementsAre("hog: write", "rate: write 100000"));
  hardware_.trace().clear();
  hardware_.trace().record({TraceCategory::read, TraceCategory::listener});
  (void)nominalRate(dac);
  (void)writeRate(dac, 96000);
  listen(dac, global(kAudioDevicePropertyHogMode));
  EXPECT_EQ(hardware_.removePropertyListener(listener_), noErr);
  EXPECT_THAT(hardware_.trace().events(), ElementsAre("rate: read", "listener: add hog", "listener: remove hog"));
}

TEST_F(SimulatedAudioHardwareTest, AnUnknownIdInTheScriptIsTheTestsMistake) {
  EXPECT_THROW((void)hardware_.device(99), std::invalid_argument);
  EXPECT_THROW((void)hardware_.properties(99), std::invalid_argument);
}

}  // namespace
}  // namespace tolvane
