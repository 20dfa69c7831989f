#include "ui/playlist/TrackFinder.h"

#include <utf8proc.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace tolvane {

namespace {

/// Separates names; occurs in no word.
constexpr char separator = '\n';

bool isASCII(std::string_view text) {
  return std::ranges::all_of(text, [](char letter) { return static_cast<unsigned char>(letter) < 0x80; });
}

std::vector<std::string_view> wordsOf(std::string_view text) {
  constexpr std::string_view blanks = " \t\n";
  std::vector<std::string_view> words;
  while (true) {
    const auto begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos) return words;
    text.remove_prefix(begin);
    const auto end = std::min(text.find_first_of(blanks), text.size());
    words.push_back(text.substr(0, end));
    text.remove_prefix(end);
  }
}

bool matchesAll(std::string_view names, const std::vector<std::string_view>& words) {
  return std::ranges::all_of(words, [&](std::string_view word) { return names.contains(word); });
}

/// The names of the two folders that a file lies in: ".../Artist/Album/".
std::string_view foldersOf(std::string_view path) {
  const auto end = path.find_last_of('/');
  if (end == std::string_view::npos || end == 0) return {};
  const auto album = path.find_last_of('/', end - 1);
  if (album == std::string_view::npos || album == 0) return path.substr(0, end);
  const auto artist = path.find_last_of('/', album - 1);
  return path.substr(artist == std::string_view::npos ? 0 : artist + 1, end - (artist + 1));
}

std::string foldedTags(const MusicTags& tags) {
  std::string folded;
  for (const std::string* text : {&tags.title, &tags.artist, &tags.album})
    if (!text->empty()) folded += separator + foldedText(*text);
  return folded;
}

}  // namespace

std::string foldedText(std::string_view text) {
  if (isASCII(text)) return asciiLowercased(text);
  utf8proc_uint8_t* mapped = nullptr;
  const auto length = utf8proc_map(
      reinterpret_cast<const utf8proc_uint8_t*>(text.data()), static_cast<utf8proc_ssize_t>(text.size()), &mapped,
      static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPAT | UTF8PROC_DECOMPOSE | UTF8PROC_CASEFOLD |
                                     UTF8PROC_STRIPMARK));
  const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(mapped, &std::free);
  if (length < 0) return asciiLowercased(text);
  return {reinterpret_cast<const char*>(mapped), static_cast<std::size_t>(length)};
}

void TrackFinder::find(const PlaylistTracks& tracks, std::string_view text, const Tags& tags) {
  std::string folded = foldedText(text);
  const auto words = wordsOf(folded);
  const bool isOther = tracks != tracks_;
  const bool narrows = !isOther && !text_.empty() && folded.starts_with(text_);
  if (isOther) {
    forget();
    tracks_ = tracks;
  }
  if (narrows) {
    std::erase_if(matches_,
                  [&](std::int64_t row) { return !matchesAll(folded_[static_cast<std::size_t>(row)], words); });
  } else {
    matches_.clear();
    searched_ = 0;
  }
  text_ = words.empty() ? std::string() : std::move(folded);
  if (!isComplete()) proceed(tags);
}

void TrackFinder::proceed(const Tags& tags) {
  const auto end = std::min(searched_ + rowsPerCall, tracks_.size());
  foldUpTo(end, tags);
  const auto words = wordsOf(text_);
  for (; searched_ < end; ++searched_)
    if (matchesAll(folded_[searched_], words)) matches_.push_back(static_cast<std::int64_t>(searched_));
}

void TrackFinder::foldUpTo(std::size_t end, const Tags& tags) {
  for (std::size_t row = folded_.size(); row < end; ++row) {
    const auto& track = tracks_[row];
    const auto own = foldersOf(track.url.path());
    if (own != folders_) {
      folders_ = own;
      foldedFolders_ = foldedText(own);
    }
    folded_.push_back(foldedText(track.title()) + separator + foldedFolders_);
    if (const auto stated = tags.find(track.url); stated != tags.end()) folded_.back() += foldedTags(stated->second);
  }
}

bool TrackFinder::addTags(const FileURL& url, const MusicTags& tags) {
  bool hasMatched = false;
  for (std::size_t row = 0; row < folded_.size(); ++row) {
    if (tracks_[row].url != url) continue;
    folded_[row] += foldedTags(tags);
    hasMatched |= addMatch(static_cast<std::int64_t>(row));
  }
  return hasMatched;
}

bool TrackFinder::addMatch(std::int64_t row) {
  const auto words = wordsOf(text_);
  const auto place = std::ranges::lower_bound(matches_, row);
  const bool isKnown = place != matches_.end() && *place == row;
  const bool isSearchedYet = static_cast<std::size_t>(row) < searched_;
  if (isKnown || !isSearchedYet || words.empty() || !matchesAll(folded_[static_cast<std::size_t>(row)], words))
    return false;
  matches_.insert(place, row);
  return true;
}

std::int64_t TrackFinder::matchFrom(std::int64_t row, int direction) const {
  if (matches_.empty()) return -1;
  if (direction >= 0) {
    const auto next = std::ranges::lower_bound(matches_, row);
    if (next != matches_.end()) return *next;
    return isComplete() ? matches_.front() : -1;
  }
  const auto behind = std::ranges::upper_bound(matches_, row);
  if (behind != matches_.begin()) return *std::prev(behind);
  return isComplete() ? matches_.back() : -1;
}

std::int64_t TrackFinder::numberOf(std::int64_t row) const {
  const auto found = std::ranges::lower_bound(matches_, row);
  return found != matches_.end() && *found == row ? found - matches_.begin() + 1 : 0;
}

void TrackFinder::forget() { *this = TrackFinder(); }

}  // namespace tolvane
