#include "platform/alsa/facts/AlsaFormats.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

TEST(AlsaFormats, AgreeWithAlsaLibAboutEveryFormat) {
  for (const AlsaFormat& format : alsaFormats()) {
    SCOPED_TRACE(std::string(format.name));
    EXPECT_EQ(format.name, snd_pcm_format_name(format.format));
    EXPECT_EQ(format.layout.bytes * 8, snd_pcm_format_physical_width(format.format));
    EXPECT_EQ(format.layout.bits, snd_pcm_format_width(format.format));
    EXPECT_EQ(format.layout.isFloat(), snd_pcm_format_float(format.format) == 1);
    EXPECT_EQ(format.layout.bigEndian, snd_pcm_format_big_endian(format.format) == 1);
    if (!format.layout.isFloat()) {
      EXPECT_EQ(format.layout.kind == PcmLayout::Kind::signedInteger, snd_pcm_format_signed(format.format) == 1);
    }
    EXPECT_EQ(alsaFormatFor(format.layout), format.format);
    EXPECT_EQ(layoutOfAlsaFormat(format.name), format.layout);
    EXPECT_EQ(alsaFormatName(format.layout), format.name);
  }
}

TEST(AlsaFormats, AgreeWithAlsaLibAboutSilence) {
  for (const AlsaFormat& format : alsaFormats()) {
    std::vector<std::byte> ours(std::size_t{4} * format.layout.bytes, std::byte{0x55});
    std::vector<std::byte> theirs = ours;
    fillSilence(format.layout, ours);
    ASSERT_EQ(snd_pcm_format_set_silence(format.format, theirs.data(), 4), 0);
    EXPECT_EQ(ours, theirs) << format.name;
  }
}

TEST(AlsaFormats, KnowNothingOfWhatIsNoLinearPcm) {
  EXPECT_EQ(layoutOfAlsaFormat("DSD_U32_BE"), std::nullopt);
  EXPECT_EQ(layoutOfAlsaFormat("IEC958_SUBFRAME_LE"), std::nullopt);
  EXPECT_EQ(layoutOfAlsaFormat(""), std::nullopt);
  EXPECT_EQ(alsaFormatFor(integerLayout(12, 2)), std::nullopt);
}

TEST(AlsaFormats, ReportTheBitsThatTheHardwareUses) {
  const PcmLayout s16 = integerLayout(16, 2);
  const PcmLayout s24 = integerLayout(24, 4);
  const PcmLayout s32 = integerLayout(32, 4);
  EXPECT_EQ(physicalLayout(s32, 24), integerLayout(24, 4, false, true));
  EXPECT_EQ(physicalLayout(s32, 32), s32);
  EXPECT_EQ(physicalLayout(s32, 0), s32) << "0 stands for all";
  EXPECT_EQ(physicalLayout(s24, 32), s24) << "some drivers count the padding too";
  EXPECT_EQ(physicalLayout(s24, 20).bits, 20);
  EXPECT_EQ(physicalLayout(s16, 16), s16);
  EXPECT_EQ(physicalLayout(floatLayout(4), 24), floatLayout(4));
}

}  // namespace
}  // namespace tolvane
