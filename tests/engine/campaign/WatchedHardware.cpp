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
    trackNumber_ = watch_.trackNumber_;
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
  void setDeliveryRecord(std::shared_ptr<DeliveryRecord> record) override { unit_->setDeliveryRecord(std::move(record)); }

  [[nodiscard]] bool hasDied() const { return runIsKnown_ && !isRunning(); }
  [[nodiscard]] bool hasHeardCrossing() const {
    return runIsKnown_ && crossedAt_ && static_cast<const SimulatedOutputUnit&>(*unit_).consumedFrames() >= *crossedAt_;
  }
  /// Nothing has been rendered of this run: it is the track's that is expected now.
  void expectAnew() {
    if (!runIsKnown_) trackNumber_ = watch_.trackNumber_;
  }
  /// The track behind the crossing is the expected one from here on.
  void cross() {
    trackNumber_ = watch_.trackNumber_;
    if (!runIsKnown_ || !crossedAt_) return;
    runStart_ = -*std::exchange(crossedAt_, std::nullopt);
    const std::int64_t frames = watch_.track_->frames;
    if (const auto silent = std::exchange(nextSilentFrom_, std::nullopt); silent && *silent < frames)
      watch_.complain_(fmt::format("the next track fell silent by frame {} of {}", *silent, frames));
    position_ = std::min(std::exchange(framesOfNext_, 0), frames);
    watch_.renderedTo_ = position_;  // to the end, perhaps: then no callback of the track comes any more
  }

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
    if (watch_.track_ == nullptr || trackNumber_ != watch_.trackNumber_) expectSilence(*ioData);
    if (status != noErr || watch_.track_ == nullptr || trackNumber_ != watch_.trackNumber_) return status;
    if (!runIsKnown_) {
      runIsKnown_ = true;
      runStart_ = position_ = watch_.nextFrame_;
      renderedFrames_ = framesOfNext_ = 0;
      crossedAt_.reset();
      nextSilentFrom_.reset();
    }
    const CampaignTrack& track = *watch_.track_;
    const std::span music(static_cast<const std::byte*>(ioData->mBuffers[0].mData), ioData->mBuffers[0].mDataByteSize);
    const std::int64_t copied = std::clamp<std::int64_t>(track.frames - position_, 0, frames);
    if (copied > 0) compare(music, position_);
    const auto behind =
        music.subspan(std::min(music.size(), static_cast<std::size_t>(copied) * track.format.mBytesPerFrame));
    if (!crossedAt_ && std::ranges::any_of(behind, [](std::byte each) { return each != std::byte{0}; }))
      crossedAt_ = renderedFrames_ + copied;
    if (crossedAt_) {
      // A short track may have ended in the ring before it is known which one it is.
      if (watch_.readsMarks_ && framesOfNext_ > 0 && markAt(behind) == 0)
        nextSilentFrom_ = nextSilentFrom_.value_or(framesOfNext_);
      else
        compare(behind, framesOfNext_);
      framesOfNext_ += frames - copied;
    }
    position_ += copied;
    renderedFrames_ += frames;
    watch_.renderedTo_ = position_;
    watch_.trackFramesRendered_ += static_cast<std::uint64_t>(crossedAt_ ? frames : copied);
    return status;
  }

  /// Between two tracks the device stays open.
  void expectSilence(const AudioBufferList& list) const {
    const std::span music(static_cast<const std::byte*>(list.mBuffers[0].mData), list.mBuffers[0].mDataByteSize);
    if (std::ranges::any_of(music, [](std::byte each) { return each != std::byte{0}; }))
      watch_.complain_("music was rendered between two tracks");
  }

  /// The tracks of one format count their frames alike.
  void compare(std::span<const std::byte> music, std::int64_t frame) const {
    const auto wanted = watch_.track_->mark(frame);
    if (!watch_.readsMarks_ || music.size() < watch_.track_->format.mBytesPerFrame) return;
    if (const auto found = markAt(music); found != wanted)
      watch_.complain_(fmt::format("the unit was handed the frame marked {}, but frame {} is next, marked {}", found,
                                   frame, wanted));
  }
  [[nodiscard]] std::uint64_t markAt(std::span<const std::byte> music) const {
    const std::size_t bytes = watch_.track_->format.mBytesPerFrame;
    return music.size() < bytes ? 0 : watch_.track_->markIn(music.first(bytes));
  }

  /// What was heard of the run decides where the next one must begin.
  void endRun() {
    hasStopped_ = true;
    if (!std::exchange(runIsKnown_, false)) return;
    if (trackNumber_ != watch_.trackNumber_ || watch_.track_ == nullptr) return;
    const std::int64_t heard = unit_->framesPlayed();
    watch_.nextFrame_ = std::clamp<std::int64_t>(runStart_ + heard, 0, std::min(position_, watch_.track_->frames));
    if (crossedAt_ && heard >= *crossedAt_) watch_.heardOfNext_ = heard - *crossedAt_;
  }

  WatchedHardware& watch_;
  std::unique_ptr<AudioOutputUnit> unit_;
  std::uint64_t trackNumber_;
  AURenderCallback callback_;
  bool hasStopped_ = true;
  bool runIsKnown_ = false;
  std::int64_t runStart_ = 0;
  std::int64_t position_ = 0;
  std::int64_t renderedFrames_ = 0;        // of this run
  std::optional<std::int64_t> crossedAt_;  // the frame of this run that is the first one of the next track
  std::int64_t framesOfNext_ = 0;          // rendered behind it
  std::optional<std::int64_t> nextSilentFrom_;
};

class WatchedHardware::Component final : public AudioOutputComponent {
 public:
  explicit Component(WatchedHardware& watch) : watch_(watch) {}

  std::expected<std::unique_ptr<AudioOutputUnit>, OSStatus> newInstance() override {
    auto made = watch_.hardware_.outputComponent()->newInstance();
    if (!made || !*made) return made;
    return std::make_unique<Unit>(watch_, std::move(*made));
  }

 private:
  WatchedHardware& watch_;
};

WatchedHardware::WatchedHardware(SimulatedAudioHardware& hardware, RunLoop& runLoop, Complaint complain)
    : hardware_(hardware),
      runLoop_(runLoop),
      complain_(std::move(complain)),
      component_(std::make_unique<Component>(*this)) {}

WatchedHardware::~WatchedHardware() = default;

bool WatchedHardware::hasDied() const { return unit_ != nullptr && unit_->hasDied(); }

bool WatchedHardware::hasHeardCrossing() const {
  return heardOfNext_ || (unit_ != nullptr && unit_->hasHeardCrossing());
}

void WatchedHardware::expectTrack(const CampaignTrack* track) {
  track_ = track;
  ++trackNumber_;
  expectFrame(0);
  renderedTo_ = 0;
  if (unit_ != nullptr) unit_->expectAnew();
}

void WatchedHardware::continueWith(const CampaignTrack& track) {
  // A short track may have ended before it became the current one.
  const std::int64_t next = std::min(heardOfNext_.value_or(0), track.frames);
  expectTrack(&track);
  expectFrame(next);
  if (unit_ != nullptr) unit_->cross();
}

OSStatus WatchedHardware::setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                          const AudioPropertyValue& value) {
  hasWritten_ = true;
  if (!mayWrite_()) complain_("the player wrote a property of a device while it had nothing to play");
  if (address.mSelector == kAudioDevicePropertyNominalSampleRate) {
    ++rateWriteCount_;
    rateWrittenAt_[object] = runLoop_.now();
    const std::uint32_t transport = hardware_.device(object).config().transport;
    if (transport == kAudioDeviceTransportTypeBluetooth || transport == kAudioDeviceTransportTypeBluetoothLE)
      complain_("the player wrote the rate of a Bluetooth device");
  }
  return hardware_.setPropertyData(object, address, value);
}

void WatchedHardware::countIfLate(AudioObjectID object, FourCharCode selector) {
  constexpr auto longestWait = std::chrono::milliseconds(250);
  if (selector != kAudioDevicePropertyNominalSampleRate) return;
  const auto written = rateWrittenAt_.extract(object);
  if (!written || object != boundDevice_) return;
  if (runLoop_.now() - written.mapped() > longestWait) ++lateRates_;
}

AudioOutputComponent* WatchedHardware::outputComponent() {
  return hardware_.outputComponent() == nullptr ? nullptr : component_.get();
}

}  // namespace tolvane
