#include <QtTest/QTest>

#include "tests/ui/qt/WindowFixture.h"

namespace tolvane::test {
namespace {

using testing::ElementsAre;

class WindowKeyboard : public WindowFixture {
 protected:
  /// The names of what Tab reaches, from the first to where it begins again.
  std::vector<std::string> tabOrder(Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    std::vector<std::string> names;
    const QQuickItem* first = nullptr;
    for (int press = 0; press < 40; ++press) {
      key(modifiers == Qt::ShiftModifier ? Qt::Key_Backtab : Qt::Key_Tab, modifiers);
      QQuickItem* focused = window->activeFocusItem();
      if (focused == first) return names;
      if (first == nullptr) first = focused;
      auto* control = QAccessible::queryAccessibleInterface(focused);
      names.push_back(control != nullptr ? control->text(QAccessible::Name).toStdString() : "nothing");
    }
    ADD_FAILURE() << "Tab does not come back to where it began";
    return names;
  }
};

TEST_F(WindowKeyboard, TabReachesEveryControlAndComesBack) {
  load(3);
  click("Next");
  EXPECT_THAT(
      tabOrder(),
      ElementsAre("Position", "Previous", "Pause", "Stop", "Next", "Find a track", "Save the list as a playlist",
                  "Open a folder", "Open files", "Track 2, track 2, 00:10", "Output device", "Exclusive Access",
                  "Stop and release output device", "Volume 100%, reset to 100%", "Volume",
                  "Balance Center, reset to Center", "Balance", "BIT-PERFECT", "Minimise", "Zoom", "Close"));
}

TEST_F(WindowKeyboard, TabGoesBackwardsToo) {
  load(3);
  click("Next");
  EXPECT_EQ(tabOrder(Qt::ShiftModifier).size(), 21U);
}

TEST_F(WindowKeyboard, TheListIsUsedByKeyboard) {
  load(5);
  item("Tracks")->forceActiveFocus(Qt::TabFocusReason);
  key(Qt::Key_Down);
  key(Qt::Key_Down);
  key(Qt::Key_Return);
  EXPECT_EQ(currentIndex(), 2);
  key(Qt::Key_Up, Qt::AltModifier);
  EXPECT_THAT(order(), ElementsAre(1, 3, 2, 4, 5));
  EXPECT_EQ(currentIndex(), 1) << "the playing track has moved along";
  key(Qt::Key_End);
  key(Qt::Key_Return);
  EXPECT_EQ(currentIndex(), 4);
  key(Qt::Key_Home);
  key(Qt::Key_Up, Qt::AltModifier);
  EXPECT_THAT(order(), ElementsAre(1, 3, 2, 4, 5)) << "there is nothing above the first";
}

TEST_F(WindowKeyboard, SpacePausesAndKeepsToAFocusedButton) {
  load(3);
  key(Qt::Key_Space);
  EXPECT_FALSE(isPlaying());
  key(Qt::Key_Space);
  EXPECT_TRUE(isPlaying());
  item("Tracks")->forceActiveFocus(Qt::TabFocusReason);
  key(Qt::Key_Space);
  EXPECT_FALSE(isPlaying());
  key(Qt::Key_Space);
  for (const char* slider : {"Position", "Volume", "Balance"}) {
    item(slider)->forceActiveFocus(Qt::TabFocusReason);
    const bool before = isPlaying();
    key(Qt::Key_Space);
    EXPECT_NE(isPlaying(), before) << slider << " has no use for Space";
  }
  item("Next")->forceActiveFocus(Qt::TabFocusReason);
  key(Qt::Key_Space);
  EXPECT_EQ(currentIndex(), 1);
  EXPECT_TRUE(isPlaying());
}

TEST_F(WindowKeyboard, TheKeyboardStaysWhereTheMusicWasStopped) {
  load(1);
  item("Stop and release output device")->forceActiveFocus(Qt::TabFocusReason);
  key(Qt::Key_Space);
  EXPECT_FALSE(isPlaying());
  EXPECT_EQ(window->activeFocusItem(), item("Exclusive Access"));
}

TEST_F(WindowKeyboard, TheKeyboardGoesToThePlayButtonFromOneThatGoesOff) {
  load(2);
  item("Next")->forceActiveFocus(Qt::TabFocusReason);
  key(Qt::Key_Space);
  EXPECT_EQ(currentIndex(), 1);
  EXPECT_EQ(window->activeFocusItem(), item("Pause"));
  item("Stop")->forceActiveFocus(Qt::TabFocusReason);
  key(Qt::Key_Space);
  EXPECT_FALSE(isPlaying());
  EXPECT_EQ(window->activeFocusItem(), item("Play"));
  key(Qt::Key_Space);
  EXPECT_TRUE(isPlaying());
}

TEST_F(WindowKeyboard, AButtonThatGoesWithTheMusicLeavesTheKeyboardToItsNeighbour) {
  load(2);
  runLoop.advance(std::chrono::seconds(2));
  item("Stop and release output device")->forceActiveFocus(Qt::TabFocusReason);
  session.togglePausePlayback();  // as a media key does
  settle();
  EXPECT_EQ(window->activeFocusItem(), item("Exclusive Access"));
  EXPECT_NEAR(position(), 2, 0.1) << "still paused there";
}

TEST_F(WindowKeyboard, TheKeyboardGoesFromTheEmptyWindowsButtonsToTheTracksThatCome) {
  item("Open a folder")->forceActiveFocus(Qt::TabFocusReason);
  load(3);
  EXPECT_TRUE(item("Tracks")->hasActiveFocus());
  key(Qt::Key_Space);
  EXPECT_FALSE(isPlaying());
}

/// As when a dialog has asked for them.
TEST_F(WindowKeyboard, TheKeyboardGoesToTheTracksThatComeWhileAnotherWindowHasIt) {
  item("Open files")->forceActiveFocus(Qt::TabFocusReason);
  goToTheBackground();
  load(3);
  comeToTheFront();
  EXPECT_TRUE(item("Tracks")->hasActiveFocus());
}

TEST_F(WindowKeyboard, ControlWithTheArrowsSkips) {
  load(3);
  key(Qt::Key_Right, Qt::ControlModifier);
  EXPECT_EQ(currentIndex(), 1);
  key(Qt::Key_Left, Qt::ControlModifier);
  EXPECT_EQ(currentIndex(), 0);
}

TEST_F(WindowKeyboard, ThePositionIsChosenByKeyboard) {
  load(1);
  for (const char* place : {"Position", "Tracks", "Next"}) {
    if (item(place)->isEnabled()) item(place)->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Right);
    EXPECT_NEAR(position(), 5, 1e-3) << place;
    key(Qt::Key_Right, Qt::ShiftModifier);
    EXPECT_NEAR(position(), 6, 1e-3);
    key(Qt::Key_Left, Qt::ShiftModifier);
    key(Qt::Key_Left);
    EXPECT_NEAR(position(), 0, 1e-3);
    key(Qt::Key_Left);
    EXPECT_NEAR(position(), 0, 1e-3) << "the beginning";
  }
}

TEST_F(WindowKeyboard, ReturnPressesWhatTabReaches) {
  load(3);
  const auto pressReturn = [this](const QString& name) {
    item(name)->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Return);
  };
  pressReturn("Next");
  EXPECT_EQ(currentIndex(), 1);
  pressReturn("Pause");
  EXPECT_FALSE(isPlaying());
  pressReturn("Play");
  EXPECT_TRUE(isPlaying());
  proxy.setOutputVolume(0.5);
  settle();
  pressReturn("Volume 50%, reset to 100%");
  EXPECT_TRUE(isShown("Volume 100%, reset to 100%"));
  pressReturn("Exclusive Access");
  EXPECT_TRUE(proxy.state().isExclusiveAccessEnabled);
  pressReturn("Open files");
  EXPECT_TRUE(window->findChild<QObject*>("fileDialog")->property("visible").toBool());
  QMetaObject::invokeMethod(window->findChild<QObject*>("fileDialog"), "reject");
  returnFromDialog();
  pressReturn("Output device");
  EXPECT_TRUE(item("Output device")->property("popup").value<QObject*>()->property("visible").toBool());
  key(Qt::Key_Escape);
  pressReturn("Stop and release output device");
  EXPECT_FALSE(isPlaying());
}

TEST_F(WindowKeyboard, TheFirstTabComesToTheMusic) {
  load(2);
  key(Qt::Key_Tab);
  EXPECT_EQ(window->activeFocusItem(), item("Position"));
}

}  // namespace
}  // namespace tolvane::test
