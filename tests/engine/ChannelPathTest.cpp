// Where the channels of a track come out, and what the verdict makes of it.

#include <bit>

#include "tests/engine/PlayerFixture.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;
using enum ChannelPosition;

const ChannelLayout wave51 = layoutOfMask(0x3F, 6);
const ChannelLayout card51{{frontLeft, frontRight, rearLeft, rearRight, frontCentre, lowFrequency}};

class ChannelPathTest : public PlayerFixture {
 protected:
  /// A 16-bit track whose channel c is, in every sample, 100 × (c + 1).
  FileURL addConstants(const std::string& name, const ChannelLayout& channels) {
    SimulatedPCMFile file;
    file.format = linearPCM(44100, channels.channelCount(), 16, 2, kAudioFormatFlagIsSignedInteger);
    file.sourceBitDepth = 16;
    file.channels = channels;
    for (int frame = 0; frame < 44100; ++frame) {
      for (std::uint32_t c = 0; c < channels.channelCount(); ++c) {
        file.data.push_back(static_cast<std::byte>(100 * (c + 1) & 0xFF));
        file.data.push_back(static_cast<std::byte>(100 * (c + 1) >> 8));
      }
    }
    files.add(FileURL(name), std::move(file));
    return FileURL(name);
  }

  AudioObjectID addCard(const ChannelLayout& channels) {
    SimulatedDeviceConfig config;
    config.streams.front().physicalFormats = {physicalInteger(16, channels.channelCount())};
    config.channelLayout = channels;
    config.captures = true;
    return addDevice(config);
  }

  /// The first frame that the device played.
  std::vector<std::uint32_t> firstFrame(AudioObjectID id, std::uint32_t channels) {
    advance(500ms);
    const auto& bytes = device(id).heard();
    std::vector<std::uint32_t> frame;
    for (std::uint32_t c = 0; c < channels && bytes.size() >= channels * 2; ++c)
      frame.push_back(std::to_integer<std::uint32_t>(bytes[c * 2]) | std::to_integer<std::uint32_t>(bytes[c * 2 + 1])
                                                                         << 8);
    return frame;
  }
};

TEST_F(ChannelPathTest, EveryChannelOfEveryLayoutPlaysFromItsLoudspeaker) {
  int played = 0;
  for (const std::uint32_t mask : {0x7U, 0xBU, 0x33U, 0x37U, 0x607U, 0x3FU, 0x60FU, 0x70FU, 0x63FU, 0xFFU}) {
    const ChannelLayout source = layoutOfMask(mask, static_cast<std::uint32_t>(std::popcount(mask)));
    ChannelLayout card = source;
    for (std::uint32_t turn = 0; turn < source.channelCount(); ++turn) {
      std::ranges::rotate(card.positions, card.positions.begin() + 1);
      if (turn % 2 == 1) std::ranges::swap(card.positions[0], card.positions[2]);
      const AudioObjectID id = addCard(card);
      player->setOutputDevice(id);
      player->play(addConstants("/track.wav", source));
      EXPECT_EQ(path().label, "BIT-PERFECT") << path().detail;
      const auto frame = firstFrame(id, card.channelCount());
      ASSERT_EQ(frame.size(), card.channelCount());
      for (std::uint32_t d = 0; d < card.channelCount(); ++d) {
        const auto from = std::ranges::find(source.positions, card.positions[d]) - source.positions.begin();
        EXPECT_EQ(frame[d], 100 * (from + 1)) << mask << ", turn " << turn;
      }
      player->stop();
      ++played;
    }
  }
  EXPECT_EQ(played, 3 + 3 + 4 + 5 + 5 + 6 + 6 + 7 + 8 + 8);
}

TEST_F(ChannelPathTest, ATrackOfOneOrTwoChannelsIsJudgedAsBefore) {
  for (const std::uint32_t channels : {1U, 2U}) {
    player->setOutputDevice(addCard(usualLayout(channels)));
    player->play(addConstants("/track.wav", usualLayout(channels)));
    EXPECT_EQ(path().label, "BIT-PERFECT") << path().detail;
    player->stop();
  }
  player->setOutputDevice(addCard(usualLayout(2)));
  player->play(addConstants("/mono.wav", usualLayout(1)));
  EXPECT_EQ(path().detail,
            "The device stream is 44.1 kHz, 16-bit integer, 2 ch, which does not preserve the source "
            "format exactly.");
}

TEST_F(ChannelPathTest, AMissingLoudspeakerIsAConversion) {
  player->setOutputDevice(addCard({{frontLeft, frontRight, lowFrequency, topCentre, rearLeft, rearRight}}));
  player->play(addConstants("/track.wav", wave51));
  EXPECT_EQ(path().label, "CONVERTED");
  EXPECT_EQ(path().detail,
            "The track has a centre channel, but the device has no loudspeaker for it. Choose a device that has one.");
}

TEST_F(ChannelPathTest, ATrackThatDoesNotStateItsPositionsIsNeverBitPerfect) {
  const AudioObjectID id = addCard(card51);
  player->setOutputDevice(id);
  player->play(addConstants("/track.wav", usualLayout(6)));
  EXPECT_EQ(path().label, "DIRECT PCM");
  EXPECT_TRUE(
      path().detail.ends_with("The track does not state which loudspeakers its 6 channels are meant for. Save it in a "
                              "format that does, such as FLAC."))
      << path().detail;
  EXPECT_EQ(firstFrame(id, 6), (std::vector<std::uint32_t>{100, 200, 500, 600, 300, 400}));
}

TEST_F(ChannelPathTest, ADeviceThatDoesNotStateItsPositionsIsNeverBitPerfect) {
  const AudioObjectID id = addCard(unknownLayout(6));
  player->setOutputDevice(id);
  player->play(addConstants("/track.wav", wave51));
  EXPECT_EQ(path().label, "DIRECT PCM");
  EXPECT_TRUE(path().detail.ends_with(
      "The device does not state which loudspeakers its 6 channels are for. Choose a device whose driver states them."))
      << path().detail;
  EXPECT_EQ(firstFrame(id, 6), (std::vector<std::uint32_t>{100, 200, 300, 400, 500, 600}));
}

TEST_F(ChannelPathTest, TooFewBitsAreAConversionWhateverIsKnownOfThePositions) {
  SimulatedPCMFile file;
  file.format = linearPCM(44100, 6, 24, 3, kAudioFormatFlagIsSignedInteger);
  file.sourceBitDepth = 24;
  file.data.resize(44100 * 6 * 3);
  const std::string narrow =
      "The device stream is 44.1 kHz, 16-bit integer, 6 ch, which does not preserve the source format exactly.";
  for (const bool isTrackSilent : {true, false}) {
    file.channels = isTrackSilent ? usualLayout(6) : wave51;
    files.add(FileURL("/deep.wav"), file);
    player->setOutputDevice(addCard(isTrackSilent ? card51 : unknownLayout(6)));
    player->play(FileURL("/deep.wav"));
    EXPECT_EQ(path().label, "CONVERTED");
    EXPECT_EQ(path().detail, narrow + (isTrackSilent ? " The track does not state which loudspeakers its 6 channels "
                                                       "are meant for. Save it in a format that does, such as FLAC."
                                                     : " The device does not state which loudspeakers its 6 channels "
                                                       "are for. Choose a device whose driver states them."));
    player->stop();
  }
}

TEST_F(ChannelPathTest, TheUnitKnowsTheDepthOfTheSource) {
  SimulatedDeviceConfig dac;
  const AudioObjectID id = addDevice(dac);
  player->setOutputDevice(id);
  SimulatedCompressedFile flac;
  flac.format = {44100, fourCharCode("flac"), 0, 0, 0, 0, 2, 24, 0};
  flac.sourceBitDepth = 24;
  flac.samples.resize(2000);
  files.add(FileURL("/song.flac"), flac);
  player->play(FileURL("/song.flac"));
  EXPECT_EQ(device(id).sourceBits(), 24U);
  SimulatedPCMFile wav;
  wav.format = float32PCM(44100, 2);
  wav.data.resize(8000);
  files.add(FileURL("/float.wav"), wav);
  player->play(FileURL("/float.wav"));
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(device(id).sourceBits(), 0U) << "floating point has no integer depth";
}

}  // namespace
}  // namespace tolvane
