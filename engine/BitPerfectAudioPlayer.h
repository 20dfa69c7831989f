#pragma once
// The engine: plays one prepared track on one output device and publishes what it does and how true the path is.
// Main thread. Knows devices, files and time only through the contracts under platform/.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "engine/AudioPathStatus.h"
#include "engine/AudioPlayerError.h"
#include "engine/ExclusiveAccessStatus.h"
#include "engine/OutputStatistics.h"
#include "engine/Published.h"
#include "platform/AudioFileServices.h"
#include "platform/AudioHardware.h"
#include "platform/Log.h"
#include "platform/RunLoop.h"

namespace tolvane {

struct PlayerCore;

/// Observers are told of a change from within the operation that makes it. They may read anything; of the operations
/// they may call only from a change of playbackCompletionCount, which always comes last.
class BitPerfectAudioPlayer {
 public:
  /// The four services outlive the player.
  BitPerfectAudioPlayer(AudioHardware& hardware, AudioFileServices& files, RunLoop& runLoop, Log& log);
  /// Stops and gives back whatever is still held; observers that are still subscribed are told of it.
  ~BitPerfectAudioPlayer();
  BitPerfectAudioPlayer(const BitPerfectAudioPlayer&) = delete;
  BitPerfectAudioPlayer& operator=(const BitPerfectAudioPlayer&) = delete;

  // Published state.
  [[nodiscard]] const Published<bool>& isPlaying() const;
  [[nodiscard]] const Published<bool>& isPaused() const;
  /// The loaded track. A track that could not be started stays here; one that ended, failed or was stopped does not.
  [[nodiscard]] const Published<std::optional<FileURL>>& currentURL() const;
  [[nodiscard]] const Published<double>& duration() const;    ///< seconds; 0 while no track is configured
  [[nodiscard]] const Published<double>& sampleRate() const;  ///< the source's, hertz; 0 while no track is configured
  [[nodiscard]] const Published<AudioPathStatus>& audioPathStatus() const;
  [[nodiscard]] const Published<ExclusiveAccessStatus>& exclusiveAccessStatus() const;
  /// Grows by one each time a track has been played to its end.
  [[nodiscard]] const Published<std::int64_t>& playbackCompletionCount() const;
  /// Called after every change of any of them.
  [[nodiscard]] Subscription onChange(const std::function<void()>& observer) const;

  // Transport. Failures are published as PATH ERROR.

  /// Starts the file from its beginning. Blocks while the whole track is prepared in memory.
  void play(FileURL url);
  /// Keeps device, rate and hog mode. Nothing unless playing. An output that is recovering comes back paused.
  void pause();
  /// Goes on with the first frame that was not heard; with a recovering output, when it has come back. Nothing while
  /// stopped.
  void resume();
  /// Seconds; ignored outside 0 … duration. A recovering output goes on there.
  void seek(double seconds);
  /// Gives the device back and forgets the track.
  void stop();

  // The listener's choices.

  /// Volume 0 … 1 and balance −1 … +1; others are clamped, what is not finite becomes 1 and 0.
  void setOutputLevels(double volume, double balance);
  /// Takes effect at once while playing, by starting the track again; else at the next start.
  void setOutputDevice(AudioObjectID deviceID);
  /// The position in seconds at which playback goes on, when the output had to be rebuilt.
  std::optional<double> setExclusiveAccessEnabled(bool enabled);

  /// Counts since construction, for diagnosis.
  [[nodiscard]] OutputStatistics statistics() const;

 private:
  [[nodiscard]] Result<void> prepareAndStart(const FileURL& url);
  [[nodiscard]] bool restartUnit(std::string_view failureMessage);

  std::unique_ptr<PlayerCore> core_;
};

}  // namespace tolvane
