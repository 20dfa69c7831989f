#include "platform/simulated/SimulatedFileBookmarks.h"

#include <charconv>

namespace tolvane {

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
  if (const auto error = errors_.find(url); error != errors_.end()) return std::unexpected(error->second);
  const auto entry = identities_.find(url);
  if (entry == identities_.end()) return std::unexpected("The file does not exist.");
  ++madeCount_;
  return std::to_string(entry->second) + ":" + url.path();
}

std::optional<FileBookmark> SimulatedFileBookmarks::makeOfPath(const FileURL& url) const { return "0:" + url.path(); }

std::optional<FileURL> SimulatedFileBookmarks::storedURL(const FileBookmark& bookmark) const {
  const auto end = bookmark.find(':');
  return end != FileBookmark::npos ? std::optional(FileURL(bookmark.substr(end + 1))) : std::nullopt;
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
  const auto named = identity == 0 ? identities_.find(FileURL(std::string(end + 1))) : identities_.end();
  const bool isOfPath = named != identities_.end();
  const auto place = places_.find(isOfPath ? named->second : identity);
  if (place == places_.end()) return std::nullopt;
  return ResolvedBookmark{.url = place->second,
                          .isStale = isOfPath || place->second.path() != end + 1,
                          .isReadable = !unreadable_.contains(place->second)};
}

}  // namespace tolvane
