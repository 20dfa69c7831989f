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
  /// Rows that one call searches: a few milliseconds of folding names that are not ASCII.
  static constexpr std::size_t rowsPerCall = 4096;

  /// Searches the first rows. Without a word nothing matches. `tags` are those that are known now.
  void find(const PlaylistTracks& tracks, std::string_view text, const Tags& tags = {});
  /// Searches the next rows, with the tags that are known now. REQUIRES: not `isComplete`.
  void proceed(const Tags& tags = {});
  /// Whether all rows have been searched.
  [[nodiscard]] bool isComplete() const { return searched_ == tracks_.size() || text_.empty(); }
  /// A file's tags have become known since. Whether there is another match now.
  bool addTags(const FileURL& url, const MusicTags& tags);
  /// Rows, ascending.
  [[nodiscard]] const std::vector<std::int64_t>& matches() const { return matches_; }
  /// The nearest match at this row or behind it, in this direction (1 or −1); after the last one the first one. −1:
  /// none, or none so far: where the search is not complete, no match follows the last one in a circle.
  [[nodiscard]] std::int64_t matchFrom(std::int64_t row, int direction) const;
  /// 1 for the first match; 0 for a row that does not match.
  [[nodiscard]] std::int64_t numberOf(std::int64_t row) const;
  /// Frees the folded names.
  void forget();

 private:
  void foldUpTo(std::size_t end, const Tags& tags);
  bool addMatch(std::int64_t row);

  PlaylistTracks tracks_;
  std::vector<std::string> folded_;  ///< a text for each of the first rows
  std::string folders_;              ///< of the last row in `folded_`, as its path has them
  std::string foldedFolders_;        ///< the same, folded: neighbours mostly lie in the same folder
  std::string text_;                 ///< of the last search, folded; empty where it has no word
  std::size_t searched_ = 0;         ///< rows whose matches are known
  std::vector<std::int64_t> matches_;
};

}  // namespace tolvane
