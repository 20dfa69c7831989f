// The rack's own window: each switch by pointer, and by assistive technology, which finds it by its name.

#include "demo/RackWindow.h"

#include <gmock/gmock.h>

#include <QAccessible>
#include <QDeadlineTimer>
#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickWindow>
#include <QtTest/QTest>
#include <algorithm>
#include <functional>

#include "platform/simulated/ManualRunLoop.h"

namespace tolvane {
namespace {

constexpr std::size_t dac = 0;

class RackSwitches : public testing::Test {
 protected:
  RackSwitches() {
    QAccessible::setActive(true);
    if (shown.window() == nullptr) throw std::runtime_error("The rack's window could not be made.");
    shown.window()->show();
    const QDeadlineTimer patience(20'000);
    while (!shown.window()->isExposed() && !patience.hasExpired())
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    settle();
  }

  /// The rack looks at its devices again.
  void settle() {
    realTime.advance(std::chrono::milliseconds(200));
    QCoreApplication::processEvents();
    shown.window()->grabWindow();
  }
  [[nodiscard]] std::vector<QAccessibleInterface*> controls() {
    std::vector<QAccessibleInterface*> found;
    const std::function<void(QAccessibleInterface*)> collect = [&](QAccessibleInterface* from) {
      if (from == nullptr || from->state().invisible) return;
      found.push_back(from);
      for (int i = 0; i < from->childCount(); ++i) collect(from->child(i));
    };
    collect(QAccessible::queryAccessibleInterface(shown.window()));
    return found;
  }
  [[nodiscard]] QAccessibleInterface& control(const QString& name) {
    const auto all = controls();
    const auto found = std::ranges::find_if(all, [&](auto* one) { return one->text(QAccessible::Name) == name; });
    if (found == all.end()) throw std::runtime_error("There is no control named " + name.toStdString());
    return **found;
  }
  [[nodiscard]] bool isEnabled(const QString& name) {
    return qobject_cast<QQuickItem*>(control(name).object())->isEnabled();
  }
  void click(const QString& name) {
    const auto* item = qobject_cast<QQuickItem*>(control(name).object());
    const QPoint place = item->mapToScene({item->width() / 2, item->height() / 2}).toPoint();
    QTest::mouseClick(shown.window(), Qt::LeftButton, Qt::NoModifier, place);
    settle();
  }
  void press(const QString& name) {
    control(name).actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    settle();
  }

  ManualRunLoop realTime;
  DemoRack rack{realTime};
  RackWindow shown{rack, realTime};
};

TEST(RackPlace, IsBesideThePlayerAndOnTheScreen) {
  const QRect screen(0, 30, 1280, 994);
  const QSize size(352, 700);
  int places = 0;
  for (const auto& [player, expected] : {std::pair{QRect(100, 100, 600, 700), QPoint(716, 100)},
                                         {QRect(640, 100, 600, 700), QPoint(272, 100)},
                                         {QRect(340, 100, 600, 700), QPoint(928, 100)},
                                         {QRect(0, 0, 600, 700), QPoint(616, 30)},
                                         {QRect(100, 600, 600, 700), QPoint(716, 324)}}) {
    const QPoint place = placeBeside(player, size, screen);
    EXPECT_EQ(place, expected) << places;
    EXPECT_TRUE(screen.contains(QRect(place, size)));
    ++places;
  }
  EXPECT_EQ(places, 5);
}

TEST_F(RackSwitches, DoToTheirDeviceWhatTheySayAndTakeItBack) {
  struct Case {
    const char* name;
    bool DemoRack::Row::*isSo;
    bool before;
  };
  for (const auto& [name, isSo, before] : {Case{"Unplug Studio DAC", &DemoRack::Row::isPluggedIn, true},
                                           {"Let another program take Studio DAC", &DemoRack::Row::isTaken, false},
                                           {"Hold the clock of Studio DAC", &DemoRack::Row::isStalled, false}}) {
    const auto title = QString::fromLatin1(name);
    for (const bool byPointer : {true, false}) {
      const auto use = [&] { byPointer ? click(title) : press(title); };
      use();
      EXPECT_EQ(rack.row(dac).*isSo, !before) << name;
      EXPECT_TRUE(control(title).state().checked) << name;
      use();
      EXPECT_EQ(rack.row(dac).*isSo, before) << name;
      EXPECT_FALSE(control(title).state().checked) << name;
    }
  }
}

TEST_F(RackSwitches, ChangeTheRate) {
  const double before = rack.row(dac).rate;
  click("Let another program change the rate of Studio DAC");
  EXPECT_NE(rack.row(dac).rate, before);
}

TEST_F(RackSwitches, AreOffWhereTheyCanDoNothing) {
  EXPECT_FALSE(isEnabled("Let another program change the rate of Built-in Output"));
  EXPECT_TRUE(isEnabled("Let another program take Studio DAC"));
  click("Unplug Studio DAC");
  EXPECT_FALSE(isEnabled("Let another program take Studio DAC"));
  press("Let another program take Studio DAC");
  EXPECT_FALSE(rack.row(dac).isTaken);
}

TEST_F(RackSwitches, AreFourADeviceAndEachHasANameOfItsOwn) {
  std::vector<QString> names;
  for (const auto* one : controls())
    if (one->role() == QAccessible::Button || one->role() == QAccessible::CheckBox)
      names.push_back(one->text(QAccessible::Name));
  EXPECT_EQ(names.size(), 4 * rack.rowCount());
  std::ranges::sort(names);
  EXPECT_EQ(std::ranges::adjacent_find(names), names.end());
}

}  // namespace
}  // namespace tolvane

int main(int argc, char* argv[]) {
  testing::InitGoogleMock(&argc, argv);
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
  const QGuiApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
