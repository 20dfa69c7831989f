#pragma once
// The player as remote controls see it (media keys, lock screens, MPRIS): state in their units, and their commands.
// Window's thread. Callers are not trusted: any request is carried out, ignored or refused, and has no other effect.

#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/MusicTags.h"
#include "platform/RunLoop.h"
#include "platform/WeakSelf.h"
#include "session/SessionProxy.h"

namespace tolvane {

enum class MediaStatus : std::uint8_t { stopped, playing, paused };

/// What a file states about its music, as far as it is known.
struct MediaMusic {
  MusicTags tags;
  std::string coverURL;  ///< "file://…", of a file with a picture; empty: none

  bool operator==(const MediaMusic&) const = default;
};

/// Everything whose changes are announced; not the position.
struct MediaState {
  MediaStatus status = MediaStatus::stopped;
  double volume = 1.0;          ///< 0 … 1
  PlaylistTrackID trackID = 0;  ///< 0: no track
  std::string title{};          ///< of the music, else the file's name
  MediaMusic music{};
  std::string url{};
  std::int64_t length = 0;  ///< microseconds; 0: unknown
  bool canGoNext = false;
  bool canSeek = false;

  [[nodiscard]] bool hasTrack() const { return trackID != 0; }
  [[nodiscard]] bool describesSameTrack(const MediaState& other) const {
    return trackID == other.trackID && title == other.title && music == other.music && url == other.url &&
           length == other.length;
  }
  bool operator==(const MediaState&) const = default;
};

class MediaControls {
 public:
  /// Calls back, now or later, with whether there is such a file; if so it has been opened in place of the playlist.
  using OpenFile = std::function<void(const FileURL&, std::function<void(bool isThere)>)>;
  using Opened = std::function<void(const std::expected<void, std::string>&)>;
  using StateObserver = std::function<void(const MediaState& before, const MediaState& now)>;
  using SeekObserver = std::function<void(std::int64_t microseconds)>;
  /// Of the current track, whose file this is.
  using FindMusic = std::function<MediaMusic(const FileURL&)>;

  /// Session and run loop outlive the controls.
  MediaControls(SessionProxy& session, RunLoop& runLoop, OpenFile openFile);
  MediaControls(const MediaControls&) = delete;
  MediaControls& operator=(const MediaControls&) = delete;
  ~MediaControls() = default;

  /// Without it nothing is known of the music.
  void setMusic(FindMusic findMusic) { findMusic_ = std::move(findMusic); }
  /// The file found may differ from the previous one.
  void musicHasChanged() { scheduleAnnouncement(); }

  [[nodiscard]] MediaState state() const;
  [[nodiscard]] std::int64_t position();  ///< microseconds

  /// Several changes of one operation are notified once, after it has ended.
  void onStateChange(StateObserver observer) { stateObserver_ = std::move(observer); }
  /// The position has changed otherwise than by the passing of time.
  void onSeeked(SeekObserver observer) { seekObserver_ = std::move(observer); }

  // Commands. A command that is not possible at the moment is ignored.

  void play();
  void pause();
  void playPause();
  void stop();
  /// Plays the next or the previous track, as the window's buttons do, also when the music was paused before.
  void next();
  void previous();
  /// Microseconds, forward or back. Before the beginning is the beginning, beyond the end the next track.
  void seek(std::int64_t offset);
  /// Ignored for another track than the current one, and outside of it.
  void setPosition(PlaylistTrackID track, std::int64_t position);
  /// Values that are not finite are ignored, others clamped to 0 … 1.
  void setVolume(double volume);
  /// There is one rate; 0 means pause, all others are ignored.
  void setRate(double rate);
  /// Opens a file of this machine that exists and has a supported extension. Anything else changes nothing. `opened` is
  /// called, now or later, with a full sentence if it could not be done.
  void openURI(std::string_view uri, const Opened& opened);

 private:
  /// The position that a client which only counts time assumes.
  struct Belief {
    MediaStatus status = MediaStatus::stopped;
    PlaylistTrackID trackID = 0;
    double seconds = 0;
    RunLoop::TimePoint at{};
  };

  void sessionHasChanged();
  void scheduleAnnouncement();
  void announce();
  void announcePosition(const MediaState& now);
  [[nodiscard]] double expectedSeconds(const MediaState& now) const;

  SessionProxy& session_;
  RunLoop& runLoop_;
  const OpenFile openFile_;
  FindMusic findMusic_;
  StateObserver stateObserver_;
  SeekObserver seekObserver_;
  MediaState announced_;

  Belief belief_;
  double latestSeconds_ = 0;
  RunLoop::TimePoint latestAt_{};  // when the session published latestSeconds_, or changed otherwise
  bool positionIsNew_ = false;
  bool isScheduled_ = false;

  WeakSelf<MediaControls> self_{this};
  Subscription subscription_;
};

}  // namespace tolvane
