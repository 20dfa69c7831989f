// The player as a program: its starts, its ends and what it takes from the desktop. Nothing is played here: what is
// opened are files that only look like music, so that no sound card is used.

#include <gmock/gmock.h>

#include <QFile>
#include <csignal>

#include "tests/app/ProgramFixture.h"
#include "tests/app/dbus/FakePortal.h"
#include "tests/platform/tags/TagBytes.h"
#include "tests/support/SilentSocket.h"

namespace tolvane {
namespace {

class Program : public test::ProgramFixture {};

TEST_F(Program, StartsShowsItsFacesAndEndsOnSIGTERM) {
  const auto player = startPlayer();
  EXPECT_EQ(title(), QString());
  EXPECT_EQ(terminate(*player), 0);
  EXPECT_FALSE(isRunning());
}

TEST_F(Program, SpeaksTheLanguageOfItsEnvironment) {
  const auto firstOfMenu = [this] {
    const auto reply = call(QStringLiteral("/StatusNotifierItem/Menu"), QStringLiteral("com.canonical.dbusmenu"),
                            QStringLiteral("GetProperty"), {1, QStringLiteral("label")});
    return reply.arguments().value(0).value<QDBusVariant>().variant().toString();
  };
  for (const auto& [language, text] : {std::pair("ja", "トラックが選択されていません"),
                                       {"de", "Kein Titel ausgewählt"},
                                       {"en", "No track selected"},
                                       {"xx", "No track selected"}}) {
    environment.insert(QStringLiteral("LANGUAGE"), QLatin1String(language));
    const auto player = startPlayer();
    EXPECT_EQ(firstOfMenu(), QString::fromUtf8(text)) << language;
    EXPECT_EQ(terminate(*player), 0);
  }
}

TEST_F(Program, SaysWhatItIsWithoutADisplay) {
  environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
  environment.remove(QStringLiteral("DISPLAY"));
  for (const auto& [option, beginning] : {std::pair("--version", "tolvane-player "),
                                          {"--help",
                                           "Usage: tolvane-player [FILE...]\nPlays WAV, AIFF, FLAC and MP3 files "
                                           "without altering a sample. A FILE is one "
                                           "of these, a folder with music,\na playlist"}}) {
    QProcess player;
    player.setProcessEnvironment(environment);
    player.start(QStringLiteral(TOLVANE_PLAYER), {QLatin1String(option)});
    EXPECT_EQ(exitCode(player), 0) << option;
    EXPECT_THAT(player.readAllStandardOutput().toStdString(), testing::StartsWith(beginning));
  }
}

TEST_F(Program, LoadsTheFilesOfItsCommandLine) {
  const auto player = startPlayer({file("b.wav"), file("a.wav"), file("notes.txt")});
  waitUntil([this] { return title() == QStringLiteral("a"); });
  EXPECT_EQ(terminate(*player), 0);
}

TEST_F(Program, LoadsTheTracksOfASheetAndKeepsThemWithoutIt) {
  const auto sheet = file("album.cue");
  home.write("album.cue",
             "TITLE \"Slow Water\"\nFILE \"album.wav\" WAVE\nTRACK 01 AUDIO\nTITLE \"Vespers\"\nINDEX 01 00:00:00\n"
             "TRACK 02 AUDIO\nTITLE \"Lauds\"\nINDEX 01 00:02:00\n");
  const QString music = file("album.flac");
  const auto first = startPlayer({sheet});
  waitUntil([this] { return title() == QStringLiteral("Vespers"); });
  waitUntil([this] { return metadata(QStringLiteral("xesam:album")) == QStringLiteral("Slow Water"); });
  EXPECT_EQ(url().toLocalFile(), music);
  EXPECT_EQ(terminate(*first), 0);
  std::filesystem::remove(home.path() / "album.cue");
  const auto second = startPlayer();
  waitUntil([this] { return title() == QStringLiteral("Vespers"); });
  EXPECT_EQ(url().toLocalFile(), music);
  EXPECT_EQ(terminate(*second), 0);
}

TEST_F(Program, ShowsTheDesktopWhatAFileStatesAboutItsMusic) {
  const auto picture = test::jpegBytes("a picture");
  const auto music =
      home.write("music/a.flac", test::flacWith({{4, test::vorbisComment({"TITLE=Vespers", "ALBUM=Slow Water"})},
                                                 {6, test::flacPicture(3, picture)}}));
  const auto player = startPlayer({QString::fromStdString(music.path())});
  waitUntil([this] { return metadata(QStringLiteral("mpris:artUrl")).startsWith(QStringLiteral("file:")); });
  EXPECT_EQ(title(), QStringLiteral("Vespers"));
  EXPECT_EQ(metadata(QStringLiteral("xesam:album")), QStringLiteral("Slow Water"));
  const QString cover = QUrl(metadata(QStringLiteral("mpris:artUrl"))).toLocalFile();
  EXPECT_TRUE(cover.startsWith(QString::fromStdString((home.path() / "tolvane-player/covers/").string())));
  QFile stored(cover);
  ASSERT_TRUE(stored.open(QFile::ReadOnly));
  EXPECT_EQ(stored.readAll(),
            QByteArray(reinterpret_cast<const char*>(picture.data()), static_cast<int>(picture.size())));
  EXPECT_EQ(terminate(*player), 0);
}

TEST_F(Program, HandsTheFilesOfASecondStartToTheFirst) {
  const auto first = startPlayer();
  const auto second = start({file("sonata.flac")});
  EXPECT_EQ(exitCode(*second), 0);
  waitUntil([this] { return title() == QStringLiteral("sonata"); });
  EXPECT_EQ(first->state(), QProcess::Running);
  EXPECT_EQ(terminate(*first), 0);
}

TEST_F(Program, SaysWhatItCouldNotOpenAtTheFirstStartAndAtTheSecond) {
  const auto has = [this](const char* name, const char* why) {
    return QStringLiteral("Nothing to play in %1: %2").arg(QLatin1String(name), QLatin1String(why));
  };
  QString said;
  const auto first = startPlayer({QString::fromStdString((home.path() / "missing.flac").string())});
  const auto awaitNotice = [&](const QString& notice) {
    waitUntil([&] { return (said += first->readAllStandardError()).contains(notice); });
  };
  awaitNotice(has("missing.flac", "it does not exist."));
  std::filesystem::create_directory(home.path() / "folder");
  std::filesystem::create_directory_symlink(home.path() / "folder", home.path() / "link");
  file("a.ogg");
  for (const auto& [name, why] : {std::pair{"a.ogg", ".ogg is not a format this player plays."},
                                  {"folder", "the folder is empty."},
                                  {"link", "it is a link to a folder, and links to folders are not followed."}}) {
    EXPECT_EQ(exitCode(*start({QString::fromStdString((home.path() / name).string())})), 0);
    awaitNotice(has(name, why));
  }
  EXPECT_EQ(terminate(*first), 0);
}

TEST_F(Program, OpensFilesWhoseNamesLookLikeSomethingElse) {
  std::filesystem::create_directories(home.path() / "elsewhere" / "album");
  std::filesystem::create_directory_symlink(home.path() / "elsewhere" / "album", home.path() / "link");
  home.write("elsewhere/x.wav", "no music at all");
  home.write("x.wav", "no music at all");
  const auto folder = QString::fromStdString(home.path().string());
  for (const auto* name : {"Bach: Partita.wav", "01:Intro.wav", "-first.wav"}) file(name);
  std::unique_ptr<QProcess> first;
  int opened = 0;
  for (const auto& [words, expected] : {std::pair{QStringList{QStringLiteral("Bach: Partita.wav")}, "Bach: Partita"},
                                        {{QStringLiteral("01:Intro.wav")}, "01:Intro"},
                                        {{QStringLiteral("--"), QStringLiteral("-first.wav")}, "-first"},
                                        {{QStringLiteral("link/../x.wav")}, "x"}}) {
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(environment);
    process->setWorkingDirectory(folder);
    process->start(QStringLiteral(TOLVANE_PLAYER), words);
    if (!first) {
      first = std::move(process);
      waitUntil([this] { return isRunning(); });
    } else {
      EXPECT_EQ(exitCode(*process), 0);
    }
    waitUntil([&, name = expected] { return title() == QLatin1String(name); });
    ++opened;
  }
  EXPECT_EQ(opened, 4);
  EXPECT_EQ(std::filesystem::canonical(url().toLocalFile().toStdString()),
            std::filesystem::canonical(home.path() / "elsewhere" / "x.wav"));
  EXPECT_EQ(terminate(*first), 0);
}

TEST_F(Program, ReachesTheRunningPlayerThroughDesktopActions) {
  const auto player = startPlayer({file("a.wav"), file("b.wav")});
  waitUntil([this] { return title() == QStringLiteral("a"); });
  EXPECT_EQ(act(QStringLiteral("next")).type(), QDBusMessage::ReplyMessage);
  EXPECT_EQ(title(), QStringLiteral("b"));
  EXPECT_EQ(act(QStringLiteral("previous")).type(), QDBusMessage::ReplyMessage);
  EXPECT_EQ(title(), QStringLiteral("a"));
  EXPECT_EQ(act(QStringLiteral("show-player")).type(), QDBusMessage::ReplyMessage);
  EXPECT_EQ(act(QStringLiteral("explode")).type(), QDBusMessage::ErrorMessage);
  EXPECT_EQ(terminate(*player), 0);
}

TEST_F(Program, QuitsOverTheBusAndRestoresThePlaylistAtTheNextStart) {
  const auto first = startPlayer({file("a.wav"), file("b.wav")});
  waitUntil([this] { return title() == QStringLiteral("a"); });
  act(QStringLiteral("next"));
  call(QStringLiteral("/org/mpris/MediaPlayer2"), QStringLiteral("org.mpris.MediaPlayer2"), QStringLiteral("Quit"));
  EXPECT_EQ(exitCode(*first), 0);
  const auto second = startPlayer();
  waitUntil([this] { return title() == QStringLiteral("b"); });  // restored in the background
  EXPECT_EQ(terminate(*second), 0);
}

TEST_F(Program, IsStartedByTheBus) {
  letTheBusStartIt();
  EXPECT_EQ(askApplication("Activate", {QVariantMap()}).type(), QDBusMessage::ReplyMessage);
  quit();
}

TEST_F(Program, IsStartedByTheBusForTheFilesThatItIsToOpen) {
  letTheBusStartIt();
  const auto url = QUrl::fromLocalFile(file("sonata no. 1.flac")).toString(QUrl::FullyEncoded);
  ASSERT_FALSE(isRunning());
  EXPECT_EQ(askApplication("Open", {QStringList{url}, QVariantMap()}).type(), QDBusMessage::ReplyMessage);
  waitUntil([this] { return title() == QStringLiteral("sonata no. 1"); });
  quit();
}

TEST_F(Program, EndsInOrderAlsoAfterTheBusHasDied) {
  const auto player = startPlayer({file("a.wav")});
  waitUntil([this] { return title() == QStringLiteral("a"); });
  bus.die();
  EXPECT_EQ(terminate(*player), 0);
}

TEST_F(Program, StartsAloneWithoutABus) {
  environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent"));
  const auto player = start({file("a.wav")});
  const auto store = home.path() / "tolvane-player";
  waitUntil([&] { return std::filesystem::exists(store) || player->state() == QProcess::NotRunning; });
  EXPECT_EQ(player->state(), QProcess::Running);
  EXPECT_EQ(terminate(*player), 0);
}

TEST_F(Program, StartsAloneWhereTheBusNeverAnswers) {
  const auto path = (home.path() / "silent").string();
  const test::SilentSocket silent(path);
  environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=%1").arg(path.c_str()));
  const auto player = start({file("a.wav")});
  const auto store = home.path() / "tolvane-player";
  waitUntil([&] { return std::filesystem::exists(store) || player->state() == QProcess::NotRunning; });
  EXPECT_EQ(player->state(), QProcess::Running);
  EXPECT_EQ(terminate(*player), 0);
  EXPECT_EQ(player->readAllStandardError().count("SessionBus: The session bus does not answer"), 1);
}

TEST_F(Program, HasThePortalOpenFiles) {
  const test::FakePortal portal(client, 3);
  const auto player = startPlayer();
  // Once the player, and once the part of Qt that will show the dialogs.
  waitUntil([&] { return portal.questions() == 2; });
  quit();
}

TEST_F(Program, LeavesAnotherChoiceOfDialogsAlone) {
  const test::FakePortal portal(client, 3);
  environment.insert(QStringLiteral("QT_QPA_PLATFORMTHEME"), QStringLiteral("none"));
  const auto player = startPlayer();
  quit();
  EXPECT_EQ(portal.questions(), 0);
}

TEST_F(Program, RefusesOptions) {
  const auto player = start({QStringLiteral("--shuffle")});
  EXPECT_EQ(exitCode(*player), 2);
  EXPECT_EQ(player->readAllStandardError(),
            "tolvane-player: The player takes files and folders, and no options: --shuffle\n");
}

}  // namespace
}  // namespace tolvane
