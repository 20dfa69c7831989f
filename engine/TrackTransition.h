#pragma once
// From one track into the next. While a track plays, the one that follows is prepared; where its stream format is the
// same it is coupled, so that the renderer goes on with it within one callback, and it becomes the current track when
// the device has played up to there. Player's thread.

#include <optional>

#include "engine/PreparedAudio.h"
#include "platform/FileURL.h"
#include "platform/RunLoop.h"

namespace tolvane {

class EngineStateMachine;

class TrackTransition {
 public:
  explicit TrackTransition(EngineStateMachine& machine) : machine_(machine) {}

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

  /// Another track is played: what is heard is not adopted any more.
  void endAdoption() { adoptable_.reset(); }

  /// The output is gone, and with it what was coupled.
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
