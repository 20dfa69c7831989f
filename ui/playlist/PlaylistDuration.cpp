#include "ui/playlist/PlaylistDuration.h"

#include <functional>
#include <string_view>
#include <utility>

namespace tolvane {

/// The tracks of one file differ by where they begin.
std::size_t PlaylistDuration::Hash::operator()(const FileURL* url) const {
  const std::size_t place = url->excerpt() != nullptr ? url->excerpt()->first + std::size_t{1} : 0;
  constexpr std::size_t spread = 0x9E3779B9;
  return std::hash<std::string_view>()(url->path()) ^ place * spread;
}

void PlaylistDuration::setTracks(PlaylistTracks tracks) {
  entriesOf_.clear();
  tracks_ = std::move(tracks);
  seconds_ = 0;
  known_ = 0;
}

void PlaylistDuration::add(const FileURL& url, double seconds) {
  if (entriesOf_.empty()) {
    entriesOf_.reserve(tracks_.size());
    for (const auto& track : tracks_) ++entriesOf_[&track.url];
  }
  const auto found = entriesOf_.find(&url);
  if (found == entriesOf_.end()) return;
  const auto entries = std::exchange(found->second, 0);  // counted now
  seconds_ += static_cast<double>(entries) * seconds;
  known_ += entries;
}

}  // namespace tolvane
