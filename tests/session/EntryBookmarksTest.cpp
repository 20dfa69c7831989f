#include "session/EntryBookmarks.h"

#include <gmock/gmock.h>

#include <optional>

namespace tolvane {
namespace {

using testing::ElementsAre;

TEST(BookmarksOfEntries, CountTheSavedOnesOnly) {
  const EntryBookmarks bookmarks({"a", "", "c", "", "e"});
  EXPECT_EQ(bookmarks.savedIndexOf(0), 0);
  EXPECT_EQ(bookmarks.savedIndexOf(2), 1);
  EXPECT_EQ(bookmarks.savedIndexOf(4), 2);
  EXPECT_EQ(bookmarks.savedIndexOf(3), 0) << "not saved";
  EXPECT_EQ(bookmarks.savedIndexOf(5), 0) << "not there";
  EXPECT_EQ(bookmarks.savedIndexOf(-1), 0);
  EXPECT_FALSE(bookmarks.areNone());
  EXPECT_TRUE(EntryBookmarks({"", ""}).areNone());
  EXPECT_TRUE(EntryBookmarks().areNone());
}

TEST(BookmarksOfEntries, MoveWithTheirEntries) {
  EntryBookmarks bookmarks({"a", "b", ""});
  bookmarks.insert(1, 1);
  bookmarks.move(1, 3);
  EXPECT_THAT(bookmarks.all(), ElementsAre("a", "b", "", ""));
  EXPECT_FALSE(bookmarks.isAwaited(2));
  EXPECT_TRUE(bookmarks.isAwaited(3));
  bookmarks.keep({false, true, false, true});
  EXPECT_THAT(bookmarks.all(), ElementsAre("b", ""));
  EXPECT_TRUE(bookmarks.isAwaited(1));
  EXPECT_EQ(bookmarks.savedIndexOf(0), 0);
}

TEST(BookmarksOfEntries, AreAwaitedUntilTheyHaveCome) {
  EntryBookmarks bookmarks = EntryBookmarks::awaitedFor(2);
  const auto ofTheSecond = [](std::size_t row) { return row == 1 ? std::optional<FileBookmark>("x") : std::nullopt; };
  bookmarks.assign(ofTheSecond, true);
  EXPECT_TRUE(bookmarks.isAwaited(1)) << "of the path alone";
  EXPECT_EQ(bookmarks.savedIndexOf(1), 0);
  EXPECT_FALSE(bookmarks.areNone());
  bookmarks.assign(ofTheSecond, false);
  EXPECT_FALSE(bookmarks.isAwaited(1));
  EXPECT_TRUE(bookmarks.isAwaited(0)) << "left as it was";
}

}  // namespace
}  // namespace tolvane
