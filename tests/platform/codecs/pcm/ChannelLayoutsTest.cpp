// Which loudspeakers each kind of file means its channels for.

#include <gmock/gmock.h>

#include <string>

#include "platform/codecs/pcm/AiffLayout.h"
#include "platform/codecs/flac/FlacChannels.h"
#include "platform/codecs/pcm/WavLayout.h"
#include "tests/platform/codecs/AudioBytes.h"

namespace tolvane::test {
namespace {

using enum ChannelPosition;
using Positions = std::vector<ChannelPosition>;

// WAV.

WavFile extensible(std::uint16_t channels, std::uint32_t mask) {
  Bytes format;
  format.little(0xFFFE, 2).little(channels, 2).little(48000, 4).little(0, 4).little(channels * 2U, 2).little(16, 2);
  format.little(22, 2).little(16, 2).little(mask, 4).little(1, 2).little(0, 2).little(0, 2).little(0x10, 2);
  for (const int byte : {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}) format.little(static_cast<unsigned>(byte), 1);
  WavFile file;
  file.chunk("fmt ", format.all()).chunk("data", countingBytes(channels * 2U));
  return file;
}

ChannelLayout channelsOf(const WavFile& file) {
  const auto layout = readWavLayout(MemorySource(file.bytes()));
  EXPECT_TRUE(layout);
  return layout ? layout->channels : ChannelLayout{};
}

TEST(WavChannels, AreThoseOfTheMask) {
  EXPECT_EQ(channelsOf(extensible(6, 0x3F)), layoutOfMask(0x3F, 6));
  EXPECT_EQ(channelsOf(extensible(6, 0x60F)), layoutOfMask(0x60F, 6));
  EXPECT_EQ(channelsOf(extensible(8, 0x63F)), layoutOfMask(0x63F, 8));
  EXPECT_EQ(channelsOf(extensible(4, 0x3)), layoutOfMask(0x3, 4));
  EXPECT_EQ(channelsOf(extensible(2, 0x3)), usualLayout(2));
}

TEST(WavChannels, AreAssumedWhereThereIsNoMask) {
  EXPECT_EQ(channelsOf(extensible(6, 0)), usualLayout(6));
  WavFile plain;
  plain.format(1, 6, 48000, 12, 16).chunk("data", countingBytes(12));
  EXPECT_EQ(channelsOf(plain), usualLayout(6));
  EXPECT_FALSE(channelsOf(plain).isStated);
}

// AIFF.

std::vector<std::byte> layoutChunk(std::uint32_t tag, std::uint32_t bitmap,
                                   const std::vector<std::uint32_t>& labels = {}) {
  Bytes bytes;
  bytes.big(tag, 4).big(bitmap, 4).big(labels.size(), 4);
  for (const std::uint32_t label : labels) bytes.big(label, 4).repeat(std::byte{0}, 16);
  return bytes.all();
}

ChannelLayout aiffChannels(std::uint16_t channels, const std::vector<std::byte>& chunk, bool isInFront = true) {
  AiffFile file;
  file.common(channels, 1, 16, 48000);
  if (isInFront && !chunk.empty()) file.chunk("CHAN", chunk);
  file.soundData(countingBytes(channels * 2U));
  if (!isInFront) file.chunk("CHAN", chunk);
  const auto layout = readAiffLayout(MemorySource(file.bytes()));
  EXPECT_TRUE(layout);
  return layout ? layout->channels : ChannelLayout{};
}

TEST(AiffChannels, AreThoseOfTheFormatWhereItHasOneOrder) {
  EXPECT_EQ(aiffChannels(1, {}), usualLayout(1));
  EXPECT_EQ(aiffChannels(2, {}), usualLayout(2));
  EXPECT_EQ(aiffChannels(3, {}), (ChannelLayout{{frontLeft, frontRight, frontCentre}, true}));
  EXPECT_EQ(
      aiffChannels(6, {}),
      (ChannelLayout{{frontLeft, frontLeftOfCentre, frontCentre, frontRight, frontRightOfCentre, rearCentre}, true}));
  for (const std::uint16_t channels : {4, 5, 7, 8}) EXPECT_EQ(aiffChannels(channels, {}), usualLayout(channels));
}

TEST(AiffChannels, AreThoseOfTheLayoutChunkWhereverItStands) {
  constexpr std::uint32_t mpeg51A = 121U << 16U | 6;
  constexpr std::uint32_t mpeg51D = 124U << 16U | 6;
  for (const bool isInFront : {true, false}) {
    EXPECT_EQ(aiffChannels(6, layoutChunk(mpeg51A, 0), isInFront), layoutOfMask(0x3F, 6));
    EXPECT_EQ(aiffChannels(6, layoutChunk(mpeg51D, 0), isInFront).positions,
              (Positions{frontCentre, frontLeft, frontRight, rearLeft, rearRight, lowFrequency}));
    EXPECT_EQ(aiffChannels(6, layoutChunk(1U << 16U, 0x60F), isInFront), layoutOfMask(0x60F, 6));
    EXPECT_EQ(aiffChannels(4, layoutChunk(0, 0, {3, 1, 2, 9}), isInFront).positions,
              (Positions{frontCentre, frontLeft, frontRight, rearCentre}));
    EXPECT_EQ(aiffChannels(8, layoutChunk(0, 0, {1, 2, 3, 4, 5, 6, 33, 34}), isInFront).positions,
              (Positions{frontLeft, frontRight, frontCentre, lowFrequency, sideLeft, sideRight, rearLeft, rearRight}));
    EXPECT_EQ(aiffChannels(4, layoutChunk(0, 0, {1, 2, 0, 400}), isInFront).positions,
              (Positions{frontLeft, frontRight, unknown, unknown}));
  }
}

TEST(AiffChannels, OfAPairMayBeReversed) {
  for (const bool isInFront : {true, false}) {
    EXPECT_EQ(aiffChannels(2, layoutChunk(0, 0, {2, 1}), isInFront), (ChannelLayout{{frontRight, frontLeft}, true}));
    EXPECT_EQ(aiffChannels(2, layoutChunk(0, 0, {1, 2}), isInFront), usualLayout(2));
    EXPECT_EQ(aiffChannels(2, layoutChunk(0, 0, {2, 400}), isInFront), usualLayout(2));
    EXPECT_EQ(aiffChannels(2, layoutChunk(101U << 16U | 2, 0), isInFront), usualLayout(2));
    EXPECT_EQ(aiffChannels(2, layoutChunk(1U << 16U, 0x3), isInFront), usualLayout(2));
    EXPECT_EQ(aiffChannels(1, layoutChunk(0, 0, {2}), isInFront), usualLayout(1));
  }
}

TEST(AiffChannels, AreThoseOfTheLayoutChunkBehindALeadingTagToo) {
  AiffFile file;
  file.common(3, 1, 16, 48000);
  file.chunk("CHAN", layoutChunk(0, 0, {3, 1, 2}));
  file.soundData(countingBytes(6));
  const auto bytes = file.bytes();
  for (const std::size_t tag : {std::size_t{10}, std::size_t{1034}}) {
    std::vector<std::byte> tagged(tag);
    tagged.insert(tagged.end(), bytes.begin(), bytes.end());
    const auto layout = readAiffLayout(MemorySource(tagged), tag);
    ASSERT_TRUE(layout) << tag;
    EXPECT_EQ(layout->channels.positions, (Positions{frontCentre, frontLeft, frontRight})) << tag;
  }
}

TEST(AiffChannels, AreNotStatedWhereNotAllChunksAreRead) {
  AiffFile file;
  file.common(3, 1, 16, 48000);
  file.soundData(countingBytes(6));
  for (int i = 0; i < 100'000; ++i) file.chunk("JUNK", {});
  const auto layout = readAiffLayout(MemorySource(file.bytes()));
  ASSERT_TRUE(layout);
  EXPECT_EQ(layout->channels, usualLayout(3));
}

TEST(AiffChannels, AreAssumedWhereTheLayoutChunkIsNotUnderstood) {
  constexpr std::uint32_t mpeg51A = 121U << 16U | 6;
  for (const auto& chunk : {layoutChunk(mpeg51A, 0), layoutChunk(0xFFFF0000U | 8, 0), layoutChunk(0, 0, {1, 2}),
                            layoutChunk(1U << 16U, 0), countingBytes(4), layoutChunk(0, 0)})
    EXPECT_EQ(aiffChannels(8, chunk), usualLayout(8));
  auto cut = layoutChunk(0, 0, {1, 2, 3, 4});
  cut.resize(cut.size() - 21);
  EXPECT_EQ(aiffChannels(4, cut), usualLayout(4));
}

// FLAC.

std::vector<std::byte> flacStart(const std::vector<std::string>& comments, bool hasPicture = false) {
  Bytes content;
  content.little(4, 4).text("test").little(comments.size(), 4);
  for (const std::string& comment : comments) content.little(comment.size(), 4).text(comment);
  Bytes bytes;
  bytes.text("fLaC").big(34, 4).repeat(std::byte{0}, 34);
  if (hasPicture) bytes.big(6U << 24U | 70'000U, 4).repeat(std::byte{0x41}, 70'000);
  bytes.big(0x84000000U | content.all().size(), 4).append(content.all());
  return bytes.all();
}

ChannelLayout flacChannels(const std::vector<std::byte>& start, std::uint32_t channels) {
  return readFlacChannels(MemorySource(start), 0, channels);
}

ChannelLayout assignedByFlac(std::uint32_t channels) { return {usualLayout(channels).positions, true}; }

TEST(FlacChannels, AreThoseThatTheFormatAssigns) {
  for (std::uint32_t channels = 1; channels <= 8; ++channels) {
    const ChannelLayout layout = flacChannels(flacStart({"TITLE=A", "MASK=0x3F"}), channels);
    EXPECT_EQ(layout, assignedByFlac(channels));
    EXPECT_TRUE(layout.isStated);
  }
}

TEST(FlacChannels, AreThoseOfTheMaskAmongTheComments) {
  EXPECT_EQ(flacChannels(flacStart({"TITLE=A", "WAVEFORMATEXTENSIBLE_CHANNEL_MASK=0x60F"}), 6), layoutOfMask(0x60F, 6));
  EXPECT_EQ(flacChannels(flacStart({"waveformatextensible_channel_mask=0X33"}, true), 4), layoutOfMask(0x33, 4));
  EXPECT_EQ(flacChannels(flacStart({"WAVEFORMATEXTENSIBLE_CHANNEL_MASK=1551"}), 6), layoutOfMask(0x60F, 6));
  EXPECT_EQ(flacChannels(flacStart({"WAVEFORMATEXTENSIBLE_CHANNEL_MASK=0x30"}), 2), usualLayout(2));
}

TEST(FlacChannels, AreNotStatedByAMaskThatCannotBeRead) {
  for (const char* text : {"", "0x", "x", "0x60Fz", "0x60F ", "0x123456789", "-1", "0", "0x000000000000000000060F"})
    EXPECT_EQ(flacChannels(flacStart({std::string("WAVEFORMATEXTENSIBLE_CHANNEL_MASK=") + text}), 6), usualLayout(6))
        << text;
}

TEST(FlacChannels, NeverReadOutsideACutOrDamagedStart) {
  const auto whole = flacStart({"TITLE=A", "WAVEFORMATEXTENSIBLE_CHANNEL_MASK=0x60F"}, true);
  int masks = 0;
  for (std::size_t size = 0; size <= whole.size(); size += size < 100 || size + 1200 > whole.size() ? 1 : 997) {
    const auto layout = flacChannels({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)}, 6);
    const bool hasMask = layout == layoutOfMask(0x60F, 6);
    EXPECT_TRUE(hasMask || layout == usualLayout(6)) << size;
    masks += hasMask;
  }
  EXPECT_EQ(masks, 1) << "only the whole one has its mask";
  auto damaged = flacStart({"A=B", "WAVEFORMATEXTENSIBLE_CHANNEL_MASK=0x60F"});
  for (std::size_t at = 42; at < 58; ++at) {
    auto bytes = damaged;
    bytes[at] = std::byte{0xFF};
    EXPECT_EQ(flacChannels(bytes, 6).channelCount(), 6U) << at;
  }
}

}  // namespace
}  // namespace tolvane::test
