#include "platform/simulated/SimulatedOutputUnit.h"

#include <gmock/gmock.h>

#include <cstring>

#include "platform/simulated/SimulatedAudioHardware.h"
#include "tests/support/Printers.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""us;
using std::chrono_literals::operator""s;
using testing::ElementsAre;
using P = AudioUnitProperty;
using S = AudioUnitScope;

constexpr AudioStreamBasicDescription k16Bit = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);

/// Counts what it is asked for and fills every byte with 1, or leaves the last bytes of each buffer out.
struct Source {
  std::int64_t frames = 0;
  int calls = 0;
  OSStatus status = noErr;
  std::uint32_t leftOut = 0;

  static OSStatus render(void* refCon, std::uint32_t frames, AudioBufferList* ioData) noexcept {
    auto& self = *static_cast<Source*>(refCon);
    self.frames += frames;
    ++self.calls;
    auto& buffer = ioData->mBuffers[0];
    std::memset(buffer.mData, 1, buffer.mDataByteSize);
    buffer.mDataByteSize -= self.leftOut;
    return self.status;
  }
};

class SimulatedOutputUnitTest : public testing::Test {
 protected:
  std::unique_ptr<AudioOutputUnit> playingUnit(SimulatedDeviceConfig config,
                                               AudioStreamBasicDescription format = k16Bit) {
    id_ = hardware_.addDevice(std::move(config));
    auto unit = std::move(*hardware_.outputComponent()->newInstance());
    EXPECT_EQ(unit->setProperty(P::currentDevice, S::global, 0, id_), noErr);
    EXPECT_EQ(unit->setProperty(P::streamFormat, S::input, 0, format), noErr);
    EXPECT_EQ(unit->setProperty(P::setRenderCallback, S::input, 0, AURenderCallback{&Source::render, &source_}), noErr);
    EXPECT_EQ(unit->initialize(), noErr);
    EXPECT_EQ(unit->start(), noErr);
    return unit;
  }
  SimulatedDevice& device() { return hardware_.device(id_); }
  static std::uint32_t isRunning(const AudioOutputUnit& unit) {
    return std::get<std::uint32_t>(*unit.property(P::isRunning, S::global, 0));
  }
  static double sampleTime(const AudioOutputUnit& unit) {
    return std::get<double>(*unit.property(P::lastRenderSampleTime, S::global, 0));
  }
  static std::int32_t lastRenderError(const AudioOutputUnit& unit) {
    return std::get<std::int32_t>(*unit.property(P::lastRenderError, S::global, 0));
  }

  ManualRunLoop loop_;
  SimulatedAudioHardware hardware_{loop_};
  AudioObjectID id_ = 0;
  Source source_;
};

TEST_F(SimulatedOutputUnitTest, ItFillsARingOfTwoPeriodsAndThenPullsOneAsOneIsHeard) {
  auto unit = playingUnit({.bufferFrameSize = 441});
  EXPECT_EQ(source_.calls, 0) << "never from inside a call";
  loop_.runUntilIdle();
  EXPECT_EQ(source_.frames, 882);
  loop_.advance(9999us);
  EXPECT_EQ(source_.frames, 882);
  loop_.advance(1us);
  EXPECT_EQ(source_.frames, 1323);
}

TEST_F(SimulatedOutputUnitTest, WhatIsInTheRingAtTheStopIsNotHeard) {
  auto unit = playingUnit({.captures = true});
  loop_.advance(1s);
  EXPECT_EQ(unit->stop(), noErr);
  EXPECT_EQ(unit->framesPlayed(), 44100);
  EXPECT_GT(source_.frames, 44100);
  EXPECT_EQ(device().heard().size(), 44100U * 4);
}

TEST_F(SimulatedOutputUnitTest, AFastOrSlowCrystalShowsInTheSampleTime) {
  auto unit = playingUnit({.clockErrorPPM = 100});
  loop_.advance(1000s);
  EXPECT_NEAR(sampleTime(*unit), 44100.0 * 1000 * 1.0001, 1);
  device().setClockErrorPPM(0);
  const double before = sampleTime(*unit);
  loop_.advance(1000s);
  EXPECT_NEAR(sampleTime(*unit) - before, 44100.0 * 1000, 1);
}

// At this rate a count of 32 bits ends after 27 hours.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int manyHours = 40;  // of a tenth of the speed or less
#else
constexpr int manyHours = 1000;
#endif

TEST_F(SimulatedOutputUnitTest, HundredsOfHoursAreCountedToTheFrame) {
  auto unit = playingUnit({.periodFrames = 441000}, linearPCM(44100, 1, 8, 1, 0));
  loop_.advance(std::chrono::hours(manyHours));
  EXPECT_EQ(sampleTime(*unit), 44100.0 * 3600 * manyHours);
  EXPECT_EQ(unit->stop(), noErr);
  EXPECT_EQ(unit->framesPlayed(), 44100LL * 3600 * manyHours);
}

TEST_F(SimulatedOutputUnitTest, AStallStopsTheClockAndThePullingButNotTheUnit) {
  auto unit = playingUnit({});
  loop_.advance(1s);
  device().stall();
  const double time = sampleTime(*unit);
  const auto frames = source_.frames;
  loop_.advance(10s);
  EXPECT_EQ(sampleTime(*unit), time);
  EXPECT_EQ(source_.frames, frames);
  EXPECT_EQ(isRunning(*unit), 1U);
  device().goOn();
  loop_.advance(1s);
  EXPECT_EQ(sampleTime(*unit), time + 44100);
}

TEST_F(SimulatedOutputUnitTest, AUnitStartedOnAStalledDeviceFillsItsRingAndWaits) {
  auto unit = playingUnit({});
  EXPECT_EQ(unit->stop(), noErr);
  device().stall();
  EXPECT_EQ(unit->start(), noErr);
  loop_.advance(5s);
  EXPECT_EQ(source_.frames, 1024);
  EXPECT_EQ(sampleTime(*unit), 0);
  EXPECT_EQ(unit->stop(), noErr);
  EXPECT_EQ(unit->framesPlayed(), 0);
}

TEST_F(SimulatedOutputUnitTest, ADeviceThatStopsByItselfCanBeStartedAgain) {
  auto unit = playingUnit({});
  loop_.advance(1s);
  device().stopByItself(-77);
  EXPECT_EQ(isRunning(*unit), 0U);
  EXPECT_EQ(lastRenderError(*unit), -77);
  const auto frames = source_.frames;
  loop_.advance(1s);
  EXPECT_EQ(source_.frames, frames);
  EXPECT_EQ(unit->stop(), noErr);
  EXPECT_EQ(unit->framesPlayed(), 44100);
  EXPECT_EQ(unit->start(), noErr);
  loop_.advance(1s);
  EXPECT_GT(source_.frames, frames);
}

TEST_F(SimulatedOutputUnitTest, AnUnderrunIsCountedAndLosesTimeButNoFrames) {
  auto unit = playingUnit({.captures = true});
  loop_.advance(1s);
  device().underrun(500ms);
  loop_.advance(1s);
  EXPECT_EQ(unit->underrunCount(), 1U);
  EXPECT_EQ(unit->stop(), noErr);
  EXPECT_EQ(unit->framesPlayed(), 44100 * 3 / 2);
  EXPECT_THAT(device().heard(), testing::Each(std::byte{1}));
}

TEST_F(SimulatedOutputUnitTest, FramesOfACallbackThatFailedOrLeftThemOutAreSilent) {
  auto unit = playingUnit({.bufferFrameSize = 4, .captures = true}, linearPCM(44100, 1, 8, 1, 0));
  source_.leftOut = 1;
  loop_.runUntilIdle();
  source_.status = -3;
  loop_.advance(1ms);
  constexpr std::byte one{1};
  constexpr std::byte silence{0x80};  // unsigned
  const auto& heard = device().heard();
  ASSERT_GE(heard.size(), 12U);
  EXPECT_THAT(std::vector<std::byte>(heard.begin(), heard.begin() + 12),
              ElementsAre(one, one, one, silence, one, one, one, silence, silence, silence, silence, silence));
  EXPECT_EQ(lastRenderError(*unit), -3);
}

TEST_F(SimulatedOutputUnitTest, ASampleTimeMayBeUnreadable) {
  auto unit = playingUnit({});
  loop_.advance(1s);
  device().setSampleTimeReadable(false);
  EXPECT_FALSE(unit->property(P::lastRenderSampleTime, S::global, 0).has_value());
  device().setSampleTimeReadable(true);
  EXPECT_EQ(sampleTime(*unit), 44100);
}

TEST_F(SimulatedOutputUnitTest, ThePhysicalFormatSuitsTheClientBest) {
  const struct {
    AudioStreamBasicDescription client;
    std::vector<AudioStreamBasicDescription> offered;
    std::uint32_t bits;
    bool isFloat;
  } cases[] = {
      {k16Bit, {physicalInteger(32), physicalInteger(24), physicalInteger(16)}, 16, false},
      {k16Bit, {physicalFloat32(), physicalInteger(32), physicalInteger(24)}, 24, false},
      {k16Bit, {physicalFloat32()}, 32, true},
      {linearPCM(44100, 2, 24, 3, kAudioFormatFlagIsSignedInteger),
       {physicalInteger(16), physicalInteger(32)},
       32,
       false},
      {linearPCM(44100, 2, 24, 3, kAudioFormatFlagIsSignedInteger), {physicalInteger(16), physicalFloat32()}, 32, true},
      {linearPCM(44100, 2, 24, 3, kAudioFormatFlagIsSignedInteger), {physicalInteger(16)}, 16, false},
      {float32PCM(44100, 2), {physicalInteger(16), physicalInteger(32), physicalFloat32()}, 32, true},
      {float32PCM(44100, 2), {physicalInteger(16), physicalInteger(24)}, 24, false},
  };
  for (const auto& [client, offered, bits, isFloat] : cases) {
    SimulatedDeviceConfig config;
    config.streams.front().physicalFormats = offered;
    const auto unit = playingUnit(config, client);
    const auto value = hardware_.propertyData(device().streamIDs().front(),
                                              {kAudioStreamPropertyPhysicalFormat, kAudioObjectPropertyScopeGlobal, 0});
    const auto format = std::get<AudioStreamBasicDescription>(*value);
    EXPECT_EQ(format.mBitsPerChannel, bits) << testing::PrintToString(client);
    EXPECT_EQ(format.isFloat(), isFloat) << testing::PrintToString(client);
    EXPECT_EQ(format.mSampleRate, 44100);
  }
}

TEST_F(SimulatedOutputUnitTest, EveryStageFailsOnceWithTheStatusOfTheScript) {
  const auto dac = hardware_.addDevice({});
  const struct {
    UnitStage stage;
    std::function<OSStatus(AudioOutputUnit&)> call;
  } stages[] = {
      {UnitStage::setCurrentDevice, [&](auto& u) { return u.setProperty(P::currentDevice, S::global, 0, dac); }},
      {UnitStage::enableOutput, [](auto& u) { return u.setProperty(P::enableIO, S::output, 0, 1U); }},
      {UnitStage::disableInput, [](auto& u) { return u.setProperty(P::enableIO, S::input, 1, 0U); }},
      {UnitStage::setFormat, [](auto& u) { return u.setProperty(P::streamFormat, S::input, 0, k16Bit); }},
      {UnitStage::readFormat,
       [](auto& u) {
         const auto format = u.property(P::streamFormat, S::input, 0);
         return format ? noErr : format.error();
       }},
      {UnitStage::renderQuality, [](auto& u) { return u.setProperty(P::renderQuality, S::global, 0, 127U); }},
      {UnitStage::setCallback,
       [&](auto& u) {
         return u.setProperty(P::setRenderCallback, S::input, 0, AURenderCallback{&Source::render, &source_});
       }},
      {UnitStage::initialize, [](auto& u) { return u.initialize(); }},
      {UnitStage::start, [](auto& u) { return u.start(); }},
  };
  auto unit = std::move(*hardware_.outputComponent()->newInstance());
  for (const auto& [stage, call] : stages) {
    hardware_.failNext(stage, -900 - static_cast<int>(stage));
    EXPECT_EQ(call(*unit), -900 - static_cast<int>(stage));
    EXPECT_EQ(call(*unit), noErr) << "the second time";
  }
  for (const auto& [stage, property] :
       {std::pair{UnitStage::lastRenderError, P::lastRenderError}, std::pair{UnitStage::isRunning, P::isRunning},
        std::pair{UnitStage::sampleTime, P::lastRenderSampleTime}}) {
    hardware_.failNext(stage, -5);
    EXPECT_EQ(unit->property(property, S::global, 0), std::unexpected(-5));
    EXPECT_TRUE(unit->property(property, S::global, 0).has_value());
  }
  hardware_.failNext(UnitStage::stop, -6);
  EXPECT_EQ(unit->stop(), -6);
  EXPECT_EQ(isRunning(*unit), 0U) << "stopped all the same";
  hardware_.failNext(UnitStage::uninitialize, -7);
  EXPECT_EQ(unit->uninitialize(), -7);
  EXPECT_EQ(unit->start(), kAudioUnitErr_Uninitialized) << "uninitialised all the same";
}

TEST_F(SimulatedOutputUnitTest, TheComponentMayBeMissingFailOrMakeNothing) {
  hardware_.failNext(UnitStage::newInstance, -8);
  EXPECT_EQ(hardware_.outputComponent()->newInstance().error(), -8);
  hardware_.setMakesNullInstances(true);
  EXPECT_EQ(*hardware_.outputComponent()->newInstance(), nullptr);
  hardware_.setHasOutputComponent(false);
  EXPECT_EQ(hardware_.outputComponent(), nullptr);
}

TEST_F(SimulatedOutputUnitTest, TheFormatReadBackMayDiffer) {
  const auto unit = playingUnit({});
  hardware_.setReportedClientFormat(float32PCM(48000, 2));
  EXPECT_TRUE(unit->property(P::streamFormat, S::input, 0) == AudioUnitPropertyValue(float32PCM(48000, 2)));
}

TEST_F(SimulatedOutputUnitTest, TheTraceHasAUnitsLifeInOrder) {
  {
    auto unit = playingUnit({.name = "DAC"});
    EXPECT_EQ(unit->setProperty(P::renderQuality, S::global, 0, kRenderQuality_Max), noErr);
    EXPECT_EQ(unit->stop(), noErr);
    EXPECT_EQ(unit->uninitialize(), noErr);
  }
  EXPECT_THAT(
      hardware_.trace().events(),
      ElementsAre("unit: create", "unit: set device DAC", "unit: set format", "unit: set callback", "unit: initialize",
                  "unit: start", "unit: set render quality 127", "unit: stop", "unit: uninitialize", "unit: destroy"));
}

TEST_F(SimulatedOutputUnitTest, UnitsAndOpenDevicesAreCounted) {
  EXPECT_EQ(SimulatedOutputUnit::liveCount(), 0);
  {
    const auto unit = playingUnit({});
    EXPECT_EQ(SimulatedOutputUnit::liveCount(), 1);
    EXPECT_EQ(hardware_.unitCount(), 1);
    EXPECT_EQ(hardware_.openDeviceCount(), 1U);
  }
  EXPECT_EQ(SimulatedOutputUnit::liveCount(), 0);
  EXPECT_EQ(hardware_.unitCount(), 0);
  EXPECT_EQ(hardware_.openDeviceCount(), 0U);
}

}  // namespace
}  // namespace tolvane
