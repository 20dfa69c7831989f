#pragma once
// The model between the user interface and the engine: the playlist, the current entry, the shown position and the
// user's levels. Player's thread; the window reaches it through SessionProxy. The shown position is computed from a
// clock, which is corrected when the device's position differs.

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "engine/BitPerfectAudioPlayer.h"
#include "engine/Published.h"
#include "platform/BackgroundRequest.h"
#include "platform/FileBookmarks.h"
#include "platform/UserDefaults.h"
#include "session/EntryBookmarks.h"
#include "session/PlaylistChange.h"
#include "session/PlaylistTracks.h"
#include "session/UnplayableFiles.h"

namespace tolvane {

/// Observers are called within the operation that makes a change, possibly halfway through it: they may read, but must
/// defer operations to a later turn.
class PlayerSession {
 public:
  /// Restores the state that the last session saved in the defaults, without playing. The services outlive the session;
  /// `files` and `bookmarks` also outlive the work handed to the backgrounds, which access the disk. `lowPriority`
  /// prepares the track that will play next.
  PlayerSession(AudioHardware& hardware, AudioFileServices& files, UserDefaults& defaults, FileBookmarks& bookmarks,
                RunLoop& runLoop, Log& log, Background background = runAtOnce, Background lowPriority = runAtOnce);
  PlayerSession(const PlayerSession&) = delete;
  PlayerSession& operator=(const PlayerSession&) = delete;
  ~PlayerSession() = default;

  // State.
  [[nodiscard]] const BitPerfectAudioPlayer& player() const { return player_; }
  [[nodiscard]] const Published<PlaylistTracks>& playlistTracks() const { return playlistTracks_; }
  [[nodiscard]] std::vector<FileURL> fileURLs() const;
  /// Out of range while the playlist is empty.
  [[nodiscard]] const Published<std::int64_t>& currentIndex() const { return currentIndex_; }
  [[nodiscard]] std::optional<FileURL> currentTrackURL() const;
  /// The last change of the list, as long as it can be undone: until the next change. Nothing: none.
  [[nodiscard]] const Published<std::optional<PlaylistChange>>& undoableChange() const { return undoableChange_; }
  [[nodiscard]] const Published<double>& playbackPosition() const { return playbackPosition_; }  ///< seconds
  [[nodiscard]] const Published<double>& playbackDuration() const { return playbackDuration_; }  ///< 0: unknown
  [[nodiscard]] double playbackProgress() const;                                                 ///< 0 … 1
  /// When the track would have started if it had played without a pause; nothing unless the clock runs.
  [[nodiscard]] std::optional<RunLoop::TimePoint> playbackStartedAt() const;
  [[nodiscard]] bool canPlayNext() const;
  [[nodiscard]] const UnplayableFiles& unplayableFiles() const { return unplayableFiles_; }
  [[nodiscard]] const Published<double>& outputVolume() const { return outputVolume_; }    ///< 0 … 1
  [[nodiscard]] const Published<double>& outputBalance() const { return outputBalance_; }  ///< −1 … 1
  /// Called after every change of any value above, and of any value that the engine publishes.
  [[nodiscard]] Subscription onChange(const std::function<void()>& observer) const;

  // Transport. Indices out of range are ignored.

  /// Plays the entry from a fraction of its length. Only seeks if the track is already loaded; a track that is being
  /// prepared will start there.
  void playTrack(std::int64_t index, double fraction);
  /// Pauses, resumes, or starts the current entry at its position (from its beginning if it is at its end). For a track
  /// that is being prepared, toggles whether it will be paused when it is ready.
  void togglePausePlayback();
  /// Plays the previous entry, or the beginning of this one if more than 5 % of it have been played.
  void previous();
  void stopPlayback();
  /// Seeks within the track that is loaded, which keeps playing or stays paused, or that is being prepared. Ignored
  /// without one, and for values that are not finite; values beyond the track's end seek to its end.
  void seek(double seconds);

  // Playlist.

  // Each copies the list once for undo: some milliseconds for 100,000 entries.

  /// Replaces the playlist and stops playback. An empty list of URLs changes nothing.
  void loadPlaylist(std::span<const FileURL> urls, bool autoplay);
  /// Reorders without interrupting the music. `destination` counts in the list without the moved entry.
  void moveTrack(std::int64_t source, std::int64_t destination);
  /// Inserts entries before the one at `row`, or at the end, without affecting playback. An empty playlist is loaded
  /// with them instead, and plays.
  void insertTracks(std::span<const FileURL> urls, std::int64_t row);
  /// Unknown identities are ignored. If the current entry is removed, the one after it becomes the current one: it
  /// plays from its beginning if music was playing, and waits otherwise. If none follows, playback stops and the last
  /// entry becomes the current one.
  void removeTracks(std::span<const PlaylistTrackID> ids);
  /// Restores the list as it was before its last change. A playing track that is in both lists continues. If the change
  /// had removed or added the current entry, the previous position is restored, and plays if it did before.
  void undoPlaylistChange();
  /// Sets a duration learnt elsewhere, if `url` is the current entry and the engine has not loaded it.
  void setKnownDuration(double seconds, const FileURL& url);
  /// Checks on the disk, in the background, which of unplayableFiles() have changed.
  void checkUnplayableFiles() { unplayableFiles_.check(); }

  // Output.

  void setOutputVolume(double volume);
  void setOutputBalance(double balance);
  /// While playing, the track continues at the same position on the new device.
  void setOutputDevice(AudioObjectID deviceID);
  void setExclusiveAccessEnabled(bool enabled);

  /// Updates the shown position; while playing, saves it at most every two seconds.
  void updatePlaybackPosition();
  /// Whether the position is updated at the pace of a display, as it is at first, or half as often.
  void watchTime(bool isWatched);

  // What survives a restart. Saved with every change.

  void persistPlaylist();
  void persistPlaybackState();
  /// For the end of the program: updates the position and saves both records, without waiting for the disk.
  void saveAll();
  /// For defaults that were loaded late: restores the state that the last session saved, unless another playlist has
  /// been loaded.
  void defaultsAreLoaded();

 private:
  /// The entries of a saved playlist that still exist, after a check on the disk.
  struct RestoredPlaylist {
    std::vector<FileURL> urls;
    std::vector<FileBookmark> bookmarks;
    std::vector<std::int64_t> savedIndices;  ///< ascending
    bool isChanged = false;
  };
  [[nodiscard]] static RestoredPlaylist resolvedPlaylist(FileBookmarks& bookmarks, std::vector<FileBookmark> saved);

  void handlePlaybackCompletion();
  void restoreLevels();
  void restorePlaylist();
  void adoptRestoredPlaylist(RestoredPlaylist restored);
  void adoptStoredPlaylist(const std::string& record);
  /// The list and the place in it.
  struct PlaylistSnapshot {
    PlaylistTracks tracks;
    EntryBookmarks bookmarks;
    std::int64_t currentIndex = 0;
    double position = 0;       ///< seconds
    double duration = 0;       ///< seconds; 0: unknown
    double startFraction = 0;  ///< if the duration is unknown
    bool isGoingToPlay = false;
    bool isRestored = false;
  };
  [[nodiscard]] PlaylistSnapshot snapshot();
  void offerUndo(PlaylistSnapshot before, PlaylistChange change);
  void withdrawUndo();
  void restorePlace(const PlaylistSnapshot& before);
  void forgetPlace();

  void makeBookmarks();
  void adoptBookmarks(std::span<const PlaylistTrackID> ids, std::vector<FileBookmark> bookmarks);
  void saveByPathMeanwhile();
  [[nodiscard]] bool isWaitingForRecords() const;
  void persistAll();
  [[nodiscard]] bool isTrackLoaded(const FileURL& url) const;
  [[nodiscard]] bool isTrackPrepared(const FileURL& url) const;
  [[nodiscard]] bool isActive() const;
  [[nodiscard]] bool isGoingToPlay() const;
  void prepare(const FileURL& url);
  void trackHasStarted();
  void trackHasStartedOnOtherDevice();
  void noteWhetherPlayable();
  void startFromTarget();
  [[nodiscard]] double startPosition(double duration) const;
  void updateUpcomingTrack();
  void keepTime();
  void followDevice();
  void setPositionFollowingEngine(double seconds);
  void startClockAt(double seconds);

  UserDefaults& defaults_;
  FileBookmarks& bookmarks_;
  RunLoop& runLoop_;
  BitPerfectAudioPlayer player_;

  Published<PlaylistTracks> playlistTracks_;
  Published<std::int64_t> currentIndex_{0};
  Published<std::optional<PlaylistChange>> undoableChange_{std::nullopt};
  std::optional<PlaylistSnapshot> beforeChange_;  ///< present with undoableChange_
  Published<double> playbackPosition_{0};
  Published<double> playbackDuration_{0};
  Published<double> outputVolume_{1.0};
  Published<double> outputBalance_{0.0};

  PlaylistTrackID lastTrackID_ = 0;
  EntryBookmarks entryBookmarks_;
  bool isSavedByPath_ = false;  ///< awaited bookmarks were saved with the path alone
  /// When the track would have been at position 0 if it had played without a pause; present only while the engine
  /// plays.
  Published<std::optional<RunLoop::TimePoint>> playbackStartedAt_{std::nullopt};
  struct ClockReading {
    double heard = 0;  ///< the device's position, seconds
    double lead = 0;   ///< seconds by which the clock was ahead of the device
  };
  std::vector<ClockReading> readings_;  ///< the most recent ones since the clock was set
  RunLoop::TimePoint lastReading_{};
  // Where the track that is being prepared will start: a time, or a fraction of a length that is not known yet.
  double startFraction_ = 0;
  std::optional<double> startSeconds_;
  std::uint64_t placesChosen_ = 0;  ///< positions that the user chose in tracks that were being prepared
  std::optional<RunLoop::TimePoint> lastPeriodicSave_;
  bool shouldAutoAdvance_ = false;
  bool isRestored_ = false;  ///< the playlist is the last run's, and none of it has been played

  // Last, so that they end before the state they act on.
  UnplayableFiles unplayableFiles_;
  BackgroundRequest<std::optional<RestoredPlaylist>> restoration_;  ///< of the saved playlist
  RunLoop::Timer restorationPatience_;
  BackgroundRequest<std::vector<FileBookmark>> bookmarking_;  ///< of the loaded one
  RunLoop::Timer bookmarkingPatience_;
  Subscription completionSubscription_;
  Subscription playingSubscription_;
  bool isTimeWatched_ = true;
  RunLoop::Timer progressTimer_;  ///< while a track plays
};

}  // namespace tolvane
