#pragma once
// Opening and dropping of files and folders, and saving of the list, as QML calls it. Window's thread.

#include <QObject>
#include <QStringList>
#include <QUrl>
#include <QtQmlIntegration>

#include "ui/ContentView.h"
#include "ui/SourceActions.h"

namespace tolvane {

class SourceModel final : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("made by the window")
  /// "Audio files and playlists (*.wav …)", as file dialogs take them.
  Q_PROPERTY(QStringList nameFilters READ nameFilters CONSTANT FINAL)
  /// Where file dialogs begin: the music folder, or the home folder without one.
  Q_PROPERTY(QUrl startFolder READ startFolder CONSTANT FINAL)
  /// "Playlist (*.m3u8)".
  Q_PROPERTY(QStringList playlistFilters READ playlistFilters CONSTANT FINAL)
  /// "WAV  ·  AIFF …": the formats of the files that can be opened.
  Q_PROPERTY(QString formats READ formats CONSTANT FINAL)

  /// Why nothing was opened the last time, or how saving went; empty when something was opened.
  Q_PROPERTY(QString notice READ notice NOTIFY noticeChanged FINAL)

 public:
  SourceModel(ContentView& content, SourceActions& actions);
  ~SourceModel() override;

  [[nodiscard]] QStringList nameFilters() const;
  [[nodiscard]] QUrl startFolder() const;
  [[nodiscard]] QStringList playlistFilters() const;
  [[nodiscard]] QString formats() const;

  // They replace the playlist, or are added at its end.

  Q_INVOKABLE void openFiles(const QList<QUrl>& urls, bool adds);
  Q_INVOKABLE void openFolder(const QUrl& url, bool adds);
  /// Whether a drop of these would bring files; a link of a web page does not.
  [[nodiscard]] Q_INVOKABLE bool wants(const QList<QUrl>& urls) const;
  /// Into the gap above a row, 0 … count; −1 replaces the playlist.
  Q_INVOKABLE void drop(const QList<QUrl>& urls, int gap);
  /// As a playlist in the place that was chosen in a dialog of `window`. Replaces a file only where that was a dialog
  /// of the desktop's, which has asked about it.
  Q_INVOKABLE void savePlaylist(const QUrl& place, QObject* window);
  [[nodiscard]] QString notice() const;
  Q_INVOKABLE void dismissNotice() { actions_.dismissNotice(); }

 signals:
  void noticeChanged();

 private:
  ContentView& content_;
  SourceActions& actions_;
};

}  // namespace tolvane
