#pragma once
// An output unit on a device that may be reached through a PipeWire sink or directly: which of them is decided when it
// is initialised. Player's thread; what renders lives in the server's stream, or in the direct side's own unit.

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
  /// How a device is reached now.
  struct Path {
    std::string name;                            ///< of the device, for the log
    AudioObjectID direct = kAudioObjectUnknown;  ///< the direct side's device; else the sink
    std::uint32_t sink = 0;
    std::string serial;
    /// The rate that the sink was given to run at; nothing: it runs as it likes.
    std::optional<double> rate;
  };
  /// What a unit needs of its hardware.
  class Host {
   public:
    virtual ~Host() = default;
    [[nodiscard]] virtual bool hasDevice(AudioObjectID id) const = 0;
    /// The device's way for this unit, which has it until closePath(): one unit at a time.
    [[nodiscard]] virtual std::expected<Path, OSStatus> openPath(AudioObjectID id, PipeWireOutputUnit& unit) = 0;
    /// Nothing happens where the unit does not have the way any more.
    virtual void closePath(AudioObjectID id, const PipeWireOutputUnit& unit) = 0;
    /// The unit goes on over the card itself, whose rate is to be what the sink's was, where the unit chose that.
    virtual void movedToCard(AudioObjectID id, std::optional<double> rate) = 0;
    /// The unit has begun or ended, or its stream has changed.
    virtual void unitChanged(AudioObjectID id) = 0;
    [[nodiscard]] virtual AudioOutputComponent* directComponent() = 0;
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

  /// Null unless the unit plays, or could, through a sink.
  [[nodiscard]] const SoundServerStream* stream() const {
    return stream_ && !stream_->isLost() ? stream_.get() : nullptr;
  }
  [[nodiscard]] bool isDirect() const { return direct_ != nullptr; }
  [[nodiscard]] bool isRunning() const { return state_ == State::running; }
  [[nodiscard]] const AudioStreamBasicDescription& format() const { return settings_.format(); }
  [[nodiscard]] const ChannelLayout& channelLayout() const { return settings_.channelLayout(); }
  /// The sink or the server behind the stream has gone, or has failed.
  void markLost(OSStatus status);
  /// Leaves the sink and renders nothing more until goOn(). How long the hardware still plays what it was given.
  /// REQUIRES: stream() is not null.
  RunLoop::Duration leaveSink();
  /// On the way to the device that there is now. A unit that finds none is a running one whose device has gone.
  void goOn();

 private:
  // AdapterOutputUnit
  bool hasDevice(AudioObjectID id) const override { return host_.hasDevice(id); }
  std::expected<OSStatus, OSStatus> takeRenderError() const override;
  std::expected<bool, OSStatus> isAlive() const override;
  std::expected<double, OSStatus> sampleTime() const override;

  OSStatus openWay(bool isMove);
  OSStatus reopen();
  OSStatus startWay();
  void dropStream();
  OSStatus openStream(const Path& path);
  OSStatus openDirect(const Path& path);
  void closeAll();
  void watchProgress();

  Host& host_;

  // Of the ways that the unit has left since it was initialised, and since the last start().
  std::optional<double> timeBefore_;
  std::uint64_t underrunsBefore_ = 0;
  std::int64_t heardBefore_ = 0;
  std::optional<double> ledRate_;  ///< that the last sink was made to run at

  // While initialised, one of the two; none where the last attempt to find another way has failed.
  std::unique_ptr<SoundServerStream> stream_;
  std::unique_ptr<AudioOutputUnit> direct_;
  RunLoop::Timer progressWatch_;
  std::uint64_t cyclesSeen_ = 0;
  int checksWithoutProgress_ = 0;
  mutable OSStatus watchError_ = noErr;  ///< reading clears it
};

}  // namespace tolvane
