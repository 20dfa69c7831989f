#include "ui/qt/items/CoverImage.h"

#include <QBuffer>
#include <QImageReader>

namespace tolvane {

namespace {

constexpr qint64 mostPixels = 36'000'000;  ///< of the picture as it is stored

}  // namespace

QImage decodedCover(const Cover& cover) {
  QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(cover.bytes.data()),
                                             static_cast<qsizetype>(cover.bytes.size()));
  QBuffer buffer(&bytes);
  // No other reader than this one sees the bytes.
  QImageReader reader(&buffer, cover.format == Cover::Format::jpeg ? "jpeg" : "png");
  reader.setAutoDetectImageFormat(false);
  reader.setAutoTransform(true);
  const QSize stored = reader.size();
  if (stored.isEmpty() || qint64{stored.width()} * stored.height() > mostPixels) return {};
  const QSize most(longestCoverEdge, longestCoverEdge);
  if (stored.width() > most.width() || stored.height() > most.height())
    reader.setScaledSize(stored.scaled(most, Qt::KeepAspectRatio).expandedTo({1, 1}));
  return reader.read().convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

}  // namespace tolvane
