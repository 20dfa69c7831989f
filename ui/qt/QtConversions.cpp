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
    if (!url.isLocalFile()) continue;
    files.emplace_back(QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1()).toStdString());
  }
  return files;
}

}  // namespace tolvane
