#include "tests/engine/campaign/WatchedHardware.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "platform/simulated/SimulatedOutputUnit.h"

namespace tolvane {

/// A simulated unit whose callback passes through here.
class WatchedHardware::Unit final : public AudioOutputUnit {
 public:
  Unit(WatchedHardware& watch, std::unique_ptr<AudioOutputUnit> unit)
      : watch_(watch), unit_(std::move(unit)), trackNumber_(watch.trackNumber_) {
    watch_.unit_ = this;
  }
  ~Unit() override {
    endRun();
    unit_.reset();
    if (watch_.unit_ == this) watch_.unit_ = nullptr;
    watch_.boundDevice_ = kAudioObjectUnknown;
    watch_.clientFormat_.reset();
  }

  OSStatus setProperty(AudioUnitProperty property, AudioUnitScope scope, std::uint32_t element,
                       const AudioUnitPropertyValue& value) override {
    const auto* callback = std::get_if<AURenderCallback>(&value);
    if (callback != nullptr) callback_ = *callback;
    const OSStatus status =
        unit_->setProperty(property, scope, element,
                           callback != nullptr ? AudioUnitPropertyValue(AURenderCallback{&Unit::render, this}) : value);
    if (status != noErr) return status;
    if (property == AudioUnitProperty::currentDevice) watch_.boundDevice_ = std::get<std::uint32_t>(value);
    if (property == AudioUnitProperty::streamFormat)
      watch_.clientFormat_ = std::get<AudioStreamBasicDescription>(value);
    return status;
  }
  std::expected<AudioUnitPropertyValue, OSStatus> property(AudioUnitProperty property, AudioUnitScope scope,
                                                           std::uint32_t element) const override {
    return unit_->property(property, scope, element);
  }
  OSStatus initialize() override { return unit_->initialize(); }
  OSStatus uninitialize() override {
    const OSStatus status = unit_->uninitialize();
    endRun();
    return status;
  }
  OSStatus start() override {
    if (hasStopped_ || !isRunning()) endRun();  // one that stopped by itself and is started again
    const OSStatus status = unit_->start();
    if (status == noErr) hasStopped_ = false;
    ++watch_.startCount_;
    return status;
  }
  OSStatus stop() override {
    const OSStatus status = unit_->stop();
    endRun();
    return status;
  }
  std::int64_t framesPlayed() const override { return unit_->framesPlayed(); }
  std::uint64_t underrunCount() const override { return unit_->underrunCount(); }

  [[nodiscard]] bool hasDied() const { return runIsKnown_ && !isRunning(); }

 private:
  static OSStatus render(void* refCon, std::uint32_t frames, AudioBufferList* ioData) noexcept {
    return static_cast<Unit*>(refCon)->render(frames, ioData);
  }

  [[nodiscard]] bool isRunning() const {
    // Not through the property: asking for it uses up a failure that was meant for the player.
    return runIsKnown_ && !hasStopped_ && static_cast<const SimulatedOutputUnit&>(*unit_).isPlaying();
  }

  OSStatus render(std::uint32_t frames, AudioBufferList* ioData) noexcept {
    if (hasStopped_) watch_.complain_("a render callback came to a unit that was stopped");
    if (!watch_.mayRender_()) watch_.complain_("a render callback came while nothing was playing");
    const OSStatus status = callback_.inputProc(callback_.inputProcRefCon, frames, ioData);
    if (status != noErr || watch_.track_ == nullptr || trackNumber_ != watch_.trackNumber_) return status;
    if (!runIsKnown_) {
      runIsKnown_ = true;
      runStart_ = position_ = watch_.nextFrame_;
    }
    compare(ioData->mBuffers[0]);
    const std::int64_t copied = std::clamp<std::int64_t>(watch_.track_->frames - position_, 0, frames);
    position_ += copied;
    watch_.renderedTo_ = position_;
    watch_.trackFramesRendered_ += static_cast<std::uint64_t>(copied);
    return status;
  }

  void compare(const AudioBuffer& buffer) const {
    const CampaignTrack& track = *watch_.track_;
    if (!watch_.readsMarks_ || buffer.mDataByteSize < track.format.mBytesPerFrame) return;
    const auto found = track.markIn({static_cast<const std::byte*>(buffer.mData), track.format.mBytesPerFrame});
    const auto wanted = position_ < track.frames ? track.mark(position_) : 0;
    if (found != wanted)
      watch_.complain_(fmt::format("the unit was handed the frame marked {}, but frame {} is next, marked {}", found,
                                   position_, wanted));
  }

  /// What was heard of the run decides where the next one must begin.
  void endRun() {
    hasStopped_ = true;
    if (!std::exchange(runIsKnown_, false)) return;
    if (trackNumber_ == watch_.trackNumber_ && watch_.track_ != nullptr)
      watch_.nextFrame_ = std::min({runStart_ + unit_->framesPlayed(), position_, watch_.track_->frames});
  }

  WatchedHardware& watch_;
  std::unique_ptr<AudioOutputUnit> unit_;
  const std::uint64_t trackNumber_;
  AURenderCallback callback_;
  bool hasStopped_ = true;
  bool runIsKnown_ = false;
  std::int64_t runStart_ = 0;
  std::int64_t position_ = 0;
};

class WatchedHardware::Component final : public AudioOutputComponent {
 public:
  explicit Component(WatchedHardware& watch) : watch_(watch) {}

  std::expected<std::unique_ptr<AudioOutputUnit>, OSStatus> newInstance() override {
    watch_.onNewUnit_();
    auto made = watch_.hardware_.outputComponent()->newInstance();
    if (!made || !*made) return made;
    return std::make_unique<Unit>(watch_, std::move(*made));
  }

 private:
  WatchedHardware& watch_;
};

WatchedHardware::WatchedHardware(SimulatedAudioHardware& hardware, Complaint complain)
    : hardware_(hardware), complain_(std::move(complain)), component_(std::make_unique<Component>(*this)) {}

WatchedHardware::~WatchedHardware() = default;

bool WatchedHardware::hasDied() const { return unit_ != nullptr && unit_->hasDied(); }

void WatchedHardware::expectTrack(const CampaignTrack* track) {
  track_ = track;
  ++trackNumber_;
  nextFrame_ = 0;
  renderedTo_ = 0;
}

OSStatus WatchedHardware::setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                          const AudioPropertyValue& value) {
  hasWritten_ = true;
  if (!mayWrite_()) complain_("the player wrote a property of a device while it had nothing to play");
  if (address.mSelector == kAudioDevicePropertyNominalSampleRate) {
    ++rateWriteCount_;
    const std::uint32_t transport = hardware_.device(object).config().transport;
    if (transport == kAudioDeviceTransportTypeBluetooth || transport == kAudioDeviceTransportTypeBluetoothLE)
      complain_("the player wrote the rate of a Bluetooth device");
  }
  return hardware_.setPropertyData(object, address, value);
}

AudioOutputComponent* WatchedHardware::outputComponent() {
  return hardware_.outputComponent() == nullptr ? nullptr : component_.get();
}

}  // namespace tolvane
