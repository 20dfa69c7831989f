#include "ui/playlist/PlaylistDuration.h"

#include <gmock/gmock.h>

namespace tolvane {
namespace {

FileURL file(int number) { return FileURL("/music/" + std::to_string(number) + ".wav"); }

TEST(PlaylistDurations, AddUpAsTheyBecomeKnown) {
  PlaylistDuration duration;
  duration.setTracks(PlaylistTracks({{1, file(1)}, {2, file(2)}, {3, file(1)}}));
  EXPECT_EQ(duration.seconds(), 0);
  EXPECT_EQ(duration.knownCount(), 0);
  duration.add(file(1), 100);
  EXPECT_EQ(duration.seconds(), 200) << "it stands in the list twice";
  EXPECT_EQ(duration.knownCount(), 2);
  EXPECT_FALSE(duration.isComplete());
  duration.add(file(9), 50);
  EXPECT_EQ(duration.seconds(), 200) << "of no track in the list";
  duration.add(file(2), 0);
  EXPECT_TRUE(duration.isComplete()) << "an empty file has a length, too";
  duration.add(file(1), 100);
  EXPECT_EQ(duration.seconds(), 200) << "counted once";
}

TEST(PlaylistDurations, KnowTheTracksOfOneFileApart) {
  const FileURL first("/music/a.flac", FileExcerpt{.end = 75});
  const FileURL second("/music/a.flac", FileExcerpt{.first = 75});
  PlaylistDuration duration;
  duration.setTracks(PlaylistTracks({{1, first}, {2, second}, {3, second}}));
  duration.add(first, 1);
  EXPECT_EQ(duration.seconds(), 1);
  EXPECT_EQ(duration.knownCount(), 1);
  duration.add(FileURL("/music/a.flac"), 100);
  EXPECT_EQ(duration.seconds(), 1);
  duration.add(second, 9);
  EXPECT_EQ(duration.seconds(), 19);
  EXPECT_TRUE(duration.isComplete());
}

TEST(PlaylistDurations, BeginAnewWithAnotherList) {
  PlaylistDuration duration;
  EXPECT_TRUE(duration.isComplete());
  duration.add(file(1), 100);
  EXPECT_EQ(duration.seconds(), 0);
  duration.setTracks(PlaylistTracks({{1, file(1)}}));
  duration.add(file(1), 100);
  duration.setTracks(PlaylistTracks({{2, file(2)}}));
  EXPECT_EQ(duration.seconds(), 0);
  EXPECT_FALSE(duration.isComplete());
}

}  // namespace
}  // namespace tolvane
