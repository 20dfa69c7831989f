#include <QGuiApplication>
#include <QMimeData>
#include <QProcess>
#include <QtTest/QTest>

#include "tests/support/TemporaryFolder.h"
#include "tests/ui/qt/WindowFixture.h"
#include "ui/qt/models/TrackDragModel.h"

namespace tolvane::test {
namespace {

using testing::ElementsAre;

class WindowDrops : public WindowFixture {
 protected:
  TrackDragModel& trackDrag() { return *window->property("trackDrag").value<TrackDragModel*>(); }

  bool enter(QPoint place, const QMimeData& data) {
    QDragEnterEvent event(place, Qt::MoveAction | Qt::CopyAction, &data, Qt::LeftButton, modifiers);
    QCoreApplication::sendEvent(window, &event);
    settle();
    return event.isAccepted();
  }
  bool move(QPoint place, const QMimeData& data) {
    QDragMoveEvent event(place, Qt::MoveAction | Qt::CopyAction, &data, Qt::LeftButton, modifiers);
    QCoreApplication::sendEvent(window, &event);
    settle();
    return event.isAccepted();
  }
  bool drop(QPoint place, const QMimeData& data) {
    QDropEvent event(place, Qt::MoveAction | Qt::CopyAction, &data, Qt::LeftButton, modifiers);
    QCoreApplication::sendEvent(window, &event);
    settle();
    return event.isAccepted();
  }
  void leave() {
    QDragLeaveEvent event;
    QCoreApplication::sendEvent(window, &event);
    settle();
  }

  static void addFiles(QMimeData& data, const QList<QUrl>& urls) {
    data.setUrls(urls);
    data.setText("file managers offer their files as text, too");
  }

  [[nodiscard]] int playingTrack() const { return order().at(static_cast<std::size_t>(currentIndex())); }

  /// Tracks 7 and 8, in a folder.
  void addNewTracks(QMimeData& data) {
    folder.write("new/Track 7.wav", "x");
    folder.write("new/Track 8.flac", "x");
    addFiles(data, {QUrl::fromLocalFile(QString::fromStdString(folder.path() / "new"))});
  }

  Qt::KeyboardModifiers modifiers = Qt::NoModifier;  ///< during drags
  TemporaryFolder folder;
};

TEST_F(WindowDrops, ARowIsMovedToWhereItIsDropped) {
  load(3);
  const std::unique_ptr<QMimeData> data(trackDrag().begin(0));
  EXPECT_TRUE(enter(placeIn(*row(1), 0.5, 0.2), *data));
  EXPECT_EQ(trackDrag().insertionIndex(), 1);
  EXPECT_TRUE(move(placeIn(*row(1), 0.5, 0.8), *data));
  EXPECT_EQ(trackDrag().insertionIndex(), 2);
  EXPECT_TRUE(drop(placeIn(*row(1), 0.5, 0.8), *data));
  EXPECT_EQ(trackDrag().insertionIndex(), -1);
  EXPECT_THAT(order(), ElementsAre(2, 1, 3));
  EXPECT_TRUE(isPlaying());
}

TEST_F(WindowDrops, TheMarkGoesWhenTheDragLeaves) {
  load(3);
  const std::unique_ptr<QMimeData> data(trackDrag().begin(0));
  EXPECT_TRUE(enter(placeIn(*row(1), 0.5, 0.2), *data));
  leave();
  EXPECT_EQ(trackDrag().insertionIndex(), -1);
}

TEST_F(WindowDrops, TextOfOthersIsRefused) {
  load(3);
  QMimeData data;
  data.setText("Prelude");
  EXPECT_FALSE(enter(placeIn(*row(1), 0.5, 0.2), data));
}

TEST_F(WindowDrops, TextOfOthersDuringADragMovesNothing) {
  load(3);
  const std::unique_ptr<QMimeData> ours(trackDrag().begin(0));
  QMimeData data;
  data.setText("Prelude");
  EXPECT_TRUE(enter(placeIn(*row(2), 0.5, 0.8), data));
  drop(placeIn(*row(2), 0.5, 0.8), data);
  EXPECT_THAT(order(), ElementsAre(1, 2, 3));
  EXPECT_FALSE(content.playlistDragSession());
}

TEST_F(WindowDrops, FilesAreLoadedWhereverTheyAreDropped) {
  load(3);
  const auto dropped = folder.write("new/Track 7.wav", "x");
  folder.write("new/deep/Track 8.flac", "x");
  folder.write("new/notes.txt", "x");
  QMimeData data;
  addFiles(data, {QUrl::fromLocalFile(QString::fromStdString(folder.path() / "new"))});
  const QPoint overTheRows = placeIn(*row(1), 0.5, 0.5);
  EXPECT_TRUE(enter(overTheRows, data));
  EXPECT_NE(accessible("Drop to play these instead"), nullptr);
  EXPECT_TRUE(drop(overTheRows, data));
  EXPECT_THAT(order(), ElementsAre(7, 8));
}

TEST_F(WindowDrops, FilesAreInsertedBetweenTheRowsThatTheyAreDroppedBetween) {
  load(3);
  session.seek(4);
  QMimeData data;
  addNewTracks(data);
  const QPoint gap = placeIn(*row(1), 0.5, 0.1);
  EXPECT_TRUE(enter(gap, data));
  EXPECT_TRUE(isShown("Drop to insert these here"));
  EXPECT_TRUE(move(placeIn(*row(1), 0.5, 0.5), data));
  EXPECT_TRUE(isShown("Drop to play these instead"));
  EXPECT_TRUE(move(placeIn(*row(0), 0.5, 0.9), data));
  EXPECT_TRUE(isShown("Drop to insert these here")) << "the other side of the same gap";
  EXPECT_TRUE(drop(gap, data));
  EXPECT_THAT(order(), ElementsAre(1, 7, 8, 2, 3));
  EXPECT_EQ(playingTrack(), 1);
  EXPECT_NEAR(position(), 4, 0.001);
  EXPECT_FALSE(isShown("Drop to insert these here"));
  EXPECT_TRUE(isShown("2 tracks added"));
}

TEST_F(WindowDrops, FilesBelowTheLastRowAreAddedAtTheEnd) {
  window->resize(900, 1000);
  load(2);
  QMimeData data;
  addNewTracks(data);
  const QPoint end = placeIn(*row(1), 0.5, 1.1);
  EXPECT_TRUE(enter(end, data));
  EXPECT_TRUE(isShown("Drop to add these at the end"));
  EXPECT_TRUE(drop(end, data));
  EXPECT_THAT(order(), ElementsAre(1, 2, 7, 8));
}

TEST_F(WindowDrops, FilesAreAddedAtTheEndWithShift) {
  load(3);
  session.seek(4);
  QMimeData data;
  addNewTracks(data);
  const QPoint place = placeIn(*item("Position"), 0.5, 0.5);
  EXPECT_TRUE(enter(place, data));
  EXPECT_TRUE(isShown("Drop to play these instead"));
  modifiers = Qt::ShiftModifier;
  EXPECT_TRUE(move(place, data));
  EXPECT_TRUE(isShown("Drop to add these at the end"));
  EXPECT_TRUE(drop(place, data));
  EXPECT_THAT(order(), ElementsAre(1, 2, 3, 7, 8));
  EXPECT_NEAR(position(), 4, 0.001);
  modifiers = Qt::NoModifier;
  EXPECT_TRUE(enter(place, data));
  EXPECT_TRUE(isShown("Drop to play these instead")) << "Shift is not held any more";
  EXPECT_TRUE(drop(place, data));
  EXPECT_THAT(order(), ElementsAre(7, 8));
}

TEST_F(WindowDrops, FilesWithShiftPlayInAnEmptyWindow) {
  QMimeData data;
  addNewTracks(data);
  modifiers = Qt::ShiftModifier;
  EXPECT_TRUE(enter({300, 300}, data));
  EXPECT_TRUE(drop({300, 300}, data));
  EXPECT_THAT(order(), ElementsAre(7, 8));
}

TEST_F(WindowDrops, FilesThatWaitScrollTheListAtItsEnds) {
  load(40);
  const QQuickItem* list = row(0)->parentItem()->parentItem();
  QMimeData data;
  addNewTracks(data);
  EXPECT_TRUE(enter(placeIn(*list, 0.5, 0.98), data));
  EXPECT_TRUE(waitFor([&] { return list->property("contentY").toDouble() > 58; }));
  leave();
  const double left = list->property("contentY").toDouble();
  advance(std::chrono::seconds(1));
  settle();
  EXPECT_EQ(list->property("contentY").toDouble(), left);
}

TEST_F(WindowDrops, WhatCannotBePlayedIsNamedForAWhile) {
  load(3);
  const auto list = placeIn(*row(1), 0.5, 0.5);
  const auto dropped = folder.write("Fugue.ogg", "x");
  QMimeData data;
  addFiles(data, {QUrl::fromLocalFile(QString::fromStdString(dropped.path()))});
  const auto notice = QStringLiteral("Nothing to play in Fugue.ogg: .ogg is not a format this player plays.");
  EXPECT_TRUE(enter(list, data));
  EXPECT_TRUE(drop(list, data));
  EXPECT_TRUE(isShown(notice));
  EXPECT_THAT(order(), ElementsAre(1, 2, 3)) << "the playlist stays";
  click(notice);
  EXPECT_FALSE(isShown(notice));
  EXPECT_TRUE(enter(list, data));
  EXPECT_TRUE(drop(list, data));
  EXPECT_TRUE(isShown(notice)) << "also the second time";
  load(2);
  folder.write("new/Track 7.wav", "x");
  QMimeData music;
  addFiles(music, {QUrl::fromLocalFile(QString::fromStdString(folder.path() / "new"))});
  EXPECT_TRUE(enter(list, music));
  EXPECT_TRUE(drop(list, music));
  EXPECT_FALSE(isShown(notice));
}

TEST_F(WindowDrops, OnlyFilesOfThisMachineAreWanted) {
  load(3);
  struct Case {
    QList<QUrl> urls;
    bool isWanted;
  };
  const QUrl page("https://example.org/a.wav");
  const QUrl elsewhere("file://nas/music/a.wav");
  const QUrl here("file:///music/a.wav");
  for (const auto& [urls, isWanted] :
       {Case{{page}, false}, {{elsewhere}, false}, {{page, elsewhere}, false}, {{here}, true}, {{page, here}, true}}) {
    QMimeData data;
    addFiles(data, urls);
    const auto name = urls.back().toString().toStdString();
    EXPECT_EQ(enter(placeIn(*row(1), 0.5, 0.5), data), isWanted) << name;
    EXPECT_EQ(isShown("Drop to play these instead"), isWanted) << name;
    leave();
  }
}

TEST_F(WindowDrops, HundredsOfFilesAreLoadedIntoAnEmptyWindow) {
  QList<QUrl> urls;
  for (int number = 0; number < 400; ++number) {
    const auto url = folder.write("Track " + std::to_string(1000 + number) + ".wav", "x");
    urls.push_front(QUrl::fromLocalFile(QString::fromStdString(url.path())));
  }
  QMimeData data;
  addFiles(data, urls);
  EXPECT_TRUE(enter({300, 300}, data));
  EXPECT_TRUE(drop({300, 300}, data));
  ASSERT_EQ(order().size(), 400U);
  EXPECT_EQ(order().front(), 1000);
  EXPECT_EQ(order().back(), 1399);
}

TEST_F(WindowDrops, AWaitingDragScrollsTheListAtItsEnds) {
  load(40);
  const QQuickItem* list = row(0)->parentItem()->parentItem();
  const std::unique_ptr<QMimeData> data(trackDrag().begin(0));
  EXPECT_TRUE(enter(placeIn(*list, 0.5, 0.98), *data));
  EXPECT_TRUE(waitFor([&] { return list->property("contentY").toDouble() > 58; }));
  EXPECT_GT(trackDrag().insertionIndex(), 3) << "the mark follows the rows that pass";
  leave();
}

/// Drags with the X server's own pointer, as a user does: a press, many small moves, and then the given end.
void dragOnXServer(QPoint from, QPoint to, const QStringList& end = {"mouseup", "1"}) {
  QStringList hand{"mousemove", QString::number(from.x()), QString::number(from.y()), "mousedown", "1"};
  constexpr int steps = 12;
  for (int step = 1; step <= steps; ++step) {
    const QPoint place = from + (to - from) * step / steps;
    hand << "sleep"
         << "0.02"
         << "mousemove" << QString::number(place.x()) << QString::number(place.y());
  }
  hand << "sleep"
       << "0.1" << end;
  QProcess::startDetached("xdotool", hand);
}

TEST_F(WindowDrops, ARowIsDraggedByThePointer) {
  load(3);
  const QPoint begin = placeIn(*row(0), 0.3, 0.5);
  const QPoint end = placeIn(*row(2), 0.3, 0.8);
  if (QGuiApplication::platformName() == "xcb") {
    dragOnXServer(window->mapToGlobal(begin), window->mapToGlobal(end));
    EXPECT_TRUE(waitFor([&] {
      runLoop.runUntilIdle();
      return order() == std::vector{2, 3, 1};
    }));
  } else {  // off the screen there are no drags; the platform ends one at once
    QTest::mousePress(window, Qt::LeftButton, Qt::NoModifier, begin);
    for (int step = 1; step <= 4; ++step) QTest::mouseMove(window, begin + (end - begin) * step / 4);
    QTest::mouseRelease(window, Qt::LeftButton, Qt::NoModifier, end);
    settle();
    EXPECT_THAT(order(), ElementsAre(1, 2, 3));
  }
  settle();
  EXPECT_EQ(trackDrag().draggedRow(), -1);
  EXPECT_EQ(playingTrack(), 1) << "a drag is no click";
}

struct DragEnd {
  const char* name;
  bool isOverARow;
  QStringList hand;
};

class WindowDragEnds : public WindowDrops, public testing::WithParamInterface<DragEnd> {
 protected:
  /// Rows with a background of their own, the playing one and the one under the pointer aside.
  [[nodiscard]] std::vector<int> rowsThatAreLit() const {
    std::vector<int> lit;
    for (int index = 0; index < static_cast<int>(order().size()); ++index) {
      const QQuickItem& shown = *row(index);
      const auto color = shown.property("background").value<QQuickItem*>()->property("color").value<QColor>();
      const QPointF pointer = shown.mapFromGlobal(QPointF(QCursor::pos()));
      if (color.alpha() > 0 && !shown.property("current").toBool() && !shown.contains(pointer)) lit.push_back(index);
    }
    return lit;
  }
};

TEST_P(WindowDragEnds, LeaveNoRowLit) {
  ASSERT_EQ(QGuiApplication::platformName(), "xcb") << "off the screen there are no drags";
  load(3);
  content.playTrack(2, 0);
  settle();
  const QPoint begin = window->mapToGlobal(placeIn(*row(0), 0.3, 0.5));
  const QPoint overARow = window->mapToGlobal(placeIn(*row(1), 0.3, 0.2));
  const QPoint outside = window->mapToGlobal(QPoint(300, 20));
  int drags = 0;
  QObject::connect(&trackDrag(), &TrackDragModel::changed, [&] { drags += trackDrag().draggedRow() == 0 ? 1 : 0; });
  const QPoint end = GetParam().isOverARow ? overARow : outside;
  dragOnXServer(begin, end, GetParam().hand);
  ASSERT_TRUE(waitFor([&] {
    runLoop.runUntilIdle();
    return drags > 0 && trackDrag().draggedRow() < 0 && QCursor::pos() == end;
  }));
  settle();
  EXPECT_THAT(rowsThatAreLit(), testing::IsEmpty());
  EXPECT_THAT(order(), ElementsAre(1, 2, 3));
  EXPECT_FALSE(row(0)->property("down").toBool());
}

INSTANTIATE_TEST_SUITE_P(Each, WindowDragEnds,
                         testing::Values(DragEnd{"DroppedWhereItWas", true, {"mouseup", "1"}},
                                         DragEnd{"DroppedOutside", false, {"mouseup", "1"}},
                                         DragEnd{"Escape", false, {"key", "Escape", "mouseup", "1"}},
                                         DragEnd{"EscapeOverARow", true, {"key", "Escape", "mouseup", "1"}}),
                         [](const auto& end) { return std::string(end.param.name); });

}  // namespace
}  // namespace tolvane::test
