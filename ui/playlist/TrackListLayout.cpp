#include "ui/playlist/TrackListLayout.h"

#include <algorithm>

namespace tolvane {

double trackListScrollOffset(double rowsTop) { return rowsTop < 0 ? -rowsTop : 0; }

double trackListContentHeight(std::int64_t trackCount) {
  const auto count = static_cast<double>(std::max<std::int64_t>(trackCount, 0));
  return trackRowHeight * count + trackListSpacing * std::max(count - 1, 0.0);
}

TrackListFades trackListFades(double visibleHeight, std::int64_t trackCount, double scrollOffset) {
  constexpr double tolerance = 1.0;  // of the layout's rounding
  constexpr double margin = 2.0;     // an end this close hides nothing
  const double visible = visibleHeight > 0 ? visibleHeight : 0;
  const double content = trackListContentHeight(trackCount);
  if (!(visible + tolerance < content)) return {};
  const double maxOffset = std::max(content - visible, 0.0);
  return {scrollOffset > margin, scrollOffset < maxOffset - margin};
}

}  // namespace tolvane
