// Damaged files decoded with one thread and with several: the number of threads must change neither samples nor errors.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>

#include "platform/codecs/decoding/DecodedAudioFile.h"
#include "platform/codecs/FileRecognition.h"
#include "platform/codecs/flac/FlacTrack.h"
#include "platform/codecs/mp3/Mp3Track.h"
#include "tests/platform/codecs/AudioBytes.h"
#include "tests/platform/codecs/bytes/CancelledReading.h"
#include "tests/platform/codecs/Workbench.h"
#include "tests/support/Printers.h"
#include "tests/support/SeededRandom.h"

namespace tolvane::test {
namespace {

using Bytes8 = std::vector<std::byte>;

struct Outcome {
  OSStatus openStatus = noErr;
  std::expected<std::int64_t, OSStatus> length = 0;
  std::expected<std::uint32_t, OSStatus> frames = 0;
  Bytes8 samples;

  bool operator==(const Outcome&) const = default;
};

std::expected<std::unique_ptr<EncodedTrack>, OSStatus> openTrack(const std::shared_ptr<const ByteSource>& source) {
  const auto file = recogniseFile(*source);
  if (!file) return std::unexpected(file.error());
  switch (file->kind) {
    case AudioFileKind::mpeg:
      return Mp3Track::open(source, file->offset);
    case AudioFileKind::flac:
      return FlacTrack::open(source, file->offset, FlacTrack::Container::none);
    case AudioFileKind::oggFlac:
      return FlacTrack::open(source, file->offset, FlacTrack::Container::ogg);
    default:
      return std::unexpected(kAudioFileUnsupportedFileTypeError);
  }
}

/// What a preparation would get, up to `mostFrames`.
Outcome decode(const std::shared_ptr<const ByteSource>& source, unsigned workers, std::uint64_t mostFrames) {
  Outcome outcome;
  auto track = openTrack(source);
  if (!track) {
    outcome.openStatus = track.error();
    return outcome;
  }
  constexpr std::uint64_t smallestSegment = 2000;  // frames: the files have dozens of segments
  DecodedAudioFile file(source, std::move(*track), {workers, smallestSegment});
  outcome.length = file.fileLengthFrames();
  const auto frames = std::min<std::uint64_t>(static_cast<std::uint64_t>(outcome.length.value_or(0)), mostFrames);
  const std::size_t bytesPerFrame = file.fileDataFormat()->mChannelsPerFrame * sizeof(float);
  outcome.samples.resize(frames * bytesPerFrame);
  outcome.frames = file.read(static_cast<std::uint32_t>(frames), outcome.samples);
  outcome.samples.resize(outcome.frames.value_or(0) * bytesPerFrame);
  return outcome;
}

/// Spoils a file in one of many ways.
class Damage {
 public:
  Damage(const Bytes8& file, std::uint64_t seed) : file_(file), random_(seed) {}

  Bytes8 make() {
    Bytes8 bytes = file_;
    for (std::uint64_t i = random_.below(3); i < 3; ++i) spoil(bytes);
    return bytes;
  }

 private:
  void spoil(Bytes8& bytes) {
    if (bytes.empty()) return;
    // Near both ends as often as anywhere, and from single bytes to large parts of the file.
    std::size_t at = random_.below(bytes.size());
    if (random_.chance(0.2)) at %= 300;
    at = std::min(at, bytes.size() - 1);
    if (random_.chance(0.1)) at = bytes.size() - 1 - at / 16;
    const std::size_t longest = std::min<std::size_t>(bytes.size() - at, std::size_t{1} << random_.below(17));
    const std::size_t count = 1 + random_.below(longest);
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    const auto end = begin + static_cast<std::ptrdiff_t>(count);
    switch (random_.below(8)) {
      case 0:
        *begin ^= static_cast<std::byte>(1U << random_.below(8));
        break;
      case 1:
        std::fill(begin, end, std::byte{0});
        break;
      case 2:
        for (auto byte = begin; byte != end; ++byte) *byte = static_cast<std::byte>(random_.next());
        break;
      case 3:
        bytes.erase(begin, end);
        break;
      case 4:
        bytes.erase(begin, bytes.end());
        break;
      case 5: {
        const Bytes8 copy(begin, end);
        bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(random_.below(bytes.size())), copy.begin(),
                     copy.end());
        break;
      }
      case 6: {
        const Bytes8 junk = random_.bytes(count);
        bytes.insert(begin, junk.begin(), junk.end());
        break;
      }
      default:
        moveWholeBlocks(bytes, at);
    }
  }

  /// Takes out, or repeats, what lies between two places that look like headers of blocks or packets.
  void moveWholeBlocks(Bytes8& bytes, std::size_t at) {
    const auto head = [&bytes](std::size_t from) {
      for (; from + 2 < bytes.size(); ++from) {
        if (bytes[from] == std::byte{0xFF} && (bytes[from + 1] & std::byte{0xF8}) == std::byte{0xF8}) break;
      }
      return bytes.begin() + static_cast<std::ptrdiff_t>(std::min(from, bytes.size()));
    };
    const auto begin = head(at);
    const auto end = head(static_cast<std::size_t>(begin - bytes.begin()) + 2 + random_.below(10'000));
    if (begin >= end) return;
    if (random_.chance(0.5)) {
      bytes.erase(begin, end);
    } else {
      const Bytes8 copy(begin, end);
      bytes.insert(end, copy.begin(), copy.end());
    }
  }

  const Bytes8& file_;
  SeededRandom random_;
};

struct KindCase {
  std::string name;
  std::string command;     ///< makes "out" of in.wav
  bool isChecked = false;  ///< carries checksums: what is heard of a damaged file is one stretch of the whole one
};

class DamagedFileTable : public testing::TestWithParam<KindCase> {};

TEST_P(DamagedFileTable, GivesTheSameWithAnyNumberOfThreads) {
#ifdef __SANITIZE_THREAD__
  constexpr int variants = 50;  // a decode takes ten times as long under this sanitizer, which looks for races only
#else
  constexpr int variants = 250;
#endif
  const Workbench bench;
  bench.makeWav("in.wav", 44100, 2, 16, 2);
  bench.run(GetParam().command);
  const auto file = bench.bytesOf("out");
  const std::uint64_t mostFrames = 8 * 44100;
  const auto whole = decode(std::make_shared<MemorySource>(file), 1, mostFrames);
  ASSERT_EQ(whole.frames, whole.length);
  std::map<std::string, int> seen;
  for (int variant = 0; variant < variants; ++variant) {
    const auto source = std::make_shared<MemorySource>(Damage(file, static_cast<std::uint64_t>(variant)).make());
    const auto serial = decode(source, 1, mostFrames);
    for (const unsigned workers : {2U, 3U, 8U}) {
      const auto parallel = decode(source, workers, mostFrames);
      ASSERT_EQ(parallel.openStatus, serial.openStatus) << "variant " << variant << ", " << workers << " threads";
      ASSERT_EQ(parallel.length, serial.length) << "variant " << variant << ", " << workers << " threads";
      ASSERT_EQ(parallel.frames, serial.frames) << "variant " << variant << ", " << workers << " threads";
      ASSERT_TRUE(parallel == serial) << "variant " << variant << ", " << workers << " threads";
    }
    if (GetParam().isChecked && serial.frames) {
      // Not always its start: a stream whose first blocks are missing is one that was cut out of another.
      ASSERT_FALSE(std::ranges::search(whole.samples, serial.samples).empty() && !serial.samples.empty())
          << "variant " << variant;
    }
    const bool isRefused = serial.openStatus != noErr || !serial.length || !serial.frames;
    ++seen[isRefused ? "refused" : serial.samples == whole.samples ? "intact" : "damaged"];
  }
  std::printf("%s: %d damaged files with 1, 2, 3 and 8 threads: %d sound intact, %d shorter or otherwise, %d refused\n",
              GetParam().name.c_str(), variants, seen["intact"], seen["damaged"], seen["refused"]);
  EXPECT_GT(seen["damaged"], 0);
  EXPECT_GT(seen["refused"] + seen["damaged"], variants / 4);
}

TEST_P(DamagedFileTable, EndsSoonWhereverItIsCancelled) {
  constexpr std::uint64_t variants = 20;
  const Workbench bench;
  bench.makeWav("in.wav", 44100, 2, 16, 2);
  bench.run(GetParam().command);
  const auto file = bench.bytesOf("out");
  std::uint64_t readings = 0;
  for (std::uint64_t variant = 0; variant < variants; ++variant) {
    SCOPED_TRACE(testing::Message() << "variant " << variant);
    const auto source = std::make_shared<MemorySource>(Damage(file, variant).make());
    for (const unsigned workers : {1U, 4U})
      readings += cancelEverywhere(source, {workers, 2000}, cancelPoints / 2).readings;
  }
  std::printf("%s: %llu readings of %llu damaged files cancelled\n", GetParam().name.c_str(),
              static_cast<unsigned long long>(readings), static_cast<unsigned long long>(variants));
  EXPECT_GE(readings, variants * cancelPoints);
}

INSTANTIATE_TEST_SUITE_P(Kinds, DamagedFileTable,
                         testing::Values(KindCase{"Flac", "flac -s --no-padding -b 1152 -o out in.wav", true},
                                         KindCase{"FlacWithoutLength",
                                                  "flac -s --no-padding -b 1152 -o out.flac in.wav && "
                                                  "(head -c 21 out.flac; printf '\\360\\0\\0\\0\\0'; "
                                                  "tail -c +27 out.flac) >out",
                                                  true},
                                         KindCase{"FlacInOgg", "flac -s --ogg -b 1152 -o out in.wav", true},
                                         KindCase{"Mp3Variable", "lame --quiet -V4 in.wav out"},
                                         KindCase{"Mp3Constant", "lame --quiet -t -b 128 in.wav out"},
                                         KindCase{"Mp3Small", "lame --quiet -t --resample 22.05 -b 48 in.wav out"}),
                         caseName);

}  // namespace
}  // namespace tolvane::test
