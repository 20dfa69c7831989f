// Which rates a card is set up to, and which rate is reported before any program has set it up: over a PCM that records
// each request.

#include <gmock/gmock.h>

#include <memory>

#include "platform/alsa/cards/AlsaDevice.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "tests/platform/alsa/scripted/ScriptedPcm.h"
#include "tests/support/ManualDeviceTime.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char closedParams[] = "closed\n";
constexpr char otherParams[] =
    "access: RW_INTERLEAVED\nformat: S16_LE\nsubformat: STD\nchannels: 2\nrate: 48000 (48000/1)\nperiod_size: 256\n"
    "buffer_size: 1024\n";

class AlsaNominalRate : public testing::Test {
 protected:
  AlsaNominalRate() {
    writeParams(closedParams);
    system_.paths.asound = (folder_.path() / "asound").string();
    device_ = std::make_shared<AlsaDevice>(
        AlsaDeviceInfo{"dac:0", "Studio DAC", kAudioDeviceTransportTypePCI, 0, 0, "DAC"}, 2, 3, system_);
  }

  void writeParams(const char* text) {
    folder_.write("asound/card0/pcm0p/sub0/hw_params", text);
    folder_.write("asound/card0/pcm0p/sub0/status",
                  text == closedParams ? "closed\n" : "state: RUNNING\nowner_pid: 1\n");
  }

  /// As the engine opens an output for a track, without playing it. The rate that the hardware has then, or 0.
  double open(double rate) {
    constexpr auto phase = OutputUnitSettings::Phase::created;
    OutputUnitSettings settings;
    const auto format = linearPCM(rate, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
    EXPECT_EQ(settings.set(AudioUnitProperty::streamFormat, AudioUnitScope::input, 0, format, phase, nullptr), noErr);
    const auto opened = device_->openForUnit(settings, [] {});
    return opened ? opened->setup.rate : 0;
  }

  test::TemporaryFolder folder_;
  ManualRunLoop runLoop_;
  MemoryLog log_;
  DeviceCalls calls_{runLoop_, log_, std::make_shared<test::ManualDeviceTime>()};
  int announcements_ = 0;
  AlsaDevice::System system_{{}, runLoop_, calls_, nullptr, [this](auto, auto) { ++announcements_; }, [](int) {}};
  ScriptedPcm pcm_;
  std::shared_ptr<AlsaDevice> device_;
};

TEST_F(AlsaNominalRate, IsUnreadableUntilAProgramHasSetTheCardUp) {
  EXPECT_EQ(device_->nominalRate(), std::unexpected(kAudioHardwareNotRunningError));
  EXPECT_EQ(device_->availableRates().value().size(), 4U);
  EXPECT_EQ(device_->nominalRate(), std::unexpected(kAudioHardwareNotRunningError)) << "asking is not setting up";
  EXPECT_THAT(pcm_.setUps(), IsEmpty());

  writeParams(otherParams);
  EXPECT_EQ(device_->nominalRate(), 48000) << "another program's";
  writeParams(closedParams);
  EXPECT_EQ(device_->nominalRate(), std::unexpected(kAudioHardwareNotRunningError));

  EXPECT_EQ(device_->setNominalRate(44100), noErr);
  EXPECT_EQ(device_->nominalRate(), 44100);
  EXPECT_EQ(announcements_, 1);
}

TEST_F(AlsaNominalRate, IsThatOfTheLastUnitWhenNoneWasChosen) {
  EXPECT_EQ(open(44100), 44100) << "the client's, not the nearest to a usual one";
  EXPECT_EQ(device_->nominalRate(), 44100);
  device_->closeForUnit();
  EXPECT_EQ(device_->nominalRate(), 44100);
  EXPECT_THAT(pcm_.setUps(), ElementsAre(44100));
}

TEST_F(AlsaNominalRate, IsNotedOnlyWhereTheHardwareHasTakenItBefore) {
  // Two tracks of one rate and one of another, each with what was found before it put back at its end.
  EXPECT_EQ(device_->setNominalRate(44100), noErr);
  EXPECT_EQ(open(44100), 44100);
  device_->closeForUnit();
  EXPECT_EQ(device_->setNominalRate(48000), noErr);
  EXPECT_EQ(open(48000), 48000);
  device_->closeForUnit();
  EXPECT_EQ(device_->setNominalRate(44100), noErr);
  EXPECT_EQ(device_->nominalRate(), 44100);
  EXPECT_EQ(device_->setNominalRate(48000), noErr);
  EXPECT_EQ(open(48000), 48000);
  EXPECT_THAT(pcm_.setUps(), ElementsAre(44100, 44100, 48000, 48000, 48000)) << "a rate is tried once";
}

TEST_F(AlsaNominalRate, IsTriedAgainWhileAnotherProgramsSubstreamMayBindIt) {
  EXPECT_EQ(device_->setNominalRate(44100), noErr);
  writeParams(otherParams);
  pcm_.refuse(44100);
  EXPECT_NE(device_->setNominalRate(44100), noErr);
  EXPECT_THAT(pcm_.setUps(), ElementsAre(44100, 44100));
}

TEST_F(AlsaNominalRate, OfAUnitIsAMultipleOfItsClientsWhereThatIsRefused) {
  pcm_.refuse(44100);
  EXPECT_NE(device_->setNominalRate(44100), noErr);
  EXPECT_EQ(device_->nominalRate(), std::unexpected(kAudioHardwareNotRunningError)) << "nothing was set";
  EXPECT_EQ(open(44100), 88200);
  EXPECT_EQ(device_->nominalRate(), 88200);
}

TEST_F(AlsaNominalRate, IsRefusedByAnErrorOfTheBusToo) {
  pcm_.refuse(44100, -EPIPE);
  EXPECT_NE(device_->setNominalRate(44100), noErr);
  EXPECT_EQ(open(44100), 88200);
}

TEST_F(AlsaNominalRate, IsNotToBlameForACardThatHasGone) {
  pcm_.refuse(44100, -ENODEV);
  EXPECT_EQ(open(44100), 0);
  EXPECT_THAT(pcm_.setUps(), ElementsAre(44100)) << "no other rate is tried";
}

TEST_F(AlsaNominalRate, OfAUnitIsOneThatTheHardwareTakesHoweverManyItRefuses) {
  pcm_.refuse(44100);
  pcm_.refuse(88200);
  EXPECT_NE(device_->setNominalRate(44100), noErr);
  EXPECT_EQ(open(44100), 48000);
  device_->closeForUnit();
  EXPECT_THAT(pcm_.setUps(), ElementsAre(44100, 88200, 48000)) << "each is refused once";
}

TEST_F(AlsaNominalRate, OfAUnitIsTheHighestWhereItsClientsIsHigher) {
  EXPECT_EQ(open(192000), 96000);
  device_->closeForUnit();
  EXPECT_THAT(pcm_.setUps(), ElementsAre(96000));
}

TEST_F(AlsaNominalRate, ThatWasOnlyNotedIsGivenUpWhereTheHardwareDoesNotTakeItAnyMore) {
  EXPECT_EQ(device_->setNominalRate(44100), noErr);
  pcm_.refuse(44100);
  EXPECT_EQ(open(44100), 88200) << "the track plays, converted";
  EXPECT_EQ(device_->nominalRate(), 88200);
  device_->closeForUnit();
  EXPECT_NE(device_->setNominalRate(44100), noErr) << "tried again";
}

TEST_F(AlsaNominalRate, DoesNotMatterToAnErrorThatIsNotAboutIt) {
  for (const unsigned rate : {44100U, 48000U, 88200U, 96000U}) pcm_.refuse(rate);
  EXPECT_EQ(open(44100), 0);
  EXPECT_THAT(pcm_.setUps(), ElementsAre(44100, 88200, 48000, 96000)) << "every rate once, and no more";
  EXPECT_EQ(open(44100), 0);
  EXPECT_EQ(pcm_.setUps().size(), 8U) << "where none is taken, the rate is not to blame";
}

}  // namespace
}  // namespace tolvane
