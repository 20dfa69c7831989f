#include "engine/EngineStateMachine.h"

#include <cmath>
#include <utility>

#include "engine/FramePosition.h"
#include "engine/PathJudgement.h"
#include "engine/StreamFormats.h"

namespace tolvane {
namespace {

/// Time limit, so that a track on a share that does not answer does not keep the device from other programs.
constexpr auto longestKeeping = std::chrono::seconds(10);

}  // namespace

EngineStateMachine::EngineStateMachine(AudioHardware& hardware, AudioFileServices& files, RunLoop& runLoop, Log& log,
                                       Background background, Background lowPriority)
    : services_(hardware, runLoop, log, std::move(background)),
      preparer_(TrackPreparation(files, services_.outputLevels), runLoop, services_.background),
      upcoming_(TrackPreparation(files, services_.outputLevels), runLoop, std::move(lowPriority),
                [this] { transition_.prepareAndCouple(); }) {}

// Queries.

bool EngineStateMachine::isPlayingOrPaused() const {
  const TransportState shown = transportState();
  return shown == TransportState::playing || shown == TransportState::paused;
}

Output* EngineStateMachine::outputWithUnit() const {
  Output* const open = output();
  return open != nullptr && open->unit() != nullptr ? open : nullptr;
}

bool EngineStateMachine::isOutputKept() const { return (is<Stopped>() || is<Preparing>()) && output() != nullptr; }

std::unique_ptr<Output> EngineStateMachine::takeOutput() {
  auto* const slot = outputSlotOf(state_);
  return slot != nullptr ? std::move(*slot) : nullptr;
}

// Starting a track.

void EngineStateMachine::beginPreparation(const FileURL& url, TrackStart start) {
  preparer_.cancel();
  upcoming_.cancelTaking();
  auto kept = isOutputKept() ? takeOutput() : keepOutput(false);
  supervision_.resetRecoveryState();
  preparationFailure_.reset();
  const bool isKept = kept != nullptr;
  state_ = Preparing{.start = std::move(start), .kept = std::move(kept)};
  next_.duration = 0;
  next_.sampleRate = 0;
  next_.currentURL = url;
  next_.audioPathStatus = AudioPathStatus::configuring();
  // A kept output is not monitored until its next track is ready.
  if (isKept && choices_.isExclusiveAccessEnabled) setExclusiveAccessStatus(ExclusiveAccessStatus::checking());
  publish();
}

void EngineStateMachine::setStartsPaused(bool startsPaused) {
  auto* const preparing = std::get_if<Preparing>(&state_);
  if (preparing == nullptr) return;
  preparing->start.isPaused = startsPaused;
  publish();
}

void EngineStateMachine::finishPreparation(Preparation prepared) {
  TrackStart start = std::move(std::get<Preparing>(state_).start);
  const auto& audio = prepared.audio;
  if (!audio) preparationFailure_ = {*next_.currentURL, audio.error(), prepared.version};
  const auto result = audio ? startTrack(*audio, start) : std::unexpected(audio.error());
  if (!result) {
    tearDown({});
    next_.duration = 0;
    next_.sampleRate = 0;
    next_.audioPathStatus = AudioPathStatus::failed(result.error());
    state_ = Stopped{};
    publish();
  }
  if (start.started) start.started();
}

Result<void> EngineStateMachine::startTrack(const PreparedAudio& track, TrackStart& start) {
  AudioRenderContext& context = *track.context;
  if (start.startAt) {
    const double rate = context.format().mSampleRate;
    const double frame = frameAt(start.startAt(static_cast<double>(context.totalFrames()) / rate), rate);
    if (std::isfinite(frame)) context.seek(static_cast<std::int64_t>(frame));
  }
  const bool startPlayback = !start.isPaused;
  const bool continues = isOutputKept() && output()->canContinueWith(track, choices_);
  keepingLimit_.reset();
  state_ = Configuring{.track = track, .output = takeOutput(), .startsPaused = start.isPaused};
  setLength(context);
  publish();  // the device may block
  if (continues && continueOutput(startPlayback)) return {};
  // If the same device is reopened, its former rate need not be restored in between.
  std::optional<FoundRate> foundRate;
  if (const Output* kept = output()) {
    const auto device = services_.device.resolveOutputDevice(choices_.preferredDeviceID);
    const bool isSame = device && *device == kept->deviceID();
    if (isSame) foundRate = kept->foundRate();
    tearDown({.restoreSampleRate = !isSame, .discardPrepared = false});
  }
  return configureOutput(startPlayback, foundRate);
}

Result<void> EngineStateMachine::continueOutput(bool startPlayback) {
  const Output& open = *output();
  if (open.isStarted())
    if (const OSStatus status = stopUnit(); status != noErr) return failure("Starting the output device", status);
  const AudioObjectID deviceID = open.deviceID();
  if (auto result = bringUp(services_.device.readHogMode(deviceID), startPlayback); !result) return result;
  services_.logger.standard("Went on with output device {}, source {:f} Hz", deviceID,
                            track()->context->format().mSampleRate);
  return {};
}

Result<void> EngineStateMachine::configureOutput(bool startPlayback, std::optional<FoundRate> foundRate) {
  const auto resolved = services_.device.resolveOutputDevice(choices_.preferredDeviceID);
  if (!resolved) return std::unexpected(resolved.error());
  auto& configuring = std::get<Configuring>(state_);
  configuring.output = std::make_unique<Output>(services_, *resolved);
  const bool isExclusive = choices_.isExclusiveAccessEnabled;
  setExclusiveAccessStatus(isExclusive ? ExclusiveAccessStatus::checking() : ExclusiveAccessStatus::off());
  publish();

  const auto opened = configuring.output->open(configuring.track, isExclusive, foundRate);
  if (!opened) return std::unexpected(services_.device.withOwner(opened.error(), *resolved));
  if (const auto result = bringUp(opened->hogMode, startPlayback); !result)
    return std::unexpected(services_.device.withOwner(result.error(), *resolved));
  const SampleRateReport& rates = opened->rates;
  services_.logger.standard("Configured output device {}, transport {}, source {:f} Hz, device {:f} Hz", *resolved,
                            opened->transportType, rates.requestedRate,
                            rates.actualRate > 0 ? rates.actualRate : rates.nominalRate);
  return {};
}

Result<void> EngineStateMachine::bringUp(const HogModeReport& hogReport, bool startPlayback) {
  constexpr std::uint32_t unknownBufferFrames = 512;
  auto& configuring = std::get<Configuring>(state_);
  Output& open = *configuring.output;
  const auto context = configuring.track.context;
  open.load(context);
  services_.deliveries.expect(configuring.track);
  setLength(*context);
  open.setBufferFrames(services_.device.readDeviceUInt32(open.deviceID(), kAudioDevicePropertyBufferFrameSize)
                           .value_or(unknownBufferFrames));
  if (startPlayback)
    if (const OSStatus status = startUnit(); status != noErr) return failure("Starting the output device", status);

  Configuring configured = std::move(configuring);
  if (startPlayback)
    state_ = Playing{.track = std::move(configured.track), .output = std::move(configured.output)};
  else
    state_ = Paused{.track = std::move(configured.track), .output = std::move(configured.output)};
  exclusiveAccess_.applyHogModeReport(hogReport, false);
  judgePath(hogReport);
  supervision_.installOutputPropertyObservers(open.deviceID());
  exclusiveAccess_.startExclusiveAccessMonitorIfNeeded();
  if (startPlayback) {
    completion_.scheduleCompletionTimer(context->totalFrames() - context->currentFrame());
    supervision_.startOutputHealthMonitor();
  }
  publish();
  if (startPlayback) transition_.prepareAndCouple();
  return {};
}

// Within a track.

void EngineStateMachine::pause() {
  auto playing = std::get<Playing>(std::move(state_));
  state_ = Paused{.track = std::move(playing.track), .output = std::move(playing.output)};
  publish();
}

void EngineStateMachine::setReturnsToPlaying(bool returnsToPlaying) {
  std::get<Recovering>(state_).returnsToPlaying = returnsToPlaying;
  publish();
}

bool EngineStateMachine::restartUnit(const BilingualText& failureMessage) {
  if (startUnit() != noErr) {
    failRuntime(failureMessage);
    return false;
  }
  if (auto* const paused = std::get_if<Paused>(&state_)) {
    Paused resumed = std::move(*paused);
    state_ = Playing{.track = std::move(resumed.track), .output = std::move(resumed.output)};
  }
  const AudioRenderContext& context = *track()->context;
  completion_.scheduleCompletionTimer(context.totalFrames() - context.currentFrame());
  publish();
  transition_.prepareAndCouple();
  return true;
}

OSStatus EngineStateMachine::startUnit() {
  Output& open = *output();
  // A unit that stopped by itself begins a new run; first the track moves back to the frames that were not heard.
  if (open.hasStoppedByItself()) (void)stopUnit();
  if (!open.isStarted()) {
    open.beginRun();
    transition_.coupleAgain();
  }
  return open.start();
}

OSStatus EngineStateMachine::stopUnit() {
  const Output::StopResult result = output()->stop();
  if (result.hasCrossed) transition_.runHasEnded(*result.hasCrossed);
  return result.status;
}

// Crossing into the next track.

void EngineStateMachine::cross(PreparedAudio next) {
  completion_.cancel();
  output()->setTrack(next.context);
  PreparedAudio& loaded = *loadedTrack();
  discardTrack(loaded);
  loaded = std::move(next);
  forgetTrack();
  ++next_.playbackCompletionCount;
  publish();
}

void EngineStateMachine::adopt(const FileURL& url) {
  const AudioRenderContext& context = *track()->context;
  next_.currentURL = url;
  setLength(context);
  judgePath(services_.device.readHogMode(output()->deviceID()));
  completion_.scheduleCompletionTimer(context.totalFrames() - context.currentFrame());
  publish();
}

std::unique_ptr<Output> EngineStateMachine::keepOutput(bool unitAlreadyStopped) {
  Output* const open = outputWithUnit();
  bool isKept = open != nullptr && isPlayingOrPaused();
  if (isKept) {
    stopWatching();
    supervision_.cancelPendingRecovery();
    const bool isRunning = isPlaying();
    if (!unitAlreadyStopped && isRunning) isKept = stopUnit() == noErr;
    if (isKept) {
      if (transition_.hasCrossed()) transition_.takeBack();
      services_.deliveries.release(track()->context.get());
      open->loadSilence();
      isKept = !isRunning || startUnit() == noErr;
    }
  }
  transition_.endAdoption();
  if (!isKept) {
    tearDown({.unitAlreadyStopped = unitAlreadyStopped});
    return nullptr;
  }
  keepingLimit_ = services_.runLoop.scheduleTimer(longestKeeping, false, [this] {
    if (!isOutputKept()) return;
    closeKeptOutput();
    publish();
  });
  return takeOutput();  // the caller replaces the state and drops its track: the next one may need the memory
}

void EngineStateMachine::complete(bool keepsOutput) {
  std::unique_ptr<Output> kept;
  if (keepsOutput)
    kept = keepOutput(true);
  else
    tearDown({.unitAlreadyStopped = true});
  state_ = Stopped{.kept = std::move(kept)};
  forgetTrack();
  next_.audioPathStatus = AudioPathStatus::ready();
  // Published last: an observer may start the next track from this notification.
  ++next_.playbackCompletionCount;
  publish();
  if (!is<Stopped>() || !isOutputKept()) return;
  closeKeptOutput();
  publish();
}

// Ending a track.

void EngineStateMachine::stop(AudioPathStatus status, const TearDownOptions& options) {
  tearDown(options);
  state_ = Stopped{};
  forgetTrack();
  next_.audioPathStatus = std::move(status);
  publish();
}

void EngineStateMachine::failRuntime(const AudioPlayerError& error) {
  upcoming_.want(std::nullopt);
  stop(AudioPathStatus::failed(error));
}

Result<std::optional<std::int64_t>> EngineStateMachine::rebuildOutput(const TearDownOptions& options) {
  if (transition_.hasCrossed()) transition_.announce();
  if (track() == nullptr || !isPlayingOrPaused()) return std::nullopt;
  const PreparedAudio prepared = *track();
  const TransportState shown = transportState();
  const std::int64_t frame = prepared.context->currentFrame();
  auto foundRate = foundRateOf(state_);
  tearDown(options);
  prepared.context->seek(frame);
  next_.audioPathStatus = AudioPathStatus::configuring();
  state_ = Configuring{.track = prepared, .output = nullptr, .shown = shown, .foundRate = foundRate};
  const auto configured = configureOutput(shown == TransportState::playing, std::move(foundRate));
  if (!configured) return std::unexpected(configured.error());
  return frame;
}

void EngineStateMachine::waitForNextAttempt() {
  auto foundRate = foundRateOf(state_);
  tearDown({.discardPrepared = false, .cancelPendingRecovery = false});
  Configuring failed = std::get<Configuring>(std::move(state_));
  state_ = Recovering{.track = std::move(failed.track),
                      .returnsToPlaying = failed.shown == TransportState::playing,
                      .foundRate = std::move(foundRate)};
  publish();
}

void EngineStateMachine::closeKeptOutput() { tearDown({}); }

void EngineStateMachine::tearDown(const TearDownOptions& options) {
  keepingLimit_.reset();
  stopWatching();
  if (options.cancelPendingRecovery) supervision_.cancelPendingRecovery();
  if (Output* const open = outputWithUnit()) {
    if (!options.unitAlreadyStopped) stopUnit();
    statistics_.underruns += open->unit()->underrunCount();
  }
  const auto closing = takeOutput();
  if (closing) closing->closeUnit();
  transition_.reset();
  if (PreparedAudio* const loaded = loadedTrack(); loaded != nullptr && options.discardPrepared) {
    discardTrack(*loaded);
    state_ = Stopped{};
  }
  if (closing) closing->giveBack(options.restoreSampleRate);
  setExclusiveAccessStatus(choices_.isExclusiveAccessEnabled ? ExclusiveAccessStatus::requested()
                                                             : ExclusiveAccessStatus::off());
}

void EngineStateMachine::stopWatching() {
  exclusiveAccess_.stopExclusiveAccessMonitor();
  supervision_.removeOutputPropertyObservers();
  supervision_.stopOutputHealthMonitor();
  completion_.cancel();
}

PreparedAudio* EngineStateMachine::loadedTrack() { return const_cast<PreparedAudio*>(track()); }

void EngineStateMachine::discardTrack(PreparedAudio& track) {
  services_.deliveries.release(track.context.get());
  services_.background([context = std::move(track.context)]() mutable { context.reset(); });
}

void EngineStateMachine::setLength(const AudioRenderContext& track) {
  next_.sampleRate = track.format().mSampleRate;
  next_.duration = static_cast<double>(track.totalFrames()) / next_.sampleRate;
}

void EngineStateMachine::forgetTrack() {
  next_.currentURL.reset();
  next_.duration = 0;
  next_.sampleRate = 0;
}

// Published values.

void EngineStateMachine::setExclusiveAccessStatus(ExclusiveAccessStatus status) {
  if (status == next_.exclusiveAccessStatus) return;
  next_.exclusiveAccessStatus = std::move(status);
  services_.logger.standard("Exclusive Access state changed to {}", kindName(next_.exclusiveAccessStatus.kind));
}

void EngineStateMachine::judgePath(const HogModeReport& hogReport) {
  const Output* const open = outputWithUnit();
  if (track() == nullptr || open == nullptr) return;
  PathJudgement judgement = tolvane::judgePath(services_, *open, *track(), hogReport, choices_);
  next_.audioPathStatus = std::move(judgement.status);
  // Keeps the same object while the value is equal: consumers compare and share it by address.
  if (!next_.signalPath || *next_.signalPath != judgement.path)
    next_.signalPath = std::make_shared<const SignalPath>(std::move(judgement.path));
}

void EngineStateMachine::publish() {
  services_.deliveries.checkRest();
  const TransportState shown = transportState();
  next_.isPlaying = shown == TransportState::playing;
  next_.isPaused = shown == TransportState::paused;
  next_.isPreparing = shown == TransportState::preparing;
  const auto* const preparing = std::get_if<Preparing>(&state_);
  const auto* const configuring = std::get_if<Configuring>(&state_);
  next_.startsPaused = (preparing != nullptr && preparing->start.isPaused) ||
                       (configuring != nullptr && next_.isPreparing && configuring->startsPaused);
  if (!next_.audioPathStatus.isOfAPath()) next_.signalPath.reset();
  logChanges(history_.note(services_.runLoop.now(), next_.audioPathStatus, next_.signalPath.get()));
  published_.publish(next_);
}

void EngineStateMachine::logChanges(const std::vector<PathEvent>& events) {
  for (const PathEvent& event : events) services_.logger.standard("{}: {}", eventTitle(event.kind), event.text);
}

void EngineStateMachine::countRecovery(BilingualText account) {
  ++statistics_.recoveries;
  logChanges({history_.noteRecovery(services_.runLoop.now(), std::move(account))});
}

void EngineStateMachine::setOutputLevels(const OutputLevels& levels) {
  choices_.outputLevels = levels;
  services_.deliveries.setLevelsAreNeutral(levels.isNeutral());
  services_.outputLevels->store(levels);
}

OutputStatistics EngineStateMachine::statistics() const {
  OutputStatistics statistics = statistics_;
  if (const Output* const open = outputWithUnit()) statistics.underruns += open->unit()->underrunCount();
  return statistics;
}

void EngineStateMachine::countCrossing(std::int64_t frame) {
  ++statistics_.crossings;
  statistics_.lastCrossingFrame = frame;
}

}  // namespace tolvane
