#include "engine/BitPerfectAudioPlayer.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "engine/EngineStateMachine.h"
#include "engine/FramePosition.h"

namespace tolvane {

BitPerfectAudioPlayer::BitPerfectAudioPlayer(AudioHardware& hardware, AudioFileServices& files, RunLoop& runLoop,
                                             Log& log, Background background, Background lowPriority)
    : machine_(std::make_unique<EngineStateMachine>(hardware, files, runLoop, log, std::move(background),
                                                    std::move(lowPriority))) {}

BitPerfectAudioPlayer::~BitPerfectAudioPlayer() {
  isEnding_ = true;
  machine_->preparer().cancel();
  machine_->upcoming().want(std::nullopt);
  machine_->stop(AudioPathStatus::ready());
}

const Published<bool>& BitPerfectAudioPlayer::isPlaying() const { return machine_->published().isPlaying; }
const Published<bool>& BitPerfectAudioPlayer::isPaused() const { return machine_->published().isPaused; }
const Published<bool>& BitPerfectAudioPlayer::isPreparing() const { return machine_->published().isPreparing; }
const Published<bool>& BitPerfectAudioPlayer::startsPaused() const { return machine_->published().startsPaused; }
const Published<std::optional<FileURL>>& BitPerfectAudioPlayer::currentURL() const {
  return machine_->published().currentURL;
}
const Published<double>& BitPerfectAudioPlayer::duration() const { return machine_->published().duration; }
const Published<double>& BitPerfectAudioPlayer::sampleRate() const { return machine_->published().sampleRate; }
const Published<AudioPathStatus>& BitPerfectAudioPlayer::audioPathStatus() const {
  return machine_->published().audioPathStatus;
}
const Published<ExclusiveAccessStatus>& BitPerfectAudioPlayer::exclusiveAccessStatus() const {
  return machine_->published().exclusiveAccessStatus;
}
const Published<std::int64_t>& BitPerfectAudioPlayer::playbackCompletionCount() const {
  return machine_->published().playbackCompletionCount;
}
Subscription BitPerfectAudioPlayer::onChange(const std::function<void()>& observer) const {
  return machine_->published().onChange(observer);
}

const std::optional<PreparationFailure>& BitPerfectAudioPlayer::preparationFailure() const {
  return machine_->preparationFailure();
}

double BitPerfectAudioPlayer::preparationProgress() const {
  return machine_->is<Preparing>() ? std::max(machine_->preparer().progress(), machine_->upcoming().progress()) : 0;
}

bool BitPerfectAudioPlayer::isPostponed(std::string_view operation, std::function<void()> call) {
  if (!machine_->published().isNotifying()) return false;
  machine_->services().logger.error("{} was called by an observer of a change, and is carried out after it", operation);
  if (isEnding_) return true;
  postponed_.push_back(std::move(call));
  if (postponedTimer_) return true;
  postponedTimer_ = machine_->services().runLoop.scheduleTimer({}, false, [this] {
    postponedTimer_.reset();
    for (const auto& next : std::exchange(postponed_, {})) next();
  });
  return true;
}

void BitPerfectAudioPlayer::play(FileURL url, Started started, StartAt startAt) {
  if (isPostponed("play", [this, url, started, startAt] { play(url, started, startAt); })) return;
  if (machine_->transition().adopt(url)) {
    if (started) started();
    return;
  }
  machine_->beginPreparation(url, {.started = std::move(started), .startAt = std::move(startAt)});
  prepare(url);
}

void BitPerfectAudioPlayer::prepare(const FileURL& url) {
  const auto read = [this, url] {
    machine_->preparer().prepare(url,
                                 [this](Preparation prepared) { machine_->finishPreparation(std::move(prepared)); });
  };
  const bool isTaken = machine_->upcoming().take(url, [this, read](std::optional<PreparedAudio> prepared) {
    prepared ? machine_->finishPreparation({.version = {}, .audio = *std::move(prepared)}) : read();
  });
  if (isTaken) return;
  machine_->upcoming().want(std::nullopt);
  read();
}

void BitPerfectAudioPlayer::pause() {
  if (isPostponed("pause", [this] { pause(); })) return;
  machine_->setStartsPaused(true);
  if (machine_->is<Recovering>()) return machine_->setReturnsToPlaying(false);
  if (!machine_->is<Playing>()) return;
  machine_->completion().cancel();
  machine_->supervision().stopOutputHealthMonitor();
  if (machine_->stopUnit() != noErr) return machine_->failRuntime("The output device could not be paused.");
  if (machine_->transition().hasCrossed()) machine_->transition().announce();
  machine_->setStartsPaused(true);
  if (!machine_->is<Playing>()) return;  // the device had played into the next track, and no observer wanted it
  machine_->completion().cancel();
  machine_->pause();
  machine_->supervision().reopenIfDue();
}

void BitPerfectAudioPlayer::resume() {
  if (isPostponed("resume", [this] { resume(); })) return;
  machine_->setStartsPaused(false);
  if (machine_->is<Recovering>()) return machine_->setReturnsToPlaying(true);
  if (!machine_->is<Playing>() && !machine_->is<Paused>()) return;
  if (!machine_->restartUnit("The output device could not resume playback.")) return;
  if (!machine_->is<Playing>()) return;  // the unit had stopped within the next track, and no observer wanted it
  // After an output was opened paused, the device runs here for the first time.
  machine_->judgePath(machine_->services().device.readHogMode(machine_->output()->deviceID()));
  machine_->publish();
  machine_->supervision().startOutputHealthMonitor();
}

void BitPerfectAudioPlayer::seek(double seconds) {
  if (isPostponed("seek", [this, seconds] { seek(seconds); })) return;
  // While the output recovers there is no unit, but the track keeps its position.
  const auto context = machine_->track() != nullptr ? machine_->track()->context : nullptr;
  if (!context || !(seconds >= 0) || seconds > machine_->next().duration) return;
  const bool wasPlaying = machine_->is<Playing>();
  if (wasPlaying && machine_->stopUnit() != noErr)
    return machine_->failRuntime("The output device could not seek safely.");
  // The user seeks in the track that is shown, not in one that has just begun.
  if (machine_->transition().hasCrossed()) machine_->transition().takeBack();
  const double frame = frameAt(seconds, context->format().mSampleRate);
  if (std::isfinite(frame)) context->seek(static_cast<std::int64_t>(frame));
  if (wasPlaying) (void)machine_->restartUnit("The output device could not continue after seeking.");
}

void BitPerfectAudioPlayer::setUpcomingTrack(const std::optional<FileURL>& url) {
  if (isPostponed("setUpcomingTrack", [this, url] { setUpcomingTrack(url); })) return;
  machine_->transition().setUpcoming(url);
}

std::optional<double> BitPerfectAudioPlayer::position() const {
  const PreparedAudio* const track = machine_->track();
  if (track == nullptr) return std::nullopt;
  const double rate = track->context->format().mSampleRate;
  // Stopping a unit moved the track back to the first frame that was not heard.
  const bool isUnderWay = machine_->is<Playing>() && machine_->output()->isStarted();
  if (!isUnderWay) return static_cast<double>(track->context->currentFrame()) / rate;
  const Output& output = *machine_->output();
  const auto heard = output.framesHeard();
  return heard ? std::optional(static_cast<double>(output.sequence().positionAfter(*heard)) / rate) : std::nullopt;
}

void BitPerfectAudioPlayer::updateCurrentTrack() {
  if (isPostponed("updateCurrentTrack", [this] { updateCurrentTrack(); }) || !machine_->transition().isCoupled())
    return;
  const Output& output = *machine_->output();
  const auto crossing = output.sequence().crossing();
  const auto heard = crossing ? output.framesHeard() : std::nullopt;
  if (heard && *heard >= *crossing) machine_->transition().announce();
}

void BitPerfectAudioPlayer::stop() {
  if (isPostponed("stop", [this] { stop(); })) return;
  machine_->preparer().cancel();
  machine_->upcoming().cancelTaking();
  machine_->stop(AudioPathStatus::ready());
  machine_->supervision().resetRecoveryState();
}

void BitPerfectAudioPlayer::setOutputLevels(double volume, double balance) {
  if (isPostponed("setOutputLevels", [this, volume, balance] { setOutputLevels(volume, balance); })) return;
  const OutputLevels levels = OutputLevels{volume, balance}.sanitised();
  if (levels == machine_->choices().outputLevels) return;
  machine_->setOutputLevels(levels);
  if (const Output* const output = machine_->output()) {
    machine_->judgePath(machine_->services().device.readHogMode(output->deviceID()));
    machine_->publish();
  }
}

void BitPerfectAudioPlayer::setOutputDevice(AudioObjectID deviceID, Started started, const GoOnAt& goOnAt) {
  if (isPostponed("setOutputDevice", [=, this] { setOutputDevice(deviceID, started, goOnAt); })) return;
  machine_->setPreferredDevice(deviceID);
  if (machine_->isOutputKept() && machine_->output()->deviceID() != deviceID) {
    machine_->closeKeptOutput();
    machine_->publish();
  }
  if (!machine_->isPlaying()) return;
  // Only a stopped unit reports the exact frame that was heard; one that cannot stop is torn down by play().
  if (machine_->is<Playing>()) {
    machine_->completion().cancel();
    (void)machine_->stopUnit();
    if (machine_->transition().hasCrossed()) machine_->transition().announce();
    if (!machine_->is<Playing>()) return;  // the device had played into the next track, and no observer wanted it
  }
  const auto url = machine_->next().currentURL;
  if (!url) return;
  StartAt startAt;
  if (const PreparedAudio* const track = machine_->track(); goOnAt && track != nullptr) {
    const double heard = static_cast<double>(track->context->currentFrame()) / track->context->format().mSampleRate;
    startAt = [goOnAt, heard](double duration) { return goOnAt(duration, heard); };
  }
  play(*url, std::move(started), std::move(startAt));
}

std::optional<double> BitPerfectAudioPlayer::setExclusiveAccessEnabled(bool enabled) {
  if (isPostponed("setExclusiveAccessEnabled", [this, enabled] { (void)setExclusiveAccessEnabled(enabled); }))
    return {};
  return machine_->exclusiveAccess().setExclusiveAccessEnabled(enabled);
}

std::optional<DeliveryReport> BitPerfectAudioPlayer::deliveryReport() const {
  const PreparedAudio* const track = machine_->track();
  return track != nullptr ? machine_->services().deliveries.report(track->context.get()) : std::nullopt;
}

void BitPerfectAudioPlayer::setDeliveryFinished(std::function<void(const DeliveryReport&)> finished) const {
  machine_->services().deliveries.setFinished(std::move(finished));
}

const Published<std::shared_ptr<const SignalPath>>& BitPerfectAudioPlayer::signalPath() const {
  return machine_->published().signalPath;
}

PathDiagnostics BitPerfectAudioPlayer::diagnostics() const {
  const auto& published = machine_->published();
  const PathHistory& history = machine_->history();
  PathDiagnostics found;
  found.at = machine_->services().runLoop.now();
  found.status = published.audioPathStatus.value();
  found.exclusiveAccess = published.exclusiveAccessStatus.value();
  found.path = published.signalPath.value();
  found.url = published.currentURL.value();
  found.changedAt = history.changedAt();
  found.history = {history.events().begin(), history.events().end()};
  found.statistics = machine_->statistics();
  found.framesHandedOver = machine_->services().deliveries.framesHandedOver();
  found.delivery = deliveryReport();
  found.lastDelivery = machine_->services().deliveries.lastFinished();
  const Output* const output = machine_->outputWithUnit();
  const PreparedAudio* const track = machine_->track();
  if (output == nullptr || track == nullptr) return found;
  found.rate = track->context->format().mSampleRate;
  found.bufferFrames = output->bufferFrames();
  found.framesAhead = output->framesAhead();
  return found;
}

OutputStatistics BitPerfectAudioPlayer::statistics() const { return machine_->statistics(); }

}  // namespace tolvane
