#include <QAbstractItemModelTester>
#include <QtTest/QTest>

#include "tests/ui/qt/WindowFixture.h"
#include "ui/qt/models/TrackListModel.h"

namespace tolvane::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class WindowSelection : public WindowFixture {
 protected:
  TrackListModel& model() { return *window->property("tracks").value<TrackListModel*>(); }
  /// The rows that look selected.
  [[nodiscard]] std::vector<int> selected() const {
    std::vector<int> rows;
    for (int index = 0; index < static_cast<int>(order().size()); ++index)
      if (row(index)->property("picked").toBool()) rows.push_back(index);
    return rows;
  }
  void clickRow(int index, Qt::KeyboardModifiers modifiers, double x = 0.3) {
    QTest::mouseClick(window, Qt::LeftButton, modifiers, placeIn(*row(index), x, 0.5));
    settle();
  }
  /// Room for that many rows.
  void loadInSight(int count) {
    window->resize(900, 1000);
    load(count);
  }
  [[nodiscard]] int keyboardRow() const { return item("Tracks")->property("currentIndex").toInt(); }
  void useKeyboard(int row) {
    item("Tracks")->forceActiveFocus(Qt::TabFocusReason);
    item("Tracks")->setProperty("currentIndex", row);
  }
  [[nodiscard]] double scrolled() const {
    return item("Tracks")->property("contentY").toDouble() - item("Tracks")->property("originY").toDouble();
  }
};

TEST_F(WindowSelection, IsMadeByClicksWithCtrlAndShiftWhileTheMusicGoesOn) {
  loadInSight(6);
  session.seek(4);
  clickRow(1, Qt::ControlModifier);
  clickRow(3, Qt::ControlModifier);
  EXPECT_THAT(selected(), ElementsAre(1, 3));
  clickRow(5, Qt::ShiftModifier);
  EXPECT_THAT(selected(), ElementsAre(3, 4, 5));
  clickRow(4, Qt::ControlModifier, 0.75);
  EXPECT_THAT(selected(), ElementsAre(3, 5)) << "also in the waveform";
  EXPECT_EQ(currentIndex(), 0);
  EXPECT_NEAR(position(), 4, 0.001);
  EXPECT_TRUE(isPlaying());
  EXPECT_TRUE(isShown("2 of 6 selected"));
}

TEST_F(WindowSelection, EndsWithAClickThatPlays) {
  loadInSight(4);
  clickRow(1, Qt::ControlModifier);
  clickRow(2, Qt::NoModifier);
  EXPECT_THAT(selected(), IsEmpty());
  EXPECT_EQ(currentIndex(), 2);
  EXPECT_TRUE(isShown("4 tracks"));
}

TEST_F(WindowSelection, APlainClickAndADoubleClickPlay) {
  loadInSight(4);
  clickRow(2, Qt::NoModifier);
  EXPECT_EQ(currentIndex(), 2);
  QTest::mouseDClick(window, Qt::LeftButton, Qt::NoModifier, placeIn(*row(1), 0.3, 0.5));
  settle();
  EXPECT_EQ(currentIndex(), 1);
}

TEST_F(WindowSelection, IsMadeByKeys) {
  loadInSight(6);
  useKeyboard(1);
  key(Qt::Key_Down, Qt::ShiftModifier);
  key(Qt::Key_Down, Qt::ShiftModifier);
  EXPECT_THAT(selected(), ElementsAre(1, 2, 3));
  key(Qt::Key_Up, Qt::ShiftModifier);
  EXPECT_THAT(selected(), ElementsAre(1, 2));
  key(Qt::Key_End, Qt::ShiftModifier);
  EXPECT_THAT(selected(), ElementsAre(1, 2, 3, 4, 5));
  key(Qt::Key_Space, Qt::ControlModifier);
  EXPECT_THAT(selected(), ElementsAre(1, 2, 3, 4));
  EXPECT_TRUE(isPlaying()) << "Ctrl+Space does not pause";
  key(Qt::Key_A, Qt::ControlModifier);
  EXPECT_THAT(selected(), ElementsAre(0, 1, 2, 3, 4, 5));
  key(Qt::Key_Escape);
  EXPECT_THAT(selected(), IsEmpty());
  EXPECT_EQ(currentIndex(), 0);
}

TEST_F(WindowSelection, IsMadeByAssistiveTechnology) {
  loadInSight(3);
  auto* second = accessible("Track 2, track 2, 00:10");
  EXPECT_TRUE(second->state().selectable);
  EXPECT_FALSE(second->state().selected);
  second->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
  settle();
  EXPECT_TRUE(accessible("Track 2, track 2, 00:10")->state().selected);
  EXPECT_THAT(selected(), ElementsAre(1));
  EXPECT_EQ(accessible("Track 1, track 1, 00:10")->text(QAccessible::Description), "Current track");
  EXPECT_EQ(second->text(QAccessible::Description), "");
}

TEST_F(WindowSelection, IsRemovedByDelete) {
  loadInSight(6);
  session.seek(4);
  clickRow(1, Qt::ControlModifier);
  clickRow(3, Qt::ControlModifier);
  const QQuickItem* third = row(2);
  key(Qt::Key_Delete);
  EXPECT_THAT(order(), ElementsAre(1, 3, 5, 6));
  EXPECT_THAT(selected(), IsEmpty());
  EXPECT_EQ(row(1), third) << "rows that stay are kept";
  EXPECT_NEAR(position(), 4, 0.001);
  EXPECT_TRUE(isShown("4 tracks"));
  EXPECT_TRUE(isShown("2 tracks removed"));
  key(Qt::Key_Z, Qt::ControlModifier);
  EXPECT_THAT(order(), ElementsAre(1, 2, 3, 4, 5, 6));
  EXPECT_NEAR(position(), 4, 0.001);
}

TEST_F(WindowSelection, IsRemovedByAButton) {
  loadInSight(4);
  clickRow(2, Qt::ControlModifier);
  EXPECT_TRUE(isShown("Remove the selected track"));
  clickRow(3, Qt::ControlModifier);
  click("Remove 2 selected tracks");
  EXPECT_THAT(order(), ElementsAre(1, 2));
  EXPECT_FALSE(isShown("Remove 2 selected tracks"));
}

TEST_F(WindowSelection, WithoutOneDeleteRemovesTheRowOfTheKeyboard) {
  loadInSight(4);
  useKeyboard(2);
  key(Qt::Key_Delete);
  EXPECT_THAT(order(), ElementsAre(1, 2, 4));
  EXPECT_EQ(keyboardRow(), 2) << "on the row that followed";
  key(Qt::Key_Delete);
  EXPECT_THAT(order(), ElementsAre(1, 2));
  EXPECT_EQ(keyboardRow(), 1);
  key(Qt::Key_Delete);
  key(Qt::Key_Delete);
  EXPECT_THAT(order(), IsEmpty());
  EXPECT_FALSE(isPlaying());
  EXPECT_TRUE(isShown("Undo: 1 track removed")) << "also without a list";
  click("Undo: 1 track removed");
  EXPECT_THAT(order(), ElementsAre(1));
  EXPECT_TRUE(isPlaying());
}

TEST_F(WindowSelection, GoesOnWithWhatFollowsTheTrackThatPlays) {
  loadInSight(4);
  useKeyboard(0);
  key(Qt::Key_Delete);
  EXPECT_THAT(order(), ElementsAre(2, 3, 4));
  EXPECT_EQ(currentIndex(), 0);
  EXPECT_TRUE(isPlaying());
  EXPECT_TRUE(row(0)->property("current").toBool());
}

TEST_F(WindowSelection, StaysWithItsRowsWhenTheyMove) {
  loadInSight(4);
  clickRow(1, Qt::ControlModifier);
  session.moveTrack(1, 3);
  settle();
  EXPECT_THAT(selected(), ElementsAre(3));
  load(5);
  EXPECT_THAT(selected(), IsEmpty()) << "other tracks";
}

TEST_F(WindowSelection, ScrolledRowsStayWhereTheyAreWhenOthersAreRemoved) {
  load(40);
  item("Tracks")->setProperty("contentY", 20 * 58);
  settle();
  const double before = row(21)->mapToScene({0, 0}).y();
  const auto* shown = row(21);
  session.removeTracks(std::vector{session.playlistTracks().value()[3].id});
  settle();
  EXPECT_EQ(row(20), shown);
  EXPECT_EQ(row(20)->mapToScene({0, 0}).y(), before);
  session.undoPlaylistChange();
  settle();
  EXPECT_EQ(row(21), shown);
  EXPECT_EQ(row(21)->mapToScene({0, 0}).y(), before);
}

TEST_F(WindowSelection, RowsThatComeAndGoAreAWellBehavedModel) {
  const QAbstractItemModelTester tester(&model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
  loadInSight(8);
  const auto ids = [this](const std::vector<std::size_t>& rows) {
    std::vector<PlaylistTrackID> found;
    for (const auto row : rows) found.push_back(session.playlistTracks().value()[row].id);
    return found;
  };
  int resets = 0;
  QObject::connect(&model(), &QAbstractItemModel::modelReset, [&] { ++resets; });
  for (const auto& rows : {std::vector<std::size_t>{0}, {7}, {1, 2, 5}, {0, 2, 4, 6}, {3, 4}}) {
    const auto before = order();
    session.removeTracks(ids(rows));
    settle();
    EXPECT_EQ(model().count(), static_cast<int>(8 - rows.size()));
    session.undoPlaylistChange();
    settle();
    EXPECT_EQ(order(), before);
    for (int index = 0; index < 8; ++index) {
      EXPECT_EQ(row(index)->property("title").toString().toStdString(), "Track " + std::to_string(index + 1));
      EXPECT_EQ(row(index)->property("current").toBool(), currentIndex() == index);
    }
  }
  EXPECT_EQ(resets, 0);
}

TEST_F(WindowSelection, OfAHundredThousandIsMadeAndRemovedAtOnce) {
  std::vector<FileURL> urls(100'000);
  for (std::size_t i = 0; i < urls.size(); ++i) urls[i] = track(static_cast<int>(i + 1));
  addTracks(3);
  content.loadPlaylist(urls);
  settle();
  useKeyboard(1);
  key(Qt::Key_A, Qt::ControlModifier);
  EXPECT_TRUE(isShown("100000 of 100000 selected"));
  key(Qt::Key_Space, Qt::ControlModifier);
  key(Qt::Key_Delete);
  EXPECT_THAT(order(), ElementsAre(2));
  EXPECT_EQ(currentIndex(), 0);
}

}  // namespace
}  // namespace tolvane::test
