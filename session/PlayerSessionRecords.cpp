// The saved state of the session: when the records are written, and how the playlist is rebuilt from them.

#include <algorithm>
#include <cstdio>
#include <unordered_map>
#include <utility>

#include "platform/PrintableText.h"
#include "session/AudioFileDiscovery.h"
#include "session/PlayerSession.h"
#include "session/SavedPlaybackState.h"
#include "session/SavedPlaylist.h"

namespace tolvane {

namespace {

constexpr std::string_view playlistKey = "TolvanePlayer.SavedPlaylist";
constexpr std::string_view playbackStateKey = "TolvanePlayer.SavedPlaybackState";
/// For 100,000 entries, a disk that answers takes a fraction of this.
constexpr auto diskPatience = std::chrono::seconds(3);

void reportLostAccess(const FileURL& url, const std::string& error) {
  std::printf("Could not save access to %s: %s\n", printableText(url.lastPathComponent()).c_str(),
              printableText(error).c_str());
  std::fflush(stdout);
}

}  // namespace

bool PlayerSession::isWaitingForRecords() const {
  return restoration_.isUnderWay() || (bookmarking_.isUnderWay() && !isSavedByPath_) || !defaults_.isLoaded();
}

void PlayerSession::saveAll() {
  updatePlaybackPosition();
  saveByPathMeanwhile();
  persistPlaylist();
  persistPlaybackState();
}

void PlayerSession::saveByPathMeanwhile() {
  if (!bookmarking_.isUnderWay() || isSavedByPath_) return;
  isSavedByPath_ = true;
  const auto& tracks = playlistTracks_.value();
  entryBookmarks_.assign(
      [&](std::size_t row) {
        return entryBookmarks_.isAwaited(row)
                   ? std::optional(bookmarks_.makeOfPath(tracks[row].url).value_or(FileBookmark()))
                   : std::nullopt;
      },
      true);
  persistAll();
}

void PlayerSession::defaultsAreLoaded() {
  restoreLevels();
  playlistTracks_.value().empty() ? restorePlaylist() : persistAll();
}

void PlayerSession::persistPlaylist() {
  if (isWaitingForRecords()) return;  // the stored record stays until it can be replaced
  if (entryBookmarks_.areNone()) {
    const UserDefaults::Group together(defaults_);
    defaults_.removeObject(playlistKey);
    defaults_.removeObject(playbackStateKey);
    return;
  }
  defaults_.setObject(playlistKey, encodedPlaylist(entryBookmarks_.all()));
}

void PlayerSession::persistPlaybackState() {
  if (isWaitingForRecords()) return;
  if (entryBookmarks_.areNone()) return defaults_.removeObject(playbackStateKey);
  auto record = encodedState({.currentIndex = entryBookmarks_.savedIndexOf(currentIndex_.value()),
                              .position = playbackPosition_.value(),
                              .duration = playbackDuration_.value()});
  if (record) defaults_.setObject(playbackStateKey, std::move(*record));
}

void PlayerSession::persistAll() {
  const UserDefaults::Group together(defaults_);
  persistPlaylist();
  persistPlaybackState();
}

/// Reads the awaited bookmarks from the disk, then saves. An entry without a bookmark can be played but is not saved.
void PlayerSession::makeBookmarks() {
  std::vector<PlaylistTrackID> ids;
  std::vector<FileURL> urls;
  const auto& tracks = playlistTracks_.value();
  for (std::size_t row = 0; row < tracks.size(); ++row) {
    if (!entryBookmarks_.isAwaited(row)) continue;
    ids.push_back(tracks[row].id);
    urls.push_back(tracks[row].url);
  }
  bookmarking_.cancel();
  bookmarkingPatience_.reset();
  isSavedByPath_ = false;
  if (urls.empty()) return persistAll();
  bookmarking_.start(
      [&bookmarks = bookmarks_, urls = std::move(urls)] {
        std::vector<FileBookmark> made;
        made.reserve(urls.size());
        for (const auto& url : urls) made.push_back(bookmarks.make(url).value_or(FileBookmark()));
        return made;
      },
      [this, ids = std::move(ids)](std::vector<FileBookmark> made) {
        bookmarkingPatience_.reset();
        adoptBookmarks(ids, std::move(made));
        persistAll();
      });
  if (!bookmarking_.isUnderWay()) return;
  bookmarkingPatience_ = runLoop_.scheduleTimer(diskPatience, false, [this] { saveByPathMeanwhile(); });
}

/// Entries may have been moved or removed meanwhile.
void PlayerSession::adoptBookmarks(std::span<const PlaylistTrackID> ids, std::vector<FileBookmark> bookmarks) {
  std::unordered_map<PlaylistTrackID, FileBookmark*> made;
  made.reserve(ids.size());
  for (std::size_t index = 0; index < ids.size(); ++index) made.emplace(ids[index], &bookmarks[index]);
  const auto& tracks = playlistTracks_.value();
  entryBookmarks_.assign(
      [&](std::size_t row) {
        const auto found = made.find(tracks[row].id);
        return found != made.end() ? std::optional(std::move(*found->second)) : std::nullopt;
      },
      false);
}

void PlayerSession::restorePlaylist() {
  auto record = defaults_.value<UserDefaults::Data>(playlistKey);
  if (!record) return;
  restoration_.start(
      [&bookmarks = bookmarks_, record = *record] {
        auto saved = decodedPlaylist(record);
        const bool isKnown = saved && saved->version == SavedPlaylist::currentVersion;
        return isKnown ? std::optional(resolvedPlaylist(bookmarks, std::move(saved->bookmarks))) : std::nullopt;
      },
      [this](std::optional<RestoredPlaylist> restored) {
        restorationPatience_.reset();
        if (restored) adoptRestoredPlaylist(*std::move(restored));
      });
  if (!restoration_.isUnderWay()) return;
  restorationPatience_ = runLoop_.scheduleTimer(diskPatience, false, [this, record = std::move(*record)] {
    restoration_.cancel();
    adoptStoredPlaylist(record);
  });
}

/// For a share that does not answer: the entries as they were saved. Files that are gone are noticed when they are
/// played.
void PlayerSession::adoptStoredPlaylist(const std::string& record) {
  auto saved = decodedPlaylist(record);
  if (!saved || saved->version != SavedPlaylist::currentVersion) return;
  RestoredPlaylist stored;
  for (std::size_t index = 0; index < saved->bookmarks.size(); ++index) {
    auto url = bookmarks_.storedURL(saved->bookmarks[index]);
    if (!url || !isSupportedAudioFile(*url)) continue;
    stored.urls.push_back(*std::move(url));
    stored.bookmarks.push_back(std::move(saved->bookmarks[index]));
    stored.savedIndices.push_back(static_cast<std::int64_t>(index));
  }
  adoptRestoredPlaylist(std::move(stored));
}

void PlayerSession::adoptRestoredPlaylist(RestoredPlaylist restored) {
  const auto stateData = defaults_.value<UserDefaults::Data>(playbackStateKey);
  const auto state = (stateData ? decodedState(*stateData) : std::nullopt).value_or(SavedPlaybackState{});
  withdrawUndo();
  entryBookmarks_ = EntryBookmarks(std::move(restored.bookmarks));
  std::vector<PlaylistTrack> tracks;
  tracks.reserve(restored.urls.size());
  for (auto& url : restored.urls) tracks.push_back({++lastTrackID_, std::move(url)});
  playlistTracks_.assign(PlaylistTracks(std::move(tracks)));
  // Without saved entries, this removes both records.
  if (entryBookmarks_.size() == 0) return persistPlaylist();

  const auto place = std::ranges::lower_bound(restored.savedIndices, state.currentIndex);
  const bool isCurrentThere = place != restored.savedIndices.end() && *place == state.currentIndex;
  if (isCurrentThere) {
    currentIndex_.assign(place - restored.savedIndices.begin());
    playbackDuration_.assign(std::max(state.duration, 0.0));
    playbackPosition_.assign(std::min(std::max(state.position, 0.0), playbackDuration_.value()));
  } else {
    // The entry after the missing one, or the last.
    currentIndex_.assign(std::min(place - restored.savedIndices.begin(), std::ssize(restored.savedIndices) - 1));
  }
  if (!isCurrentThere || restored.isChanged) persistAll();
  isRestored_ = true;
  updateUpcomingTrack();
}

PlayerSession::RestoredPlaylist PlayerSession::resolvedPlaylist(FileBookmarks& bookmarks,
                                                                std::vector<FileBookmark> saved) {
  RestoredPlaylist restored;
  auto resolved = bookmarks.resolve(saved);
  for (std::size_t index = 0; index < saved.size(); ++index) {
    auto& entry = resolved[index];
    if (!entry || !entry->isReadable || !isSupportedAudioFile(entry->url)) {
      restored.isChanged = true;
      continue;
    }
    FileBookmark bookmark = std::move(saved[index]);
    if (entry->isStale) {
      if (auto fresh = bookmarks.make(entry->url)) {
        bookmark = std::move(*fresh);
        restored.isChanged = true;
      } else {
        reportLostAccess(entry->url, fresh.error());
      }
    }
    restored.urls.push_back(std::move(entry->url));
    restored.bookmarks.push_back(std::move(bookmark));
    restored.savedIndices.push_back(static_cast<std::int64_t>(index));
  }
  return restored;
}

}  // namespace tolvane
