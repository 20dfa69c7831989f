// The signal path in the window: the chain in the badge, and the sheet that it opens.

#include <QClipboard>
#include <QGuiApplication>
#include <QtTest/QTest>
#include <algorithm>
#include <iterator>
#include <set>
#include <utility>
#include <vector>

#include "tests/ui/qt/WindowFixture.h"

namespace tolvane::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const QString sheetName = QStringLiteral("Signal path");
const QString copyName = QStringLiteral("Copy the report as plain text");
const QString closeName = QStringLiteral("Close the signal path");
const QString surfaceName = QStringLiteral("Stages, samples, output and history");

/// All texts that are shown within an item, and how far each reaches to the right in the item's own measure.
std::vector<std::pair<std::string, double>> reachOfTexts(const QQuickItem& item, const QQuickItem* within = nullptr) {
  if (within == nullptr) within = &item;
  std::vector<std::pair<std::string, double>> found;
  for (const QQuickItem* child : item.childItems()) {
    if (!child->isVisible()) continue;
    if (child->inherits("QQuickText")) {
      const double width = child->property("contentWidth").toDouble() + child->property("leftPadding").toDouble();
      found.emplace_back(child->property("text").toString().toStdString(), child->mapToItem(within, {width, 0}).x());
    }
    std::ranges::move(reachOfTexts(*child, within), std::back_inserter(found));
  }
  return found;
}

class WindowSignalSheet : public WindowFixture {
 protected:
  [[nodiscard]] bool isOpen() const { return isShown(sheetName); }
  [[nodiscard]] bool isAsked() const { return proxy.state().diagnostics != nullptr; }
  void openSheet() {
    key(Qt::Key_I, Qt::ControlModifier);
    ASSERT_TRUE(waitFor([this] { return isOpen(); }));
    settle();
  }
  void expectClosed() {
    EXPECT_TRUE(waitFor([this] { return !isOpen(); }));
    settle();
    EXPECT_FALSE(isAsked());
  }
  /// The names of all that there is, one a line.
  [[nodiscard]] std::string names() const {
    std::string all;
    for (const auto* control : controls()) all += control->text(QAccessible::Name).toStdString() + '\n';
    return all;
  }
  [[nodiscard]] std::string nameBeginning(const std::string& words) const {
    for (const auto* control : controls())
      if (const auto name = control->text(QAccessible::Name).toStdString(); name.starts_with(words)) return name;
    return {};
  }
  static std::string clipboard() { return QGuiApplication::clipboard()->text().toStdString(); }
  [[nodiscard]] std::string focusedName() const {
    auto* control = QAccessible::queryAccessibleInterface(window->activeFocusItem());
    return control != nullptr ? control->text(QAccessible::Name).toStdString() : "";
  }
};

TEST_F(WindowSignalSheet, TheChainIsReadAloudWithTheVerdict) {
  EXPECT_TRUE(isShown("No signal path"));
  load(1);
  EXPECT_THAT(
      nameBeginning("Signal path, "),
      "Signal path, File: WAV 16-bit 44.1 kHz, unaltered; Player: untouched, unaltered; Route: shared, 44.1 kHz, "
      "unaltered; Device: 16-bit 44.1 kHz · Studio DAC, unaltered");
  proxy.setOutputVolume(0.5);
  settle();
  EXPECT_THAT(nameBeginning("Signal path, "), HasSubstr("Player: volume applied, altered"));
  click("Stop");
  EXPECT_TRUE(isShown("No signal path"));
}

TEST_F(WindowSignalSheet, OpensWithAClickOnTheBadge) {
  load(1);
  click("BIT-PERFECT");
  EXPECT_TRUE(waitFor([this] { return isOpen(); }));
}

TEST_F(WindowSignalSheet, OpensWithAClickOnTheChain) {
  load(1);
  clickAt(placeIn(*item(QString::fromStdString(nameBeginning("Signal path, "))), 0.5, 0.5));
  EXPECT_TRUE(waitFor([this] { return isOpen(); }));
}

TEST_F(WindowSignalSheet, OpensByKeyboardFromTheBadge) {
  load(1);
  for (const int press : {Qt::Key_Return, Qt::Key_Space}) {
    item("BIT-PERFECT")->forceActiveFocus(Qt::TabFocusReason);
    key(press);
    ASSERT_TRUE(waitFor([this] { return isOpen(); }));
    key(Qt::Key_Escape);
    expectClosed();
    EXPECT_EQ(window->activeFocusItem(), item("BIT-PERFECT")) << "the keyboard is where it was";
    EXPECT_TRUE(item("BIT-PERFECT")->property("visualFocus").toBool());
    EXPECT_TRUE(isPlaying());
  }
}

TEST_F(WindowSignalSheet, OpensByAssistiveTechnology) {
  load(1);
  accessible("BIT-PERFECT")->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
  settle();
  EXPECT_TRUE(waitFor([this] { return isOpen(); }));
}

TEST_F(WindowSignalSheet, ClosesWithEscapeWithItsKeyAndItsButton) {
  load(1);
  openSheet();
  key(Qt::Key_Escape);
  expectClosed();
  openSheet();
  key(Qt::Key_I, Qt::ControlModifier);
  expectClosed();
  openSheet();
  click(closeName);
  expectClosed();
}

TEST_F(WindowSignalSheet, ClosesWithAClickOutsideThatReachesNothingElse) {
  load(3);
  openSheet();
  clickAt(QPoint(6, 350));
  expectClosed();
  EXPECT_TRUE(window->isVisible());
  EXPECT_EQ(currentIndex(), 0);
}

TEST_F(WindowSignalSheet, AsksThePlayerOnlyWhileItIsOpen) {
  load(1);
  advance(std::chrono::seconds(2));
  settle();
  EXPECT_FALSE(isAsked());
  openSheet();
  EXPECT_TRUE(isAsked());
  const auto first = proxy.state().diagnostics;
  advance(std::chrono::seconds(1));
  EXPECT_NE(proxy.state().diagnostics, first) << "live";
  key(Qt::Key_Escape);
  expectClosed();
}

TEST_F(WindowSignalSheet, HasARowForEachStageWithItsMeaningAndSource) {
  load(1);
  openSheet();
  for (const char* name : {"File: WAV 16-bit 44.1 kHz, unaltered", "Player: untouched, unaltered",
                           "Route: shared, 44.1 kHz, unaltered", "Device: 16-bit 44.1 kHz · Studio DAC, unaltered"}) {
    const auto* row = accessible(QString::fromUtf8(name));
    ASSERT_NE(row, nullptr) << name;
    EXPECT_THAT(row->text(QAccessible::Description).toStdString(), HasSubstr("Read from "));
    EXPECT_THAT(row->text(QAccessible::Description).toStdString(), HasSubstr("last changed"));
  }
}

TEST_F(WindowSignalSheet, SaysWhichStageTheVerdictIsAbout) {
  load(1);
  proxy.setOutputVolume(0.5);
  settle();
  openSheet();
  EXPECT_TRUE(isShown("Signal path, DSP ACTIVE"));
  EXPECT_THAT(
      accessible("Player: volume applied, altered")->text(QAccessible::Description).toStdString(),
      StartsWith("The verdict is about this. Each sample is multiplied by the player's own volume and balance."));
}

TEST_F(WindowSignalSheet, FollowsWhatHappensWhileItIsOpen) {
  load(2);
  openSheet();
  EXPECT_THAT(names(), HasSubstr("Recoveries: 0\n"));
  EXPECT_THAT(names(), HasSubstr("This track: The first "));
  proxy.setOutputVolume(0.5);
  advance(std::chrono::seconds(1));
  settle();
  EXPECT_TRUE(isShown("Signal path, DSP ACTIVE"));
  EXPECT_THAT(names(), HasSubstr("Verdict: DSP ACTIVE. Software volume"));
  proxy.setOutputVolume(1);
  hardware.device(dac).stopByItself();
  advance(std::chrono::seconds(3));
  settle();
  EXPECT_THAT(names(), HasSubstr("Recoveries: 1\n"));
  EXPECT_THAT(names(), HasSubstr("Recovery: AUHAL stopped while playback was active."));
  advance(std::chrono::seconds(20));
  settle();
  EXPECT_THAT(names(), HasSubstr("Track before: "));
}

TEST_F(WindowSignalSheet, StaysWhenTheMusicStops) {
  load(1);
  openSheet();
  session.stopPlayback();
  advance(std::chrono::seconds(1));
  settle();
  EXPECT_TRUE(isOpen());
  EXPECT_TRUE(isShown("Route: nothing"));
  EXPECT_THAT(names(), HasSubstr("Verdict: BIT-PERFECT"));
}

TEST_F(WindowSignalSheet, SaysAFailureInPlainWordsBesideItsDetail) {
  load(1);
  files.remove(track(1));
  content.playTrack(0, 0);
  click("Stop");
  content.playTrack(0, 0);
  settle();
  ASSERT_TRUE(isShown("PATH ERROR"));
  openSheet();
  EXPECT_TRUE(isShown("The file is not there. It may have been moved, renamed or deleted."));
  EXPECT_TRUE(isShown("Opening the PCM file failed (Core Audio -43)."));
  click(copyName);
  EXPECT_THAT(clipboard(), HasSubstr("In plain words: The file is not there."));
}

TEST_F(WindowSignalSheet, CopiesTheReportWithTheFilesNameOrWithoutIt) {
  load(1);
  openSheet();
  click(copyName);
  EXPECT_THAT(clipboard(), StartsWith("Tolvane Music Player: report on the signal path\n"));
  EXPECT_THAT(clipboard(), HasSubstr("Player             1.0\n"));
  EXPECT_THAT(clipboard(), HasSubstr("Track 1.wav"));
  EXPECT_THAT(clipboard(), Not(HasSubstr("/music")));
  EXPECT_TRUE(isShown("Copied"));
  click("With the file's name");
  click(copyName);
  EXPECT_THAT(clipboard(), Not(HasSubstr("Track 1")));
  EXPECT_THAT(clipboard(), HasSubstr("BIT-PERFECT"));
}

TEST_F(WindowSignalSheet, IsUsedByKeyboardAlone) {
  load(1);
  for (int i = 0; i < 20; ++i) {  // a history that does not fit
    proxy.setOutputVolume(i % 2 == 0 ? 0.5 : 1);
    advance(std::chrono::seconds(2));
    if (!isPlaying()) content.playTrack(0, 0);
    settle();
  }
  openSheet();
  const QQuickItem& surface = *item(surfaceName);
  EXPECT_EQ(focusedName(), surfaceName.toStdString());
  const auto place = [&] { return surface.property("contentY").toDouble(); };
  key(Qt::Key_Down);
  EXPECT_GT(place(), 0);
  key(Qt::Key_Up);
  EXPECT_EQ(place(), 0);
  key(Qt::Key_PageDown);
  const double page = place();
  EXPECT_GT(page, 100);
  key(Qt::Key_End);
  EXPECT_GT(place(), page);
  EXPECT_NEAR(place(), surface.property("contentHeight").toDouble() - surface.height(), 1);
  key(Qt::Key_Home);
  EXPECT_EQ(place(), 0);

  std::vector<std::string> reached;
  for (int i = 0; i < 4; ++i) {
    reached.push_back(focusedName());
    key(Qt::Key_Tab);
  }
  EXPECT_THAT(reached, testing::ElementsAre(surfaceName.toStdString(), "With the file's name", copyName.toStdString(),
                                            closeName.toStdString()));
  EXPECT_EQ(focusedName(), surfaceName.toStdString()) << "round again, and never behind the sheet";
  key(Qt::Key_Tab);
  key(Qt::Key_Return);
  key(Qt::Key_Tab);
  key(Qt::Key_Return);
  EXPECT_THAT(clipboard(), Not(HasSubstr("Track 1")));
  key(Qt::Key_Tab);
  key(Qt::Key_Return);
  expectClosed();
}

TEST_F(WindowSignalSheet, HasANameAndARoleForEverything) {
  load(1);
  const auto before = controls().size();
  openSheet();
  EXPECT_GE(controls().size(), before + 15);
  for (const auto* control : controls()) {
    const auto name = control->text(QAccessible::Name).toStdString();
    EXPECT_NE(control->role(), QAccessible::NoRole) << name;
    const bool needsName = control->role() == QAccessible::StaticText || control->state().focusable;
    EXPECT_FALSE(needsName && name.empty()) << control->role();
  }
  EXPECT_EQ(accessible(sheetName)->role(), QAccessible::Dialog);
}

TEST_F(WindowSignalSheet, FitsIntoTheSmallestWindowAndALargeOne) {
  load(1);
  openSheet();
  const std::pair<int, int> sizes[] = {{600, 700}, {1000, 840}, {1600, 1000}};
  for (const auto& [width, height] : sizes) {
    window->resize(width, height);
    settle();
    const QRectF all(0, 0, window->width(), window->height());
    for (const QString& name : {closeName, copyName, surfaceName, QStringLiteral("With the file's name")}) {
      const QQuickItem& part = *item(name);
      EXPECT_TRUE(all.contains(part.mapRectToScene(QRectF(0, 0, part.width(), part.height()))))
          << name.toStdString() << " at " << width;
    }
    const QQuickItem& surface = *item(surfaceName);
    const auto texts = reachOfTexts(surface);
    EXPECT_GT(texts.size(), 25U);
    for (const auto& [text, reach] : texts) EXPECT_LE(reach, surface.width()) << text << " at " << width;
  }
}

TEST_F(WindowSignalSheet, FitsIntoAWindowThatWasEnlargedBeforeThereWasAnythingToShow) {
  window->resize(1600, 1000);
  settle();
  load(1);
  openSheet();
  const QQuickItem& surface = *item(surfaceName);
  const auto texts = reachOfTexts(surface);
  for (const auto& [text, reach] : texts) EXPECT_LE(reach, surface.width()) << text;
  EXPECT_GT(texts.size(), 25U);
}

TEST_F(WindowSignalSheet, ShowsTheChainWithoutMovingAnything) {
  load(3);
  const auto places = [this] {
    std::vector<QRectF> all;
    for (const auto* name : {"Output device", "Volume", "Position", "Tracks", "Next"}) {
      const QQuickItem& part = *item(QString::fromLatin1(name));
      all.push_back(part.mapRectToScene(QRectF(0, 0, part.width(), part.height())));
    }
    return all;
  };
  const auto before = places();
  std::set<std::string> chains;
  const auto check = [&](const char* what) {
    settle();
    chains.insert(nameBeginning("Signal path, "));
    EXPECT_EQ(places(), before) << what;
    const QQuickItem& chain = *item(QString::fromStdString(
        nameBeginning("Signal path, ").empty() ? "No signal path" : nameBeginning("Signal path, ")));
    const auto texts = reachOfTexts(chain);
    EXPECT_EQ(texts.size(), 4U + 3U) << "with the signs in between";
    for (const auto& [text, reach] : texts) EXPECT_LE(reach, chain.width() + 1) << what << ": " << text;
  };
  check("playing");
  proxy.setOutputVolume(0.5);
  proxy.setOutputBalance(0.5);
  check("levels");
  SimulatedDeviceConfig config;
  config.name = "Universal Serial Bus High Definition Audio Interface (Rear Panel, Balanced Outputs 3/4)";
  config.rates = {{176400, 176400}};
  config.nominalRate = 176400;
  devices.select(hardware.addDevice(config));
  settle();
  devices.loadAudioDevices();
  devices.select(hardware.addDevice(config));
  content.playTrack(0, 0);
  check("a long name, resampled");
  click("Stop");
  check("stopped");
  EXPECT_GE(chains.size(), 3U);
}

}  // namespace
}  // namespace tolvane::test
