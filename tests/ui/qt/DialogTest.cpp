#include <QRegularExpression>
#include <QtTest/QTest>
#include <algorithm>

#include "tests/support/TemporaryFolder.h"
#include "tests/ui/qt/WindowFixture.h"

namespace tolvane::test {
namespace {

using testing::ElementsAre;

class WindowDialogs : public WindowFixture {
 protected:
  [[nodiscard]] QObject& dialog(const char* name) const {
    auto* found = window->findChild<QObject*>(QString::fromLatin1(name));
    if (found == nullptr) throw std::runtime_error(std::string("There is no ") + name);
    return *found;
  }
  [[nodiscard]] bool isOpen(const char* name) const { return dialog(name).property("visible").toBool(); }
  /// The desktop's dialogs are not here; these stand in.
  [[nodiscard]] QObject& standIn(const char* className) const {
    for (QObject* child : window->findChildren<QObject*>()) {
      if (child->inherits(className)) return *child;
    }
    throw std::runtime_error(std::string("There is no ") + className);
  }
  void acceptFile(const QUrl& url) {
    QObject& shown = standIn("QQuickFileDialogImpl");
    shown.setProperty("selectedFile", url);
    EXPECT_TRUE(QMetaObject::invokeMethod(&shown, "accept"));
    returnFromDialog();
    EXPECT_FALSE(isOpen("fileDialog"));
  }
  void acceptFolder(const QUrl& url) {
    QObject& shown = standIn("QQuickFolderDialogImpl");
    shown.setProperty("selectedFolder", url);
    EXPECT_TRUE(QMetaObject::invokeMethod(&shown, "accept"));
    returnFromDialog();
    EXPECT_FALSE(isOpen("folderDialog"));
  }
  void reject(const char* name) {
    EXPECT_TRUE(QMetaObject::invokeMethod(&dialog(name), "reject"));
    returnFromDialog();
    EXPECT_FALSE(isOpen(name));
  }
  QUrl write(const std::string& name, std::string_view text = "x") {
    return QUrl::fromLocalFile(QString::fromStdString(std::string(folder.write(name, text).path())));
  }

  TemporaryFolder folder;
};

TEST_F(WindowDialogs, OpenByButtonAndByShortcut) {
  for (const auto& [name, button, modifiers] :
       {std::tuple{"fileDialog", "Open files", Qt::KeyboardModifiers(Qt::ControlModifier)},
        {"folderDialog", "Open a folder", Qt::ControlModifier | Qt::ShiftModifier}}) {
    EXPECT_FALSE(isOpen(name));
    click(QString::fromLatin1(button));
    EXPECT_TRUE(isOpen(name)) << button;
    reject(name);
    key(Qt::Key_O, modifiers);
    EXPECT_TRUE(isOpen(name)) << "by shortcut";
    reject(name);
  }
}

TEST_F(WindowDialogs, PlayTheFileThatWasChosen) {
  load(2);
  click("Open files");
  acceptFile(write("Track 7.wav"));
  EXPECT_THAT(order(), ElementsAre(7));
}

TEST_F(WindowDialogs, PlayWhatTheChosenPlaylistNames) {
  load(2);
  write("Track 7.wav");
  write("Track 3.wav");
  click("Open files");
  acceptFile(write("list.M3U8", "Track 7.wav\nTrack 3.wav\n"));
  EXPECT_THAT(order(), ElementsAre(7, 3));
}

TEST_F(WindowDialogs, PlayTheTracksOfTheChosenSheet) {
  write("Track 7.wav");
  click("Open files");
  acceptFile(write("album.cue",
                   "FILE \"Track 7.wav\" WAVE\nTRACK 1 AUDIO\nTITLE One\nINDEX 01 00:00:00\nTRACK 2 AUDIO\nTITLE Two\n"
                   "INDEX 01 00:02:00\n"));
  EXPECT_THAT(order(), ElementsAre(7, 7));
  EXPECT_TRUE(isShown("One"));
  click("Next");
  EXPECT_TRUE(isShown("Two"));
}

TEST_F(WindowDialogs, PlayWhatTheChosenFolderHolds) {
  load(2);
  write("new/Track 3.flac");
  write("new/deep/Track 4.wav");
  write("new/notes.txt");
  key(Qt::Key_O, Qt::ControlModifier | Qt::ShiftModifier);
  acceptFolder(QUrl::fromLocalFile(QString::fromStdString(folder.path() / "new")));
  EXPECT_THAT(order(), ElementsAre(3, 4));
}

TEST_F(WindowDialogs, AddWhatWasChosenWithShift) {
  load(2);
  QTest::mouseClick(window, Qt::LeftButton, Qt::ShiftModifier, placeIn(*item("Open files"), 0.5, 0.5));
  settle();
  acceptFile(write("Track 7.wav"));
  EXPECT_THAT(order(), ElementsAre(1, 2, 7));
  write("new/Track 8.flac");
  item("Open a folder")->forceActiveFocus(Qt::TabFocusReason);
  key(Qt::Key_Return, Qt::ShiftModifier);
  acceptFolder(QUrl::fromLocalFile(QString::fromStdString(folder.path() / "new")));
  EXPECT_THAT(order(), ElementsAre(1, 2, 7, 8));
  EXPECT_EQ(currentIndex(), 0);
  key(Qt::Key_O, Qt::ControlModifier);
  acceptFile(write("Track 9.wav"));
  EXPECT_THAT(order(), ElementsAre(9)) << "without it the list is replaced";
}

TEST_F(WindowDialogs, LeaveThePlaylistAloneWhenNothingIsChosen) {
  load(2);
  click("Open files");
  standIn("QQuickFileDialogImpl").setProperty("selectedFile", write("Track 7.wav"));
  reject("fileDialog");
  click("Open a folder");
  reject("folderDialog");
  EXPECT_THAT(order(), ElementsAre(1, 2));
  EXPECT_TRUE(isPlaying());
}

TEST_F(WindowDialogs, OfferTheFilesThatThePlayerPlays) {
  const auto filters = dialog("fileDialog").property("nameFilters").toStringList();
  ASSERT_EQ(filters.size(), 1);
  const QString pattern = filters[0].section(QLatin1Char('('), 1).chopped(1);
  const auto offers = [patterns = pattern.split(QLatin1Char(' '))](const char* name) {
    return std::ranges::any_of(patterns, [&](const QString& one) {
      return QRegularExpression::fromWildcard(one).match(QString::fromLatin1(name)).hasMatch();
    });
  };
  for (const auto* name :
       {"a.wav", "A.WAV", "Song.Flac", "x.aIf", "x.Aiff", "x.mP3", "list.m3u", "List.M3U8", "Album.Cue"})
    EXPECT_TRUE(offers(name)) << name;
  for (const auto* name : {"a.ogg", "wav", "a.flac.txt", "list.pls"}) EXPECT_FALSE(offers(name)) << name;
}

}  // namespace
}  // namespace tolvane::test
