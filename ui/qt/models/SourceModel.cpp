#include "ui/qt/models/SourceModel.h"

#include <QDir>
#include <QStandardPaths>
#include <algorithm>
#include <optional>

#include "platform/AudioFormats.h"
#include "ui/qt/QtConversions.h"

namespace tolvane {

namespace {

/// "*.[wW][aA][vV]": most dialogs distinguish upper and lower case.
QString patternOf(std::string_view extension) {
  QString pattern = QStringLiteral("*.");
  for (const QChar letter : toQString(extension))
    pattern += letter.isLetter() ? QLatin1Char('[') + letter + letter.toUpper() + QLatin1Char(']') : QString(letter);
  return pattern;
}

/// The dialog that replaces the desktop's, a part of the window, overwrites files without asking.
Replacing replacingAfterDialogOf(const QObject* window) {
  const auto parts = window->findChildren<QObject*>();
  const bool standsIn =
      std::ranges::any_of(parts, [](const QObject* part) { return part->inherits("QQuickFileDialogImpl"); });
  return standsIn ? Replacing::refused : Replacing::allowed;
}

}  // namespace

QStringList SourceModel::nameFilters() const {
  QStringList patterns;
  const auto add = [&](std::string_view extension) { patterns << patternOf(extension); };
  forEachOf(&AudioFormat::extensions, add);
  forEachOf(&PlaylistFormat::extensions, add);
  return {tr("Audio files and playlists (%1)").arg(patterns.join(QLatin1Char(' ')))};
}

QStringList SourceModel::playlistFilters() const {
  return {tr("Playlist (%1)").arg(patternOf(playlistFormats.front().extensions.front()))};
}

QString SourceModel::formats() const {
  QStringList labels;
  for (const std::string& label : audioFormatLabels()) labels << toQString(label);
  return labels.join(QStringLiteral("  ·  "));
}

QUrl SourceModel::startFolder() const {
  const QString music = QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
  return QUrl::fromLocalFile(QDir(music).exists() ? music : QDir::homePath());
}

SourceModel::SourceModel(ContentView& content, SourceActions& actions) : content_(content), actions_(actions) {
  actions_.onNotice([this] { emit noticeChanged(); });
}

SourceModel::~SourceModel() { actions_.onNotice({}); }

QString SourceModel::notice() const { return toQString(actions_.notice()); }

void SourceModel::openFiles(const QList<QUrl>& urls, bool adds) {
  actions_.openFiles(fileURLs(urls), adds ? PlaylistPlace::atTheEnd() : PlaylistPlace());
}

void SourceModel::openFolder(const QUrl& url, bool adds) {
  for (const auto& folder : fileURLs({url}))
    actions_.openFolderURL(folder, adds ? PlaylistPlace::atTheEnd() : PlaylistPlace());
}

void SourceModel::savePlaylist(const QUrl& place, QObject* window) {
  const auto files = fileURLs({place});
  const auto file = files.empty() ? std::nullopt : std::optional(files.front());
  actions_.savePlaylist(file, content_.listToSave(), replacingAfterDialogOf(window));
}

bool SourceModel::wants(const QList<QUrl>& urls) const { return !fileURLs(urls).empty(); }

void SourceModel::drop(const QList<QUrl>& urls, int gap) {
  PlaylistPlace place;
  if (gap >= 0) {
    const PlaylistTrack* follower = content_.session().state().tracks.entryAt(gap);
    place = {.replacesAll = false, .before = follower != nullptr ? follower->id : 0};
  }
  actions_.dropURLs(fileURLs(urls), place);
}

}  // namespace tolvane
