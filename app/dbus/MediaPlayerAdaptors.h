#pragma once
// The two interfaces of MPRIS 2 as Qt's bus adaptors. Window's thread. Values of another type than declared, and
// unknown methods and properties, are refused by the bus library before they come here.

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QStringList>
#include <QVariantMap>

#include "app/dbus/MediaPlayerService.h"

namespace tolvane {

class MediaPlayerRootAdaptor final : public QDBusAbstractAdaptor {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2")
  Q_PROPERTY(bool CanQuit READ yes CONSTANT)
  Q_PROPERTY(bool CanRaise READ yes CONSTANT)
  Q_PROPERTY(bool HasTrackList READ no CONSTANT)
  Q_PROPERTY(bool Fullscreen READ no WRITE setFullscreen)
  Q_PROPERTY(bool CanSetFullscreen READ no CONSTANT)
  Q_PROPERTY(QString Identity READ identity CONSTANT)
  Q_PROPERTY(QString DesktopEntry READ desktopEntry CONSTANT)
  Q_PROPERTY(QStringList SupportedUriSchemes READ supportedURISchemes CONSTANT)
  Q_PROPERTY(QStringList SupportedMimeTypes READ supportedMimeTypes CONSTANT)

 public:
  MediaPlayerRootAdaptor(QObject* parent, const ApplicationIdentity& identity, MediaPlayerService::Shell shell);

  [[nodiscard]] bool yes() const { return true; }
  [[nodiscard]] bool no() const { return false; }
  void setFullscreen(bool) {}  // ignored: CanSetFullscreen is false
  [[nodiscard]] QString identity() const { return QString::fromStdString(identity_.title); }
  [[nodiscard]] QString desktopEntry() const { return QString::fromStdString(identity_.id); }
  [[nodiscard]] QStringList supportedURISchemes() const { return {QStringLiteral("file")}; }
  [[nodiscard]] QStringList supportedMimeTypes() const;

 public slots:  // NOLINT(readability-redundant-access-specifiers): named as on the bus
  void Raise() { shell_.raise(); }
  void Quit() { shell_.quit(); }

 private:
  const ApplicationIdentity identity_;
  const MediaPlayerService::Shell shell_;
};

class MediaPlayerAdaptor final : public QDBusAbstractAdaptor {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2.Player")
  Q_PROPERTY(QString PlaybackStatus READ playbackStatus)
  Q_PROPERTY(QString LoopStatus READ loopStatus WRITE setLoopStatus)
  Q_PROPERTY(bool Shuffle READ shuffle WRITE setShuffle)
  Q_PROPERTY(double Rate READ rate WRITE setRate)
  Q_PROPERTY(double MinimumRate READ rate CONSTANT)
  Q_PROPERTY(double MaximumRate READ rate CONSTANT)
  Q_PROPERTY(QVariantMap Metadata READ metadata)
  Q_PROPERTY(double Volume READ volume WRITE setVolume)
  Q_PROPERTY(qlonglong Position READ position)
  Q_PROPERTY(bool CanGoNext READ canGoNext)
  Q_PROPERTY(bool CanGoPrevious READ hasTrack)
  Q_PROPERTY(bool CanPlay READ hasTrack)
  Q_PROPERTY(bool CanPause READ hasTrack)
  Q_PROPERTY(bool CanSeek READ canSeek)
  Q_PROPERTY(bool CanControl READ canControl CONSTANT)

 public:
  MediaPlayerAdaptor(QObject* parent, const QDBusConnection& bus, MediaControls& controls, QString trackPrefix);

  [[nodiscard]] QString playbackStatus() const;
  [[nodiscard]] QString loopStatus() const { return QStringLiteral("None"); }
  void setLoopStatus(const QString&) {}  // there is one order and no repeating
  [[nodiscard]] bool shuffle() const { return false; }
  void setShuffle(bool) {}
  [[nodiscard]] double rate() const { return 1.0; }
  void setRate(double rate) { controls_.setRate(rate); }
  [[nodiscard]] QVariantMap metadata() const;
  [[nodiscard]] double volume() const { return controls_.state().volume; }
  void setVolume(double volume) { controls_.setVolume(volume); }
  [[nodiscard]] qlonglong position() const { return controls_.position(); }
  [[nodiscard]] bool canGoNext() const { return controls_.state().canGoNext; }
  [[nodiscard]] bool hasTrack() const { return controls_.state().hasTrack(); }
  [[nodiscard]] bool canSeek() const { return controls_.state().canSeek; }
  [[nodiscard]] bool canControl() const { return true; }

  /// From here on nothing is announced any more.
  void disconnectFromControls();

 public slots:  // NOLINT(readability-redundant-access-specifiers): named as on the bus
  void Next() { controls_.next(); }
  void Previous() { controls_.previous(); }
  void Pause() { controls_.pause(); }
  void PlayPause(const QDBusMessage& call);
  void Stop() { controls_.stop(); }
  void Play() { controls_.play(); }
  void Seek(qlonglong Offset) { controls_.seek(Offset); }
  void SetPosition(const QDBusObjectPath& TrackId, qlonglong Position);
  void OpenUri(const QString& Uri, const QDBusMessage& call);

 signals:
  void Seeked(qlonglong Position);

 private:
  void announce(const MediaState& before, const MediaState& now);
  void refuse(const QDBusMessage& call, const QString& sentence) const;

  QDBusConnection bus_;
  MediaControls& controls_;
  const QString trackPrefix_;  // common prefix of the tracks' object paths
};

}  // namespace tolvane
