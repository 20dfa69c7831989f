#pragma once
// A track of ten seconds on a device that keeps what it plays: the vocabulary of the tests of the output's supervision.

#include <algorithm>

#include "tests/engine/PlayerFixture.h"

namespace tolvane {

class SupervisionFixture : public PlayerFixture {
 protected:
  SupervisionFixture() {
    SimulatedDeviceConfig config;
    config.captures = true;
    id = addDevice(config);
  }

  [[nodiscard]] std::uint64_t recoveries() const { return player->statistics().recoveries; }
  /// The track from its first frame to its last, and silence behind it.
  void expectHeardWhole() {
    const std::vector<std::byte>& whole = tracks["/song.wav"];
    const auto heard = device(id).heard();
    ASSERT_GE(heard.size(), whole.size()) << "frames were lost";
    const auto end = heard.begin() + static_cast<std::ptrdiff_t>(whole.size());
    EXPECT_TRUE(std::equal(whole.begin(), whole.end(), heard.begin())) << "frames were lost or repeated";
    EXPECT_EQ(std::count_if(end, heard.end(), [](std::byte value) { return value != std::byte{0}; }), 0)
        << "something was heard behind the end";
  }

  AudioObjectID id = 0;
  FileURL track = addTrack("/song.wav", 441000);
};

}  // namespace tolvane
