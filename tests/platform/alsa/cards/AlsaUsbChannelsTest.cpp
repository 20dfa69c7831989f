// What a driver states of a device's channels, and whether it counts: for a USB device that states none one is made up.

#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "platform/alsa/cards/AlsaDevice.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "tests/platform/alsa/scripted/ScriptedChannelMap.h"
#include "tests/platform/alsa/scripted/ScriptedPcm.h"
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

/// The PCM of another process: what the card's control reports about it, without opening it.
class AlsaChannelPositions : public AlsaUsbChannels {
 protected:
  AlsaChannelPositions() {
    driver_.controls[{"hw:0", 0, 0}] = {SND_CHMAP_FL, SND_CHMAP_FR, SND_CHMAP_RL,
                                        SND_CHMAP_RR, SND_CHMAP_FC, SND_CHMAP_LFE};
    play(0, 6);
  }

  void play(unsigned substream, unsigned channels) {
    const std::string path = "asound/card0/pcm0p/sub" + std::to_string(substream);
    folder_.write(path + "/hw_params",
                  "access: RW_INTERLEAVED\nformat: S32_LE\nsubformat: STD\nchannels: " + std::to_string(channels) +
                      "\nrate: 48000 (48000/1)\nperiod_size: 256\nbuffer_size: 1024\n");
    folder_.write(path + "/status", "state: RUNNING\nowner_pid: 1\n");
  }

  [[nodiscard]] std::expected<std::vector<std::uint32_t>, OSStatus> positions(std::uint32_t transport) {
    return AlsaDevice(AlsaDeviceInfo{"card:0", "Card", transport, 0, 0, "Card"}, 2, 3, system_).channelPositions();
  }

  static std::vector<std::uint32_t> numbers(std::initializer_list<ChannelPosition> positions) {
    std::vector<std::uint32_t> all;
    for (const ChannelPosition position : positions) all.push_back(std::to_underlying(position));
    return all;
  }
};

using enum ChannelPosition;

TEST_F(AlsaChannelPositions, AreThoseOfTheSubstreamThatPlays) {
  const auto first = numbers({frontLeft, frontRight, rearLeft, rearRight, frontCentre, lowFrequency});
  EXPECT_EQ(positions(kAudioDeviceTransportTypePCI), first);
  driver_.controls[{"hw:0", 0, 1}] = {SND_CHMAP_FR, SND_CHMAP_FL};
  folder_.write("asound/card0/pcm0p/sub0/hw_params", "closed\n");
  folder_.write("asound/card0/pcm0p/sub0/status", "closed\n");
  play(1, 2);
  EXPECT_EQ(positions(kAudioDeviceTransportTypePCI), numbers({frontRight, frontLeft}));
  EXPECT_EQ(driver_.openControl, "") << "it is closed again";
}

TEST_F(AlsaChannelPositions, AreNotKnownWhereNothingPlaysOrTwoProgramsDo) {
  play(1, 6);
  EXPECT_EQ(positions(kAudioDeviceTransportTypePCI), std::unexpected(kAudioHardwareNotRunningError));
  for (const char* substream : {"sub0", "sub1"}) {
    folder_.write(std::string("asound/card0/pcm0p/") + substream + "/hw_params", "closed\n");
    folder_.write(std::string("asound/card0/pcm0p/") + substream + "/status", "closed\n");
  }
  EXPECT_EQ(positions(kAudioDeviceTransportTypePCI), std::unexpected(kAudioHardwareNotRunningError));
  EXPECT_EQ(driver_.controlReads, 0);
}

TEST_F(AlsaChannelPositions, AreNotKnownWhereTheDriverStatesNone) {
  for (const std::vector<unsigned>& control : {std::vector<unsigned>(6, SND_CHMAP_UNKNOWN), std::vector<unsigned>()}) {
    driver_.controls[{"hw:0", 0, 0}] = control;
    EXPECT_EQ(positions(kAudioDeviceTransportTypePCI), std::unexpected(kAudioDeviceUnsupportedFormatError));
  }
  driver_.controls.clear();
  EXPECT_EQ(positions(kAudioDeviceTransportTypePCI), std::unexpected(kAudioDeviceUnsupportedFormatError));
  play(0, 129);
  EXPECT_EQ(positions(kAudioDeviceTransportTypePCI), std::unexpected(kAudioDeviceUnsupportedFormatError));
  EXPECT_EQ(driver_.controlReads, 3) << "no control holds so many";
}

TEST_F(AlsaChannelPositions, AreUnknownOneByOne) {
  driver_.controls[{"hw:0", 0, 0}] = {SND_CHMAP_FL, SND_CHMAP_FR, SND_CHMAP_FC, SND_CHMAP_LFE};
  EXPECT_EQ(positions(kAudioDeviceTransportTypePCI),
            numbers({frontLeft, frontRight, frontCentre, lowFrequency, unknown, unknown}));
}

TEST_F(AlsaChannelPositions, OfAUsbDeviceAreThoseThatItStates) {
  EXPECT_EQ(positions(kAudioDeviceTransportTypeUSB), std::unexpected(kAudioDeviceUnsupportedFormatError));
  folder_.write("class/card0/descriptors", descriptorsWith('\0'));
  EXPECT_EQ(positions(kAudioDeviceTransportTypeUSB), std::unexpected(kAudioDeviceUnsupportedFormatError));
  EXPECT_EQ(driver_.controlReads, 0) << "what the driver makes up is not read";
  folder_.write("class/card0/descriptors", descriptorsWith('\x3F'));
  EXPECT_EQ(positions(kAudioDeviceTransportTypeUSB),
            numbers({frontLeft, frontRight, rearLeft, rearRight, frontCentre, lowFrequency}));
}

}  // namespace
}  // namespace tolvane
