// Changes of the playlist while the session lives, and undo of the last change.

#include <algorithm>
#include <utility>

#include "session/PlayerSession.h"
#include "session/PlaylistRemoval.h"

namespace tolvane {

void PlayerSession::loadPlaylist(std::span<const FileURL> urls, bool autoplay) {
  if (urls.empty()) return;
  auto before = snapshot();
  if (isActive()) player_.stop();
  isRestored_ = false;
  player_.setUpcomingTrack(std::nullopt);
  std::vector<PlaylistTrack> tracks;
  tracks.reserve(urls.size());
  for (const auto& url : urls) tracks.push_back({++lastTrackID_, url});
  restoration_.cancel();
  restorationPatience_.reset();
  entryBookmarks_ = EntryBookmarks::awaitedFor(urls.size());
  playlistTracks_.assign(PlaylistTracks(std::move(tracks)));
  unplayableFiles_.keepOnly(playlistTracks_.value());
  currentIndex_.assign(0);
  forgetPlace();
  const auto replaced = std::ssize(before.tracks.entries());
  offerUndo(std::move(before), {PlaylistChange::Kind::replaced, replaced});
  makeBookmarks();
  if (autoplay) playTrack(currentIndex_.value(), 0);
}

void PlayerSession::moveTrack(std::int64_t source, std::int64_t destination) {
  const auto count = std::ssize(playlistTracks_.value().entries());
  if (source < 0 || source >= count || count < 2) return;
  const auto target = std::clamp<std::int64_t>(destination, 0, count - 1);
  if (target == source) return;
  auto before = snapshot();

  const auto index = indexAfterMove(currentIndex_.value(), source, target);
  entryBookmarks_.move(source, target);
  auto tracks = playlistTracks_.value().entries();
  moveElement(tracks, source, target);
  playlistTracks_.assign(PlaylistTracks(std::move(tracks)));
  currentIndex_.assign(index);
  offerUndo(std::move(before), {PlaylistChange::Kind::moved, 1});
  persistAll();
  updateUpcomingTrack();
}

void PlayerSession::insertTracks(std::span<const FileURL> urls, std::int64_t row) {
  if (urls.empty()) return;
  if (playlistTracks_.value().empty()) return loadPlaylist(urls, true);
  auto before = snapshot();
  const auto count = std::ssize(urls);
  const auto gap = std::clamp<std::int64_t>(row, 0, std::ssize(before.tracks.entries()));
  const auto place = before.tracks.begin() + gap;
  PlaylistTracks::Entries tracks;
  tracks.reserve(before.tracks.size() + urls.size());
  tracks.insert(tracks.end(), before.tracks.begin(), place);
  for (const auto& url : urls) tracks.push_back({++lastTrackID_, url});
  tracks.insert(tracks.end(), place, before.tracks.end());

  entryBookmarks_.insert(gap, urls.size());
  playlistTracks_.assign(PlaylistTracks(std::move(tracks)));
  if (gap <= before.currentIndex) currentIndex_.assign(before.currentIndex + count);
  offerUndo(std::move(before), {PlaylistChange::Kind::added, count});
  makeBookmarks();
  updateUpcomingTrack();
}

void PlayerSession::removeTracks(std::span<const PlaylistTrackID> ids) {
  const auto index = currentIndex_.value();
  auto removal = removalFrom(playlistTracks_.value(), ids, index);
  if (removal.count == 0) return;
  auto before = snapshot();
  // The next track may just have begun.
  if (before.currentIndex != index) removal = removalFrom(before.tracks, ids, before.currentIndex);
  const bool goesOn = before.isGoingToPlay && removal.hasFollower;
  if (removal.takesCurrent && !goesOn && isActive()) player_.stop();

  entryBookmarks_.keep(removal.isKept);
  playlistTracks_.assign(removal.tracks);
  unplayableFiles_.keepOnly(playlistTracks_.value());
  currentIndex_.assign(removal.currentIndex);
  if (removal.takesCurrent) forgetPlace();
  offerUndo(std::move(before), {PlaylistChange::Kind::removed, removal.count});
  persistAll();
  if (removal.takesCurrent && goesOn) return playTrack(currentIndex_.value(), 0);
  updateUpcomingTrack();
}

/// Makes another track the current one, of which nothing has been played.
void PlayerSession::forgetPlace() {
  playbackPosition_.assign(0);
  playbackDuration_.assign(0);
  playbackStartedAt_.assign(std::nullopt);
  shouldAutoAdvance_ = false;
}

PlayerSession::PlaylistSnapshot PlayerSession::snapshot() {
  updatePlaybackPosition();
  return {.tracks = playlistTracks_.value(),
          .bookmarks = entryBookmarks_,
          .currentIndex = currentIndex_.value(),
          .position = playbackPosition_.value(),
          .duration = playbackDuration_.value(),
          .startFraction = player_.isPreparing().value() ? startFraction_ : 0,
          .isGoingToPlay = isGoingToPlay(),
          .isRestored = isRestored_};
}

void PlayerSession::offerUndo(PlaylistSnapshot before, PlaylistChange change) {
  if (before.tracks.empty()) return withdrawUndo();
  beforeChange_ = std::move(before);
  undoableChange_.assign(change);
}

void PlayerSession::withdrawUndo() {
  beforeChange_.reset();
  undoableChange_.assign(std::nullopt);
}

void PlayerSession::undoPlaylistChange() {
  if (!beforeChange_) return;
  updatePlaybackPosition();
  auto before = *std::move(beforeChange_);
  withdrawUndo();
  const auto& now = playlistTracks_.value();
  const PlaylistTrack* current = now.entryAt(currentIndex_.value());
  const PlaylistTrack* currentBefore = before.tracks.entryAt(before.currentIndex);
  const auto row = current != nullptr ? before.tracks.indexOf(current->id) : -1;
  const bool goesOn = row >= 0 && currentBefore != nullptr && now.indexOf(currentBefore->id) >= 0;

  if (!goesOn && isActive()) player_.stop();
  entryBookmarks_ = std::move(before.bookmarks);
  playlistTracks_.assign(before.tracks);
  unplayableFiles_.keepOnly(playlistTracks_.value());
  goesOn ? (void)currentIndex_.assign(row) : restorePlace(before);
  makeBookmarks();
  updateUpcomingTrack();
}

void PlayerSession::restorePlace(const PlaylistSnapshot& before) {
  currentIndex_.assign(before.currentIndex);
  playbackDuration_.assign(before.duration);
  playbackPosition_.assign(before.position);
  playbackStartedAt_.assign(std::nullopt);
  shouldAutoAdvance_ = false;
  isRestored_ = before.isRestored && !before.isGoingToPlay;
  if (!before.isGoingToPlay) return;
  startFraction_ = before.startFraction;
  startSeconds_ = before.duration > 0 ? std::optional(before.position) : std::nullopt;
  if (const auto url = currentTrackURL()) prepare(*url);
}

}  // namespace tolvane
