#include <QSignalSpy>
#include <QtTest/QTest>
#include <algorithm>
#include <cmath>
#include <iterator>
#include <set>

#include "tests/ui/qt/WindowFixture.h"

namespace tolvane::test {
namespace {

using testing::Contains;
using testing::HasSubstr;

class WindowAccessibility : public WindowFixture {
 protected:
  [[nodiscard]] static std::string nameOf(const QAccessibleInterface& control) {
    return control.text(QAccessible::Name).toStdString();
  }

  /// As a screen reader does it.
  void act(QAccessibleInterface* control, const QString& action) {
    ASSERT_NE(control, nullptr);
    ASSERT_NE(control->actionInterface(), nullptr);
    EXPECT_TRUE(control->actionInterface()->actionNames().contains(action)) << nameOf(*control);
    control->actionInterface()->doAction(action);
    settle();
  }
  void press(const QString& name) { act(accessible(name), QAccessibleActionInterface::pressAction()); }
};

std::vector<QQuickItem*> shownItems(QQuickItem* from) {
  std::vector<QQuickItem*> items;
  if (!from->isVisible()) return items;
  items.push_back(from);
  for (QQuickItem* child : from->childItems()) std::ranges::move(shownItems(child), std::back_inserter(items));
  return items;
}

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
  for (const char* name : {"Minimise",
                           "Zoom",
                           "Close",
                           "Position",
                           "Previous",
                           "Pause",
                           "Stop",
                           "Next",
                           "Find a track",
                           "Save the list as a playlist",
                           "Open a folder",
                           "Open files",
                           "Tracks",
                           "Track 1, track 1, 00:10",
                           "Output device",
                           "Exclusive Access",
                           "Stop and release output device",
                           "Volume",
                           "Balance",
                           "Volume 100%, reset to 100%",
                           "Balance Center, reset to Center",
                           "BIT-PERFECT"})
    EXPECT_THAT(names, Contains(name));
}

/// The walks above follow what is reported to assistive technology; this one checks the items themselves.
TEST_F(WindowAccessibility, WhatTakesKeysOrClicksIsKnownToAssistiveTechnology) {
  load(3);
  const auto isReported = [](QQuickItem* item) {
    auto* control = QAccessible::queryAccessibleInterface(item);
    return control != nullptr && control->role() != QAccessible::NoRole && !control->text(QAccessible::Name).isEmpty();
  };
  int asked = 0;
  for (QQuickItem* item : shownItems(window->contentItem())) {
    const bool takesClicks = item->acceptedMouseButtons() != Qt::NoButton && !item->inherits("QQuickText");
    // The rows on a list's surface are reported; and the desktop has its own means to move and resize the window.
    const bool isOfTheWindow = QByteArray(item->metaObject()->className()).startsWith("WindowDragArea");
    if (isOfTheWindow || item->inherits("QQuickFlickable") || item->inherits("QQuickMouseArea")) continue;
    EXPECT_TRUE(!item->activeFocusOnTab() || isReported(item)) << item->metaObject()->className();
    if (!takesClicks) continue;
    ++asked;
    QQuickItem* reported = item;
    while (reported != nullptr && !isReported(reported)) reported = reported->parentItem();
    EXPECT_NE(reported, nullptr) << item->metaObject()->className();
  }
  EXPECT_GE(asked, 18);
}

TEST_F(WindowAccessibility, EveryButtonIsPressedByAssistiveTechnology) {
  load(3);
  click("Next");
  int pressed = 0;
  for (auto* control : controls()) {
    if (control->role() != QAccessible::Button || control->state().disabled) continue;
    const auto name = nameOf(*control);
    // What a click on these does is shown by tests of their own: it would take the others from the screen.
    if (name == "Minimise" || name == "Zoom" || name == "Close" || name.starts_with("Open")) continue;
    const QSignalSpy clicks(control->object(), SIGNAL(clicked()));
    ASSERT_TRUE(clicks.isValid()) << name;
    act(control, QAccessibleActionInterface::pressAction());
    EXPECT_EQ(clicks.count(), 1) << name;
    ++pressed;
  }
  EXPECT_GE(pressed, 5);
}

TEST_F(WindowAccessibility, TheTransportFollowsAssistiveTechnology) {
  load(3);
  press("Next");
  EXPECT_EQ(currentIndex(), 1);
  press("Previous");
  EXPECT_EQ(currentIndex(), 0);
  press("Pause");
  EXPECT_FALSE(isPlaying());
  press("Play");
  EXPECT_TRUE(isPlaying());
  press("Stop");
  EXPECT_FALSE(isPlaying());
  press("Play");
  press("Stop and release output device");
  EXPECT_FALSE(isPlaying());
}

TEST_F(WindowAccessibility, AButtonThatIsOffSaysSo) {
  EXPECT_EQ(accessible("Play")->text(QAccessible::Description), "Not available now");
  load(1);
  EXPECT_EQ(accessible("Pause")->text(QAccessible::Description), "");
  EXPECT_EQ(accessible("Next")->text(QAccessible::Description), "Not available now");
}

TEST_F(WindowAccessibility, AButtonThatIsOffIgnoresAssistiveTechnology) {
  load(1);
  const QSignalSpy clicks(item("Next"), SIGNAL(clicked()));
  press("Next");
  EXPECT_EQ(clicks.count(), 0);
}

TEST_F(WindowAccessibility, TheWindowsButtonsArePressedByAssistiveTechnology) {
  press("Zoom");
  EXPECT_EQ(window->visibility(), QWindow::Maximized);
  press("Restore");
  EXPECT_EQ(window->visibility(), QWindow::Windowed);
  press("Minimise");
  EXPECT_EQ(window->visibility(), QWindow::Minimized);
  window->showNormal();
  settle();
  press("Close");
  EXPECT_FALSE(window->isVisible());
}

TEST_F(WindowAccessibility, ExclusiveAccessIsSwitchedByAssistiveTechnology) {
  load(1);
  for (const auto& action : {QAccessibleActionInterface::toggleAction(), QAccessibleActionInterface::pressAction()}) {
    act(accessible("Exclusive Access"), action);
    EXPECT_TRUE(proxy.state().isExclusiveAccessEnabled) << action.toStdString();
    EXPECT_TRUE(accessible("Exclusive Access")->state().checked);
    act(accessible("Exclusive Access"), action);
    EXPECT_FALSE(proxy.state().isExclusiveAccessEnabled) << action.toStdString();
    EXPECT_FALSE(accessible("Exclusive Access")->state().checked);
  }
}

TEST_F(WindowAccessibility, ADeviceIsPickedByAssistiveTechnology) {
  load(1);
  press("Output device");
  ASSERT_TRUE(waitFor([this] { return isShown("Headphones"); }));
  press("Headphones");
  EXPECT_EQ(devices.selectedDevice().value()->id, headphones);
  EXPECT_TRUE(isPlaying());
}

TEST_F(WindowAccessibility, ThePositionIsReadAndChosenByAssistiveTechnology) {
  load(1);
  auto* value = accessible("Position")->valueInterface();
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(value->minimumValue().toDouble(), 0);
  EXPECT_EQ(value->maximumValue().toDouble(), 1);
  act(accessible("Position"), QAccessibleActionInterface::increaseAction());
  EXPECT_NEAR(position(), 5, 1e-3);
  act(accessible("Position"), QAccessibleActionInterface::decreaseAction());
  EXPECT_NEAR(position(), 0, 1e-3);
  value->setCurrentValue(0.5);
  settle();
  EXPECT_NEAR(position(), trackSeconds / 2, 1e-3);
  EXPECT_NEAR(value->currentValue().toDouble(), 0.5, 1e-3);
  EXPECT_TRUE(isPlaying());
}

TEST_F(WindowAccessibility, ALevelIsChosenByAssistiveTechnology) {
  struct Case {
    double wanted;
    double chosen;
  };
  auto* volume = accessible("Volume")->valueInterface();
  for (const auto& [wanted, chosen] : {Case{0.7, 0.7}, {2, 1}, {-1, 0}, {std::nan(""), 0}}) {
    volume->setCurrentValue(wanted);
    settle();
    EXPECT_DOUBLE_EQ(session.outputVolume().value(), chosen) << wanted;
    EXPECT_DOUBLE_EQ(volume->currentValue().toDouble(), chosen) << wanted;
  }
}

TEST_F(WindowAccessibility, ALevelIsResetByAssistiveTechnology) {
  session.setOutputVolume(0.4);
  session.setOutputBalance(-0.5);
  settle();
  const QString reset = QStringLiteral("Reset to default");
  act(accessible("Volume"), reset);
  EXPECT_EQ(session.outputVolume().value(), 1);
  act(accessible("Balance"), reset);
  EXPECT_EQ(session.outputBalance().value(), 0);
  EXPECT_EQ(accessible("Volume")->actionInterface()->localizedActionName(reset), reset);
}

TEST_F(WindowAccessibility, ALevelIsASliderAmongTheOtherControls) {
  for (const char* name : {"Volume", "Balance"}) {
    auto* slider = accessible(name);
    EXPECT_EQ(slider->role(), QAccessible::Slider);
    EXPECT_THAT(slider->text(QAccessible::Description).toStdString(), HasSubstr("Double-click to reset."));
    auto* group = slider->parent();
    ASSERT_NE(group, nullptr);
    EXPECT_EQ(nameOf(*group), "Volume and balance");
    EXPECT_EQ(group->child(group->indexOfChild(slider)), slider);
    EXPECT_EQ(slider->window(), window);
    EXPECT_TRUE(group->rect().contains(slider->rect()));
    EXPECT_FALSE(slider->state().focused);
    act(slider, QAccessibleActionInterface::setFocusAction());
    EXPECT_TRUE(slider->state().focused);
    act(slider, QAccessibleActionInterface::decreaseAction());
  }
  EXPECT_DOUBLE_EQ(session.outputVolume().value(), 0.99);
  EXPECT_DOUBLE_EQ(session.outputBalance().value(), -0.01);
}

TEST_F(WindowAccessibility, ALevelThatIsOffOffersNoAction) {
  item("Volume")->setEnabled(false);
  auto* slider = accessible("Volume");
  EXPECT_TRUE(slider->state().disabled);
  EXPECT_TRUE(slider->actionInterface()->actionNames().isEmpty());
  slider->actionInterface()->doAction(QAccessibleActionInterface::decreaseAction());
  slider->valueInterface()->setCurrentValue(0.3);
  EXPECT_EQ(session.outputVolume().value(), 1);
}

TEST_F(WindowAccessibility, ARowIsPlayedByAssistiveTechnology) {
  load(3);
  press("Track 3, track 3, 00:10");
  EXPECT_EQ(currentIndex(), 2);
}

}  // namespace
}  // namespace tolvane::test
