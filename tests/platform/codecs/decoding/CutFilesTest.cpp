// Files that hold less than their header states, as a download or a copy leaves them that was broken off.

#include <gmock/gmock.h>

#include <string>
#include <utility>

#include "engine/PlainWords.h"
#include "engine/TrackPreparation.h"
#include "platform/codecs/pcm/PcmFileLayout.h"
#include "tests/platform/codecs/AudioBytes.h"
#include "tests/platform/codecs/Workbench.h"

namespace tolvane::test {
namespace {

using testing::DoubleNear;

constexpr int seconds = 20;

class CutFiles : public testing::Test {
 protected:
  CutFiles() { bench_.makeWav("whole.wav", 44100, 2, 16, seconds); }

  [[nodiscard]] Result<PreparedAudio> prepare(const std::string& name) {
    return TrackPreparation(files_, std::make_shared<AtomicOutputLevels>()).prepare(bench_.url(name));
  }
  /// The first part of a file.
  [[nodiscard]] std::string cut(const std::string& name, double part) const {
    const auto bytes = bench_.bytesOf(name);
    const auto kept = static_cast<std::size_t>(static_cast<double>(bytes.size()) * part);
    bench_.write("cut-" + name, std::span(bytes).first(kept));
    return "cut-" + name;
  }
  void expectCutInHalf(const std::string& name, double tolerance) {
    const auto whole = prepare(name);
    ASSERT_TRUE(whole) << name;
    EXPECT_EQ(whole->cut, std::nullopt) << name;
    const auto half = prepare(cut(name, 0.5));
    ASSERT_TRUE(half) << name;
    ASSERT_TRUE(half->cut) << name;
    EXPECT_THAT(half->cut->wholeSeconds, DoubleNear(seconds, 0.06)) << name;
    EXPECT_THAT(half->cut->heldSeconds, DoubleNear(seconds / 2.0, tolerance)) << name;
    EXPECT_THAT(half->cut->heldSeconds, DoubleNear(static_cast<double>(half->context->totalFrames()) / 44100, 1e-9));
  }

  Workbench bench_;
  SystemAudioFileServices files_{kParallel};
};

TEST_F(CutFiles, OfWavStateTheirWholeLength) { expectCutInHalf("whole.wav", 0.01); }

TEST_F(CutFiles, OfAiffStateTheirWholeLength) {
  bench_.run("sox -D whole.wav whole.aiff");
  expectCutInHalf("whole.aiff", 0.01);
}

TEST_F(CutFiles, OfFlacStateTheirWholeLength) {
  bench_.run("flac -s whole.wav");
  expectCutInHalf("whole.flac", 3);
}

TEST_F(CutFiles, OfMp3StateTheirWholeLength) {
  bench_.run("lame --quiet -b 192 whole.wav constant.mp3");
  expectCutInHalf("constant.mp3", 0.5);
  bench_.run("lame --quiet -V 2 whole.wav variable.mp3");
  expectCutInHalf("variable.mp3", 3);
}

TEST_F(CutFiles, OfMp3WithoutALengthAreNotKnownToBeCut) {
  bench_.run("lame --quiet -t -b 192 whole.wav plain.mp3");
  const auto half = prepare(cut("plain.mp3", 0.5));
  ASSERT_TRUE(half);
  EXPECT_EQ(half->cut, std::nullopt);
}

TEST_F(CutFiles, ThatHoldNothingSayHowMuchIsMissing) {
  const auto bytes = bench_.bytesOf("whole.wav");
  bench_.write("head.wav", std::span(bytes).first(44));
  const auto head = prepare("head.wav");
  ASSERT_FALSE(head);
  EXPECT_EQ(head.error().errorDescription(), "The PCM track exceeds the in-memory playback limit.");
  EXPECT_EQ(plainWords(head.error().errorDescription(), head.error().context()),
            "The file is cut off before its music begins: all of 0:20 is missing.");
  bench_.write("sample.wav", std::span(bytes).first(46));
  const auto sample = prepare("sample.wav");
  ASSERT_FALSE(sample);
  EXPECT_EQ(sample.error().errorDescription(), "The PCM file contains no complete audio frames.");
  EXPECT_TRUE(sample.error().context().cut);
}

TEST_F(CutFiles, AreNotThoseWhoseProgramCouldNotStateTheLength) {
  for (const std::uint32_t size : {0xFFFFFFFFU, 0xFFFFFF00U, 0x80000000U, 0x7FFFFFFFU, 0x7FFFF000U, 0U}) {
    WavFile file;
    file.format(1, 2, 44100, 4, 16).chunk("data", countingBytes(4000), size);
    bench_.write("piped.wav", file.bytes());
    const auto piped = prepare("piped.wav");
    ASSERT_TRUE(piped) << size;
    EXPECT_EQ(piped->cut, std::nullopt) << size;
  }
}

TEST(AnnouncedSize, IsWhatTheHeaderStatesWhereThatCanBe) {
  EXPECT_EQ(announcedSize(100, 100), 100U);
  EXPECT_EQ(announcedSize(50, 100), 100U) << "what is there, is there";
  EXPECT_EQ(announcedSize(1000, 100), 1000U);
  EXPECT_EQ(announcedSize(0x7FEFFFFF, 100), 0x7FEFFFFFU);
  EXPECT_EQ(announcedSize(0x7FF00000, 100), std::nullopt);
  EXPECT_EQ(announcedSize(0x7FF00000, 0x7FF00000), 0x7FF00000U);
}

class MisnamedFiles : public CutFiles {
 protected:
  [[nodiscard]] std::string wordsOf(const std::string& from, const std::string& name) {
    bench_.run("cp " + from + ' ' + name);
    const auto prepared = prepare(name);
    if (prepared) return "plays";
    return plainWords(prepared.error().errorDescription(), prepared.error().context());
  }
};

TEST_F(MisnamedFiles, AreSaidToBeginLikeWhatTheyAre) {
  bench_.run("flac -s whole.wav && lame --quiet whole.wav whole.mp3 && sox -D whole.wav whole.aiff");
  EXPECT_EQ(wordsOf("whole.wav", "a.flac"), "This is not a FLAC file: it begins like a WAV.");
  EXPECT_EQ(wordsOf("whole.wav", "a.mp3"), "This is not an MP3 file: it begins like a WAV.");
  EXPECT_EQ(wordsOf("whole.flac", "a.wav"), "This is not a WAV file: it begins like a FLAC.");
  EXPECT_EQ(wordsOf("whole.mp3", "a.aif"), "This is not an AIFF file: it begins like an MP3.");
  EXPECT_EQ(wordsOf("whole.aiff", "a.FLAC"), "This is not a FLAC file: it begins like an AIFF.");
  EXPECT_EQ(wordsOf("whole.aiff", "b.wav"), "plays");
  EXPECT_EQ(wordsOf("whole.mp3", "b.flac"), "plays");
}

TEST_F(MisnamedFiles, AndThoseThatAreNoneAreSaidToBeThat) {
  bench_.write("empty.flac", {});
  EXPECT_EQ(wordsOf("empty.flac", "a.flac"), "The file is empty.");
  bench_.write("zeros.flac", std::vector<std::byte>(5000));
  EXPECT_EQ(wordsOf("zeros.flac", "b.flac"),
            "The file begins with nothing but zeros: it may have been copied or downloaded in part.");
  bench_.run("mkdir c.flac");
  const auto folder = prepare("c.flac");
  ASSERT_FALSE(folder);
  EXPECT_EQ(plainWords(folder.error().errorDescription(), folder.error().context()), "This is a folder, not a file.");
  const auto gone = prepare("gone/d.flac");
  ASSERT_FALSE(gone);
  EXPECT_EQ(gone.error().errorDescription(), "Opening FLAC failed (Core Audio -43).");
  EXPECT_EQ(plainWords(gone.error().errorDescription(), gone.error().context()),
            "The folder of this file is gone, or its drive is not connected.");
}

}  // namespace
}  // namespace tolvane::test
