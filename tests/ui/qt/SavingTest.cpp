#include <QtTest/QTest>
#include <fstream>
#include <iterator>

#include "tests/support/TemporaryFolder.h"
#include "tests/ui/qt/WindowFixture.h"
#include "ui/qt/models/SourceModel.h"

namespace tolvane::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr auto saveButton = "Save the list as a playlist";

/// In the dialog that stands in for the desktop's, which are not here.
class WindowSaving : public WindowFixture {
 protected:
  [[nodiscard]] QObject& dialog() const { return *window->findChild<QObject*>(QStringLiteral("saveDialog")); }
  [[nodiscard]] bool isOpen() const { return dialog().property("visible").toBool(); }
  [[nodiscard]] QString place(const std::string& name) const {
    return QUrl::fromLocalFile(QString::fromStdString(folder.path() / name)).toString();
  }
  void accept(const std::string& name) {
    ASSERT_TRUE(isOpen());
    QObject* shown = nullptr;
    for (QObject* child : window->findChildren<QObject*>())
      if (child->inherits("QQuickFileDialogImpl") && child->property("visible").toBool()) shown = child;
    ASSERT_NE(shown, nullptr);
    shown->setProperty("selectedFile", QUrl(place(name)));
    ASSERT_TRUE(QMetaObject::invokeMethod(shown, "accept"));
    returnFromDialog();
    EXPECT_FALSE(isOpen());
  }
  /// Of a window that has no dialog of its own.
  void chooseInTheDesktopsDialog(const QUrl& url) {
    QObject withoutDialog;
    window->property("source").value<SourceModel*>()->savePlaylist(url, &withoutDialog);
    settle();
  }
  [[nodiscard]] std::string textOf(const std::string& name) const {
    std::ifstream file(folder.path() / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  TemporaryFolder folder;
};

TEST_F(WindowSaving, HappensByButtonAndByKey) {
  load(2);
  click(saveButton);
  accept("First.m3u8");
  EXPECT_EQ(textOf("First.m3u8"),
            "#EXTM3U\n#EXTINF:10,Track 1\n/music/Track 1.wav\n#EXTINF:10,Track 2\n/music/Track 2.wav\n");
  EXPECT_TRUE(isShown("2 tracks saved in First.m3u8."));
  key(Qt::Key_S, Qt::ControlModifier);
  accept("Second.m3u8");
  EXPECT_THAT(textOf("Second.m3u8"), StartsWith("#EXTM3U\n"));
  item(QString::fromLatin1(saveButton))->forceActiveFocus(Qt::TabFocusReason);
  key(Qt::Key_Return);
  accept("Third.m3u8");
  EXPECT_THAT(textOf("Third.m3u8"), StartsWith("#EXTM3U\n"));
  EXPECT_TRUE(isPlaying());
}

TEST_F(WindowSaving, WritesTheListAsItIsShown) {
  load(3);
  session.moveTrack(2, 0);
  settle();
  click(saveButton);
  accept("List.m3u8");
  EXPECT_THAT(textOf("List.m3u8"), HasSubstr("Track 3.wav\n#EXTINF:10,Track 1\n"));
}

TEST_F(WindowSaving, IsNotOfferedWithoutAList) {
  EXPECT_FALSE(isShown(saveButton));
  key(Qt::Key_S, Qt::ControlModifier);
  EXPECT_FALSE(isOpen());
}

TEST_F(WindowSaving, ChangesNothingWhenItIsCancelled) {
  load(1);
  click(saveButton);
  ASSERT_TRUE(QMetaObject::invokeMethod(&dialog(), "reject"));
  settle();
  EXPECT_FALSE(isOpen());
  EXPECT_TRUE(background.empty());
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST_F(WindowSaving, ReplacesAFileOnlyAfterADialogThatAsks) {
  load(1);
  folder.write("List.m3u8", "old");
  click(saveButton);
  accept("List.m3u8");
  EXPECT_EQ(textOf("List.m3u8"), "old");
  EXPECT_TRUE(isShown("List.m3u8 was not saved: a file of that name is there already."));
  chooseInTheDesktopsDialog(QUrl(place("List.m3u8")));
  EXPECT_THAT(textOf("List.m3u8"), StartsWith("#EXTM3U\n"));
  EXPECT_TRUE(isShown("1 track saved in List.m3u8."));
}

TEST_F(WindowSaving, SaysWhyItFailed) {
  load(1);
  click(saveButton);
  accept("missing/List.m3u8");
  EXPECT_TRUE(isShown("List.m3u8 was not saved: its folder does not exist."));
  chooseInTheDesktopsDialog(QUrl(QStringLiteral("smb://server/List.m3u8")));
  EXPECT_TRUE(isShown("The list was not saved: that place is not a folder of this machine."));
  EXPECT_TRUE(isPlaying());
}

}  // namespace
}  // namespace tolvane::test
