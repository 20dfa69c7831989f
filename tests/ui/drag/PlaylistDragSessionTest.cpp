#include "ui/drag/PlaylistDragSession.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

struct MoveCase {
  std::int64_t source;
  std::int64_t gap;
  std::int64_t count;
  std::optional<std::int64_t> destination;
};

class MoveDestination : public testing::TestWithParam<MoveCase> {};

TEST_P(MoveDestination, IsCountedInTheListWithoutTheTrack) {
  const auto& [source, gap, count, destination] = GetParam();
  EXPECT_EQ(moveDestination(source, gap, count), destination);
}

INSTANTIATE_TEST_SUITE_P(Drops, MoveDestination,
                         testing::Values(MoveCase{0, 5, 5, 4},              // the first below the last
                                         MoveCase{4, 0, 5, 0},              // the last above the first
                                         MoveCase{3, 3, 5, std::nullopt},   // onto its own upper half
                                         MoveCase{3, 4, 5, std::nullopt},   // onto its own lower half
                                         MoveCase{1, 3, 5, 2},              // downwards
                                         MoveCase{3, 1, 5, 1},              // upwards
                                         MoveCase{2, -2, 5, 0},             // above everything
                                         MoveCase{2, 99, 5, 4},             // below everything
                                         MoveCase{0, -2, 5, std::nullopt},  // already there
                                         MoveCase{4, 99, 5, std::nullopt},  // already there
                                         MoveCase{0, 0, 1, std::nullopt},   // nothing to reorder
                                         MoveCase{0, 1, 1, std::nullopt}, MoveCase{0, 0, 0, std::nullopt},
                                         MoveCase{-1, 2, 5, std::nullopt}, MoveCase{5, 2, 5, std::nullopt}));

TEST(DragSessions, AreEqualWhenAllTheirFieldsAre) {
  PlaylistDragSession a;
  a.id = Uuid::random();
  a.trackID = Uuid::ofTrack(1);
  PlaylistDragSession b = a;
  EXPECT_EQ(a, b);
  b.insertionIndex = 0;
  EXPECT_NE(a, b);
  b = a;
  b.phase = PlaylistDragPhase::committing;
  EXPECT_NE(a, b);
}

}  // namespace
}  // namespace tolvane
