#pragma once
// An output unit on a device that is reached through a PipeWire sink or directly over its card, which is decided when
// it is initialised. Player's thread; the server's stream or the card's own unit does the rendering.

#include <memory>
#include <optional>
#include <string>

#include "platform/Log.h"
#include "platform/RunLoop.h"
#include "platform/adapter/AdapterOutputUnit.h"
#include "platform/pipewire/server/SoundServer.h"

namespace tolvane {

class PipeWireOutputUnit : public AdapterOutputUnit {
 public:
  /// The path to a device.
  struct Path {
    std::string name;                            ///< of the device, for the log
    AudioObjectID cardDevice = kAudioObjectUnknown;  ///< the device on the card path; unknown: the sink
    std::uint32_t sink = 0;
    std::string serial;
    /// The rate that the sink is to run at, in hertz; nothing: it chooses its own.
    std::optional<double> rate;
  };
  /// What a unit needs of its hardware.
  class Host {
   public:
    virtual ~Host() = default;
    [[nodiscard]] virtual bool hasDevice(AudioObjectID id) const = 0;
    /// The device's path for this unit, which has it until closePath(): one unit at a time.
    [[nodiscard]] virtual std::expected<Path, OSStatus> openPath(AudioObjectID id, PipeWireOutputUnit& unit) = 0;
    /// Does nothing if the unit no longer has the path.
    virtual void closePath(AudioObjectID id, const PipeWireOutputUnit& unit) = 0;
    /// The unit continues over the card itself, at the sink's rate if the unit chose that.
    virtual void movedToCard(AudioObjectID id, std::optional<double> rate) = 0;
    /// The unit has begun or ended, or its stream has changed.
    virtual void unitChanged(AudioObjectID id) = 0;
    [[nodiscard]] virtual AudioOutputComponent* cardComponent() = 0;
    [[nodiscard]] virtual SoundServer& server() = 0;
    [[nodiscard]] virtual RunLoop& runLoop() = 0;
    [[nodiscard]] virtual Log& log() = 0;
  };

  explicit PipeWireOutputUnit(Host& host) : host_(host) {}
  ~PipeWireOutputUnit() override;

  OSStatus setProperty(AudioUnitProperty property, AudioUnitScope scope, std::uint32_t element,
                       const AudioUnitPropertyValue& value) override;
  OSStatus initialize() override;
  OSStatus uninitialize() override;
  OSStatus start() override;
  OSStatus stop() override;
  std::int64_t framesPlayed() const override;
  std::uint64_t underrunCount() const override;

  // For the hardware.

  /// Null unless the unit plays, or could play, through a sink.
  [[nodiscard]] const SoundServerStream* stream() const {
    return stream_ && !stream_->isLost() ? stream_.get() : nullptr;
  }
  [[nodiscard]] bool isOnCard() const { return cardUnit_ != nullptr; }
  [[nodiscard]] bool isRunning() const { return state_ == State::running; }
  [[nodiscard]] const AudioStreamBasicDescription& format() const { return settings_.format(); }
  [[nodiscard]] const ChannelLayout& channelLayout() const { return settings_.channelLayout(); }
  /// The sink or the server behind the stream has gone, or has failed.
  void markLost(OSStatus status);
  /// Leaves the sink and stops rendering until goOn(). Returns how long the hardware still plays frames of the unit.
  /// REQUIRES: stream() is not null.
  RunLoop::Duration leaveSink();
  /// Continues on the present path to the device. Without one, the unit is running but its device is gone.
  void goOn();

 private:
  // AdapterOutputUnit
  bool hasDevice(AudioObjectID id) const override { return host_.hasDevice(id); }
  std::expected<OSStatus, OSStatus> takeRenderError() const override;
  std::expected<bool, OSStatus> isAlive() const override;
  std::expected<double, OSStatus> sampleTime() const override;

  OSStatus openPath(bool isMove);
  OSStatus reopen();
  OSStatus startPath();
  void dropStream();
  OSStatus openStream(const Path& path);
  OSStatus openCard(const Path& path);
  void closeAll();
  void watchProgress();

  Host& host_;

  // Of the paths that the unit has left since it was initialised, and since the last start().
  std::optional<double> timeBefore_;
  std::uint64_t underrunsBefore_ = 0;
  std::int64_t heardBefore_ = 0;
  std::optional<double> ledRate_;  ///< that the last sink was set to

  // While initialised, one of the two; none if the last attempt to find another path has failed.
  std::unique_ptr<SoundServerStream> stream_;
  std::unique_ptr<AudioOutputUnit> cardUnit_;
  RunLoop::Timer progressWatch_;
  std::uint64_t cyclesSeen_ = 0;
  int checksWithoutProgress_ = 0;
  mutable OSStatus watchError_ = noErr;  ///< reading clears it
};

}  // namespace tolvane
