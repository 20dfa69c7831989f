#include "engine/PlayerCore.h"

#include <utility>

namespace tolvane {

PlayerCore::PlayerCore(AudioHardware& hardwareLayer, AudioFileServices& files, RunLoop& mainLoop, Log& log,
                       Background theBackground, Background lowPriority)
    : hardware(hardwareLayer),
      runLoop(mainLoop),
      audioLogger(log),
      background(std::move(theBackground)),
      preparer(TrackPreparation(files, outputLevelsState), mainLoop, background),
      upcoming(TrackPreparation(files, outputLevelsState), mainLoop, std::move(lowPriority),
               [this] { transition.prepareAndCouple(); }),
      device(hardwareLayer, mainLoop) {}

void PlayerCore::setPlaybackState(PlaybackState next) {
  state = next;
  isPlaying.assign(next == PlaybackState::playing);
  isPaused.assign(next == PlaybackState::paused);
  isPreparing.assign(next == PlaybackState::preparing);
  if (next != PlaybackState::preparing) startsPaused.assign(false);
}

void PlayerCore::forgetTrack() {
  currentURL.assign(std::nullopt);
  duration.assign(0);
  sampleRate.assign(0);
}

void PlayerCore::discardPreparedAudio() {
  if (!preparedAudio) return;
  background([context = std::move(preparedAudio->context)]() mutable { context.reset(); });
  preparedAudio.reset();
}

void PlayerCore::countCompletion() { playbackCompletionCount.assign(playbackCompletionCount.value() + 1); }

}  // namespace tolvane
