#include "tests/platform/alsa/scripted/ScriptedPcm.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

namespace tolvane {

namespace {
ScriptedPcm* current = nullptr;
}  // namespace

ScriptedPcm::ScriptedPcm() { current = this; }
ScriptedPcm::~ScriptedPcm() { current = nullptr; }

void ScriptedPcm::play(snd_pcm_uframes_t frames) {
  if (!waitUntil(&ScriptedPcm::isFull)) return;
  {
    const std::scoped_lock lock(mutex_);
    for (snd_pcm_uframes_t i = 0; i < frames; ++i) {
      heard_.push_back(ring_.front());
      ring_.pop_front();
    }
  }
  event_.signal();
  (void)waitUntil(&ScriptedPcm::isFull);
}

void ScriptedPcm::suspend(std::deque<int> resumeAnswers) {
  const std::scoped_lock lock(mutex_);
  resumeAnswers_ = std::move(resumeAnswers);
  state_ = SND_PCM_STATE_SUSPENDED;
  event_.signal();
}

void ScriptedPcm::stopByItself() {
  const std::scoped_lock lock(mutex_);
  state_ = SND_PCM_STATE_XRUN;
  event_.signal();
}

void ScriptedPcm::stopAfterEachStart() {
  const std::scoped_lock lock(mutex_);
  stopsAfterStart_ = true;
}

void ScriptedPcm::refuse(unsigned rate, int error) {
  const std::scoped_lock lock(mutex_);
  refusedRates_[rate] = error;
}

void ScriptedPcm::offer(std::vector<snd_pcm_format_t> formats) {
  const std::scoped_lock lock(mutex_);
  formats_ = std::move(formats);
}

void ScriptedPcm::offerChannels(unsigned channels) {
  const std::scoped_lock lock(mutex_);
  channels_ = channels;
}

unsigned ScriptedPcm::channels() {
  const std::scoped_lock lock(mutex_);
  return channels_;
}

bool ScriptedPcm::offers(snd_pcm_format_t format) {
  const std::scoped_lock lock(mutex_);
  return std::ranges::find(formats_, format) != formats_.end();
}

snd_pcm_format_t ScriptedPcm::format() {
  const std::scoped_lock lock(mutex_);
  return format_;
}

void ScriptedPcm::answerPrepare(int answer) {
  const std::scoped_lock lock(mutex_);
  prepareAnswer_ = answer;
}

bool ScriptedPcm::waitUntil(const std::function<bool(const ScriptedPcm&)>& condition) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return condition(*this); });
}

void ScriptedPcm::hang(Place place) {
  const std::scoped_lock lock(mutex_);
  hangsAt_ = place;
}

void ScriptedPcm::letGo() {
  const std::scoped_lock lock(mutex_);
  isHanging_ = false;
  changed_.notify_all();
}

void ScriptedPcm::enter(Place place, std::unique_lock<std::mutex>& lock) {
  if (hangsAt_ != place) return;
  hangsAt_.reset();
  isHanging_ = true;
  changed_.notify_all();
  changed_.wait(lock, [this] { return !isHanging_; });
}

void ScriptedPcm::open() {
  std::unique_lock lock(mutex_);
  ++opens_;
  openedBy_ = std::this_thread::get_id();
  enter(Place::open, lock);
}

int ScriptedPcm::setUp(unsigned rate, snd_pcm_format_t format) {
  std::unique_lock lock(mutex_);
  enter(Place::setUp, lock);
  setUps_.push_back(rate);
  format_ = format;
  const auto refused = refusedRates_.find(rate);
  return refused != refusedRates_.end() ? refused->second : 0;
}

void ScriptedPcm::close() {
  std::unique_lock lock(mutex_);
  enter(Place::close, lock);
  ++closes_;
  closedBy_ = std::this_thread::get_id();
  changed_.notify_all();
}

std::vector<unsigned> ScriptedPcm::setUps() {
  const std::scoped_lock lock(mutex_);
  return setUps_;
}

std::vector<std::int16_t> ScriptedPcm::heard() {
  const std::scoped_lock lock(mutex_);
  return heard_;
}

int ScriptedPcm::prepare() {
  std::unique_lock lock(mutex_);
  enter(Place::prepare, lock);
  ++prepares_;
  if (prepareAnswer_ == 0) {
    state_ = SND_PCM_STATE_PREPARED;
    ring_.clear();
  }
  changed_.notify_all();
  return prepareAnswer_;
}

int ScriptedPcm::start() {
  const std::scoped_lock lock(mutex_);
  state_ = stopsAfterStart_ ? SND_PCM_STATE_XRUN : SND_PCM_STATE_RUNNING;
  event_.signal();
  changed_.notify_all();
  return 0;
}

int ScriptedPcm::drop() {
  std::unique_lock lock(mutex_);
  enter(Place::drop, lock);
  state_ = SND_PCM_STATE_SETUP;
  ring_.clear();
  return 0;
}

int ScriptedPcm::resume() {
  const std::scoped_lock lock(mutex_);
  ++resumes_;
  const int answer = resumeAnswers_.front();
  if (resumeAnswers_.size() > 1) resumeAnswers_.pop_front();
  if (answer == 0) state_ = SND_PCM_STATE_RUNNING;
  changed_.notify_all();
  return answer;
}

snd_pcm_state_t ScriptedPcm::state() {
  const std::scoped_lock lock(mutex_);
  return state_;
}

int ScriptedPcm::trouble() const {
  if (state_ == SND_PCM_STATE_SUSPENDED) return -ESTRPIPE;
  return state_ == SND_PCM_STATE_XRUN ? -EPIPE : 0;
}

snd_pcm_sframes_t ScriptedPcm::room() {
  std::unique_lock lock(mutex_);
  enter(Place::room, lock);
  if (const int error = trouble(); error < 0) return error;
  return static_cast<snd_pcm_sframes_t>(ringFrames - ring_.size());
}

int ScriptedPcm::delay(snd_pcm_sframes_t& frames) {
  const std::scoped_lock lock(mutex_);
  frames = static_cast<snd_pcm_sframes_t>(ring_.size());
  return trouble();
}

snd_pcm_sframes_t ScriptedPcm::write(const std::int16_t* samples, snd_pcm_uframes_t frames) {
  const std::scoped_lock lock(mutex_);
  if (const int error = trouble(); error < 0) return error;
  for (snd_pcm_uframes_t i = 0; i < frames; ++i) ring_.push_back(samples[2 * i]);
  changed_.notify_all();
  return static_cast<snd_pcm_sframes_t>(frames);
}

unsigned short ScriptedPcm::takeEvents() {
  const std::scoped_lock lock(mutex_);
  event_.clear();
  return trouble() == 0 ? POLLOUT : POLLERR;
}

}  // namespace tolvane

using tolvane::current;

// What the render loop and AlsaPcm call. A PCM that is not open does not exist: the handle is never looked into.

extern "C" {

int snd_pcm_open_lconf(snd_pcm_t** pcm, const char* /*name*/, snd_pcm_stream_t /*stream*/, int /*mode*/,
                       snd_config_t* /*configuration*/) {
  *pcm = reinterpret_cast<snd_pcm_t*>(current);
  if (current == nullptr) return -ENODEV;
  current->open();
  return 0;
}
snd_pcm_type_t snd_pcm_type(snd_pcm_t* /*pcm*/) { return current->type(); }
int snd_pcm_close(snd_pcm_t* /*pcm*/) {
  current->close();
  return 0;
}
int snd_pcm_info(snd_pcm_t* /*pcm*/, snd_pcm_info_t* /*info*/) { return -ENODEV; }
int snd_pcm_prepare(snd_pcm_t* /*pcm*/) { return current->prepare(); }
int snd_pcm_start(snd_pcm_t* /*pcm*/) { return current->start(); }
int snd_pcm_drop(snd_pcm_t* /*pcm*/) { return current->drop(); }
int snd_pcm_resume(snd_pcm_t* /*pcm*/) { return current->resume(); }
snd_pcm_state_t snd_pcm_state(snd_pcm_t* /*pcm*/) { return current->state(); }
snd_pcm_sframes_t snd_pcm_avail(snd_pcm_t* /*pcm*/) { return current->room(); }
int snd_pcm_delay(snd_pcm_t* /*pcm*/, snd_pcm_sframes_t* frames) { return current->delay(*frames); }
snd_pcm_sframes_t snd_pcm_writei(snd_pcm_t* /*pcm*/, const void* samples, snd_pcm_uframes_t frames) {
  return current->write(static_cast<const std::int16_t*>(samples), frames);
}
int snd_pcm_status(snd_pcm_t* /*pcm*/, snd_pcm_status_t* /*status*/) { return 0; }
snd_pcm_uframes_t snd_pcm_status_get_avail(const snd_pcm_status_t* /*status*/) {
  snd_pcm_sframes_t waiting = 0;
  (void)current->delay(waiting);
  return tolvane::ScriptedPcm::ringFrames - static_cast<snd_pcm_uframes_t>(waiting);
}
int snd_pcm_poll_descriptors_count(snd_pcm_t* /*pcm*/) { return 1; }
int snd_pcm_poll_descriptors(snd_pcm_t* /*pcm*/, struct pollfd* descriptors, unsigned /*space*/) {
  *descriptors = {current->descriptor(), POLLIN, 0};
  return 1;
}
int snd_pcm_poll_descriptors_revents(snd_pcm_t* /*pcm*/, struct pollfd* /*descriptors*/, unsigned /*count*/,
                                     unsigned short* events) {
  *events = current->takeEvents();
  return 0;
}

}  // extern "C"
