#include "ui/drag/PlaylistDragSession.h"

#include <algorithm>

namespace tolvane {

std::optional<std::int64_t> moveDestination(std::int64_t source, std::int64_t insertionIndex, std::int64_t count) {
  if (count < 2 || source < 0 || source >= count) return std::nullopt;
  const std::int64_t clamped = std::min(count, std::max<std::int64_t>(insertionIndex, 0));
  // Taking the track out first shifts the gaps behind it.
  const std::int64_t destination = source < clamped ? clamped - 1 : clamped;
  if (destination == source) return std::nullopt;
  return destination;
}

}  // namespace tolvane
