#include "ui/qt/QtConversions.h"

#include <gmock/gmock.h>

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(QtConversions, FilesOfThisMachineKeepTheirBytes) {
  const auto files =
      fileURLs({QUrl("file:///music/a%20b.wav"), QUrl("file://localhost/music/c.wav"), QUrl("FILE://LocalHost/d.wav"),
                QUrl("file:/e.wav"), QUrl("file:///f%FF.wav"), QUrl::fromLocalFile(QStringLiteral("/g#?%41.wav"))});
  std::vector<std::string> paths;
  for (const auto& file : files) paths.emplace_back(file.path());
  EXPECT_THAT(paths, ElementsAre("/music/a b.wav", "/music/c.wav", "/d.wav", "/e.wav", "/f\xFF.wav", "/g#?%41.wav"));
}

TEST(QtConversions, WhatIsNoFileOfThisMachineIsLeftOut) {
  for (const char* url : {"file://nas/music", "file://nas/music/a.wav", "file://127.0.0.1/a.wav",
                          "https://localhost/a.wav", "smb://nas/a.wav", "/a.wav", "a.wav", "", "file:///a%00.wav"})
    EXPECT_THAT(fileURLs({QUrl(QString::fromLatin1(url))}), IsEmpty()) << url;
}

TEST(QtConversions, TextThatIsNotUTF8Shows) { EXPECT_EQ(toQString("a\xFF\x62"), QStringLiteral("a\uFFFD\u0062")); }

}  // namespace
}  // namespace tolvane
