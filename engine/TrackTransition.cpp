#include "engine/TrackTransition.h"

#include <utility>

#include "engine/EngineStateMachine.h"

namespace tolvane {

namespace {

/// Before the end of the current track: enough time to check on a slow disk that the file is unchanged.
constexpr double couplingLeadSeconds = 5;
}  // namespace

void TrackTransition::setUpcoming(const std::optional<FileURL>& url) {
  if (machine_.is<Preparing>()) return;
  if (url != machine_.upcoming().wanted()) {
    machine_.upcoming().want(url);
    if (coupled_ && !uncouple()) return;
  }
  prepareAndCouple();
}

void TrackTransition::prepareAndCouple() {
  if (!machine_.isPlaying() && !machine_.is<Stopped>()) return;
  const PreparedAudio* const current = machine_.track();
  machine_.upcoming().prepare(current != nullptr ? current->context->buffer().size() : 0);
  couplingTimer_.reset();
  // The unit had stopped by itself within the coupled track, which was detected only at its restart.
  if (hasCrossed_ && machine_.isPlaying()) return announce();
  if (coupled_ && machine_.isPlaying()) return machine_.completion().scheduleCrossingCheck();
  if (!canCouple() || machine_.upcoming().ready() == nullptr) return;
  if (const double left = secondsLeft(); left > couplingLeadSeconds) {
    couplingTimer_ = machine_.services().runLoop.scheduleTimer(durationFromSeconds(left - couplingLeadSeconds), false,
                                                               [this] { prepareAndCouple(); });
    return;
  }
  if (!machine_.output()->carries(*machine_.upcoming().ready())) return;
  machine_.upcoming().confirm([this] {
    if (!canCouple() || !machine_.output()->carries(*machine_.upcoming().ready())) return;
    couple();
    machine_.completion().scheduleCrossingCheck();
  });
}

double TrackTransition::secondsLeft() const {
  const AudioRenderContext& current = *machine_.output()->track();
  return static_cast<double>(current.totalFrames() - current.currentFrame()) / current.format().mSampleRate;
}

void TrackTransition::coupleAgain() {
  if (coupled_ || !machine_.output()->track() || !machine_.upcoming().isConfirmed()) return;
  if (machine_.output()->carries(*machine_.upcoming().ready()) && secondsLeft() <= couplingLeadSeconds) couple();
}

void TrackTransition::couple() {
  coupled_ = CoupledTrack{*machine_.upcoming().wanted(), machine_.upcoming().takeConfirmed()};
  coupled_->audio.context->seek(0);
  if (!coupled_->audio.context->isInMemory(couplingLeadSeconds)) {
    machine_.services().background([next = std::weak_ptr(coupled_->audio.context)] {
      if (const auto context = next.lock()) context->bringIntoMemory(couplingLeadSeconds);
    });
  }
  machine_.services().deliveries.expect(coupled_->audio);
  machine_.output()->sequence().couple(coupled_->audio.context);
}

bool TrackTransition::canCouple() const {
  return machine_.is<Playing>() && machine_.output()->isStarted() && !coupled_;
}

/// Another track is to follow: discards what was rendered of the coupled one. False after a failure, or if the device
/// had already played into it; that is then announced, and an observer has decided what plays now.
bool TrackTransition::uncouple() {
  if (machine_.output()->sequence().uncouple()) {
    giveBackCoupled();
    return true;
  }
  if (machine_.stopUnit() != noErr) {
    machine_.failRuntime("The output device could not continue playback.");
    return false;
  }
  const bool isAnnounced = hasCrossed_;
  if (isAnnounced) announce();
  if (!machine_.is<Playing>()) return false;
  return machine_.restartUnit("The output device could not continue playback.") && !isAnnounced;
}

void TrackTransition::giveBackCoupled() {
  if (!coupled_) return;
  coupled_->audio.context->seek(0);
  machine_.services().deliveries.release(coupled_->audio.context.get());
  machine_.upcoming().putBack(std::move(coupled_->audio));
  coupled_.reset();
}

void TrackTransition::runHasEnded(bool hasCrossed) {
  couplingTimer_.reset();
  hasCrossed_ = hasCrossed;
  if (!hasCrossed) giveBackCoupled();
}

void TrackTransition::takeBack() {
  hasCrossed_ = false;
  Output& output = *machine_.output();
  output.load(output.track());
  giveBackCoupled();
}

void TrackTransition::announce() {
  TrackSequence& sequence = machine_.output()->sequence();
  machine_.output()->takeDelivered();
  if (!std::exchange(hasCrossed_, false)) sequence.cross();
  machine_.countCrossing(sequence.lastCrossing().value_or(-1));
  CoupledTrack next = *std::exchange(coupled_, std::nullopt);
  machine_.upcoming().want(std::nullopt);
  adoptable_ = std::move(next.url);
  machine_.cross(std::move(next.audio));
  // Playback also ends if an observer rebuilt the output but played no track.
  const bool isUnnamed = machine_.track() != nullptr && !machine_.next().currentURL;
  if (std::exchange(adoptable_, std::nullopt) || isUnnamed) machine_.stop(AudioPathStatus::ready());
}

bool TrackTransition::adopt(const FileURL& url) {
  if (adoptable_ != url) return false;
  adoptable_.reset();
  machine_.adopt(url);
  return true;
}

void TrackTransition::reset() {
  couplingTimer_.reset();
  giveBackCoupled();
  hasCrossed_ = false;
  adoptable_.reset();
}

}  // namespace tolvane
