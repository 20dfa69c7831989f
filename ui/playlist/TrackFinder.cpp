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
  const bool isOther = tracks != tracks_ || folded_.empty();
  const bool narrows = !isOther && !wordsOf(text_).empty() && folded.starts_with(text_);
  if (words.empty()) {
    matches_.clear();
  } else if (narrows) {
    std::erase_if(matches_,
                  [&](std::int64_t row) { return !matchesAll(folded_[static_cast<std::size_t>(row)], words); });
  } else {
    if (isOther) fold(tracks, tags);
    matches_.clear();
    for (std::size_t row = 0; row < folded_.size(); ++row)
      if (matchesAll(folded_[row], words)) matches_.push_back(static_cast<std::int64_t>(row));
  }
  text_ = std::move(folded);
}

/// Neighbours mostly lie in the same folder, which is folded once.
void TrackFinder::fold(const PlaylistTracks& tracks, const Tags& tags) {
  tracks_ = tracks;
  folded_.clear();
  folded_.reserve(tracks.size());
  std::string_view folders;
  std::string foldedFolders;
  for (const auto& track : tracks_) {
    const auto own = foldersOf(track.url.path());
    if (own != folders) {
      folders = own;
      foldedFolders = foldedText(own);
    }
    folded_.push_back(foldedText(track.title()) + separator + foldedFolders);
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
  if (isKnown || words.empty() || !matchesAll(folded_[static_cast<std::size_t>(row)], words)) return false;
  matches_.insert(place, row);
  return true;
}

std::int64_t TrackFinder::matchFrom(std::int64_t row, int direction) const {
  if (matches_.empty()) return -1;
  if (direction >= 0) {
    const auto next = std::ranges::lower_bound(matches_, row);
    return next != matches_.end() ? *next : matches_.front();
  }
  const auto behind = std::ranges::upper_bound(matches_, row);
  return behind != matches_.begin() ? *std::prev(behind) : matches_.back();
}

std::int64_t TrackFinder::numberOf(std::int64_t row) const {
  const auto found = std::ranges::lower_bound(matches_, row);
  return found != matches_.end() && *found == row ? found - matches_.begin() + 1 : 0;
}

void TrackFinder::forget() { *this = TrackFinder(); }

}  // namespace tolvane
