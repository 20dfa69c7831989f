#include "platform/simulated/SimulatedFileBookmarks.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

namespace tolvane {

namespace {

/// "path", or "path\0excerpt".
std::string placeText(const FileURL& url) {
  return url.excerpt() == nullptr ? url.path() : url.path() + '\0' + encodedExcerpt(*url.excerpt());
}

FileURL placeOf(std::string_view text) {
  const auto end = std::min(text.find('\0'), text.size());
  std::string path(text.substr(0, end));
  return end < text.size() ? FileURL(std::move(path), decodedExcerpt(text.substr(end + 1))) : FileURL(std::move(path));
}

std::optional<FileExcerpt> excerptOf(const FileURL& url) {
  return url.excerpt() != nullptr ? std::optional(*url.excerpt()) : std::nullopt;
}

}  // namespace

void SimulatedFileBookmarks::add(const FileURL& url) {
  const auto [entry, isNew] = identities_.try_emplace(url, lastIdentity_ + 1);
  if (isNew) places_[++lastIdentity_] = url;
}

void SimulatedFileBookmarks::remove(const FileURL& url) {
  const auto entry = identities_.find(url);
  if (entry == identities_.end()) return;
  places_.erase(entry->second);
  identities_.erase(entry);
}

void SimulatedFileBookmarks::rename(const FileURL& from, const FileURL& to) {
  const auto entry = identities_.find(from);
  if (entry == identities_.end()) return;
  const Identity identity = entry->second;
  identities_.erase(entry);
  remove(to);
  identities_[to] = identity;
  places_[identity] = to;
}

void SimulatedFileBookmarks::setReadable(const FileURL& url, bool isReadable) {
  if (isReadable) {
    unreadable_.erase(url);
  } else {
    unreadable_.insert(url);
  }
}

void SimulatedFileBookmarks::failMaking(const FileURL& url, const std::string& error) {
  if (error.empty()) {
    errors_.erase(url);
  } else {
    errors_[url] = error;
  }
}

std::expected<FileBookmark, std::string> SimulatedFileBookmarks::make(const FileURL& url) {
  if (const auto error = errors_.find(url.file()); error != errors_.end()) return std::unexpected(error->second);
  const auto entry = identities_.find(url.file());
  if (entry == identities_.end()) return std::unexpected("The file does not exist.");
  ++madeCount_;
  return std::to_string(entry->second) + ":" + placeText(url);
}

std::optional<FileBookmark> SimulatedFileBookmarks::makeOfPath(const FileURL& url) const {
  return "0:" + placeText(url);
}

std::optional<FileURL> SimulatedFileBookmarks::storedURL(const FileBookmark& bookmark) const {
  const auto end = bookmark.find(':');
  return end != FileBookmark::npos ? std::optional(placeOf(std::string_view(bookmark).substr(end + 1))) : std::nullopt;
}

std::vector<std::optional<ResolvedBookmark>> SimulatedFileBookmarks::resolve(std::span<const FileBookmark> bookmarks) {
  std::vector<std::optional<ResolvedBookmark>> results;
  results.reserve(bookmarks.size());
  for (const auto& bookmark : bookmarks) results.push_back(resolved(bookmark));
  return results;
}

std::optional<ResolvedBookmark> SimulatedFileBookmarks::resolved(const FileBookmark& bookmark) const {
  Identity identity = 0;
  const auto [end, error] = std::from_chars(bookmark.data(), bookmark.data() + bookmark.size(), identity);
  if (error != std::errc{} || end == bookmark.data() + bookmark.size() || *end != ':') return std::nullopt;
  const FileURL stored =
      placeOf(std::string_view(bookmark).substr(static_cast<std::size_t>(end + 1 - bookmark.data())));
  const auto named = identity == 0 ? identities_.find(stored.file()) : identities_.end();
  const bool isOfPath = named != identities_.end();
  const auto place = places_.find(isOfPath ? named->second : identity);
  if (place == places_.end()) return std::nullopt;
  return ResolvedBookmark{.url = FileURL(place->second.path(), excerptOf(stored)),
                          .isStale = isOfPath || place->second.path() != stored.path(),
                          .isReadable = !unreadable_.contains(place->second)};
}

}  // namespace tolvane
