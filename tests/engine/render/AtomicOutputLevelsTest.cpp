#include "engine/render/AtomicOutputLevels.h"

#include <gtest/gtest.h>

#include <limits>

namespace tolvane {
namespace {

TEST(AtomicOutputLevels, LoadNeutralBeforeAnythingIsStored) {
  EXPECT_EQ(AtomicOutputLevels{}.load(), (OutputLevels{1.0, 0.0}));
}

TEST(AtomicOutputLevels, LoadWhatWasStoredLastNarrowedToFloats) {
  const OutputLevels cases[] = {{0.5, -0.25}, {0.1, 0.7}, {0.0, -1.0}, {1.0, 1.0}, {0.99, 0.0}, {1.0, 0.0}};
  AtomicOutputLevels levels;
  for (const OutputLevels stored : cases) {
    levels.store(stored);
    EXPECT_EQ(levels.load().volume, static_cast<double>(static_cast<float>(stored.volume)));
    EXPECT_EQ(levels.load().balance, static_cast<double>(static_cast<float>(stored.balance)));
  }
}

TEST(AtomicOutputLevels, LoadTheSameAgainAndAgain) {
  AtomicOutputLevels levels;
  levels.store({0.75, 0.5});
  for (int i = 0; i < 10; ++i) EXPECT_EQ(levels.load(), (OutputLevels{0.75, 0.5}));
}

TEST(AtomicOutputLevels, LoadOnlySaneLevelsWhateverWasStored) {
  const struct {
    OutputLevels stored, loaded;
  } cases[] = {
      {{std::numeric_limits<double>::quiet_NaN(), 0.5}, {1.0, 0.5}},
      {{0.5, std::numeric_limits<double>::infinity()}, {0.5, 0.0}},
      {{std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()}, {1.0, 0.0}},
      {{-0.5, 0.5}, {0.0, 0.5}},
      {{1.5, -3.0}, {1.0, -1.0}},
      {{0.5, std::numeric_limits<double>::quiet_NaN()}, {0.5, 0.0}},
      {{-std::numeric_limits<double>::infinity(), 3.0}, {1.0, 1.0}},
  };
  AtomicOutputLevels levels;
  for (const auto& [stored, loaded] : cases) {
    levels.store(stored);
    EXPECT_EQ(levels.load(), loaded) << stored.volume << ' ' << stored.balance;
  }
}

}  // namespace
}  // namespace tolvane
