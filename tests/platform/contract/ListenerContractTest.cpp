// Property listeners: notified in a turn of their own, for as long as they are registered.

#include "tests/platform/contract/ContractTest.h"

namespace tolvane::test {
namespace {

class AudioHardwareListenerContract : public ContractTest<AudioHardwareFixture> {
 protected:
  AudioHardware::ListenerID listen(AudioHardware::Listener listener) {
    const auto id = hardware().addPropertyListener(device(), rateAddress_, std::move(listener));
    EXPECT_TRUE(id.has_value());
    return id.value_or(0);
  }
  void changeRate() { ASSERT_EQ(writeRate(anotherRate()), noErr); }

  const AudioObjectPropertyAddress rateAddress_ = global(kAudioDevicePropertyNominalSampleRate);
};

TEST_P(AudioHardwareListenerContract, AListenerIsNotifiedInALaterTurnOfWhatHasChanged) {
  std::vector<AudioObjectPropertyAddress> notified;
  const auto id = listen([&](const auto& address) { notified.push_back(address); });
  changeRate();
  EXPECT_TRUE(notified.empty()) << "from inside the call";
  EXPECT_TRUE(eventually([&] { return !notified.empty(); }));
  EXPECT_THAT(notified, testing::Each(rateAddress_));
  EXPECT_EQ(hardware().removePropertyListener(id), noErr);
}

TEST_P(AudioHardwareListenerContract, TheNewValueCanBeReadWhenTheListenerIsNotified) {
  const double wanted = anotherRate();
  double seen = 0;
  const auto id = listen([&](const auto&) { seen = nominalRate(); });
  ASSERT_EQ(writeRate(wanted), noErr);
  EXPECT_TRUE(eventually([&] { return seen == wanted; }));
  EXPECT_EQ(hardware().removePropertyListener(id), noErr);
}

TEST_P(AudioHardwareListenerContract, EveryListenerOfAPropertyIsNotified) {
  int first = 0;
  int second = 0;
  const auto firstID = listen([&](const auto&) { ++first; });
  const auto secondID = listen([&](const auto&) { ++second; });
  changeRate();
  EXPECT_TRUE(eventually([&] { return first > 0 && second > 0; }));
  EXPECT_EQ(hardware().removePropertyListener(firstID), noErr);
  EXPECT_EQ(hardware().removePropertyListener(secondID), noErr);
}

TEST_P(AudioHardwareListenerContract, AListenerOfAnotherPropertyIsNotNotified) {
  int notified = 0;
  const auto id =
      hardware().addPropertyListener(device(), global(kAudioDevicePropertyHogMode), [&](const auto&) { ++notified; });
  ASSERT_TRUE(id.has_value());
  changeRate();
  pump(500ms);
  EXPECT_EQ(notified, 0);
  EXPECT_EQ(hardware().removePropertyListener(*id), noErr);
}

TEST_P(AudioHardwareListenerContract, ARemovedListenerIsNotNotifiedOfLaterChanges) {
  int notified = 0;
  const auto id = listen([&](const auto&) { ++notified; });
  changeRate();
  EXPECT_TRUE(eventually([&] { return notified > 0; }));
  pump(500ms);
  EXPECT_EQ(hardware().removePropertyListener(id), noErr);
  pump(200ms);
  const int before = notified;
  changeRate();
  pump(500ms);
  EXPECT_EQ(notified, before);
}

TEST_P(AudioHardwareListenerContract, AListenerMayRemoveItselfAndAddAnother) {
  int notified = 0;
  AudioHardware::ListenerID id = 0;
  AudioHardware::ListenerID next = 0;
  id = listen([&](const auto&) {
    ++notified;
    EXPECT_EQ(hardware().removePropertyListener(id), noErr);
    next = listen([](const auto&) {});
  });
  changeRate();
  EXPECT_TRUE(eventually([&] { return notified == 1; }));
  pump(200ms);
  EXPECT_EQ(notified, 1);
  EXPECT_EQ(hardware().removePropertyListener(next), noErr);
}

TEST_P(AudioHardwareListenerContract, RegistrationsHaveNamesThatAreNeverUsedAgain) {
  const auto first = listen([](const auto&) {});
  EXPECT_NE(first, 0U);
  EXPECT_EQ(hardware().removePropertyListener(first), noErr);
  const auto second = listen([](const auto&) {});
  EXPECT_NE(second, 0U);
  EXPECT_NE(second, first);
  EXPECT_EQ(hardware().removePropertyListener(second), noErr);
}

TEST_P(AudioHardwareListenerContract, RemovingWhatIsNotRegisteredIsRefused) {
  EXPECT_EQ(hardware().removePropertyListener(0), kAudio_ParamError);
  const auto id = listen([](const auto&) {});
  EXPECT_EQ(hardware().removePropertyListener(id + 1), kAudio_ParamError);
  EXPECT_EQ(hardware().removePropertyListener(id), noErr);
  EXPECT_EQ(hardware().removePropertyListener(id), kAudio_ParamError);
}

TEST_P(AudioHardwareListenerContract, EveryPropertyThatIsThereCanBeListenedTo) {
  const auto canBeListenedTo = [&](AudioObjectID object, const AudioObjectPropertyAddress& address) {
    const auto id = hardware().addPropertyListener(object, address, [](const auto&) {});
    ASSERT_TRUE(id.has_value()) << testing::PrintToString(address) << " " << statusText(id.error());
    EXPECT_EQ(hardware().removePropertyListener(*id), noErr);
  };
  canBeListenedTo(kAudioObjectSystemObject, global(kAudioHardwarePropertyDevices));
  canBeListenedTo(kAudioObjectSystemObject, global(kAudioHardwarePropertyDefaultOutputDevice));
  for (const FourCharCode selector : {kAudioDevicePropertyNominalSampleRate, kAudioDevicePropertyHogMode,
                                      kAudioDevicePropertyDeviceIsAlive, kAudioDevicePropertyBufferFrameSize}) {
    canBeListenedTo(device(), global(selector));
  }
  canBeListenedTo(device(), output(kAudioDevicePropertyStreams));
  canBeListenedTo(device(), output(kAudioDevicePropertyStreamConfiguration));
  for (const FourCharCode selector :
       {kAudioStreamPropertyPhysicalFormat, kAudioStreamPropertyVirtualFormat, kAudioStreamPropertyIsActive}) {
    canBeListenedTo(firstStream(), global(selector));
  }
}

INSTANTIATE_TEST_SUITE_P(Contract, AudioHardwareListenerContract, testing::ValuesIn(hardwareFixtures()), fixtureName);

}  // namespace
}  // namespace tolvane::test
