// What of the session survives a restart: when the records are written, and how the playlist is rebuilt from them.

#include <algorithm>
#include <cstdio>
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
/// 100,000 entries of a disk that answers take a fraction of it.
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
  std::vector<FileBookmark> ofPaths;
  ofPaths.reserve(playlistTracks_.value().size());
  for (const auto& track : playlistTracks_.value()) {
    ofPaths.push_back(bookmarks_.makeOfPath(track.url).value_or(FileBookmark()));
  }
  isSavedByPath_ = true;
  adoptBookmarks(std::move(ofPaths));
  persistAll();
}

void PlayerSession::defaultsAreLoaded() {
  restoreLevels();
  playlistTracks_.value().empty() ? restorePlaylist() : persistAll();
}

void PlayerSession::persistPlaylist() {
  if (isWaitingForRecords()) return;  // what is stored stays until it can be replaced
  if (unsavedIndices_.size() == entryBookmarks_.size()) {
    const UserDefaults::Group together(defaults_);
    defaults_.removeObject(playlistKey);
    defaults_.removeObject(playbackStateKey);
    return;
  }
  defaults_.setObject(playlistKey, encodedPlaylist(entryBookmarks_));
}

void PlayerSession::persistPlaybackState() {
  if (isWaitingForRecords()) return;
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

/// An entry without a bookmark plays now, and is not saved.
void PlayerSession::makeBookmarks(std::vector<FileURL> urls, PlaylistTrackID firstID) {
  isSavedByPath_ = false;
  bookmarking_.start(
      [&bookmarks = bookmarks_, urls = std::move(urls)] {
        std::vector<FileBookmark> made;
        made.reserve(urls.size());
        for (const auto& url : urls) made.push_back(bookmarks.make(url).value_or(FileBookmark()));
        return made;
      },
      [this, firstID](std::vector<FileBookmark> made) {
        bookmarkingPatience_.reset();
        // Entries may have been moved meanwhile.
        std::vector<FileBookmark> inOrder;
        inOrder.reserve(made.size());
        for (const auto& track : playlistTracks_.value()) inOrder.push_back(std::move(made[track.id - firstID]));
        adoptBookmarks(std::move(inOrder));
        persistAll();
      });
  if (!bookmarking_.isUnderWay()) return;
  bookmarkingPatience_ = runLoop_.scheduleTimer(diskPatience, false, [this] { saveByPathMeanwhile(); });
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

/// For a share that does not answer: the entries as they were saved. What has gone is found out when it is played.
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
  adoptBookmarks(std::move(restored.bookmarks));
  std::vector<PlaylistTrack> tracks;
  tracks.reserve(restored.urls.size());
  for (auto& url : restored.urls) tracks.push_back({++lastTrackID_, std::move(url)});
  playlistTracks_.assign(PlaylistTracks(std::move(tracks)));
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
