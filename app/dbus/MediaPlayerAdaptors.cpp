#include "app/dbus/MediaPlayerAdaptors.h"

#include <algorithm>
#include <utility>

#include "platform/AudioFormats.h"

namespace tolvane {

namespace {

constexpr auto playerPath = "/org/mpris/MediaPlayer2";
constexpr auto playerInterface = "org.mpris.MediaPlayer2.Player";
constexpr auto noTrack = "/org/mpris/MediaPlayer2/TrackList/NoTrack";

}  // namespace

MediaPlayerRootAdaptor::MediaPlayerRootAdaptor(QObject* parent, const ApplicationIdentity& identity,
                                               MediaPlayerService::Shell shell)
    : QDBusAbstractAdaptor(parent), identity_(identity), shell_(std::move(shell)) {}

QStringList MediaPlayerRootAdaptor::supportedMimeTypes() const {
  QStringList types;
  forEachOf(&AudioFormat::contentTypes, [&types](std::string_view type) {
    types << QString::fromUtf8(type.data(), static_cast<qsizetype>(type.size()));
  });
  return types;
}

MediaPlayerAdaptor::MediaPlayerAdaptor(QObject* parent, const QDBusConnection& bus, MediaControls& controls,
                                       QString trackPrefix)
    : QDBusAbstractAdaptor(parent), bus_(bus), controls_(controls), trackPrefix_(std::move(trackPrefix)) {
  controls_.onStateChange([this](const MediaState& before, const MediaState& now) { announce(before, now); });
  controls_.onSeeked([this](std::int64_t position) { emit Seeked(position); });
}

void MediaPlayerAdaptor::disconnectFromControls() {
  controls_.onStateChange({});
  controls_.onSeeked({});
}

QString MediaPlayerAdaptor::playbackStatus() const {
  switch (controls_.state().status) {
    case MediaStatus::playing:
      return QStringLiteral("Playing");
    case MediaStatus::paused:
      return QStringLiteral("Paused");
    case MediaStatus::stopped:
      break;
  }
  return QStringLiteral("Stopped");
}

QVariantMap MediaPlayerAdaptor::metadata() const {
  const auto state = controls_.state();
  const QString track = state.hasTrack() ? trackPrefix_ + QString::number(state.trackID) : QLatin1String(noTrack);
  QVariantMap metadata{{QStringLiteral("mpris:trackid"), QVariant::fromValue(QDBusObjectPath(track))}};
  if (!state.hasTrack()) return metadata;
  metadata.insert(QStringLiteral("xesam:title"), QString::fromStdString(state.title));
  metadata.insert(QStringLiteral("xesam:url"), QString::fromStdString(state.url));
  if (state.length > 0) metadata.insert(QStringLiteral("mpris:length"), static_cast<qlonglong>(state.length));
  const auto& [tags, coverURL] = state.music;
  if (!tags.artist.empty())
    metadata.insert(QStringLiteral("xesam:artist"), QStringList{QString::fromStdString(tags.artist)});
  if (!tags.album.empty()) metadata.insert(QStringLiteral("xesam:album"), QString::fromStdString(tags.album));
  if (tags.trackNumber) metadata.insert(QStringLiteral("xesam:trackNumber"), *tags.trackNumber);
  if (!coverURL.empty()) metadata.insert(QStringLiteral("mpris:artUrl"), QString::fromStdString(coverURL));
  return metadata;
}

void MediaPlayerAdaptor::PlayPause(const QDBusMessage& call) {
  if (!hasTrack()) return refuse(call, QStringLiteral("There is no track to play."));
  controls_.playPause();
}

void MediaPlayerAdaptor::SetPosition(const QDBusObjectPath& TrackId, qlonglong Position) {
  if (!TrackId.path().startsWith(trackPrefix_)) return;
  bool isNumber = false;
  const auto track = TrackId.path().mid(trackPrefix_.size()).toULongLong(&isNumber);
  if (isNumber) controls_.setPosition(track, Position);
}

void MediaPlayerAdaptor::OpenUri(const QString& Uri, const QDBusMessage& call) {
  call.setDelayedReply(true);  // the disk is read first, and may be a slow share
  controls_.openURI(Uri.toStdString(), [call, bus = bus_](const std::expected<void, std::string>& opened) {
    bus.send(opened ? call.createReply()
                    : call.createErrorReply(QDBusError::NotSupported, QString::fromStdString(opened.error())));
  });
}

void MediaPlayerAdaptor::refuse(const QDBusMessage& call, const QString& sentence) const {
  call.setDelayedReply(true);
  bus_.send(call.createErrorReply(QDBusError::NotSupported, sentence));
}

void MediaPlayerAdaptor::announce(const MediaState& before, const MediaState& now) {
  QVariantMap changed;
  const auto add = [&](bool differs, const char* name) {
    if (differs) changed.insert(QLatin1String(name), property(name));
  };
  add(before.status != now.status, "PlaybackStatus");
  add(before.volume != now.volume, "Volume");
  add(!before.describesSameTrack(now), "Metadata");
  add(before.canGoNext != now.canGoNext, "CanGoNext");
  for (const auto* name : {"CanGoPrevious", "CanPlay", "CanPause"}) add(before.hasTrack() != now.hasTrack(), name);
  add(before.canSeek != now.canSeek, "CanSeek");
  if (changed.isEmpty()) return;
  auto signal = QDBusMessage::createSignal(QLatin1String(playerPath), QStringLiteral("org.freedesktop.DBus.Properties"),
                                           QStringLiteral("PropertiesChanged"));
  signal << QLatin1String(playerInterface) << changed << QStringList();
  bus_.send(signal);
}

}  // namespace tolvane
