// Whether the channel map of a USB device counts: the driver makes one up for a device that states none.

#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "platform/alsa/AlsaDevice.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "tests/platform/alsa/ScriptedChannelMap.h"
#include "tests/platform/alsa/ScriptedPcm.h"
#include "tests/support/ManualDeviceTime.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

/// USB audio class 2, a control interface with one terminal for six channels, a streaming interface that has them.
std::string descriptorsWith(char loudspeakers) {
  using std::string_literals::operator""s;
  std::string text =
      "\x09\x04\0\0\0\x01\x01\x20\0"
      "\x11\x24\x02\x01\x01\x01\0\x04\x06?\0\0\0\0\0\0\0"
      "\x09\x04\x01\x01\x02\x01\x02\x20\0"
      "\x10\x24\x01\x01\0\x01\x01\0\0\0\x06?\0\0\0\0"s;
  std::ranges::replace(text, '?', loudspeakers);
  return text;
}

class AlsaUsbChannels : public testing::Test {
 protected:
  AlsaUsbChannels() {
    system_.paths.asound = (folder_.path() / "asound").string();
    system_.paths.classSound = (folder_.path() / "class").string();
    folder_.write("asound/card0/pcm0p/sub0/hw_params", "closed\n");
    folder_.write("asound/card0/pcm0p/sub0/status", "closed\n");
    folder_.write("class/card0/device/uevent", "");
    pcm_.offerChannels(6);
    driver_.map = {SND_CHMAP_FL, SND_CHMAP_FR, SND_CHMAP_FC, SND_CHMAP_LFE, SND_CHMAP_RL, SND_CHMAP_RR};
  }

  /// What alters a 5.1 track on a device with this transport.
  std::vector<SampleAlteration> alterations(std::uint32_t transport) {
    AlsaDevice device(AlsaDeviceInfo{"card:0", "Card", transport, 0, 0, "Card"}, 2, 3, system_);
    constexpr auto phase = OutputUnitSettings::Phase::created;
    OutputUnitSettings settings;
    const auto format = linearPCM(48000, 6, 16, 2, kAudioFormatFlagIsSignedInteger);
    EXPECT_EQ(settings.set(AudioUnitProperty::streamFormat, AudioUnitScope::input, 0, format, phase, nullptr), noErr);
    EXPECT_EQ(
        settings.set(AudioUnitProperty::channelLayout, AudioUnitScope::input, 0, layoutOfMask(0x3F, 6), phase, nullptr),
        noErr);
    EXPECT_TRUE(device.openForUnit(settings, [] {}));
    return device.alterations();
  }

  test::TemporaryFolder folder_;
  ManualRunLoop runLoop_;
  MemoryLog log_;
  DeviceCalls calls_{runLoop_, log_, std::make_shared<test::ManualDeviceTime>()};
  AlsaDevice::System system_{{}, runLoop_, calls_, nullptr, [](auto, auto) {}, [](int) {}};
  ScriptedPcm pcm_;
  ScriptedChannelMap driver_;
};

TEST_F(AlsaUsbChannels, AreThoseOfTheDriversMapWhereTheDeviceStatesThem) {
  folder_.write("class/card0/descriptors", descriptorsWith('\x3F'));
  EXPECT_THAT(alterations(kAudioDeviceTransportTypeUSB), IsEmpty());
}

TEST_F(AlsaUsbChannels, AreUnknownWhereOnlyTheDriverNamesThem) {
  for (const bool hasDescriptors : {true, false}) {
    if (hasDescriptors) folder_.write("class/card0/descriptors", descriptorsWith('\0'));
    if (!hasDescriptors) std::filesystem::remove(folder_.path() / "class/card0/descriptors");
    const auto found = alterations(kAudioDeviceTransportTypeUSB);
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0], (SampleAlteration{SampleAlteration::Kind::unknown,
                                          "The device does not state which loudspeakers its 6 channels are for.",
                                          "Choose a device whose driver states them."_cure}));
  }
  EXPECT_THAT(alterations(kAudioDeviceTransportTypePCI), IsEmpty()) << "no other driver makes a map up";
}

}  // namespace
}  // namespace tolvane
