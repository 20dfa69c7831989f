#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "tests/platform/codecs/AudioBytes.h"
#include "tests/platform/codecs/Workbench.h"
#include "tests/support/Printers.h"
#include "tests/support/SeededRandom.h"

namespace tolvane::test {
namespace {

struct EncodingCase {
  std::string name;
  std::string options;  ///< of lame
  int channels;
  int rate;
};

std::vector<std::byte> referenceDecode(const Workbench& bench, const std::string& name) {
  return bench.run("mpg123 -q -e f32 -s " + name);
}

class Mp3Conformance : public testing::TestWithParam<EncodingCase> {};

TEST_P(Mp3Conformance, GivesTheSamplesThatTheReferenceDecoderGives) {
  const Workbench bench;
  bench.makeWav("in.wav", 44100, GetParam().channels, 16, 6);
  bench.run("lame --quiet " + GetParam().options + " in.wav out.mp3");
  const auto reference = referenceDecode(bench, "out.mp3");
  const std::size_t bytesPerFrame = static_cast<std::size_t>(GetParam().channels) * 4;
  ASSERT_GT(reference.size(), 5 * 8000 * bytesPerFrame);

  for (const auto& limits : {kSerial, kParallel}) {
    const auto result = bench.decode("out.mp3", limits);
    ASSERT_EQ(result.status, noErr) << statusText(result.status);
    EXPECT_EQ(result.format.mFormatID, fourCharCode(".mp3"));
    EXPECT_EQ(result.format.mSampleRate, GetParam().rate);
    EXPECT_EQ(result.format.mChannelsPerFrame, static_cast<std::uint32_t>(GetParam().channels));
    EXPECT_EQ(result.format.mBitsPerChannel, 0U);
    EXPECT_EQ(static_cast<std::size_t>(result.announcedFrames) * bytesPerFrame, reference.size());
    EXPECT_TRUE(result.samples == reference);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Encodings, Mp3Conformance,
    testing::Values(EncodingCase{"Constant320", "-b 320", 2, 44100}, EncodingCase{"Constant128", "-b 128", 2, 44100},
                    EncodingCase{"Variable", "-V2", 2, 44100}, EncodingCase{"VariableSmall", "-V9", 2, 22050},
                    EncodingCase{"VariableWithoutHeader", "-V4 -t", 2, 44100},
                    EncodingCase{"ConstantWithoutHeader", "-b 128 -t", 2, 44100},
                    EncodingCase{"Average", "--abr 150", 2, 44100}, EncodingCase{"Checksums", "-p -V4", 2, 44100},
                    EncodingCase{"FreeFormat", "--freeformat -b 400", 2, 44100},
                    EncodingCase{"PlainStereo", "-m s -b 192", 2, 44100}, EncodingCase{"Mono", "-b 64", 1, 44100},
                    EncodingCase{"MonoVariable", "-V9", 1, 22050},
                    EncodingCase{"Rate48000", "--resample 48 -b 96", 2, 48000},
                    EncodingCase{"Rate32000", "--resample 32 -b 32", 2, 32000},
                    EncodingCase{"Mpeg2", "--resample 22.05 -b 64", 2, 22050},
                    EncodingCase{"Mpeg2Smallest", "--resample 24 -b 8", 1, 24000},
                    EncodingCase{"Mpeg25", "--resample 11.025 -b 32", 2, 11025},
                    EncodingCase{"Mpeg25Smallest", "--resample 8 -b 8", 1, 8000}),
    caseName);

/// One MP3 file of variable rate, and what may stand around and inside it.
class Mp3File : public testing::Test {
 protected:
  Mp3File() {
    bench_.makeWav("in.wav", 44100, 2, 16, 5);
    bench_.run("lame --quiet -V4 in.wav in.mp3 && lame --quiet -V4 -t in.wav plain.mp3");
    mp3_ = bench_.bytesOf("in.mp3");
    plain_ = bench_.bytesOf("plain.mp3");
    whole_ = bench_.decode("in.mp3", kSerial);
    wholePlain_ = bench_.decode("plain.mp3", kSerial);
  }

  ReadResult decode(const std::vector<std::byte>& bytes) {
    bench_.write("case.mp3", bytes);
    auto serial = bench_.decode("case.mp3", kSerial);
    const auto parallel = bench_.decode("case.mp3", kParallel);
    EXPECT_EQ(serial.status, parallel.status);
    EXPECT_EQ(serial.frames, parallel.frames);
    EXPECT_TRUE(serial.samples == parallel.samples);
    return serial;
  }

  /// An ID3v2 tag whose content looks like packets all through.
  static std::vector<std::byte> largeTag() {
    Bytes tag;
    tag.text("ID3").big(0x0400'00, 3).big(0x0140'0000, 4);  // 3 mebibytes, seven bits a byte
    while (tag.all().size() < 10 + (0xC0U << 14U)) tag.big(0xFFFB'9064, 4);
    return tag.all();
  }

  Workbench bench_;
  std::vector<std::byte> mp3_;
  std::vector<std::byte> plain_;  ///< without the encoder's own packet
  ReadResult whole_;
  ReadResult wholePlain_;
};

TEST_F(Mp3File, IsAsLongAsTheFileItWasMadeFrom) { EXPECT_EQ(whole_.announcedFrames, 5 * 44100); }

TEST_F(Mp3File, WithoutTheEncodersPacketKeepsItsDelay) { EXPECT_GT(wholePlain_.announcedFrames, 5 * 44100); }

TEST_F(Mp3File, MayCarryALargeTagInFront) {
  EXPECT_TRUE(decode(Bytes().append(largeTag()).append(mp3_).all()).samples == whole_.samples);
}

TEST_F(Mp3File, MayCarryTagsBehind) {
  const auto ape = Bytes().text("APETAGEX").little(2000, 4).little(32 + 64, 4).little(1, 4).little(0, 12);
  const auto tagged =
      Bytes().append(mp3_).repeat(std::byte{0xFF}, 64).append(ape.all()).text("TAG").repeat(std::byte{0xFF}, 125);
  EXPECT_TRUE(decode(tagged.all()).samples == whole_.samples);
}

TEST_F(Mp3File, MayHaveJunkBeforeAndAfter) {
  const auto junk = SeededRandom(6).bytes(70'000);
  EXPECT_TRUE(decode(Bytes().append(junk).append(mp3_).append(junk).all()).samples == whole_.samples);
}

TEST_F(Mp3File, BehindATagThatClaimsTooMuchIsFound) {
  const auto bytes =
      Bytes().text("ID3").big(0x0400'00, 3).big(0x7F7F'7F7F, 4).repeat(std::byte{0}, 500).append(mp3_).all();
  EXPECT_TRUE(decode(bytes).samples == whole_.samples);
}

TEST_F(Mp3File, WithATagInItsMiddlePlaysAllItsPackets) {
  const auto joined = Bytes().append(plain_).append(largeTag()).append(plain_).all();
  EXPECT_EQ(decode(joined).announcedFrames, 2 * wholePlain_.announcedFrames);
}

TEST_F(Mp3File, CutAnywherePlaysUpToTheCut) {
  SeededRandom random(7);
  for (int round = 0; round < 40; ++round) {
    auto cut = plain_;
    cut.resize(2000 + random.below(cut.size() - 2000));
    const auto result = decode(cut);
    ASSERT_EQ(result.status, noErr);
    ASSERT_LE(result.samples.size(), wholePlain_.samples.size());
    EXPECT_TRUE(std::ranges::equal(result.samples, std::span(wholePlain_.samples).first(result.samples.size())));
    EXPECT_EQ(result.announcedFrames, static_cast<std::int64_t>(result.frames));
  }
}

TEST_F(Mp3File, WhoseStartIsMissingSoundsTheSameFromEveryDecoder) {
  SeededRandom random(11);
  for (int round = 0; round < 10; ++round) {
    const auto begin = plain_.begin() + static_cast<std::ptrdiff_t>(random.below(plain_.size() / 2));
    bench_.write("late.mp3", std::vector<std::byte>(begin, plain_.end()));
    const auto result = decode(bench_.bytesOf("late.mp3"));
    EXPECT_EQ(result.status, noErr);
    EXPECT_GT(result.frames, 2U * 44100);
  }
}

TEST_F(Mp3File, CutBehindTheEncodersPacketStillLosesItsDelay) {
  auto cut = mp3_;
  cut.resize(cut.size() / 2);
  const auto result = decode(cut);
  ASSERT_GT(result.frames, 44100U);
  EXPECT_TRUE(std::ranges::equal(result.samples, std::span(whole_.samples).first(result.samples.size())));
}

TEST_F(Mp3File, ThatChangesItsRateFails) {
  bench_.run("lame --quiet -t --resample 48 -b 128 in.wav other.mp3");
  EXPECT_EQ(decode(Bytes().append(plain_).append(bench_.bytesOf("other.mp3")).all()).status,
            kAudioFileUnsupportedDataFormatError);
}

TEST_F(Mp3File, ThatChangesItsChannelsFails) {
  bench_.run("lame --quiet -t -m m -b 64 in.wav other.mp3");
  EXPECT_EQ(decode(Bytes().append(plain_).append(bench_.bytesOf("other.mp3")).all()).status,
            kAudioFileUnsupportedDataFormatError);
}

TEST_F(Mp3File, PlaysUpToItsChangeOfRateWhenReadInPieces) {
  bench_.run("lame --quiet -t --resample 48 -b 128 in.wav other.mp3");
  bench_.write("case.mp3", Bytes().append(plain_).append(bench_.bytesOf("other.mp3")).all());
  SystemAudioFileServices services(kSerial);
  const auto file = services.openExtAudioFile(bench_.url("case.mp3"));
  ASSERT_TRUE(file);
  std::vector<std::byte> samples(wholePlain_.samples.size());
  const auto frames = static_cast<std::uint32_t>(wholePlain_.frames);
  EXPECT_EQ((*file)->read(frames, samples), frames);
  EXPECT_TRUE(samples == wholePlain_.samples);
  EXPECT_EQ((*file)->read(1, samples), std::unexpected(kAudioFileUnsupportedDataFormatError));
  EXPECT_EQ((*file)->read(1, samples), std::unexpected(kAudioFileUnsupportedDataFormatError));
}

TEST_F(Mp3File, DamagedAnywhereSoundsTheSameFromEveryDecoder) {
  SeededRandom random(8);
  for (int round = 0; round < 60; ++round) {
    auto damaged = plain_;
    for (int i = 0; i < 3; ++i) damaged[random.below(damaged.size())] = static_cast<std::byte>(random.next());
    decode(damaged);
  }
}

/// The largest magnitude of a sample.
float peak(const std::vector<std::byte>& samples) {
  float largest = 0;
  for (std::size_t i = 0; i + sizeof(float) <= samples.size(); i += sizeof(float)) {
    float value = 0;
    std::memcpy(&value, samples.data() + i, sizeof value);
    largest = std::max(largest, std::abs(value));
  }
  return largest;
}

TEST_F(Mp3File, BehindAHoleNeverPlaysABurst) {
  // Where a packet borrows bits, those of other packets must not be decoded in their place.
  bench_.run("lame --quiet -t -b 128 in.wav cbr.mp3");
  SeededRandom random(12);
  int holes = 0;
  for (const auto& file : {plain_, bench_.bytesOf("cbr.mp3")}) {
    bench_.write("file.mp3", file);
    const float whole = peak(bench_.decode("file.mp3", kSerial).samples);
    ASSERT_GT(whole, 0.2F);
    for (int round = 0; round < 60; ++round, ++holes) {
      auto holed = file;
      const auto begin = holed.begin() + 5000 + static_cast<std::ptrdiff_t>(random.below(holed.size() - 20'000));
      if (round % 2 == 0) {
        holed.erase(begin, begin + 1 + static_cast<std::ptrdiff_t>(random.below(6000)));
      } else {
        std::fill_n(begin, 1000 + random.below(5000), std::byte{0});
      }
      const auto result = decode(holed);
      ASSERT_EQ(result.status, noErr);
      EXPECT_LE(peak(result.samples), whole * 1.5F) << "round " << round;
    }
  }
  std::printf("%d holes\n", holes);
}

TEST_F(Mp3File, WithSilenceAtEverySeamSoundsTheSameFromEveryDecoder) {
  bench_.run("sox -D in.wav silent.wav gain -200 && lame --quiet -b 128 silent.wav silent.mp3");
  EXPECT_EQ(decode(bench_.bytesOf("silent.mp3")).frames, 5U * 44100);
}

TEST_F(Mp3File, ThatIsATagAloneIsDamaged) { EXPECT_EQ(decode(largeTag()).status, kAudioFileInvalidFileError); }

TEST_F(Mp3File, HasNoBitDepth) {
  SystemAudioFileServices services;
  const auto file = services.openExtAudioFile(bench_.url("in.mp3"));
  ASSERT_TRUE(file);
  ASSERT_NE((*file)->audioFile(), nullptr);
  EXPECT_EQ((*file)->audioFile()->sourceBitDepth(), 0);
}

TEST_F(Mp3File, OfLayerTwoPlaysToo) {
  const Workbench bench;
  bench.makeWav("in.wav", 48000, 2, 16, 3);
  bench.run("sox in.wav -C 192 out.mp2");
  EXPECT_TRUE(bench.decode("out.mp2", kParallel).samples == referenceDecode(bench, "out.mp2"));
}

TEST_F(Mp3File, WithHeadersThatLeadNowhereInItsMiddlePlaysAllItsPackets) {
  const auto joined = Bytes().append(plain_).append(freeHeadersWithoutRun(400'000)).append(plain_).all();
  EXPECT_EQ(decode(joined).announcedFrames, 2 * wholePlain_.announcedFrames);
}

TEST_F(Mp3File, OfFreeFormatWithHeadersThatLeadNowhereInItsMiddlePlaysAllItsPackets) {
  bench_.run("lame --quiet -t --freeformat -b 400 in.wav free.mp3");
  const auto free = bench_.bytesOf("free.mp3");
  const auto whole = decode(free);
  // Directly behind a packet even a lone header is the next one.
  const auto junk = Bytes().repeat(std::byte{0}, 100).append(freeHeadersWithoutRun(400'000)).all();
  EXPECT_GT(whole.frames, 5U * 44100);
  const auto joined = decode(Bytes().append(free).append(junk).append(free).all());
  EXPECT_EQ(joined.announcedFrames, 2 * whole.announcedFrames);
}

/// What the process wrote to its standard error output since it was made.
class StandardError {
 public:
  StandardError() { testing::internal::CaptureStderr(); }
  [[nodiscard]] static std::string text() { return testing::internal::GetCapturedStderr(); }
};

TEST_F(Mp3File, OfLayerTwoMayAskForMoreJointStereoThanItHas) {
  const Workbench bench;
  for (const int rate : {32000, 48000}) {
    bench.makeWav("in.wav", rate, 2, 16, 3);
    bench.run("sox in.wav -C 96 out.mp2");
    auto bytes = bench.bytesOf("out.mp2");
    const auto packetBytes = static_cast<std::size_t>(144 * 96'000 / rate);
    for (std::size_t at = 3; at < bytes.size(); at += packetBytes)
      bytes[at] = (bytes[at] & std::byte{0xF}) | std::byte{0x70};
    bench.write("out.mp2", bytes);
    const auto reference = bench.run("mpg123 -q -e f32 -s out.mp2 2>said.txt");
    ASSERT_FALSE(bench.bytesOf("said.txt").empty());
    const StandardError error;
    const auto result = bench.decode("out.mp2", kSerial);
    EXPECT_EQ(error.text(), "");
    EXPECT_EQ(result.status, noErr);
    EXPECT_TRUE(result.samples == reference);
  }
}

TEST_F(Mp3File, WithMusicOfAnotherRateInsidePacketsTooLargeFailsQuietly) {
  Bytes inner;
  for (int i = 0; i < 3; ++i) inner.big(0xFFFB'9400, 4).repeat(std::byte{0}, 384 - 4);
  const auto packet =
      Bytes().big(0xFFFB'0000, 4).repeat(std::byte{0}, 96).append(inner.all()).repeat(std::byte{0}, 6000);
  Bytes file;
  for (int i = 0; i < 10; ++i) file.append(packet.all());
  const StandardError error;
  EXPECT_EQ(decode(file.all()).status, kAudioFileUnsupportedDataFormatError);
  EXPECT_EQ(error.text(), "");
}

}  // namespace
}  // namespace tolvane::test
