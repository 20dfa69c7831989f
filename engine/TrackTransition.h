#pragma once
// From one track into the next. While a track plays, the one that follows is prepared; where its stream format is the
// same it is coupled, so that the renderer goes on with it within one callback, and it becomes the current track when
// the device has played up to there. A track chosen by hand, or one that cannot be coupled, finds the device and the
// unit still open, playing silence. Player's thread.

#include <optional>

#include "engine/PreparedAudio.h"
#include "platform/FileURL.h"
#include "platform/RunLoop.h"

namespace tolvane {

struct PlayerCore;

class TrackTransition {
 public:
  explicit TrackTransition(PlayerCore& core) : core_(core) {}

  // What follows.

  /// The file that will be played when the current one has ended, or first, when nothing plays; nothing: none. Ignored
  /// while a track is prepared: it is to be named again when that has started.
  void setUpcoming(const std::optional<FileURL>& url);
  /// Playback has begun, or goes on: prepares and couples what follows.
  void prepareAndCouple();
  /// A run of the unit is about to begin, and with it the rendering of as much as the device's ring holds: what was
  /// coupled before it stopped is coupled again.
  void coupleAgain();
  [[nodiscard]] bool isCoupled() const { return coupled_.has_value(); }

  // The crossing.

  /// The unit has ended a run. `hasCrossed` is the result of TrackSequence::endRun(); false: the coupling has ended.
  void runHasEnded(bool hasCrossed);
  /// The last run ended within the coupled track, and this has not been announced.
  [[nodiscard]] bool hasCrossed() const { return hasCrossed_; }
  /// Counts the completion of the track that was heard to its end. An observer plays the next one, which is adopted;
  /// otherwise playback ends. REQUIRES: hasCrossed(), or the device has played the crossing.
  void announce();
  /// Whether `url` is what is heard already, from within announce(): then it is the current track now.
  [[nodiscard]] bool adopt(const FileURL& url);
  /// What was heard of the coupled track does not count: the current track goes on. REQUIRES: the unit is stopped.
  void takeBack();

  // The output between two tracks.

  /// Lets go of the track and keeps unit and device, playing silence while the track played. False: all is to be torn
  /// down.
  [[nodiscard]] bool parkOutput(bool unitAlreadyStopped);
  [[nodiscard]] bool isParked() const { return isParked_; }
  /// Whether the parked output can play this track without being opened anew.
  [[nodiscard]] bool canContinueWith(const PreparedAudio& prepared) const;
  /// An output was configured for this track; canContinueWith() compares with it.
  void outputWasConfigured(const PreparedAudio& prepared);

  /// The output is gone, and with it what was coupled and parked.
  void reset();
  /// The parked output plays again.
  void hasContinued() {
    isParked_ = false;
    parkingLimit_.reset();
  }

 private:
  struct CoupledTrack {
    FileURL url;
    PreparedAudio audio;
  };

  [[nodiscard]] bool canCouple() const;
  [[nodiscard]] double secondsLeft() const;
  void couple();
  [[nodiscard]] bool uncouple();
  void giveBackCoupled();
  [[nodiscard]] bool carries(const PreparedAudio& prepared) const;

  /// What an output was built for.
  struct Source {
    AudioStreamBasicDescription format;
    ChannelLayout channels;
    std::uint32_t bitDepth = 0;
    bool isFloat = false;
    bool isExclusive = false;
  };

  PlayerCore& core_;
  std::optional<CoupledTrack> coupled_;
  std::optional<Source> source_;
  std::optional<FileURL> adoptable_;  ///< within announce()
  bool hasCrossed_ = false;
  bool isParked_ = false;
  RunLoop::Timer couplingTimer_;
  RunLoop::Timer parkingLimit_;
};

}  // namespace tolvane
