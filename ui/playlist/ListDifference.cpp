#include "ui/playlist/ListDifference.h"

namespace tolvane {

std::optional<std::vector<RowRun>> rowsBesides(const PlaylistTracks& shorter, const PlaylistTracks& longer) {
  std::vector<RowRun> runs;
  std::size_t found = 0;
  for (std::size_t row = 0; row < longer.size(); ++row) {
    if (found < shorter.size() && shorter[found].id == longer[row].id) {
      ++found;
    } else if (!runs.empty() && runs.back().first + runs.back().count == row) {
      ++runs.back().count;
    } else {
      runs.push_back({row, 1});
    }
  }
  return found == shorter.size() ? std::optional(runs) : std::nullopt;
}

}  // namespace tolvane
