// The mark on a row whose file could not be played.

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QtTest/QTest>
#include <map>

#include "tests/ui/qt/WindowFixture.h"
#include "ui/qt/items/Icon.h"
#include "ui/qt/models/TrackListModel.h"

namespace tolvane::test {
namespace {

constexpr const char* notThere =
    "The file is not there. It may have been moved, renamed or deleted.\n"
    "Opening the PCM file failed (Core Audio -43).";

class WindowUnplayable : public WindowFixture {
 protected:
  TrackListModel& model() { return *window->property("tracks").value<TrackListModel*>(); }
  [[nodiscard]] std::string problem(int row) {
    return model().data(model().index(row), TrackListModel::problemRole).toString().toStdString();
  }
  static QQuickItem* find(QQuickItem* in, const QString& name) {
    if (in->objectName() == name) return in;
    for (QQuickItem* child : in->childItems())
      if (QQuickItem* found = find(child, name)) return found;
    return nullptr;
  }
  QQuickItem* mark(int index) { return find(row(index), QStringLiteral("unplayableMark")); }
  [[nodiscard]] bool isMarked(int index) {
    const QQuickItem* found = mark(index);
    return found != nullptr && found->isVisible();
  }
  [[nodiscard]] static QObject* tipOf(const QQuickItem& item) {
    for (QObject* child : item.children())
      if (QByteArray(child->metaObject()->className()).startsWith("HelpTip")) return child;
    return nullptr;
  }
  [[nodiscard]] std::string description(int index) {
    return QAccessible::queryAccessibleInterface(row(index))->text(QAccessible::Description).toStdString();
  }
  /// Three tracks; the second one's file has gone, and was tried.
  void loadWithMissing() {
    load(3);
    files.remove(track(2));
    content.playTrack(1, 0);
    settle();
  }
  /// Where all that is shown in a row stands.
  static std::map<std::pair<const QQuickItem*, int>, QRectF> places(const QQuickItem* in) {
    std::map<std::pair<const QQuickItem*, int>, QRectF> found;
    for (const QQuickItem* child : in->childItems()) {
      if (child->objectName() == "unplayableMark") continue;
      found[{child, 0}] = child->mapRectToScene(child->boundingRect());
      found.merge(places(child));
    }
    return found;
  }
};

TEST_F(WindowUnplayable, MarksTheRowOfTheFileAndNoOther) {
  const QAbstractItemModelTester tester(&model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
  loadWithMissing();
  EXPECT_EQ(problem(1), notThere);
  EXPECT_TRUE(isMarked(1));
  for (const int other : {0, 2}) {
    EXPECT_EQ(problem(other), "");
    EXPECT_FALSE(isMarked(other));
    EXPECT_EQ(description(other), "");
  }
  session.moveTrack(1, 2);
  settle();
  EXPECT_EQ(problem(1), "");
  EXPECT_EQ(problem(2), notThere);
  EXPECT_TRUE(isMarked(2));
}

TEST_F(WindowUnplayable, MarksEachRowOfAFileThatStandsInTheListTwice) {
  const auto urls = addTracks(2);
  content.loadPlaylist(std::vector{urls[0], urls[1], urls[0]});
  settle();
  files.remove(urls[0]);
  for (const int index : {1, 2}) {
    content.playTrack(index, 0);
    settle();
  }
  EXPECT_TRUE(isMarked(0));
  EXPECT_FALSE(isMarked(1));
  EXPECT_TRUE(isMarked(2));
}

TEST_F(WindowUnplayable, NotifiesTheModelOfTheMarkedRowAlone) {
  load(3);
  files.remove(track(2));
  QSignalSpy changes(&model(), &QAbstractItemModel::dataChanged);
  content.playTrack(1, 0);
  settle();
  int notified = 0;
  for (const auto& change : changes) {
    if (!change[2].value<QList<int>>().contains(TrackListModel::problemRole)) continue;
    ++notified;
    EXPECT_EQ(change[0].toModelIndex().row(), 1);
    EXPECT_EQ(change[1].toModelIndex().row(), 1);
  }
  EXPECT_EQ(notified, 1);
}

TEST_F(WindowUnplayable, MovesNothing) {
  load(3);
  const auto before = places(row(1));
  EXPECT_GT(before.size(), 10U);
  files.remove(track(2));
  for (const int index : {1, 0}) {
    content.playTrack(index, 0);
    settle();
  }
  ASSERT_TRUE(isMarked(1));
  EXPECT_EQ(places(row(1)), before);
}

TEST_F(WindowUnplayable, HasTheMarkWithinTheRow) {
  loadWithMissing();
  for (const QSize size : {QSize(600, 700), QSize(1600, 1000)}) {
    window->resize(size);
    settle();
    const QRectF marked = mark(1)->mapRectToScene(mark(1)->boundingRect());
    EXPECT_TRUE(row(1)->mapRectToScene(row(1)->boundingRect()).contains(marked));
  }
}

TEST_F(WindowUnplayable, ShowsTheMarkInsteadOfTheNumberInEmber) {
  loadWithMissing();
  const auto* icon = mark(1)->findChild<Icon*>();
  ASSERT_NE(icon, nullptr);
  EXPECT_EQ(icon->shape(), Icon::Warning);
  EXPECT_EQ(icon->color(), QColor::fromRgbF(0.937F, 0.408F, 0.298F));
  const auto ember = [this](int index) {
    const QImage shown = window->grabWindow();
    const QRect place(placeIn(*row(index), 0, 0) + QPoint(10, 10), QSize(36, 38));
    int pixels = 0;
    for (int y = place.top(); y < place.bottom(); ++y)
      for (int x = place.left(); x < place.right(); ++x)
        if (const QColor color = shown.pixelColor(x, y); color.red() > 200 && color.green() < 130) ++pixels;
    return pixels;
  };
  EXPECT_GT(ember(1), 20);
  EXPECT_EQ(ember(0), 0);
  const auto isNumberShown = [this](int index) {
    QList<QAccessibleInterface*> all = controls();
    return std::ranges::any_of(all, [&](const auto* control) {
      const auto* shown = qobject_cast<QQuickItem*>(control->object());
      return shown != nullptr && control->role() == QAccessible::StaticText && row(index)->isAncestorOf(shown) &&
             control->text(QAccessible::Name) == QStringLiteral("0%1").arg(index + 1);
    });
  };
  EXPECT_TRUE(isNumberShown(0));
  EXPECT_FALSE(isNumberShown(1));
}

TEST_F(WindowUnplayable, SaysWhyUnderThePointer) {
  loadWithMissing();
  content.playTrack(0, 0);
  settle();
  QObject* tip = tipOf(*mark(1));
  ASSERT_NE(tip, nullptr);
  EXPECT_FALSE(tip->property("visible").toBool());
  QTest::mouseMove(window, placeIn(*mark(1), 0.5, 0.5));
  ASSERT_TRUE(waitFor([&] { return tip->property("opened").toBool(); }));
  EXPECT_EQ(tip->property("text").toString().toStdString(), notThere);
  QTest::mouseMove(window, QPoint(300, 20));
  EXPECT_TRUE(waitFor([&] { return !tip->property("visible").toBool(); }));
}

TEST_F(WindowUnplayable, SaysWhyWhereTheKeyboardIs) {
  loadWithMissing();
  item("Tracks")->forceActiveFocus(Qt::TabFocusReason);
  key(Qt::Key_Home);
  QObject* tip = tipOf(*mark(1));
  EXPECT_FALSE(tip->property("visible").toBool());
  key(Qt::Key_Down);
  EXPECT_TRUE(waitFor([&] { return tip->property("opened").toBool(); }));
  EXPECT_TRUE(item("Tracks")->property("activeFocus").toBool()) << "the tip takes no keys";
  key(Qt::Key_Down);
  EXPECT_TRUE(waitFor([&] { return !tip->property("visible").toBool(); }));
}

TEST_F(WindowUnplayable, SaysWhyToAssistiveTechnology) {
  loadWithMissing();
  EXPECT_EQ(description(1),
            "Current track. Cannot be played. The file is not there. It may have been moved, renamed or deleted. "
            "Opening the PCM file failed (Core Audio -43).");
}

TEST_F(WindowUnplayable, LetsTheRowBePlayedByAClickOnTheMark) {
  loadWithMissing();
  content.playTrack(0, 0);
  addTracks(3);
  clickAt(placeIn(*mark(1), 0.5, 0.5));
  EXPECT_EQ(currentIndex(), 1);
  EXPECT_TRUE(isPlaying());
  EXPECT_FALSE(isMarked(1));
}

TEST_F(WindowUnplayable, LooksAgainWhenTheWindowComesToTheFront) {
  loadWithMissing();
  QWindow other;
  other.show();
  other.requestActivate();
  ASSERT_TRUE(waitFor([&] { return !window->isActive(); }));
  addTracks(3);
  settle();
  EXPECT_TRUE(isMarked(1)) << "nothing has looked";
  other.close();
  window->requestActivate();
  ASSERT_TRUE(waitFor([&] { return window->isActive(); }));
  settle();
  EXPECT_FALSE(isMarked(1));
  EXPECT_EQ(description(1), "Current track");
}

TEST_F(WindowUnplayable, ReadsTheWaveformOfAFileThatHasChanged) {
  const auto urls = addTracks(2);
  files.remove(track(2));
  content.loadPlaylist(urls);
  settle();
  content.playTrack(1, 0);
  settle();
  ASSERT_TRUE(isMarked(1));
  ASSERT_EQ(content.waveforms().samples(track(2)), nullptr);
  addTracks(2);
  model().lookAgain();
  settle();
  EXPECT_FALSE(isMarked(1));
  EXPECT_NE(content.waveforms().samples(track(2)), nullptr);
}

TEST_F(WindowUnplayable, HasNoMarkInAListThatReplacesTheRows) {
  loadWithMissing();
  const auto urls = addTracks(3);
  content.loadPlaylist(std::vector{urls[2], urls[0]});
  settle();
  EXPECT_FALSE(isMarked(0));
  EXPECT_FALSE(isMarked(1));
}

TEST_F(WindowUnplayable, SaysInRowAndSheetWhatTheFileIs) {
  addTracks(1);
  const FileURL misnamed("/music/Track 9.flac");
  files.setFinding(misnamed, {.place = FilePlace::file, .content = FileContent::wav});
  content.loadPlaylist(std::vector{misnamed});
  settle();
  EXPECT_EQ(problem(0), "This is not a FLAC file: it begins like a WAV.\nOpening FLAC failed (Core Audio -43).");
  const auto* output = window->property("output").value<QObject*>();
  EXPECT_EQ(output->property("pathPlainly").toString().toStdString(), "This is not a FLAC file: it begins like a WAV.");
}

TEST_F(WindowUnplayable, MarksNoFileThatPlaysAsFarAsItGoes) {
  SimulatedPCMFile file;
  file.format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
  file.data.resize(44100 * 4 * 10);
  file.wholeByteCount = 44100 * 4 * 245;
  files.add(track(1), std::move(file));
  content.loadPlaylist(std::vector{track(1)});
  settle();
  EXPECT_TRUE(isPlaying());
  EXPECT_FALSE(isMarked(0));
  const auto* output = window->property("output").value<QObject*>();
  EXPECT_EQ(output->property("pathPlainly").toString().toStdString(), "The file is cut off after 0:10 of 4:05.");
}

}  // namespace
}  // namespace tolvane::test
