#include "session/CueSheet.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include "session/CueFileFinder.h"
#include "session/SheetText.h"

namespace tolvane {

namespace {

constexpr std::string_view cueBlanks = " \t";

/// The path, or another name for the file, by the name that the sheet has for it; nothing: its tracks are left out.
using FileNaming = std::function<std::optional<std::string>(const std::string&)>;

std::string_view withoutBlanks(std::string_view text) {
  const auto begin = text.find_first_not_of(cueBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(cueBlanks) - begin + 1);
}

/// The first word, and what follows it.
std::pair<std::string_view, std::string_view> firstWord(std::string_view line) {
  line = withoutBlanks(line);
  const auto end = std::min(line.find_first_of(cueBlanks), line.size());
  return {line.substr(0, end), withoutBlanks(line.substr(end))};
}

/// Between the first quotation mark and the last; all of it where it begins with none.
std::string_view unquoted(std::string_view text) {
  if (!text.starts_with('"')) return text;
  text.remove_prefix(1);
  return text.substr(0, text.rfind('"'));
}

/// Without the type behind the name, which says less than the file itself.
std::string_view fileNameOf(std::string_view text) {
  if (text.starts_with('"')) return unquoted(text);
  const auto blank = text.find_last_of(cueBlanks);
  const bool hasType = blank != std::string_view::npos && !text.substr(blank).contains('.');
  return hasType ? withoutBlanks(text.substr(0, blank)) : text;
}

std::optional<std::uint32_t> takeDigits(std::string_view& text) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

/// Of "MM:SS:FF"; minutes may have more digits.
std::optional<std::uint32_t> sectorOf(std::string_view text) {
  constexpr std::uint32_t mostMinutes = 9999;
  const auto minutes = takeDigits(text);
  if (!minutes || *minutes > mostMinutes || !text.starts_with(':')) return std::nullopt;
  text.remove_prefix(1);
  const auto seconds = takeDigits(text);
  if (!seconds || *seconds >= 60 || !text.starts_with(':')) return std::nullopt;
  text.remove_prefix(1);
  const auto sectors = takeDigits(text);
  if (!sectors || *sectors >= FileExcerpt::sectorsPerSecond || !text.empty()) return std::nullopt;
  return (*minutes * 60 + *seconds) * FileExcerpt::sectorsPerSecond + *sectors;
}

std::optional<std::int32_t> trackNumberOf(std::string_view text) {
  constexpr std::uint32_t largest = 9999;
  const auto number = takeDigits(text);
  return number && *number >= 1 && *number <= largest ? std::optional(static_cast<std::int32_t>(*number))
                                                      : std::nullopt;
}

/// The start of a long text: whole characters in UTF-8, and more than shownLine() keeps.
std::string_view startOf(std::string_view text) {
  constexpr std::size_t enough = 2048;
  if (text.size() <= enough) return text;
  text = text.substr(0, enough);
  while (!text.empty() && (text.back() & 0xC0) == 0x80) text.remove_suffix(1);
  text.remove_suffix(text.empty() || (text.back() & 0x80) == 0 ? 0 : 1);
  return text;
}

/// Reads a sheet line by line.
class CueReader {
 public:
  /// False: the sheet has more tracks than are read.
  [[nodiscard]] bool read(std::string_view line) {
    readCommand(line);
    return !isFull_;
  }

  [[nodiscard]] std::vector<CueTrack> tracks(const FileNaming& nameOf) const {
    const std::string album = shown(album_);
    std::vector<CueTrack> result;
    for (const Place& place : places(nameOf)) {
      const Track& track = *place.track;
      if (!track.isAudio) continue;
      result.push_back({.file = place.file,
                        .part = {.first = *track.first,
                                 .end = place.end,
                                 .title = shown(track.title),
                                 .artist = shown(track.artist.empty() ? artist_ : track.artist),
                                 .album = album,
                                 .trackNumber = track.number}});
      nameAfterNumber(result.back().part);
    }
    return result;
  }

 private:
  struct Track {
    bool isAudio = false;
    std::optional<std::int32_t> number{};
    std::string_view title{};
    std::string_view artist{};
    std::string_view file{};               ///< of INDEX 01
    std::optional<std::uint32_t> first{};  ///< sector of INDEX 01
  };

  void readCommand(std::string_view line) {
    const auto [word, rest] = firstWord(line);
    const std::string command = asciiUppercased(word);
    if (command == "FILE") {
      file_ = fileNameOf(rest);
      if (file_.size() >= PATH_MAX) file_ = {};
    } else if (command == "TRACK") {
      isFull_ = tracks_.size() >= maximumCueTracks;
      if (isFull_) return;
      const auto [number, type] = firstWord(rest);
      tracks_.push_back({.isAudio = asciiUppercased(type) == "AUDIO", .number = trackNumberOf(number)});
    } else if (command == "TITLE") {
      (tracks_.empty() ? album_ : tracks_.back().title) = unquoted(rest);
    } else if (command == "PERFORMER") {
      (tracks_.empty() ? artist_ : tracks_.back().artist) = unquoted(rest);
    } else if (command == "INDEX") {
      readIndex(rest);
    }
  }

  void readIndex(std::string_view text) {
    const auto [number, place] = firstWord(text);
    if (tracks_.empty() || tracks_.back().first || file_.empty() || trackNumberOf(number) != 1) return;
    tracks_.back().first = sectorOf(place);
    tracks_.back().file = file_;
  }

  struct Place {
    const Track* track = nullptr;
    std::string file{};
    std::optional<std::uint32_t> end{};  ///< sector with which the next track of the same file begins
  };

  /// Each behind the one before in the same file.
  [[nodiscard]] std::vector<Place> places(const FileNaming& nameOf) const {
    std::vector<Place> found;
    std::map<std::string, std::size_t> lastOf;  // by file
    for (const Track& track : tracks_) {
      if (!track.first) continue;
      const auto file = nameOf(std::string(track.file));
      if (!file) continue;
      const auto [last, isFirst] = lastOf.try_emplace(*file, found.size());
      if (!isFirst) {
        Place& before = found[last->second];
        if (*track.first <= *before.track->first) continue;
        before.end = track.first;
        last->second = found.size();
      }
      found.push_back({.track = &track, .file = *file});
    }
    return found;
  }

  [[nodiscard]] static std::string shown(std::string_view text) {
    return shownLine(textFromUnknownEncoding(startOf(withoutBlanks(text))));
  }

  /// The name of the file would be that of all its tracks.
  static void nameAfterNumber(FileExcerpt& part) {
    if (!part.title.empty() || part.isWholeFile()) return;
    part.title = part.trackNumber ? fmt::format("Track {:02}", *part.trackNumber) : "Track";
  }

  std::string_view file_;  ///< that the lines are about
  std::string_view album_;
  std::string_view artist_;
  std::vector<Track> tracks_;
  bool isFull_ = false;
};

std::vector<CueTrack> tracksOf(std::string_view bytes, const FileNaming& nameOf) {
  const std::string text = withoutByteOrderMark(bytes);
  CueReader reader;
  for (std::string_view rest = text; !rest.empty();) {
    const auto end = std::min(rest.find_first_of("\r\n"), rest.size());
    if (!reader.read(rest.substr(0, end))) break;
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return reader.tracks(nameOf);
}

}  // namespace

std::vector<CueTrack> cueTracks(std::string_view bytes) {
  return tracksOf(bytes, [](const std::string& name) { return name; });
}

std::vector<FileURL> cueSheetEntries(std::string_view bytes, const std::string& folder) {
  CueFileFinder finder(folder);
  std::vector<FileURL> entries;
  std::set<FileURL> seen;
  for (CueTrack& track : tracksOf(bytes, [&finder](const std::string& name) { return finder.find(name); })) {
    FileURL entry(std::move(track.file), std::move(track.part));
    if (seen.insert(entry).second) entries.push_back(std::move(entry));
  }
  return entries;
}

}  // namespace tolvane
