#include "engine/BitPerfectAudioPlayer.h"

#include <cmath>
#include <utility>
#include <vector>

#include "engine/PlayerCore.h"

namespace tolvane {

BitPerfectAudioPlayer::BitPerfectAudioPlayer(AudioHardware& hardware, AudioFileServices& files, RunLoop& runLoop,
                                             Log& log, Background background)
    : core_(std::make_unique<PlayerCore>(hardware, files, runLoop, log, std::move(background))) {}

BitPerfectAudioPlayer::~BitPerfectAudioPlayer() {
  core_->preparer.cancel();
  core_->configuration.tearDown({});
}

const Published<bool>& BitPerfectAudioPlayer::isPlaying() const { return core_->isPlaying; }
const Published<bool>& BitPerfectAudioPlayer::isPaused() const { return core_->isPaused; }
const Published<bool>& BitPerfectAudioPlayer::isPreparing() const { return core_->isPreparing; }
const Published<bool>& BitPerfectAudioPlayer::startsPaused() const { return core_->startsPaused; }
double BitPerfectAudioPlayer::preparationProgress() const { return core_->preparer.progress(); }
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

void BitPerfectAudioPlayer::play(FileURL url, Started started) {
  core_->preparer.cancel();
  core_->configuration.tearDown({});
  core_->supervision.resetRecoveryState();
  core_->startsPaused.assign(false);
  core_->setPlaybackState(PlaybackState::preparing);
  core_->duration.assign(0);
  core_->sampleRate.assign(0);
  core_->currentURL.assign(url);
  core_->audioPathStatus.assign(AudioPathStatus::configuring());

  core_->started = std::move(started);
  core_->preparer.prepare(url, [this](Result<PreparedAudio> prepared) { finishPreparation(std::move(prepared)); });
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
  core_->preparedAudio = prepared;
  const bool startsPaused = core_->startsPaused.value();
  auto configured = core_->configuration.configureOutput(prepared, !startsPaused);
  if (configured && startsPaused) core_->setPlaybackState(PlaybackState::paused);
  return configured;
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
  core_->setPlaybackState(PlaybackState::paused);
}

void BitPerfectAudioPlayer::resume() {
  core_->startsPaused.assign(false);
  if (!core_->audioUnit && core_->state == PlaybackState::paused) core_->setPlaybackState(PlaybackState::playing);
  if (!core_->audioUnit || !core_->renderContext) return;
  if (!restartUnit("The output device could not resume playback.")) return;
  core_->supervision.startOutputHealthMonitor();
}

void BitPerfectAudioPlayer::seek(double seconds) {
  // Without a unit, while the output recovers, the track waits with its place.
  const auto context = core_->preparedAudio ? core_->preparedAudio->context : nullptr;
  if (!context || !(seconds >= 0) || seconds > core_->duration.value()) return;
  const bool wasPlaying = core_->state == PlaybackState::playing && core_->audioUnit;
  if (wasPlaying && core_->configuration.stopUnit() != noErr)
    return core_->configuration.failRuntime("The output device could not seek safely.", false);
  const double frame = seconds * context->format().mSampleRate;
  if (std::isfinite(frame)) context->seek(static_cast<std::int64_t>(frame));
  if (wasPlaying) (void)restartUnit("The output device could not continue after seeking.");
}

bool BitPerfectAudioPlayer::restartUnit(std::string_view failureMessage) {
  if (core_->configuration.startUnit() != noErr) {
    core_->configuration.failRuntime(std::string(failureMessage), false);
    return false;
  }
  core_->setPlaybackState(PlaybackState::playing);
  core_->completion.scheduleCompletionTimer(core_->renderContext->totalFrames() - core_->renderContext->currentFrame());
  return true;
}

void BitPerfectAudioPlayer::stop() {
  core_->preparer.cancel();
  core_->started = nullptr;
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

void BitPerfectAudioPlayer::setOutputDevice(AudioObjectID deviceID, Started started) {
  core_->preferredDeviceID = deviceID;
  if (core_->state != PlaybackState::playing) return;
  if (const auto url = core_->currentURL.value()) play(*url, std::move(started));
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
