#include "engine/PlayerCore.h"

#include <utility>

namespace tolvane {

PlayerCore::PlayerCore(AudioHardware& hardwareLayer, AudioFileServices& files, RunLoop& mainLoop, Log& log,
                       Background background)
    : hardware(hardwareLayer),
      runLoop(mainLoop),
      audioLogger(log),
      preparer(TrackPreparation(files, outputLevelsState), mainLoop, std::move(background)),
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

}  // namespace tolvane
