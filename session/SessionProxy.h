#pragma once
// The player as the window has it: its latest state, what the listener's own commands will make of it until the player
// has answered, and the commands. Window's thread. Nothing here waits for anything.

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "engine/Published.h"
#include "platform/RunLoop.h"
#include "session/SessionLink.h"

namespace tolvane {

class SessionProxy {
 public:
  using Observer = std::function<void(const SessionState& before, const SessionState& now)>;

  /// What is known of a player's thread that waits for somebody. Both may be called at any time.
  struct Waiting {
    std::function<std::string()> forWhom;      ///< the device or server; empty: not known
    std::function<std::uint64_t()> interrupt;  ///< to go on without them; the interrupt's number
  };

  /// Link and run loop outlive the proxy.
  SessionProxy(SessionLink& link, RunLoop& runLoop, Waiting waiting = {});
  ~SessionProxy();
  SessionProxy(const SessionProxy&) = delete;
  SessionProxy& operator=(const SessionProxy&) = delete;

  /// As it is shown: the position is that of now.
  [[nodiscard]] const SessionState& state() const { return state_; }
  [[nodiscard]] std::optional<FileURL> currentTrackURL() const;
  /// Told of each change; a playing track's position changes twenty times a second.
  [[nodiscard]] Subscription onChange(Observer observer) const;

  // Transport. Rows that are not there are ignored.

  void playTrack(std::int64_t row, double fraction);
  void togglePausePlayback() { setPlaying(!state_.isGoingToPlay()); }
  void setPlaying(bool playing);
  /// The entry before, or the beginning of this one once more than 5 % of it have been played.
  void previous();
  void next();
  void stopPlayback() { send(command::StopPlayback{}); }
  void seek(double seconds);
  /// Computes the position anew.
  void updatePlaybackPosition();

  // Playlist.

  void loadPlaylist(std::span<const FileURL> urls, bool autoplay);
  /// `destination` counts in the list without the moved entry.
  void moveTrack(std::int64_t source, std::int64_t destination);
  /// Before that entry, or at the end where there is none of this identity.
  void insertTracks(std::span<const FileURL> urls, PlaylistTrackID before);
  void removeTracks(std::vector<PlaylistTrackID> tracks);
  /// Ignored while there is no change to undo.
  void undoPlaylistChange();
  void setKnownDuration(double seconds, const FileURL& url) { send(command::SetKnownDuration{seconds, url}); }
  /// Sends nothing where there are none.
  void checkUnplayableFiles() {
    if (state_.unplayableFiles) send(command::CheckUnplayableFiles{});
  }

  // Output.

  void setOutputVolume(double volume) { send(command::SetOutputVolume{volume}); }
  void setOutputBalance(double balance) { send(command::SetOutputBalance{balance}); }
  void selectOutputDevice(AudioObjectID device) { send(command::SelectOutputDevice{device}); }
  void setExclusiveAccessEnabled(bool enabled);

  /// Whether states carry `diagnostics`.
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
  [[nodiscard]] std::string heldUpBy() const;

  SessionLink& link_;
  RunLoop& runLoop_;
  const Waiting waiting_;
  SessionLink::State published_ = std::make_shared<const SessionState>();
  bool hasPlayer_ = false;  ///< has published
  std::deque<Sent> unanswered_;
  std::uint64_t lastNumber_ = 0;
  SessionState state_;
  mutable std::vector<std::weak_ptr<const Observer>> observers_;  // in order of subscription

  // Last, so that they end before the state they act on.
  std::shared_ptr<SessionProxy*> self_ = std::make_shared<SessionProxy*>(this);  ///< posted work holds it weakly
  RunLoop::Timer positionTimer_;                                                 ///< while the clock runs
  RunLoop::Timer watchTimer_;  ///< while the player has something to do
};

}  // namespace tolvane
