#pragma once
// The one model between the user interface and the engine: the playlist, the current entry, the displayed position and
// the listener's levels. Player's thread; the window reaches it through SessionProxy. The position shown is derived
// from the clock, which is set anew where the device has played something else.

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

/// Observers are told of changes from within the operation that makes them, also halfway through it: they read, and
/// leave operations for a later turn.
class PlayerSession {
 public:
  /// Restores what the last session has left in the defaults; nothing plays yet. The services outlive the session;
  /// files and bookmarks also what the backgrounds have been given, which ask the disk: `lowPriority` prepares what
  /// will be played next.
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
  /// The last change of the list, while it can be undone: until the next one. Nothing: there is none.
  [[nodiscard]] const Published<std::optional<PlaylistChange>>& undoableChange() const { return undoableChange_; }
  [[nodiscard]] const Published<double>& playbackPosition() const { return playbackPosition_; }  ///< seconds
  [[nodiscard]] const Published<double>& playbackDuration() const { return playbackDuration_; }  ///< 0: unknown
  [[nodiscard]] double playbackProgress() const;                                                 ///< 0 … 1
  /// When the track would have been at its beginning had it played without a pause; nothing unless the clock runs.
  [[nodiscard]] std::optional<RunLoop::TimePoint> playbackStartedAt() const;
  [[nodiscard]] bool canPlayNext() const;
  [[nodiscard]] const UnplayableFiles& unplayableFiles() const { return unplayableFiles_; }
  [[nodiscard]] const Published<double>& outputVolume() const { return outputVolume_; }    ///< 0 … 1
  [[nodiscard]] const Published<double>& outputBalance() const { return outputBalance_; }  ///< −1 … 1
  /// Called after every change of anything above, and of anything that the engine publishes.
  [[nodiscard]] Subscription onChange(const std::function<void()>& observer) const;

  // Transport. Indices out of range are ignored.

  /// Plays the entry from a fraction of its length; the track that is loaded already is only sought in, and one that
  /// is being prepared starts there.
  void playTrack(std::int64_t index, double fraction);
  /// Pauses, resumes, or starts the current entry where it stands (from its beginning when it stands at its end). A
  /// track that is being prepared will wait, or start after all.
  void togglePausePlayback();
  /// The entry before, or the beginning of this one once more than 5 % of it have been played.
  void previous();
  void stopPlayback();
  /// Within the track that is loaded, which goes on playing or stays paused, or that is being prepared. Ignored while
  /// there is none, and for what is not finite; beyond the track is its end.
  void seek(double seconds);

  // Playlist.

  // Each copies the list once, so that it can be undone: some milliseconds for 100,000 entries.

  /// Replaces the playlist and stops what plays. An empty list of URLs changes nothing.
  void loadPlaylist(std::span<const FileURL> urls, bool autoplay);
  /// Reorders without interrupting the music. `destination` counts in the list without the moved entry.
  void moveTrack(std::int64_t source, std::int64_t destination);
  /// Adds entries before the one at `row`, or at the end, without interrupting the music or starting any. An empty list
  /// is loaded with them instead, and plays.
  void insertTracks(std::span<const FileURL> urls, std::int64_t row);
  /// Identities that are not in the list are ignored. Where the current entry goes, the one that followed it becomes
  /// the current one: it plays from its beginning where the music played, and waits otherwise. Where none followed,
  /// playback stops and the last entry becomes the current one.
  void removeTracks(std::span<const PlaylistTrackID> ids);
  /// Brings back the list as it was before its last change. What plays goes on where both lists have it. Otherwise the
  /// change had taken it away, or brought it: then the place of before comes back, and plays if it did.
  void undoPlaylistChange();
  /// Adopts a duration learnt elsewhere, for a current entry that the engine has not loaded.
  void setKnownDuration(double seconds, const FileURL& url);
  /// Asks the disk, in the background, which of unplayableFiles() have changed.
  void checkUnplayableFiles() { unplayableFiles_.check(); }

  // Output.

  void setOutputVolume(double volume);
  void setOutputBalance(double balance);
  /// While playing, the track goes on at the same place on the new device.
  void setOutputDevice(AudioObjectID deviceID);
  void setExclusiveAccessEnabled(bool enabled);

  /// Brings the displayed position up to date; while playing, saves it at most every two seconds.
  void updatePlaybackPosition();

  // What survives a restart. Saved with every change.

  void persistPlaylist();
  void persistPlaybackState();
  /// For the end of the program: brings the position up to date and saves both, without waiting for the disk.
  void saveAll();
  /// The defaults have been loaded after all: what the last session has left is restored, unless another playlist is
  /// there by now.
  void defaultsAreLoaded();

 private:
  /// What is left of a saved playlist once the disk has been asked for each file.
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
    double startFraction = 0;  ///< for a duration that is unknown
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
  bool isSavedByPath_ = false;  ///< awaited ones are of the path alone meanwhile
  /// When the track would have been at position 0 had it played without a pause; present only while the engine plays.
  Published<std::optional<RunLoop::TimePoint>> playbackStartedAt_{std::nullopt};
  struct ClockReading {
    double heard = 0;  ///< the device's position, seconds
    double lead = 0;   ///< seconds by which the clock was ahead of it
  };
  std::vector<ClockReading> readings_;  ///< the last few since the clock was set
  RunLoop::TimePoint lastReading_{};
  // Where the track that is being prepared is to start: at a time, or at a fraction of a length not known yet.
  double startFraction_ = 0;
  std::optional<double> startSeconds_;
  std::uint64_t placesChosen_ = 0;  ///< by the listener, of tracks that were being prepared
  std::optional<RunLoop::TimePoint> lastPeriodicSave_;
  bool shouldAutoAdvance_ = false;
  bool isRestored_ = false;  ///< the playlist is the last run's, and nothing of it has been played

  // Last, so that they end before the state they act on.
  UnplayableFiles unplayableFiles_;
  BackgroundRequest<std::optional<RestoredPlaylist>> restoration_;  ///< of the saved playlist
  RunLoop::Timer restorationPatience_;
  BackgroundRequest<std::vector<FileBookmark>> bookmarking_;  ///< of the loaded one
  RunLoop::Timer bookmarkingPatience_;
  Subscription completionSubscription_;
  RunLoop::Timer progressTimer_;
};

}  // namespace tolvane
