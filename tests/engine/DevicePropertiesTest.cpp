#include "engine/DeviceProperties.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/SimulatedAudioHardware.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int32_t otherProcess = 4321;

class DevicePropertiesTest : public testing::Test {
 protected:
  AudioObjectID addDevice(SimulatedDeviceConfig config = {}) { return hardware.addDevice(std::move(config)); }
  SimulatedDevice& device(AudioObjectID id) { return hardware.device(id); }
  [[nodiscard]] std::vector<std::string> writes() { return hardware.trace().events(); }

  ManualRunLoop runLoop;
  SimulatedAudioHardware hardware{runLoop};
  DeviceProperties properties{hardware, runLoop};
};

// Scalars and formats.

TEST_F(DevicePropertiesTest, ReadsWhatIsThereAndNothingElse) {
  SimulatedDeviceConfig config;
  config.properties.missing = {kAudioDevicePropertyActualSampleRate};
  config.properties.readFailures[kAudioDevicePropertyBufferFrameSize] = {};
  const auto id = addDevice(config);
  EXPECT_EQ(properties.readDeviceUInt32(id, kAudioDevicePropertyTransportType), kAudioDeviceTransportTypeUSB);
  EXPECT_EQ(properties.readDeviceSampleRate(id, kAudioDevicePropertyNominalSampleRate), 44100);
  EXPECT_EQ(properties.readDeviceSampleRate(id, kAudioDevicePropertyActualSampleRate), std::nullopt);
  EXPECT_EQ(properties.readDeviceUInt32(id, kAudioDevicePropertyBufferFrameSize), std::nullopt);
  EXPECT_EQ(properties.readDeviceUInt32(999, kAudioDevicePropertyTransportType), std::nullopt);
}

TEST_F(DevicePropertiesTest, ListsNoStreamsWhenTheirSizeOrTheListCannotBeRead) {
  SimulatedDeviceConfig none, noSize, noList;
  none.streams.clear();
  noSize.properties.sizeFailures[kAudioDevicePropertyStreams] = {};
  noList.properties.readFailures[kAudioDevicePropertyStreams] = {};
  EXPECT_THAT(properties.readOutputStreamIDs(addDevice(none)), IsEmpty());
  EXPECT_THAT(properties.readOutputStreamIDs(addDevice(noSize)), IsEmpty());
  EXPECT_THAT(properties.readOutputStreamIDs(addDevice(noList)), IsEmpty());
  EXPECT_EQ(properties.readOutputStreamIDs(addDevice()).size(), 1U);
}

/// A stream with one physical format of so many bits.
SimulatedStreamConfig stream(std::uint32_t bits, bool isActive) {
  SimulatedStreamConfig config;
  config.physicalFormats = {physicalInteger(bits)};
  config.isActive = isActive;
  return config;
}

std::uint32_t bitsOf(const std::optional<AudioStreamBasicDescription>& format) {
  return format ? format->mBitsPerChannel : 0;
}

TEST_F(DevicePropertiesTest, TakesThePhysicalFormatOfTheFirstActiveStream) {
  SimulatedDeviceConfig config;
  config.streams = {stream(16, false), stream(24, true), stream(32, true)};
  EXPECT_EQ(bitsOf(properties.readOutputPhysicalFormat(addDevice(config))), 24U);
}

TEST_F(DevicePropertiesTest, TakesTheFirstReadablePhysicalFormatWhenNoStreamIsActive) {
  SimulatedDeviceConfig config;
  config.streams = {stream(16, false), stream(24, false), stream(32, false)};
  config.streams[0].properties.readFailures[kAudioStreamPropertyPhysicalFormat] = {};
  EXPECT_EQ(bitsOf(properties.readOutputPhysicalFormat(addDevice(config))), 24U);
}

TEST_F(DevicePropertiesTest, CountsAStreamWhoseActivityCannotBeReadAsInactive) {
  SimulatedDeviceConfig config;
  config.streams = {stream(16, true), stream(24, true)};
  config.streams[0].properties.readFailures[kAudioStreamPropertyIsActive] = {};
  EXPECT_EQ(bitsOf(properties.readOutputPhysicalFormat(addDevice(config))), 24U);
}

TEST_F(DevicePropertiesTest, FindsNoPhysicalFormatWhereNoneCanBeRead) {
  SimulatedDeviceConfig config;
  config.streams = {stream(16, true)};
  config.streams[0].properties.missing = {kAudioStreamPropertyPhysicalFormat};
  EXPECT_EQ(properties.readOutputPhysicalFormat(addDevice(config)), std::nullopt);
}

// Hog mode.

TEST_F(DevicePropertiesTest, ReportsHogModeAsTheDeviceDoes) {
  SimulatedDeviceConfig without, unreadable, foreign, own;
  without.properties.missing = {kAudioDevicePropertyHogMode};
  unreadable.properties.readFailures[kAudioDevicePropertyHogMode] = {};
  foreign.hogOwner = otherProcess;
  own.hogOwner = ::getpid();
  EXPECT_EQ(properties.readHogMode(addDevice(without)), (HogModeReport{false, false, -1}));
  EXPECT_EQ(properties.readHogMode(addDevice(unreadable)), (HogModeReport{true, false, -1, 0, false}));
  EXPECT_EQ(properties.readHogMode(addDevice(foreign)), (HogModeReport{true, false, otherProcess}));
  EXPECT_EQ(properties.readHogMode(addDevice(own)), (HogModeReport{true, true, ::getpid()}));
  EXPECT_EQ(properties.readHogMode(addDevice()), (HogModeReport{true, false, -1}));
}

TEST_F(DevicePropertiesTest, AcquiresAFreeDevice) {
  const auto id = addDevice();
  EXPECT_EQ(properties.acquireHogMode(id), (HogModeReport{true, true, ::getpid()}));
  EXPECT_THAT(writes(), ElementsAre("hog: write"));
}

TEST_F(DevicePropertiesTest, LeavesADeviceThatAnotherProcessHolds) {
  SimulatedDeviceConfig config;
  config.hogOwner = otherProcess;
  EXPECT_EQ(properties.acquireHogMode(addDevice(config)), (HogModeReport{true, false, otherProcess}));
  EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(DevicePropertiesTest, AcquiringWhatIsHeldAlreadyWritesNothing) {
  SimulatedDeviceConfig config;
  config.hogOwner = ::getpid();
  EXPECT_EQ(properties.acquireHogMode(addDevice(config)), (HogModeReport{true, true, ::getpid()}));
  EXPECT_THAT(writes(), IsEmpty()) << "a write would release it";
}

TEST_F(DevicePropertiesTest, AcquiresNothingWhereHogModeIsAbsentFixedOrRefused) {
  SimulatedDeviceConfig absent, fixed, unclear, refused, ignored;
  absent.properties.missing = {kAudioDevicePropertyHogMode};
  fixed.hogIsSettable = false;
  unclear.properties.settableFailures[kAudioDevicePropertyHogMode] = {};
  refused.properties.writeFailures[kAudioDevicePropertyHogMode] = {};
  ignored.ignoresHogWrites = true;
  EXPECT_EQ(properties.acquireHogMode(addDevice(absent)), (HogModeReport{false, false, -1}));
  EXPECT_EQ(properties.acquireHogMode(addDevice(fixed)), (HogModeReport{true, false, -1}));
  EXPECT_EQ(properties.acquireHogMode(addDevice(unclear)), (HogModeReport{true, false, -1}));
  EXPECT_THAT(writes(), IsEmpty());
  EXPECT_EQ(properties.acquireHogMode(addDevice(refused)), (HogModeReport{true, false, -1}));
  EXPECT_EQ(properties.acquireHogMode(addDevice(ignored)), (HogModeReport{true, false, -1}));
}

TEST_F(DevicePropertiesTest, ReleasesOnlyWhatThisProcessHolds) {
  SimulatedDeviceConfig own, foreign, unreadable, absent;
  own.hogOwner = ::getpid();
  foreign.hogOwner = otherProcess;
  unreadable.hogOwner = ::getpid();
  unreadable.properties.readFailures[kAudioDevicePropertyHogMode] = {};
  absent.properties.missing = {kAudioDevicePropertyHogMode};
  for (const auto& config : {foreign, unreadable, absent}) properties.releaseHogMode(addDevice(config));
  EXPECT_THAT(writes(), IsEmpty());
  const auto id = addDevice(own);
  properties.releaseHogMode(id);
  EXPECT_THAT(writes(), ElementsAre("hog: write"));
  EXPECT_EQ(properties.readHogMode(id).ownerPID, -1);
}

// Sample rate.

TEST_F(DevicePropertiesTest, NeedsNoChangeWithinTheTolerance) {
  SimulatedDeviceConfig config;
  config.nominalRate = 44100.5;
  const auto report = properties.configureSampleRate(44100, addDevice(config));
  EXPECT_EQ(report, (SampleRateReport{44100, 44100.5, 44100.5, false, true}));
  EXPECT_TRUE(report.isMatched());
  EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(DevicePropertiesTest, ChangesARateThatIsTwoHertzOff) {
  SimulatedDeviceConfig config;
  config.nominalRate = 44102;
  const auto report = properties.configureSampleRate(44100, addDevice(config));
  EXPECT_EQ(report, (SampleRateReport{44100, 44100, 44100, true, true}));
  EXPECT_THAT(writes(), ElementsAre("rate: write 44100"));
}

TEST_F(DevicePropertiesTest, WaitsUntilASlowDeviceHasSettled) {
  SimulatedDeviceConfig config;
  config.rateSettleDelay = 60ms;
  config.actualRateLag = 41ms;
  const auto before = runLoop.now();
  const auto report = properties.configureSampleRate(96000, addDevice(config));
  EXPECT_TRUE(report.isMatched());
  EXPECT_EQ(runLoop.now() - before, 105ms) << "21 rounds of 5 ms";
}

TEST_F(DevicePropertiesTest, GivesUpAfterFiftyRoundsOfFiveMilliseconds) {
  SimulatedDeviceConfig config;
  config.ignoresRateWrites = true;
  const auto before = runLoop.now();
  const auto report = properties.configureSampleRate(96000, addDevice(config));
  EXPECT_EQ(runLoop.now() - before, 250ms);
  EXPECT_EQ(report, (SampleRateReport{96000, 44100, 44100, true, true}));
  EXPECT_FALSE(report.isMatched());
}

TEST_F(DevicePropertiesTest, WaitsForTheActualRateToo) {
  SimulatedDeviceConfig config;
  config.actualRate = SimulatedActualRate::fixed;
  config.fixedActualRate = 48000;
  const auto before = runLoop.now();
  const auto report = properties.configureSampleRate(44100, addDevice(config));
  EXPECT_EQ(runLoop.now() - before, 250ms);
  EXPECT_EQ(report, (SampleRateReport{44100, 44100, 48000, false, true}));
  EXPECT_FALSE(report.isMatched());
}

TEST_F(DevicePropertiesTest, JudgesByTheNominalRateWhereTheActualOneIsNotReported) {
  for (const auto kind : {SimulatedActualRate::absent, SimulatedActualRate::unreadable}) {
    SimulatedDeviceConfig config;
    config.actualRate = kind;
    const auto report = properties.configureSampleRate(96000, addDevice(config));
    EXPECT_EQ(report, (SampleRateReport{96000, 96000, 0, true, true}));
    EXPECT_TRUE(report.isMatched());
  }
}

TEST_F(DevicePropertiesTest, DoesNotWaitWhenTheRateCannotBeWritten) {
  SimulatedDeviceConfig fixed, unclear, refused;
  fixed.rateIsSettable = false;
  unclear.properties.settableFailures[kAudioDevicePropertyNominalSampleRate] = {};
  refused.properties.writeFailures[kAudioDevicePropertyNominalSampleRate] = {};
  const auto before = runLoop.now();
  for (const auto& config : {fixed, unclear, refused}) {
    const auto report = properties.configureSampleRate(96000, addDevice(config));
    EXPECT_EQ(report, (SampleRateReport{96000, 44100, 44100, true, false}));
    EXPECT_FALSE(report.isMatched());
  }
  EXPECT_EQ(runLoop.now(), before);
}

TEST_F(DevicePropertiesTest, WritesWhenTheRateCouldNotBeRead) {
  SimulatedDeviceConfig config;
  config.properties.readFailures[kAudioDevicePropertyNominalSampleRate] = {};
  const auto report = properties.configureSampleRate(44100, addDevice(config));
  EXPECT_TRUE(report.rateChangeAttempted);
  EXPECT_EQ(report.nominalRate, 0);
  EXPECT_FALSE(report.isMatched());
}

TEST_F(DevicePropertiesTest, RestoresARateOnlyWhereItDiffers) {
  const auto id = addDevice();
  properties.restoreNominalSampleRate(44100.4, id);
  EXPECT_THAT(writes(), IsEmpty());
  properties.restoreNominalSampleRate(96000, id);
  EXPECT_THAT(writes(), ElementsAre("rate: write 96000"));
}

class LateRateTest : public DevicePropertiesTest {
 protected:
  /// A device at 44.1 kHz that has been asked for 96 kHz, which it reaches 150 ms after the engine has stopped waiting.
  AudioObjectID addLateDevice() {
    SimulatedDeviceConfig config;
    config.rateSettleDelay = 400ms;
    const auto id = addDevice(config);
    EXPECT_FALSE(properties.configureSampleRate(96000, id).isMatched());
    return id;
  }
  double rateInTheEnd(AudioObjectID id) {
    runLoop.advance(5s);
    return hardware.device(id).config().nominalRate;
  }
};

TEST_F(LateRateTest, IsOvertakenByTheRateThatIsGivenBack) {
  const auto id = addLateDevice();
  properties.restoreNominalSampleRate(44100, id);
  EXPECT_EQ(rateInTheEnd(id), 44100);
}

TEST_F(LateRateTest, IsNotForgottenOverARequestThatIsRefused) {
  const auto id = addLateDevice();
  constexpr double unsupported = 11025;
  EXPECT_FALSE(properties.configureSampleRate(unsupported, id).didWaitForRate);
  properties.restoreNominalSampleRate(44100, id);
  EXPECT_EQ(rateInTheEnd(id), 44100);
}

TEST_F(LateRateTest, IsOvertakenByTheRateThatTheDeviceStillHas) {
  const auto id = addLateDevice();
  EXPECT_TRUE(properties.configureSampleRate(44100, id).isMatched());
  EXPECT_THAT(writes(), ElementsAre("rate: write 96000", "rate: write 44100"));
  EXPECT_EQ(rateInTheEnd(id), 44100);
}

TEST_F(LateRateTest, IsWrittenOnceWhereTheDeviceHasArrived) {
  const auto id = addLateDevice();
  EXPECT_EQ(rateInTheEnd(id), 96000);
  EXPECT_TRUE(properties.configureSampleRate(96000, id).isMatched());
  properties.restoreNominalSampleRate(96000, id);
  EXPECT_THAT(writes(), ElementsAre("rate: write 96000"));
}

TEST_F(DevicePropertiesTest, RestoresNothingOnADeviceWhoseRateCannotBeRead) {
  SimulatedDeviceConfig absent, unreadable;
  absent.properties.missing = {kAudioDevicePropertyNominalSampleRate};
  unreadable.properties.readFailures[kAudioDevicePropertyNominalSampleRate] = {};
  properties.restoreNominalSampleRate(96000, addDevice(absent));
  properties.restoreNominalSampleRate(96000, addDevice(unreadable));
  properties.restoreNominalSampleRate(96000, 999);
  EXPECT_THAT(writes(), IsEmpty());
}

TEST(SampleRateReport, MatchesOnlyWhatIsKnown) {
  EXPECT_FALSE((SampleRateReport{0, 44100, 44100}).isMatched());
  EXPECT_FALSE((SampleRateReport{44100, 0, 44100}).isMatched());
  EXPECT_FALSE((SampleRateReport{44100, 44100, 44102}).isMatched());
  EXPECT_TRUE((SampleRateReport{44100, 44100.9, -1}).isMatched());
}

// Selection.

TEST_F(DevicePropertiesTest, ResolvesThePreferredDeviceUnchanged) {
  EXPECT_EQ(properties.resolveOutputDevice(77), Result<AudioObjectID>(77));
}

TEST_F(DevicePropertiesTest, ResolvesTheSystemsDefaultDevice) {
  const auto id = addDevice();
  EXPECT_EQ(properties.resolveOutputDevice(std::nullopt), Result<AudioObjectID>(id));
}

TEST_F(DevicePropertiesTest, SaysWhenThereIsNoDevice) {
  EXPECT_EQ(properties.resolveOutputDevice(std::nullopt).error().errorDescription(),
            "No output audio device is available.");
}

TEST_F(DevicePropertiesTest, SaysWhenTheDefaultDeviceCannotBeRead) {
  hardware.systemProperties().readFailures[kAudioHardwarePropertyDefaultOutputDevice] = {-66, 1};
  EXPECT_EQ(properties.resolveOutputDevice(std::nullopt).error().errorDescription(),
            "Selecting the default output device failed (Core Audio -66).");
}

}  // namespace
}  // namespace tolvane
