#include "ui/playlist/ListDifference.h"

#include <gmock/gmock.h>

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

PlaylistTracks listOf(const std::vector<PlaylistTrackID>& ids) {
  PlaylistTracks::Entries entries;
  for (const auto id : ids) entries.push_back({id, FileURL("/music/a.wav")});
  return PlaylistTracks(std::move(entries));
}

TEST(RowsBesides, AreTheRunsThatOneListHasMore) {
  const auto longer = listOf({1, 2, 3, 4, 5, 6});
  EXPECT_THAT(*rowsBesides(listOf({1, 4, 5}), longer), ElementsAre(RowRun{1, 2}, RowRun{5, 1}));
  EXPECT_THAT(*rowsBesides(listOf({2, 4, 6}), longer), ElementsAre(RowRun{0, 1}, RowRun{2, 1}, RowRun{4, 1}));
  EXPECT_THAT(*rowsBesides(listOf({}), longer), ElementsAre(RowRun{0, 6}));
  EXPECT_THAT(*rowsBesides(longer, longer), IsEmpty());
}

TEST(RowsBesides, AreNotAllThatDiffersWhereRowsWereMovedOrExchanged) {
  const auto longer = listOf({1, 2, 3, 4});
  EXPECT_EQ(rowsBesides(listOf({2, 1}), longer), std::nullopt);
  EXPECT_EQ(rowsBesides(listOf({1, 9}), longer), std::nullopt);
  EXPECT_EQ(rowsBesides(listOf({1, 2, 3, 4, 5}), longer), std::nullopt);
}

}  // namespace
}  // namespace tolvane
