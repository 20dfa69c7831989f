// Where the window's panels stand at each of its sizes: room for the list, and nothing that overlaps or leaves the
// window.

#include <QtTest/QTest>
#include <array>
#include <cmath>
#include <map>

#include "tests/ui/qt/WindowFixture.h"

namespace tolvane::test {
namespace {

constexpr double rowHeight = 58;
constexpr double widestControl = 505;  ///< how far a hand moves

/// A text or a control, in the window's coordinates and without what is clipped.
struct Part {
  const QQuickItem* item;
  QRectF place;
};

class WindowRoom : public WindowFixture {
 protected:
  void SetUp() override { hardware.removeDevice(headphones); }

  void resize(int width, int height) {
    window->resize(width, height);
    settle();
  }
  /// For a hidden window, which no system resizes or draws: a sweep goes through thousands of sizes.
  void resizeHidden(int width, int height) {
    QResizeEvent event(QSize(width, height), window->size());
    window->resize(width, height);
    QCoreApplication::sendEvent(window, &event);
    ASSERT_EQ(window->contentItem()->size(), QSizeF(width, height));
    for (int turn = 0; turn < 3; ++turn) polish(window->contentItem());
  }
  /// Finds the control while the window is shown; afterwards it is known by its name.
  QQuickItem* known(const QString& name) {
    QQuickItem*& found = known_[name];
    if (found == nullptr) found = item(name);
    return found;
  }
  void hide(std::initializer_list<const char*> names = {}) {
    for (const char* name : names) known(QString::fromUtf8(name));
    window->destroy();
  }
  [[nodiscard]] QRectF place(const QString& name) {
    const QQuickItem& part = *known(name);
    return part.mapRectToScene(QRectF(0, 0, part.width(), part.height()));
  }
  [[nodiscard]] QQuickItem* list() const {
    return window->findChild<QQuickItem*>(QStringLiteral("TrackListScrollView"));
  }
  [[nodiscard]] QQuickItem* rowIfShown(int index) const {
    QQuickItem* found = nullptr;
    QMetaObject::invokeMethod(list(), "itemAtIndex", Q_RETURN_ARG(QQuickItem*, found), Q_ARG(int, index));
    return found;
  }
  /// Rows that can be seen whole.
  [[nodiscard]] int wholeRows() const {
    int found = 0;
    for (int index = 0; index < static_cast<int>(session.fileURLs().size()); ++index) {
      const QQuickItem* each = rowIfShown(index);
      if (each == nullptr) continue;
      const double y = each->mapToItem(list(), {0, 0}).y();
      if (y >= 0 && y + each->height() <= list()->height()) ++found;
    }
    return found;
  }
  /// Everything that has something to read or to press.
  [[nodiscard]] std::vector<Part> parts() const {
    std::vector<Part> found;
    collectParts(window->contentItem(), QRectF({0, 0}, window->size()), found);
    return found;
  }
  void expectNothingOverlaps(const char* what) const {
    const auto all = parts();
    for (std::size_t i = 0; i < all.size(); ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        const QRectF both = all[i].place.intersected(all[j].place);
        if (both.width() < 1 || both.height() < 1) continue;
        if (belong(*all[i].item, *all[j].item)) continue;
        ADD_FAILURE() << what << " at " << window->width() << " × " << window->height() << ": " << describe(all[i])
                      << " overlaps " << describe(all[j]);
      }
    }
  }
  /// Texts and controls must be whole; what lies in the list is clipped by it.
  void expectNothingLeavesTheWindow(const char* what) const {
    const QRectF all({0, 0}, window->size());
    for (const Part& part : parts()) {
      if (list()->isAncestorOf(part.item)) continue;
      const QRectF whole = part.item->mapRectToScene(QRectF(0, 0, part.item->width(), part.item->height()));
      EXPECT_TRUE(all.contains(whole)) << what << " at " << window->width() << " × " << window->height() << ": "
                                       << describe(part);
    }
  }
  /// At every width; counts the items that it checked.
  void sweep(const char* what, bool mayOverlap = false) {
    std::size_t widths = 0;
    std::size_t seen = 0;
    hide();
    for (int width = 600; width <= 1700; ++width) {
      resizeHidden(width, width % 2 == 0 ? 700 : 1000);
      if (!mayOverlap) expectNothingOverlaps(what);
      expectNothingLeavesTheWindow(what);
      ++widths;
      seen += parts().size();
      if (HasFailure()) break;
    }
    std::printf("%s: %zu widths, %zu texts and controls\n", what, widths, seen);
    EXPECT_EQ(widths, 1101U);
    EXPECT_GE(seen, widths * 25);
  }
  [[nodiscard]] std::vector<std::string> tabOrder() {
    item("Position")->forceActiveFocus(Qt::TabFocusReason);
    const QObject* first = window->activeFocusItem();
    std::vector<std::string> names;
    do {
      QAccessibleInterface* control = QAccessible::queryAccessibleInterface(window->activeFocusItem());
      names.push_back(control != nullptr ? control->text(QAccessible::Name).toStdString() : "");
      key(Qt::Key_Tab);
    } while (window->activeFocusItem() != first && names.size() < 60);
    return names;
  }
  void select(SimulatedDeviceConfig config) {
    const auto id = hardware.addDevice(std::move(config));
    settle();
    devices.loadAudioDevices();
    devices.select(id);
    settle();
  }

 private:
  std::map<QString, QQuickItem*> known_;

  static void polish(QQuickItem* root) {
    root->ensurePolished();
    for (QQuickItem* child : root->childItems()) polish(child);
  }
  /// One is made of the other, or stands in the other by intention: the button that ends the music, in the switch.
  static bool belong(const QQuickItem& one, const QQuickItem& other) {
    const auto isSwitchAndButton = [](const QQuickItem& control, const QQuickItem& button) {
      return control.inherits("QQuickSwitch") && control.parentItem() == button.parentItem();
    };
    return one.isAncestorOf(&other) || other.isAncestorOf(&one) || isSwitchAndButton(one, other) ||
           isSwitchAndButton(other, one);
  }
  static bool isPart(const QQuickItem& item) {
    constexpr std::array kinds{"QQuickText", "QQuickAbstractButton", "QQuickSlider", "QQuickComboBox",
                               "tolvane::AdjustmentArea"};
    return std::ranges::any_of(kinds, [&](const char* kind) { return item.inherits(kind); });
  }
  /// A line of tabular text is one part, whatever its digits are made of.
  static bool isCharacter(const QQuickItem& item) { return item.property("character").isValid(); }

  /// The list keeps rows that have left it, to use them again.
  [[nodiscard]] bool isSpareRow(const QQuickItem& item) const {
    return item.inherits("QQuickItemDelegate") && list()->isAncestorOf(&item) &&
           rowIfShown(item.property("index").toInt()) != &item;
  }

  void collectParts(const QQuickItem* root, QRectF seen, std::vector<Part>& found) const {
    if (!root->isVisible() || root->opacity() == 0 || isSpareRow(*root)) return;
    const QRectF whole = root->mapRectToScene(QRectF(0, 0, root->width(), root->height()));
    if (root->clip()) seen = seen.intersected(whole);
    const auto children = root->childItems();
    const bool isLine = std::ranges::any_of(children, [](const auto* child) { return isCharacter(*child); });
    if ((isLine || isPart(*root)) && whole.intersects(seen)) found.push_back({root, whole.intersected(seen)});
    if (isLine) return;
    for (const QQuickItem* child : children) collectParts(child, seen, found);
  }
  static std::string describe(const Part& part) {
    const QRectF& at = part.place;
    return std::string(part.item->metaObject()->className()) + " \"" +
           part.item->property("text").toString().toStdString() + "\" (" + std::to_string(at.x()) + ", " +
           std::to_string(at.y()) + ", " + std::to_string(at.width()) + " × " + std::to_string(at.height()) + ")";
  }
};

TEST_F(WindowRoom, IsEnoughForFiveRowsInTheSmallestWindow) {
  load(12);
  ASSERT_EQ(window->size(), QSize(600, 700));
  EXPECT_GE(wholeRows(), 5);
  EXPECT_EQ(row(0)->height(), rowHeight);
}

TEST_F(WindowRoom, IsTheListsFirstWhereTheWindowGrows) {
  load(40);
  hide({"Position", "BIT-PERFECT"});
  for (const int width : {600, 900}) {
    resizeHidden(width, 700);
    const double before = list()->height();
    const auto others = std::pair(place("Position").height(), place("BIT-PERFECT").height());
    int heights = 0;
    for (int height = 701; height <= 1000; ++height, ++heights) {
      resizeHidden(width, height);
      ASSERT_EQ(list()->height(), before + height - 700) << height;
      ASSERT_EQ(std::pair(place("Position").height(), place("BIT-PERFECT").height()), others) << height;
    }
    EXPECT_EQ(heights, 300);
    EXPECT_GE(wholeRows(), 10);
  }
}

TEST_F(WindowRoom, GrowsByAPixelAtATimeAndTakesNothingFromTheList) {
  load(40);
  hide({"Position", "Previous"});
  for (const int width : {600, 1000, 1600}) {
    resizeHidden(width, 700);
    auto before = std::tuple(list()->height(), place("Position"), place("Previous"));
    for (int height = 701; height <= 1500; ++height) {
      resizeHidden(width, height);
      const auto now = std::tuple(list()->height(), place("Position"), place("Previous"));
      ASSERT_GE(std::get<0>(now), std::get<0>(before)) << height;
      ASSERT_LE(std::abs(std::get<1>(now).height() - std::get<1>(before).height()), 1) << height;
      ASSERT_LE(std::abs(std::get<2>(now).y() - std::get<2>(before).y()), 1) << height;
      before = now;
    }
    EXPECT_GE(place("Position").height(), 100) << "a tall window has a tall waveform";
  }
}

TEST_F(WindowRoom, HasACompositionOfItsOwnInALargeWindow) {
  load(20);
  resize(1600, 1000);
  EXPECT_GE(wholeRows(), 10);
  EXPECT_GE(place("Position").width(), 1250) << "beside the cover the waveform takes the width";
  EXPECT_GE(place("Position").height(), 130);
  EXPECT_LT(place("Position").bottom(), place("Tracks").top());
  for (const auto* name : {"Output device", "Exclusive Access", "Volume", "Balance", "BIT-PERFECT"}) {
    const QRectF control = place(QString::fromLatin1(name));
    EXPECT_GT(control.left(), place("Tracks").right()) << name;
    EXPECT_GT(control.top(), place("Position").bottom()) << name;
  }
}

TEST_F(WindowRoom, KeepsControlsWithinAHandsTravel) {
  load(3);
  std::size_t checked = 0;
  hide({"Output device", "Exclusive Access", "Volume", "Balance", "Previous", "Next", "Pause", "Position"});
  for (int width = 600; width <= 1700; ++width) {
    resizeHidden(width, 1000);
    for (const auto* name : {"Output device", "Exclusive Access", "Volume", "Balance"}) {
      ASSERT_LE(place(QString::fromLatin1(name)).width(), widestControl) << name << " at " << width;
      ASSERT_GE(place(QString::fromLatin1(name)).width(), 120) << name << " at " << width;
      ++checked;
    }
    ASSERT_LE(place("Next").right() - place("Previous").left(), widestControl) << width;
    ASSERT_NEAR(place("Pause").center().x(), place("Position").center().x(), 1) << width;
  }
  EXPECT_EQ(checked, 1101U * 4);
}

TEST_F(WindowRoom, HoldsTheEmptyStateAtEveryWidth) { sweep("empty"); }

TEST_F(WindowRoom, HoldsAListAtEveryWidth) {
  load(30);
  sweep("list");
}

TEST_F(WindowRoom, HoldsAnErrorAtEveryWidth) {
  load(12);
  files.remove(track(4));
  content.playTrack(3, 0);
  settle();
  ASSERT_TRUE(isShown("PATH ERROR"));
  sweep("error");
}

TEST_F(WindowRoom, HoldsLongNamesAndAllOffersOfTheListAtEveryWidth) {
  load(30);
  SimulatedDeviceConfig config;
  config.name = "Universal Serial Bus High Definition Audio Interface (Rear Panel, Balanced Outputs 3/4)";
  config.alterations.emplace();
  for (int number = 0; number < 12; ++number)
    config.alterations->emplace_back(SampleAlteration::Kind::processed, "A filter (" + std::string(200, 'x') + ").",
                                     "Remove it."_cure);
  select(config);
  proxy.setOutputVolume(0.1234);
  proxy.setOutputBalance(-0.1234);
  proxy.removeTracks(std::vector{proxy.state().tracks[7].id});
  settle();
  ASSERT_NE(window->property("tracks").value<QObject*>()->property("undoLabel").toString(), QString());
  sweep("long names");
}

TEST_F(WindowRoom, HoldsTheListOfDevicesAtEveryWidth) {
  load(12);
  for (int number = 0; number < 12; ++number) {
    SimulatedDeviceConfig config;
    config.name = "Device " + std::to_string(number);
    select(config);
  }
  click("Output device");
  ASSERT_TRUE(isShown("Device 11"));
  sweep("devices", true);
}

TEST_F(WindowRoom, HoldsTheSignalPathAtEveryWidth) {
  load(12);
  key(Qt::Key_I, Qt::ControlModifier);
  ASSERT_TRUE(isShown("Close the signal path"));
  sweep("signal path", true);
}

TEST_F(WindowRoom, LeavesTheListWhereItWasScrolledTo) {
  load(200);
  key(Qt::Key_J, Qt::ControlModifier);
  list()->setProperty("contentY", 100 * rowHeight);
  settle();
  std::size_t sizes = 0;
  hide();
  for (int width = 600; width <= 1700; width += 10) {
    for (const int height : {700, 1000}) {
      resizeHidden(width, height);
      ASSERT_EQ(list()->property("contentY").toDouble(), 100 * rowHeight) << width << " × " << height;
      ++sizes;
    }
  }
  EXPECT_EQ(sizes, 222U);
}

TEST_F(WindowRoom, HasTheSameTabOrderInEachComposition) {
  load(3);
  const auto narrow = tabOrder();
  EXPECT_EQ(narrow.size(), 21U);
  resize(1600, 1000);
  EXPECT_EQ(tabOrder(), narrow);
}

TEST_F(WindowRoom, IsTheSameForWhateverThereIsToSay) {
  load(12);
  for (const QSize size : {QSize(600, 700), QSize(900, 1000), QSize(1600, 1000)}) {
    resize(size.width(), size.height());
    const auto places = [this] {
      std::vector<QRectF> all;
      for (const auto* name : {"Position", "Previous", "Next", "Tracks", "Open files", "Output device",
                               "Exclusive Access", "Volume", "Balance"})
        all.push_back(place(QString::fromLatin1(name)));
      return all;
    };
    const auto before = places();
    for (const int ways : {1, 5, 20}) {
      SimulatedDeviceConfig config;
      config.name = std::to_string(ways) + " ways at " + std::to_string(size.width());
      config.alterations.emplace();
      for (int number = 0; number < ways; ++number)
        config.alterations->emplace_back(SampleAlteration::Kind::processed, "This filter changes the samples.",
                                         "Remove it."_cure);
      select(config);
      content.playTrack(0, 0);
      settle();
      ASSERT_TRUE(isShown("DSP ACTIVE"));
      EXPECT_EQ(places(), before) << ways << " at " << size.width();
    }
    click("Stop");
    EXPECT_EQ(places(), before) << "stopped at " << size.width();
  }
}

}  // namespace
}  // namespace tolvane::test
