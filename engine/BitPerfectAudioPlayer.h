#pragma once
// The engine: plays one prepared track on one output device, and publishes its state and the verdict on the path.
// Player's thread. Reaches devices, files and time only through the interfaces in platform/.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "engine/AudioPathStatus.h"
#include "engine/AudioPlayerError.h"
#include "engine/ExclusiveAccessStatus.h"
#include "engine/OutputStatistics.h"
#include "engine/PathDiagnostics.h"
#include "engine/PreparationFailure.h"
#include "engine/Published.h"
#include "engine/delivery/DeliveryReport.h"
#include "platform/AudioFileServices.h"
#include "platform/AudioHardware.h"
#include "platform/Background.h"
#include "platform/Log.h"
#include "platform/RunLoop.h"

namespace tolvane {

class EngineStateMachine;

/// Observers are called at the end of the operation that makes a change, when all values are up to date. They may call
/// operations only from a change of playbackCompletionCount, which is always notified last: any other call is logged as
/// an error and carried out in a later turn of the run loop.
class BitPerfectAudioPlayer {
 public:
  /// Called once the requested track has been prepared and its output started, or either has failed.
  using Started = std::function<void()>;
  /// Where a track begins, in seconds, for a duration in seconds.
  using StartAt = std::function<double(double duration)>;
  /// The same for a track that continues on another output: `heard` is the position of its first frame that was not
  /// heard.
  using GoOnAt = std::function<double(double duration, double heard)>;

  /// The four services outlive the player; `files` also outlives the work handed to the backgrounds, which reads it.
  /// `background` prepares the requested track, `lowPriority` the one that is expected next.
  BitPerfectAudioPlayer(AudioHardware& hardware, AudioFileServices& files, RunLoop& runLoop, Log& log,
                        Background background = runAtOnce, Background lowPriority = runAtOnce);
  /// Stops and releases everything that is still held; observers that are still subscribed are notified.
  ~BitPerfectAudioPlayer();
  BitPerfectAudioPlayer(const BitPerfectAudioPlayer&) = delete;
  BitPerfectAudioPlayer& operator=(const BitPerfectAudioPlayer&) = delete;

  // Published state.
  [[nodiscard]] const Published<bool>& isPlaying() const;
  [[nodiscard]] const Published<bool>& isPaused() const;
  /// A track is being read into memory, or its output built. Neither playing nor paused.
  [[nodiscard]] const Published<bool>& isPreparing() const;
  /// Whether that track will be paused when it is ready.
  [[nodiscard]] const Published<bool>& startsPaused() const;
  /// Progress of the reading, 0 … 1; 0 while no track is prepared. Not notified: poll it while it is shown.
  [[nodiscard]] double preparationProgress() const;
  /// The loaded track. It stays after a failed start; it is cleared when the track ends, fails or is stopped.
  [[nodiscard]] const Published<std::optional<FileURL>>& currentURL() const;
  [[nodiscard]] const Published<double>& duration() const;  ///< seconds; 0 until an output is opened for a track
  [[nodiscard]] const Published<double>& sampleRate()
      const;  ///< the source's, hertz; 0 until an output is opened for a track
  [[nodiscard]] const Published<AudioPathStatus>& audioPathStatus() const;
  [[nodiscard]] const Published<ExclusiveAccessStatus>& exclusiveAccessStatus() const;
  /// Incremented each time a track has been played to its end.
  [[nodiscard]] const Published<std::int64_t>& playbackCompletionCount() const;
  /// Why the track requested last by play() or setOutputDevice() could not be prepared. Nothing if it was prepared,
  /// even if its output then failed.
  [[nodiscard]] const std::optional<PreparationFailure>& preparationFailure() const;
  /// Seconds of the track that the device has played; nothing while no track is configured, or if the device does not
  /// report it.
  [[nodiscard]] std::optional<double> position() const;
  /// Updates the published state to what is heard: the device may have begun the next track since the last check.
  void updateCurrentTrack();
  /// Called after every change of any of these values.
  [[nodiscard]] Subscription onChange(const std::function<void()>& observer) const;

  // Transport. Failures are published as PATH ERROR.

  /// Starts the file, at `startAt` or at its beginning, once the background has prepared the whole track in memory. A
  /// later play or stop cancels the preparation, and `started` is then not called. A device that plays another track
  /// stays open, playing silence, if it can play this one without reconfiguration. If this is called from a change of
  /// playbackCompletionCount and the device has already begun the track without a gap, it continues.
  void play(FileURL url, Started started = {}, StartAt startAt = {});
  /// The track to play after this one, or first, when none plays. It is prepared while this one plays, and follows
  /// without a gap if its stream format is the same. Nothing: no track follows. Ignored while a track is prepared.
  void setUpcomingTrack(const std::optional<FileURL>& url);
  /// Keeps device, rate and hog mode. Does nothing while stopped. A track that is being prepared, and an output that is
  /// recovering, will be paused when ready.
  void pause();
  /// Continues with the first frame that was not heard. A track that is being prepared, and an output that is
  /// recovering, will play when ready. Does nothing while stopped.
  void resume();
  /// In seconds; ignored outside 0 … duration. An output that is recovering continues from there.
  void seek(double seconds);
  /// Releases the device and clears the track.
  void stop();

  // The user's choices.

  /// Volume 0 … 1 and balance −1 … +1; other values are clamped, and values that are not finite become 1 and 0.
  void setOutputLevels(double volume, double balance);
  /// While playing, takes effect at once: the current track is read again and continues at `goOnAt`, or at its
  /// beginning. Otherwise takes effect at the next start, and `started` is not called.
  void setOutputDevice(AudioObjectID deviceID, Started started = {}, const GoOnAt& goOnAt = {});
  /// The position in seconds at which playback continues if the output had to be rebuilt.
  std::optional<double> setExclusiveAccessEnabled(bool enabled);

  /// What is known about the samples handed to the device in this pass of the loaded track, at most half a second old;
  /// nothing before its output was opened.
  [[nodiscard]] std::optional<DeliveryReport> deliveryReport() const;
  /// Called once for each pass of a track of which frames were handed to the device, after the last of them: at most
  /// half a second after the next track is heard. Must not call operations.
  void setDeliveryFinished(std::function<void(const DeliveryReport&)> finished) const;

  /// The stages of the path that audioPathStatus() judges; null while there is no path.
  [[nodiscard]] const Published<std::shared_ptr<const SignalPath>>& signalPath() const;
  /// Everything known about the path, its history, and the samples that it carried.
  [[nodiscard]] PathDiagnostics diagnostics() const;

  /// Counted since construction, for diagnosis.
  [[nodiscard]] OutputStatistics statistics() const;

 private:
  void prepare(const FileURL& url);
  /// The state must not change within a notification: such a call is carried out in a later turn of the run loop.
  [[nodiscard]] bool isPostponed(std::string_view operation, std::function<void()> call);

  std::unique_ptr<EngineStateMachine> machine_;
  std::vector<std::function<void()>> postponed_;
  RunLoop::Timer postponedTimer_;
  bool isEnding_ = false;  ///< no operation is carried out any more
};

}  // namespace tolvane
