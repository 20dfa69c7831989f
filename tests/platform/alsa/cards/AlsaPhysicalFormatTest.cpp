// What a device reports of its depth while a unit plays on it, and what becomes of that in the verdict: from the
// kernel's files to the badge, over a PCM whose driver reports all bits of a container as significant.

#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include "engine/AudioPathStatus.h"
#include "engine/StreamFormats.h"
#include "platform/alsa/cards/AlsaDevice.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "tests/engine/PreparedTrack.h"
#include "tests/platform/alsa/scripted/ScriptedPcm.h"
#include "tests/support/ManualDeviceTime.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

constexpr double sourceRate = 48000;
constexpr char codecOf24Bits[] = "Codec: ALC1220\nNode 0x02 [Audio Output] wcaps 0x41d\n    bits [0xe]: 16 20 24\n";
constexpr char streamOf24Bits[] =
    "Playback:\n  Status: Stop\n  Interface 1\n    Altset 1\n    Format: S32_LE\n    Channels: 2\n    Bits: 24\n";

class AlsaPhysicalFormat : public testing::Test {
 protected:
  AlsaPhysicalFormat() {
    system_.paths.asound = (folder_.path() / "asound").string();
    pcm_.offer({SND_PCM_FORMAT_S32_LE});
  }

  static AudioStreamBasicDescription trackOf(std::uint32_t bits) {
    return linearPCM(sourceRate, 2, bits, bits / 8, kAudioFormatFlagIsSignedInteger);
  }

  /// A unit on a device with this transport plays a track of so many bits, as the kernel shows it.
  void play(std::uint32_t transport, std::uint32_t bits, const char* kernelFormat = "S32_LE") {
    device_ = std::make_unique<AlsaDevice>(AlsaDeviceInfo{"card:0", "Card", transport, 0, 0, "PCH"}, 2, 3, system_);
    constexpr auto phase = OutputUnitSettings::Phase::created;
    OutputUnitSettings settings;
    ASSERT_EQ(settings.set(AudioUnitProperty::streamFormat, AudioUnitScope::input, 0, trackOf(bits), phase, nullptr),
              noErr);
    closeInTheKernel();
    ASSERT_TRUE(device_->openForUnit(settings, [] {}));
    folder_.write("asound/card0/pcm0p/sub0/hw_params",
                  "access: RW_INTERLEAVED\nformat: " + std::string(kernelFormat) +
                      "\nsubformat: STD\nchannels: 2\nrate: 48000 (48000/1)\nperiod_size: 256\nbuffer_size: 1024\n");
    folder_.write("asound/card0/pcm0p/sub0/status", "state: RUNNING\nowner_pid: " + std::to_string(getpid()) + "\n");
  }

  void closeInTheKernel() {
    folder_.write("asound/card0/pcm0p/sub0/hw_params", "closed\n");
    folder_.write("asound/card0/pcm0p/sub0/status", "closed\n");
  }

  /// The verdict of a lossless track of so many bits on the device as it is.
  [[nodiscard]] AudioPathStatus verdict(std::uint32_t bits) const {
    AudioPathFacts facts;
    facts.sourceRate = sourceRate;
    facts.nominalRate = device_->nominalRate().value_or(0);
    facts.actualRate = device_->actualRate().value_or(0);
    facts.clientFormatMatches = true;
    facts.isLossless = true;
    if (const auto physical = device_->physicalFormat()) {
      facts.physicalFormat = *physical;
      facts.physicalFormatCompatible =
          physicalFormatCompatibility(preparedTrack(trackOf(bits), bits, false), *physical);
    }
    facts.alterations = device_->alterations();
    return judgeAudioPath(facts);
  }

  test::TemporaryFolder folder_;
  ManualRunLoop runLoop_;
  MemoryLog log_;
  DeviceCalls calls_{runLoop_, log_, std::make_shared<test::ManualDeviceTime>()};
  AlsaDevice::System system_{{}, runLoop_, calls_, nullptr, [](auto, auto) {}, [](int) {}};
  ScriptedPcm pcm_;
  std::unique_ptr<AlsaDevice> device_;
};

TEST_F(AlsaPhysicalFormat, IsOfNoUnitWhereAlsaLibOpensAnythingButTheHardware) {
  for (const auto type : {SND_PCM_TYPE_ROUTE, SND_PCM_TYPE_SOFTVOL, SND_PCM_TYPE_PLUG, SND_PCM_TYPE_IOPLUG}) {
    pcm_.be(type);
    AlsaDevice device(AlsaDeviceInfo{"card:0", "Card", kAudioDeviceTransportTypeUSB, 0, 0, "PCH"}, 2, 3, system_);
    OutputUnitSettings settings;
    ASSERT_EQ(settings.set(AudioUnitProperty::streamFormat, AudioUnitScope::input, 0, trackOf(16),
                           OutputUnitSettings::Phase::created, nullptr),
              noErr);
    closeInTheKernel();
    EXPECT_FALSE(device.openForUnit(settings, [] {})) << "type " << type;
  }
  EXPECT_GE(pcm_.opens(), 4);
  EXPECT_EQ(pcm_.closes(), pcm_.opens());
}

TEST_F(AlsaPhysicalFormat, HasTheBitsOfTheCodecBehindAWiderContainer) {
  folder_.write("asound/card0/codec#0", codecOf24Bits);
  play(kAudioDeviceTransportTypeBuiltIn, 32);
  ASSERT_TRUE(device_->physicalFormat());
  EXPECT_EQ(device_->physicalFormat()->mBitsPerChannel, 24U);
  EXPECT_EQ(device_->physicalFormat()->mBytesPerFrame, 8U) << "in 32";
  EXPECT_THAT(
      device_->physicalFormatSource(),
      testing::EndsWith("/asound/card0/pcm0p/sub0/hw_params (S32_LE); 24 significant bits by the codec's output "
                        "converters"));
  EXPECT_EQ(verdict(32).kind, AudioPathStatus::Kind::converted);
  EXPECT_EQ(verdict(24).kind, AudioPathStatus::Kind::bitPerfect);
}

TEST_F(AlsaPhysicalFormat, HasTheBitsOfTheUsbDescriptor) {
  folder_.write("asound/card0/stream0", streamOf24Bits);
  play(kAudioDeviceTransportTypeUSB, 32);
  ASSERT_TRUE(device_->physicalFormat());
  EXPECT_EQ(device_->physicalFormat()->mBitsPerChannel, 24U);
  EXPECT_EQ(verdict(32).kind, AudioPathStatus::Kind::converted);
  EXPECT_EQ(verdict(24).kind, AudioPathStatus::Kind::bitPerfect);
}

TEST_F(AlsaPhysicalFormat, IsUnreadableWhereOnlyTheContainerIsKnown) {
  for (const std::uint32_t transport : {kAudioDeviceTransportTypePCI, kAudioDeviceTransportTypeUSB}) {
    play(transport, 32);
    EXPECT_EQ(device_->physicalFormat(), std::unexpected(kAudioDeviceUnsupportedFormatError));
    EXPECT_EQ(device_->physicalFormatSource(), "");
    EXPECT_EQ(verdict(16).kind, AudioPathStatus::Kind::directPCM);
    EXPECT_EQ(verdict(32).kind, AudioPathStatus::Kind::directPCM);
  }
}

TEST_F(AlsaPhysicalFormat, IsTheOneWhoseBitsAreProvenWhereTheCardHasSeveral) {
  pcm_.offer({SND_PCM_FORMAT_S16_LE, SND_PCM_FORMAT_S32_LE});
  play(kAudioDeviceTransportTypePCI, 16, "S16_LE");
  EXPECT_EQ(pcm_.format(), SND_PCM_FORMAT_S16_LE);
  EXPECT_EQ(verdict(16).kind, AudioPathStatus::Kind::bitPerfect);
  folder_.write("asound/card0/codec#0", codecOf24Bits);
  play(kAudioDeviceTransportTypePCI, 24);
  EXPECT_EQ(pcm_.format(), SND_PCM_FORMAT_S32_LE);
  EXPECT_EQ(verdict(24).kind, AudioPathStatus::Kind::bitPerfect);
}

TEST_F(AlsaPhysicalFormat, NamesItsSourceOnlyWhileItCanBeRead) {
  folder_.write("asound/card0/stream0", streamOf24Bits);
  play(kAudioDeviceTransportTypeUSB, 32);
  ASSERT_TRUE(device_->physicalFormat());
  EXPECT_THAT(device_->physicalFormatSource(), testing::HasSubstr("24 significant bits by the USB descriptor"));
  closeInTheKernel();
  EXPECT_FALSE(device_->physicalFormat());
  EXPECT_EQ(device_->physicalFormatSource(), "");
}

TEST_F(AlsaPhysicalFormat, ComesWithTheDriverThatTheKernelNames) {
  system_.paths.classSound = (folder_.path() / "class").string();
  play(kAudioDeviceTransportTypeUSB, 32);
  EXPECT_EQ(device_->driver(), "");
  std::filesystem::create_directories(folder_.path() / "class/card0/device");
  std::filesystem::create_symlink("../../../bus/usb/drivers/snd-usb-audio",
                                  folder_.path() / "class/card0/device/driver");
  EXPECT_EQ(device_->driver(), "snd-usb-audio");
}

}  // namespace
}  // namespace tolvane
