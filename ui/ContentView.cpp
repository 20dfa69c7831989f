#include "ui/ContentView.h"

#include <algorithm>
#include <utility>

#include "ui/playlist/TrackListLayout.h"

namespace tolvane {

ContentView::ContentView(SessionProxy& session, RunLoop& runLoop, WaveformStore::Extract extract,
                         WaveformStore::Background background, MusicStore::Source music)
    : session_(session),
      runLoop_(runLoop),
      waveforms_(runLoop, std::move(extract), std::move(background)),
      music_(runLoop, std::move(music)) {
  std::vector<Subscription> parts;
  parts.push_back(session.onChange([this](const SessionState& before, const SessionState& now) {
    if (before.tracks != now.tracks) adoptPlaylist();
    music_.setCurrent(session_.currentTrackURL());
  }));
  parts.push_back(waveforms_.onChange([this](const FileURL& url) {
    // A track that has been restored but not loaded yet shows its length, too.
    const auto seconds = waveforms_.duration(url);
    if (seconds && session_.currentTrackURL() == url) session_.setKnownDuration(*seconds, url);
  }));
  subscriptions_ = Subscription::joined(std::move(parts));
  prepareWaveformsForCurrentPlaylist();
  music_.setCurrent(session_.currentTrackURL());
}

ContentView::ContentView(SessionProxy& session, RunLoop& runLoop,
                         const std::shared_ptr<AudioFileServices>& waveformFiles, LowPriorityWorkers& workers,
                         MusicStore::Source music)
    : ContentView(
          session, runLoop,
          [waveformFiles](const FileURL& url, const std::stop_token& stop) {
            return makeWaveformData(*waveformFiles, url, maxWaveformSamples, stop);
          },
          [&workers](WaveformStore::Work work) { workers.run(std::move(work)); }, std::move(music)) {}

void ContentView::loadPlaylist(std::span<const FileURL> urls) {
  if (urls.empty()) return;
  dragSession_->reset();
  isNewPlaylistExpected_ = true;
  session_.loadPlaylist(urls, true);
}

void ContentView::openFiles(std::span<const FileURL> urls, PlaylistPlace place) {
  place.replacesAll ? loadPlaylist(urls) : session_.insertTracks(urls, place.before);
}

/// The old files' data stays until the new tracks arrive: the player may take a while to answer.
void ContentView::adoptPlaylist() {
  if (std::exchange(isNewPlaylistExpected_, false)) {
    waveforms_.clear();
    music_.clear();
  }
  prepareWaveformsForCurrentPlaylist();
}

void ContentView::playTrack(std::int64_t index, double fraction) {
  const PlaylistTrack* track = session_.state().tracks.entryAt(index);
  if (track == nullptr) return;
  waveforms_.loadWaveform(track->url);
  session_.playTrack(index, fraction);
}

void ContentView::prepareWaveformsForCurrentPlaylist() {
  const auto& tracks = session_.state().tracks.entries();
  const auto count = std::min(std::ssize(tracks), prefetchedTrackRows);
  for (const auto& track : std::span(tracks).first(static_cast<std::size_t>(count))) waveforms_.loadWaveform(track.url);
}

double ContentView::currentTrackDuration() const {
  const double known = session_.state().duration;
  if (known > 0) return known;
  const auto url = session_.currentTrackURL();
  if (!url) return 0;
  return waveforms_.duration(*url).value_or(known);
}

ListToSave ContentView::listToSave() const {
  ListToSave list{.tracks = session_.state().tracks, .durations = waveforms_.durations()};
  const auto current = session_.currentTrackURL();
  if (current && session_.state().duration > 0) list.durations.try_emplace(*current, session_.state().duration);
  return list;
}

std::string ContentView::beginPlaylistTrackDrag(PlaylistTrackID track) {
  PlaylistDragSession drag;
  drag.id = Uuid::random();
  drag.trackID = Uuid::ofTrack(track);
  *dragSession_ = drag;
  return PlaylistTrackDragPayload{std::string(PlaylistTrackDragPayload::trackKind), drag.id, drag.trackID}.encoded();
}

void ContentView::endPlaylistTrackDrag() {
  if (isDragging()) dragSession_->reset();
}

PlaylistTrackDropDelegate ContentView::dropDelegate(std::int64_t row) {
  return {runLoop_, row, trackRowHeight, dragSession_,
          [this](const Uuid& track, std::int64_t insertionIndex) { movePlaylistTrack(track, insertionIndex); }};
}

void ContentView::movePlaylistTrack(const Uuid& track, std::int64_t insertionIndex) {
  const auto& tracks = session_.state().tracks.entries();
  const auto found =
      std::ranges::find_if(tracks, [&](const PlaylistTrack& known) { return Uuid::ofTrack(known.id) == track; });
  if (found == tracks.end()) return;
  const auto source = found - tracks.begin();
  if (const auto destination = moveDestination(source, insertionIndex, std::ssize(tracks)))
    session_.moveTrack(source, *destination);
}

bool ContentView::isDragging() const { return *dragSession_ && (*dragSession_)->phase == PlaylistDragPhase::dragging; }

std::optional<std::int64_t> ContentView::playlistInsertionIndex() const {
  return isDragging() ? (*dragSession_)->insertionIndex : std::nullopt;
}

std::optional<std::int64_t> ContentView::playlistDropTargetIndex() const {
  return isDragging() ? (*dragSession_)->dropTargetIndex : std::nullopt;
}

}  // namespace tolvane
