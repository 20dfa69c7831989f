#pragma once
// One output device, opened for tracks of one format: its unit, what the unit pulls, and what is restored at the end:
// the rate that the device was found at, and hog mode. Player's thread, except for what the unit pulls.

#include <cstdint>
#include <memory>
#include <optional>

#include "engine/AudioPlayerError.h"
#include "engine/EngineServices.h"
#include "engine/HogModeReport.h"
#include "engine/PreparedAudio.h"
#include "engine/SampleRateReport.h"
#include "engine/UserChoices.h"
#include "engine/render/TrackSequence.h"
#include "platform/AudioOutputUnit.h"

namespace tolvane {

/// The nominal rate of a device before the engine changed it.
struct FoundRate {
  AudioObjectID deviceID = kAudioObjectUnknown;
  std::optional<double> rate;  ///< hertz; nothing: it could not be read, and is not restored
  bool hadNone = false;        ///< the device had no rate until the engine set one
  double requestedRate = 0;    ///< hertz; the rate that the engine requested
  double settledRate = 0;      ///< hertz; the device's rate after that request
};

class Output {
 public:
  /// What open() read from the device.
  struct Opened {
    HogModeReport hogMode;
    SampleRateReport rates;
    std::uint32_t transportType = 0;
  };
  struct StopResult {
    OSStatus status = noErr;
    /// Whether the run that has ended had reached the coupled track; nothing: there was no run.
    std::optional<bool> hasCrossed{};
  };

  /// Takes no resource of the device yet.
  Output(EngineServices& services, AudioObjectID deviceID);
  /// Releases everything.
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// Takes or reads hog mode, brings the device to the track's rate and builds the unit. After a failure, what was
  /// taken is held until giveBack(). `foundRate`: set if an earlier output on this device has changed its rate.
  [[nodiscard]] Result<Opened> open(const PreparedAudio& track, bool takesHogMode, std::optional<FoundRate> foundRate);

  // Closing, in two steps. Neither fails: what cannot be undone is left to the device. Repeating either has no effect.

  /// Disposes of the stopped unit and releases the tracks that it pulls.
  void closeUnit();
  /// Restores the rate that the device was found at, if requested, then releases hog mode. REQUIRES: the unit is
  /// closed.
  void giveBack(bool restoresSampleRate);

  [[nodiscard]] AudioObjectID deviceID() const { return deviceID_; }
  [[nodiscard]] const std::optional<FoundRate>& foundRate() const { return foundRate_; }
  /// Null until open() has built it.
  [[nodiscard]] AudioOutputUnit* unit() const { return unit_.get(); }
  [[nodiscard]] std::uint32_t bufferFrames() const { return bufferFrames_; }
  void setBufferFrames(std::uint32_t frames) { bufferFrames_ = frames; }
  void setOwnsHogMode(bool owns) { ownsHogMode_ = owns; }
  /// Whether this output matches the user's choices, runs, and can play this track without reconfiguration.
  [[nodiscard]] bool canContinueWith(const PreparedAudio& track, const UserChoices& choices) const;
  /// Whether the device can play this track without reconfiguration.
  [[nodiscard]] bool carries(const PreparedAudio& track) const;

  // What the unit pulls.

  [[nodiscard]] TrackSequence& sequence() { return sequence_; }
  [[nodiscard]] const TrackSequence& sequence() const { return sequence_; }
  /// The track that the unit pulls; null for silence.
  [[nodiscard]] const std::shared_ptr<AudioRenderContext>& track() const { return track_; }
  /// REQUIRES: the unit is stopped.
  void load(std::shared_ptr<AudioRenderContext> track);
  /// Replaces the loaded track with silence in the same format. REQUIRES: the unit is stopped; a track is loaded.
  void loadSilence();
  /// The device has played into the coupled track, which becomes the current one.
  void setTrack(std::shared_ptr<AudioRenderContext> track) { track_ = std::move(track); }

  // A run of the unit, from start() to stop(). REQUIRES: a unit.

  /// Resets counts and positions, and brings the first seconds of the track into memory.
  void beginRun();
  [[nodiscard]] OSStatus start();
  /// Moves the track back to the first frame that was rendered but not heard, whatever the returned status.
  StopResult stop();
  /// Has the frames that the device has played checked.
  void takeDelivered();
  [[nodiscard]] bool isStarted() const { return isStarted_; }
  /// The unit was started but no longer runs.
  [[nodiscard]] bool hasStoppedByItself() const { return isStarted_ && !isRunning(); }
  /// Frames of this run that the device has played; nothing without a run, or if they cannot be read.
  [[nodiscard]] std::optional<std::int64_t> framesHeard() const;
  /// Frames of the loaded track that were rendered but not heard yet; nothing if unknown, or if the renderer has
  /// reached the next track.
  [[nodiscard]] std::optional<std::int64_t> framesAhead() const;

 private:
  /// False if it cannot be read: stopping a running unit costs a click, starting one that does not run costs frames.
  [[nodiscard]] bool isRunning() const;
  [[nodiscard]] std::optional<double> sampleTime() const;
  void findRate(std::optional<FoundRate> foundRate);

  /// What the unit was built for.
  struct Source {
    AudioStreamBasicDescription format;
    ChannelLayout channels;
    std::uint32_t bitDepth = 0;
    bool isFloat = false;
  };

  EngineServices& services_;
  const AudioObjectID deviceID_;
  std::optional<FoundRate> foundRate_;
  bool ownsHogMode_ = false;  ///< or may own it, if the owner cannot be read
  bool takesHogMode_ = false;
  std::optional<Source> source_;
  std::uint32_t bufferFrames_ = 512;
  std::shared_ptr<AudioRenderContext> track_;
  TrackSequence sequence_;
  const std::shared_ptr<DeliveryRecord> deliveries_ = std::make_shared<DeliveryRecord>();
  std::unique_ptr<AudioOutputUnit> unit_;  ///< pulls the sequence: declared after it, so destroyed first

  bool isStarted_ = false;   ///< the unit was started, and not stopped since
  bool hasEverRun_ = false;  ///< since it was built
  /// The unit's sample time at its start; nothing if it could not be read.
  std::optional<double> runBegan_;
};

/// Whether a device of this transport encodes what it is sent; such a device is never judged bit-perfect.
[[nodiscard]] bool isBluetoothTransport(std::uint32_t transportType);

}  // namespace tolvane
