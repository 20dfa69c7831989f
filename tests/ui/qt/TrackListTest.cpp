#include <QAbstractItemModelTester>
#include <QtTest/QTest>
#include <cmath>
#include <set>

#include "tests/ui/qt/WindowFixture.h"
#include "ui/playlist/TrackListLayout.h"
#include "ui/qt/models/TrackListModel.h"
#include "ui/qt/items/WaveformView.h"

namespace tolvane::test {
namespace {

/// Rows that the list keeps ready beyond its edges.
constexpr int rowCache = 12;

class WindowTracks : public WindowFixture {
 protected:
  TrackListModel& model() { return *window->property("tracks").value<TrackListModel*>(); }
  [[nodiscard]] QString text(int row, TrackListModel::Role role) {
    return model().data(model().index(row), role).toString();
  }
  QQuickItem* list() { return item("Tracks"); }
  [[nodiscard]] int keyboardRow() { return list()->property("currentIndex").toInt(); }
  [[nodiscard]] double scrolled() {
    return list()->property("contentY").toDouble() - list()->property("originY").toDouble();
  }
  [[nodiscard]] bool isInSight(int index) {
    const double y = row(index)->mapToItem(list(), {0, 0}).y();
    return y >= 0 && y + row(index)->height() <= list()->height();
  }
  void goTo(int row) {
    list()->setProperty("currentIndex", row);
    settle();
  }
};

TEST_F(WindowTracks, AreAWellBehavedModel) {
  const QAbstractItemModelTester tester(&model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
  load(6);
  for (const auto& [from, to] : {std::pair{0, 5}, {5, 0}, {2, 3}, {3, 2}, {4, 1}}) {
    session.moveTrack(from, to);
    settle();
    for (int row = 0; row < 6; ++row) {
      EXPECT_EQ(text(row, TrackListModel::titleRole).toStdString(),
                "Track " + std::to_string(order()[static_cast<std::size_t>(row)]));
      EXPECT_EQ(text(row, TrackListModel::numberRole).toInt(), row + 1);
    }
  }
}

TEST_F(WindowTracks, SayBesideTheirNumberThatNothingIsSaved) {
  load(2);
  EXPECT_FALSE(isShown("· not saved for now"));
  defaults.setLoaded(false);
  session.setOutputVolume(0.5);
  settle();
  EXPECT_TRUE(isShown("2 tracks"));
  EXPECT_TRUE(isShown("· not saved for now"));
  defaults.setLoaded(true);
  host.defaultsAreLoaded();
  settle();
  EXPECT_FALSE(isShown("· not saved for now"));
}

TEST_F(WindowTracks, SayHowLongAllOfThemLastAsFarAsItIsKnown) {
  load(3);
  EXPECT_TRUE(isShown("· 00:30"));
  load(100);
  const QString some = model().property("durationLabel").toString();
  EXPECT_TRUE(some.endsWith(" or more")) << some.toStdString();
  EXPECT_TRUE(isShown("· " + some));
  QMetaObject::invokeMethod(list(), "positionViewAtIndex", Q_ARG(int, 59), Q_ARG(int, 0));
  settle();
  EXPECT_NE(model().property("durationLabel").toString(), some) << "more of them are known";
  load(3);
  session.removeTracks(std::vector{session.playlistTracks().value()[1].id});
  settle();
  EXPECT_TRUE(isShown("· 00:20"));
  session.moveTrack(0, 1);
  settle();
  EXPECT_TRUE(isShown("· 00:20"));
}

TEST_F(WindowTracks, KeepTheirRowWhenTheyMove) {
  load(4);
  const QQuickItem* first = row(0);
  session.moveTrack(0, 2);
  settle();
  EXPECT_EQ(row(2), first);
}

TEST_F(WindowTracks, ShowTheirWaveformsOnceTheseHaveBeenRead) {
  content.loadPlaylist(addTracks(2));
  runLoop.runUntilIdle();
  EXPECT_EQ(text(0, TrackListModel::durationRole), "--:--");
  settle();
  EXPECT_EQ(text(0, TrackListModel::durationRole), "00:10");
  EXPECT_NE(model().data(model().index(0), TrackListModel::samplesRole).value<WaveformSamples>().values, nullptr);
}

TEST_F(WindowTracks, KeepAsMuchRoomForALengthThatIsNotKnown) {
  load(1);
  const std::function<QQuickItem*(QQuickItem*)> find = [&](QQuickItem* in) -> QQuickItem* {
    if (in->property("text").toString() == "00:10") return in;
    for (QQuickItem* child : in->childItems())
      if (QQuickItem* found = find(child)) return found;
    return nullptr;
  };
  QQuickItem* duration = find(row(0));
  ASSERT_NE(duration, nullptr);
  const double known = duration->width();
  for (const auto* text : {"--:--", "11:11", "08:59"}) {
    duration->setProperty("text", text);
    settle();
    EXPECT_EQ(duration->width(), known) << text;
  }
}

TEST_F(WindowTracks, AskForTheWaveformsOfTheRowsThatAreShownAndNoOthers) {
  load(100);
  EXPECT_NE(content.waveforms().samples(track(1)), nullptr);
  EXPECT_EQ(content.waveforms().samples(track(60)), nullptr);
  QMetaObject::invokeMethod(list(), "positionViewAtIndex", Q_ARG(int, 59), Q_ARG(int, 0));
  settle();
  EXPECT_NE(content.waveforms().samples(track(60)), nullptr);
  EXPECT_EQ(content.waveforms().samples(track(40)), nullptr) << "passed over unseen";
}

TEST_F(WindowTracks, AHundredThousandNeedNoMoreRowsThanFit) {
  std::vector<FileURL> urls(100'000);
  for (std::size_t i = 0; i < urls.size(); ++i) urls[i] = track(static_cast<int>(i + 1));
  addTracks(1);
  content.loadPlaylist(urls);
  settle();
  EXPECT_NE(accessible("100000 tracks"), nullptr);
  QQuickItem* view = list();
  for (double y = 0; y < 5'000'000; y += 250'000) {
    view->setProperty("contentY", y);
    settle();
  }
  const auto* contentItem = view->property("contentItem").value<QQuickItem*>();
  int rows = 0;
  for (const QQuickItem* child : contentItem->childItems()) rows += child->inherits("QQuickItemDelegate") ? 1 : 0;
  EXPECT_GE(rows, 3) << "rows in sight";
  EXPECT_LT(rows, 40);
}

class WindowScrolling : public WindowTracks, public testing::WithParamInterface<int> {
 protected:
  /// Files of a hundredth of a second for the first ones; the others are never read.
  void loadBriefTracks(int count, int withFiles) {
    SimulatedPCMFile brief;
    brief.format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
    brief.data.resize(std::size_t{441} * 4, std::byte{0x10});
    std::vector<FileURL> urls;
    for (int number = 1; number <= count; ++number) urls.push_back(track(number));
    for (int number = 1; number <= withFiles; ++number) files.add(track(number), brief);
    content.loadPlaylist(urls);
    settle();
  }
  void collectRows(std::set<const QQuickItem*>& rows) {
    for (const QQuickItem* child : list()->property("contentItem").value<QQuickItem*>()->childItems())
      if (child->inherits("QQuickItemDelegate")) rows.insert(child);
  }
};

TEST_P(WindowScrolling, CostsTheRowsThatComeInSightAndNothingForTheOthers) {
  constexpr int frames = 40;
  constexpr int rowsAFrame = 3;
  loadBriefTracks(GetParam(), 200);
  const int inSight = static_cast<int>(std::ceil(list()->height() / trackRowHeight)) + 1;
  std::set<const QQuickItem*> everMade;
  for (int frame = 0; frame <= frames; ++frame) {
    list()->setProperty("contentY", frame * rowsAFrame * trackRowHeight);
    settle();
    collectRows(everMade);
  }
  int read = 0;
  for (int number = 1; number <= 200; ++number) read += content.waveforms().samples(track(number)) != nullptr ? 1 : 0;
  const int passed = frames * rowsAFrame + inSight;
  EXPECT_GE(read, frames * rowsAFrame);
  EXPECT_LE(read, passed + rowCache) << "no waveform is read that was not passed";
  EXPECT_GE(everMade.size(), static_cast<std::size_t>(inSight));
  EXPECT_LE(everMade.size(), static_cast<std::size_t>(inSight + rowsAFrame + rowCache)) << "rows are used again";
}

INSTANTIATE_TEST_SUITE_P(OfAnyLength, WindowScrolling, testing::Values(1'000, 100'000),
                         testing::PrintToStringParamName());

TEST_F(WindowTracks, ShowAsCurrentTheOneThatIsAlsoWhileTheyAreMoved) {
  load(4);
  content.playTrack(1, 0);
  settle();
  int looks = 0;
  const auto look = [&] {
    for (int index = 0; index < 4; ++index) {
      const bool isPlaying = proxy.state().tracks[static_cast<std::size_t>(index)].url == track(2);
      EXPECT_EQ(row(index)->property("current").toBool(), isPlaying) << "row " << index;
      ++looks;
    }
  };
  for (const auto& [from, to] : {std::pair{1, 3}, {0, 3}, {2, 0}, {3, 1}}) {
    session.moveTrack(from, to);
    runLoop.runUntilIdle();
    window->grabWindow();  // a frame before the window's next turn
    look();
    settle();
    look();
  }
  EXPECT_EQ(looks, 32);
}

TEST_F(WindowTracks, LookLikeTheCurrentOneOnlyWhenTheyAreIt) {
  load(3);
  const auto ground = [this](int index) {
    return row(index)->property("background").value<QQuickItem*>()->property("color").value<QColor>();
  };
  const QPoint place = placeIn(*row(1), 0.3, 0.5);
  QTest::mousePress(window, Qt::LeftButton, Qt::NoModifier, place);
  settle();
  EXPECT_LT(ground(1).alphaF(), 0.65F) << "pressed";
  EXPECT_GT(ground(1).alphaF(), 0.0F);
  EXPECT_EQ(ground(0).alphaF(), 1.0F) << "current";
  QTest::mouseRelease(window, Qt::LeftButton, Qt::NoModifier, place);
}

TEST_F(WindowTracks, HaveAScrollBarOnlyWhereTheyDoNotFit) {
  const auto isBarShown = [this] {
    for (const QQuickItem* child : list()->childItems())
      if (child->inherits("QQuickScrollBar")) return child->isVisible();
    throw std::runtime_error("There is no scroll bar.");
  };
  load(20);
  EXPECT_TRUE(isBarShown());
  load(2);
  EXPECT_FALSE(isBarShown());
}

TEST_F(WindowTracks, BeginAtTheTopWhenTheyAreNew) {
  load(50);
  goTo(40);
  ASSERT_GT(scrolled(), 0);
  load(60);
  EXPECT_EQ(scrolled(), 0);
  EXPECT_EQ(keyboardRow(), 0);
}

TEST_F(WindowTracks, BeginWhereTheListenerWasAfterARestart) {
  load(60);
  content.playTrack(45, 0);
  openWindow();
  EXPECT_TRUE(isInSight(45));
  EXPECT_EQ(keyboardRow(), 45);
}

TEST_F(WindowTracks, BringTheNextOneToTheKeyboardThatIsOnThePlayingOne) {
  load(50);
  content.playTrack(20, 0);
  settle();
  EXPECT_EQ(keyboardRow(), 20);
  EXPECT_TRUE(isInSight(20));
  session.moveTrack(20, 21);
  settle();
  EXPECT_EQ(keyboardRow(), 21);
  content.playTrack(22, 0);
  settle();
  EXPECT_EQ(keyboardRow(), 22);
}

TEST_F(WindowTracks, LeaveTheKeyboardAloneThatHasGoneToAnotherOne) {
  load(50);
  goTo(30);
  content.playTrack(1, 0);
  settle();
  EXPECT_EQ(keyboardRow(), 30);
  EXPECT_TRUE(isInSight(30));
  // A move puts the keyboard's row where the playing one was.
  goTo(2);
  session.moveTrack(0, 40);
  settle();
  EXPECT_EQ(currentIndex(), 0);
  EXPECT_EQ(keyboardRow(), 1) << "still on the same track";
}

TEST_F(WindowTracks, StayWhereTheListenerHasScrolledTo) {
  load(50);
  list()->setProperty("contentY", 30 * trackRowHeight);
  settle();
  const double before = scrolled();
  content.playTrack(1, 0);
  settle();
  EXPECT_EQ(scrolled(), before);
  list()->setProperty("contentY", 0);
  settle();
  content.playTrack(4, 0);
  settle();
  EXPECT_EQ(keyboardRow(), 4) << "followed again where the playing one was in sight";
  EXPECT_TRUE(isInSight(4));
}

TEST_F(WindowTracks, StandStillUnderAClick) {
  load(50);
  content.playTrack(31, 0);
  list()->setProperty("contentY", 30 * trackRowHeight);
  settle();
  const double before = scrolled();
  ASSERT_TRUE(isInSight(31));
  ASSERT_TRUE(isInSight(30));
  clickAt(placeIn(*row(30), 0.3, 0.5));
  EXPECT_EQ(currentIndex(), 30);
  EXPECT_EQ(scrolled(), before);
}

TEST_F(WindowTracks, LeaveTheKeyboardWhereItIsInAWindowInTheBackground) {
  load(50);
  list()->forceActiveFocus(Qt::TabFocusReason);
  goTo(1);
  goToTheBackground();
  ASSERT_FALSE(list()->hasActiveFocus());
  content.playTrack(2, 0);
  settle();
  EXPECT_EQ(keyboardRow(), 1);
}

TEST_F(WindowTracks, TakeTheKeyboardAlongWhenOneIsClicked) {
  load(5);
  goTo(1);
  clickAt(placeIn(*row(2), 0.3, 0.5));
  EXPECT_EQ(keyboardRow(), 2);
}

TEST_F(WindowTracks, HaveTheKeyboardAfterAClickAndShowItWithTheFirstKey) {
  load(8);
  const auto showsRing = [this](int index) { return row(index)->property("focusShown").toBool(); };
  clickAt(placeIn(*row(1), 0.3, 0.5));
  EXPECT_TRUE(list()->hasActiveFocus());
  EXPECT_FALSE(showsRing(1));
  key(Qt::Key_Down);
  EXPECT_EQ(keyboardRow(), 2);
  EXPECT_TRUE(showsRing(2));
  EXPECT_EQ(currentIndex(), 1);
  key(Qt::Key_Return);
  EXPECT_EQ(currentIndex(), 2);
}

TEST_F(WindowTracks, TurnByAPageAndKeepTheirPlaceInSight) {
  load(40);
  list()->forceActiveFocus(Qt::TabFocusReason);
  const int page = static_cast<int>(list()->height() / trackRowHeight);
  ASSERT_GE(page, 2);
  key(Qt::Key_PageDown);
  EXPECT_EQ(keyboardRow(), page);
  EXPECT_EQ(scrolled(), page * trackRowHeight);
  key(Qt::Key_PageDown);
  EXPECT_EQ(keyboardRow(), 2 * page);
  EXPECT_EQ(scrolled(), 2 * page * trackRowHeight);
  key(Qt::Key_PageUp);
  EXPECT_EQ(keyboardRow(), page);
  EXPECT_EQ(scrolled(), page * trackRowHeight);
  for (int press = 0; press < 40; ++press) key(Qt::Key_PageDown);
  EXPECT_EQ(keyboardRow(), 39);
  EXPECT_TRUE(isInSight(39));
}

TEST_F(WindowTracks, BringTheRowOfTheKeyboardInSightWhenTheyGetIt) {
  load(40);
  goTo(5);
  list()->setProperty("contentY", 25 * trackRowHeight);
  settle();
  list()->forceActiveFocus(Qt::TabFocusReason);
  settle();
  EXPECT_TRUE(isInSight(5));
}

TEST_F(WindowTracks, ShowTheKeyboardAroundAllWhenItsRowIsScrolledAway) {
  load(40);
  list()->forceActiveFocus(Qt::TabFocusReason);
  const auto rings = [this] {
    int shown = 0;
    for (const QQuickItem* sibling : list()->parentItem()->childItems())
      if (QByteArray(sibling->metaObject()->className()).startsWith("FocusRing") && sibling->isVisible()) ++shown;
    return shown;
  };
  EXPECT_EQ(rings(), 0);
  list()->setProperty("contentY", 25 * trackRowHeight);
  settle();
  EXPECT_EQ(rings(), 1);
}

TEST_F(WindowTracks, ShowBarsThatStandOutFromWhatIsBehindThem) {
  load(3);
  const QImage picture = window->grabWindow();
  const auto luminance = [](const QColor& color) {
    const auto linear = [](float c) { return c <= 0.04045F ? c / 12.92F : std::pow((c + 0.055F) / 1.055F, 2.4F); };
    return 0.2126F * linear(color.redF()) + 0.7152F * linear(color.greenF()) + 0.0722F * linear(color.blueF());
  };
  int waveforms = 0;
  const std::function<void(const QQuickItem&)> look = [&](const QQuickItem& in) {
    if (in.inherits("tolvane::WaveformView") && in.isVisible()) {
      const QColor behind = picture.pixelColor(placeIn(in, 0.5, 0) - QPoint(0, 3));
      const auto bar = in.property("inactiveColor").value<QColor>();
      const auto blend = [share = bar.alphaF()](float over, float under) { return over * share + under * (1 - share); };
      const QColor seen = QColor::fromRgbF(blend(bar.redF(), behind.redF()), blend(bar.greenF(), behind.greenF()),
                                           blend(bar.blueF(), behind.blueF()));
      const float contrast = (luminance(seen) + 0.05F) / (luminance(behind) + 0.05F);
      EXPECT_GE(contrast, 3) << "on " << behind.name().toStdString();
      ++waveforms;
    }
    for (const QQuickItem* child : in.childItems()) look(*child);
  };
  look(*window->contentItem());
  EXPECT_EQ(waveforms, 4) << "one above, three in the list";
}

TEST_F(WindowTracks, DrawTheBarsThatTheirProgressAsksFor) {
  WaveformView view;
  view.setSize({100, 30});
  view.setSamples({std::make_shared<const std::vector<double>>(std::vector{0.1, 1.0})});
  view.setProgress(0.5);
  const auto bars = view.bars();
  ASSERT_EQ(bars.size(), 25U);
  EXPECT_TRUE(bars[11].isActive);
  EXPECT_FALSE(bars[13].isActive);
  EXPECT_LT(bars[0].height, bars[24].height);
}

}  // namespace
}  // namespace tolvane::test
