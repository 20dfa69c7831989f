#pragma once
// The state of the engine, and every transition between states. Player's thread. A transition takes what the old state
// owned, releases what the new one does not need, starts or stops the parts that monitor the output, and publishes: at
// its end, and before a call in which the device may block. Only files of this folder include this header; other code
// uses BitPerfectAudioPlayer.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "engine/AudioPlayerError.h"
#include "engine/EngineServices.h"
#include "engine/EngineState.h"
#include "engine/ExclusiveAccess.h"
#include "engine/OutputStatistics.h"
#include "engine/OutputSupervision.h"
#include "engine/PathHistory.h"
#include "engine/PlaybackCompletion.h"
#include "engine/PreparationFailure.h"
#include "engine/PublishedState.h"
#include "engine/TrackPreparer.h"
#include "engine/TrackTransition.h"
#include "engine/UpcomingTrack.h"
#include "engine/UserChoices.h"

namespace tolvane {

struct TearDownOptions {
  bool restoreSampleRate = true;      ///< restore the rate that the device was found at
  bool unitAlreadyStopped = false;    ///< do not stop the unit again
  bool discardPrepared = true;        ///< drop the track; false: it will be configured again
  bool cancelPendingRecovery = true;  ///< false within a recovery, which continues
};

class EngineStateMachine {
 public:
  EngineStateMachine(AudioHardware& hardware, AudioFileServices& files, RunLoop& runLoop, Log& log,
                     Background background, Background lowPriority);
  EngineStateMachine(const EngineStateMachine&) = delete;
  EngineStateMachine& operator=(const EngineStateMachine&) = delete;

  // Queries.

  template <typename State>
  [[nodiscard]] bool is() const {
    return std::holds_alternative<State>(state_);
  }
  /// The published form: a recovery counts as playing or paused.
  [[nodiscard]] TransportState transportState() const { return shownState(state_); }
  [[nodiscard]] bool isPlaying() const { return transportState() == TransportState::playing; }
  [[nodiscard]] bool isPlayingOrPaused() const;
  /// The loaded track; null while stopped or preparing.
  [[nodiscard]] const PreparedAudio* track() const { return trackOf(state_); }
  /// The output of this state, including one kept by Stopped or Preparing; null: there is none.
  [[nodiscard]] Output* output() const { return outputOf(state_); }
  /// The output with its unit. Null if output() is null, and until the unit is built.
  [[nodiscard]] Output* outputWithUnit() const;
  /// No track is loaded; the output of the last one is kept open for the next.
  [[nodiscard]] bool isOutputKept() const;
  /// Nothing unless the track requested last could not be prepared.
  [[nodiscard]] const std::optional<PreparationFailure>& preparationFailure() const { return preparationFailure_; }

  // Transitions.

  /// To Preparing. The output of a playing or paused track is kept; after a playing one it plays silence.
  void beginPreparation(const FileURL& url, TrackStart start);
  /// Whether the track that is being prepared will be paused, not played, when it is ready.
  void setStartsPaused(bool startsPaused);
  /// From Preparing through Configuring to Playing or Paused; after a failure to Stopped, with PATH ERROR.
  void finishPreparation(Preparation prepared);
  /// From Playing to Paused. REQUIRES: the unit is stopped.
  void pause();
  /// Which state the next attempt to recover returns to. REQUIRES: Recovering.
  void setReturnsToPlaying(bool returnsToPlaying);
  /// Starts the unit: Playing. A failure ends playback with PATH ERROR and `failureMessage`, and returns false.
  /// REQUIRES: a track, and a unit that is stopped or has stopped by itself.
  [[nodiscard]] bool restartUnit(const BilingualText& failureMessage);
  /// The device has played into the coupled track, which becomes the loaded one. Counts a completion; from that
  /// notification an observer may play the next track, and until then no track is published. REQUIRES: Playing or
  /// Paused.
  void cross(PreparedAudio next);
  /// The coupled track, which the device already plays, is the one that was requested.
  void adopt(const FileURL& url);
  /// The track has been heard to its end: Stopped; counts a completion. With `keepsOutput` the output stays open for
  /// the next track, if an observer plays one from this notification. REQUIRES: the unit is stopped.
  void complete(bool keepsOutput);
  /// To Stopped: releases all resources and clears the track.
  void stop(AudioPathStatus status, const TearDownOptions& options = {});
  /// Ends playback with PATH ERROR.
  void failRuntime(const AudioPlayerError& error);
  void failRuntime(BilingualText message) { failRuntime(AudioPlayerError::message(std::move(message))); }
  /// Reopens the output of the loaded track at the same frame: through Configuring to Playing or Paused. Returns the
  /// frame at which the track continues; nothing if the device had already played into the coupled track and no
  /// observer wanted that. After a failure the state is still Configuring: the caller decides what follows. REQUIRES:
  /// the unit is stopped.
  [[nodiscard]] Result<std::optional<std::int64_t>> rebuildOutput(const TearDownOptions& options);
  /// Closes an output that was kept for a track that will not play, or cannot use it. REQUIRES: isOutputKept().
  void closeKeptOutput();
  /// From Configuring to Recovering: releases what a failed rebuildOutput() holds, and keeps the track.
  void waitForNextAttempt();

  // The unit of the output. REQUIRES: a unit.

  [[nodiscard]] OSStatus startUnit();
  /// Moves the track back to the first frame that was rendered but not heard, whatever the returned status.
  OSStatus stopUnit();

  // Published values. Transitions and the parts that judge the output write them; publish() ends each change.

  [[nodiscard]] const PublishedState& published() const { return published_; }
  /// The values to publish next, as far as they are known.
  [[nodiscard]] const PublishedValues& next() const { return next_; }
  void setExclusiveAccessStatus(ExclusiveAccessStatus status);
  /// Judges the path from the present state of the device. Does nothing while no output is configured.
  void judgePath(const HogModeReport& hogReport);
  void publish();

  // The user's choices.

  [[nodiscard]] const UserChoices& choices() const { return choices_; }
  void setOutputLevels(const OutputLevels& levels);
  void setPreferredDevice(AudioObjectID deviceID) { choices_.preferredDeviceID = deviceID; }
  void setExclusiveAccessEnabled(bool enabled) { choices_.isExclusiveAccessEnabled = enabled; }

  // Parts.

  [[nodiscard]] EngineServices& services() { return services_; }
  [[nodiscard]] TrackPreparer& preparer() { return preparer_; }
  [[nodiscard]] UpcomingTrack& upcoming() { return upcoming_; }
  [[nodiscard]] PlaybackCompletion& completion() { return completion_; }
  [[nodiscard]] ExclusiveAccess& exclusiveAccess() { return exclusiveAccess_; }
  [[nodiscard]] OutputSupervision& supervision() { return supervision_; }
  [[nodiscard]] TrackTransition& transition() { return transition_; }

  [[nodiscard]] OutputStatistics statistics() const;
  void countRecovery(BilingualText account);
  [[nodiscard]] const PathHistory& history() const { return history_; }
  void countCrossing(std::int64_t frame);

 private:
  [[nodiscard]] Result<void> startTrack(const PreparedAudio& track, TrackStart& start);
  [[nodiscard]] Result<void> configureOutput(bool startPlayback, std::optional<FoundRate> foundRate);
  [[nodiscard]] Result<void> continueOutput(bool startPlayback);
  [[nodiscard]] Result<void> bringUp(const HogModeReport& hogReport, bool startPlayback);
  [[nodiscard]] std::unique_ptr<Output> keepOutput(bool unitAlreadyStopped);
  void tearDown(const TearDownOptions& options);
  void stopWatching();
  [[nodiscard]] std::unique_ptr<Output> takeOutput();
  [[nodiscard]] PreparedAudio* loadedTrack();
  /// Releasing much memory takes time, so the background does it.
  void discardTrack(PreparedAudio& track);
  void setLength(const AudioRenderContext& track);
  void forgetTrack();
  void logChanges(const std::vector<PathEvent>& events);

  EngineServices services_;
  TrackPreparer preparer_;
  UpcomingTrack upcoming_;
  UserChoices choices_;
  PublishedState published_;
  PublishedValues next_;
  OutputStatistics statistics_;  ///< of closed outputs
  PathHistory history_;
  EngineState state_;
  std::optional<PreparationFailure> preparationFailure_;
  RunLoop::Timer keepingLimit_;

  // Last, so that their timers and property listeners end before the state they act on.
  PlaybackCompletion completion_{*this};
  ExclusiveAccess exclusiveAccess_{*this};
  OutputSupervision supervision_{*this};
  TrackTransition transition_{*this};
};

}  // namespace tolvane
