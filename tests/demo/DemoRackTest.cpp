#include "demo/DemoRack.h"

#include <gmock/gmock.h>

#include "engine/BitPerfectAudioPlayer.h"
#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/SimulatedAudioFileServices.h"

namespace tolvane {
namespace {

constexpr std::size_t dac = 0;
constexpr std::size_t builtIn = 1;

/// The rack, and an engine that plays a long track on its DAC.
class Rack : public testing::Test {
 protected:
  Rack() {
    SimulatedPCMFile file;
    file.format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
    file.sourceBitDepth = 16;
    file.data.resize(std::size_t{60} * 44100 * 4);
    files.add(FileURL("/a.wav"), std::move(file));
    player.play(FileURL("/a.wav"));
    wait(1);
  }

  /// Both clocks go on.
  void wait(double seconds) { realTime.advance(durationFromSeconds(seconds)); }
  [[nodiscard]] AudioPathStatus::Kind verdict() const { return player.audioPathStatus().value().kind; }

  ManualRunLoop realTime;
  DemoRack rack{realTime};
  SimulatedAudioFileServices files;
  MemoryLog log;
  BitPerfectAudioPlayer player{rack.hardware(), files, rack.runLoop(), log};
};

TEST_F(Rack, PlaysBitPerfectlyWhileNothingHappens) {
  EXPECT_TRUE(player.isPlaying().value());
  EXPECT_EQ(verdict(), AudioPathStatus::Kind::bitPerfect);
  EXPECT_EQ(rack.rowCount(), 3U);
  EXPECT_EQ(rack.row(dac).name, "Studio DAC");
  EXPECT_EQ(rack.row(dac).rate, 44100);
}

TEST_F(Rack, UnplugsADeviceAndPlugsItInAgain) {
  rack.setPluggedIn(dac, false);
  wait(10);
  EXPECT_FALSE(rack.row(dac).isPluggedIn);
  EXPECT_NE(verdict(), AudioPathStatus::Kind::bitPerfect);
  rack.setPluggedIn(dac, true);
  rack.setPluggedIn(dac, true);
  wait(1);
  const auto devices = rack.hardware().propertyData(
      kAudioObjectSystemObject, {kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeGlobal, 0});
  ASSERT_TRUE(devices.has_value());
  player.setOutputDevice(std::get<std::vector<AudioObjectID>>(*devices).front());
  player.play(FileURL("/a.wav"));
  wait(1);
  EXPECT_TRUE(rack.row(dac).isPluggedIn);
  EXPECT_EQ(verdict(), AudioPathStatus::Kind::bitPerfect);
}

TEST_F(Rack, TakesADeviceFromThePlayerAndGivesItBack) {
  (void)player.setExclusiveAccessEnabled(true);
  wait(1);
  rack.setTaken(dac, true);
  wait(1);
  EXPECT_TRUE(rack.row(dac).isTaken);
  EXPECT_NE(player.exclusiveAccessStatus().value().kind, ExclusiveAccessStatus::Kind::active);
  rack.setTaken(dac, false);
  wait(10);
  EXPECT_FALSE(rack.row(dac).isTaken);
}

TEST_F(Rack, StallsADeviceUntilThePlayerRecovers) {
  rack.setStalled(dac, true);
  wait(1);
  EXPECT_TRUE(rack.row(dac).isStalled);
  rack.setStalled(dac, false);
  wait(10);
  EXPECT_TRUE(player.isPlaying().value());
  EXPECT_EQ(verdict(), AudioPathStatus::Kind::bitPerfect);
}

TEST_F(Rack, ChangesARateWhichThePlayerSetsRight) {
  rack.reclock(dac);
  EXPECT_NE(rack.row(dac).rate, 44100);
  wait(10);
  EXPECT_TRUE(player.isPlaying().value());
  EXPECT_EQ(rack.row(dac).rate, 44100);
  EXPECT_EQ(verdict(), AudioPathStatus::Kind::bitPerfect);
}

TEST_F(Rack, GoesThroughAllTheRatesOfADevice) {
  player.stop();
  std::vector<double> rates;
  for (int times = 0; times < 6; ++times) {
    rack.reclock(dac);
    rates.push_back(rack.row(dac).rate);
  }
  EXPECT_THAT(rates, testing::UnorderedElementsAre(44100, 48000, 88200, 96000, 176400, 192000));
}

TEST_F(Rack, LeavesADeviceWithOneRateAtIt) {
  EXPECT_FALSE(rack.row(builtIn).canReclock);
  rack.reclock(builtIn);
  EXPECT_EQ(rack.row(builtIn).rate, 48000);
}

}  // namespace
}  // namespace tolvane
