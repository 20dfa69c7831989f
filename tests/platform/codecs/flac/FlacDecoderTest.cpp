#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "tests/platform/codecs/AudioBytes.h"
#include "tests/platform/codecs/flac/FlacEncoder.h"
#include "tests/platform/codecs/Workbench.h"
#include "tests/support/Printers.h"
#include "tests/support/SeededRandom.h"

namespace tolvane::test {
namespace {

struct FormatCase {
  std::string name;
  int rate;
  int channels;
  int bits;
};

std::vector<std::byte> floats(const std::vector<std::int32_t>& samples, int bits) {
  std::vector<std::byte> result(samples.size() * sizeof(float));
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const float value = static_cast<float>(std::ldexp(static_cast<double>(samples[i]), 1 - bits));
    std::memcpy(result.data() + i * sizeof value, &value, sizeof value);
  }
  return result;
}

/// Little-endian integers of whole bytes.
std::vector<std::int32_t> integers(const std::vector<std::byte>& raw, int bits) {
  const auto width = static_cast<std::size_t>(bits / 8);
  std::vector<std::int32_t> result;
  for (std::size_t i = 0; i + width <= raw.size(); i += width) {
    std::uint32_t word = 0;
    for (std::size_t k = 0; k < width; ++k) word = word >> 8 | std::to_integer<std::uint32_t>(raw[i + k]) << 24;
    result.push_back(static_cast<std::int32_t>(word) >> (32 - bits));
  }
  return result;
}

/// Quiet and loud stretches, with both extremes of the depth.
std::vector<std::int32_t> noise(int channels, int bits) {
  constexpr std::size_t kFrames = 60'000;
  SeededRandom random(static_cast<std::uint64_t>(bits));
  std::vector<std::int32_t> samples(kFrames * static_cast<std::size_t>(channels));
  const std::int64_t full = std::int64_t{1} << (bits - 1);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const std::int64_t limit = std::max<std::int64_t>(full >> (i / 10'000 % 4), 1);
    samples[i] = static_cast<std::int32_t>(random.between(-limit, limit - 1));
  }
  samples[0] = static_cast<std::int32_t>(-full);
  samples[1] = static_cast<std::int32_t>(full - 1);
  return samples;
}

class FlacConformance : public testing::TestWithParam<FormatCase> {};

TEST_P(FlacConformance, GivesTheSamplesThatWereEncoded) {
  const auto& [name, rate, channels, bits] = GetParam();
  const Workbench bench;
  const auto samples = noise(channels, bits);
  ASSERT_TRUE(encodeFlac(bench.url("in.flac"), samples, channels, bits, rate));
  if (bits % 8 == 0) {
    const auto raw = bench.run("flac -s -d -c --force-raw-format --endian=little --sign=signed in.flac");
    ASSERT_TRUE(integers(raw, bits) == samples);
  }
  for (const auto& limits : {kSerial, kParallel}) {
    const auto result = bench.decode("in.flac", limits);
    ASSERT_EQ(result.status, noErr) << statusText(result.status);
    EXPECT_EQ(result.format.mFormatID, fourCharCode("flac"));
    EXPECT_EQ(result.format.mSampleRate, rate);
    EXPECT_EQ(result.format.mChannelsPerFrame, static_cast<std::uint32_t>(channels));
    EXPECT_EQ(result.format.mBitsPerChannel, static_cast<std::uint32_t>(bits));
    EXPECT_EQ(result.announcedFrames, 60'000);
    EXPECT_TRUE(result.samples == floats(samples, bits));
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, FlacConformance,
                         testing::Values(FormatCase{"Bits4", 8000, 1, 4}, FormatCase{"Bits8", 11025, 2, 8},
                                         FormatCase{"Bits12", 32000, 2, 12}, FormatCase{"Bits16", 44100, 2, 16},
                                         FormatCase{"Bits20", 48000, 2, 20}, FormatCase{"Bits24", 192000, 2, 24},
                                         FormatCase{"Bits32", 96000, 2, 32}, FormatCase{"Mono", 44100, 1, 16},
                                         FormatCase{"Channels8", 48000, 8, 24},
                                         FormatCase{"HighestRate", 655350, 2, 16},
                                         FormatCase{"Rate384000", 384000, 2, 24}),
                         caseName);

/// One FLAC file of 16 bits, and ways to spoil it.
class FlacFile : public testing::Test {
 protected:
  FlacFile() {
    bench_.makeWav("in.wav", 44100, 2, 16, 4);
    bench_.run("flac -s --no-padding in.wav");
    flac_ = bench_.bytesOf("in.flac");
    whole_ = bench_.decode("in.flac", kSerial);
  }

  /// Decodes the bytes under both limits, which must agree; the result of the two.
  ReadResult decode(const std::vector<std::byte>& bytes, std::string_view name = "case.flac") {
    bench_.write(name, bytes);
    auto serial = bench_.decode(name, kSerial);
    const auto parallel = bench_.decode(name, kParallel);
    EXPECT_EQ(serial.status, parallel.status);
    EXPECT_EQ(serial.frames, parallel.frames);
    EXPECT_TRUE(serial.samples == parallel.samples);
    return serial;
  }

  bool isStartOfWhole(const std::vector<std::byte>& samples) const {
    return samples.size() <= whole_.samples.size() &&
           std::ranges::equal(samples, std::span(whole_.samples).first(samples.size()));
  }

  /// The first byte behind the metadata.
  static std::size_t firstBlock(const std::vector<std::byte>& flac) {
    std::size_t at = 4;
    bool isLast = false;
    while (!isLast) {
      isLast = (flac[at] & std::byte{0x80}) != std::byte{0};
      at += 4 + (std::to_integer<std::size_t>(flac[at + 1]) << 16 | std::to_integer<std::size_t>(flac[at + 2]) << 8 |
                 std::to_integer<std::size_t>(flac[at + 3]));
    }
    return at;
  }

  /// The same stream with nothing in its header about its length.
  static std::vector<std::byte> withoutLength(std::vector<std::byte> flac) {
    flac[21] &= std::byte{0xF0};
    std::ranges::fill(std::span(flac).subspan(22, 4), std::byte{0});
    return flac;
  }

  /// The stream with the blocks of another one behind it.
  std::vector<std::byte> joinedWith(const std::string& options) {
    bench_.run("sox -D in.wav " + options + " other.wav && flac -s -f --no-padding other.wav");
    const auto other = bench_.bytesOf("other.flac");
    auto joined = withoutLength(flac_);
    joined.insert(joined.end(), other.begin() + static_cast<std::ptrdiff_t>(firstBlock(other)), other.end());
    return joined;
  }

  Workbench bench_;
  std::vector<std::byte> flac_;
  ReadResult whole_;
};

TEST_F(FlacFile, SoundsLikeTheFileItWasMadeFrom) {
  EXPECT_EQ(whole_.announcedFrames, 4 * 44100);
  EXPECT_TRUE(whole_.samples == bench_.run("sox in.wav -t f32 -"));
}

TEST_F(FlacFile, IsFoundInsideOgg) {
  bench_.run("flac -s --ogg -o ogg.flac in.wav");
  EXPECT_TRUE(decode(bench_.bytesOf("ogg.flac")).samples == whole_.samples);
}

TEST_F(FlacFile, MayCarryForeignTagsInFrontAndBehind) {
  auto tagged =
      Bytes().text("ID3").big(0x0400'00, 3).big(0x0040'0000, 4).repeat(std::byte{0xFF}, 0x40 << 14).append(flac_);
  EXPECT_TRUE(decode(tagged.text("TAG").repeat(std::byte{'x'}, 125).all()).samples == whole_.samples);
}

TEST_F(FlacFile, HasALengthEvenWhereItAnnouncesNone) {
  const auto result = decode(withoutLength(flac_));
  EXPECT_EQ(result.announcedFrames, 4 * 44100);
  EXPECT_TRUE(result.samples == whole_.samples);
}

TEST_F(FlacFile, WithoutAnyBlockIsEmpty) {
  flac_.resize(firstBlock(flac_));
  EXPECT_EQ(decode(flac_).frames, 0U);
  const auto result = decode(withoutLength(flac_));
  EXPECT_EQ(result.announcedFrames, 0);
  EXPECT_EQ(result.status, noErr);
}

TEST_F(FlacFile, CutAnywherePlaysUpToTheCut) {
  SeededRandom random(3);
  for (int round = 0; round < 60; ++round) {
    auto cut = flac_;
    cut.resize(firstBlock(flac_) + random.below(flac_.size() - firstBlock(flac_)));
    const auto result = decode(cut);
    EXPECT_EQ(result.status, noErr) << cut.size() << " bytes: " << statusText(result.status);
    EXPECT_TRUE(isStartOfWhole(result.samples)) << cut.size() << " bytes";
  }
}

TEST_F(FlacFile, DamagedInTheMiddleFails) {
  SeededRandom random(4);
  for (int round = 0; round < 60; ++round) {
    auto damaged = flac_;
    const std::size_t begin = firstBlock(flac_);
    damaged[begin + random.below((flac_.size() - begin) * 9 / 10)] ^= static_cast<std::byte>(1U << random.below(8));
    const auto result = decode(damaged);
    EXPECT_TRUE(result.status == kAudioFileInvalidFileError || result.status == kAudioFileUnsupportedDataFormatError)
        << statusText(result.status);
  }
}

TEST_F(FlacFile, WithAHoleFails) {
  auto holed = flac_;
  const auto middle = holed.begin() + static_cast<std::ptrdiff_t>(holed.size() / 2);
  holed.erase(middle, middle + 20'000);
  EXPECT_EQ(decode(holed).status, kAudioFileInvalidFileError);
}

TEST_F(FlacFile, WhoseSecondHalfIsZerosFails) {
  std::ranges::fill(std::span(flac_).subspan(flac_.size() / 2), std::byte{0});
  EXPECT_EQ(decode(flac_).status, kAudioFileInvalidFileError);
}

TEST_F(FlacFile, ThatChangesItsRateFails) {
  EXPECT_EQ(decode(joinedWith("-r 48000")).status, kAudioFileUnsupportedDataFormatError);
}

TEST_F(FlacFile, ThatChangesItsChannelsFails) {
  EXPECT_EQ(decode(joinedWith("-c 1")).status, kAudioFileUnsupportedDataFormatError);
}

TEST_F(FlacFile, ThatChangesItsDepthFails) {
  EXPECT_EQ(decode(joinedWith("-b 24")).status, kAudioFileUnsupportedDataFormatError);
}

TEST_F(FlacFile, ReadInPiecesGivesTheSameSamples) {
  SystemAudioFileServices services(kParallel);
  const auto file = services.openExtAudioFile(bench_.url("in.flac"));
  ASSERT_TRUE(file);
  std::vector<std::byte> samples(whole_.samples.size());
  std::uint64_t done = 0;
  // Short pieces are decoded serially, long ones in segments.
  for (std::uint64_t piece = 1; done < whole_.frames; piece = piece * 7 % 50'021) {
    const auto frames = static_cast<std::uint32_t>(std::min(piece, whole_.frames - done));
    ASSERT_EQ((*file)->read(frames, std::span(samples).subspan(done * 8)), frames);
    done += frames;
  }
  EXPECT_TRUE(samples == whole_.samples);
  EXPECT_EQ((*file)->read(1, samples), 0U);
}

TEST_F(FlacFile, ReportsItsDepthThroughTheFileBelow) {
  SystemAudioFileServices services;
  const auto file = services.openExtAudioFile(bench_.url("in.flac"));
  ASSERT_TRUE(file);
  ASSERT_NE((*file)->audioFile(), nullptr);
  EXPECT_EQ((*file)->audioFile()->sourceBitDepth(), 16);
}

TEST_F(FlacFile, OffersOneClientFormatOnly) {
  SystemAudioFileServices services;
  const auto file = services.openExtAudioFile(bench_.url("in.flac"));
  ASSERT_TRUE(file);
  EXPECT_EQ((*file)->setClientDataFormat(float32PCM(44100, 2)), noErr);
  EXPECT_EQ((*file)->setClientDataFormat(float32PCM(48000, 2)), kAudioFileUnsupportedDataFormatError);
  EXPECT_EQ((*file)->setClientDataFormat(float32PCM(44100, 1)), kAudioFileUnsupportedDataFormatError);
  EXPECT_EQ((*file)->setClientDataFormat(linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger)),
            kAudioFileUnsupportedDataFormatError);
}

TEST_F(FlacFile, WithDamagedHeadersNeverDoesHarm) {
  bench_.run("sox -D in.wav short.wav trim 0 0.5 && flac -s short.wav");
  const auto file = bench_.bytesOf("short.flac");
  const auto whole = bench_.decode("short.flac", kSerial);
  SeededRandom random(5);
  int openedFiles = 0;
  for (int round = 0; round < 200; ++round) {
    auto damaged = file;
    damaged[random.below(firstBlock(file) + 16)] = static_cast<std::byte>(random.next());
    bench_.write("case.flac", damaged);
    SystemAudioFileServices services(kParallel);
    const auto opened = services.openExtAudioFile(bench_.url("case.flac"));
    if (!opened) continue;
    ++openedFiles;
    // A damaged header may announce any length; what comes is what is there.
    std::vector<std::byte> samples(whole.samples.size() * 4);
    const auto format = (*opened)->fileDataFormat();
    const auto frames = samples.size() / (format->mChannelsPerFrame * sizeof(float));
    const auto read = (*opened)->read(static_cast<std::uint32_t>(frames), samples);
    EXPECT_LE(read.value_or(0), frames);
  }
  EXPECT_GE(openedFiles, 150) << "of 200 damaged files";
}

}  // namespace
}  // namespace tolvane::test
