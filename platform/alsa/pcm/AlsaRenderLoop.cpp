#include "platform/alsa/pcm/AlsaRenderLoop.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <system_error>
#include <utility>

#include "platform/alsa/facts/AlsaStatus.h"
#include "platform/alsa/pcm/ExpectedPosition.h"

namespace tolvane {
namespace {

using std::chrono::milliseconds;

constexpr int resumeTurnMilliseconds = 50;
constexpr int resumeTurns = 100;  // after a suspend, sound is back within seconds
/// What a driver holds in flight when it is paused is on the wire within this time.
constexpr milliseconds longestFlight{25};
/// The render thread reads the device's position once per period; the position advances in steps of at most this length
/// (a tick of the slowest kernels).
constexpr milliseconds longestStep{10};

RunLoop::Duration monotonicNow() { return std::chrono::steady_clock::now().time_since_epoch(); }

/// The thread's first pages of stack, touched in advance to avoid page faults during playback.
void touchStack() {
  std::array<char, 64 * 1024> room;
  volatile char* page = room.data();
  for (std::size_t at = 0; at < room.size(); at += 4096) page[at] = 0;
}

void blockSignals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

/// What the state of a PCM whose descriptor reports trouble means.
long errorOfState(snd_pcm_state_t state) {
  switch (state) {
    case SND_PCM_STATE_RUNNING:
    case SND_PCM_STATE_PREPARED:
    case SND_PCM_STATE_DRAINING:
    case SND_PCM_STATE_PAUSED:
      return 0;
    case SND_PCM_STATE_XRUN:
      return -EPIPE;
    case SND_PCM_STATE_SUSPENDED:
      return -ESTRPIPE;
    case SND_PCM_STATE_DISCONNECTED:
      return -ENODEV;
    default:
      return -EBADFD;
  }
}

snd_pcm_status_t* newStatus() {
  snd_pcm_status_t* status = nullptr;
  return snd_pcm_status_malloc(&status) < 0 ? nullptr : status;
}

}  // namespace

AlsaRenderLoop::AlsaRenderLoop(std::shared_ptr<AlsaPcm> pcm, const AlsaPcmSetup& setup,
                               std::unique_ptr<RenderPipeline> pipeline, std::function<bool(pid_t)> makeRealtime,
                               std::shared_ptr<EventDescriptor> notice, std::shared_ptr<DeliveryRecord> deliveries)
    : handle_(pcm->handle()),
      setup_(setup),
      status_(newStatus(), &snd_pcm_status_free),
      frameBytes_(std::size_t{setup.channels} * setup.layout.bytes),
      makeRealtime_(std::move(makeRealtime)),
      notice_(std::move(notice)),
      deliveries_(std::move(deliveries)),
      pipeline_(std::move(pipeline)),
      shadow_(setup.usesMmap ? 0 : setup.bufferFrames * frameBytes_),
      ring_(static_cast<std::int64_t>(setup.bufferFrames), frameBytes_),
      ringMemory_(setup.usesMmap ? nullptr : shadow_.data()),
      pcm_(std::move(pcm)) {
  const int count = std::max(0, snd_pcm_poll_descriptors_count(handle_));
  descriptors_.resize(static_cast<std::size_t>(count) + 1);
  snd_pcm_poll_descriptors(handle_, descriptors_.data() + 1, static_cast<unsigned>(count));
  descriptors_[0] = {wake_.get(), POLLIN, 0};
  // If the limit on locked memory forbids it, the pages have still been written to and are resident.
  for (const auto& span : memory()) mlock(span.data(), span.size());
}

AlsaRenderLoop::~AlsaRenderLoop() {
  stop();
  // The heap keeps the pages: left locked, they would count against the limit for ever.
  for (const auto& span : memory()) munlock(span.data(), span.size());
}

/// What the render thread touches besides its stack.
std::vector<std::span<std::byte>> AlsaRenderLoop::memory() {
  auto spans = pipeline_->memory();
  spans.emplace_back(shadow_);
  spans.emplace_back(ring_.memory());
  return spans;
}

OSStatus AlsaRenderLoop::start(const AURenderCallback& callback) {
  if (!pcm_) return kAudioDevicePermissionsError;
  if (!wake_.isValid() || !pipeline_->reset(callback)) return kAudioHardwareUnspecifiedError;
  wake_.clear();
  ends_.store(false, std::memory_order_relaxed);  // the thread is created after it
  failure_.store(0, std::memory_order_relaxed);
  lastError_.store(noErr, std::memory_order_relaxed);  // an earlier error must not be attributed to this start
  // Counts what was reported: it may be slightly more than what was played. Partner: framesConsumed(); independent of
  // other values.
  base_.store(position_.load(std::memory_order_relaxed), std::memory_order_relaxed);
  lookedPlayed_.store(0, std::memory_order_relaxed);
  lookedWritten_.store(0, std::memory_order_relaxed);
  framesPlayed_ = 0;
  ring_.begin();
  pace_.reset();
  everStarted_.store(true, std::memory_order_relaxed);
  alive_.store(true, std::memory_order_release);
  try {
    thread_ = std::thread([this] { run(); });
  } catch (const std::system_error&) {
    alive_.store(false, std::memory_order_release);
    return kAudioHardwareUnspecifiedError;
  }
  begun_.acquire();
  if (isAlive()) return noErr;
  const OSStatus status = statusFromAlsaError(failure());
  stop();
  return status;
}

OSStatus AlsaRenderLoop::stop() {
  if (!thread_.joinable()) return noErr;
  ends_.store(true, std::memory_order_release);  // partner: run()
  wake_.signal();
  thread_.join();
  const long error = failure() != 0 ? failure() : halt();
  alive_.store(false, std::memory_order_release);
  snd_pcm_drop(handle_);
  framesPlayed_ = pipeline_->clientFrames(ring_.played());
  advancePosition(base_.load(std::memory_order_relaxed) + framesPlayed_);
  return statusFromAlsaError(error);
}

void AlsaRenderLoop::surrender() {
  pcm_.reset();
  lastError_.store(kAudioDevicePermissionsError, std::memory_order_release);  // partner: takeLastError()
}

void AlsaRenderLoop::abandon() noexcept {
  gate_.shut();
  ends_.store(true, std::memory_order_release);  // partner: run()
  wake_.signal();
}

/// Determines how much has been heard, while the device is paused or about to be.
long AlsaRenderLoop::halt() {
  if (setup_.canPause && snd_pcm_state(handle_) == SND_PCM_STATE_RUNNING && snd_pcm_pause(handle_, 1) == 0) {
    // In a paused stream the kernel's position is stable and exact. Frames that the driver had already taken from the
    // ring are still played: they count as heard, after the time they take.
    snd_pcm_sframes_t delay = 0;
    const snd_pcm_sframes_t room = snd_pcm_avail_update(handle_);
    if (room >= 0) {
      const std::int64_t inRing = static_cast<std::int64_t>(setup_.bufferFrames) - room;
      if (snd_pcm_delay(handle_, &delay) == 0 && delay > inRing) {
        const auto flight = milliseconds(1 + (delay - inRing) * 1000 / setup_.rate);
        std::this_thread::sleep_for(std::min(flight, longestFlight));
      }
      ring_.lookPaused(inRing);
      return 0;
    }
  }
  snd_pcm_sframes_t delay = 0;
  const int error = snd_pcm_delay(handle_, &delay);
  if (error == 0) {
    ring_.lookPlaying(delay);
  } else if (error == -EPIPE || error == -ESTRPIPE) {  // after a suspend it has already stopped
    lookAtStopped();
    return 0;
  }
  return error;
}

std::optional<std::int64_t> AlsaRenderLoop::sampleTime() const {
  if (!everStarted_.load(std::memory_order_relaxed)) return std::nullopt;
  if (!isAlive()) return position_.load(std::memory_order_relaxed);
  // Partner of all: publishPosition(). Values of two different updates are harmless.
  const PositionLook look{.played = lookedPlayed_.load(std::memory_order_relaxed),
                          .written = lookedWritten_.load(std::memory_order_relaxed),
                          .zeroAt = RunLoop::Duration(zeroAt_.load(std::memory_order_relaxed)),
                          .mostAhead = static_cast<std::int64_t>(setup_.periodFrames) +
                                       static_cast<std::int64_t>(setup_.rate) * longestStep / milliseconds(1000),
                          .rate = static_cast<double>(setup_.rate)};
  const std::int64_t position =
      base_.load(std::memory_order_relaxed) + pipeline_->clientFrames(expectedPosition(look, monotonicNow()));
  return advancePosition(position);
}

/// The reported position, which never goes back. Any thread.
std::int64_t AlsaRenderLoop::advancePosition(std::int64_t position) const {
  std::int64_t reported = position_.load(std::memory_order_relaxed);
  while (reported < position && !position_.compare_exchange_weak(reported, position, std::memory_order_relaxed)) {
  }
  return std::max(reported, position);
}

std::int64_t AlsaRenderLoop::framesConsumed() const {
  return std::max<std::int64_t>(position_.load(std::memory_order_relaxed) - base_.load(std::memory_order_relaxed), 0);
}

// The render thread.

void AlsaRenderLoop::run() {
  blockSignals();
  touchStack();
  if (makeRealtime_) makeRealtime_(gettid());
  long error = beginPlaying();
  if (error < 0) fail(error);
  begun_.release();
  while (error >= 0 && !ends_.load(std::memory_order_acquire)) {  // partner: stop(), abandon()
    error = waitForRoom();
    if (ends_.load(std::memory_order_acquire)) break;
    if (error >= 0) error = fill();
    if (error < 0) error = recover(error);
    if (error < 0) fail(error);
  }
}

long AlsaRenderLoop::beginPlaying() {
  if (const int error = snd_pcm_prepare(handle_); error < 0) return error;
  ring_.prepare();
  if (const long error = fill(); error < 0) return error;
  return snd_pcm_start(handle_);
}

/// Writes as much as the ring had room for when it was queried.
long AlsaRenderLoop::fill() {
  // avail, not avail_update: between two interrupts only the former asks the hardware where it is.
  snd_pcm_sframes_t room = snd_pcm_avail(handle_);
  if (room < 0) return room;
  while (room > 0) {
    const auto wanted = static_cast<snd_pcm_uframes_t>(room);
    const long done = setup_.usesMmap ? transferMapped(wanted) : transferWritten(wanted);
    if (done < 0) return done;
    if (done == 0) break;
    room -= done;
  }
  publishPosition();
  return 0;
}

long AlsaRenderLoop::transferMapped(snd_pcm_uframes_t frames) {
  const snd_pcm_channel_area_t* areas = nullptr;
  snd_pcm_uframes_t offset = 0;
  if (const int error = snd_pcm_mmap_begin(handle_, &areas, &offset, &frames); error < 0) return error;
  if (frames == 0) return 0;
  auto* ring = static_cast<std::byte*>(areas[0].addr) + areas[0].first / 8;
  ringMemory_ = ring;
  renderUncommitted(ring + offset * frameBytes_, frames);
  const snd_pcm_sframes_t committed = snd_pcm_mmap_commit(handle_, offset, frames);
  if (committed < 0) return committed;
  recordDelivery(ring + offset * frameBytes_, committed);
  ring_.commit(committed);
  return static_cast<snd_pcm_uframes_t>(committed) == frames ? committed : -EPIPE;
}

long AlsaRenderLoop::transferWritten(snd_pcm_uframes_t frames) {
  const auto offset = static_cast<snd_pcm_uframes_t>(ring_.place());
  frames = std::min(frames, setup_.bufferFrames - offset);
  std::byte* place = shadow_.data() + offset * frameBytes_;
  renderUncommitted(place, frames);
  // The ring has this much room: the write takes it all, and being non-blocking it cannot hang in any case.
  const snd_pcm_sframes_t taken = snd_pcm_writei(handle_, place, frames);
  if (taken < 0) return taken;
  recordDelivery(place, taken);
  ring_.commit(taken);
  return static_cast<snd_pcm_uframes_t>(taken) == frames ? taken : -EPIPE;
}

/// Records frames that the device was given: `frames` is in its ring, or is what was passed to the driver.
void AlsaRenderLoop::recordDelivery(const std::byte* frames, snd_pcm_sframes_t count) noexcept {
  if (deliveries_) gate_.pass([&] { deliveries_->put(ring_.written(), frames, static_cast<std::uint32_t>(count)); });
}

/// Renders until `frames` are at `destination`, counting those there that could not be committed before.
void AlsaRenderLoop::renderUncommitted(std::byte* destination, snd_pcm_uframes_t frames) {
  const auto ready = static_cast<snd_pcm_uframes_t>(ring_.uncommitted());
  if (ready >= frames) return;
  renderInto(destination + ready * frameBytes_, frames - ready);
  ring_.stand(static_cast<std::int64_t>(frames));
}

void AlsaRenderLoop::renderInto(std::byte* destination, snd_pcm_uframes_t frames) {
  const auto again = static_cast<snd_pcm_uframes_t>(ring_.takeAgain(destination, static_cast<std::int64_t>(frames)));
  destination += again * frameBytes_;
  frames -= again;
  if (frames == 0) return;
  OSStatus status = noErr;
  if (!gate_.pass([&] { status = pipeline_->render(destination, static_cast<std::uint32_t>(frames)); }))
    std::memset(destination, 0, frames * frameBytes_);                       // the gate is shut: silence
  if (status != noErr) lastError_.store(status, std::memory_order_release);  // partner: takeLastError()
}

/// What has been heard of a stream that the kernel stopped by itself. That is not always all of it: USB also stops one
/// whose next transfer cannot be submitted, with the ring still full.
void AlsaRenderLoop::lookAtStopped() {
  std::int64_t unheard = 0;
  if (status_ && snd_pcm_status(handle_, status_.get()) == 0) {
    unheard = unheardFrames(static_cast<std::int64_t>(setup_.bufferFrames),
                            static_cast<std::int64_t>(snd_pcm_status_get_avail(status_.get())),
                            static_cast<std::int64_t>(setup_.periodFrames));
  }
  ring_.lookPlaying(unheard);
}

int AlsaRenderLoop::periodMilliseconds() const { return static_cast<int>(setup_.periodFrames * 1000 / setup_.rate); }

/// Waits until the device has consumed a period, the thread is asked to end, or two periods have passed.
long AlsaRenderLoop::waitForRoom() {
  const int got = poll(descriptors_.data(), descriptors_.size(), std::clamp(2 * periodMilliseconds(), 20, 500));
  if (got < 0) return errno == EINTR ? 0 : -errno;
  if (got == 0) return 0;
  unsigned short events = 0;
  const int error = snd_pcm_poll_descriptors_revents(handle_, descriptors_.data() + 1,
                                                     static_cast<unsigned>(descriptors_.size() - 1), &events);
  if (error < 0) return error;
  if ((events & (POLLERR | POLLHUP | POLLNVAL)) == 0) return 0;
  const long trouble = errorOfState(snd_pcm_state(handle_));
  // An error that no state explains must not cause a busy loop.
  if (trouble == 0) poll(descriptors_.data(), 1, 5);
  return trouble;
}

long AlsaRenderLoop::recover(long error) {
  if (error == -EAGAIN || error == -EINTR) return 0;
  if (error != -ESTRPIPE && error != -EPIPE) return error;
  if (error == -ESTRPIPE) {
    const long resumed = resume();
    if (resumed >= 0) return 0;
  } else {
    underruns_.fetch_add(1, std::memory_order_relaxed);
    notice_->signal();
  }
  lookAtStopped();
  const auto step = pace_.next(ring_.playedSincePrepared(), static_cast<std::int64_t>(setup_.periodFrames));
  if (step == AlsaRecoveryPace::Step::giveUp) return error;
  if (step == AlsaRecoveryPace::Step::afterAPause) poll(descriptors_.data(), 1, std::max(1, periodMilliseconds()));
  if (ends_.load(std::memory_order_acquire)) return 0;  // partner: stop()
  ring_.keepUnheard(ringMemory_);
  return beginPlaying();
}

/// After a suspend. 0: the stream continues where it was; else it must be prepared again.
long AlsaRenderLoop::resume() {
  for (int turn = 0; turn < resumeTurns; ++turn) {
    const int error = snd_pcm_resume(handle_);
    if (error != -EAGAIN) return error;
    poll(descriptors_.data(), 1, resumeTurnMilliseconds);
    if (ends_.load(std::memory_order_acquire)) return error;  // partner: stop()
  }
  return -ENODEV;
}

void AlsaRenderLoop::publishPosition() {
  snd_pcm_sframes_t delay = 0;
  if (snd_pcm_delay(handle_, &delay) < 0) return;
  ring_.lookPlaying(delay);
  const std::int64_t played = ring_.played();
  if (deliveries_) gate_.pass([&] { deliveries_->setPlayed(played); });
  // Partner of all: sampleTime().
  lookedPlayed_.store(played, std::memory_order_relaxed);
  lookedWritten_.store(ring_.written(), std::memory_order_relaxed);
  zeroAt_.store(zeroOf(monotonicNow(), played, setup_.rate).count(), std::memory_order_relaxed);
  advancePosition(base_.load(std::memory_order_relaxed) + pipeline_->clientFrames(played));
}

void AlsaRenderLoop::fail(long error) {
  lastError_.store(statusFromAlsaError(error), std::memory_order_release);  // partner: takeLastError()
  failure_.store(error, std::memory_order_release);                         // partner: failure()
  alive_.store(false, std::memory_order_release);                           // partner: isAlive()
  notice_->signal();
}

}  // namespace tolvane
