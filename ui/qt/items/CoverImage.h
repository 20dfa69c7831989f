#pragma once
// A cover that the model passes to the item that draws it: shared, never copied. A value.

#include <QImage>
#include <QtQmlIntegration>

#include "platform/MusicTags.h"

namespace tolvane {

struct CoverImage {
  Q_GADGET
  QML_VALUE_TYPE(coverImage)
  Q_PROPERTY(bool available READ isAvailable FINAL)

 public:
  QImage image;  ///< null without a cover

  [[nodiscard]] bool isAvailable() const { return !image.isNull(); }
  bool operator==(const CoverImage& other) const { return image.cacheKey() == other.image.cacheKey(); }
};

/// The longest edge of a decoded cover, in pixels: its size in the largest window at twice the density.
inline constexpr int longestCoverEdge = 640;

/// Null for what cannot be decoded, or would be larger than any cover is. Any thread; may take a while, and some tens
/// of megabytes meanwhile.
[[nodiscard]] QImage decodedCover(const Cover& cover);

}  // namespace tolvane
