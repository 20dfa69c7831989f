#include "ui/playlist/TrackSelection.h"

#include <gmock/gmock.h>

namespace tolvane {
namespace {

using testing::IsEmpty;
using testing::UnorderedElementsAre;

class SelectedTracks : public testing::Test {
 protected:
  static PlaylistTracks list(const std::vector<PlaylistTrackID>& ids) {
    PlaylistTracks::Entries entries;
    for (const auto id : ids) entries.push_back({id, FileURL("/music/" + std::to_string(id) + ".wav")});
    return PlaylistTracks(std::move(entries));
  }

  PlaylistTracks tracks = list({11, 12, 13, 14, 15});
  TrackSelection selection;
};

TEST_F(SelectedTracks, AreToggledOneByOne) {
  selection.toggle(tracks, 1);
  selection.toggle(tracks, 3);
  EXPECT_THAT(selection.tracks(), UnorderedElementsAre(12, 14));
  selection.toggle(tracks, 1);
  EXPECT_THAT(selection.tracks(), UnorderedElementsAre(14));
  selection.toggle(tracks, 5);
  selection.toggle(tracks, -1);
  EXPECT_EQ(selection.count(), 1U);
  EXPECT_TRUE(selection.contains(14));
  EXPECT_FALSE(selection.contains(12));
}

TEST_F(SelectedTracks, AreARangeFromTheRowThatWasToggledLast) {
  selection.toggle(tracks, 0);
  selection.toggle(tracks, 2);
  selection.extend(tracks, 0, 4);
  EXPECT_THAT(selection.tracks(), UnorderedElementsAre(13, 14, 15));
  selection.extend(tracks, 4, 1);
  EXPECT_THAT(selection.tracks(), UnorderedElementsAre(12, 13)) << "the other way, from the same row";
}

TEST_F(SelectedTracks, AreARangeFromTheKeyboardsRowWhereNoneIsSelected) {
  selection.extend(tracks, 1, 2);
  EXPECT_THAT(selection.tracks(), UnorderedElementsAre(12, 13));
  selection.clear();
  selection.extend(tracks, 3, 4);
  EXPECT_THAT(selection.tracks(), UnorderedElementsAre(14, 15)) << "nothing is left of the older range";
  selection.clear();
  selection.extend(tracks, -1, 1);
  EXPECT_THAT(selection.tracks(), UnorderedElementsAre(11, 12));
  selection.extend(tracks, 0, 9);
  EXPECT_EQ(selection.count(), 2U) << "no such row";
}

TEST_F(SelectedTracks, StaySelectedWhereTheyGo) {
  selection.toggle(tracks, 1);
  const auto moved = list({15, 14, 13, 12, 11});
  selection.follow(moved);
  EXPECT_TRUE(selection.contains(12));
  selection.extend(moved, 0, 4);
  EXPECT_THAT(selection.tracks(), UnorderedElementsAre(12, 11)) << "the range begins where the row is now";
}

TEST_F(SelectedTracks, AreForgottenOnceTheyHaveGone) {
  selection.selectAll(tracks);
  EXPECT_EQ(selection.count(), 5U);
  selection.follow(list({13, 16}));
  EXPECT_THAT(selection.tracks(), UnorderedElementsAre(13));
  selection.follow(PlaylistTracks());
  EXPECT_THAT(selection.tracks(), IsEmpty());
}

}  // namespace
}  // namespace tolvane
