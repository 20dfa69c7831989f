#include "engine/BitPerfectAudioPlayer.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "engine/PlayerCore.h"

namespace tolvane {

namespace {

/// The frame that holds this moment, cut off. A reported position is a quotient, whose product with the rate may fall
/// short of the frame by a rounding error; the tolerance is in frames.
double frameAt(double seconds, double rate) {
  constexpr double tolerance = 1e-4;
  return std::floor(seconds * rate + tolerance);
}

}  // namespace

BitPerfectAudioPlayer::BitPerfectAudioPlayer(AudioHardware& hardware, AudioFileServices& files, RunLoop& runLoop,
                                             Log& log, Background background, Background lowPriority)
    : core_(
          std::make_unique<PlayerCore>(hardware, files, runLoop, log, std::move(background), std::move(lowPriority))) {}

BitPerfectAudioPlayer::~BitPerfectAudioPlayer() {
  core_->preparer.cancel();
  core_->upcoming.want(std::nullopt);
  core_->configuration.tearDown({});
}

const Published<bool>& BitPerfectAudioPlayer::isPlaying() const { return core_->isPlaying; }
const Published<bool>& BitPerfectAudioPlayer::isPaused() const { return core_->isPaused; }
const Published<bool>& BitPerfectAudioPlayer::isPreparing() const { return core_->isPreparing; }
const Published<bool>& BitPerfectAudioPlayer::startsPaused() const { return core_->startsPaused; }
double BitPerfectAudioPlayer::preparationProgress() const {
  return core_->state == PlaybackState::preparing ? std::max(core_->preparer.progress(), core_->upcoming.progress())
                                                  : 0;
}
const Published<std::optional<FileURL>>& BitPerfectAudioPlayer::currentURL() const { return core_->currentURL; }
const Published<double>& BitPerfectAudioPlayer::duration() const { return core_->duration; }
const Published<double>& BitPerfectAudioPlayer::sampleRate() const { return core_->sampleRate; }
const Published<AudioPathStatus>& BitPerfectAudioPlayer::audioPathStatus() const { return core_->audioPathStatus; }
const Published<ExclusiveAccessStatus>& BitPerfectAudioPlayer::exclusiveAccessStatus() const {
  return core_->exclusiveAccessStatus;
}
const Published<std::int64_t>& BitPerfectAudioPlayer::playbackCompletionCount() const {
  return core_->playbackCompletionCount;
}

Subscription BitPerfectAudioPlayer::onChange(const std::function<void()>& observer) const {
  const auto changed = [observer](const auto&) { observer(); };
  std::vector<Subscription> parts;
  parts.push_back(core_->isPlaying.subscribe(changed));
  parts.push_back(core_->isPaused.subscribe(changed));
  parts.push_back(core_->isPreparing.subscribe(changed));
  parts.push_back(core_->startsPaused.subscribe(changed));
  parts.push_back(core_->currentURL.subscribe(changed));
  parts.push_back(core_->duration.subscribe(changed));
  parts.push_back(core_->sampleRate.subscribe(changed));
  parts.push_back(core_->audioPathStatus.subscribe(changed));
  parts.push_back(core_->exclusiveAccessStatus.subscribe(changed));
  parts.push_back(core_->playbackCompletionCount.subscribe(changed));
  return Subscription::joined(std::move(parts));
}

void BitPerfectAudioPlayer::play(FileURL url, Started started, StartAt startAt) {
  if (core_->transition.adopt(url)) {
    if (started) started();
    return;
  }
  core_->preparer.cancel();
  core_->upcoming.cancelTaking();
  if (!core_->transition.isParked() && !core_->transition.parkOutput(false)) core_->configuration.tearDown({});
  core_->supervision.resetRecoveryState();
  core_->startsPaused.assign(false);
  core_->setPlaybackState(PlaybackState::preparing);
  core_->duration.assign(0);
  core_->sampleRate.assign(0);
  core_->currentURL.assign(url);
  core_->audioPathStatus.assign(AudioPathStatus::configuring());
  // What is kept open is not watched until the track is there.
  if (core_->transition.isParked() && core_->isExclusiveAccessEnabled)
    core_->exclusiveAccess.updateExclusiveAccessStatus(ExclusiveAccessStatus::checking());

  core_->started = std::move(started);
  core_->startAt = std::move(startAt);
  prepare(url);
}

void BitPerfectAudioPlayer::prepare(const FileURL& url) {
  const auto read = [this, url] {
    core_->preparer.prepare(url, [this](Result<PreparedAudio> prepared) { finishPreparation(std::move(prepared)); });
  };
  const bool isTaken = core_->upcoming.take(url, [this, read](std::optional<PreparedAudio> prepared) {
    prepared ? finishPreparation(*std::move(prepared)) : read();
  });
  if (isTaken) return;
  core_->upcoming.want(std::nullopt);
  read();
}

void BitPerfectAudioPlayer::finishPreparation(Result<PreparedAudio> prepared) {
  const auto result = prepared ? startOutput(*prepared) : std::unexpected(prepared.error());
  if (!result) {
    core_->configuration.tearDown({});
    core_->duration.assign(0);
    core_->sampleRate.assign(0);
    core_->audioPathStatus.assign(AudioPathStatus::failed(result.error().errorDescription()));
    core_->setPlaybackState(PlaybackState::stopped);
  }
  if (const auto started = std::exchange(core_->started, nullptr)) started();
}

Result<void> BitPerfectAudioPlayer::startOutput(const PreparedAudio& prepared) {
  AudioRenderContext& context = *prepared.context;
  core_->preparedAudio = prepared;
  if (const auto startAt = std::exchange(core_->startAt, nullptr)) {
    const double rate = context.format().mSampleRate;
    const double frame = frameAt(startAt(static_cast<double>(context.totalFrames()) / rate), rate);
    if (std::isfinite(frame)) context.seek(static_cast<std::int64_t>(frame));
  }
  const bool startsPaused = core_->startsPaused.value();
  auto configured = configureFor(prepared, !startsPaused);
  if (configured && startsPaused) core_->setPlaybackState(PlaybackState::paused);
  return configured;
}

Result<void> BitPerfectAudioPlayer::configureFor(const PreparedAudio& prepared, bool startPlayback) {
  if (core_->transition.canContinueWith(prepared) && core_->configuration.continueOutput(prepared, startPlayback))
    return {};
  // The device that is opened anew need not be brought to its former rate in between.
  std::optional<double> originalRate;
  if (core_->transition.isParked()) {
    const auto device = core_->device.resolveOutputDevice(core_->preferredDeviceID);
    const bool isSame = device && *device == core_->deviceID;
    if (isSame) originalRate = core_->originalDeviceSampleRate;
    core_->configuration.tearDown({.restoreSampleRate = !isSame, .discardPrepared = false});
  }
  return core_->configuration.configureOutput(prepared, startPlayback, originalRate);
}

void BitPerfectAudioPlayer::pause() {
  if (core_->state == PlaybackState::preparing) core_->startsPaused.assign(true);
  if (core_->state != PlaybackState::playing) return;
  // Between two attempts at a recovery there is no unit: the next one finds out what it is to do.
  if (!core_->audioUnit) return core_->setPlaybackState(PlaybackState::paused);
  core_->completion.cancel();
  core_->supervision.stopOutputHealthMonitor();
  if (core_->configuration.stopUnit() != noErr)
    return core_->configuration.failRuntime("The output device could not be paused.", false);
  if (core_->transition.hasCrossed()) core_->transition.announce();
  if (core_->state == PlaybackState::preparing) core_->startsPaused.assign(true);
  if (core_->state != PlaybackState::playing) return;  // the next track is heard, and was not wanted
  core_->completion.cancel();
  core_->setPlaybackState(PlaybackState::paused);
}

void BitPerfectAudioPlayer::resume() {
  core_->startsPaused.assign(false);
  if (!core_->audioUnit && core_->state == PlaybackState::paused) core_->setPlaybackState(PlaybackState::playing);
  if (!core_->audioUnit || !core_->renderContext) return;
  if (!core_->configuration.restartUnit("The output device could not resume playback.")) return;
  // Where the output came up paused, this is the first time that the device runs.
  core_->exclusiveAccess.refreshAudioPathStatus(core_->device.readHogMode(core_->deviceID));
  core_->supervision.startOutputHealthMonitor();
}

void BitPerfectAudioPlayer::seek(double seconds) {
  // Without a unit, while the output recovers, the track waits with its place.
  const auto context = core_->preparedAudio ? core_->preparedAudio->context : nullptr;
  if (!context || !(seconds >= 0) || seconds > core_->duration.value()) return;
  const bool wasPlaying = core_->state == PlaybackState::playing && core_->audioUnit;
  if (wasPlaying && core_->configuration.stopUnit() != noErr)
    return core_->configuration.failRuntime("The output device could not seek safely.", false);
  // The listener means the track that is shown.
  if (core_->transition.hasCrossed()) core_->transition.takeBack();
  const double frame = frameAt(seconds, context->format().mSampleRate);
  if (std::isfinite(frame)) context->seek(static_cast<std::int64_t>(frame));
  if (wasPlaying) (void)core_->configuration.restartUnit("The output device could not continue after seeking.");
}

void BitPerfectAudioPlayer::setUpcomingTrack(const std::optional<FileURL>& url) { core_->transition.setUpcoming(url); }

std::optional<double> BitPerfectAudioPlayer::position() const {
  const auto context = core_->preparedAudio ? core_->preparedAudio->context : nullptr;
  if (!context) return std::nullopt;
  const double rate = context->format().mSampleRate;
  if (core_->state != PlaybackState::playing || !core_->audioUnit)
    return static_cast<double>(context->currentFrame()) / rate;
  const auto heard = core_->configuration.framesHeard();
  return heard ? std::optional(static_cast<double>(core_->sequence.positionAfter(*heard)) / rate) : std::nullopt;
}

void BitPerfectAudioPlayer::noticeNextTrack() {
  const auto crossing = core_->transition.isCoupled() ? core_->sequence.crossing() : std::nullopt;
  const auto heard = crossing ? core_->configuration.framesHeard() : std::nullopt;
  if (heard && *heard >= *crossing) core_->transition.announce();
}

void BitPerfectAudioPlayer::stop() {
  core_->preparer.cancel();
  core_->upcoming.cancelTaking();
  core_->started = nullptr;
  core_->startAt = nullptr;
  core_->configuration.tearDown({});
  core_->supervision.resetRecoveryState();
  core_->setPlaybackState(PlaybackState::stopped);
  core_->forgetTrack();
  core_->audioPathStatus.assign(AudioPathStatus::ready());
}

void BitPerfectAudioPlayer::setOutputLevels(double volume, double balance) {
  const OutputLevels levels = OutputLevels{volume, balance}.sanitised();
  if (levels == core_->outputLevels) return;
  core_->outputLevels = levels;
  core_->outputLevelsState->store(levels);
  if (core_->deviceID != kAudioObjectUnknown)
    core_->exclusiveAccess.refreshAudioPathStatus(core_->device.readHogMode(core_->deviceID));
}

void BitPerfectAudioPlayer::setOutputDevice(AudioObjectID deviceID, Started started, const GoOnAt& goOnAt) {
  core_->preferredDeviceID = deviceID;
  if (core_->transition.isParked() && core_->deviceID != deviceID) core_->configuration.tearDown({});
  if (core_->state != PlaybackState::playing) return;
  // Only a unit that has stopped says to the frame what was heard; one that cannot stop is torn down by play().
  if (core_->audioUnit) {
    core_->completion.cancel();
    (void)core_->configuration.stopUnit();
    if (core_->transition.hasCrossed()) core_->transition.announce();
    if (core_->state != PlaybackState::playing) return;  // the next track is heard, and was not wanted
  }
  const auto url = core_->currentURL.value();
  if (!url) return;
  StartAt startAt;
  if (const auto& track = core_->preparedAudio; goOnAt && track) {
    const double heard = static_cast<double>(track->context->currentFrame()) / track->context->format().mSampleRate;
    startAt = [goOnAt, heard](double duration) { return goOnAt(duration, heard); };
  }
  play(*url, std::move(started), std::move(startAt));
}

std::optional<double> BitPerfectAudioPlayer::setExclusiveAccessEnabled(bool enabled) {
  return core_->exclusiveAccess.setExclusiveAccessEnabled(enabled);
}

OutputStatistics BitPerfectAudioPlayer::statistics() const {
  OutputStatistics statistics = core_->statistics;
  if (core_->audioUnit) statistics.underruns += core_->audioUnit->underrunCount();
  return statistics;
}

}  // namespace tolvane
