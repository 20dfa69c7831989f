#include "engine/PlayerCore.h"

namespace tolvane {

PlayerCore::PlayerCore(AudioHardware& hardwareLayer, AudioFileServices& files, RunLoop& mainLoop, Log& log)
    : hardware(hardwareLayer),
      runLoop(mainLoop),
      audioLogger(log),
      preparation(files, outputLevelsState),
      device(hardwareLayer, mainLoop) {}

void PlayerCore::setPlaybackState(PlaybackState next) {
  state = next;
  isPlaying.assign(next == PlaybackState::playing);
  isPaused.assign(next == PlaybackState::paused);
}

void PlayerCore::forgetTrack() {
  currentURL.assign(std::nullopt);
  duration.assign(0);
  sampleRate.assign(0);
}

}  // namespace tolvane
