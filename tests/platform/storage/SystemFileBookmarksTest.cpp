#include "platform/storage/SystemFileBookmarks.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

#include "platform/storage/FileIdentity.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WithoutPrivileges.h"

namespace tolvane {
namespace {

namespace fs = std::filesystem;

class SystemBookmarks : public testing::Test {
 protected:
  FileBookmark bookmarkOf(const std::string& name) {
    const auto made = bookmarks.make(folder.write(name, name));
    EXPECT_TRUE(made) << made.error();
    return made.value_or("");
  }
  [[nodiscard]] std::optional<ResolvedBookmark> resolved(const FileBookmark& bookmark) {
    return bookmarks.resolve(std::span(&bookmark, 1)).at(0);
  }
  [[nodiscard]] static std::ptrdiff_t missingOf(const std::vector<std::optional<ResolvedBookmark>>& found) {
    return std::ranges::count_if(found, [](const auto& entry) { return !entry.has_value(); });
  }
  [[nodiscard]] ResolvedBookmark inPlace(const std::string& name) const { return {.url = folder.url(name)}; }
  [[nodiscard]] ResolvedBookmark moved(const std::string& name) const {
    return {.url = folder.url(name), .isStale = true};
  }
  [[nodiscard]] static ResolvedBookmark unreadable(ResolvedBookmark file) {
    file.isReadable = false;
    return file;
  }
  void rename(const std::string& from, const std::string& to) const {
    fs::create_directories((folder.path() / to).parent_path());
    fs::rename(folder.path() / from, folder.path() / to);
  }

  test::TemporaryFolder folder;
  SystemFileBookmarks bookmarks;
};

TEST_F(SystemBookmarks, AFileThatStaysIsFoundInItsPlace) {
  for (const std::string& name : {std::string("a.wav"), std::string("\xFF\xFE.wav"), std::string("two\nlines.wav"),
                                  std::string(251, 'n') + ".wav", std::string("e\xCC\x81/\xC3\xA9.wav")})
    EXPECT_EQ(resolved(bookmarkOf(name)), inPlace(name)) << name;
}

TEST_F(SystemBookmarks, ARenamedFileIsFoundAndReportedStale) {
  for (const auto& [from, to] : {std::pair<std::string, std::string>{"a.wav", "b.wav"},
                                 {"album/a.wav", "album/\xFF\n.wav"},
                                 {"x.wav", std::string(251, 'n') + ".wav"}}) {
    const auto bookmark = bookmarkOf(from);
    rename(from, to);
    EXPECT_EQ(resolved(bookmark), moved(to)) << from;
  }
}

TEST_F(SystemBookmarks, ThePartOfAFileIsKeptWhereverTheFileGoes) {
  const FileExcerpt excerpt{.first = 75, .end = 150, .title = "Title"};
  const FileURL part(folder.write("a.flac", "x").path(), excerpt);
  const auto bookmark = bookmarks.make(part).value();
  EXPECT_EQ(resolved(bookmark), (ResolvedBookmark{.url = part}));
  EXPECT_EQ(bookmarks.storedURL(bookmark), part);
  EXPECT_EQ(bookmarks.storedURL(bookmarks.makeOfPath(part).value()), part);
  rename("a.flac", "b.flac");
  EXPECT_EQ(resolved(bookmark),
            (ResolvedBookmark{.url = FileURL(folder.url("b.flac").path(), excerpt), .isStale = true}));
}

TEST_F(SystemBookmarks, AFileThatMovedNearbyIsFound) {
  struct Case {
    const char* from;
    const char* to;
  };
  for (const auto& [from, to] :
       {Case{"music/one/a.wav", "music/two/a.wav"}, Case{"music/one/b.wav", "music/b.wav"},
        Case{"music/one/c.wav", "music/one/deeper/c.wav"}, Case{"music/one/d.wav", "music/two/renamed.wav"}}) {
    const auto bookmark = bookmarkOf(from);
    rename(from, to);
    EXPECT_EQ(resolved(bookmark), moved(to)) << from;
  }
}

TEST_F(SystemBookmarks, TheFilesOfARenamedFolderAreFound) {
  const std::vector before{bookmarkOf("music/old/1.wav"), bookmarkOf("music/old/2.wav")};
  rename("music/old", "music/new");
  EXPECT_THAT(bookmarks.resolve(before), testing::ElementsAre(moved("music/new/1.wav"), moved("music/new/2.wav")));
}

TEST_F(SystemBookmarks, ARenamedFolderIsLookedIntoBeforeItsMoreNumerousNeighbours) {
  SystemFileBookmarks hasty({.folders = 0});
  const auto bookmark = bookmarkOf("music/m/1.wav");
  for (char letter = 'a'; letter < 'm'; ++letter) folder.write(std::string("music/") + letter + "/1.wav", "x");
  rename("music/m", "music/z");
  EXPECT_EQ(hasty.resolve(std::span(&bookmark, 1)).at(0), moved("music/z/1.wav"));
}

TEST_F(SystemBookmarks, OfManyFoldersWithOneRenamedFileEachEveryFileIsFound) {
  std::vector<FileBookmark> list;
  std::vector<std::optional<ResolvedBookmark>> expected;
  for (int number = 0; number < 40; ++number) {
    const std::string name = "music/" + std::to_string(number) + "/";
    list.push_back(bookmarkOf(name + "old.wav"));
    rename(name + "old.wav", name + "new.wav");
    expected.emplace_back(moved(name + "new.wav"));
  }
  EXPECT_TRUE(SystemFileBookmarks({.folders = 5}).resolve(list) == expected);
}

TEST_F(SystemBookmarks, OfManyRenamedFoldersEveryFileIsFound) {
  std::vector<FileBookmark> list;
  std::vector<std::optional<ResolvedBookmark>> expected;
  for (int number = 0; number < 40; ++number) {
    const std::string name = "music/" + std::to_string(number);
    list.push_back(bookmarkOf(name + "/1.wav"));
    rename(name, name + " (remastered)");
    expected.emplace_back(moved(name + " (remastered)/1.wav"));
  }
  EXPECT_TRUE(SystemFileBookmarks({.folders = 5}).resolve(list) == expected);
}

TEST_F(SystemBookmarks, ADiskThatIsNotThereCostsTheOtherFilesNothing) {
  std::vector<FileBookmark> list;
  for (int number = 0; number < 40; ++number)
    list.push_back(bookmarkOf("disk/music/" + std::to_string(number) + "/1.wav"));
  fs::remove_all(folder.path() / "disk/music");
  list.push_back(bookmarkOf("home/music/a.wav"));
  list.push_back(bookmarkOf("home/music/one/b.wav"));
  rename("home/music/a.wav", "home/music/renamed.wav");
  rename("home/music/one/b.wav", "home/music/two/b.wav");
  SystemFileBookmarks hasty({.folders = 5});
  const auto found = hasty.resolve(list);
  EXPECT_EQ(missingOf(found), 40);
  EXPECT_EQ(found[40], moved("home/music/renamed.wav"));
  EXPECT_EQ(found[41], moved("home/music/two/b.wav"));
}

TEST_F(SystemBookmarks, TheSearchInTheFoldersAroundIsBounded) {
  std::vector<FileBookmark> list;
  for (int number = 0; number < 20; ++number) {
    const auto name = std::to_string(number);
    list.push_back(bookmarkOf("music/from/" + name + ".wav"));
    rename("music/from/" + name + ".wav", "music/to " + name + "/a.wav");
  }
  SystemFileBookmarks hasty({.folders = 5});
  const auto found = hasty.resolve(list);
  EXPECT_EQ(missingOf(found), 15);
  EXPECT_EQ(found[0], moved("music/to 0/a.wav"));
}

TEST_F(SystemBookmarks, TheEntriesThatAreReadAreBounded) {
  const auto bookmark = bookmarkOf("music/a.wav");
  rename("music/a.wav", "music/b.wav");
  for (int number = 0; number < 100; ++number) folder.write("music/" + std::to_string(number), "x");
  SystemFileBookmarks hasty({.ownEntries = 0});
  EXPECT_EQ(hasty.resolve(std::span(&bookmark, 1)).at(0), std::nullopt);
}

TEST_F(SystemBookmarks, TheSearchNearbyReadsNoFolderOfAnotherTest) {
  const auto around = folder.path().parent_path();
  EXPECT_EQ(std::distance(fs::directory_iterator(around), fs::directory_iterator()), 1) << around;
}

TEST_F(SystemBookmarks, ADeletedFileIsGone) {
  const auto bookmark = bookmarkOf("a.wav");
  fs::remove(folder.path() / "a.wav");
  EXPECT_EQ(resolved(bookmark), std::nullopt);
}

TEST_F(SystemBookmarks, ANewFileWithTheOldOnesInodeIsAnotherFile) {
  const auto bookmark = bookmarkOf("a.wav");
  const auto before = factsOfFile(folder.url("a.wav").path()).value().identity;
  fs::remove(folder.path() / "a.wav");
  // The file system's clock moves in steps of some milliseconds; files of the same step could not be distinguished.
  for (auto now = before; before.isSameFile(now); now = factsOfFile(folder.url("b.wav").path()).value().identity) {
    fs::remove(folder.path() / "b.wav");
    folder.write("b.wav", "a new file");
  }
  EXPECT_EQ(resolved(bookmark), std::nullopt);
}

TEST_F(SystemBookmarks, WhatLiesAtThePathIsTheFile) {
  const auto bookmark = bookmarkOf("a.wav");
  folder.write("new", "saved by an editor of tags");
  rename("new", "a.wav");
  EXPECT_EQ(resolved(bookmark), inPlace("a.wav"));
}

TEST_F(SystemBookmarks, AFolderAtThePathIsNotTheFile) {
  const auto bookmark = bookmarkOf("a.wav");
  rename("a.wav", "b.wav");
  fs::create_directory(folder.path() / "a.wav");
  EXPECT_EQ(resolved(bookmark), moved("b.wav"));
}

TEST_F(SystemBookmarks, ALinkIsBookmarkedItself) {
  folder.write("real/a.wav", "x");
  fs::create_symlink("real/a.wav", folder.path() / "link.wav");
  const auto bookmark = bookmarks.make(folder.url("link.wav")).value();
  EXPECT_EQ(resolved(bookmark), inPlace("link.wav"));
  rename("link.wav", "other.wav");
  EXPECT_EQ(resolved(bookmark), moved("other.wav"));
  fs::remove(folder.path() / "real/a.wav");
  EXPECT_EQ(resolved(bookmark), unreadable(moved("other.wav"))) << "a link to nowhere";
}

TEST_F(SystemBookmarks, AFileThatMayNotBeReadIsThereButNotReadable) {
  const auto bookmark = bookmarkOf("a.wav");
  const test::WithoutPrivileges user(folder.path());
  EXPECT_EQ(resolved(bookmark), inPlace("a.wav"));
  fs::permissions(folder.path() / "a.wav", fs::perms::none);
  EXPECT_EQ(resolved(bookmark), unreadable(inPlace("a.wav")));
}

TEST_F(SystemBookmarks, OfAFileWithTwoNamesTheSameIsFoundEveryTime) {
  const auto bookmark = bookmarkOf("a.wav");
  fs::create_hard_link(folder.path() / "a.wav", folder.path() / "c.wav");
  rename("a.wav", "b.wav");
  EXPECT_EQ(resolved(bookmark), moved("b.wav"));
}

TEST_F(SystemBookmarks, ABookmarkOfAPathFindsWhatLiesThereAndIsToBeReplaced) {
  const auto bookmark = bookmarks.makeOfPath(folder.url("a.wav"));
  ASSERT_TRUE(bookmark);
  EXPECT_EQ(bookmarks.storedURL(*bookmark), folder.url("a.wav"));
  EXPECT_EQ(resolved(*bookmark), std::nullopt) << "nothing lies there";
  folder.write("b.wav", "another");
  EXPECT_EQ(resolved(*bookmark), std::nullopt) << "and nothing else is taken for it";
  folder.write("a.wav", "there now");
  EXPECT_EQ(resolved(*bookmark), moved("a.wav"));
  EXPECT_EQ(bookmarks.makeOfPath(FileURL("/" + std::string(5000, 'n') + ".wav")), std::nullopt) << "too long for a path";
}

TEST_F(SystemBookmarks, WhatIsNotThereCannotBeBookmarked) {
  const auto made = bookmarks.make(folder.url("none.wav"));
  ASSERT_FALSE(made);
  EXPECT_EQ(made.error(), "No such file or directory");
  EXPECT_FALSE(bookmarks.make(FileURL("")));
  EXPECT_FALSE(bookmarks.make(FileURL("relative.wav")));
}

TEST_F(SystemBookmarks, ForeignBytesAreNoBookmark) {
  for (const FileBookmark& bytes : {FileBookmark(), FileBookmark("book"), FileBookmark(1000, '\0')})
    EXPECT_EQ(resolved(bytes), std::nullopt);
}

TEST_F(SystemBookmarks, EveryBookmarkHasItsResultInOrder) {
  const std::vector list{bookmarkOf("1.wav"), FileBookmark("book"), bookmarkOf("2.wav"), bookmarkOf("3.wav")};
  rename("2.wav", "moved.wav");
  EXPECT_THAT(bookmarks.resolve(list),
              testing::ElementsAre(inPlace("1.wav"), std::nullopt, moved("moved.wav"), inPlace("3.wav")));
}

TEST_F(SystemBookmarks, EveryBookmarkOfALongListHasItsResultInOrder) {
  const std::vector<FileBookmark> few{bookmarkOf("1.wav"), FileBookmark("book"), bookmarkOf("2.wav")};
  rename("2.wav", "moved.wav");
  const std::vector<std::optional<ResolvedBookmark>> expectedOfFew{inPlace("1.wav"), std::nullopt, moved("moved.wav")};
  for (const std::size_t count : {1'999U, 4'000U, 4'001U, 8'003U, 20'001U}) {
    std::vector<FileBookmark> list;
    std::vector<std::optional<ResolvedBookmark>> expected;
    for (std::size_t i = 0; i < count; ++i) {
      list.push_back(few[i % few.size()]);
      expected.push_back(expectedOfFew[i % few.size()]);
    }
    EXPECT_TRUE(bookmarks.resolve(list) == expected) << count;
  }
}

}  // namespace
}  // namespace tolvane
