#include "engine/StreamFormats.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/engine/PreparedTrack.h"

namespace tolvane {
namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

TEST(RatesAgree, WithinOneHertzBelowFiftyKilohertz) {
  EXPECT_TRUE(ratesAgree(44100, 44100.5));
  EXPECT_TRUE(ratesAgree(44100, 44101));
  EXPECT_FALSE(ratesAgree(44100, 44101.01));
  EXPECT_FALSE(ratesAgree(44100, 44102));
  EXPECT_TRUE(ratesAgree(48000, 48001)) << "0.96 Hz is lifted to 1 Hz";
}

TEST(RatesAgree, WithinTwentyPartsPerMillionAbove) {
  EXPECT_TRUE(ratesAgree(192000, 192003.84));
  EXPECT_FALSE(ratesAgree(192000, 192003.85));
  EXPECT_TRUE(ratesAgree(768000, 768015));
}

TEST(RatesAgree, NeverWhenOneOfThemIsUnknown) {
  EXPECT_FALSE(ratesAgree(0, 0));
  EXPECT_FALSE(ratesAgree(0.5, 0));
  EXPECT_FALSE(ratesAgree(-44100, -44100));
  EXPECT_FALSE(ratesAgree(notANumber, 44100));
  EXPECT_FALSE(ratesAgree(44100, notANumber));
}

TEST(FormatRate, PrintsKilohertzAsPeopleWriteThem) {
  const struct {
    double hertz;
    const char* text;
  } rows[] = {{48000, "48 kHz"},
              {44100, "44.1 kHz"},
              {88200, "88.2 kHz"},
              {176400, "176.4 kHz"},
              {192000, "192 kHz"},
              {11025, "11.0 kHz"},
              {768000, "768 kHz"},
              {0, "an unknown rate"},
              {-1, "an unknown rate"},
              {44056, "44.1 kHz"},
              {notANumber, "an unknown rate"}};
  for (const auto& row : rows) EXPECT_EQ(formatRate(row.hertz), row.text) << row.hertz;
}

TEST(FormatDescription, NamesRateBitsKindAndChannels) {
  EXPECT_EQ(formatDescription(linearPCM(96000, 2, 24, 3, kAudioFormatFlagIsSignedInteger)),
            "96 kHz, 24-bit integer, 2 ch");
  EXPECT_EQ(formatDescription(float32PCM(44100, 6)), "44.1 kHz, 32-bit float, 6 ch");
}

TEST(FormatsMatch, ToleratesTheRateAndNothingElse) {
  const auto format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
  auto other = format;
  other.mSampleRate = 44100.5;
  other.mReserved = 7;
  EXPECT_TRUE(formatsMatch(format, other));
  for (auto field : {&AudioStreamBasicDescription::mFormatID, &AudioStreamBasicDescription::mFormatFlags,
                     &AudioStreamBasicDescription::mBytesPerPacket, &AudioStreamBasicDescription::mFramesPerPacket,
                     &AudioStreamBasicDescription::mBytesPerFrame, &AudioStreamBasicDescription::mChannelsPerFrame,
                     &AudioStreamBasicDescription::mBitsPerChannel}) {
    auto changed = format;
    changed.*field += 1;
    EXPECT_FALSE(formatsMatch(format, changed));
  }
  other.mSampleRate = 0;
  EXPECT_FALSE(formatsMatch(format, other));
  EXPECT_FALSE(formatsMatch(other, format));
}

constexpr auto integer16 = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
constexpr auto integer24 = linearPCM(44100, 2, 24, 3, kAudioFormatFlagIsSignedInteger);
constexpr auto integer32 = linearPCM(44100, 2, 32, 4, kAudioFormatFlagIsSignedInteger);
constexpr auto float32 = float32PCM(44100, 2);
constexpr auto float64 = linearPCM(44100, 2, 64, 8, kAudioFormatFlagIsFloat);

TEST(PhysicalFormatCompatibility, JudgesBitsByKind) {
  const struct {
    std::uint32_t sourceBits;
    bool sourceIsFloat;
    AudioStreamBasicDescription client;
    AudioStreamBasicDescription physical;
    bool carries;
  } rows[] = {
      {16, false, integer16, integer16, true}, {16, false, integer16, integer24, true},
      {24, false, integer24, integer24, true}, {24, false, integer24, integer16, false},
      {24, false, float32, float32, true},     {24, false, float32, integer24, true},
      {24, false, integer24, float32, true},   {32, false, integer32, float32, false},
      {32, false, integer32, float64, false},  {24, false, integer24, float64, true},
      {32, false, integer32, integer32, true}, {32, false, float32, integer32, false},
      {25, false, float32, integer32, false},  {32, true, float32, float32, true},
      {64, true, float64, float32, false},     {64, true, float64, float64, true},
      {32, true, float32, integer32, false},   {16, true, float32, integer24, false},
  };
  for (const auto& row : rows)
    EXPECT_EQ(physicalFormatCompatibility(preparedTrack(row.client, row.sourceBits, row.sourceIsFloat), row.physical),
              row.carries)
        << row.sourceBits << (row.sourceIsFloat ? "-bit float on " : "-bit integer on ")
        << formatDescription(row.physical);
}

TEST(PhysicalFormatCompatibility, FallsBackToTheBlocksOwnBits) {
  EXPECT_TRUE(physicalFormatCompatibility(preparedTrack(integer16, 0, false), integer16));
  EXPECT_FALSE(physicalFormatCompatibility(preparedTrack(integer24, 0, false), integer16));
}

TEST(PhysicalFormatCompatibility, NeedsTheSameRateChannelsAndLinearPCM) {
  const auto track = preparedTrack(integer16, 16, false);
  auto physical = integer16;
  physical.mSampleRate = 48000;
  EXPECT_FALSE(physicalFormatCompatibility(track, physical));
  physical = integer16;
  physical.mChannelsPerFrame = 6;
  EXPECT_FALSE(physicalFormatCompatibility(track, physical));
  physical = integer16;
  physical.mFormatID = fourCharCode("ac-3");
  EXPECT_FALSE(physicalFormatCompatibility(track, physical));
  physical = integer16;
  physical.mBitsPerChannel = 0;
  EXPECT_FALSE(physicalFormatCompatibility(track, physical));
}

}  // namespace
}  // namespace tolvane
