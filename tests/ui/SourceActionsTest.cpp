#include "ui/SourceActions.h"

#include <gmock/gmock.h>

#include "platform/simulated/ManualRunLoop.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Sources : public testing::Test {
 protected:
  /// Folders "A" and "B" with a file each.
  Sources() {
    folder.write("A/a.wav", "x");
    folder.write("B/b.wav", "x");
    folder.write("B/notes.txt", "x");
    folder.write("empty/notes.txt", "x");
  }

  void finishSearch(std::size_t index) { searches.at(index)(); }
  void settle() { runLoop.runUntilIdle(); }

  test::TemporaryFolder folder;
  ManualRunLoop runLoop;
  std::vector<BackgroundWork> searches;  ///< handed to the background, in order
  std::vector<std::vector<FileURL>> loaded;
  std::optional<SourceActions> actions{
      std::in_place, runLoop, [this](std::span<const FileURL> urls) { loaded.emplace_back(urls.begin(), urls.end()); },
      [this](BackgroundWork work) { searches.push_back(std::move(work)); }};
};

TEST_F(Sources, ChosenFilesAreLoadedAtOnceInOrderOfTheirNames) {
  const std::vector urls{folder.url("B/b.wav"), folder.url("A/a.wav"), folder.url("B/notes.txt")};
  actions->openFiles(urls);
  EXPECT_THAT(loaded, ElementsAre(ElementsAre(folder.url("A/a.wav"), folder.url("B/b.wav"))));
  EXPECT_THAT(searches, IsEmpty());
}

TEST_F(Sources, AFolderIsLoadedOnceItHasBeenSearched) {
  actions->openFolderURL(folder.url("A"));
  settle();
  EXPECT_THAT(loaded, IsEmpty());
  finishSearch(0);
  EXPECT_THAT(loaded, IsEmpty()) << "results arrive in a turn of the main thread";
  settle();
  EXPECT_THAT(loaded, ElementsAre(ElementsAre(folder.url("A/a.wav"))));
}

TEST_F(Sources, DroppedFilesAndFoldersAreLoadedTogether) {
  actions->dropURLs({folder.url("B"), folder.url("A/a.wav"), folder.url("B/notes.txt")});
  finishSearch(0);
  settle();
  EXPECT_THAT(loaded, ElementsAre(ElementsAre(folder.url("A/a.wav"), folder.url("B/b.wav"))));
}

TEST_F(Sources, AFolderWithoutAudioLoadsNothing) {
  actions->openFolderURL(folder.url("empty"));
  finishSearch(0);
  settle();
  EXPECT_THAT(loaded, IsEmpty());
}

class SearchOrder : public Sources, public testing::WithParamInterface<std::pair<int, int>> {};

TEST_P(SearchOrder, OnlyTheNewestSearchCountsWhicheverEndsFirst) {
  const auto [first, second] = GetParam();
  actions->openFolderURL(folder.url("A"));
  actions->openFolderURL(folder.url("B"));
  finishSearch(static_cast<std::size_t>(first));
  settle();
  finishSearch(static_cast<std::size_t>(second));
  settle();
  EXPECT_THAT(loaded, ElementsAre(ElementsAre(folder.url("B/b.wav"))));
}

INSTANTIATE_TEST_SUITE_P(BothOrders, SearchOrder, testing::Values(std::pair(0, 1), std::pair(1, 0)));

TEST_F(Sources, AResultThatAlreadyWaitsIsDroppedForANewerSearch) {
  actions->openFolderURL(folder.url("A"));
  finishSearch(0);
  actions->openFolderURL(folder.url("B"));
  settle();
  EXPECT_THAT(loaded, IsEmpty());
  finishSearch(1);
  settle();
  EXPECT_THAT(loaded, ElementsAre(ElementsAre(folder.url("B/b.wav"))));
}

TEST_F(Sources, ChosenFilesOvertakeASearch) {
  actions->openFolderURL(folder.url("A"));
  const std::vector urls{folder.url("B/b.wav")};
  actions->openFiles(urls);
  finishSearch(0);
  settle();
  EXPECT_THAT(loaded, ElementsAre(ElementsAre(folder.url("B/b.wav"))));
}

TEST_F(Sources, ASearchThatOutlivesTheWindowIsHarmless) {
  actions->openFolderURL(folder.url("A"));
  actions->openFolderURL(folder.url("B"));
  finishSearch(1);
  actions.reset();
  finishSearch(0);
  settle();
  EXPECT_THAT(loaded, IsEmpty());
}

}  // namespace
}  // namespace tolvane
