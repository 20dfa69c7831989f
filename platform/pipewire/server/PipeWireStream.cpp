#include "platform/pipewire/server/PipeWireStream.h"

#include <fmt/format.h>
#include <pipewire/pipewire.h>
#include <spa/node/io.h>
#include <spa/param/props.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

#include "platform/pipewire/facts/ChannelNumbers.h"
#include "platform/pipewire/server/HeardFrames.h"
#include "platform/pipewire/server/PipeWireObjects.h"
#include "platform/pipewire/server/SpaParameters.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""ns;
using std::chrono_literals::operator""s;

constexpr auto openLimit = 2s;
constexpr auto startLimit = 2s;   // a card that slept, a server under load
constexpr auto settleLimit = 1s;  // the rate; and the volume that the session manager remembers
constexpr std::uint64_t cyclesToTrust = 4;
constexpr int unsetState = PW_STREAM_STATE_UNCONNECTED;

RunLoop::Duration monotonicNow() { return std::chrono::steady_clock::now().time_since_epoch(); }

}  // namespace

/// What the library calls.
struct PipeWireStreamCallbacks {
  static PipeWireStream& self(void* data) { return *static_cast<PipeWireStream*>(data); }

  static void stateChanged(void* data, pw_stream_state, pw_stream_state state, const char*) {
    self(data).state_ = state;
    self(data).changed_();
  }
  static void control(void* data, std::uint32_t id, const pw_stream_control* control) {
    PipeWireStream& stream = self(data);
    if (control->n_values == 0) return;
    if (id == SPA_PROP_channelVolumes) stream.volumes_.assign(control->values, control->values + control->n_values);
    if (id == SPA_PROP_volume) stream.volume_ = control->values[0];
    if (id == SPA_PROP_mute) stream.isMuted_ = control->values[0] != 0;
    stream.changed_();
  }
  static void ioChanged(void* data, std::uint32_t id, void* area, std::uint32_t size) {
    if (id != SPA_IO_Position) return;
    const bool isWhole = area != nullptr && size >= sizeof(spa_io_position);
    self(data).graphPosition_.store(isWhole ? static_cast<const spa_io_position*>(area) : nullptr,
                                    std::memory_order_release);  // partner: process()
  }
  static void process(void* data) { self(data).process(); }

  static const pw_stream_events events;
};

const pw_stream_events PipeWireStreamCallbacks::events = [] {
  pw_stream_events table{};
  table.version = PW_VERSION_STREAM_EVENTS;
  table.state_changed = &PipeWireStreamCallbacks::stateChanged;
  table.io_changed = &PipeWireStreamCallbacks::ioChanged;
  table.control_info = &PipeWireStreamCallbacks::control;
  table.process = &PipeWireStreamCallbacks::process;
  return table;
}();

PipeWireStream::PipeWireStream(PipeWireConnection& connection, RunLoop& runLoop, Setup setup,
                               std::unique_ptr<RenderPipeline> pipeline, std::function<void()> changed)
    : connection_(connection),
      runLoop_(runLoop),
      setup_(std::move(setup)),
      changed_(std::move(changed)),
      frameBytes_(sizeof(float) * setup_.channels),
      pipeline_(std::move(pipeline)),
      hook_(std::make_unique<spa_hook>()),
      positions_(positionsOf(setup_.layout)),
      state_(unsetState) {}

PipeWireStream::~PipeWireStream() {
  stop();
  if (stream_ == nullptr) return;
  spa_hook_remove(hook_.get());
  pw_stream_destroy(stream_);
}

OSStatus PipeWireStream::open() {
  if (!connection_.isConnected()) return kAudioHardwareNotRunningError;
  // No media.role: by it the session manager remembers a volume that all music players share.
  pw_properties* properties = pw_properties_new(
      PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Playback", PW_KEY_APP_NAME, "Tolvane Music Player",
      PW_KEY_APP_ID, "org.tolvane.Player", PW_KEY_NODE_NAME, PipeWireObject::ownStreamName, PW_KEY_MEDIA_NAME, "Music",
      PW_KEY_TARGET_OBJECT, setup_.serial.c_str(), PW_KEY_NODE_DONT_RECONNECT, "true", nullptr);
  pw_properties_set(properties, PW_KEY_NODE_RATE, fmt::format("1/{}", setup_.rate).c_str());
  if (setup_.leadsRate) pw_properties_set(properties, PW_KEY_NODE_FORCE_RATE, fmt::format("{}", setup_.rate).c_str());
  stream_ = pw_stream_new(connection_.core(), PipeWireObject::ownStreamName, properties);
  if (stream_ == nullptr) return kAudioHardwareUnspecifiedError;
  pw_stream_add_listener(stream_, hook_.get(), &PipeWireStreamCallbacks::events, this);

  if (const auto sink = connection_.facts().sinks.find(setup_.sink); sink != connection_.facts().sinks.end())
    positions_ = namedAsBy(sink->second.format ? sink->second.format->positions : sink->second.positions, positions_);
  const SpaPodBuffer format = streamFormatPod(setup_.rate, positions_);
  const spa_pod* formats[] = {format.pod()};
  const auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_INACTIVE |
                                                  PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS);
  if (pw_stream_connect(stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY, flags, formats, 1) < 0)
    return kAudioHardwareUnspecifiedError;
  const bool isOpen = connection_.waitUntil(
      [this] { return state_ >= PW_STREAM_STATE_PAUSED || state_ == PW_STREAM_STATE_ERROR || isLost_; }, openLimit);
  return isOpen && state_ >= PW_STREAM_STATE_PAUSED && !isLost_ ? noErr : troubleStatus();
}

/// Why the sink does not take frames.
OSStatus PipeWireStream::troubleStatus() const {
  if (lostStatus_ != noErr) return lostStatus_;
  const auto sink = connection_.facts().sinks.find(setup_.sink);
  if (sink == connection_.facts().sinks.end()) return kAudioHardwareBadDeviceError;
  if (sink->second.error.find("busy") != std::string::npos) return kAudioDevicePermissionsError;
  return kAudioHardwareNotRunningError;
}

OSStatus PipeWireStream::start(const AURenderCallback& callback) {
  if (isLost_ || stream_ == nullptr) return troubleStatus();
  if (!pipeline_->reset(callback)) return kAudioHardwareUnspecifiedError;
  const std::uint64_t before = cycles();
  pw_stream_set_active(stream_, true);
  const auto trouble = [this] {
    const auto sink = connection_.facts().sinks.find(setup_.sink);
    return isLost_ || state_ == PW_STREAM_STATE_ERROR || state_ == PW_STREAM_STATE_UNCONNECTED ||
           sink == connection_.facts().sinks.end() || sink->second.state == PipeWireSink::State::error;
  };
  const bool runs = connection_.waitUntil([&] { return cycles() != before || trouble(); }, startLimit);
  if (!runs || trouble()) {
    if (!isLost_) pw_stream_set_active(stream_, false);
    return troubleStatus();
  }
  resetVolume();
  // What a graph at another rate is given now would be resampled: the music waits for the rate, and plays in any case.
  // A card that has just been opened may run dry in its first cycles, and then drops what it was given.
  std::uint64_t settledAt = 0;
  connection_.waitUntil(
      [&] {
        if (!isReadyForMusic()) {
          settledAt = 0;
        } else if (settledAt == 0) {
          settledAt = cycles();
        }
        return isLost_ || (settledAt != 0 && cycles() >= settledAt + cyclesToTrust);
      },
      settleLimit);
  if (isLost_) return troubleStatus();
  base_ += std::exchange(framesPlayed_, 0);
  reported_ = 0;
  rendered_.store(0, std::memory_order_relaxed);
  firstHeardAt_.store(notReported, std::memory_order_relaxed);
  everStarted_ = true;
  isRunning_ = true;
  beginDeliveries();
  gate_.store(true, std::memory_order_seq_cst);  // partner: process()
  return noErr;
}

void PipeWireStream::beginDeliveries() {
  if (!setup_.deliveries) return;
  std::optional<DeliveryRecord::Form> form;
  if (!pipeline_->computesSamples())
    form = {float32PCM(setup_.rate, setup_.channels),
            setup_.layout.positions.empty() ? usualLayout(setup_.channels) : setup_.layout};
  setup_.deliveries->begin(std::move(form), quantum_.load(std::memory_order_relaxed));
}

/// REQUIRES: the gate is shut.
void PipeWireStream::endDeliveries() {
  if (setup_.deliveries) setup_.deliveries->end(framesPlayed_);
}

bool PipeWireStream::isReadyForMusic() const {
  if (isLost_ || stream_ == nullptr) return false;
  const auto sink = connection_.facts().sinks.find(setup_.sink);
  if (sink == connection_.facts().sinks.end()) return false;
  const bool isFull = !isMuted_ && volume_ == 1.0F && !volumes_.empty() &&
                      std::ranges::all_of(volumes_, [](float v) { return v == 1.0F; });
  // A verdict is given as soon as the unit runs: by then the server has reported its settings of the stream.
  const auto own = connection_.facts().ownStreams.find(pw_stream_get_node_id(stream_));
  const bool isReported =
      own != connection_.facts().ownStreams.end() && own->second.props && !own->second.props->settings.empty();
  if (!isFull || !isReported) return false;
  if (!setup_.leadsRate) return true;
  return sink->second.format && sink->second.format->rate == setup_.rate &&
         graphRate_.load(std::memory_order_relaxed) == setup_.rate;
}

void PipeWireStream::resetVolume() {
  std::vector<float> full(setup_.channels, 1.0F);
  float one = 1.0F;
  float unmuted = 0.0F;
  pw_stream_set_control(stream_, SPA_PROP_volume, 1U, &one, SPA_PROP_mute, 1U, &unmuted, SPA_PROP_channelVolumes,
                        setup_.channels, full.data(), 0U);
}

void PipeWireStream::stop() {
  if (!isRunning_) return;
  isRunning_ = false;
  shutGate();
  framesPlayed_ = rendered_.load(std::memory_order_acquire);  // partner: renderInto()
  endDeliveries();
  // Inactive, so that the sink can sleep, and others get the rate that they like.
  if (!isLost_ && stream_ != nullptr) pw_stream_set_active(stream_, false);
}

/// And waits for the callback that is under way.
void PipeWireStream::shutGate() {
  gate_.store(false, std::memory_order_seq_cst);  // partner: renderInto()
  while (isRendering_.load(std::memory_order_seq_cst)) runLoop_.sleepFor(std::chrono::microseconds(50));
}

void PipeWireStream::markLost(OSStatus status) {
  if (std::exchange(isLost_, true)) return;
  lostStatus_ = status;
  if (isRunning_) {
    lastError_.store(status, std::memory_order_release);  // partner: takeLastError()
    isRunning_ = false;
    shutGate();  // from here on what was rendered and what the hardware had to play are of one cycle
    const std::int64_t rendered = rendered_.load(std::memory_order_acquire);
    const std::int64_t first = firstHeardAt_.load(std::memory_order_relaxed);
    framesPlayed_ = first == notReported
                        ? rendered
                        : framesHeardAtMost(RunLoop::Duration(first), monotonicNow(), rendered, setup_.rate);
    framesPlayed_ = std::max(framesPlayed_, reported_);
    endDeliveries();
  }
  if (stream_ == nullptr) return;
  spa_hook_remove(hook_.get());
  // The data thread reads the pointer until the library has taken the node off it.
  pw_stream_destroy(stream_);
  stream_ = nullptr;
}

// Data thread.

void PipeWireStream::process() noexcept {
  pw_buffer* buffer = pw_stream_dequeue_buffer(stream_);
  if (buffer == nullptr) {
    underruns_.fetch_add(1, std::memory_order_relaxed);
    return;
  }
  spa_data& data = buffer->buffer->datas[0];
  if (data.data == nullptr) return;
  std::uint64_t frames = data.maxsize / frameBytes_;
  if (buffer->requested != 0) frames = std::min(frames, buffer->requested);
  const auto count = static_cast<std::uint32_t>(frames);

  pw_time time{};
  const bool isTimed = pw_stream_get_time_n(stream_, &time, sizeof time) >= 0 && time.rate.denom != 0;
  if (isTimed) graphRate_.store(time.rate.denom, std::memory_order_relaxed);
  quantum_.store(count, std::memory_order_relaxed);
  const spa_io_position* position = graphPosition_.load(std::memory_order_acquire);  // partner: ioChanged()
  clock_.store(position != nullptr ? position->clock.id : 0, std::memory_order_relaxed);
  renderInto(static_cast<std::byte*>(data.data), count, isTimed ? &time : nullptr);
  data.chunk->offset = 0;
  data.chunk->stride = static_cast<std::int32_t>(frameBytes_);
  data.chunk->size = static_cast<std::uint32_t>(count * frameBytes_);
  buffer->size = count;
  pw_stream_queue_buffer(stream_, buffer);
  cycles_.fetch_add(1, std::memory_order_relaxed);
}

void PipeWireStream::renderInto(std::byte* destination, std::uint32_t frames, const pw_time* time) noexcept {
  // Set before the gate is checked: a thread that shuts it afterwards sees this, and waits.
  isRendering_.store(true, std::memory_order_seq_cst);  // partner: shutGate()
  if (gate_.load(std::memory_order_seq_cst)) {          // partner: start(), shutGate()
    const OSStatus status = pipeline_->render(destination, frames);
    if (status != noErr) lastError_.store(status, std::memory_order_release);  // partner: takeLastError()
    if (DeliveryRecord* const deliveries = setup_.deliveries.get()) {
      const std::int64_t before = rendered_.load(std::memory_order_relaxed);  // only this thread writes it
      deliveries->put(before, destination, frames);
      // What the server and the hardware still hold may be lost with the server, and is then handed over again.
      const bool isTimed = time != nullptr && time->rate.denom != 0;
      const std::int64_t held =
          isTimed ? std::max<std::int64_t>(time->delay, 0) * setup_.rate / time->rate.denom : setup_.rate;
      deliveries->setPlayed(before - held);
    }
    if (time != nullptr) {
      const auto first = firstFrameHeardAt(RunLoop::Duration(time->now), std::max<std::int64_t>(time->delay, 0),
                                           time->rate.denom, rendered_.load(std::memory_order_relaxed), setup_.rate);
      firstHeardAt_.store(first.count(), std::memory_order_relaxed);
    }
    rendered_.fetch_add(frames, std::memory_order_release);  // partner: stop(), markLost()
  } else {
    std::memset(destination, 0, frames * frameBytes_);
  }
  isRendering_.store(false, std::memory_order_seq_cst);  // partner: shutGate()
}

// Queries.

std::optional<std::int64_t> PipeWireStream::sampleTime() const {
  if (!everStarted_) return std::nullopt;
  if (!isRunning_) return base_ + framesPlayed_;
  const std::int64_t rendered = rendered_.load(std::memory_order_acquire);  // partner: renderInto()
  const std::int64_t first = firstHeardAt_.load(std::memory_order_relaxed);
  const std::int64_t heard =
      first == notReported ? rendered : framesHeard(RunLoop::Duration(first), monotonicNow(), rendered, setup_.rate);
  reported_ = std::max(reported_, heard);  // readings vary slightly from cycle to cycle
  return base_ + reported_;
}

RunLoop::Duration PipeWireStream::delay() const {
  const std::int64_t first = firstHeardAt_.load(std::memory_order_relaxed);
  if (first == notReported) return {};
  const auto rendered = static_cast<double>(rendered_.load(std::memory_order_relaxed));
  const auto end = RunLoop::Duration(first) + durationFromSeconds(rendered / setup_.rate) + longestStep;
  return std::max(end - monotonicNow(), 0ns);
}

PipeWireStreamFacts PipeWireStream::facts() const {
  PipeWireStreamFacts facts;
  facts.node = stream_ != nullptr ? pw_stream_get_node_id(stream_) : PW_ID_ANY;
  facts.clientRate = setup_.rate;
  facts.graphRate = graphRate_.load(std::memory_order_relaxed);
  facts.positions = positions_;
  facts.volumes = volumes_;
  if (!volumes_.empty()) facts.volumes.push_back(volume_);
  facts.isMuted = isMuted_;
  facts.clock = clock_.load(std::memory_order_relaxed);
  return facts;
}

}  // namespace tolvane
