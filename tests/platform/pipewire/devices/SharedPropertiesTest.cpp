// What the properties of a device are while it is reached through a sink.

#include <gmock/gmock.h>

#include "tests/platform/pipewire/scripted/Listening.h"

namespace tolvane::test {
namespace {

using std::chrono_literals::operator""s;
using testing::ElementsAre;

class SharedDevice : public testing::Test, public Listening {
 protected:
  template <typename Value>
  std::optional<Value> read(FourCharCode selector) {
    return readProperty<Value>(desktop.hardware(), device, globalAddress(selector));
  }
  OSStatus status(AudioObjectID object, FourCharCode selector) {
    const auto value = desktop.hardware().propertyData(object, globalAddress(selector));
    return value ? noErr : value.error();
  }
  OSStatus setRate(double hertz) {
    return desktop.hardware().setPropertyData(device, globalAddress(kAudioDevicePropertyNominalSampleRate), hertz);
  }
  AudioObjectID stream() {
    return readProperty<std::vector<std::uint32_t>>(desktop.hardware(), device,
                                                    outputAddress(kAudioDevicePropertyStreams))
        ->front();
  }
  /// As the card has it behind the sink.
  std::optional<AudioStreamBasicDescription> formatBehind(const AudioStreamBasicDescription& hardware) {
    desktop.dac().setPhysicalFormat(0, hardware);
    return readProperty<AudioStreamBasicDescription>(desktop.hardware(), stream(),
                                                     globalAddress(kAudioStreamPropertyPhysicalFormat));
  }
};

TEST_F(SharedDevice, HasNoRateBeforeTheServerOpensIt) {
  EXPECT_EQ(status(device, kAudioDevicePropertyNominalSampleRate), kAudioHardwareNotRunningError);
  EXPECT_EQ(status(device, kAudioDevicePropertyActualSampleRate), kAudioHardwareNotRunningError);
  EXPECT_EQ(status(device, kAudioDevicePropertyBufferFrameSize), kAudioHardwareNotRunningError);
  EXPECT_EQ(status(stream(), kAudioStreamPropertyPhysicalFormat), kAudioHardwareNotRunningError);
  EXPECT_EQ(status(stream(), kAudioStreamPropertyVirtualFormat), kAudioHardwareNotRunningError);
}

TEST_F(SharedDevice, TakesARateThatItsHardwareHas) {
  EXPECT_EQ(setRate(96000), noErr);
  EXPECT_EQ(read<double>(kAudioDevicePropertyNominalSampleRate), 96000);
  for (const double refused : {0.0, 0.5, 44100.5, 50000.0, 2e7})
    EXPECT_EQ(setRate(refused), kAudioDeviceUnsupportedFormatError) << refused;
  EXPECT_EQ(read<double>(kAudioDevicePropertyNominalSampleRate), 96000);
}

TEST_F(SharedDevice, WhoseRatesAreNotReportedHasTheOneOfTheGraph) {
  desktop.server().change([this](PipeWireFacts& facts) {
    sinkIn(facts).rates.clear();
    facts.graphRate = 44100;
  });
  EXPECT_EQ(setRate(48000), kAudioDeviceUnsupportedFormatError);
  EXPECT_EQ(setRate(44100), noErr);
}

TEST_F(SharedDevice, KeepsItsRateWhileAUnitPlays) {
  const auto unit = playingUnit();
  EXPECT_EQ(read<double>(kAudioDevicePropertyNominalSampleRate), 48000);
  EXPECT_EQ(setRate(48000), noErr);
  EXPECT_EQ(setRate(96000), kAudioHardwareIllegalOperationError);
  EXPECT_EQ(read<std::uint32_t>(kAudioDevicePropertyBufferFrameSize), ScriptedStream::quantumFrames);
  EXPECT_EQ(read<double>(kAudioDevicePropertyActualSampleRate), 48000);
}

TEST_F(SharedDevice, PassesNoMoreThan24Bits) {
  const auto unit = playingUnit();
  constexpr auto integer = kAudioFormatFlagIsSignedInteger;
  const auto narrow = formatBehind(linearPCM(48000, 2, 16, 2, integer));
  ASSERT_TRUE(narrow);
  EXPECT_EQ(narrow->mBitsPerChannel, 16U);
  const auto wide = formatBehind(linearPCM(48000, 2, 32, 4, integer));
  ASSERT_TRUE(wide);
  EXPECT_EQ(wide->mBitsPerChannel, 24U);
  EXPECT_EQ(wide->mBytesPerFrame, 8U);
  EXPECT_TRUE(wide->mFormatFlags & kAudioFormatFlagIsAlignedHigh);
  const auto real = formatBehind(linearPCM(48000, 2, 64, 8, kAudioFormatFlagIsFloat));
  ASSERT_TRUE(real);
  EXPECT_EQ(real->mBitsPerChannel, 32U) << "the mix is 32-bit float";
  EXPECT_FALSE(formatBehind(linearPCM(48000, 2, 16, 2, kAudioFormatFlagIsFloat))) << "no layout that is known";
}

TEST_F(SharedDevice, SaysThatTheMixStandsInFrontOfTheCard) {
  desktop.dac().script().formatSource = "hw_params";
  EXPECT_EQ(
      readProperty<std::string>(desktop.hardware(), stream(), globalAddress(kAudioStreamPropertyPhysicalFormatSource)),
      "hw_params; the server's mix in front of it carries 24 bits");
  desktop.dac().script().formatSource = "";
  EXPECT_EQ(
      readProperty<std::string>(desktop.hardware(), stream(), globalAddress(kAudioStreamPropertyPhysicalFormatSource)),
      "");
}

TEST_F(SharedDevice, NamesItsServerAndTheDriverOfItsCard) {
  desktop.dac().script().driver = "snd-usb-audio";
  EXPECT_EQ(read<std::string>(kAudioDevicePropertySoundServer), "PipeWire 1.4.2");
  EXPECT_EQ(read<std::string>(kAudioDevicePropertyDriver), "snd-usb-audio");
  EXPECT_EQ(toggle(), noErr);
  EXPECT_EQ(status(device, kAudioDevicePropertySoundServer), kAudioHardwareUnknownPropertyError);
}

TEST_F(SharedDevice, IsWantedBackByASessionManagerThatComesWhileACardIsPlayedTo) {
  desktop.server().die();
  desktop.runLoop.advance(10s);
  const auto unit = playingUnit();
  Notifications changes(desktop.hardware(), device, kAudioDevicePropertyReopeningIsDue);
  EXPECT_EQ(read<std::uint32_t>(kAudioDevicePropertyReopeningIsDue), 0U);
  desktop.server().comeBack();
  desktop.runLoop.runUntilIdle();
  EXPECT_EQ(read<std::uint32_t>(kAudioDevicePropertyReopeningIsDue), 1U);
  EXPECT_EQ(changes.take(), 1);
  EXPECT_EQ(unit->uninitialize(), noErr);
  EXPECT_EQ(read<std::uint32_t>(kAudioDevicePropertyReopeningIsDue), 0U);
}

}  // namespace
}  // namespace tolvane::test
