#include "tests/ui/qt/WindowFixture.h"
#include "ui/playlist/TrackFinder.h"

namespace tolvane::test {
namespace {

class WindowSearch : public WindowFixture {
 protected:
  /// Files that need not be there, the first ones aside.
  void loadFolders() {
    auto urls = addTracks(30);
    urls.emplace_back("/music/Gould/Partitas/Fugue.wav");
    urls.emplace_back("/music/Gould/Partitas/Gigue.wav");
    content.loadPlaylist(urls);
    settle();
  }
  [[nodiscard]] bool isOpen() const { return isShown("Close the search"); }
  [[nodiscard]] int keyboardRow() const { return item("Tracks")->property("currentIndex").toInt(); }
  [[nodiscard]] bool isInSight(int index) const {
    const QQuickItem* list = item("Tracks");
    const double y = row(index)->mapToItem(list, {0, 0}).y();
    return y >= 0 && y + row(index)->height() <= list->height();
  }
  /// The field, where a button has the same name.
  [[nodiscard]] QAccessibleInterface* field() const {
    for (auto* control : controls())
      if (control->role() == QAccessible::EditableText) return control;
    return nullptr;
  }
  [[nodiscard]] std::string typed() const {
    return field() != nullptr ? field()->object()->property("text").toString().toStdString() : "no field";
  }
};

TEST_F(WindowSearch, BeginsWithWhatIsTyped) {
  loadFolders();
  EXPECT_FALSE(isOpen());
  type("gigue");
  EXPECT_TRUE(isOpen());
  EXPECT_EQ(typed(), "gigue");
  EXPECT_GE(field()->rect().height(), 16) << "and it is seen";
  EXPECT_TRUE(isShown("1 of 1"));
  EXPECT_EQ(keyboardRow(), 31);
  EXPECT_TRUE(isInSight(31));
  EXPECT_TRUE(row(31)->property("focusShown").toBool());
  EXPECT_EQ(currentIndex(), 0) << "nothing is played by that";
}

// A search through all of it at once would hold the window.
TEST_F(WindowSearch, GoesThroughALongListInParts) {
  std::vector<FileURL> urls = addTracks(1);
  for (std::size_t row = 1; row < 3 * TrackFinder::rowsPerCall; ++row)
    urls.emplace_back("/music/Folder/Straw " + std::to_string(row) + ".wav");
  urls.emplace_back("/music/Folder/Needle.wav");
  content.loadPlaylist(urls);
  settle();
  const auto last = static_cast<int>(urls.size()) - 1;
  QTest::keyClick(window, 'n');
  EXPECT_TRUE(isOpen());
  EXPECT_NE(keyboardRow(), last) << "the key press does not wait for the end of the list";
  type("eedle");
  EXPECT_TRUE(waitFor([&] { return keyboardRow() == last; }));
  EXPECT_TRUE(waitFor([&] { return isShown("1 of 1"); }));
}

TEST_F(WindowSearch, FindsInFoldersAndGoesOn) {
  loadFolders();
  type("gould part");
  EXPECT_TRUE(isShown("1 of 2"));
  EXPECT_EQ(keyboardRow(), 30);
  EXPECT_TRUE(isPlaying()) << "a blank within the text does not pause";
  key(Qt::Key_F3);
  EXPECT_EQ(keyboardRow(), 31);
  EXPECT_TRUE(isShown("2 of 2"));
  key(Qt::Key_F3);
  EXPECT_EQ(keyboardRow(), 30);
  key(Qt::Key_F3, Qt::ShiftModifier);
  EXPECT_EQ(keyboardRow(), 31);
  key(Qt::Key_Down);
  EXPECT_EQ(keyboardRow(), 30);
  key(Qt::Key_Up);
  EXPECT_EQ(keyboardRow(), 31);
  click("Previous match");
  EXPECT_EQ(keyboardRow(), 30);
  click("Next match");
  EXPECT_EQ(keyboardRow(), 31);
}

TEST_F(WindowSearch, PlaysTheMatchAndEnds) {
  loadFolders();
  type("track 17");
  key(Qt::Key_Return);
  EXPECT_EQ(currentIndex(), 16);
  EXPECT_TRUE(isPlaying());
  EXPECT_FALSE(isOpen());
  EXPECT_TRUE(item("Tracks")->hasActiveFocus());
  key(Qt::Key_Space);
  EXPECT_FALSE(isPlaying()) << "Space pauses again";
}

TEST_F(WindowSearch, EndsWithEscapeWhereItIs) {
  loadFolders();
  type("track 17");
  key(Qt::Key_Escape);
  EXPECT_FALSE(isOpen());
  EXPECT_EQ(keyboardRow(), 16);
  EXPECT_EQ(currentIndex(), 0);
  type("fu");
  EXPECT_EQ(typed(), "fu") << "the next search begins anew";
  click("Close the search");
  EXPECT_FALSE(isOpen());
  EXPECT_TRUE(item("Tracks")->hasActiveFocus());
}

TEST_F(WindowSearch, SaysThatNothingMatches) {
  loadFolders();
  type("zzz");
  EXPECT_TRUE(isShown("No match"));
  key(Qt::Key_Return);
  EXPECT_TRUE(isOpen());
  EXPECT_EQ(currentIndex(), 0);
}

TEST_F(WindowSearch, OpensByKeyAndByButtonWithTheLastText) {
  loadFolders();
  key(Qt::Key_F, Qt::ControlModifier);
  EXPECT_EQ(typed(), "");
  type("track 2");
  key(Qt::Key_F3);
  EXPECT_EQ(keyboardRow(), 11) << "Track 2, then Track 12";
  key(Qt::Key_Escape);
  click("Find a track");
  EXPECT_EQ(typed(), "track 2");
  EXPECT_EQ(keyboardRow(), 11);
  key(Qt::Key_Escape);
  key(Qt::Key_F3);
  EXPECT_TRUE(isOpen());
  EXPECT_EQ(keyboardRow(), 19) << "it goes on";
  type("1");
  EXPECT_EQ(typed(), "1") << "the old text was selected";
}

TEST_F(WindowSearch, FollowsTheListThatChanges) {
  loadFolders();
  type("gould");
  key(Qt::Key_F3);
  ASSERT_EQ(keyboardRow(), 31);
  session.removeTracks(std::vector{session.playlistTracks().value()[2].id});
  settle();
  EXPECT_TRUE(isShown("2 of 2"));
  EXPECT_EQ(keyboardRow(), 30);
  load(3);
  EXPECT_TRUE(isShown("No match"));
}

TEST_F(WindowSearch, IsNotForAnEmptyWindow) {
  type("abc");
  key(Qt::Key_F, Qt::ControlModifier);
  key(Qt::Key_F3);
  EXPECT_FALSE(isOpen());
}

TEST_F(WindowSearch, MovesNothingInTheWindow) {
  loadFolders();
  const auto places = [this] {
    std::vector<QRectF> found;
    for (const char* name : {"Tracks", "Position", "Volume", "32 tracks"}) {
      const QQuickItem* shown = item(name);
      found.push_back(shown->mapRectToScene(shown->boundingRect()));
    }
    return found;
  };
  const auto before = places();
  type("a");
  ASSERT_TRUE(isOpen());
  EXPECT_EQ(places(), before);
}

TEST_F(WindowSearch, TheCurrentTrackIsShownByKeyAndByItsNumber) {
  loadFolders();
  content.playTrack(20, 0);
  settle();
  QQuickItem* list = item("Tracks");
  for (const bool byKey : {true, false}) {
    list->setProperty("contentY", 0);
    list->setProperty("currentIndex", 0);
    settle();
    byKey ? key(Qt::Key_J, Qt::ControlModifier) : click("21 / 32");
    EXPECT_TRUE(isInSight(20));
    EXPECT_EQ(keyboardRow(), 20);
  }
}

}  // namespace
}  // namespace tolvane::test
