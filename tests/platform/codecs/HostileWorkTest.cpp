// Files of 1 to 4 megabytes that were made to cost as much as possible. Counts the bytes that are read and the blocks
// that are begun from opening to the last sample, with one thread and with eight; and what is done after a
// cancellation.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>

#include "platform/codecs/pcm/AiffLayout.h"
#include "platform/codecs/FileRecognition.h"
#include "platform/codecs/flac/FlacTrack.h"
#include "platform/codecs/mp3/Mp3Track.h"
#include "platform/codecs/pcm/WavLayout.h"
#include "tests/platform/codecs/AudioBytes.h"
#include "tests/platform/codecs/bytes/CancelledReading.h"
#include "tests/platform/codecs/Workbench.h"
#include "tests/support/Printers.h"
#include "tests/support/SeededRandom.h"

namespace tolvane::test {
namespace {

constexpr std::size_t million = 1'000'000;

std::uint64_t checksumOf(const std::vector<std::byte>& bytes) {
  std::uint32_t sum = 0;
  for (const std::byte byte : bytes) {
    sum ^= std::to_integer<std::uint32_t>(byte);
    for (int bit = 0; bit < 8; ++bit) sum = (sum & 0x80) != 0 ? (sum << 1 ^ 0x07) & 0xFF : sum << 1;
  }
  return sum;
}

/// The header of a block of 65535 frames in eight channels, and eight subframes of one value each.
std::vector<std::byte> falseBlock(std::uint32_t number, bool isSpoilt) {
  Bytes head;
  head.big(0xFFF8, 2).big(0x79, 1).big(0x78, 1);
  head.big(0xE0 | number >> 12, 1).big(0x80 | (number >> 6 & 63), 1).big(0x80 | (number & 63), 1).big(0xFFFE, 2);
  Bytes block;
  block.append(head.all()).big(checksumOf(head.all()), 1);
  for (int channel = 0; channel < 8; ++channel) block.big(0, 1).big(0x1234, 2);
  // Without its checksum, and in some places with a subframe that there is not.
  return (isSpoilt ? block.big(0xFF, 1) : block.big(0xABCD, 2)).all();
}

std::vector<std::byte> falseBlocks(Bytes start, std::size_t size, std::uint32_t firstNumber, std::uint32_t step) {
  for (std::uint32_t i = 0; start.all().size() < size; ++i) {
    start.append(falseBlock(0x800 + (firstNumber + i * step) % 0xF000, i % 3 == 0));
  }
  return start.all();
}

std::vector<std::byte> metadataBlocks(std::size_t size) {
  auto bytes = flacStart(44100, 2, false);
  while (bytes.all().size() < size) bytes.big(0x0100'0000, 4);
  return bytes.all();
}

std::vector<std::byte> oggPages(std::size_t size, int payload) {
  Bytes bytes;
  const auto page = [&bytes](const std::vector<std::byte>& content) {
    bytes.text("OggS").big(0, 2).big(0, 8).big(1, 4).big(0, 8).big(1, 1).big(content.size(), 1).append(content);
  };
  page(Bytes().big(0x7F, 1).text("FLAC").big(0x0100'0000, 4).append(flacStart(1U << 30U, 2).all()).all());
  while (bytes.all().size() < size) page(std::vector<std::byte>(static_cast<std::size_t>(payload), std::byte{0xFF}));
  return bytes.all();
}

/// Nothing but empty chunks.
std::vector<std::byte> manyChunks(bool isWav, std::size_t size) {
  Bytes bytes;
  bytes.text(isWav ? "RIFF" : "FORM").big(0, 4).text(isWav ? "WAVE" : "AIFF");
  while (bytes.all().size() < size) bytes.text("LIST").big(0, 4);
  return bytes.all();
}

/// Music of 20 seconds behind a picture of 3 megabytes, in a file of about 4.
std::vector<std::byte> withPicture() {
  const Workbench bench;
  bench.run("sox -R -D -n -r 22050 -c 1 -b 16 in.wav synth 20 pinknoise && flac -s --no-padding in.wav");
  const auto flac = bench.bytesOf("in.flac");
  constexpr std::ptrdiff_t infoEnd = 42;
  Bytes bytes;
  bytes.append({flac.begin(), flac.begin() + infoEnd});
  bytes.big(0x06, 1).big(3 * million, 3).repeat(std::byte{0xFF}, 3 * million);
  return bytes.append({flac.begin() + infoEnd, flac.end()}).all();
}

/// The first 60 % of music that takes 216 blocks.
std::vector<std::byte> cutMusic() {
  const Workbench bench;
  bench.run("sox -R -D -n -r 22050 -c 1 -b 16 in.wav synth 40 pinknoise && flac -s --no-padding in.wav");
  auto flac = bench.bytesOf("in.flac");
  flac.resize(flac.size() * 6 / 10);
  return flac;
}

/// Music that takes 216 blocks, intact, whose header does not state its length.
std::vector<std::byte> musicWithoutLength() {
  const Workbench bench;
  bench.run("sox -R -D -n -r 22050 -c 1 -b 16 in.wav synth 40 pinknoise && flac -s --no-padding in.wav");
  auto flac = bench.bytesOf("in.flac");
  constexpr std::size_t lengthAt = 21;  // the lower half of this byte, and four more
  flac.at(lengthAt) &= std::byte{0xF0};
  std::fill_n(flac.begin() + lengthAt + 1, 4, std::byte{0});
  return flac;
}

std::vector<std::byte> allBytes(const Bytes& bytes) { return bytes.all(); }

struct WorkCase {
  std::string name;
  std::function<std::vector<std::byte>()> make;
  double mostReads = 3;            ///< bytes read, in sizes of the file
  std::uint64_t mostBlocks = 100;  ///< begun by decoders
};

class HostileWork : public testing::TestWithParam<WorkCase> {};

struct Work {
  std::uint64_t bytesRead = 0;
  std::uint64_t blocksTried = 0;
};

std::expected<std::unique_ptr<EncodedTrack>, OSStatus> openHostileTrack(const std::shared_ptr<const ByteSource>& source,
                                                                        const RecognisedFile& file) {
  if (file.kind == AudioFileKind::mpeg) return Mp3Track::open(source, file.offset);
  const bool isOgg = file.kind == AudioFileKind::oggFlac;
  return FlacTrack::open(source, file.offset, isOgg ? FlacTrack::Container::ogg : FlacTrack::Container::none);
}

/// All that a preparation does with a file.
Work workToPrepare(const std::vector<std::byte>& bytes, const SegmentLimits& limits) {
  constexpr std::uint64_t mostSamples = std::uint64_t{1} << 22U;  // as much as this test has memory for
  const auto source = std::make_shared<CountingSource>(bytes);
  Work work;
  const auto file = recogniseFile(*source);
  if (file && file->kind == AudioFileKind::wav) static_cast<void>(readWavLayout(*source, file->offset));
  if (file && file->kind == AudioFileKind::aiff) static_cast<void>(readAiffLayout(*source, file->offset));
  const bool isTrack = file && (file->kind == AudioFileKind::mpeg || file->kind == AudioFileKind::flac ||
                                file->kind == AudioFileKind::oggFlac);
  if (isTrack) {
    if (const auto track = openHostileTrack(source, *file)) {
      const std::uint64_t channels = (*track)->format().mChannelsPerFrame;
      const auto frames = std::min((*track)->frameCount().value_or(0), mostSamples / channels);
      std::vector<std::byte> samples(frames * channels * sizeof(float));
      ReadingProgress progress;
      work.blocksTried = (*track)->decodeStart(samples, limits, progress).blocksTried;
    }
  }
  work.bytesRead = source->bytesRead();
  return work;
}

TEST_P(HostileWork, StaysWithinItsBudget) {
  const auto bytes = GetParam().make();
  // Windows that are read ahead, by the scanner and by each of the decoders.
  constexpr std::uint64_t windows = std::uint64_t{40} * 128 * 1024;
  for (const auto& limits : {SegmentLimits{1, 1}, SegmentLimits{8, 1000}}) {
    const auto work = workToPrepare(bytes, limits);
    std::printf("%-26s %8zu bytes, %u threads: %9llu bytes read, %6llu blocks begun\n", GetParam().name.c_str(),
                bytes.size(), limits.workers, static_cast<unsigned long long>(work.bytesRead),
                static_cast<unsigned long long>(work.blocksTried));
    const auto budget = static_cast<std::uint64_t>(GetParam().mostReads * static_cast<double>(bytes.size()));
    EXPECT_GT(work.bytesRead, 0U);
    EXPECT_LE(work.bytesRead, budget + (limits.workers > 1 ? windows : windows / 8));
    EXPECT_LE(work.blocksTried, GetParam().mostBlocks);
  }
}

TEST_P(HostileWork, EndsSoonWhereverItIsCancelled) {
  const auto file = std::make_shared<MemorySource>(GetParam().make());
  for (const auto& limits : {SegmentLimits{1, 1000}, SegmentLimits{4, 1000}}) {
    const auto work = cancelEverywhere(file, limits, cancelPoints / 2);
    std::printf("%-26s %u threads: %2llu readings cancelled; afterwards at most %llu accesses, %5llu frames\n",
                GetParam().name.c_str(), limits.workers, static_cast<unsigned long long>(work.readings),
                static_cast<unsigned long long>(work.mostAccesses), static_cast<unsigned long long>(work.mostFrames));
    // With several threads the way through a damaged file is not always the same: it may end before the point.
    EXPECT_GE(work.readings, cancelPoints / 2);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Files, HostileWork,
    testing::Values(
        WorkCase{"FlacOfZeros", [] { return allBytes(flacStart(1ULL << 35U, 2).repeat(std::byte{0}, 4 * million)); }},
        WorkCase{"FlacOfZerosWithoutLength",
                 [] { return allBytes(flacStart(0, 2).repeat(std::byte{0}, 4 * million)); }},
        WorkCase{"FlacOfOnes", [] { return allBytes(flacStart(1ULL << 35U, 2).repeat(std::byte{0xFF}, 4 * million)); }},
        WorkCase{"FlacAnnouncingMost", [] { return allBytes(flacStart((1ULL << 36U) - 1, 8)); }},
        WorkCase{"FlacOfFalseBlocks", [] { return falseBlocks(flacStart(1ULL << 35U, 8), 2 * million, 0, 1); }},
        WorkCase{"FlacOfFalseBlocksApart", [] { return falseBlocks(flacStart(1ULL << 35U, 8), 2 * million, 5, 7); }},
        WorkCase{"FlacOfFalseBlocksNoLength", [] { return falseBlocks(flacStart(0, 8), 2 * million, 0, 1); }},
        WorkCase{"FlacOfMetadata", [] { return metadataBlocks(2 * million); }},
        WorkCase{"FlacWithAPicture", &withPicture, 1.2, 200},
        WorkCase{"FlacThatIsCut", &cutMusic, 1.5, 135},  // once: it has 130 blocks
        WorkCase{"FlacIntactWithoutLength", &musicWithoutLength, 2.2, 220},  // counted once, decoded once
        WorkCase{"OggOfTinyPages", [] { return oggPages(2 * million, 1); }},
        WorkCase{"OggOfEmptyPages", [] { return oggPages(2 * million, 0); }},
        WorkCase{"WavOfChunks", [] { return manyChunks(true, 4 * million); }},
        WorkCase{"AiffOfChunks", [] { return manyChunks(false, 4 * million); }},
        WorkCase{"TagsOfHugeSizes",
                 [] {
                   Bytes bytes;
                   while (bytes.all().size() < million) bytes.text("ID3").big(0x0400'00, 3).big(0x7F7F'7F7F, 4);
                   return bytes.all();
                 }},
        WorkCase{"Mp3OfHeaders",
                 [] {
                   Bytes bytes;
                   while (bytes.all().size() < million) bytes.big(0xFFFB'9000, 4).repeat(std::byte{0xFF}, 413);
                   return bytes.all();
                 },
                 8},
        WorkCase{"Mp3OfFreeHeaders", [] { return freeHeadersWithoutRun(million); }}),
    caseName);

TEST(FlacWithoutALength, IsCountedNoFurtherThanATrackMayBeLong) {
  // 2048 blocks of 65535 frames in eight channels fill the largest block of memory; the file has 55,000.
  const auto bytes = falseBlocks(flacStart(0, 8), 2 * million, 0, 1);
  const auto source = std::make_shared<CountingSource>(bytes);
  const auto track = FlacTrack::open(source, 0, FlacTrack::Container::none);
  ASSERT_TRUE(track);
  constexpr std::uint64_t mostFrames = 0xFFFF'FFFFU / (8 * sizeof(float));
  EXPECT_GT((*track)->frameCount().value(), mostFrames);
  EXPECT_LT((*track)->frameCount().value(), mostFrames + 2 * 65535);
  std::printf("%llu of %zu bytes read, %llu frames counted\n", static_cast<unsigned long long>(source->bytesRead()),
              bytes.size(), static_cast<unsigned long long>((*track)->frameCount().value()));
  EXPECT_GT(source->bytesRead(), 42U);
  EXPECT_LE(source->bytesRead(), bytes.size() / 4);
}

}  // namespace
}  // namespace tolvane::test
