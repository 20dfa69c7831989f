#include "platform/pipewire/AlsaPath.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

TEST(AlsaPath, IsDirectForACardsOwnNames) {
  for (const char* path : {"hw:0", "hw:0,3", "hw:Loopback,0", "hw:CARD=DAC,DEV=0", "front:1", "hdmi:0,1", "iec958:0",
                           "surround40:0", "surround51:0", "surround71:0", "_ucm0001.hw:sofhdadsp,0", "_ucm00AF.hw:II"})
    EXPECT_EQ(alsaPathOf(path), AlsaPath::direct) << path;
}

TEST(AlsaPath, MovesOrEncodesUnderTheNamesThatDo) {
  for (const char* path : {"surround21:0", "surround41:0", "surround50:0"})
    EXPECT_EQ(alsaPathOf(path), AlsaPath::rerouted) << path;
  for (const char* path : {"a52:0", "dca:0", "dcahdmi:0,1"}) EXPECT_EQ(alsaPathOf(path), AlsaPath::encoded) << path;
}

TEST(AlsaPath, IsUnknownForEverythingElse) {
  for (const char* path : {"",
                           "hw",
                           "hw:",
                           ":",
                           "front",
                           "plughw:0",
                           "half",
                           "half:0",
                           "default",
                           "default:0",
                           "dmix:0",
                           "pulse",
                           "null",
                           "plug:hw:0",
                           "route:0",
                           "softvol:0",
                           "hw0:0",
                           " hw:0",
                           "hw :0",
                           "HW:0",
                           "_ucm.hw:0",
                           "_ucm0001hw:0",
                           "_ucmXY.hw:0",
                           "_ucm0001.split:DAC,0,0,1",
                           "_ucm0001.front:0",
                           "_ucm0001._ucm0001.hw:0"})
    EXPECT_EQ(alsaPathOf(path), AlsaPath::unknown) << path;
}

}  // namespace
}  // namespace tolvane
