#include "platform/alsa/facts/UsbSampleBits.h"

#include <gtest/gtest.h>

#include <string>

namespace tolvane {
namespace {

std::string settings() {
  return "  Interface 1\n    Altset 1\n    Format: S16_LE\n    Channels: 2\n    Endpoint: 0x01 (1 OUT) (ASYNC)\n"
         "    Rates: 44100, 48000\n    Data packet interval: 125 us\n    Bits: 16\n    Channel map: FL FR\n"
         "    Sync EP Interface: 1\n    Sync EP Altset: 1\n"
         "  Interface 1\n    Altset 2\n    Format: S32_LE\n    Channels: 2\n    Bits: 24\n"
         "    Sync EP Interface: 1\n    Sync EP Altset: 2\n    Implicit Feedback Mode: No\n"
         "  Interface 1\n    Altset 3\n    Format: S32_LE\n    Channels: 2\n    Bits: 32\n"
         "  Interface 1\n    Altset 4\n    Format: S32_LE\n    Channels: 8\n    Bits: 20\n"
         "\nCapture:\n  Status: Stop\n  Interface 2\n    Altset 1\n    Format: S32_LE\n    Channels: 2\n    Bits: 8\n";
}

std::string running(int altset) {
  return "Lab Test DAC at usb-1, high speed : USB Audio\n\nPlayback:\n  Status: Running\n    Interface = 1\n    Altset "
         "= " +
         std::to_string(altset) + "\n    Packet Size = 72\n    Momentary freq = 44100 Hz (0x5.8334)\n" + settings();
}

std::string stopped() { return "Lab Test DAC\n\nPlayback:\n  Status: Stop\n" + settings(); }

TEST(UsbSampleBits, TakesTheBitsOfTheSettingThatIsRunning) {
  EXPECT_EQ(parseUsbSignificantBits(running(2), "S32_LE", 2), 24);
  EXPECT_EQ(parseUsbSignificantBits(running(3), "S32_LE", 2), 32);
  EXPECT_EQ(parseUsbSignificantBits(running(1), "S16_LE", 2), 16);
}

TEST(UsbSampleBits, TakesTheFewestBitsWhileNothingRuns) {
  EXPECT_EQ(parseUsbSignificantBits(stopped(), "S32_LE", 2), 24);
  EXPECT_EQ(parseUsbSignificantBits(stopped(), "S32_LE", 8), 20);
}

TEST(UsbSampleBits, DoesNotTakeAnotherFormatsSetting) {
  EXPECT_EQ(parseUsbSignificantBits(running(1), "S32_LE", 2), 24);
  EXPECT_EQ(parseUsbSignificantBits(stopped(), "S24_3LE", 2), std::nullopt);
  EXPECT_EQ(parseUsbSignificantBits(stopped(), "S16_LE", 4), std::nullopt);
}

TEST(UsbSampleBits, KnowsNothingWhereTheKernelDoesNotReportIt) {
  EXPECT_EQ(parseUsbSignificantBits("", "S16_LE", 2), std::nullopt);
  EXPECT_EQ(parseUsbSignificantBits("Playback:\n  Interface 1\n    Altset 1\n    Format: S16_LE\n    Channels: 2\n",
                                    "S16_LE", 2),
            std::nullopt);
  EXPECT_EQ(parseUsbSignificantBits("Capture:\n  Interface 1\n    Format: S16_LE\n    Channels: 2\n    Bits: 16\n",
                                    "S16_LE", 2),
            std::nullopt);
}

}  // namespace
}  // namespace tolvane
