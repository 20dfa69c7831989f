#pragma once
// What the parts of BitPerfectAudioPlayer share: its services, its published state and the output that is configured.
// Player's thread. Only the files of this folder include it; the rest of the program sees BitPerfectAudioPlayer.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "engine/AudioLogger.h"
#include "engine/AudioPathStatus.h"
#include "engine/DeviceProperties.h"
#include "engine/ExclusiveAccess.h"
#include "engine/ExclusiveAccessStatus.h"
#include "engine/OutputConfiguration.h"
#include "engine/OutputStatistics.h"
#include "engine/OutputSupervision.h"
#include "engine/PlaybackCompletion.h"
#include "engine/PreparedAudio.h"
#include "engine/Published.h"
#include "engine/TrackPreparer.h"
#include "engine/TrackTransition.h"
#include "engine/UpcomingTrack.h"
#include "engine/render/TrackSequence.h"

namespace tolvane {

enum class PlaybackState : std::uint8_t { stopped, preparing, playing, paused };

struct PlayerCore {
  PlayerCore(AudioHardware& hardwareLayer, AudioFileServices& files, RunLoop& mainLoop, Log& log,
             Background theBackground, Background lowPriority);

  // Constant after construction.
  AudioHardware& hardware;
  RunLoop& runLoop;
  AudioLogger audioLogger;
  const std::shared_ptr<AtomicOutputLevels> outputLevelsState = std::make_shared<AtomicOutputLevels>();
  const Background background;
  TrackPreparer preparer;
  UpcomingTrack upcoming;
  DeviceProperties device;

  // Published.
  Published<bool> isPlaying{false};
  Published<bool> isPaused{false};
  Published<bool> isPreparing{false};
  Published<bool> startsPaused{false};  ///< the track that is being prepared
  Published<std::optional<FileURL>> currentURL{std::nullopt};
  Published<double> duration{0};    ///< seconds; 0 while no track is configured
  Published<double> sampleRate{0};  ///< the source's, hertz; 0 while no track is configured
  Published<AudioPathStatus> audioPathStatus{AudioPathStatus::ready()};
  Published<ExclusiveAccessStatus> exclusiveAccessStatus{ExclusiveAccessStatus::off()};
  Published<std::int64_t> playbackCompletionCount{0};

  // What the listener chose.
  OutputLevels outputLevels;
  std::optional<AudioObjectID> preferredDeviceID;  ///< none: follow the system's default
  bool isExclusiveAccessEnabled = false;

  // The output, while one is configured.
  PlaybackState state = PlaybackState::stopped;
  std::optional<PreparedAudio> preparedAudio;
  std::shared_ptr<AudioRenderContext> renderContext;
  TrackSequence sequence;
  std::unique_ptr<AudioOutputUnit> audioUnit;  ///< calls the sequence: declared behind it, it goes first
  AudioObjectID deviceID = kAudioObjectUnknown;
  std::optional<double> originalDeviceSampleRate;
  std::uint32_t outputBufferFrameSize = 512;
  bool ownsHogMode = false;  ///< or may own it, where that cannot be read
  OutputStatistics statistics;  ///< of outputs that were torn down
  // Of the track that is being prepared.
  std::function<void()> started;          ///< who asked for it
  std::function<double(double)> startAt;  ///< where it begins, in seconds, by its duration; null: at its beginning

  // The parts. Last, so that their timers and listeners end before the state they act on.
  OutputConfiguration configuration{*this};
  PlaybackCompletion completion{*this};
  ExclusiveAccess exclusiveAccess{*this};
  OutputSupervision supervision{*this};
  TrackTransition transition{*this};

  /// The one transition of `state`, with the three properties derived from it.
  void setPlaybackState(PlaybackState next);

  [[nodiscard]] bool isPlayingOrPaused() const {
    return state == PlaybackState::playing || state == PlaybackState::paused;
  }

  /// No track is loaded any more: publishes no URL, duration and rate.
  void forgetTrack();

  /// Lets go of the loaded track; giving much memory back to the system takes time, which the background has.
  void discardPreparedAudio();

  /// Observers may start the next track from within it: always the last of an operation.
  void countCompletion();
};

}  // namespace tolvane
