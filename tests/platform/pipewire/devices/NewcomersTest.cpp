#include "platform/pipewire/devices/Newcomers.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

using std::chrono_literals::operator""ns;
using std::chrono_literals::operator""s;

constexpr RunLoop::TimePoint start{std::chrono::hours(7)};

TEST(Newcomers, WaitForTheLimitFromWhenTheyWereSeenFirst) {
  Newcomers newcomers;
  EXPECT_TRUE(newcomers.add("usb-DAC:0", start));
  EXPECT_FALSE(newcomers.add("usb-DAC:0", start + 1s)) << "it is known since";
  EXPECT_TRUE(newcomers.isWaiting("usb-DAC:0", start + Newcomers::limit - 1ns));
  EXPECT_FALSE(newcomers.isWaiting("usb-DAC:0", start + Newcomers::limit));
  EXPECT_FALSE(newcomers.add("usb-DAC:0", start + Newcomers::limit)) << "it has waited";
  EXPECT_FALSE(newcomers.isWaiting("usb-DAC:0", start + Newcomers::limit));
}

TEST(Newcomers, WaitEachForItself) {
  Newcomers newcomers;
  newcomers.add("usb-DAC:0", start);
  EXPECT_TRUE(newcomers.add("usb-DAC:1", start + 1s));
  EXPECT_FALSE(newcomers.isWaiting("pci:0", start));
  newcomers.remove("usb-DAC:0");
  EXPECT_FALSE(newcomers.isWaiting("usb-DAC:0", start));
  EXPECT_TRUE(newcomers.isWaiting("usb-DAC:1", start + 1s));
  EXPECT_TRUE(newcomers.add("usb-DAC:0", start + 9s)) << "it has gone and come again";
}

}  // namespace
}  // namespace tolvane
