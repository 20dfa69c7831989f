#pragma once
// One output device, opened for tracks of one format: its unit, what the unit pulls, and what the device is given back
// when this ends: the rate it was found at, and hog mode. Player's thread, but for what the unit pulls.

#include <cstdint>
#include <memory>
#include <optional>

#include "engine/AudioPlayerError.h"
#include "engine/EngineServices.h"
#include "engine/HogModeReport.h"
#include "engine/ListenerChoices.h"
#include "engine/PreparedAudio.h"
#include "engine/SampleRateReport.h"
#include "engine/render/TrackSequence.h"
#include "platform/AudioOutputUnit.h"

namespace tolvane {

/// The nominal rate of a device before the engine changed it.
struct FoundRate {
  AudioObjectID deviceID = kAudioObjectUnknown;
  std::optional<double> rate;  ///< hertz; nothing: it could not be read, and is not restored
  bool hadNone = false;        ///< until the engine gave it one
  double requestedRate = 0;    ///< hertz; what the engine asked for
  double settledRate = 0;      ///< hertz; what the device had then
};

class Output {
 public:
  /// What open() found on the way.
  struct Opened {
    HogModeReport hogMode;
    SampleRateReport rates;
    std::uint32_t transportType = 0;
  };
  struct StopResult {
    OSStatus status = noErr;
    /// Whether the run that has ended had played into the coupled track; nothing: there was no run.
    std::optional<bool> hasCrossed{};
  };

  /// Takes nothing of the device yet.
  Output(EngineServices& services, AudioObjectID deviceID);
  /// Gives everything back.
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// Takes or reads hog mode, brings the device to the track's rate and builds the unit. What was taken before a
  /// failure is held until it is given back. `foundRate`: where an earlier output on this device has changed its rate.
  [[nodiscard]] Result<Opened> open(const PreparedAudio& track, bool takesHogMode, std::optional<FoundRate> foundRate);

  // The end, in two steps. Neither fails: what cannot be undone is left to the device. Neither does anything twice.

  /// Disposes of the stopped unit and lets go of what it pulls.
  void closeUnit();
  /// Brings the device back to the rate it was found at, where that is wanted, then releases hog mode. REQUIRES: the
  /// unit is closed.
  void giveBack(bool restoresSampleRate);

  [[nodiscard]] AudioObjectID deviceID() const { return deviceID_; }
  [[nodiscard]] const std::optional<FoundRate>& foundRate() const { return foundRate_; }
  /// Null until open() has built it.
  [[nodiscard]] AudioOutputUnit* unit() const { return unit_.get(); }
  [[nodiscard]] std::uint32_t bufferFrames() const { return bufferFrames_; }
  void setBufferFrames(std::uint32_t frames) { bufferFrames_ = frames; }
  void setOwnsHogMode(bool owns) { ownsHogMode_ = owns; }
  /// Whether it is the output that the listener's choices ask for, runs, and plays this track as it is.
  [[nodiscard]] bool canContinueWith(const PreparedAudio& track, const ListenerChoices& choices) const;
  /// Whether the device, as it was opened, plays this track as it is.
  [[nodiscard]] bool carries(const PreparedAudio& track) const;

  // What the unit pulls.

  [[nodiscard]] TrackSequence& sequence() { return sequence_; }
  [[nodiscard]] const TrackSequence& sequence() const { return sequence_; }
  /// The track that is pulled; null while it is silence.
  [[nodiscard]] const std::shared_ptr<AudioRenderContext>& track() const { return track_; }
  /// REQUIRES: the unit is stopped.
  void load(std::shared_ptr<AudioRenderContext> track);
  /// Silence in the format of the loaded track, in its place. REQUIRES: the unit is stopped; a track is loaded.
  void loadSilence();
  /// The coupled track is the current one now: the device has played into it.
  void setTrack(std::shared_ptr<AudioRenderContext> track) { track_ = std::move(track); }

  // A run of the unit, from start() to stop(). REQUIRES: a unit.

  /// Counts and positions begin anew; the first seconds are brought into memory.
  void beginRun();
  [[nodiscard]] OSStatus start();
  /// Moves the track back to the first frame that was rendered but not heard, whatever the status.
  StopResult stop();
  /// Has the frames checked that the device has played.
  void takeDelivered();
  [[nodiscard]] bool isStarted() const { return isStarted_; }
  /// The unit was started, and runs no more.
  [[nodiscard]] bool hasStoppedByItself() const { return isStarted_ && !isRunning(); }
  /// Frames that the device has played of this run; nothing where there is none, or it cannot be read.
  [[nodiscard]] std::optional<std::int64_t> framesHeard() const;
  /// Frames of the loaded track that were rendered and are not heard yet; nothing where that is not known, or the
  /// renderer has gone on into the next track.
  [[nodiscard]] std::optional<std::int64_t> framesAhead() const;

 private:
  /// False when it cannot be read: stopping a unit that runs costs a click, starting one that does not costs frames.
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
  bool ownsHogMode_ = false;  ///< or may own it, where that cannot be read
  bool takesHogMode_ = false;
  std::optional<Source> source_;
  std::uint32_t bufferFrames_ = 512;
  std::shared_ptr<AudioRenderContext> track_;
  TrackSequence sequence_;
  const std::shared_ptr<DeliveryRecord> deliveries_ = std::make_shared<DeliveryRecord>();
  std::unique_ptr<AudioOutputUnit> unit_;  ///< pulls the sequence: declared behind it, it goes first

  bool isStarted_ = false;   ///< the unit was started and not stopped since
  bool hasEverRun_ = false;  ///< since it was built
  /// The unit's sample time when it was started; nothing where that could not be read.
  std::optional<double> runBegan_;
};

/// Whether a device of this transport encodes what it is sent; such a device is never judged bit-perfect.
[[nodiscard]] bool isBluetoothTransport(std::uint32_t transportType);

}  // namespace tolvane
