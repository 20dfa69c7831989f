#pragma once
// The player as seen by the window: its latest state, the expected effect of commands that the player has not answered
// yet, and the commands. Window's thread. Nothing here blocks.

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "engine/Observers.h"
#include "platform/RunLoop.h"
#include "platform/WeakSelf.h"
#include "session/SessionLink.h"

namespace tolvane {

class SessionProxy {
 public:
  using Observer = std::function<void(const SessionState& before, const SessionState& now)>;

  /// Access to a player's thread that is waiting. Both may be called at any time.
  struct Waiting {
    std::function<std::string()> forWhom;      ///< the device or server that it waits for; empty: unknown
    std::function<std::uint64_t()> interrupt;  ///< ends the wait; returns the interrupt's number
  };

  /// Link and run loop outlive the proxy.
  SessionProxy(SessionLink& link, RunLoop& runLoop, Waiting waiting = {});
  ~SessionProxy();
  SessionProxy(const SessionProxy&) = delete;
  SessionProxy& operator=(const SessionProxy&) = delete;

  /// The state to show, with the position as of now.
  [[nodiscard]] const SessionState& state() const { return state_; }
  [[nodiscard]] std::optional<FileURL> currentTrackURL() const;
  /// Called after each change; the position of a playing track changes twenty times a second.
  [[nodiscard]] Subscription onChange(Observer observer) const;

  // Transport. Rows that do not exist are ignored.

  void playTrack(std::int64_t row, double fraction);
  void togglePausePlayback() { setPlaying(!state_.isGoingToPlay()); }
  void setPlaying(bool playing);
  /// Plays the previous entry, or the beginning of this one if more than 5 % of it have been played.
  void previous();
  void next();
  void stopPlayback() { send(command::StopPlayback{}); }
  void seek(double seconds);
  /// Recomputes the position.
  void updatePlaybackPosition();
  /// Whether the position advances by itself and a player that does not answer is noticed, as it is at first. A window
  /// that is not on the screen does without, and so costs nothing; what the player publishes is still observed.
  void watchTime(bool isWatched);

  // Playlist.

  void loadPlaylist(std::span<const FileURL> urls, bool autoplay);
  /// `destination` is an index in the list without the moved entry.
  void moveTrack(std::int64_t source, std::int64_t destination);
  /// Inserts before that entry, or at the end if there is none of this identity.
  void insertTracks(std::span<const FileURL> urls, PlaylistTrackID before);
  void removeTracks(std::vector<PlaylistTrackID> tracks);
  /// Ignored when there is no change to undo.
  void undoPlaylistChange();
  void setKnownDuration(double seconds, const FileURL& url) { send(command::SetKnownDuration{seconds, url}); }
  /// Sends nothing if there are no unplayable files.
  void checkUnplayableFiles() {
    if (state_.unplayableFiles) send(command::CheckUnplayableFiles{});
  }

  // Output.

  void setOutputVolume(double volume) { send(command::SetOutputVolume{volume}); }
  void setOutputBalance(double balance) { send(command::SetOutputBalance{balance}); }
  void selectOutputDevice(AudioObjectID device) { send(command::SelectOutputDevice{device}); }
  void setExclusiveAccessEnabled(bool enabled);

  /// Whether states contain `diagnostics`.
  void watchPath(bool isWatched) { send(command::WatchPath{isWatched}); }

  // What survives a restart.

  void storeSetting(std::string key, std::optional<UserDefaults::Value> value) {
    send(command::StoreSetting{std::move(key), std::move(value)});
  }
  void save() { send(command::Save{}); }

 private:
  struct Sent {
    std::uint64_t number = 0;
    RunLoop::TimePoint at{};
    SessionCommand command;
  };

  void send(SessionCommand command);
  void adoptState();
  void show();
  void keepTime();
  void watch();
  [[nodiscard]] BilingualText heldUpBy() const;

  SessionLink& link_;
  RunLoop& runLoop_;
  const Waiting waiting_;
  SessionLink::State published_ = std::make_shared<const SessionState>();
  bool hasPlayer_ = false;  ///< the player has published a state
  bool isTimeWatched_ = true;
  std::deque<Sent> unanswered_;
  std::uint64_t lastNumber_ = 0;
  SessionState state_;
  mutable Observers<SessionState, SessionState> observers_;

  // Last, so that they end before the state they act on.
  WeakSelf<SessionProxy> self_{this};
  RunLoop::Timer positionTimer_;  ///< while the clock runs and time is watched
  /// While time is watched and a command is unanswered, or a track plays or is prepared.
  RunLoop::Timer watchTimer_;
};

}  // namespace tolvane
