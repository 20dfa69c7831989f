#pragma once
// Builds the output for a prepared track in one fixed order, and takes it down in another. Player's thread. After a
// failure at any step the caller tears down, so that no unit, changed rate or held hog mode is left behind.

#include <memory>
#include <string>

#include "engine/AudioPlayerError.h"
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
  [[nodiscard]] Result<void> configureOutput(const PreparedAudio& prepared, bool startPlayback);

  /// Undoes all of it. Never fails: what cannot be undone is left to the device.
  void tearDown(const TearDownOptions& options);

  /// Ends playback with PATH ERROR and `message`.
  void failRuntime(std::string message, bool unitAlreadyStopped);

  /// REQUIRES: a unit.
  [[nodiscard]] OSStatus startUnit();

  /// REQUIRES: a unit. Moves the context back to the first frame that was rendered but not heard, so that the next
  /// start continues there, whatever the status.
  OSStatus stopUnit();

 private:
  [[nodiscard]] Result<std::unique_ptr<AudioOutputUnit>> createOutputUnit(AudioObjectID deviceID,
                                                                          const PreparedAudio& prepared,
                                                                          bool prefersHighQualityConversion);

  /// False when it cannot be read: stopping a unit that runs costs a click, starting one that does not costs frames.
  [[nodiscard]] bool unitIsRunning() const;

  PlayerCore& core_;
  bool isStarted_ = false;       ///< the unit was started and not stopped since
  std::int64_t startFrame_ = 0;  ///< the context's position when it was started
};

/// Whether a device of this transport encodes what it is sent; such a device is never judged bit-perfect.
[[nodiscard]] bool isBluetoothTransport(std::uint32_t transportType);

}  // namespace tolvane
