#pragma once
// The state of the engine, and every transition from one state into another. Player's thread. A transition takes what
// the old state owned, gives back of it what the new one does not need, starts or stops the parts that watch the
// output, and publishes at its end, and before the device may block. Only the files of this folder include it; the rest
// of the program sees BitPerfectAudioPlayer.

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
#include "engine/ListenerChoices.h"
#include "engine/OutputStatistics.h"
#include "engine/OutputSupervision.h"
#include "engine/PathHistory.h"
#include "engine/PlaybackCompletion.h"
#include "engine/PreparationFailure.h"
#include "engine/PublishedState.h"
#include "engine/TrackPreparer.h"
#include "engine/TrackTransition.h"
#include "engine/UpcomingTrack.h"

namespace tolvane {

struct TearDownOptions {
  bool restoreSampleRate = true;      ///< bring the device back to the rate it was found at
  bool unitAlreadyStopped = false;    ///< do not stop the unit once more
  bool discardPrepared = true;        ///< forget the track; else it can be configured again
  bool cancelPendingRecovery = true;  ///< off within a recovery, which goes on
};

class EngineStateMachine {
 public:
  EngineStateMachine(AudioHardware& hardware, AudioFileServices& files, RunLoop& runLoop, Log& log,
                     Background background, Background lowPriority);
  EngineStateMachine(const EngineStateMachine&) = delete;
  EngineStateMachine& operator=(const EngineStateMachine&) = delete;

  // What the state is.

  template <typename State>
  [[nodiscard]] bool is() const {
    return std::holds_alternative<State>(state_);
  }
  /// As it is published: a recovery is playing or paused.
  [[nodiscard]] TransportState transportState() const { return shownState(state_); }
  [[nodiscard]] bool isPlaying() const { return transportState() == TransportState::playing; }
  [[nodiscard]] bool isPlayingOrPaused() const;
  /// The loaded track; null while stopped or preparing.
  [[nodiscard]] const PreparedAudio* track() const { return trackOf(state_); }
  /// The output of this state, the kept one of Stopped and Preparing included; null: there is none.
  [[nodiscard]] Output* output() const { return outputOf(state_); }
  /// The output with its unit. Null where output() is, and until the unit is built.
  [[nodiscard]] Output* outputWithUnit() const;
  /// No track is loaded, and the output of the last one is open for the next.
  [[nodiscard]] bool isOutputKept() const;
  /// Nothing unless the track that was asked for last could not be prepared.
  [[nodiscard]] const std::optional<PreparationFailure>& preparationFailure() const { return preparationFailure_; }

  // Transitions.

  /// Into Preparing. The output is kept, playing silence while the track played, where there is one.
  void beginPreparation(const FileURL& url, TrackStart start);
  /// The track that is being prepared starts, or waits to be resumed, when it is ready.
  void setStartsPaused(bool startsPaused);
  /// From Preparing by Configuring into Playing or Paused; after a failure into Stopped, with PATH ERROR.
  void finishPreparation(Preparation prepared);
  /// From Playing into Paused. REQUIRES: the unit is stopped.
  void pause();
  /// Between two attempts to recover: what the next one returns to. REQUIRES: Recovering.
  void setReturnsToPlaying(bool returnsToPlaying);
  /// Starts the unit: Playing. A failure ends playback with PATH ERROR and `failureMessage`, and is false. REQUIRES: a
  /// track and a unit, stopped or stopped by itself.
  [[nodiscard]] bool restartUnit(std::string_view failureMessage);
  /// The device has played into the coupled track, which is the loaded one now. A completion is counted; from within
  /// that an observer may play the next track; until then no track is published. REQUIRES: Playing or Paused.
  void cross(PreparedAudio next);
  /// The coupled track, which is heard already, is the one that was asked for.
  void adopt(const FileURL& url);
  /// The track has been heard to its end: Stopped, and a completion is counted. `keepsOutput`: for the next track, if
  /// an observer plays one from within this change. REQUIRES: the unit is stopped.
  void complete(bool keepsOutput);
  /// Into Stopped: everything is given back and the track forgotten.
  void stop(AudioPathStatus status, const TearDownOptions& options = {});
  /// Ends playback with PATH ERROR.
  void failRuntime(const AudioPlayerError& error);
  void failRuntime(std::string message) { failRuntime(AudioPlayerError::message(std::move(message))); }
  /// Opens the output of the loaded track anew at the same frame: by Configuring into Playing or Paused. The frame at
  /// which the track goes on; nothing where the coupled track was heard already and was not wanted. After a
  /// failure still Configuring: the caller decides what follows. REQUIRES: the unit is stopped.
  [[nodiscard]] Result<std::optional<std::int64_t>> rebuildOutput(const TearDownOptions& options);
  /// Closes the output that was kept for a track that does not come, or cannot use it. REQUIRES: isOutputKept().
  void closeKeptOutput();
  /// From Configuring into Recovering: gives back what a failed rebuildOutput() holds, and keeps the track.
  void waitForNextAttempt();

  // The unit of the output, within a state. REQUIRES: a unit.

  [[nodiscard]] OSStatus startUnit();
  /// Moves the track back to the first frame that was rendered but not heard, whatever the status.
  OSStatus stopUnit();

  // What is published. Written by transitions and by the parts that judge the output; publish() ends each change.

  [[nodiscard]] const PublishedState& published() const { return published_; }
  /// The next values, as far as they are known.
  [[nodiscard]] const PublishedValues& next() const { return next_; }
  void setExclusiveAccessStatus(ExclusiveAccessStatus status);
  /// Judges the path from the device as it stands now. Does nothing while no output is configured.
  void judgePath(const HogModeReport& hogReport);
  void publish();

  // What the listener chose.

  [[nodiscard]] const ListenerChoices& choices() const { return choices_; }
  void setOutputLevels(const OutputLevels& levels);
  void setPreferredDevice(AudioObjectID deviceID) { choices_.preferredDeviceID = deviceID; }
  void setExclusiveAccessEnabled(bool enabled) { choices_.isExclusiveAccessEnabled = enabled; }

  // The parts.

  [[nodiscard]] EngineServices& services() { return services_; }
  [[nodiscard]] TrackPreparer& preparer() { return preparer_; }
  [[nodiscard]] UpcomingTrack& upcoming() { return upcoming_; }
  [[nodiscard]] PlaybackCompletion& completion() { return completion_; }
  [[nodiscard]] ExclusiveAccess& exclusiveAccess() { return exclusiveAccess_; }
  [[nodiscard]] OutputSupervision& supervision() { return supervision_; }
  [[nodiscard]] TrackTransition& transition() { return transition_; }

  [[nodiscard]] OutputStatistics statistics() const;
  void countRecovery(std::string account);
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
  /// Giving much memory back to the system takes time, which the background has.
  void discardTrack(PreparedAudio& track);
  void setLength(const AudioRenderContext& track);
  void forgetTrack();
  void logChanges(const std::vector<PathEvent>& events);

  EngineServices services_;
  TrackPreparer preparer_;
  UpcomingTrack upcoming_;
  ListenerChoices choices_;
  PublishedState published_;
  PublishedValues next_;
  OutputStatistics statistics_;  ///< of outputs that were closed
  PathHistory history_;
  EngineState state_;
  std::optional<PreparationFailure> preparationFailure_;
  RunLoop::Timer keepingLimit_;

  // Last, so that their timers and listeners end before the state they act on.
  PlaybackCompletion completion_{*this};
  ExclusiveAccess exclusiveAccess_{*this};
  OutputSupervision supervision_{*this};
  TrackTransition transition_{*this};
};

}  // namespace tolvane
