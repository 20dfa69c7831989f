// What of the session survives a restart: when the records are written, and how the playlist is rebuilt from them.

#include <algorithm>
#include <cstdio>
#include <utility>

#include "session/AudioFileDiscovery.h"
#include "session/PlayerSession.h"
#include "session/SavedPlaybackState.h"
#include "session/SavedPlaylist.h"

namespace tolvane {

namespace {

constexpr std::string_view playlistKey = "TolvanePlayer.SavedPlaylist";
constexpr std::string_view playbackStateKey = "TolvanePlayer.SavedPlaybackState";

void reportLostAccess(const FileURL& url, const std::string& error) {
  std::string name(url.lastPathComponent());
  // A name may hold anything, also a line break: one message stays one line.
  std::ranges::replace_if(
      name, [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
  std::printf("Could not save access to %s: %s\n", name.c_str(), error.c_str());
  std::fflush(stdout);
}

}  // namespace

struct PlayerSession::RestoredPlaylist {
  std::vector<PlaylistTrack> tracks;
  std::vector<FileBookmark> bookmarks;
  std::vector<std::int64_t> savedIndices;  ///< ascending
  bool isChanged = false;
};

void PlayerSession::persistPlaylist() {
  if (unsavedIndices_.size() == entryBookmarks_.size()) {
    const UserDefaults::Group together(defaults_);
    defaults_.removeObject(playlistKey);
    defaults_.removeObject(playbackStateKey);
    return;
  }
  defaults_.setObject(playlistKey, encodedPlaylist(entryBookmarks_));
}

void PlayerSession::persistPlaybackState() {
  if (unsavedIndices_.size() == entryBookmarks_.size()) return defaults_.removeObject(playbackStateKey);
  auto record = encodedState({.currentIndex = savedIndexOfCurrentEntry(),
                              .position = playbackPosition_.value(),
                              .duration = playbackDuration_.value()});
  if (record) defaults_.setObject(playbackStateKey, std::move(*record));
}

void PlayerSession::persistAll() {
  const UserDefaults::Group together(defaults_);
  persistPlaylist();
  persistPlaybackState();
}

std::int64_t PlayerSession::savedIndexOfCurrentEntry() const {
  const auto index = currentIndex_.value();
  if (index < 0 || index >= std::ssize(entryBookmarks_)) return 0;
  const auto next = std::ranges::lower_bound(unsavedIndices_, index);
  if (next != unsavedIndices_.end() && *next == index) return 0;
  return index - (next - unsavedIndices_.begin());
}

void PlayerSession::adoptBookmarks(std::vector<FileBookmark> bookmarks) {
  entryBookmarks_ = std::move(bookmarks);
  unsavedIndices_.clear();
  for (std::int64_t index = 0; index < std::ssize(entryBookmarks_); ++index) {
    if (entryBookmarks_[static_cast<std::size_t>(index)].empty()) unsavedIndices_.push_back(index);
  }
}

void PlayerSession::restorePlaylist() {
  const auto data = defaults_.value<UserDefaults::Data>(playlistKey);
  if (!data) return;
  const auto saved = decodedPlaylist(*data);
  if (!saved || saved->version != SavedPlaylist::currentVersion) return;
  const auto stateData = defaults_.value<UserDefaults::Data>(playbackStateKey);
  const auto state = (stateData ? decodedState(*stateData) : std::nullopt).value_or(SavedPlaybackState{});

  RestoredPlaylist restored = resolvedPlaylist(saved->bookmarks);
  adoptBookmarks(std::move(restored.bookmarks));
  playlistTracks_.assign(std::move(restored.tracks));
  // Without a saved entry, this removes both records.
  if (entryBookmarks_.empty()) return persistPlaylist();

  const auto place = std::ranges::lower_bound(restored.savedIndices, state.currentIndex);
  const bool isCurrentThere = place != restored.savedIndices.end() && *place == state.currentIndex;
  if (isCurrentThere) {
    currentIndex_.assign(place - restored.savedIndices.begin());
    playbackDuration_.assign(std::max(state.duration, 0.0));
    playbackPosition_.assign(std::min(std::max(state.position, 0.0), playbackDuration_.value()));
  } else {
    // The entry after the lost one, or the last.
    currentIndex_.assign(std::min(place - restored.savedIndices.begin(), std::ssize(restored.savedIndices) - 1));
  }
  if (!isCurrentThere || restored.isChanged) persistAll();
}

PlayerSession::RestoredPlaylist PlayerSession::resolvedPlaylist(std::span<const FileBookmark> saved) {
  RestoredPlaylist restored;
  auto resolved = bookmarks_.resolve(saved);
  for (std::size_t index = 0; index < saved.size(); ++index) {
    auto& entry = resolved[index];
    if (!entry || !entry->isReadable || !isSupportedAudioFile(entry->url)) {
      restored.isChanged = true;
      continue;
    }
    FileBookmark bookmark = saved[index];
    if (entry->isStale) {
      if (auto fresh = bookmarks_.make(entry->url)) {
        bookmark = std::move(*fresh);
        restored.isChanged = true;
      } else {
        reportLostAccess(entry->url, fresh.error());
      }
    }
    restored.tracks.push_back({++lastTrackID_, std::move(entry->url)});
    restored.bookmarks.push_back(std::move(bookmark));
    restored.savedIndices.push_back(static_cast<std::int64_t>(index));
  }
  return restored;
}

}  // namespace tolvane
