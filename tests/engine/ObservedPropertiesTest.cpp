#include "platform/FourCharText.h"
#include "tests/engine/PlayerFixture.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;

/// What OutputSupervision listens to, and what each of it brings about.
class ObservedPropertiesTest : public PlayerFixture {
 protected:
  [[nodiscard]] std::uint64_t recoveries() const { return player->statistics().recoveries; }

  AudioObjectID id = addDevice();
  FileURL track = addTrack("/song.wav", 441000);
};

TEST_F(ObservedPropertiesTest, AListenerThatCannotBeInstalledIsLoggedAndTolerated) {
  device(id).script().properties.listenerFailures[kAudioDevicePropertyBufferFrameSize] = {-66, 1};
  player->play(track);
  EXPECT_TRUE(log.contains("Could not observe audio property " + std::to_string(kAudioDevicePropertyBufferFrameSize) +
                           ": -66"));
  EXPECT_EQ(hardware.listenerCount(), 9U);
  EXPECT_TRUE(isPlaying());
}

TEST_F(ObservedPropertiesTest, EveryChangeOfTheDeviceRecoversButThoseOfHogModeAndProcessing) {
  device(id).script().alterations = std::vector<SampleAlteration>{};
  using Change = std::function<void(SimulatedDevice&)>;
  const auto unreadable = [](FourCharCode selector, FourCharCode scope) {
    return [selector, scope](SimulatedDevice& changed) {
      changed.script().properties.readFailures[selector] = {};
      changed.notifyAbout(selector, scope);
    };
  };
  constexpr auto global = kAudioObjectPropertyScopeGlobal;
  const std::pair<const char*, Change> recovering[] = {
      {"another nominal rate", [](auto& changed) { changed.setNominalRateFromOutside(96000); }},
      {"no nominal rate", unreadable(kAudioDevicePropertyNominalSampleRate, global)},
      {"it says that it may be dead", [](auto& same) { same.notifyAbout(kAudioDevicePropertyDeviceIsAlive); }},
      {"other streams", [](auto& changed) { changed.changeStreams(changed.config().streams); }},
      {"no streams", unreadable(kAudioDevicePropertyStreams, kAudioObjectPropertyScopeOutput)},
      {"no channels", unreadable(kAudioDevicePropertyStreamConfiguration, kAudioObjectPropertyScopeOutput)},
      {"another buffer", [](auto& changed) { changed.setBufferFrameSize(changed.config().bufferFrameSize + 64); }},
      {"no buffer", unreadable(kAudioDevicePropertyBufferFrameSize, global)}};
  for (const auto& [name, change] : recovering) {
    device(id).script().properties.readFailures.clear();
    player->play(track);
    const auto before = recoveries();
    change(device(id));
    advance(349ms);
    EXPECT_EQ(recoveries(), before) << name;
    advance(2ms);
    EXPECT_EQ(recoveries(), before + 1) << name;
  }
  device(id).script().properties.readFailures.clear();
  for (const FourCharCode selector : {kAudioDevicePropertyHogMode, kAudioDevicePropertyProcessingIsActive}) {
    player->play(track);
    const auto before = recoveries();
    device(id).notifyAbout(selector);
    advance(1s);
    EXPECT_EQ(recoveries(), before) << fourCharText(selector);
  }
  EXPECT_EQ(hardware.listenerCount(), 8U + 3U) << "of the device, and of its stream";
}

TEST_F(ObservedPropertiesTest, EveryChangeOfAStreamsFormatRecovers) {
  player->play(track);
  advance(1s);
  device(id).setPhysicalFormat(0, physicalInteger(8));
  advance(400ms);
  EXPECT_EQ(recoveries(), 1U);
  device(id).script().streams[0].properties.readFailures[kAudioStreamPropertyVirtualFormat] = {};
  device(id).notifyAboutStream(0, kAudioStreamPropertyVirtualFormat);
  advance(400ms);
  EXPECT_EQ(recoveries(), 2U);
}

TEST_F(ObservedPropertiesTest, AnAlterationBehindTheUnitMakesANewVerdictAndNoRecovery) {
  device(id).script().alterations = std::vector<SampleAlteration>{};
  player->play(track);
  advance(1s);
  using enum SampleAlteration::Kind;
  EXPECT_EQ(path().label, "BIT-PERFECT");
  device(id).setAlterations({{processed, "The volume is at 40 %.", "Set it to 100 %."_cure}});
  advance(0ms);
  EXPECT_EQ(path(), (AudioPathStatus{PathKind::processed, "DSP ACTIVE", "The volume is at 40 %. Set it to 100 %."}));
  device(id).setAlterations({{processed, "The volume is at 40 %.", "Set it to 100 %."_cure},
                             {converted, "The channels are mixed.", "Choose another device."_cure}});
  advance(0ms);
  EXPECT_EQ(path(), (AudioPathStatus{
                        PathKind::converted, "CONVERTED",
                        "The channels are mixed. Choose another device. The volume is at 40 %. Set it to 100 %."}));
  device(id).setAlterations({{unknown, "The server has a setting that the player does not know.", "Remove it."_cure}});
  advance(0ms);
  EXPECT_EQ(path(), (AudioPathStatus{PathKind::directPCM, "DIRECT PCM",
                                     "Shared device access is active and the sample rate matches, but not every stage "
                                     "on the way to the device is known to keep the samples. The server has a setting "
                                     "that the player does not know. Remove it."}));
  device(id).setAlterations({});
  advance(0ms);
  EXPECT_EQ(path().label, "BIT-PERFECT");
  advance(20s);
  EXPECT_EQ(recoveries(), 0U);
  EXPECT_EQ(completions(), 1);
}

TEST_F(ObservedPropertiesTest, AlterationsThatCannotBeReadAreNotTakenForNone) {
  device(id).script().alterations = std::vector<SampleAlteration>{};
  player->play(track);
  EXPECT_EQ(path().label, "BIT-PERFECT");
  device(id).script().properties.readFailures[kAudioDevicePropertySampleAlterations] = {};
  device(id).notifyAbout(kAudioDevicePropertyProcessingIsActive);
  advance(0ms);
  EXPECT_EQ(path().label, "DIRECT PCM");
  EXPECT_TRUE(path().detail.ends_with("The device cannot report whether it alters samples. Play the track again."))
      << path().detail;
}

TEST_F(ObservedPropertiesTest, ProcessingThatIsAnnouncedAndNotDescribedIsNotTakenForNone) {
  device(id).script().alterations =
      std::vector<SampleAlteration>{{SampleAlteration::Kind::processed, "Gain.", "Remove it."_cure}};
  device(id).script().properties.missing = {kAudioDevicePropertySampleAlterations};
  player->play(track);
  EXPECT_EQ(path().label, "DIRECT PCM");
  EXPECT_TRUE(path().detail.ends_with(
      "The device processes samples and does not report how. Turn its processing off, or choose another device."))
      << path().detail;
}

TEST_F(ObservedPropertiesTest, PropertiesThatAreMissingAreNotObserved) {
  device(id).script().properties.missing = {kAudioDevicePropertyActualSampleRate};
  player->play(track);
  EXPECT_EQ(hardware.listenerCount(), 9U);
  EXPECT_THAT(log.messages(), testing::Contains(testing::StartsWith("Configured output device")));
  EXPECT_THAT(log.messages(), testing::Not(testing::Contains(testing::StartsWith("Could not observe"))));
}

}  // namespace
}  // namespace tolvane
