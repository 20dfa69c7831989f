// Files of every kind, cancelled from within and read to their ends: what is still done after the cancellation, and
// what the progress says.

#include <gmock/gmock.h>

#include <array>
#include <cstdio>
#include <string>
#include <thread>

#include "platform/codecs/bytes/CancellableSource.h"
#include "platform/codecs/FileOpening.h"
#include "platform/codecs/flac/FlacTrack.h"
#include "platform/codecs/flac/OggPayload.h"
#include "platform/codecs/bytes/ReadWindow.h"
#include "tests/platform/codecs/AudioBytes.h"
#include "tests/platform/codecs/bytes/CancelledReading.h"
#include "tests/platform/codecs/flac/FlacEncoder.h"
#include "tests/platform/codecs/Workbench.h"
#include "tests/support/Printers.h"
#include "tests/support/SeededRandom.h"

namespace tolvane::test {
namespace {

constexpr SegmentLimits oneThread = {1, 4000};
constexpr SegmentLimits fourThreads = {4, 4000};

struct CancelCase {
  std::string name;
  std::string command;  ///< makes "out" of in.wav, six seconds of stereo
  bool isPCM = false;
};

std::shared_ptr<const ByteSource> madeBy(const Workbench& bench, const std::string& command) {
  bench.makeWav("in.wav", 44100, 2, 16, 6);
  bench.run(command);
  return std::make_shared<MemorySource>(bench.bytesOf("out"));
}

class ReadingTable : public testing::TestWithParam<CancelCase> {
 protected:
  [[nodiscard]] WatchedReading read(const SegmentLimits& limits) const {
    return GetParam().isPCM ? readPCMWatched(file_) : decodeWatched(file_, limits);
  }

  Workbench bench_;
  std::shared_ptr<const ByteSource> file_ = madeBy(bench_, GetParam().command);
};

TEST_P(ReadingTable, EndsSoonWhereverItIsCancelled) {
  for (const auto& limits : {oneThread, fourThreads}) {
    const auto work = cancelEverywhere(file_, limits, cancelPoints);
    std::printf("%s, %u threads: %llu readings cancelled; afterwards at most %llu accesses, %llu frames\n",
                GetParam().name.c_str(), limits.workers, static_cast<unsigned long long>(work.readings),
                static_cast<unsigned long long>(work.mostAccesses), static_cast<unsigned long long>(work.mostFrames));
    EXPECT_EQ(work.readings, 2 * cancelPoints) << "as a compressed file and as one of PCM";
  }
}

TEST_P(ReadingTable, ReportsEveryFrameOnceAndNeverFallsBack) {
  for (const unsigned workers : {1U, 2U, 4U, 8U}) {
    const auto whole = read({workers, 4000});
    EXPECT_EQ(whole.status, noErr) << statusText(whole.status);
    EXPECT_GE(whole.frames, 6U * 44100);
    EXPECT_EQ(whole.reported, whole.frames) << workers << " threads";
    EXPECT_TRUE(whole.neverFellBack);
  }
}

TEST_P(ReadingTable, GivesTheSameWithoutProgress) {
  if (GetParam().isPCM) {
    const auto file = openLinearPCM(file_, nullptr);
    ASSERT_TRUE(file);
    std::vector<std::byte> bytes(*(*file)->audioDataByteCount());
    EXPECT_EQ((*file)->readBytes(0, bytes), bytes.size());
    EXPECT_TRUE(read(oneThread).data == bytes);
    return;
  }
  const auto file = openEncoded(file_, fourThreads, nullptr);
  ASSERT_TRUE(file);
  const auto frames = static_cast<std::uint32_t>(*(*file)->fileLengthFrames());
  std::vector<std::byte> samples(frames * (*file)->fileDataFormat()->mChannelsPerFrame * sizeof(float));
  EXPECT_EQ((*file)->read(frames, samples), frames);
  for (const auto& limits : {oneThread, fourThreads}) EXPECT_TRUE(read(limits).data == samples);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, ReadingTable,
    testing::Values(
        CancelCase{"Flac", "flac -s --no-padding -o out in.wav"},
        CancelCase{"FlacOfSmallBlocks", "flac -s --no-padding --lax -b 192 -o out in.wav"},
        CancelCase{"FlacOfLargeBlocks", "flac -s --no-padding --lax -b 65535 -o out in.wav"},
        CancelCase{"FlacOfSilence",
                   "sox -D in.wav -b 16 q.wav gain -200 repeat 3 && flac -s --no-padding -o out q.wav"},
        CancelCase{"FlacWithoutLength",
                   "flac -s --no-padding -o out.flac in.wav && (head -c 21 out.flac; printf '\\360\\0\\0\\0\\0'; "
                   "tail -c +27 out.flac) >out"},
        CancelCase{"FlacInOgg", "flac -s --ogg -o out in.wav"},
        CancelCase{"Mp3Variable", "lame --quiet -V4 in.wav out"},
        CancelCase{"Mp3Constant", "lame --quiet -t -b 128 in.wav out"},
        CancelCase{"Mp3Smallest",
                   "sox in.wav -c 1 long.wav repeat 5 && lame --quiet -t --resample 22.05 -b 8 long.wav out"},
        // Silence proves no seam, so all is decoded a second time.
        CancelCase{"Mp3OfSilence", "sox -D in.wav q.wav gain -200 && lame --quiet -b 128 q.wav out"},
        CancelCase{"Wav", "cp in.wav out", true}, CancelCase{"Aiff", "sox -D in.wav -t aiff out", true}),
    caseName);

std::uint32_t checksum(const std::vector<std::byte>& bytes, int bits, std::uint32_t polynomial) {
  std::uint32_t sum = 0;
  for (const std::byte byte : bytes) {
    sum ^= std::to_integer<std::uint32_t>(byte) << (bits - 8);
    for (int bit = 0; bit < 8; ++bit) {
      const bool isSet = (sum >> (bits - 1) & 1U) != 0;
      sum = (sum << 1 ^ (isSet ? polynomial : 0)) & ((1U << bits) - 1);
    }
  }
  return sum;
}

/// A whole block of 4096 equal samples, in the format of the stream below.
std::vector<std::byte> plantedBlock(std::uint32_t number) {
  Bytes block;
  block.big(0xFFF8'C902, 4).big(number, 1);
  block.big(checksum(block.all(), 8, 0x07), 1).big(0x0011, 2);
  return block.big(checksum(block.all(), 16, 0x8005), 2).all();
}

/// One channel of 8-bit noise, which is stored as it is: so what looks like later blocks can stand inside of its
/// blocks.
std::vector<std::byte> flacOfPlantedBlocks(std::size_t frames) {
  constexpr std::size_t blockFrames = 4096;
  constexpr std::size_t distance = 300;
  SeededRandom random(31);
  std::vector<std::int32_t> samples(frames);
  for (auto& sample : samples) sample = static_cast<std::int32_t>(random.between(-128, 127));
  for (std::size_t at = 0; at + distance < frames; at += distance) {
    const auto block = plantedBlock(static_cast<std::uint32_t>(at / blockFrames + 1));
    for (std::size_t i = 0; i < block.size(); ++i) {
      samples[at + i] = static_cast<std::int8_t>(std::to_integer<std::uint8_t>(block[i]));
    }
  }
  const Workbench bench;
  EXPECT_TRUE(encodeFlac(bench.url("in.flac"), samples, 1, 8, 44100));
  return bench.bytesOf("in.flac");
}

TEST(Reading, ReportsFramesOnceThatTwoDecodersGave) {
  constexpr std::size_t frames = 100 * 4096;
  const auto file = std::make_shared<MemorySource>(flacOfPlantedBlocks(frames));
  const auto track = FlacTrack::open(file, 0, FlacTrack::Container::none);
  ASSERT_TRUE(track);
  std::vector<std::byte> samples(frames * sizeof(float));
  ReadingProgress unused;
  // What segments decoded that began at false blocks, the decoder before them decodes again.
  EXPECT_GT((*track)->decodeStart(samples, fourThreads, unused).blocksTried, 100U);
  const auto serial = decodeWatched(file, oneThread);
  const auto parallel = decodeWatched(file, fourThreads);
  EXPECT_TRUE(parallel.data == serial.data);
  for (const auto& reading : {serial, parallel}) {
    EXPECT_EQ(reading.status, noErr);
    EXPECT_EQ(reading.frames, frames);
    EXPECT_EQ(reading.reported, frames);
    EXPECT_TRUE(reading.neverFellBack);
  }
}

template <typename Opened>
OSStatus statusOf(const Opened& opened) {
  return opened ? noErr : opened.error();
}

TEST(Reading, CancelledBeforeItsFileIsOpenedTouchesNothing) {
  const Workbench bench;
  bench.makeWav("in.wav", 44100, 2, 16, 1);
  bench.run("flac -s in.wav && lame --quiet in.wav in.mp3 && sox in.wav in.aiff");
  SystemAudioFileServices services;
  ReadingProgress progress;
  progress.cancel();
  for (const char* name : {"in.wav", "in.aiff", "in.flac", "in.mp3"}) {
    const auto file = std::make_shared<CountingSource>(bench.bytesOf(name));
    EXPECT_EQ(statusOf(openLinearPCM(file, &progress)), userCanceledErr) << name;
    EXPECT_EQ(statusOf(openEncoded(file, fourThreads, &progress)), userCanceledErr) << name;
    EXPECT_EQ(file->reads(), 0U) << name;
    EXPECT_EQ(statusOf(services.openAudioFile(bench.url(name), &progress)), userCanceledErr) << name;
    EXPECT_EQ(statusOf(services.openExtAudioFile(bench.url(name), &progress)), userCanceledErr) << name;
  }
}

TEST(Reading, CancelledBetweenOpeningAndReadingTouchesNothingMore) {
  const Workbench bench;
  bench.makeWav("in.wav", 44100, 2, 16, 1);
  bench.run("flac -s in.wav && lame --quiet in.wav in.mp3");
  std::vector<std::byte> room(8000);
  for (const char* name : {"in.flac", "in.mp3"}) {
    ReadingProgress progress;
    const auto bytes = std::make_shared<CountingSource>(bench.bytesOf(name));
    const auto file = openEncoded(bytes, fourThreads, &progress);
    ASSERT_TRUE(file) << name;
    EXPECT_EQ((*file)->read(500, room), 500U);
    progress.cancel();
    const auto reads = bytes->reads();
    EXPECT_EQ((*file)->read(500, room), std::unexpected(userCanceledErr)) << name;
    EXPECT_EQ((*file)->read(500, room), std::unexpected(userCanceledErr)) << name;
    EXPECT_EQ(bytes->reads(), reads) << name;
  }
  ReadingProgress progress;
  const auto bytes = std::make_shared<CountingSource>(bench.bytesOf("in.wav"));
  const auto file = openLinearPCM(bytes, &progress);
  ASSERT_TRUE(file);
  EXPECT_EQ((*file)->readBytes(0, room), room.size());
  progress.cancel();
  const auto reads = bytes->reads();
  EXPECT_EQ((*file)->readBytes(0, room), std::unexpected(userCanceledErr));
  EXPECT_EQ(bytes->reads(), reads);
}

TEST(Reading, CancelledAtItsEndIsCancelledAndNotOver) {
  const Workbench bench;
  bench.makeWav("in.wav", 44100, 2, 16, 1);
  bench.run("flac -s in.wav");
  ReadingProgress progress;
  const auto file = openEncoded(std::make_shared<MemorySource>(bench.bytesOf("in.flac")), oneThread, &progress);
  ASSERT_TRUE(file);
  std::vector<std::byte> samples(44100 * std::size_t{8});
  EXPECT_EQ((*file)->read(44100, samples), 44100U);
  EXPECT_EQ((*file)->read(1, samples), 0U);
  progress.cancel();
  EXPECT_EQ((*file)->read(1, samples), std::unexpected(userCanceledErr));
}

TEST(Reading, OfAnOggFileIsCancelledWithTheFileBelow) {
  const Workbench bench;
  ReadingProgress progress;
  const auto file = madeBy(bench, "flac -s --ogg -o out in.wav");
  const auto payload = OggPayload::open(std::make_shared<CancellableSource>(file, progress), 0);
  ASSERT_TRUE(payload);
  ReadWindow window(**payload);
  ASSERT_TRUE(window.at(0, 4));
  progress.cancel();
  EXPECT_EQ(statusOf(window.at(0, 4)), userCanceledErr) << "though these bytes were read ahead";
}

TEST(Reading, WorksOnSeveralThreadsAtOnceWithTheSameServices) {
  const Workbench bench;
  bench.makeWav("in.wav", 44100, 2, 16, 4);
  bench.run("flac -s in.wav && lame --quiet in.wav in.mp3");
  SystemAudioFileServices services({2, 4000});
  const auto decode = [&services](const FileURL& url) {
    std::vector<std::byte> samples;
    ReadingProgress progress;
    const auto file = services.openExtAudioFile(url, &progress);
    if (!file) return samples;
    const auto frames = static_cast<std::uint32_t>((*file)->fileLengthFrames().value_or(0));
    samples.resize(frames * 2 * sizeof(float));
    samples.resize((*file)->read(frames, samples).value_or(0) * 2 * sizeof(float));
    return samples;
  };
  constexpr int rounds = 5;
  std::array<std::vector<std::byte>, 2> decoded;
  const auto work = [&](std::size_t own, const char* name) {
    for (int round = 0; round < rounds; ++round) decoded[own] = decode(bench.url(name));
  };
  {
    const std::jthread flac(work, 0, "in.flac");
    const std::jthread mp3(work, 1, "in.mp3");
  }
  EXPECT_TRUE(decoded[0] == bench.decode("in.flac", kSerial).samples);
  EXPECT_TRUE(decoded[1] == bench.decode("in.mp3", kSerial).samples);
  EXPECT_FALSE(decoded[0].empty() || decoded[1].empty());
}

}  // namespace
}  // namespace tolvane::test
