#include "platform/conversion/PcmLayout.h"

#include <gtest/gtest.h>

#include <vector>

namespace tolvane {
namespace {

const PcmLayout u8 = integerLayout(8, 1, false, false, PcmLayout::Kind::unsignedInteger);
const PcmLayout s16 = integerLayout(16, 2);
const PcmLayout s16be = integerLayout(16, 2, true);
const PcmLayout s24 = integerLayout(24, 4);
const PcmLayout s24packed = integerLayout(24, 3);
const PcmLayout s24high = integerLayout(24, 4, false, true);
const PcmLayout s20high = integerLayout(20, 3, false, true);
const PcmLayout s32 = integerLayout(32, 4);
const PcmLayout s64 = integerLayout(64, 8);
const PcmLayout f32 = floatLayout(4);
const PcmLayout f64 = floatLayout(8);

struct Choice {
  const char* what;
  PcmLayout client;
  std::vector<PcmLayout> supported;
  PcmLayout chosen;
};

TEST(PcmLayout, ChoosesTheDeviceFormatThatLosesNothingAndChangesLeast) {
  const Choice table[] = {
      {"its own layout before a wider one", s16, {s32, s24, s16}, s16},
      {"its own byte order", s16be, {s16, s16be, s32}, s16be},
      {"its own bytes, padded at the bottom", s24high, {s24, s24packed, s32}, s32},
      {"padded three bytes are three bytes", s20high, {s24, s24packed, s32}, s24packed},
      {"the next wider integer", s16, {u8, s32, s24packed}, s24packed},
      {"the other byte order before more bits", s16be, {s32, s16}, s16},
      {"four bytes before three", s16, {s24packed, s24}, s24},
      {"an integer before a float", s16, {f32, s32}, s32},
      {"a float that holds it before a narrower integer", s24packed, {s16, f32}, f32},
      {"the widest when nothing holds it", s32, {s16, u8, s24}, s24},
      {"a float when that keeps more", s32, {s16, f32}, f32},
      {"a double that holds it", s32, {s24, f64}, f64},
      {"a float for a float", f32, {s32, f32}, f32},
      {"a wider float for a float", f32, {s32, f64}, f64},
      {"a narrower float before integers", f64, {s32, f32}, f32},
      {"the widest integer for a float", f32, {s16, s24, s32, u8}, s32},
      {"the widest for 64 bits", s64, {s16, s32, f32}, s32},
      {"whatever there is", s64, {u8}, u8},
  };
  for (const Choice& row : table) {
    EXPECT_EQ(chooseDeviceFormat(row.client, row.supported), row.chosen) << row.what;
    std::vector<PcmLayout> reversed(row.supported.rbegin(), row.supported.rend());
    EXPECT_EQ(chooseDeviceFormat(row.client, reversed), row.chosen) << row.what << ", listed the other way round";
  }
  EXPECT_EQ(chooseDeviceFormat(s16, {}), std::nullopt);
}

TEST(PcmLayout, KnowsWhatIsExact) {
  EXPECT_TRUE(isExact(s16, s16));
  EXPECT_TRUE(isExact(s24high, s24packed));
  EXPECT_TRUE(isExact(s24, f32));
  EXPECT_TRUE(isExact(s32, f64));
  EXPECT_TRUE(isExact(f32, f64));
  EXPECT_FALSE(isExact(s24, s16));
  EXPECT_FALSE(isExact(s32, f32));
  EXPECT_FALSE(isExact(s64, f64));
  EXPECT_FALSE(isExact(f32, s32));
  EXPECT_FALSE(isExact(f64, f32));
}

TEST(PcmLayout, ReadsADescriptionAndWritesItBack) {
  for (const PcmLayout& layout : {u8, s16, s16be, s24, s24packed, s24high, s20high, s32, s64, f32, f64}) {
    const AudioStreamBasicDescription format = describe(layout, 96000, 3);
    EXPECT_EQ(format.mBytesPerFrame, layout.bytes * 3U);
    EXPECT_EQ(pcmLayout(format), layout) << layoutText(layout);
  }
}

TEST(PcmLayout, RefusesWhatIsNotInterleavedLinearPcm) {
  const AudioStreamBasicDescription good = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
  ASSERT_TRUE(pcmLayout(good));
  const auto refuses = [&](auto change) {
    AudioStreamBasicDescription bad = good;
    change(bad);
    return !pcmLayout(bad);
  };
  EXPECT_TRUE(refuses([](auto& f) { f.mFormatID = fourCharCode("alac"); }));
  EXPECT_TRUE(refuses([](auto& f) { f.mFormatFlags |= kAudioFormatFlagIsNonInterleaved; }));
  EXPECT_TRUE(refuses([](auto& f) { f.mChannelsPerFrame = 0; }));
  EXPECT_TRUE(refuses([](auto& f) { f.mChannelsPerFrame = 3; }));
  EXPECT_TRUE(refuses([](auto& f) { f.mBytesPerFrame = 0; }));
  EXPECT_TRUE(refuses([](auto& f) { f.mFramesPerPacket = 2; }));
  EXPECT_TRUE(refuses([](auto& f) { f.mBytesPerPacket = 8; }));
  EXPECT_TRUE(refuses([](auto& f) { f.mBitsPerChannel = 0; }));
  EXPECT_TRUE(refuses([](auto& f) { f.mBitsPerChannel = 17; }));
  EXPECT_TRUE(refuses([](auto& f) { f.mFormatFlags |= kAudioFormatFlagIsFloat; }));
  EXPECT_TRUE(refuses([](auto& f) { f.mBytesPerFrame = f.mBytesPerPacket = 18; }));
}

TEST(PcmLayout, FillsSilenceWithTheHalfWayCode) {
  const auto silence = [](const PcmLayout& layout) {
    std::vector<std::byte> bytes(2U * layout.bytes, std::byte{0x55});
    fillSilence(layout, bytes);
    std::vector<unsigned> values;
    for (const std::byte byte : bytes) values.push_back(std::to_integer<unsigned>(byte));
    return values;
  };
  using Values = std::vector<unsigned>;
  EXPECT_EQ(silence(s16), (Values{0, 0, 0, 0}));
  EXPECT_EQ(silence(u8), (Values{0x80, 0x80}));
  EXPECT_EQ(silence(integerLayout(16, 2, false, false, PcmLayout::Kind::unsignedInteger)), (Values{0, 0x80, 0, 0x80}));
  EXPECT_EQ(silence(integerLayout(16, 2, true, false, PcmLayout::Kind::unsignedInteger)), (Values{0x80, 0, 0x80, 0}));
  EXPECT_EQ(silence(integerLayout(20, 3, false, false, PcmLayout::Kind::unsignedInteger)), (Values{0, 0, 8, 0, 0, 8}));
  EXPECT_EQ(silence(integerLayout(20, 3, false, true, PcmLayout::Kind::unsignedInteger)),
            (Values{0, 0, 0x80, 0, 0, 0x80}));
}

}  // namespace
}  // namespace tolvane
