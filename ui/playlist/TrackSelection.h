#pragma once
// Which rows of the track list are selected. By identity, so that they stay selected when they are moved. A value; the
// window's thread has one. A look-up of a row costs the same however many are selected.

#include <cstddef>
#include <cstdint>
#include <unordered_set>
#include <vector>

#include "session/PlaylistTracks.h"

namespace tolvane {

class TrackSelection {
 public:
  [[nodiscard]] bool contains(PlaylistTrackID track) const { return selected_.contains(track); }
  [[nodiscard]] std::size_t count() const { return selected_.size(); }
  /// In no order.
  [[nodiscard]] std::vector<PlaylistTrackID> tracks() const { return {selected_.begin(), selected_.end()}; }

  // Rows that are not there are ignored.

  void clear();
  void selectAll(const PlaylistTracks& tracks);
  /// Selects a row, or no longer; ranges begin there.
  void toggle(const PlaylistTracks& tracks, std::int64_t row);
  /// Selects the rows between the one where ranges begin and this one, and no others. Without a selection, the range
  /// begins at `from`.
  void extend(const PlaylistTracks& tracks, std::int64_t from, std::int64_t to);
  /// Forgets the rows that are not there any more.
  void follow(const PlaylistTracks& tracks);

 private:
  std::unordered_set<PlaylistTrackID> selected_;
  PlaylistTrackID anchor_ = 0;  ///< where ranges begin
};

}  // namespace tolvane
