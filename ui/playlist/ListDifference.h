#pragma once
// How one playlist became another one, in the form of notifications to views: rows that were removed, or inserted, in
// runs. Pure.

#include <cstddef>
#include <optional>
#include <vector>

#include "session/PlaylistTracks.h"

namespace tolvane {

struct RowRun {
  std::size_t first = 0;  ///< in the longer list
  std::size_t count = 0;

  bool operator==(const RowRun&) const = default;
};

/// The runs, ascending, that `longer` has in addition to `shorter`; nothing if there are other differences.
[[nodiscard]] std::optional<std::vector<RowRun>> rowsBesides(const PlaylistTracks& shorter,
                                                             const PlaylistTracks& longer);

}  // namespace tolvane
