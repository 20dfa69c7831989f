#pragma once
// A track of ten seconds on a device that keeps what it plays: the vocabulary of the tests of the output's supervision.

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
  void expectHeardWhole() {
    auto heard = device(id).heard();
    heard.resize(tracks["/song.wav"].size());
    EXPECT_TRUE(heard == tracks["/song.wav"]) << "frames were lost or repeated";
  }

  AudioObjectID id = 0;
  FileURL track = addTrack("/song.wav", 441000);
};

}  // namespace tolvane
