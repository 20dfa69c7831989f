// The wait for a rate that was given back a moment ago and may not have arrived yet.

#include <gtest/gtest.h>

#include "engine/DeviceProperties.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/SimulatedAudioHardware.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;

constexpr RunLoop::Duration longest = 250ms;

class RestoredRateTest : public testing::Test {
 protected:
  /// A device at 44.1 kHz that follows a write after so long.
  AudioObjectID addDevice(RunLoop::Duration settleDelay) {
    SimulatedDeviceConfig config;
    config.rateSettleDelay = settleDelay;
    return hardware.addDevice(std::move(config));
  }
  RunLoop::Duration waitsFor(AudioObjectID id) {
    const auto before = runLoop.now();
    properties.waitForRestoredRate(id);
    return runLoop.now() - before;
  }

  ManualRunLoop runLoop;
  SimulatedAudioHardware hardware{runLoop};
  DeviceProperties properties{hardware, runLoop};
};

TEST_F(RestoredRateTest, IsWaitedForOnlyUntilItHasArrived) {
  const auto id = addDevice(60ms);
  properties.restoreNominalSampleRate(96000, id);
  EXPECT_EQ(waitsFor(id), 60ms);
}

TEST_F(RestoredRateTest, IsWaitedForOnce) {
  const auto id = addDevice(longest * 2);
  properties.restoreNominalSampleRate(96000, id);
  EXPECT_EQ(waitsFor(id), longest);
  EXPECT_EQ(waitsFor(id), 0ms);
}

TEST_F(RestoredRateTest, IsWaitedForOnlyTheRestOfItsTime) {
  const auto id = addDevice(longest * 2);
  properties.restoreNominalSampleRate(96000, id);
  runLoop.advance(200ms);
  EXPECT_EQ(waitsFor(id), 50ms);
}

TEST_F(RestoredRateTest, IsNotWaitedForOnceItsTimeIsOver) {
  const auto id = addDevice(longest * 2);
  properties.restoreNominalSampleRate(96000, id);
  runLoop.advance(longest);
  EXPECT_EQ(waitsFor(id), 0ms);
}

TEST_F(RestoredRateTest, IsNotWaitedForWhereNothingHadToBeRestored) {
  const auto id = addDevice(longest);
  EXPECT_EQ(waitsFor(id), 0ms);
  properties.restoreNominalSampleRate(44100, id);
  EXPECT_EQ(waitsFor(id), 0ms);
}

TEST_F(RestoredRateTest, IsNotWaitedForOnAnotherDeviceOrOneThatHasGone) {
  const auto id = addDevice(longest);
  properties.restoreNominalSampleRate(96000, id);
  EXPECT_EQ(waitsFor(addDevice(longest)), 0ms);
  hardware.removeDevice(id);
  EXPECT_EQ(waitsFor(id), 0ms);
}

TEST_F(RestoredRateTest, OfSeveralDevicesIsEachOnesOwn) {
  const auto first = addDevice(longest * 2);
  const auto second = addDevice(longest * 2);
  properties.restoreNominalSampleRate(96000, first);
  runLoop.advance(100ms);
  properties.restoreNominalSampleRate(96000, second);
  EXPECT_EQ(waitsFor(first), 150ms);
  EXPECT_EQ(waitsFor(second), 100ms);
}

}  // namespace
}  // namespace tolvane
