#pragma once
// Builds the output for a prepared track in one fixed order, and takes it down in another. Player's thread. After a
// failure at any step the caller tears down, so that no unit, changed rate or held hog mode is left behind.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "engine/AudioPlayerError.h"
#include "engine/HogModeReport.h"
#include "engine/PreparedAudio.h"
#include "platform/AudioHardware.h"

namespace tolvane {

struct PlayerCore;

struct TearDownOptions {
  bool restoreSampleRate = true;      ///< bring the device back to the rate it was found at
  bool unitAlreadyStopped = false;    ///< do not stop the unit once more
  bool discardPrepared = true;        ///< forget the track; else it can be configured again
  bool cancelPendingRecovery = true;  ///< off within a recovery, which goes on
};

class OutputConfiguration {
 public:
  explicit OutputConfiguration(PlayerCore& core) : core_(core) {}

  /// Binds the device, brings it to the track's rate, takes or reads hog mode, builds the unit, starts it when asked
  /// to, judges the path and begins supervision.
  /// `originalRate`: what the device is to be given back with, where this output replaces another on it.
  [[nodiscard]] Result<void> configureOutput(const PreparedAudio& prepared, bool startPlayback,
                                             std::optional<double> originalRate = {});

  /// Plays another track by the unit that is there. REQUIRES: TrackTransition::canContinueWith().
  [[nodiscard]] Result<void> continueOutput(const PreparedAudio& prepared, bool startPlayback);

  /// Undoes all of it. Never fails: what cannot be undone is left to the device.
  void tearDown(const TearDownOptions& options);

  /// Ends playback with PATH ERROR and `message`.
  void failRuntime(std::string message, bool unitAlreadyStopped);

  /// REQUIRES: a unit.
  [[nodiscard]] OSStatus startUnit();

  /// REQUIRES: a unit. Moves the track back to the first frame that was rendered but not heard, so that the next start
  /// continues there, whatever the status.
  OSStatus stopUnit();

  /// Starts the unit and the watch for the end; a failure ends playback with `failureMessage`, and is false.
  [[nodiscard]] bool restartUnit(std::string_view failureMessage);

  /// Frames that the device has played of the run that is under way; nothing where there is none, or it cannot be read.
  [[nodiscard]] std::optional<std::int64_t> framesHeard() const;

  [[nodiscard]] bool isUnitStarted() const { return isStarted_; }
  /// The unit was started, and runs no more.
  [[nodiscard]] bool unitHasStopped() const { return isStarted_ && !unitIsRunning(); }

 private:
  [[nodiscard]] Result<void> bringUp(const PreparedAudio& prepared, const HogModeReport& hogReport, bool startPlayback);
  [[nodiscard]] Result<std::unique_ptr<AudioOutputUnit>> createOutputUnit(AudioObjectID deviceID,
                                                                          const PreparedAudio& prepared,
                                                                          bool prefersHighQualityConversion);

  /// False when it cannot be read: stopping a unit that runs costs a click, starting one that does not costs frames.
  [[nodiscard]] bool unitIsRunning() const;
  [[nodiscard]] std::optional<double> sampleTime() const;

  PlayerCore& core_;
  bool isStarted_ = false;   ///< the unit was started and not stopped since
  bool hasEverRun_ = false;  ///< since it was built
  /// The unit's sample time when it was started; nothing where that could not be read.
  std::optional<double> runBegan_;
};

/// Whether a device of this transport encodes what it is sent; such a device is never judged bit-perfect.
[[nodiscard]] bool isBluetoothTransport(std::uint32_t transportType);

}  // namespace tolvane
