#pragma once
// The transition to the next track. While a track plays, the following one is prepared. If its stream format is the
// same it is coupled: the renderer continues with it within one callback, and it becomes the current track when the
// device has played up to it. Player's thread.

#include <optional>

#include "engine/PreparedAudio.h"
#include "platform/FileURL.h"
#include "platform/RunLoop.h"

namespace tolvane {

class EngineStateMachine;

class TrackTransition {
 public:
  explicit TrackTransition(EngineStateMachine& machine) : machine_(machine) {}

  // The following track.

  /// The file to play after the current one, or first, when none plays; nothing: none. Ignored while a track is
  /// prepared: set it again when that track has started.
  void setUpcoming(const std::optional<FileURL>& url);
  /// Playback has begun or resumed: prepares and couples the following track.
  void prepareAndCouple();
  /// A run of the unit is about to begin, which at once renders as much as the device's ring buffer holds: couples
  /// again what was coupled before the unit stopped.
  void coupleAgain();
  [[nodiscard]] bool isCoupled() const { return coupled_.has_value(); }

  // The crossing.

  /// The unit has ended a run. `hasCrossed` is the result of TrackSequence::endRun(); false: the coupling has ended.
  void runHasEnded(bool hasCrossed);
  /// The last run ended within the coupled track, which has not been announced yet.
  [[nodiscard]] bool hasCrossed() const { return hasCrossed_; }
  /// Counts the completion of the track that was heard to its end. If an observer plays the track that is already
  /// heard, that is adopted; otherwise playback ends. REQUIRES: hasCrossed(), or the device has played the crossing.
  void announce();
  /// From within announce(): if the device already plays `url`, makes it the current track and returns true.
  [[nodiscard]] bool adopt(const FileURL& url);
  /// Discards what was heard of the coupled track: the current track continues. REQUIRES: the unit is stopped.
  void takeBack();

  /// Another track is played: the track that is heard can no longer be adopted.
  void endAdoption() { adoptable_.reset(); }

  /// The output is closed, and with it the coupling.
  void reset();

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

  EngineStateMachine& machine_;
  std::optional<CoupledTrack> coupled_;
  std::optional<FileURL> adoptable_;  ///< within announce()
  bool hasCrossed_ = false;
  RunLoop::Timer couplingTimer_;
};

}  // namespace tolvane
