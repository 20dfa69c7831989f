#pragma once
// The engine: plays one prepared track on one output device and publishes what it does and how true the path is.
// Player's thread. Knows devices, files and time only through the contracts under platform/.

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

/// Observers are called at the end of the operation that makes a change, when all values of it are there to be read.
/// They may call operations only from a change of playbackCompletionCount, which always comes last: any other call is
/// logged as an error and carried out in a later turn of the run loop.
class BitPerfectAudioPlayer {
 public:
  /// Called once the track that was asked for has been prepared and its output started, or neither could be done.
  using Started = std::function<void()>;
  /// Where a track begins: seconds, for a duration in seconds.
  using StartAt = std::function<double(double duration)>;
  /// The same for a track that goes on elsewhere: `heard` is where its first frame is that was not heard.
  using GoOnAt = std::function<double(double duration, double heard)>;

  /// The four services outlive the player; the files also what the backgrounds have been given, which read them:
  /// `background` the track that is asked for, `lowPriority` the one that will be asked for next.
  BitPerfectAudioPlayer(AudioHardware& hardware, AudioFileServices& files, RunLoop& runLoop, Log& log,
                        Background background = runAtOnce, Background lowPriority = runAtOnce);
  /// Stops and gives back whatever is still held; observers that are still subscribed are told of it.
  ~BitPerfectAudioPlayer();
  BitPerfectAudioPlayer(const BitPerfectAudioPlayer&) = delete;
  BitPerfectAudioPlayer& operator=(const BitPerfectAudioPlayer&) = delete;

  // Published state.
  [[nodiscard]] const Published<bool>& isPlaying() const;
  [[nodiscard]] const Published<bool>& isPaused() const;
  /// A track is being read into memory, or its output built. Neither playing nor paused.
  [[nodiscard]] const Published<bool>& isPreparing() const;
  /// Whether that track waits to be resumed when it is ready.
  [[nodiscard]] const Published<bool>& startsPaused() const;
  /// 0 … 1 of the reading; 0 while nothing is prepared. Not announced: poll it while it is shown.
  [[nodiscard]] double preparationProgress() const;
  /// The loaded track. A track that could not be started stays here; one that ended, failed or was stopped does not.
  [[nodiscard]] const Published<std::optional<FileURL>>& currentURL() const;
  [[nodiscard]] const Published<double>& duration() const;  ///< seconds; 0 until an output is opened for a track
  [[nodiscard]] const Published<double>& sampleRate()
      const;  ///< the source's, hertz; 0 until an output is opened for a track
  [[nodiscard]] const Published<AudioPathStatus>& audioPathStatus() const;
  [[nodiscard]] const Published<ExclusiveAccessStatus>& exclusiveAccessStatus() const;
  /// Grows by one each time a track has been played to its end.
  [[nodiscard]] const Published<std::int64_t>& playbackCompletionCount() const;
  /// Why the track that play() or setOutputDevice() asked for last could not be prepared. Nothing where it could be,
  /// also when its output then failed.
  [[nodiscard]] const std::optional<PreparationFailure>& preparationFailure() const;
  /// Seconds of the track that the device has played; nothing while no track is configured, or where the device does
  /// not tell.
  [[nodiscard]] std::optional<double> position() const;
  /// Brings what is published up to date with what is heard: the next track may have begun a moment ago.
  void updateCurrentTrack();
  /// Called after every change of any of them.
  [[nodiscard]] Subscription onChange(const std::function<void()>& observer) const;

  // Transport. Failures are published as PATH ERROR.

  /// Starts the file once the background has prepared the whole track in memory, at `startAt` or at its beginning. Any
  /// later play or stop ends the preparation, and `started` is not called then. A device that plays another track stays
  /// open, with silence, where it can play this one as it is. From within a change of playbackCompletionCount, a track
  /// that is heard already, without a gap, goes on.
  void play(FileURL url, Started started = {}, StartAt startAt = {});
  /// What will be played when this track has ended, or first, when nothing plays: it is prepared while this one plays,
  /// and follows it without a gap where its stream format is the same. Nothing: none. Ignored while a track is
  /// prepared.
  void setUpcomingTrack(const std::optional<FileURL>& url);
  /// Keeps device, rate and hog mode. Nothing while stopped. A track that is being prepared, and an output that is
  /// recovering, come up paused.
  void pause();
  /// Goes on with the first frame that was not heard; with a track that is being prepared, or a recovering output, as
  /// soon as it has come up. Nothing while stopped.
  void resume();
  /// Seconds; ignored outside 0 … duration. A recovering output goes on there.
  void seek(double seconds);
  /// Gives the device back and forgets the track.
  void stop();

  // The listener's choices.

  /// Volume 0 … 1 and balance −1 … +1; others are clamped, what is not finite becomes 1 and 0.
  void setOutputLevels(double volume, double balance);
  /// Takes effect at once while playing: the track that is heard is read again and goes on, at `goOnAt` or at its
  /// beginning; else at the next start, and `started` is not called.
  void setOutputDevice(AudioObjectID deviceID, Started started = {}, const GoOnAt& goOnAt = {});
  /// The position in seconds at which playback goes on, when the output had to be rebuilt.
  std::optional<double> setExclusiveAccessEnabled(bool enabled);

  /// What is known of the samples that were handed to the device in this pass of the loaded track, up to half a second
  /// ago; nothing before its output was opened.
  [[nodiscard]] std::optional<DeliveryReport> deliveryReport() const;
  /// Called once for each pass of a track of which frames were handed over, when nothing more is: at the latest half a
  /// second after the next track is heard. Must not call operations.
  void setDeliveryFinished(std::function<void(const DeliveryReport&)> finished) const;

  /// The stages of the path that audioPathStatus() is about; null where it is about none.
  [[nodiscard]] const Published<std::shared_ptr<const SignalPath>>& signalPath() const;
  /// All that is known of the path, its past and what went over it.
  [[nodiscard]] PathDiagnostics diagnostics() const;

  /// Counts since construction, for diagnosis.
  [[nodiscard]] OutputStatistics statistics() const;

 private:
  void prepare(const FileURL& url);
  /// Within a notification the state must not change: the call is carried out in a later turn of the run loop.
  [[nodiscard]] bool isPostponed(std::string_view operation, std::function<void()> call);

  std::unique_ptr<EngineStateMachine> machine_;
  std::vector<std::function<void()>> postponed_;
  RunLoop::Timer postponedTimer_;
  bool isEnding_ = false;  ///< nothing is carried out any more
};

}  // namespace tolvane
