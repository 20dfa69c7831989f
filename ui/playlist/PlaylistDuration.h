#pragma once
// How long the whole playlist lasts, as far as the lengths of its files are known. Window's thread. A length that
// becomes known costs one look-up; a list that has changed is counted anew with the first look-up after it.

#include <cstddef>
#include <cstdint>
#include <unordered_map>

#include "session/PlaylistTracks.h"

namespace tolvane {

class PlaylistDuration {
 public:
  void setTracks(PlaylistTracks tracks);
  /// The length of this file, for the first time since setTracks(); seconds, 0 or more.
  void add(const FileURL& url, double seconds);

  [[nodiscard]] double seconds() const { return seconds_; }
  /// Of the entries; the same file may be in the list more than once.
  [[nodiscard]] std::int64_t knownCount() const { return known_; }
  [[nodiscard]] bool isComplete() const { return known_ == std::ssize(tracks_.entries()); }

 private:
  struct Hash {
    std::size_t operator()(const FileURL* url) const;
  };
  struct Same {
    bool operator()(const FileURL* a, const FileURL* b) const { return *a == *b; }
  };

  PlaylistTracks tracks_;
  std::unordered_map<const FileURL*, std::int64_t, Hash, Same> entriesOf_;  ///< by URLs of tracks_
  double seconds_ = 0;
  std::int64_t known_ = 0;
};

}  // namespace tolvane
