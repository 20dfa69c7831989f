#pragma once
// A window with a programme to play and devices to choose, for its pictures: what its scenes have in common. Music is
// as loud as real music, and the same each time.

#include <cstddef>
#include <memory>
#include <vector>

#include "tests/ui/qt/WindowFixture.h"

namespace tolvane::test {

struct Piece {
  const char* name;
  double rate;  ///< hertz
  int seconds;
  int seed;
};

inline constexpr Piece programme[] = {{"Prelude", 44100, 204, 1},
                                      {"Nocturne in Copper", 48000, 242, 2},
                                      {"Variations on a Quiet Theme", 96000, 347, 3},
                                      {"The Long Afternoon", 88200, 435, 4},
                                      {"Ember Study No. 4", 44100, 178, 5},
                                      {"Vespers", 44100, 370, 6},
                                      {"Slow Water", 48000, 298, 7},
                                      {"Lantern", 44100, 151, 8},
                                      {"Letter to Ilse", 96000, 263, 9},
                                      {"Autumn Machines", 44100, 322, 10},
                                      {"Copper Beech", 48000, 287, 11},
                                      {"Coda", 44100, 96, 12}};

/// A file of the piece's length whose samples are as loud as its music would be.
[[nodiscard]] SimulatedPCMFile recording(const Piece& piece);

class PictureStage : public WindowFixture {
 public:
  void TestBody() override {}

 protected:
  explicit PictureStage(bool isPlayerApart) : WindowFixture(isPlayerApart) {}

  [[nodiscard]] static FileURL url(std::size_t index);
  FileURL add(const FileURL& url, const Piece& piece);
  void loadProgramme();
  void play(std::int64_t index, double fraction);
  void playOver(const std::vector<SampleAlteration>& alterations);
  AudioObjectID pick(const SimulatedDeviceConfig& device);
  /// Tips come by the toolkit's own clock.
  static void waitForTip();
};

}  // namespace tolvane::test
