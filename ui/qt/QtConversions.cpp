#include "ui/qt/QtConversions.h"

namespace tolvane {

QString toQString(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

QColor toQColor(const ThemeColor& color) {
  return QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                          static_cast<float>(color.blue), static_cast<float>(color.opacity));
}

std::vector<FileURL> fileURLs(const QList<QUrl>& urls) {
  std::vector<FileURL> files;
  files.reserve(static_cast<std::size_t>(urls.size()));
  for (const QUrl& url : urls) {
    // Qt counts another machine's files in, too: file://nas/music.
    const QString host = url.host();
    if (!url.isLocalFile() || !(host.isEmpty() || host == QLatin1String("localhost"))) continue;
    auto path = QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1());
    if (!path.contains('\0')) files.emplace_back(path.toStdString());
  }
  return files;
}

}  // namespace tolvane
