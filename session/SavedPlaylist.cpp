#include "session/SavedPlaylist.h"

#include "session/Base64.h"
#include "session/RecordReading.h"

namespace tolvane {

std::string encodedPlaylist(std::span<const FileBookmark> bookmarks) {
  std::size_t size = 64;
  for (const auto& bookmark : bookmarks) size += bookmark.size() / 3 * 4 + 8;
  std::string text;
  text.reserve(size);
  // Written by hand: the text of 100,000 bookmarks needs no escaping, and scanning for it would take most of the time.
  text += R"({"version":1,"bookmarks":[)";
  bool isFirst = true;
  for (const auto& bookmark : bookmarks) {
    if (bookmark.empty()) continue;
    text += isFirst ? "\"" : ",\"";
    isFirst = false;
    appendBase64(text, bookmark);
    text += '"';
  }
  text += "]}";
  return text;
}

std::optional<SavedPlaylist> decodedPlaylist(std::string_view text) {
  const auto record = parsedRecord(text);
  if (!record) return std::nullopt;
  const auto version = integerMember(*record, "version");
  const auto bookmarks = record->find("bookmarks");
  if (!version || bookmarks == record->end() || !bookmarks->is_array()) return std::nullopt;
  SavedPlaylist playlist{.version = *version, .bookmarks = {}};
  playlist.bookmarks.reserve(bookmarks->size());
  for (const auto& entry : *bookmarks) {
    auto bytes = entry.is_string() ? decodedBase64(entry.get_ref<const std::string&>()) : std::nullopt;
    if (!bytes) return std::nullopt;
    playlist.bookmarks.push_back(std::move(*bytes));
  }
  return playlist;
}

}  // namespace tolvane
