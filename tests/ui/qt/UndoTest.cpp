#include <QtTest/QTest>

#include "tests/ui/qt/WindowFixture.h"

namespace tolvane::test {
namespace {

using testing::ElementsAre;

class WindowUndo : public WindowFixture {
 protected:
  void open(int first, int count) {
    auto urls = addTracks(first + count - 1);
    urls.erase(urls.begin(), urls.begin() + first - 1);
    content.loadPlaylist(urls);
    settle();
  }
};

TEST_F(WindowUndo, IsOfferedInALineUntilTheListChangesAgain) {
  load(3);
  EXPECT_FALSE(isShown("Undo: 3 tracks replaced"));
  open(7, 2);
  EXPECT_TRUE(isShown("3 tracks replaced"));
  EXPECT_TRUE(isShown("Undo: 3 tracks replaced"));
  advance(std::chrono::minutes(3));
  settle();
  EXPECT_TRUE(isShown("Undo: 3 tracks replaced")) << "no time ends it";
  session.moveTrack(0, 1);
  settle();
  EXPECT_FALSE(isShown("Undo: 3 tracks replaced"));
  EXPECT_TRUE(isShown("Undo: Track moved"));
}

TEST_F(WindowUndo, BringsBackWhatPlayed) {
  load(3);
  content.playTrack(1, 0.5);
  settle();
  open(7, 2);
  click("Undo: 3 tracks replaced");
  EXPECT_THAT(order(), ElementsAre(1, 2, 3));
  EXPECT_EQ(currentIndex(), 1);
  EXPECT_TRUE(isPlaying());
  EXPECT_NEAR(position(), 5, 0.001);
  EXPECT_FALSE(isShown("Undo: 3 tracks replaced"));
}

TEST_F(WindowUndo, HappensByKey) {
  load(3);
  session.moveTrack(0, 2);
  settle();
  key(Qt::Key_Z, Qt::ControlModifier);
  EXPECT_THAT(order(), ElementsAre(1, 2, 3));
  key(Qt::Key_Z, Qt::ControlModifier);
  EXPECT_THAT(order(), ElementsAre(1, 2, 3)) << "there is nothing left to undo";
}

TEST_F(WindowUndo, HandsTheKeyboardToTheListWhenItIsDone) {
  load(3);
  session.moveTrack(0, 2);
  settle();
  item("Undo: Track moved")->forceActiveFocus(Qt::TabFocusReason);
  key(Qt::Key_Return);
  EXPECT_THAT(order(), ElementsAre(1, 2, 3));
  EXPECT_TRUE(item("Tracks")->hasActiveFocus());
}

TEST_F(WindowUndo, MovesNothingInTheWindow) {
  load(12);
  const auto places = [this] {
    std::vector<QRectF> found;
    for (const char* name : {"Tracks", "Open a folder", "Open files", "Position", "Volume", "12 tracks"}) {
      const QQuickItem* shown = item(name);
      found.push_back(shown->mapRectToScene(shown->boundingRect()));
    }
    return found;
  };
  const auto before = places();
  session.moveTrack(0, 2);
  settle();
  ASSERT_TRUE(isShown("Undo: Track moved"));
  EXPECT_EQ(places(), before);
}

}  // namespace
}  // namespace tolvane::test
