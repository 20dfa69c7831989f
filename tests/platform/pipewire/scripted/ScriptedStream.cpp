#include "tests/platform/pipewire/scripted/ScriptedStream.h"

#include <algorithm>
#include <utility>

#include "tests/platform/pipewire/scripted/ScriptedServer.h"

namespace tolvane::test {

ScriptedStream::ScriptedStream(ScriptedServer& server, std::uint32_t node, Setup setup,
                               std::unique_ptr<RenderPipeline> pipeline, std::function<void()> changed)
    : server_(server),
      node_(node),
      setup_(std::move(setup)),
      pipeline_(std::move(pipeline)),
      changed_(std::move(changed)),
      alarm_(server.runLoop().makeHardwareAlarm([this] { pull(); })),
      buffer_(std::size_t{quantumFrames} * setup_.channels * sizeof(float)) {}

ScriptedStream::~ScriptedStream() {
  stop();
  server_.remove(*this);
}

OSStatus ScriptedStream::open() {
  if (!server_.isConnected()) return kAudioHardwareNotRunningError;
  if (const OSStatus fault = server_.take(ServerStage::openStream); fault != noErr) return fault;
  if (server_.sinkOf(*this) == nullptr) return kAudioHardwareBadDeviceError;
  server_.add(*this);
  return noErr;
}

OSStatus ScriptedStream::start(const AURenderCallback& callback) {
  if (isLost_) return lostStatus_;
  if (const OSStatus fault = server_.take(ServerStage::startStream); fault != noErr) return fault;
  server_.runLoop().sleepFor(server_.startDelay);
  server_.settle();
  if (const OSStatus trouble = troubleStatus(); trouble != noErr) return trouble;
  if (!pipeline_->reset(callback)) return kAudioHardwareUnspecifiedError;
  volume_ = 1;
  isMuted_ = false;
  server_.play(*this);
  if (setup_.deliveries)
    setup_.deliveries->begin(DeliveryRecord::Form{float32PCM(setup_.rate, setup_.channels), setup_.layout},
                             4 * quantumFrames);
  base_ += std::exchange(framesPlayed_, 0);
  rendered_ = 0;
  startedAt_ = server_.runLoop().now();
  isRunning_ = everStarted_ = true;
  pull();
  return noErr;
}

/// Why the sink does not take frames.
OSStatus ScriptedStream::troubleStatus() const {
  const PipeWireSink* sink = server_.sinkOf(*this);
  if (isLost_ || sink == nullptr) return kAudioHardwareBadDeviceError;
  if (sink->error.find("busy") != std::string::npos) return kAudioDevicePermissionsError;
  const bool isUsable = state_ == State::connected && sink->state != PipeWireSink::State::error;
  return isUsable ? noErr : kAudioHardwareNotRunningError;
}

void ScriptedStream::setAlarm() {
  alarm_->set(startedAt_ + durationFromSeconds(static_cast<double>(rendered_) / setup_.rate));
}

/// The hardware plays nothing of the stream meanwhile.
void ScriptedStream::skipCycle() {
  ++underruns_;
  --dryCycles_;
  startedAt_ += durationFromSeconds(static_cast<double>(quantumFrames) / setup_.rate);
  setAlarm();
}

void ScriptedStream::stall(bool isStalled) {
  isStalled_ = isStalled;
  alarm_->clear();
  if (isAsked()) setAlarm();
}

void ScriptedStream::setVolume(float volume, bool isMuted) {
  volume_ = volume;
  isMuted_ = isMuted;
  changed_();
}

void ScriptedStream::setState(State state) {
  state_ = state;
  if (!isAsked()) alarm_->clear();
  changed_();
}

void ScriptedStream::pull() {
  if (dryCycles_ > 0) return skipCycle();
  const OSStatus status = pipeline_->render(buffer_.data(), quantumFrames);
  if (status != noErr) lastError_ = status;
  server_.hear(buffer_);
  if (setup_.deliveries) {
    setup_.deliveries->put(rendered_, buffer_.data(), quantumFrames);
    setup_.deliveries->setPlayed(rendered_);
  }
  rendered_ += quantumFrames;
  ++cycles_;
  setAlarm();
}

std::int64_t ScriptedStream::heard() const {
  const double seconds = secondsFromDuration(server_.runLoop().now() - startedAt_);
  return std::min(rendered_, static_cast<std::int64_t>(seconds * setup_.rate));
}

void ScriptedStream::stop() {
  if (!isRunning_) return;
  alarm_->clear();
  isRunning_ = false;
  framesPlayed_ = rendered_;  // it is in the sink's hands
  if (setup_.deliveries) setup_.deliveries->end(framesPlayed_);
  server_.rest(*this);
}

void ScriptedStream::markLost(OSStatus status) {
  if (isLost_) return;
  isLost_ = true;
  lostStatus_ = status;
  if (!isRunning_) return;
  lastError_ = status;
  alarm_->clear();
  isRunning_ = false;
  framesPlayed_ = heard();
  if (setup_.deliveries) setup_.deliveries->end(framesPlayed_);
}

std::optional<std::int64_t> ScriptedStream::sampleTime() const {
  if (!everStarted_) return std::nullopt;
  return base_ + (isRunning_ ? heard() : framesPlayed_);
}

RunLoop::Duration ScriptedStream::delay() const {
  const auto end = startedAt_ + durationFromSeconds(static_cast<double>(rendered_) / setup_.rate);
  return std::max(end - server_.runLoop().now(), RunLoop::Duration::zero());
}

PipeWireStreamFacts ScriptedStream::facts() const {
  PipeWireStreamFacts facts;
  facts.node = node_;
  facts.clientRate = setup_.rate;
  facts.positions = ScriptedServer::positions;
  facts.volumes = {1, 1, volume_};
  facts.isMuted = isMuted_;
  if (const PipeWireSink* sink = server_.sinkOf(*this); sink != nullptr && sink->format) {
    facts.graphRate = sink->format->rate;
    facts.clock = setup_.sink;
  }
  return facts;
}

}  // namespace tolvane::test
