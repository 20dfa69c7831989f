#include <QtTest/QTest>

#include "tests/ui/qt/WindowFixture.h"
#include "ui/qt/models/SourceModel.h"

namespace tolvane::test {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

class WindowTransport : public WindowFixture {};

TEST_F(WindowTransport, ShowsThatThereIsNothingToPlay) {
  EXPECT_NE(accessible("No track selected"), nullptr);
  EXPECT_NE(accessible("-- / --"), nullptr);
  EXPECT_NE(accessible("Open a file, a folder, or drag audio into the window"), nullptr);
  EXPECT_FALSE(item("Play")->isEnabled());
}

TEST_F(WindowTransport, PlaysARowThatIsClicked) {
  load(4);
  clickAt(placeIn(*row(2), 0.3, 0.5));
  EXPECT_EQ(currentIndex(), 2);
  EXPECT_TRUE(isPlaying());
  EXPECT_NE(accessible("03 / 04"), nullptr);
}

TEST_F(WindowTransport, KeepsNoTimeWhileItIsNotOnTheScreen) {
  load(1);
  ASSERT_TRUE(isPlaying());
  const auto timers = runLoop.pendingTimerCount();
  for (const bool isMinimised : {false, true}) {
    isMinimised ? window->showMinimized() : window->hide();
    advance(std::chrono::seconds(2));
    EXPECT_LT(runLoop.pendingTimerCount(), timers);
    const double before = proxy.state().position;
    window->showNormal();
    EXPECT_EQ(runLoop.pendingTimerCount(), timers);
    EXPECT_NEAR(proxy.state().position, before + 2, 0.06) << "as soon as it is there";
  }
}

TEST_F(WindowTransport, SeeksWhereARowsWaveformIsClicked) {
  load(4);
  QQuickItem* target = row(1);
  QQuickItem* waveform = nullptr;
  for (QQuickItem* child : target->property("contentItem").value<QQuickItem*>()->childItems())
    if (child->inherits("tolvane::WaveformView")) waveform = child;
  ASSERT_NE(waveform, nullptr);
  clickAt(placeIn(*waveform, 0.5, 0.5));
  EXPECT_EQ(currentIndex(), 1);
  EXPECT_NEAR(position(), trackSeconds / 2, trackSeconds / waveform->width());
}

TEST_F(WindowTransport, SeeksWhereThePlayingTracksWaveformIsClicked) {
  load(2);
  QQuickItem* waveform = item("Position");
  clickAt(placeIn(*waveform, 0.75, 0.5));
  EXPECT_NEAR(position(), trackSeconds * 0.75, trackSeconds / waveform->width());
  EXPECT_EQ(currentIndex(), 0);
}

QQuickItem* timeMark(QQuickItem* in) {
  if (in->objectName() == "timeMark") return in;
  for (QQuickItem* child : in->childItems())
    if (QQuickItem* found = timeMark(child)) return found;
  return nullptr;
}

TEST_F(WindowTransport, MarksTheTimeUnderThePointerInBothWaveforms) {
  load(2);
  for (QQuickItem* waveform : {item("Position"), row(1)}) {
    QQuickItem* mark = timeMark(waveform);
    ASSERT_NE(mark, nullptr);
    EXPECT_FALSE(mark->isVisible());
    for (const auto& [place, time] : {std::pair{0.31, "00:03"}, {0.72, "00:07"}, {0.98, "00:09"}}) {
      QTest::mouseMove(window, placeIn(*mark, place, 0.5));
      settle();
      EXPECT_TRUE(mark->isVisible());
      EXPECT_EQ(mark->property("time").toString().toStdString(), time);
      EXPECT_NEAR(mark->property("place").toDouble(), place, 1 / mark->width());
    }
    QTest::mouseMove(window, QPoint(300, 20));
    settle();
    EXPECT_FALSE(mark->isVisible());
  }
}

TEST_F(WindowTransport, MovesHairlineAndTimeWithAPointerThatScrubs) {
  load(1);
  QQuickItem* waveform = item("Position");
  QQuickItem* mark = timeMark(waveform);
  ASSERT_NE(mark, nullptr);
  QTest::mousePress(window, Qt::LeftButton, Qt::NoModifier, placeIn(*waveform, 0.2, 0.5));
  for (const auto& [place, time] : {std::pair{0.31, "00:03"}, {0.55, "00:05"}, {0.82, "00:08"}}) {
    const QPoint hand = placeIn(*waveform, place, 0.5);
    QMouseEvent move(QEvent::MouseMove, hand, window->mapToGlobal(hand), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window, &move);
    settle();
    EXPECT_TRUE(mark->isVisible());
    EXPECT_NEAR(mark->property("place").toDouble(), place, 1 / waveform->width());
    EXPECT_TRUE(isShown(QString::fromLatin1(time))) << "the clock below";
    EXPECT_LT(position(), 1) << "nothing is chosen yet";
  }
  QTest::mouseRelease(window, Qt::LeftButton, Qt::NoModifier, placeIn(*waveform, 0.82, 0.5));
  settle();
  EXPECT_NEAR(position(), trackSeconds * 0.82, 2 * trackSeconds / waveform->width());
}

TEST_F(WindowTransport, ShowsATrackThatIsStillBeingRead) {
  load(3);
  runLoop.advance(std::chrono::seconds(4));
  settle();
  ASSERT_TRUE(isShown("00:04"));
  readsLater = true;
  clickAt(placeIn(*row(2), 0.3, 0.5));
  EXPECT_TRUE(isShown("03 / 03"));
  EXPECT_EQ(item("Position")->property("positionText").toString(), "00:00");
  EXPECT_TRUE(isShown("CHECKING"));
  EXPECT_TRUE(isShown("Pause")) << "it will play";
  runLoop.advance(std::chrono::seconds(3));
  settle();
  EXPECT_EQ(item("Position")->property("positionText").toString(), "00:00") << "no clock runs";
  EXPECT_TRUE(waitFor([&] { return item("Position")->property("isPreparing").toBool(); })) << "after a moment";
  finishReading();
  EXPECT_FALSE(item("Position")->property("isPreparing").toBool());
  EXPECT_TRUE(isPlaying());
  EXPECT_FALSE(isShown("CHECKING"));
}

TEST_F(WindowTransport, StopsATrackThatIsStillBeingRead) {
  load(2);
  readsLater = true;
  click("Next");
  click("Stop");
  EXPECT_TRUE(isShown("READY"));
  finishReading();
  EXPECT_FALSE(isPlaying());
  EXPECT_TRUE(isShown("02 / 02"));
}

TEST_F(WindowTransport, KeepsATrackFromStartingThatIsPausedWhileItIsRead) {
  load(2);
  readsLater = true;
  click("Next");
  click("Pause");
  finishReading();
  EXPECT_FALSE(isPlaying());
  EXPECT_TRUE(session.player().isPaused().value());
  click("Play");
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(currentIndex(), 1);
}

TEST_F(WindowTransport, FollowsItsButtons) {
  load(3);
  click("Next");
  EXPECT_EQ(currentIndex(), 1);
  click("Previous");
  EXPECT_EQ(currentIndex(), 0);
  click("Pause");
  EXPECT_FALSE(isPlaying());
  click("Play");
  EXPECT_TRUE(isPlaying());
  click("Stop");
  EXPECT_FALSE(isPlaying());
  EXPECT_FALSE(session.player().isPaused().value());
}

TEST_F(WindowTransport, OffersOnlyWhatCanBeDone) {
  load(2);
  EXPECT_TRUE(item("Next")->isEnabled());
  click("Next");
  EXPECT_FALSE(item("Next")->isEnabled());
  click("Stop");
  EXPECT_FALSE(item("Stop")->isEnabled());
}

TEST_F(WindowTransport, ShowsTheTimeThatHasPassed) {
  load(1);
  runLoop.advance(std::chrono::milliseconds(3500));
  settle();
  EXPECT_NE(accessible("00:03"), nullptr);
  EXPECT_NE(accessible("00:10"), nullptr);
}

TEST_F(WindowTransport, OpensWhatTheDialogsReturn) {
  load(1);
  auto& source = *window->property("source").value<SourceModel*>();
  source.openFolder(QUrl("file:///nowhere"), false);
  EXPECT_THAT(background, SizeIs(1)) << "the folder is being searched";
  settle();
  EXPECT_EQ(order().size(), 1U) << "nothing was found: the playlist stays";
  source.openFiles({QUrl("file:///music/Track 2.wav"), QUrl("file:///music/notes.txt")}, false);
  settle();
  EXPECT_THAT(order(), ElementsAre(2));
}

}  // namespace
}  // namespace tolvane::test
