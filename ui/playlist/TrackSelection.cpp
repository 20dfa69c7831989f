#include "ui/playlist/TrackSelection.h"

#include <algorithm>
#include <utility>

namespace tolvane {

void TrackSelection::clear() {
  selected_.clear();
  anchor_ = 0;
}

void TrackSelection::selectAll(const PlaylistTracks& tracks) {
  selected_.reserve(tracks.size());
  for (const auto& track : tracks) selected_.insert(track.id);
}

void TrackSelection::toggle(const PlaylistTracks& tracks, std::int64_t row) {
  const PlaylistTrack* track = tracks.entryAt(row);
  if (track == nullptr) return;
  anchor_ = track->id;
  if (!selected_.insert(track->id).second) selected_.erase(track->id);
}

void TrackSelection::extend(const PlaylistTracks& tracks, std::int64_t from, std::int64_t to) {
  if (tracks.entryAt(to) == nullptr) return;
  const auto known = selected_.empty() || anchor_ == 0 ? -1 : tracks.indexOf(anchor_);
  const auto begin = known >= 0 ? known : std::clamp<std::int64_t>(from, 0, std::ssize(tracks.entries()) - 1);
  anchor_ = tracks[static_cast<std::size_t>(begin)].id;
  selected_.clear();
  const auto [first, last] = std::minmax(begin, to);
  for (auto row = first; row <= last; ++row) selected_.insert(tracks[static_cast<std::size_t>(row)].id);
}

void TrackSelection::follow(const PlaylistTracks& tracks) {
  if (selected_.empty()) return;
  std::unordered_set<PlaylistTrackID> left;
  for (const auto& track : tracks)
    if (selected_.contains(track.id)) left.insert(track.id);
  selected_ = std::move(left);
}

}  // namespace tolvane
