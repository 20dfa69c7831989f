#pragma once
// The dimensions of the track list, and which of its ends hides rows. Lengths in device-independent pixels; pure.

#include <cstdint>

namespace tolvane {

inline constexpr double trackListSpacing = 0;
inline constexpr double trackRowHeight = 58.0;

/// How far the list has been scrolled, from the top edge of its rows as the list sees it. Never negative.
[[nodiscard]] double trackListScrollOffset(double rowsTop);

[[nodiscard]] double trackListContentHeight(std::int64_t trackCount);

struct TrackListFades {
  bool showTopFade = false;
  bool showBottomFade = false;

  bool operator==(const TrackListFades&) const = default;
};

[[nodiscard]] TrackListFades trackListFades(double visibleHeight, std::int64_t trackCount, double scrollOffset);

}  // namespace tolvane
