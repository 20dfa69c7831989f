#include "app/dbus/MediaPlayerService.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QFile>
#include <cmath>
#include <limits>

#include "tests/app/dbus/BusFixture.h"
#include "tests/app/dbus/SignalSpy.h"

namespace tolvane {
namespace {

const QString mediaPath = QStringLiteral("/org/mpris/MediaPlayer2");
const QString root = QStringLiteral("org.mpris.MediaPlayer2");
const QString player = QStringLiteral("org.mpris.MediaPlayer2.Player");
constexpr qlonglong second = 1'000'000;  // microseconds

class MediaPlayer : public test::BusFixture {
 protected:
  MediaPlayer() {
    properties.listen(client, service.baseService(), mediaPath, QStringLiteral("org.freedesktop.DBus.Properties"),
                      QStringLiteral("PropertiesChanged"));
    seeks.listen(client, service.baseService(), mediaPath, player, QStringLiteral("Seeked"));
  }

  void playThreeTracks() {
    SessionFixture::load(3);  // both become one signal
    session.playTrack(0, 0);
    runLoop.runUntilIdle();
    turnUntil([&] { return !properties.received().isEmpty(); });
    properties.forget();
  }

  QVariant read(const QString& name, const QString& interface = player) {
    const auto reply = getProperty(mediaPath, interface, name);
    if (reply.type() != QDBusMessage::ReplyMessage) return {};
    return reply.arguments().at(0).value<QDBusVariant>().variant();
  }
  QVariantMap metadata() { return qdbus_cast<QVariantMap>(read(QStringLiteral("Metadata"))); }
  QString trackPath() { return metadata().value(QStringLiteral("mpris:trackid")).value<QDBusObjectPath>().path(); }
  [[nodiscard]] bool refuses(const QDBusMessage& reply) const { return reply.type() == QDBusMessage::ErrorMessage; }

  int raised = 0;
  int quits = 0;
  std::vector<FileURL> opened;
  MediaControls controls{proxy, runLoop, [this](const FileURL& url, const auto& answer) {
                           if (url.stem() == "missing") return answer(false);
                           opened.push_back(url);
                           answer(true);
                         }};
  std::optional<MediaPlayerService> mediaPlayer{
      std::in_place, service, identity, controls,
      MediaPlayerService::Shell{.raise = [this] { ++raised; }, .quit = [this] { ++quits; }}};
  test::SignalSpy properties;
  test::SignalSpy seeks;
};

TEST_F(MediaPlayer, SaysWhatItIsAndWhatItCanDo) {
  EXPECT_EQ(read(QStringLiteral("Identity"), root), QStringLiteral("Tolvane Test"));
  EXPECT_EQ(read(QStringLiteral("DesktopEntry"), root), QStringLiteral("org.tolvane.Test"));
  EXPECT_EQ(read(QStringLiteral("CanQuit"), root), true);
  EXPECT_EQ(read(QStringLiteral("CanRaise"), root), true);
  EXPECT_EQ(read(QStringLiteral("HasTrackList"), root), false);
  EXPECT_EQ(read(QStringLiteral("SupportedUriSchemes"), root), QStringList{QStringLiteral("file")});
}

TEST_F(MediaPlayer, NamesTheContentTypesOfTheDesktopEntryBesidesFoldersAndPlaylists) {
  QFile file(QStringLiteral(TOLVANE_DESKTOP_ENTRY));
  ASSERT_TRUE(file.open(QFile::ReadOnly));
  QStringList types;
  while (!file.atEnd()) {
    const QString line = QString::fromUtf8(file.readLine()).trimmed();
    if (line.startsWith(QStringLiteral("MimeType="))) types = line.mid(9).split(QLatin1Char(';'), Qt::SkipEmptyParts);
  }
  // A remote control opens one track.
  for (const auto* other : {"inode/directory", "audio/x-mpegurl", "application/vnd.apple.mpegurl", "application/x-cue"})
    EXPECT_TRUE(types.removeOne(QLatin1String(other))) << other;
  EXPECT_EQ(read(QStringLiteral("SupportedMimeTypes"), root).toStringList(), types);
}

TEST_F(MediaPlayer, RaisesAndQuits) {
  EXPECT_FALSE(refuses(call(mediaPath, root, QStringLiteral("Raise"))));
  EXPECT_FALSE(refuses(call(mediaPath, root, QStringLiteral("Quit"))));
  EXPECT_EQ(raised, 1);
  EXPECT_EQ(quits, 1);
}

TEST_F(MediaPlayer, HasEveryPropertyWithItsType) {
  playThreeTracks();
  const std::vector<std::pair<const char*, QMetaType::Type>> types{
      {"PlaybackStatus", QMetaType::QString}, {"LoopStatus", QMetaType::QString}, {"Rate", QMetaType::Double},
      {"MinimumRate", QMetaType::Double},     {"MaximumRate", QMetaType::Double}, {"Shuffle", QMetaType::Bool},
      {"Volume", QMetaType::Double},          {"Position", QMetaType::LongLong},  {"CanGoNext", QMetaType::Bool},
      {"CanGoPrevious", QMetaType::Bool},     {"CanPlay", QMetaType::Bool},       {"CanPause", QMetaType::Bool},
      {"CanSeek", QMetaType::Bool},           {"CanControl", QMetaType::Bool},
  };
  for (const auto& [name, type] : types) EXPECT_EQ(read(QLatin1String(name)).typeId(), type) << name;
  EXPECT_EQ(read(QStringLiteral("LoopStatus")), QStringLiteral("None"));
  EXPECT_EQ(read(QStringLiteral("Rate")), 1.0);
}

TEST_F(MediaPlayer, DescribesTheTrack) {
  playThreeTracks();
  const auto described = metadata();
  EXPECT_EQ(described.value(QStringLiteral("mpris:length")).typeId(), QMetaType::LongLong);
  EXPECT_EQ(described.value(QStringLiteral("mpris:length")), 10 * second);
  EXPECT_EQ(described.value(QStringLiteral("xesam:title")), QStringLiteral("1"));
  EXPECT_EQ(described.value(QStringLiteral("xesam:url")), QStringLiteral("file:///music/1.wav"));
  EXPECT_TRUE(trackPath().startsWith(QStringLiteral("/org/tolvane/Test/Track/")));
}

TEST_F(MediaPlayer, AnnouncesTheMusicWhenItBecomesKnown) {
  MediaMusic music;
  controls.setMusic([&](const FileURL&) { return music; });
  playThreeTracks();
  const auto before = metadata();
  for (const auto* field : {"xesam:artist", "xesam:album", "xesam:trackNumber", "mpris:artUrl"})
    EXPECT_FALSE(before.contains(QLatin1String(field))) << field;

  music = {{.title = "Vespers", .artist = "Ilse Brandt", .album = "Slow Water", .trackNumber = 6},
           "file:///covers/a%20b.jpg"};
  controls.musicHasChanged();
  turnUntil([&] { return !properties.received().isEmpty(); });
  const auto changed = qdbus_cast<QVariantMap>(properties.received().at(0).at(1));
  EXPECT_EQ(changed.keys(), QStringList{QStringLiteral("Metadata")});
  const auto described = qdbus_cast<QVariantMap>(changed.value(QStringLiteral("Metadata")));
  EXPECT_EQ(described.value(QStringLiteral("xesam:title")), QStringLiteral("Vespers"));
  EXPECT_EQ(described.value(QStringLiteral("xesam:artist")), QStringList{QStringLiteral("Ilse Brandt")});
  EXPECT_EQ(described.value(QStringLiteral("xesam:album")), QStringLiteral("Slow Water"));
  EXPECT_EQ(described.value(QStringLiteral("xesam:trackNumber")), 6);
  EXPECT_EQ(described.value(QStringLiteral("xesam:trackNumber")).typeId(), QMetaType::Int);
  EXPECT_EQ(described.value(QStringLiteral("mpris:artUrl")), QStringLiteral("file:///covers/a%20b.jpg"));
  EXPECT_EQ(described.value(QStringLiteral("xesam:url")), QStringLiteral("file:///music/1.wav"));
}

TEST_F(MediaPlayer, HasNoTrackWithAnEmptyPlaylist) {
  EXPECT_EQ(trackPath(), QStringLiteral("/org/mpris/MediaPlayer2/TrackList/NoTrack"));
  EXPECT_EQ(metadata().size(), 1);
  EXPECT_EQ(read(QStringLiteral("CanPlay")), false);
}

TEST_F(MediaPlayer, AnnouncesOneOperationInOneSignal) {
  playThreeTracks();
  call(mediaPath, player, QStringLiteral("Next"));
  turnUntil([&] { return properties.received().size() >= 2; });
  call(mediaPath, player, QStringLiteral("Pause"));  // its signal comes behind all of those before
  turnUntil([&] { return properties.received().size() >= 3; });
  ASSERT_EQ(properties.received().size(), 3) << "the new track, its length once it has been read, the pause";
  const auto lengthIn = [&](int signal) {
    const auto changed = qdbus_cast<QVariantMap>(properties.received().at(signal).at(1));
    EXPECT_EQ(changed.keys().contains(QStringLiteral("Metadata")), true) << signal;
    return qdbus_cast<QVariantMap>(changed.value(QStringLiteral("Metadata")))
        .value(QStringLiteral("mpris:length"))
        .toLongLong();
  };
  EXPECT_EQ(lengthIn(0), 0);
  EXPECT_EQ(lengthIn(1), 10 * second);
  const auto paused = qdbus_cast<QVariantMap>(properties.received().at(2).at(1));
  EXPECT_EQ(paused, (QVariantMap{{QStringLiteral("PlaybackStatus"), QStringLiteral("Paused")}}));
}

TEST_F(MediaPlayer, AnnouncesASeekButNotTheTime) {
  playThreeTracks();
  advance(2);
  call(mediaPath, player, QStringLiteral("Seek"), {3 * second});
  turnUntil([&] { return !seeks.received().isEmpty(); });
  EXPECT_EQ(seeks.received().size(), 1);
  EXPECT_EQ(seeks.received().at(0).at(0), 5 * second);
  EXPECT_TRUE(properties.received().isEmpty());
}

TEST_F(MediaPlayer, SetsThePositionOfTheTrackThatIsNamed) {
  playThreeTracks();
  const auto first = QDBusObjectPath(trackPath());
  call(mediaPath, player, QStringLiteral("SetPosition"), {QVariant::fromValue(first), 4 * second});
  EXPECT_EQ(read(QStringLiteral("Position")), 4 * second);
  call(mediaPath, player, QStringLiteral("Next"));
  for (const auto& stale : {first.path(), QStringLiteral("/org/mpris/MediaPlayer2/TrackList/NoTrack"),
                            QStringLiteral("/org/tolvane/Test/Track/x"), QStringLiteral("/")}) {
    const auto reply = call(mediaPath, player, QStringLiteral("SetPosition"),
                            {QVariant::fromValue(QDBusObjectPath(stale)), 2 * second});
    EXPECT_FALSE(refuses(reply)) << stale.toStdString();
    EXPECT_EQ(read(QStringLiteral("Position")), 0) << stale.toStdString();
  }
}

struct Hostile {
  const char* method;
  QVariantList arguments;
};
void PrintTo(const Hostile& hostile, std::ostream* stream) {
  *stream << hostile.method << " with " << hostile.arguments.size() << " arguments";
}

class HostileCalls : public MediaPlayer, public testing::WithParamInterface<Hostile> {};

TEST_P(HostileCalls, AreRefusedAndChangeNothing) {
  playThreeTracks();
  const auto before = controls.state();
  EXPECT_TRUE(refuses(call(mediaPath, player, QLatin1String(GetParam().method), GetParam().arguments)));
  EXPECT_EQ(controls.state(), before);
  EXPECT_EQ(session.playbackPosition().value(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    All, HostileCalls,
    testing::Values(Hostile{"Seek", {QStringLiteral("1")}}, Hostile{"Seek", {1.5}}, Hostile{"Seek", {}},
                    Hostile{"SetPosition", {QStringLiteral("not a mediaPath"), 1LL}},
                    Hostile{"SetPosition", {5 * second}}, Hostile{"OpenUri", {QStringLiteral("http://host/a.wav")}},
                    Hostile{"OpenUri", {QStringLiteral("file:///missing.wav")}},
                    Hostile{"OpenUri", {QString(QStringLiteral("file:///%1.wav")).arg(QString(70'000, u'a'))}},
                    Hostile{"OpenUri", {QStringLiteral("file:///etc/passwd")}}, Hostile{"OpenUri", {QString()}},
                    Hostile{"OpenUri", {42}}, Hostile{"Explode", {}}));

TEST_F(MediaPlayer, SurvivesTheLargestNumbers) {
  playThreeTracks();
  call(mediaPath, player, QStringLiteral("Seek"), {std::numeric_limits<qlonglong>::min()});
  EXPECT_EQ(read(QStringLiteral("Position")), 0);
  const auto track = QVariant::fromValue(QDBusObjectPath(trackPath()));
  for (const auto outside : {std::numeric_limits<qlonglong>::min(), std::numeric_limits<qlonglong>::max()}) {
    call(mediaPath, player, QStringLiteral("SetPosition"), {track, outside});
    EXPECT_EQ(read(QStringLiteral("Position")), 0);
  }
  call(mediaPath, player, QStringLiteral("Seek"), {std::numeric_limits<qlonglong>::max()});
  EXPECT_EQ(index(), 1);
}

TEST_F(MediaPlayer, TakesVolumesWithinTheRangeAndIgnoresNonsense) {
  const auto set = [this](const QVariant& value) {
    return setProperty(mediaPath, player, QStringLiteral("Volume"), value);
  };
  EXPECT_FALSE(refuses(set(0.25)));
  EXPECT_EQ(session.outputVolume().value(), 0.25);
  for (const double nonsense : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
    set(nonsense);
    EXPECT_EQ(session.outputVolume().value(), 0.25);
  }
  EXPECT_TRUE(refuses(set(QStringLiteral("loud"))));
  EXPECT_TRUE(refuses(set(QVariantMap{})));
  EXPECT_EQ(session.outputVolume().value(), 0.25);
  set(-3.0);
  EXPECT_EQ(session.outputVolume().value(), 0);
  set(1e300);
  EXPECT_EQ(session.outputVolume().value(), 1);
}

TEST_F(MediaPlayer, KeepsWhatCannotBeSet) {
  playThreeTracks();
  setProperty(mediaPath, player, QStringLiteral("LoopStatus"), QStringLiteral("Playlist"));
  setProperty(mediaPath, player, QStringLiteral("Shuffle"), true);
  setProperty(mediaPath, player, QStringLiteral("Rate"), 2.0);
  EXPECT_EQ(read(QStringLiteral("LoopStatus")), QStringLiteral("None"));
  EXPECT_EQ(read(QStringLiteral("Shuffle")), false);
  EXPECT_EQ(read(QStringLiteral("Rate")), 1.0);
  EXPECT_TRUE(refuses(setProperty(mediaPath, player, QStringLiteral("Position"), 5 * second)));
  EXPECT_TRUE(refuses(setProperty(mediaPath, player, QStringLiteral("Nothing"), 1)));
  EXPECT_TRUE(refuses(getProperty(mediaPath, player, QStringLiteral("Nothing"))));
  EXPECT_TRUE(refuses(getProperty(mediaPath, QStringLiteral("no.such.Interface"), QStringLiteral("Volume"))));
}

TEST_F(MediaPlayer, RefusesPlayPauseWithoutATrack) {
  EXPECT_TRUE(refuses(call(mediaPath, player, QStringLiteral("PlayPause"))));
  EXPECT_FALSE(refuses(call(mediaPath, player, QStringLiteral("Play"))));
  EXPECT_FALSE(isPlaying());
}

TEST_F(MediaPlayer, OpensFiles) {
  EXPECT_FALSE(
      refuses(call(mediaPath, player, QStringLiteral("OpenUri"), {QStringLiteral("file:///music/a%20b.wav")})));
  EXPECT_EQ(opened, std::vector{FileURL("/music/a b.wav")});
}

TEST_F(MediaPlayer, PlaysOnWhenTheBusDies) {
  playThreeTracks();
  bus.die();
  turnUntil([&] { return !service.isConnected(); });
  advance(1);
  session.playTrack(1, 0);
  advance(2);
  EXPECT_TRUE(isPlaying());
  EXPECT_NEAR(position(), 2, 0.05);
  mediaPlayer.reset();
  EXPECT_EQ(controls.position(), 2 * second);
}

TEST_F(MediaPlayer, GivesItsNameBack) {
  const auto ownsName = [this] {
    const auto reply = call(
        QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                       QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameHasOwner"))
        << QStringLiteral("org.mpris.MediaPlayer2.tolvane_test"));
    return reply.arguments().at(0).toBool();
  };
  EXPECT_TRUE(ownsName());
  mediaPlayer.reset();
  EXPECT_FALSE(ownsName());
  EXPECT_TRUE(refuses(call(mediaPath, player, QStringLiteral("Next"))));
}

}  // namespace
}  // namespace tolvane
