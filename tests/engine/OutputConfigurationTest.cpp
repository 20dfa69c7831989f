#include "engine/EngineStateMachine.h"

#include "tests/engine/PlayerFixture.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class OutputConfigurationTest : public PlayerFixture {
 protected:
  /// A DAC that stands at 44.1 kHz; the track is at 96 kHz.
  SimulatedDeviceConfig dac;
  FileURL track = addTrack("/song.wav", 96000, 96000);
};

TEST_F(OutputConfigurationTest, TakesItsStepsInOrder) {
  addDevice(dac);
  ASSERT_EQ(player->setExclusiveAccessEnabled(true), std::nullopt);
  player->play(track);
  EXPECT_THAT(trace(), ElementsAre("hog: write", "rate: write 96000", "unit: create", "unit: set device DAC",
                                   "unit: enable output", "unit: disable input", "unit: set format",
                                   "unit: set callback", "unit: initialize", "unit: start"));
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(path().label, "BIT-PERFECT");
  EXPECT_EQ(exclusive().kind, ExclusiveKind::active);
}

TEST_F(OutputConfigurationTest, IsUndoneInOrder) {
  addDevice(dac);
  player->setExclusiveAccessEnabled(true);
  player->play(track);
  hardware.trace().clear();
  player->stop();
  EXPECT_THAT(trace(),
              ElementsAre("unit: stop", "unit: uninitialize", "unit: destroy", "rate: write 44100", "hog: write"));
  EXPECT_EQ(path(), AudioPathStatus::ready());
  EXPECT_EQ(exclusive(), ExclusiveAccessStatus::requested());
  expectNothingHeld();
}

TEST_F(OutputConfigurationTest, NeitherTakesHogModeNorWritesARateThatFits) {
  addDevice(dac);
  const auto fitting = addTrack("/fits.wav", 44100, 44100);
  player->play(fitting);
  EXPECT_FALSE(hardware.trace().contains("hog: write"));
  EXPECT_TRUE(hardware.trace().startingWith("rate:").empty());
  EXPECT_EQ(exclusive(), ExclusiveAccessStatus::off());
}

TEST_F(OutputConfigurationTest, PublishesCheckingThenTheVerdict) {
  addDevice(dac);
  std::vector<std::string> labels;
  const auto subscription =
      player->audioPathStatus().subscribe([&](const auto& status) { labels.push_back(status.label); });
  player->play(track);
  EXPECT_THAT(labels, ElementsAre("CHECKING", "BIT-PERFECT"));
  EXPECT_EQ(player->duration().value(), 1.0);
  EXPECT_EQ(player->sampleRate().value(), 96000);
  EXPECT_EQ(player->currentURL().value(), track);
}

TEST_F(OutputConfigurationTest, LogsWhatItConfigured) {
  const auto id = addDevice(dac);
  player->play(track);
  EXPECT_TRUE(log.contains("Configured output device " + std::to_string(id) + ", transport " +
                           std::to_string(kAudioDeviceTransportTypeUSB) +
                           ", source 96000.000000 Hz, device 96000.000000 Hz"));
  EXPECT_EQ(log.lines().front().category, "AudioOutput");
}

TEST_F(OutputConfigurationTest, NeverChangesTheRateOfABluetoothDeviceAndAsksForQuality) {
  for (const auto transport : {kAudioDeviceTransportTypeBluetooth, kAudioDeviceTransportTypeBluetoothLE}) {
    dac.transport = transport;
    player->setOutputDevice(addDevice(dac));
    player->play(track);
    EXPECT_TRUE(hardware.trace().contains("unit: set render quality 127"));
    EXPECT_EQ(path().detail,
              "Bluetooth output is running at 44.1 kHz; Core Audio converts the 96 kHz source before the wireless "
              "codec.");
    player->stop();
    EXPECT_TRUE(hardware.trace().startingWith("rate:").empty());
    hardware.trace().clear();
  }
}

TEST_F(OutputConfigurationTest, RestoresNoRateOnABluetoothDevice) {
  const auto wired = addDevice(dac);
  dac.transport = kAudioDeviceTransportTypeBluetooth;
  const auto bluetooth = addDevice(dac);
  player->setOutputDevice(wired);
  player->play(track);
  player->setOutputDevice(bluetooth);
  ASSERT_TRUE(isPlaying());
  hardware.trace().clear();
  device(bluetooth).setNominalRateFromOutside(48000);
  player->stop();
  EXPECT_TRUE(hardware.trace().startingWith("rate:").empty()) << "neither its own rate nor the wired device's";
}

TEST_F(OutputConfigurationTest, PlaysOnABluetoothUnitThatKnowsNoQuality) {
  dac.transport = kAudioDeviceTransportTypeBluetooth;
  addDevice(dac);
  hardware.failNext(UnitStage::renderQuality, kAudioUnitErr_InvalidProperty);
  player->play(track);
  EXPECT_TRUE(isPlaying());
}

// Failures: at every step, the message is right and no resource is left behind.

struct StageFailure {
  const char* name;
  std::function<void(SimulatedAudioHardware&)> arrange;
  const char* detail;
};

class StageFailureTest : public PlayerFixture, public testing::WithParamInterface<StageFailure> {};

TEST_P(StageFailureTest, LeavesNothingBehind) {
  SimulatedDeviceConfig dac;
  const auto id = addDevice(dac);
  const auto track = addTrack("/song.wav", 96000, 96000);
  player->setExclusiveAccessEnabled(true);
  GetParam().arrange(hardware);
  player->play(track);
  EXPECT_EQ(path(), AudioPathStatus::failed(GetParam().detail));
  EXPECT_EQ(exclusive(), ExclusiveAccessStatus::requested());
  EXPECT_EQ(device(id).config().nominalRate, 44100) << "the rate is restored";
  EXPECT_EQ(device(id).config().hogOwner, -1) << "hog mode is released";
  EXPECT_EQ(player->duration().value(), 0);
  expectNothingHeld();

  hardware.unitFaults().healAll();
  hardware.setHasOutputComponent(true);
  hardware.setMakesNullInstances(false);
  player->play(track);
  EXPECT_EQ(path().label, "BIT-PERFECT") << "and the next attempt works";
}

auto failing(UnitStage stage) {
  return [stage](SimulatedAudioHardware& hardware) { hardware.failNext(stage, -10875); };
}

INSTANTIATE_TEST_SUITE_P(EveryStep, StageFailureTest,
                         testing::Values(StageFailure{"component", [](auto& h) { h.setHasOutputComponent(false); },
                                                      "The Core Audio output component is unavailable."},
                                         StageFailure{"instance", failing(UnitStage::newInstance),
                                                      "Creating the Core Audio output failed (Core Audio -10875)."},
                                         StageFailure{"nullInstance", [](auto& h) { h.setMakesNullInstances(true); },
                                                      "The Core Audio output could not be created."},
                                         StageFailure{"device", failing(UnitStage::setCurrentDevice),
                                                      "Binding the output device failed (Core Audio -10875)."},
                                         StageFailure{"output", failing(UnitStage::enableOutput),
                                                      "Enabling audio output failed (Core Audio -10875)."},
                                         StageFailure{"input", failing(UnitStage::disableInput),
                                                      "Disabling unused audio input failed (Core Audio -10875)."},
                                         StageFailure{"format", failing(UnitStage::setFormat),
                                                      "Setting the source PCM format failed (Core Audio -10875)."},
                                         StageFailure{"callback", failing(UnitStage::setCallback),
                                                      "Installing the real-time renderer failed (Core Audio -10875)."},
                                         StageFailure{"initialize", failing(UnitStage::initialize),
                                                      "Initializing the output device failed (Core Audio -10875)."},
                                         StageFailure{"start", failing(UnitStage::start),
                                                      "Starting the output device failed (Core Audio -10875)."}),
                         [](const auto& test) { return test.param.name; });

TEST_F(OutputConfigurationTest, FailsWithoutAnyDevice) {
  player->play(track);
  EXPECT_EQ(path(), AudioPathStatus::failed("No output audio device is available."));
  expectNothingHeld();
}

TEST_F(OutputConfigurationTest, FailsOnAChosenDeviceThatIsGone) {
  const auto id = addDevice(dac);
  hardware.removeDevice(id);
  player->setOutputDevice(id);
  player->play(track);
  EXPECT_EQ(path().detail, "Binding the output device failed (Core Audio 560227702).");
  expectNothingHeld();
}

TEST_F(OutputConfigurationTest, AFileThatCannotBePreparedTouchesNoDevice) {
  addDevice(dac);
  player->play(FileURL("/gone.wav"));
  EXPECT_EQ(path().kind, PathKind::error);
  EXPECT_EQ(path().detail, "Opening the PCM file failed (Core Audio -43).");
  EXPECT_TRUE(trace().empty());
  expectNothingHeld();
}

TEST_F(OutputConfigurationTest, ReportsADeviceThatRefusesTheRateInsteadOfPretending) {
  dac.rates = {{44100, 44100}, {48000, 48000}};
  addDevice(dac);
  player->play(track);
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(path().detail,
            "The track is 96 kHz, but the device reports 44.1 kHz. Core Audio sample-rate conversion may be active.");
}

TEST_F(OutputConfigurationTest, ReportsAUnitThatTookAnotherClientFormat) {
  addDevice(dac);
  hardware.setReportedClientFormat(float32PCM(96000, 2));
  player->play(track);
  EXPECT_EQ(path().detail, "AUHAL accepted a different client PCM format, so format conversion may be active.");
}

TEST_F(OutputConfigurationTest, ARateThatIsStillBeingRestoredIsNotMistakenForTheOneThatWasFound) {
  SimulatedDeviceConfig slow;
  slow.nominalRate = 48000;
  slow.rateSettleDelay = 150ms;
  const AudioObjectID id = addDevice(slow);
  player->setOutputDevice(id);
  const auto song = addTrack("/slow.wav", 441000, 96000);
  player->play(song);
  advance(1s);
  EXPECT_EQ(device(id).config().nominalRate, 96000);
  player->play(song);
  advance(200ms);
  EXPECT_EQ(path().label, "BIT-PERFECT");
  EXPECT_EQ(device(id).config().nominalRate, 96000);
  player->stop();
  advance(1s);
  EXPECT_EQ(device(id).config().nominalRate, 48000);
}

TEST_F(OutputConfigurationTest, ARateThatThePlayerGaveToADeviceWithoutOneIsNotBroughtBack) {
  SimulatedDeviceConfig untouched;
  // Read twice before it is opened: as the rate that it was found at, and as one that nothing has given it.
  untouched.properties.readFailures[kAudioDevicePropertyNominalSampleRate] = {kAudioHardwareNotRunningError, 2};
  const AudioObjectID id = addDevice(untouched);
  player->setOutputDevice(id);
  const auto high = addTrack("/high.wav", 441000, 96000);
  const auto low = addTrack("/low.wav", 441000, 48000);
  player->play(high);
  player->stop();
  ASSERT_EQ(device(id).config().nominalRate, 96000);
  int stops = 0;
  for (const auto& [song, rate] : {std::pair{low, 48000}, std::pair{high, 96000}, std::pair{low, 48000}}) {
    player->play(song);
    player->stop();
    EXPECT_EQ(device(id).config().nominalRate, rate) << "the device was brought to a rate that no program chose";
    ++stops;
  }
  EXPECT_EQ(stops, 3);
  device(id).setNominalRateFromOutside(44100);
  player->play(high);
  EXPECT_EQ(device(id).config().nominalRate, 96000);
  player->stop();
  EXPECT_EQ(device(id).config().nominalRate, 44100) << "this one another program has chosen";
}

TEST_F(OutputConfigurationTest, DestroyingThePlayerGivesEverythingBack) {
  const auto id = addDevice(dac);
  player->setExclusiveAccessEnabled(true);
  player->play(track);
  ASSERT_EQ(hardware.hogCount(), 1U);
  player.reset();
  EXPECT_EQ(hardware.unitCount(), 0);
  EXPECT_EQ(hardware.hogCount(), 0U);
  EXPECT_EQ(hardware.listenerCount(), 0U);
  EXPECT_EQ(runLoop.pendingTimerCount(), 0U);
  EXPECT_EQ(device(id).config().nominalRate, 44100);
}

}  // namespace
}  // namespace tolvane
