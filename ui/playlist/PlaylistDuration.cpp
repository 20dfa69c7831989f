#include "ui/playlist/PlaylistDuration.h"

#include <utility>

namespace tolvane {

void PlaylistDuration::setTracks(PlaylistTracks tracks) {
  entriesOf_.clear();
  tracks_ = std::move(tracks);
  seconds_ = 0;
  known_ = 0;
}

void PlaylistDuration::add(const FileURL& url, double seconds) {
  if (entriesOf_.empty()) {
    entriesOf_.reserve(tracks_.size());
    for (const auto& track : tracks_) ++entriesOf_[track.url.path()];
  }
  const auto found = entriesOf_.find(url.path());
  if (found == entriesOf_.end()) return;
  const auto entries = std::exchange(found->second, 0);  // counted now
  seconds_ += static_cast<double>(entries) * seconds;
  known_ += entries;
}

}  // namespace tolvane
