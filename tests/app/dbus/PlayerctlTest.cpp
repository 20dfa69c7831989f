#include <gmock/gmock.h>

#include "app/dbus/MediaPlayerService.h"
#include "tests/app/dbus/BusFixture.h"

namespace tolvane {
namespace {

/// The player as users script it.
class Playerctl : public test::BusFixture {
 protected:
  Playerctl() { load(3); }

  Outcome playerctl(const QStringList& words) {
    return run(QStringLiteral("playerctl"), QStringList{QStringLiteral("--player=tolvane_test")} + words);
  }
  QString ask(const QString& words) { return playerctl(words.split(QLatin1Char(' '))).output; }
  void command(const QString& words) {
    EXPECT_EQ(playerctl(words.split(QLatin1Char(' '))).exitCode, 0) << qPrintable(words);
  }

  MediaControls controls{proxy, runLoop, [this](const FileURL& url, const auto& answer) {
                           proxy.loadPlaylist({&url, 1}, true);
                           answer(true);
                         }};
  MediaPlayerService mediaPlayer{service, identity, controls, {.raise = [] {}, .quit = [] {}}};
};

TEST_F(Playerctl, FindsThePlayer) {
  EXPECT_EQ(ask(QStringLiteral("--list-all")), QStringLiteral("tolvane_test"));
  EXPECT_EQ(ask(QStringLiteral("status")), QStringLiteral("Stopped"));
}

TEST_F(Playerctl, PlaysPausesAndStops) {
  command(QStringLiteral("play"));
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(ask(QStringLiteral("status")), QStringLiteral("Playing"));
  command(QStringLiteral("pause"));
  EXPECT_TRUE(isPaused());
  command(QStringLiteral("play-pause"));
  EXPECT_TRUE(isPlaying());
  command(QStringLiteral("stop"));
  EXPECT_EQ(ask(QStringLiteral("status")), QStringLiteral("Stopped"));
}

TEST_F(Playerctl, GoesToTheNextTrackAndBack) {
  command(QStringLiteral("play"));
  command(QStringLiteral("next"));
  EXPECT_EQ(index(), 1);
  EXPECT_EQ(ask(QStringLiteral("metadata xesam:title")), QStringLiteral("2"));
  command(QStringLiteral("previous"));
  EXPECT_EQ(index(), 0);
}

TEST_F(Playerctl, ReadsTheMetadata) {
  command(QStringLiteral("play"));
  EXPECT_EQ(ask(QStringLiteral("metadata xesam:url")), QStringLiteral("file:///music/1.wav"));
  EXPECT_EQ(ask(QStringLiteral("metadata mpris:length")), QStringLiteral("10000000"));
  EXPECT_TRUE(ask(QStringLiteral("metadata mpris:trackid")).contains(QStringLiteral("/org/tolvane/Test/Track/")));
}

TEST_F(Playerctl, ReadsAndSetsThePosition) {
  command(QStringLiteral("play"));
  advance(2);
  command(QStringLiteral("pause"));
  EXPECT_EQ(ask(QStringLiteral("position")), QStringLiteral("2.000000"));
  command(QStringLiteral("position 7.5"));
  EXPECT_EQ(ask(QStringLiteral("position")), QStringLiteral("7.500000"));
  command(QStringLiteral("position 3-"));
  EXPECT_EQ(ask(QStringLiteral("position")), QStringLiteral("4.500000"));
  EXPECT_TRUE(isPaused());
}

TEST_F(Playerctl, ReadsAndSetsTheVolume) {
  command(QStringLiteral("volume 0.4"));
  EXPECT_EQ(session.outputVolume().value(), 0.4);
  EXPECT_EQ(ask(QStringLiteral("volume")), QStringLiteral("0.400000"));
}

TEST_F(Playerctl, OpensAFile) {
  addTrack(9);
  command(QStringLiteral("open file:///music/9.wav"));
  EXPECT_EQ(playingURL(), FileURL("/music/9.wav"));
}

}  // namespace
}  // namespace tolvane
