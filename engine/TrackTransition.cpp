#include "engine/TrackTransition.h"

#include <algorithm>
#include <utility>

#include "engine/PlayerCore.h"
#include "engine/StreamFormats.h"
#include "platform/PropertyReading.h"

namespace tolvane {

namespace {

/// Before the end of the current track: time enough to ask a slow disk whether the file is still the same.
constexpr double couplingLeadSeconds = 5;
/// A track on a share that does not answer must not keep the device from others.
constexpr auto longestParking = std::chrono::seconds(10);

/// The unit's silence, in its own format.
std::shared_ptr<AudioRenderContext> silence(const AudioRenderContext& like) {
  return std::make_shared<AudioRenderContext>(PcmBlock(), 0, like.format(), like.outputLevels());
}

}  // namespace

void TrackTransition::setUpcoming(const std::optional<FileURL>& url) {
  if (core_.state == PlaybackState::preparing) return;
  if (url != core_.upcoming.wanted()) {
    core_.upcoming.want(url);
    if (coupled_ && !uncouple()) return;
  }
  prepareAndCouple();
}

void TrackTransition::prepareAndCouple() {
  if (core_.state != PlaybackState::playing && core_.state != PlaybackState::stopped) return;
  core_.upcoming.prepare(core_.preparedAudio ? core_.preparedAudio->context->buffer().size() : 0);
  couplingTimer_.reset();
  // The unit had stopped by itself within the coupled track, which was noticed only when it was started again.
  if (hasCrossed_ && core_.state == PlaybackState::playing) return announce();
  if (coupled_ && core_.state == PlaybackState::playing) return core_.completion.scheduleCrossingCheck();
  if (!canCouple() || core_.upcoming.ready() == nullptr) return;
  if (const double left = secondsLeft(); left > couplingLeadSeconds) {
    couplingTimer_ = core_.runLoop.scheduleTimer(durationFromSeconds(left - couplingLeadSeconds), false,
                                                 [this] { prepareAndCouple(); });
    return;
  }
  if (!carries(*core_.upcoming.ready())) return;
  core_.upcoming.confirm([this] {
    if (!canCouple() || !carries(*core_.upcoming.ready())) return;
    couple();
    core_.completion.scheduleCrossingCheck();
  });
}

double TrackTransition::secondsLeft() const {
  const AudioRenderContext& current = *core_.renderContext;
  return static_cast<double>(current.totalFrames() - current.currentFrame()) / current.format().mSampleRate;
}

void TrackTransition::coupleAgain() {
  if (coupled_ || !core_.renderContext || !core_.upcoming.isConfirmed()) return;
  if (carries(*core_.upcoming.ready()) && secondsLeft() <= couplingLeadSeconds) couple();
}

void TrackTransition::couple() {
  coupled_ = CoupledTrack{*core_.upcoming.wanted(), core_.upcoming.takeConfirmed()};
  coupled_->audio.context->seek(0);
  if (!coupled_->audio.context->isInMemory(couplingLeadSeconds)) {
    core_.background([next = std::weak_ptr(coupled_->audio.context)] {
      if (const auto context = next.lock()) context->bringIntoMemory(couplingLeadSeconds);
    });
  }
  core_.sequence.couple(coupled_->audio.context);
}

bool TrackTransition::canCouple() const {
  return core_.state == PlaybackState::playing && core_.audioUnit && core_.configuration.isUnitStarted() && !coupled_;
}

bool TrackTransition::carries(const PreparedAudio& prepared) const {
  if (!source_ || prepared.context->format() != source_->format || prepared.channels != source_->channels) return false;
  if (prepared.sourceBitDepth == source_->bitDepth && prepared.sourceIsFloat == source_->isFloat) return true;
  // The unit may have opened the device in a format that carries no more than the track it was opened for.
  const auto physical = core_.device.readOutputPhysicalFormat(core_.deviceID);
  return physical && physicalFormatCompatibility(prepared, *physical);
}

/// Another track is to follow: takes back what was rendered of the coupled one. False where the device had played into
/// it, which was announced, so that an observer has decided what is played now; and after a failure.
bool TrackTransition::uncouple() {
  if (core_.sequence.uncouple()) {
    giveBackCoupled();
    return true;
  }
  if (core_.configuration.stopUnit() != noErr) {
    core_.configuration.failRuntime("The output device could not continue playback.", false);
    return false;
  }
  const bool isAnnounced = hasCrossed_;
  if (isAnnounced) announce();
  if (core_.state != PlaybackState::playing || !core_.audioUnit) return false;
  return core_.configuration.restartUnit("The output device could not continue playback.") && !isAnnounced;
}

void TrackTransition::giveBackCoupled() {
  if (!coupled_) return;
  coupled_->audio.context->seek(0);
  core_.upcoming.putBack(std::move(coupled_->audio));
  coupled_.reset();
}

void TrackTransition::runHasEnded(bool hasCrossed) {
  couplingTimer_.reset();
  hasCrossed_ = hasCrossed;
  if (!hasCrossed) giveBackCoupled();
}

void TrackTransition::takeBack() {
  hasCrossed_ = false;
  core_.sequence.load(core_.renderContext);
  giveBackCoupled();
}

void TrackTransition::announce() {
  if (!std::exchange(hasCrossed_, false)) core_.sequence.cross();
  ++core_.statistics.crossings;
  core_.statistics.lastCrossingFrame = core_.sequence.lastCrossing().value_or(-1);
  CoupledTrack next = *std::exchange(coupled_, std::nullopt);
  core_.upcoming.want(std::nullopt);
  core_.completion.cancel();
  core_.renderContext = next.audio.context;
  core_.discardPreparedAudio();
  core_.preparedAudio = std::move(next.audio);
  adoptable_ = std::move(next.url);
  core_.forgetTrack();
  core_.countCompletion();
  if (!std::exchange(adoptable_, std::nullopt)) return;
  core_.configuration.tearDown({});
  core_.audioPathStatus.assign(AudioPathStatus::ready());
  core_.setPlaybackState(PlaybackState::stopped);
}

bool TrackTransition::adopt(const FileURL& url) {
  if (adoptable_ != url) return false;
  adoptable_.reset();
  const AudioRenderContext& context = *core_.renderContext;
  const double rate = context.format().mSampleRate;
  core_.currentURL.assign(url);
  core_.duration.assign(static_cast<double>(context.totalFrames()) / rate);
  core_.sampleRate.assign(rate);
  core_.exclusiveAccess.refreshAudioPathStatus(core_.device.readHogMode(core_.deviceID));
  core_.completion.scheduleCompletionTimer(context.totalFrames() - context.currentFrame());
  return true;
}

bool TrackTransition::parkOutput(bool unitAlreadyStopped) {
  if (!core_.audioUnit || !core_.isPlayingOrPaused()) return false;
  core_.exclusiveAccess.stopExclusiveAccessMonitor();
  core_.supervision.removeOutputPropertyObservers();
  core_.supervision.stopOutputHealthMonitor();
  core_.supervision.cancelPendingRecovery();
  core_.completion.cancel();
  adoptable_.reset();
  if (!unitAlreadyStopped && core_.state == PlaybackState::playing && core_.configuration.stopUnit() != noErr)
    return false;
  if (hasCrossed_) takeBack();
  core_.sequence.load(silence(*core_.renderContext));
  core_.renderContext.reset();
  core_.preparedAudio.reset();  // at once: the next track may need the memory
  isParked_ = true;
  parkingLimit_ = core_.runLoop.scheduleTimer(longestParking, false, [this] {
    if (isParked_) core_.configuration.tearDown({});
  });
  return core_.state != PlaybackState::playing || core_.configuration.startUnit() == noErr;
}

bool TrackTransition::canContinueWith(const PreparedAudio& prepared) const {
  if (!isParked_ || !carries(prepared) || source_->isExclusive != core_.isExclusiveAccessEnabled) return false;
  const auto device = core_.device.resolveOutputDevice(core_.preferredDeviceID);
  if (!device || *device != core_.deviceID) return false;
  if (core_.configuration.unitHasStopped()) return false;
  const double rate = prepared.context->format().mSampleRate;
  const auto nominal = core_.device.readDeviceSampleRate(core_.deviceID, kAudioDevicePropertyNominalSampleRate);
  return !nominal || ratesAgree(rate, *nominal);
}

void TrackTransition::outputWasConfigured(const PreparedAudio& prepared) {
  source_ = Source{.format = prepared.context->format(),
                   .channels = prepared.channels,
                   .bitDepth = prepared.sourceBitDepth,
                   .isFloat = prepared.sourceIsFloat,
                   .isExclusive = core_.isExclusiveAccessEnabled};
}

void TrackTransition::reset() {
  couplingTimer_.reset();
  giveBackCoupled();
  hasCrossed_ = false;
  hasContinued();
  adoptable_.reset();
  source_.reset();
}

}  // namespace tolvane
