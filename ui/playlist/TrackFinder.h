#pragma once
// Finds tracks by what is typed: every word must occur in the file's name, in the names of the two folders above it or
// in what its tags state, in any order, whatever the case and the accents. Window's thread. The first search through a
// list folds all of its names; a text that only grows searches what was found before.

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/MusicTags.h"
#include "session/PlaylistTracks.h"

namespace tolvane {

/// Without case and accents, for comparison. Text that is not UTF-8 is compared by its ASCII letters.
[[nodiscard]] std::string foldedText(std::string_view text);

class TrackFinder {
 public:
  using Tags = std::map<FileURL, MusicTags>;

  /// Without a word nothing matches. `tags` are those that are known at the first search through a list.
  void find(const PlaylistTracks& tracks, std::string_view text, const Tags& tags = {});
  /// A file's tags have become known since. Whether there is another match now.
  bool addTags(const FileURL& url, const MusicTags& tags);
  /// Rows, ascending.
  [[nodiscard]] const std::vector<std::int64_t>& matches() const { return matches_; }
  /// The nearest match at this row or behind it, in this direction (1 or −1); after the last one the first one. −1:
  /// none.
  [[nodiscard]] std::int64_t matchFrom(std::int64_t row, int direction) const;
  /// 1 for the first match; 0 for a row that does not match.
  [[nodiscard]] std::int64_t numberOf(std::int64_t row) const;
  /// Frees the folded names.
  void forget();

 private:
  void fold(const PlaylistTracks& tracks, const Tags& tags);
  bool addMatch(std::int64_t row);

  PlaylistTracks tracks_;
  std::vector<std::string> folded_;  ///< a text a row; empty until the first search
  std::string text_;                 ///< of the last search, folded
  std::vector<std::int64_t> matches_;
};

}  // namespace tolvane
