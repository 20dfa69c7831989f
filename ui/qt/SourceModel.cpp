#include "ui/qt/SourceModel.h"

#include <QDir>
#include <QStandardPaths>

#include "session/AudioFileDiscovery.h"
#include "ui/qt/QtConversions.h"

namespace tolvane {

QStringList SourceModel::nameFilters() const {
  QStringList patterns;
  for (const auto extension : supportedAudioFileExtensions) {
    const QString text = toQString(extension);
    // Some dialogs tell upper and lower case apart.
    patterns << QStringLiteral("*.") + text << QStringLiteral("*.") + text.toUpper();
  }
  return {tr("Audio files (%1)").arg(patterns.join(QLatin1Char(' ')))};
}

QUrl SourceModel::startFolder() const {
  const QString music = QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
  return QUrl::fromLocalFile(QDir(music).exists() ? music : QDir::homePath());
}

void SourceModel::openFiles(const QList<QUrl>& urls) { actions_.openFiles(fileURLs(urls)); }

void SourceModel::openFolder(const QUrl& url) {
  for (const auto& folder : fileURLs({url})) actions_.openFolderURL(folder);
}

bool SourceModel::wants(const QList<QUrl>& urls) const { return !fileURLs(urls).empty(); }

void SourceModel::drop(const QList<QUrl>& urls) { actions_.dropURLs(fileURLs(urls)); }

}  // namespace tolvane
