#include "platform/pipewire/facts/AlsaPath.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tolvane {
namespace {

TEST(AlsaPath, IsDirectForACardsOwnNames) {
  for (const char* path : {"hw:0", "hw:0,3", "hw:Loopback,0", "hw:CARD=DAC,DEV=0", "front:1", "hdmi:0,1", "iec958:0",
                           "surround40:0", "surround51:0", "surround71:0", "_ucm0001.hw:sofhdadsp,0", "_ucm00AF.hw:II"})
    EXPECT_EQ(alsaPathOf(path), AlsaPath::direct) << path;
}

TEST(AlsaPath, NamesItsCardByANumberOrNot) {
  for (const auto& [path, card] : std::vector<std::pair<const char*, std::optional<int>>>{{"hw:0", 0},
                                                                                          {"hw:12,3", 12},
                                                                                          {"front:1", 1},
                                                                                          {"_ucm0001.hw:2,0", 2},
                                                                                          {"hw:DAC", std::nullopt},
                                                                                          {"hw:CARD=1", std::nullopt},
                                                                                          {"hw:1x,0", std::nullopt},
                                                                                          {"hw:", std::nullopt},
                                                                                          {"hw", std::nullopt}})
    EXPECT_EQ(cardInAlsaPath(path), card) << path;
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

TEST(AlsaPath, StandsForAnOrderOfChannels) {
  struct Case {
    const char* path;
    std::size_t channels;
    const char* order;
  };
  for (const auto& [path, channels, order] : {Case{"front:0", 2, "FL FR"},
                                              {"hw:0,3", 2, "FL FR"},
                                              {"_ucm0001.hw:0", 2, "FL FR"},
                                              {"iec958:0", 2, "FL FR"},
                                              {"hdmi:0,1", 2, "FL FR"},
                                              {"surround21:0", 3, "FL FR LFE"},
                                              {"surround40:0", 4, "FL FR RL RR"},
                                              {"surround41:0", 5, "FL FR RL RR LFE"},
                                              {"surround50:0", 5, "FL FR RL RR FC"},
                                              {"surround51:0", 6, "FL FR RL RR FC LFE"},
                                              {"surround71:0", 8, "FL FR RL RR FC LFE SL SR"},
                                              // One channel has no order; these names stand for none.
                                              {"hw:0", 1, ""},
                                              {"hw:0", 6, ""},
                                              {"_ucm0001.hw:0", 6, ""},
                                              {"front:0", 4, ""},
                                              {"hdmi:0", 3, ""},
                                              {"hdmi:0,1", 4, ""},
                                              {"hdmi:0,1", 6, ""},
                                              {"hdmi:0,1", 8, ""},
                                              {"surround51:0", 5, ""},
                                              {"surround71:0", 6, ""},
                                              {"surround71:0", 9, ""},
                                              {"front:0", 0, ""},
                                              {"a52:0", 2, ""},
                                              {"plughw:0", 2, ""},
                                              {"", 2, ""}}) {
    std::string names;
    for (const std::string_view name : channelOrderOf(path, channels)) {
      if (!names.empty()) names += ' ';
      names += name;
    }
    EXPECT_EQ(names, order) << path << ' ' << channels;
  }
}

}  // namespace
}  // namespace tolvane
