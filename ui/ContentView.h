#pragma once
// The window's own operations and state beside the player's: what a new playlist resets, which waveforms and tags are
// requested, and the reordering drag. Window's thread. Owns no audio logic and draws nothing.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "session/SessionProxy.h"
#include "ui/LowPriorityWorkers.h"
#include "ui/MusicStore.h"
#include "ui/playlist/PlaylistPlace.h"
#include "ui/playlist/PlaylistSaving.h"
#include "ui/drag/PlaylistTrackDropDelegate.h"
#include "ui/waveforms/WaveformStore.h"

namespace tolvane {

inline constexpr std::int64_t prefetchedTrackRows = 5;

class ContentView {
 public:
  /// `extract` reads waveforms, `background` runs it. The first two outlive the view.
  ContentView(SessionProxy& session, RunLoop& runLoop, WaveformStore::Extract extract,
              WaveformStore::Background background, MusicStore::Source music = {});
  /// Reads waveforms with these workers, in files that it opens itself; they outlive the view.
  ContentView(SessionProxy& session, RunLoop& runLoop, const std::shared_ptr<AudioFileServices>& waveformFiles,
              LowPriorityWorkers& workers, MusicStore::Source music = {});

  [[nodiscard]] SessionProxy& session() const { return session_; }
  [[nodiscard]] WaveformStore& waveforms() { return waveforms_; }
  [[nodiscard]] const WaveformStore& waveforms() const { return waveforms_; }
  [[nodiscard]] MusicStore& music() { return music_; }
  [[nodiscard]] const MusicStore& music() const { return music_; }
  [[nodiscard]] RunLoop& runLoop() const { return runLoop_; }

  // Playlist.

  /// Replaces the playlist and plays it.
  void loadPlaylist(std::span<const FileURL> urls);
  /// Replaces the playlist and plays it, or adds to it.
  void openFiles(std::span<const FileURL> urls, PlaylistPlace place);
  /// From a fraction of the track's length.
  void playTrack(std::int64_t index, double fraction);
  /// Asks for the waveforms of the first rows.
  void prepareWaveformsForCurrentPlaylist();
  /// Seconds; 0 without a track.
  [[nodiscard]] double currentTrackDuration() const;

  /// The list as it is now.
  [[nodiscard]] ListToSave listToSave() const;

  // Reordering.

  /// The payload that is to travel with the drag.
  [[nodiscard]] std::string beginPlaylistTrackDrag(PlaylistTrackID track);
  /// The drag has ended, wherever that was. One whose payload is still being read ends by itself.
  void endPlaylistTrackDrag();
  /// A row as a place to drop on.
  [[nodiscard]] PlaylistTrackDropDelegate dropDelegate(std::int64_t row);
  void movePlaylistTrack(const Uuid& track, std::int64_t insertionIndex);
  /// The gap that is marked, while a drag is over the list.
  [[nodiscard]] std::optional<std::int64_t> playlistInsertionIndex() const;
  [[nodiscard]] std::optional<std::int64_t> playlistDropTargetIndex() const;
  [[nodiscard]] const std::optional<PlaylistDragSession>& playlistDragSession() const { return *dragSession_; }

 private:
  [[nodiscard]] bool isDragging() const;
  void adoptPlaylist();

  SessionProxy& session_;
  RunLoop& runLoop_;
  WaveformStore waveforms_;
  MusicStore music_;
  bool isNewPlaylistExpected_ = false;
  PlaylistTrackDropDelegate::Session dragSession_ = std::make_shared<std::optional<PlaylistDragSession>>();
  Subscription subscriptions_;
};

}  // namespace tolvane
