#pragma once
// The playlist as a value that is cheap to pass on: copies share the entries, which never change. Any thread.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "session/PlaylistTrack.h"

namespace tolvane {

class PlaylistTracks {
 public:
  using Entries = std::vector<PlaylistTrack>;
  using value_type = PlaylistTrack;
  using const_iterator = Entries::const_iterator;

  PlaylistTracks() = default;
  explicit PlaylistTracks(Entries entries) : entries_(std::make_shared<const Entries>(std::move(entries))) {}

  [[nodiscard]] const Entries& entries() const { return *entries_; }
  [[nodiscard]] const_iterator begin() const { return entries_->begin(); }
  [[nodiscard]] const_iterator end() const { return entries_->end(); }
  [[nodiscard]] std::size_t size() const { return entries_->size(); }
  [[nodiscard]] bool empty() const { return entries_->empty(); }
  [[nodiscard]] const PlaylistTrack& operator[](std::size_t index) const { return (*entries_)[index]; }
  [[nodiscard]] const PlaylistTrack& at(std::size_t index) const { return entries_->at(index); }

  /// Null where the index is out of range.
  [[nodiscard]] const PlaylistTrack* entryAt(std::int64_t index) const {
    return index >= 0 && index < std::ssize(*entries_) ? &(*entries_)[static_cast<std::size_t>(index)] : nullptr;
  }
  /// −1: none of this identity.
  [[nodiscard]] std::int64_t indexOf(PlaylistTrackID id) const {
    for (std::size_t index = 0; index < entries_->size(); ++index)
      if ((*entries_)[index].id == id) return static_cast<std::int64_t>(index);
    return -1;
  }

  friend bool operator==(const PlaylistTracks& a, const PlaylistTracks& b) {
    return a.entries_ == b.entries_ || *a.entries_ == *b.entries_;
  }

 private:
  std::shared_ptr<const Entries> entries_ = std::make_shared<const Entries>();
};

/// Moves one element; those between the two places move by one. REQUIRES: both are in range.
template <typename T>
void moveElement(std::vector<T>& elements, std::int64_t source, std::int64_t target) {
  const auto begin = elements.begin();
  if (source < target) {
    std::rotate(begin + source, begin + source + 1, begin + target + 1);
  } else {
    std::rotate(begin + target, begin + source, begin + source + 1);
  }
}

/// The new index of the entry at `index` after such a move.
[[nodiscard]] constexpr std::int64_t indexAfterMove(std::int64_t index, std::int64_t source, std::int64_t target) {
  if (index == source) return target;
  if (source < index && target >= index) return index - 1;
  if (source > index && target <= index) return index + 1;
  return index;
}

}  // namespace tolvane
