#include <QSignalSpy>
#include <QtTest/QTest>
#include <map>
#include <set>
#include <string>

#include "tests/ui/qt/WindowFixture.h"

namespace tolvane::test {
namespace {

using testing::Contains;
using testing::IsSupersetOf;
using testing::Not;

class WindowOutput : public WindowFixture {
 protected:
  /// As the player has them.
  double volume() {
    runLoop.runUntilIdle();
    return session.outputVolume().value();
  }
  double balance() {
    runLoop.runUntilIdle();
    return session.outputBalance().value();
  }

  /// Presses at one fraction of the slider's way, moves and lets go at another.
  void drag(const QString& name, double from, double to, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    const QQuickItem& slider = *item(name);
    const QPoint begin = place(slider, from);
    const QPoint end = place(slider, to);
    QTest::mousePress(window, Qt::LeftButton, modifiers, begin);
    for (int step = 1; step <= 4; ++step) moveTo(begin + (end - begin) * step / 4, modifiers);
    QTest::mouseRelease(window, Qt::LeftButton, modifiers, end);
    settle();
  }

  /// The thumb's centre at a fraction of its way.
  [[nodiscard]] QPoint place(const QQuickItem& slider, double fraction) const {
    const double thumb = slider.property("thumbWidth").toDouble();
    return slider.mapToScene({thumb / 2 + fraction * (slider.width() - thumb), slider.height() / 2}).toPoint();
  }
  [[nodiscard]] double pixel(const QString& name) const {
    const QQuickItem& slider = *item(name);
    return 1 / (slider.width() - slider.property("thumbWidth").toDouble());
  }

  void moveTo(QPoint place, Qt::KeyboardModifiers modifiers) {
    QMouseEvent move(QEvent::MouseMove, place, window->mapToGlobal(place), Qt::NoButton, Qt::LeftButton, modifiers);
    QCoreApplication::sendEvent(window, &move);
  }
};

TEST_F(WindowOutput, VolumeFollowsTheThumb) {
  drag("Volume", 1, 0.5);
  EXPECT_NEAR(volume(), 0.5, 2 * pixel("Volume"));
  drag("Volume", 0.5, 0.75);
  EXPECT_NEAR(volume(), 0.75, 3 * pixel("Volume"));
}

TEST_F(WindowOutput, VolumeFollowsATenthAsFastWithShift) {
  drag("Volume", 1, 0.5, Qt::ShiftModifier);
  EXPECT_NEAR(volume(), 0.95, pixel("Volume"));
}

TEST_F(WindowOutput, APressBesideTheThumbJumpsUnlessShiftIsHeld) {
  drag("Volume", 0.25, 0.25, Qt::ShiftModifier);
  EXPECT_EQ(volume(), 1);
  drag("Volume", 0.25, 0.25);
  EXPECT_NEAR(volume(), 0.25, pixel("Volume"));
}

TEST_F(WindowOutput, ASliderThatWasPressedFollowsTheArrowsAndShowsNoRing) {
  drag("Volume", 0.5, 0.5);
  const double before = volume();
  key(Qt::Key_Left);
  EXPECT_NEAR(volume(), before - 0.01, 1e-9);
  EXPECT_FALSE(item("Volume")->property("visualFocus").toBool());
  item("Volume")->setFocus(false);
  item("Volume")->forceActiveFocus(Qt::TabFocusReason);
  EXPECT_TRUE(item("Volume")->property("visualFocus").toBool());
  drag("Volume", 0.5, 0.5);
  EXPECT_FALSE(item("Volume")->property("visualFocus").toBool()) << "nor one that had it";
}

TEST_F(WindowOutput, BalanceFollowsTheThumbToBothSides) {
  drag("Balance", 0.5, 0);
  EXPECT_EQ(balance(), -1);
  EXPECT_NE(accessible("Balance L 100, reset to Center"), nullptr);
  drag("Balance", 0, 1);
  EXPECT_EQ(balance(), 1);
}

TEST_F(WindowOutput, ADoubleClickResets) {
  drag("Balance", 0.5, 0.2);
  ASSERT_NE(balance(), 0);
  QTest::mouseDClick(window, Qt::LeftButton, Qt::NoModifier, place(*item("Balance"), 0.7));
  settle();
  EXPECT_EQ(balance(), 0);
}

TEST_F(WindowOutput, AClickOnTheValueResets) {
  drag("Volume", 1, 0);
  EXPECT_EQ(volume(), 0);
  click("Volume 0%, reset to 100%");
  EXPECT_EQ(volume(), 1);
}

TEST_F(WindowOutput, ArrowsStepAFocusedSlider) {
  QQuickItem* slider = item("Volume");
  slider->forceActiveFocus(Qt::TabFocusReason);
  key(Qt::Key_Left);
  EXPECT_DOUBLE_EQ(volume(), 0.99);
  key(Qt::Key_Down, Qt::ShiftModifier);
  EXPECT_DOUBLE_EQ(volume(), 0.989);
  key(Qt::Key_Up);
  key(Qt::Key_Right);
  EXPECT_EQ(volume(), 1);
}

TEST_F(WindowOutput, TheWheelTurnsTheSliderUnderThePointer) {
  const QPoint centre = placeIn(*item("Volume"), 0.5, 0.5);
  QWheelEvent turn(centre, window->mapToGlobal(centre), {}, {0, -120}, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase,
                   false);
  QCoreApplication::sendEvent(window, &turn);
  EXPECT_DOUBLE_EQ(volume(), 0.95);
}

TEST_F(WindowOutput, AssistiveTechnologyReadsAndStepsASlider) {
  auto* volumeSlider = accessible("Volume");
  ASSERT_NE(volumeSlider->valueInterface(), nullptr);
  EXPECT_EQ(volumeSlider->valueInterface()->minimumValue().toDouble(), 0);
  EXPECT_EQ(volumeSlider->valueInterface()->maximumValue().toDouble(), 1);
  EXPECT_EQ(volumeSlider->valueInterface()->currentValue().toDouble(), 1);
  ASSERT_NE(volumeSlider->actionInterface(), nullptr);
  volumeSlider->actionInterface()->doAction(QAccessibleActionInterface::decreaseAction());
  EXPECT_DOUBLE_EQ(volume(), 0.99);
  EXPECT_DOUBLE_EQ(volumeSlider->valueInterface()->currentValue().toDouble(), 0.99);
}

TEST_F(WindowOutput, ExclusiveAccessIsToggledAndRemembered) {
  load(1);
  click("Exclusive Access");
  EXPECT_TRUE(proxy.state().isExclusiveAccessEnabled);
  EXPECT_EQ(session.player().exclusiveAccessStatus().value().kind, ExclusiveAccessStatus::Kind::active);
  EXPECT_TRUE(isPlaying());
  click("Exclusive Access");
  EXPECT_FALSE(proxy.state().isExclusiveAccessEnabled);
}

TEST_F(WindowOutput, TheDeviceIsReleasedWithAButtonThatIsThereWhileMusicPlays) {
  const QString release = QStringLiteral("Stop and release output device");
  load(1);
  click("Exclusive Access");
  ASSERT_NE(hardware.device(dac).config().hogOwner, -1);
  click(release);
  EXPECT_FALSE(isPlaying());
  EXPECT_EQ(hardware.device(dac).config().hogOwner, -1);
  EXPECT_FALSE(isShown(release));
  click("Play");
  EXPECT_TRUE(isShown(release));
  click("Pause");
  EXPECT_FALSE(isShown(release));
}

TEST_F(WindowOutput, TheBadgeReadsTheWholeVerdict) {
  load(1);
  auto* badge = accessible("BIT-PERFECT");
  ASSERT_NE(badge, nullptr);
  EXPECT_EQ(badge->text(QAccessible::Description).toStdString(), session.player().audioPathStatus().value().detail);
  drag("Volume", 1, 0.5);
  EXPECT_NE(accessible("DSP ACTIVE"), nullptr);
}

TEST_F(WindowOutput, APickedDevicePlays) {
  load(1);
  ASSERT_EQ(devices.selectedDevice().value()->name, "Studio DAC");
  click("Output device");
  ASSERT_TRUE(waitFor([this] { return isShown("Headphones"); }));
  click("Headphones");
  EXPECT_EQ(devices.selectedDevice().value()->id, headphones);
  EXPECT_TRUE(isPlaying());
}

TEST_F(WindowOutput, TheListOfDevicesThatAClickOpensFollowsTheKeyboard) {
  load(1);
  const auto before = devices.selectedDevice().value()->id;
  const auto* popup = item("Output device")->property("popup").value<QObject*>();
  const auto isOpen = [&] { return popup->property("visible").toBool(); };
  click("Output device");
  ASSERT_TRUE(waitFor(isOpen));
  key(Qt::Key_Up);
  key(Qt::Key_Return);
  EXPECT_FALSE(isOpen());
  const auto picked = devices.selectedDevice().value()->id;
  EXPECT_NE(picked, before);

  click("Output device");
  ASSERT_TRUE(waitFor(isOpen));
  key(Qt::Key_Down);
  key(Qt::Key_Escape);
  EXPECT_FALSE(isOpen());
  EXPECT_EQ(devices.selectedDevice().value()->id, picked);
  EXPECT_TRUE(isPlaying());
}

TEST_F(WindowOutput, SpaceBelongsToAnOpenListOfDevicesAndThenToTheMusicAgain) {
  load(1);
  click("Output device");
  ASSERT_TRUE(waitFor([this] { return isShown("Headphones"); }));
  key(Qt::Key_Space);
  EXPECT_TRUE(isPlaying());
  EXPECT_TRUE(waitFor([this] { return !isShown("Headphones"); }));
  key(Qt::Key_Space);
  EXPECT_FALSE(isPlaying());
}

TEST_F(WindowOutput, ADeviceIsPickedByKeyboard) {
  item("Output device")->forceActiveFocus(Qt::TabFocusReason);
  const auto before = devices.selectedDevice().value()->id;
  key(Qt::Key_Space);
  key(Qt::Key_Up);
  key(Qt::Key_Return);
  EXPECT_NE(devices.selectedDevice().value()->id, before);
}

TEST_F(WindowOutput, ThePickerShowsTheSelectedDeviceWhateverComesAndGoes) {
  load(1);
  const auto shown = [this] { return accessible("Output device")->text(QAccessible::Description).toStdString(); };
  const auto row = [this] { return item("Output device")->property("currentIndex").toInt(); };
  ASSERT_EQ(shown(), "Studio DAC");
  EXPECT_EQ(row(), 1) << "behind the headphones";
  const auto plugIn = [this](const char* name) {
    SimulatedDeviceConfig device;
    device.name = name;
    const AudioObjectID id = hardware.addDevice(device);
    settle();
    return id;
  };
  const AudioObjectID behind = plugIn("USB Interface");
  EXPECT_EQ(shown(), "Studio DAC");
  EXPECT_EQ(row(), 1);
  hardware.removeDevice(behind);
  settle();
  EXPECT_EQ(shown(), "Studio DAC");
  EXPECT_EQ(row(), 1);
  const AudioObjectID before = plugIn("Amplifier");
  EXPECT_EQ(shown(), "Studio DAC");
  EXPECT_EQ(row(), 2);
  hardware.removeDevice(before);
  settle();
  EXPECT_EQ(shown(), "Studio DAC");
  EXPECT_EQ(row(), 1);
}

/// What the tips say that belong to an item and to all that is in it.
std::set<std::string> tipsIn(const QQuickItem& item) {
  std::set<std::string> tips;
  for (const QObject* child : item.children()) {
    if (QByteArray(child->metaObject()->className()).startsWith("HelpTip"))
      tips.insert(child->property("text").toString().toStdString());
  }
  for (const QQuickItem* child : item.childItems()) tips.merge(tipsIn(*child));
  return tips;
}

TEST_F(WindowOutput, SaysWhatItsPartsAreFor) {
  load(1);
  const auto tips = [this] { return tipsIn(*window->contentItem()); };
  EXPECT_THAT(tips(), IsSupersetOf(
                          {"Select output device", "Stop and release output device", "Reset to 100%", "Reset to Center",
                           "Adjust player volume and stereo balance. Hold Shift while dragging for fine adjustment. "
                           "Double-click a slider or click its value to reset it. At 100% and Center, audio passes "
                           "through without processing.",
                           "Double-click to reset. Hold Shift while dragging for fine adjustment."}));
  constexpr auto withKeys =
      "Double-click to reset. Hold Shift while dragging for fine adjustment. Use arrow keys to adjust.";
  EXPECT_THAT(tips(), Not(Contains(withKeys)));
  item("Balance")->forceActiveFocus(Qt::TabFocusReason);
  EXPECT_THAT(tips(), Contains(withKeys));
}

TEST_F(WindowOutput, ATipOfASliderLeavesItsValueInSight) {
  for (const auto* name : {"Volume", "Balance"}) {
    const QQuickItem& slider = *item(QString::fromLatin1(name));
    QTest::mouseMove(window, placeIn(slider, 0.5, 0.5));
    QObject* tip = nullptr;
    for (QObject* child : slider.children())
      if (QByteArray(child->metaObject()->className()).startsWith("HelpTip")) tip = child;
    ASSERT_NE(tip, nullptr);
    ASSERT_TRUE(waitFor([&] { return tip->property("opened").toBool(); }));
    EXPECT_GE(tip->property("y").toDouble(), slider.height()) << name;
    QTest::mouseMove(window, QPoint(300, 20));
    ASSERT_TRUE(waitFor([&] { return !tip->property("visible").toBool(); }));
  }
}

TEST_F(WindowOutput, SaysWhichFilesItPlaysWhileItIsEmpty) {
  EXPECT_TRUE(isShown(QStringLiteral("WAV  ·  AIFF  ·  AIF  ·  FLAC  ·  MP3")));
  load(1);
  EXPECT_FALSE(isShown(QStringLiteral("WAV  ·  AIFF  ·  AIF  ·  FLAC  ·  MP3")));
}

/// Where the window's parts stand.
class WindowPlaces : public WindowOutput {
 protected:
  [[nodiscard]] std::map<std::string, QRectF> places() {
    settle();
    std::map<std::string, QRectF> found;
    for (const auto* name : {"Output device", "Exclusive Access", "Volume", "Balance", "Position", "Tracks", "Previous",
                             "Next", "Stop", "Open files", "Close"}) {
      const QQuickItem& part = *item(QString::fromLatin1(name));
      found[name] = part.mapRectToScene(QRectF(0, 0, part.width(), part.height()));
    }
    return found;
  }
  /// The detail of a path that alters samples in this many ways.
  void alter(int ways) {
    SimulatedDeviceConfig config;
    config.name = "Altering " + std::to_string(ways);
    config.alterations.emplace();
    for (int number = 0; number < ways; ++number)
      config.alterations->emplace_back(SampleAlteration::Kind::processed,
                                       "The filter number " + std::to_string(number) + " of this sink changes samples.",
                                       "Remove it from the configuration."_cure);
    const auto id = hardware.addDevice(config);
    settle();
    devices.loadAudioDevices();
    devices.select(id);
    content.playTrack(0, 0);
    settle();
  }
};

TEST_F(WindowPlaces, StayWhereTheyAreHoweverLongTheVerdictIs) {
  load(3);
  const auto before = places();
  std::set<qsizetype> lengths;
  for (const int ways : {1, 2, 3, 4, 8}) {
    alter(ways);
    lengths.insert(accessible("DSP ACTIVE")->text(QAccessible::Description).size());
    EXPECT_EQ(places(), before) << ways;
  }
  EXPECT_EQ(lengths.size(), 5U) << "each was longer than the one before";
  click("Stop");
  EXPECT_EQ(places(), before) << "stopped";
}

TEST_F(WindowPlaces, StayWhereTheyAreInAnyWriting) {
  load(3);
  const auto before = places();
  for (const char* name : {"夜想曲 第二番 嬰ハ短調", "राग यमन कल्याण", "สายน้ำ", "กู่ ที่นี่", "Ǻ̂Ç̧ÿ̱"}) {
    SimulatedPCMFile file;
    file.format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
    file.data.resize(std::size_t{441'000} * 4, std::byte{0x10});
    const FileURL url("/music/" + std::string(name) + ".wav");
    files.add(url, file);
    const std::vector list{url, track(2), track(3)};
    content.loadPlaylist(list);
    settle();
    ASSERT_TRUE(isShown(QString::fromUtf8(name)));
    EXPECT_EQ(places(), before) << name;
  }
}

TEST_F(WindowPlaces, LetASliderBeDoubleClickedWhoseFirstClickChangesTheVerdict) {
  load(3);
  const QPoint middle = place(*item("Volume"), 0.4);
  clickAt(middle);
  ASSERT_NEAR(volume(), 0.4, pixel("Volume"));
  EXPECT_TRUE(isShown("DSP ACTIVE"));
  QTest::mouseDClick(window, Qt::LeftButton, Qt::NoModifier, middle);
  settle();
  EXPECT_EQ(volume(), 1);
}

TEST_F(WindowOutput, KeepsItsPartsInTheWindowHoweverMuchThereIsToSayOfThePath) {
  SimulatedDeviceConfig config;
  config.name = "Talkative";
  config.alterations.emplace();
  for (int number = 0; number < 10; ++number)
    config.alterations->emplace_back(SampleAlteration::Kind::processed, "A filter (" + std::string(2000, 'x') + ").",
                                     "Remove it."_cure);
  const auto id = hardware.addDevice(config);
  settle();
  devices.loadAudioDevices();
  devices.select(id);
  load(3);
  content.playTrack(0, 0);
  settle();
  window->grabWindow();
  const QQuickItem& badge = *item("DSP ACTIVE");
  EXPECT_LE(badge.mapToScene({0, badge.height()}).y(), window->height());
  EXPECT_GE(item("Output device")->mapToScene({0, 0}).y(), row(0)->mapToScene({0, row(0)->height()}).y())
      << "the playlist has room for a track";
  EXPECT_TRUE(accessible("DSP ACTIVE")->text(QAccessible::Description).endsWith(QStringLiteral("Remove it.")));
}

}  // namespace
}  // namespace tolvane::test
