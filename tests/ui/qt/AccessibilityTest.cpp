#include <QtTest/QTest>
#include <set>

#include "tests/ui/qt/WindowFixture.h"

namespace tolvane::test {
namespace {

using testing::Contains;
using testing::ElementsAre;

class WindowAccessibility : public WindowFixture {
 protected:
  [[nodiscard]] static std::string nameOf(const QAccessibleInterface& control) {
    return control.text(QAccessible::Name).toStdString();
  }

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
      names.push_back(control != nullptr ? nameOf(*control) : "nothing");
    }
    ADD_FAILURE() << "Tab does not come back to where it began";
    return names;
  }
};

void expectNamesAndRoles(const QList<QAccessibleInterface*>& controls) {
  for (const auto* control : controls) {
    const auto role = control->role();
    const auto place = QStringLiteral("%1 (%2)").arg(control->text(QAccessible::Name)).arg(role).toStdString();
    EXPECT_NE(role, QAccessible::NoRole) << place;
    const bool isAnswering = control->state().focusable || role == QAccessible::Button || role == QAccessible::Slider ||
                             role == QAccessible::ListItem || role == QAccessible::ComboBox ||
                             role == QAccessible::CheckBox || role == QAccessible::StaticText;
    if (isAnswering) {
      EXPECT_FALSE(control->text(QAccessible::Name).isEmpty()) << "role " << role;
    }
  }
}

TEST_F(WindowAccessibility, EveryControlOfAnEmptyWindowHasANameAndARole) {
  const auto all = controls();
  EXPECT_GT(all.size(), 15);
  expectNamesAndRoles(all);
}

TEST_F(WindowAccessibility, EveryControlOfAPlayingWindowHasANameAndARole) {
  load(3);
  const auto all = controls();
  expectNamesAndRoles(all);
  std::set<std::string> names;
  for (const auto* control : all) names.insert(nameOf(*control));
  for (const char* name :
       {"Minimise", "Zoom", "Close", "Position", "Previous", "Pause", "Next", "Stop and release output device",
        "Open a folder", "Open files", "Tracks", "Track 1, track 1, 00:10", "Output device", "Exclusive Access",
        "Volume", "Balance", "Volume 100%, reset to 100%", "Balance Center, reset to Center", "BIT-PERFECT"})
    EXPECT_THAT(names, Contains(name));
}

TEST_F(WindowAccessibility, TabReachesEveryControlAndComesBack) {
  load(3);
  click("Next");
  EXPECT_THAT(tabOrder(),
              ElementsAre("Minimise", "Zoom", "Close", "Position", "Previous", "Pause", "Next",
                          "Stop and release output device", "Open a folder", "Open files", "Track 2, track 2, 00:10",
                          "Output device", "Exclusive Access", "Volume 100%, reset to 100%", "Volume",
                          "Balance Center, reset to Center", "Balance"));
}

TEST_F(WindowAccessibility, TabGoesBackwardsToo) {
  load(3);
  click("Next");
  EXPECT_EQ(tabOrder(Qt::ShiftModifier).size(), 17U);
}

TEST_F(WindowAccessibility, TheListIsUsedByKeyboard) {
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

TEST_F(WindowAccessibility, SpacePausesAndKeepsToAFocusedButton) {
  load(3);
  key(Qt::Key_Space);
  EXPECT_FALSE(isPlaying());
  key(Qt::Key_Space);
  EXPECT_TRUE(isPlaying());
  item("Tracks")->forceActiveFocus(Qt::TabFocusReason);
  key(Qt::Key_Space);
  EXPECT_FALSE(isPlaying());
  key(Qt::Key_Space);
  item("Next")->forceActiveFocus(Qt::TabFocusReason);
  key(Qt::Key_Space);
  EXPECT_EQ(currentIndex(), 1);
  EXPECT_TRUE(isPlaying());
}

TEST_F(WindowAccessibility, ControlWithTheArrowsSkips) {
  load(3);
  key(Qt::Key_Right, Qt::ControlModifier);
  EXPECT_EQ(currentIndex(), 1);
  key(Qt::Key_Left, Qt::ControlModifier);
  EXPECT_EQ(currentIndex(), 0);
}

TEST_F(WindowAccessibility, ThePositionIsChosenByKeyboard) {
  load(1);
  item("Position")->forceActiveFocus(Qt::TabFocusReason);
  key(Qt::Key_Right);
  EXPECT_NEAR(position(), trackSeconds * 0.02, 1e-3);
  key(Qt::Key_Left);
  EXPECT_NEAR(position(), 0, 1e-3);
}

TEST_F(WindowAccessibility, ARowIsPlayedByAssistiveTechnology) {
  load(3);
  accessible("Track 3, track 3, 00:10")->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
  settle();
  EXPECT_EQ(currentIndex(), 2);
}

}  // namespace
}  // namespace tolvane::test
