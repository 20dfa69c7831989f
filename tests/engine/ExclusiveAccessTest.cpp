#include <limits>

#include "tests/engine/PlayerFixture.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

const std::string anotherOwns =
    "Another process owns the output device. Tolvane Music Player will retry when it becomes available.";
const std::string released =
    "The output device released Exclusive Access. Tolvane Music Player is retrying automatically.";
const std::string retainedByAnother =
    "Sample rate and PCM format match with no app-level DSP, but Exclusive Access was requested and another process or "
    "the driver retained shared access.";

class ExclusiveAccessTest : public PlayerFixture {
 protected:
  AudioObjectID addSharedDevice(SimulatedDeviceConfig config = {}) {
    config.foreignHogShutsOut = false;
    return id = addDevice(std::move(config));
  }

  AudioObjectID id = 0;
  FileURL track = addTrack("/song.wav", 441000);
};

TEST_F(ExclusiveAccessTest, StartsOff) {
  EXPECT_EQ(exclusive(), (ExclusiveAccessStatus{ExclusiveKind::off,
                                                "Turn on Exclusive Access to prevent other apps from using the "
                                                "selected device. For unprocessed output, set Volume to 100% and "
                                                "Balance to Center."}));
}

TEST_F(ExclusiveAccessTest, TurningItOnWhileNothingPlaysOnlyRequestsIt) {
  addSharedDevice();
  EXPECT_EQ(player->setExclusiveAccessEnabled(true), std::nullopt);
  EXPECT_EQ(exclusive(),
            (ExclusiveAccessStatus{ExclusiveKind::requested,
                                   "Exclusive Access will be verified when an output device starts playing."}));
  EXPECT_TRUE(trace().empty());
}

TEST_F(ExclusiveAccessTest, TurningItOnWhilePlayingGoesOnAtTheSameFrame) {
  SimulatedDeviceConfig config;
  config.captures = true;
  addSharedDevice(config);
  player->play(track);
  advance(1s);
  std::vector<ExclusiveKind> kinds;
  std::vector<std::string> labels;
  const auto first = player->exclusiveAccessStatus().subscribe([&](const auto& s) { kinds.push_back(s.kind); });
  const auto second = player->audioPathStatus().subscribe([&](const auto& s) { labels.push_back(s.label); });
  const auto position = player->setExclusiveAccessEnabled(true);
  ASSERT_TRUE(position);
  EXPECT_NEAR(*position, 1.0, 0.001);
  EXPECT_THAT(kinds, ElementsAre(ExclusiveKind::checking, ExclusiveKind::active));
  EXPECT_THAT(labels, ElementsAre("CHECKING", "BIT-PERFECT"));
  EXPECT_EQ(path().detail,
            "Exclusive Access, 44.1 kHz, and the device PCM format are confirmed. No app-level DSP is active.");
  EXPECT_TRUE(isPlaying());
  advance(11s);
  auto heard = device(id).heard();
  heard.resize(tracks["/song.wav"].size());
  EXPECT_EQ(heard, tracks["/song.wav"]) << "no frame was lost or repeated";
  EXPECT_EQ(completions(), 1);
}

TEST_F(ExclusiveAccessTest, SwitchingWhilePausedStaysPaused) {
  addSharedDevice();
  player->play(track);
  advance(500ms);
  player->pause();
  const auto position = player->setExclusiveAccessEnabled(true);
  ASSERT_TRUE(position);
  EXPECT_NEAR(*position, 0.5, 0.001);
  EXPECT_TRUE(isPaused());
  EXPECT_EQ(exclusive().kind, ExclusiveKind::active);
  EXPECT_EQ(hardware.hogCount(), 1U);
  EXPECT_TRUE(player->setExclusiveAccessEnabled(false));
  EXPECT_TRUE(isPaused());
  EXPECT_EQ(hardware.hogCount(), 0U);
  EXPECT_EQ(exclusive().kind, ExclusiveKind::off);
}

TEST_F(ExclusiveAccessTest, SettingItToWhatItIsChangesNothing) {
  addSharedDevice();
  player->setExclusiveAccessEnabled(true);
  player->play(track);
  hardware.trace().clear();
  EXPECT_EQ(player->setExclusiveAccessEnabled(true), std::nullopt);
  EXPECT_TRUE(trace().empty());
  EXPECT_EQ(exclusive().kind, ExclusiveKind::active);
}

TEST_F(ExclusiveAccessTest, AFailureToStopForTheSwitchEndsPlayback) {
  addSharedDevice();
  player->play(track);
  hardware.failNext(UnitStage::stop, -66);
  EXPECT_EQ(player->setExclusiveAccessEnabled(true), std::nullopt);
  EXPECT_EQ(path(), AudioPathStatus::failed("The output device could not change exclusive access safely."));
  expectNothingHeld();
}

TEST_F(ExclusiveAccessTest, AFailureToConfigureForTheSwitchEndsPlayback) {
  addSharedDevice();
  player->play(track);
  hardware.failNext(UnitStage::initialize, -66);
  EXPECT_EQ(player->setExclusiveAccessEnabled(true), std::nullopt);
  EXPECT_EQ(path(), AudioPathStatus::failed("Initializing the output device failed (Core Audio -66)."));
  expectNothingHeld();
}

TEST_F(ExclusiveAccessTest, AnotherOwnerIsReportedAndNeverRobbed) {
  SimulatedDeviceConfig config;
  config.hogOwner = otherProcess;
  addSharedDevice(config);
  player->setExclusiveAccessEnabled(true);
  player->play(track);
  EXPECT_EQ(exclusive(), (ExclusiveAccessStatus{ExclusiveKind::lost, anotherOwns}));
  EXPECT_EQ(path(), (AudioPathStatus{PathKind::directPCM, "DIRECT PCM", retainedByAnother}));
  advance(3s);
  EXPECT_EQ(device(id).config().hogOwner, otherProcess);
  EXPECT_FALSE(hardware.trace().contains("hog: write"));
}

TEST_F(ExclusiveAccessTest, TakesTheDeviceAtTheNextCheckOnceItIsFree) {
  SimulatedDeviceConfig config;
  config.hogOwner = otherProcess;
  config.properties.listenerFailures[kAudioDevicePropertyHogMode] = {};
  const auto device1 = addSharedDevice(config);
  player->setExclusiveAccessEnabled(true);
  player->play(track);
  advance(700ms);
  device(device1).setHogOwner(-1);
  advance(299ms);
  EXPECT_EQ(exclusive().kind, ExclusiveKind::lost);
  advance(2ms);
  EXPECT_EQ(exclusive().kind, ExclusiveKind::active);
  EXPECT_EQ(path().label, "BIT-PERFECT");
  EXPECT_TRUE(log.contains("Exclusive Access was restored on device " + std::to_string(device1)));
}

TEST_F(ExclusiveAccessTest, RetakesAtMostOnceASecond) {
  SimulatedDeviceConfig config;
  config.hogOwner = otherProcess;
  addSharedDevice(config);
  player->setExclusiveAccessEnabled(true);
  player->play(track);
  device(id).script().ignoresHogWrites = true;
  device(id).setHogOwner(-1);
  advance(0ms);
  EXPECT_EQ(hardware.trace().count("hog: write"), 1U) << "the notice is answered at once";
  EXPECT_EQ(exclusive(), (ExclusiveAccessStatus{ExclusiveKind::lost, released}));
  for (int notice = 0; notice < 20; ++notice) {
    device(id).notifyAbout(kAudioDevicePropertyHogMode);
    advance(45ms);
  }
  EXPECT_EQ(hardware.trace().count("hog: write"), 1U);
  advance(4100ms);
  EXPECT_EQ(hardware.trace().count("hog: write"), 6U) << "at 1, 2, 3, 4 and 5 s";
}

TEST_F(ExclusiveAccessTest, SaysWithinHowManyMinutesADeviceIsTriedAgain) {
  SimulatedDeviceConfig config;
  config.ignoresHogWrites = true;
  config.hogPause = 0;
  addSharedDevice(config);
  player->setExclusiveAccessEnabled(true);
  player->play(track);
  EXPECT_EQ(exclusive(), (ExclusiveAccessStatus{ExclusiveKind::lost, released}));
  const auto waiting = [](const std::string& time) {
    return ExclusiveAccessStatus{
        ExclusiveKind::lost, "The output device released Exclusive Access. Tolvane Music Player will retry within " +
                                 time + ", or as soon as another program leaves the device."};
  };
  for (const auto& [seconds, time] : {std::pair{480.0, "8 minutes"},
                                      {479.5, "8 minutes"},
                                      {420.5, "8 minutes"},
                                      {420.0, "7 minutes"},
                                      {120.01, "3 minutes"},
                                      {120.0, "2 minutes"},
                                      {60.5, "2 minutes"},
                                      {60.01, "2 minutes"},
                                      {60.0, "a minute"},
                                      {59.99, "a minute"},
                                      {0.5, "a minute"},
                                      {1e-9, "a minute"}}) {
    device(id).script().hogPause = seconds;
    advance(500ms);
    EXPECT_EQ(exclusive(), waiting(time)) << seconds;
  }
  for (const double over : {0.0, -0.5, std::numeric_limits<double>::quiet_NaN()}) {
    device(id).script().hogPause = over;
    advance(500ms);
    EXPECT_EQ(exclusive(), (ExclusiveAccessStatus{ExclusiveKind::lost, released})) << over;
  }
  device(id).script().hogPause = 480;
  device(id).setHogOwner(otherProcess);
  advance(500ms);
  EXPECT_EQ(exclusive(), (ExclusiveAccessStatus{ExclusiveKind::lost, anotherOwns}));
}

TEST_F(ExclusiveAccessTest, LosingTheDeviceShowsInBothVerdicts) {
  addSharedDevice();
  player->setExclusiveAccessEnabled(true);
  player->play(track);
  device(id).setHogOwner(otherProcess);
  advance(0ms);
  EXPECT_EQ(exclusive(), (ExclusiveAccessStatus{ExclusiveKind::lost, anotherOwns}));
  EXPECT_EQ(path(), (AudioPathStatus{PathKind::directPCM, "DIRECT PCM", retainedByAnother}));
  EXPECT_TRUE(isPlaying());
  advance(1s);
  EXPECT_EQ(player->statistics().recoveries, 0U) << "a notice about hog mode is no reason to rebuild";
  EXPECT_FALSE(hardware.trace().contains("unit: stop"));
}

TEST_F(ExclusiveAccessTest, ADeviceWithoutHogModeIsUnavailable) {
  SimulatedDeviceConfig config;
  config.properties.missing = {kAudioDevicePropertyHogMode};
  addSharedDevice(config);
  player->setExclusiveAccessEnabled(true);
  player->play(track);
  EXPECT_EQ(exclusive(),
            (ExclusiveAccessStatus{ExclusiveKind::unavailable,
                                   "The selected output device does not provide verifiable Exclusive Access."}));
  EXPECT_EQ(path().detail,
            "Sample rate and PCM format match with no app-level DSP, but Exclusive Access was requested and the "
            "device does not expose exclusive access.");
}

TEST_F(ExclusiveAccessTest, LogsEveryChangeOnce) {
  addSharedDevice();
  player->setExclusiveAccessEnabled(true);
  player->setExclusiveAccessEnabled(true);
  player->play(track);
  advance(2s);
  player->setExclusiveAccessEnabled(false);
  std::vector<std::string> changes;
  for (const auto& message : log.messages())
    if (message.starts_with("Exclusive Access state changed to ")) changes.push_back(message.substr(34));
  EXPECT_THAT(changes, ElementsAre("requested", "checking", "active", "off"));
}

// What the verdict is judged from.

TEST_F(ExclusiveAccessTest, ATransportThatCannotBeReadIsNoBluetooth) {
  SimulatedDeviceConfig readable, missing, unreadable;
  readable.transport = missing.transport = unreadable.transport = kAudioDeviceTransportTypeBluetoothLE;
  missing.properties.missing = {kAudioDevicePropertyTransportType};
  unreadable.properties.readFailures[kAudioDevicePropertyTransportType] = {};
  for (const auto& [config, label] :
       {std::pair{readable, "DIRECT PCM"}, {missing, "BIT-PERFECT"}, {unreadable, "BIT-PERFECT"}}) {
    player->setOutputDevice(addDevice(config));
    player->play(track);
    EXPECT_EQ(path().label, label);
  }
}

TEST_F(ExclusiveAccessTest, AClientFormatThatCannotBeReadBackIsNoMatch) {
  addDevice();
  hardware.failNext(UnitStage::readFormat, kAudioUnitErr_InvalidProperty);
  player->play(track);
  EXPECT_EQ(path(), (AudioPathStatus{PathKind::converted, "CONVERTED",
                                     "AUHAL accepted a different client PCM format, so format conversion may be "
                                     "active."}));
  player->play(track);
  EXPECT_EQ(path().label, "BIT-PERFECT") << "the next verdict reads anew";
}

TEST_F(ExclusiveAccessTest, AClientFormatThatIsAnotherIsNoMatch) {
  addDevice();
  hardware.setReportedClientFormat(float32PCM(44100, 2));
  player->play(track);
  EXPECT_EQ(path().label, "CONVERTED");
}

TEST_F(ExclusiveAccessTest, APhysicalFormatThatCannotBeReadIsNeverBitPerfect) {
  SimulatedDeviceConfig withoutStreams, missing, unreadable;
  withoutStreams.streams.clear();
  missing.streams[0].properties.missing = {kAudioStreamPropertyPhysicalFormat};
  unreadable.streams[0].properties.readFailures[kAudioStreamPropertyPhysicalFormat] = {};
  for (const auto& config : {withoutStreams, missing, unreadable}) {
    player->setOutputDevice(addDevice(config));
    for (const bool isExclusive : {false, true}) {
      player->setExclusiveAccessEnabled(isExclusive);
      player->play(track);
      EXPECT_EQ(path(), (AudioPathStatus{PathKind::directPCM, "DIRECT PCM",
                                         std::string(isExclusive ? "Exclusive Access" : "Shared device access") +
                                             " is active and the sample rate matches, but the device does not expose "
                                             "its physical stream format."}));
    }
  }
}

TEST_F(ExclusiveAccessTest, RatesThatCannotBeReadAreNoMatch) {
  SimulatedDeviceConfig config;
  config.properties.readFailures[kAudioDevicePropertyNominalSampleRate] = {};
  config.actualRate = SimulatedActualRate::unreadable;
  addDevice(config);
  player->play(track);
  EXPECT_EQ(path(), (AudioPathStatus{PathKind::converted, "CONVERTED",
                                     "The track is 44.1 kHz, but the device reports an unknown rate. Core Audio "
                                     "sample-rate conversion may be active."}));
}

}  // namespace
}  // namespace tolvane
