#include "session/PlaylistRemoval.h"

#include <algorithm>
#include <utility>

namespace tolvane {

PlaylistRemoval removalFrom(const PlaylistTracks& tracks, std::span<const PlaylistTrackID> removed,
                            std::int64_t currentIndex) {
  std::vector<PlaylistTrackID> sorted(removed.begin(), removed.end());
  std::ranges::sort(sorted);
  PlaylistRemoval removal;
  removal.isKept.reserve(tracks.size());
  std::int64_t keptBefore = 0;
  std::int64_t row = 0;
  for (const auto& track : tracks) {
    const bool isKept = !std::ranges::binary_search(sorted, track.id);
    removal.isKept.push_back(isKept);
    if (!isKept) ++removal.count;
    if (!isKept && row == currentIndex) removal.takesCurrent = true;
    if (isKept && row < currentIndex) ++keptBefore;
    ++row;
  }
  if (removal.count == 0) {
    removal.tracks = tracks;
    removal.currentIndex = currentIndex;
    return removal;
  }
  PlaylistTracks::Entries kept;
  kept.reserve(tracks.size() - static_cast<std::size_t>(removal.count));
  for (std::size_t index = 0; index < tracks.size(); ++index) {
    if (removal.isKept[index]) kept.push_back(tracks[index]);
  }
  const auto last = std::max<std::int64_t>(std::ssize(kept) - 1, 0);
  removal.hasFollower = removal.takesCurrent && keptBefore < std::ssize(kept);
  removal.currentIndex = std::min(keptBefore, last);
  removal.tracks = PlaylistTracks(std::move(kept));
  return removal;
}

}  // namespace tolvane
