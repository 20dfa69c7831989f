#pragma once
// A playback PCM in the place of the kernel's: this program's own snd_pcm_… functions, which the linker takes before
// alsa-lib's. The test plays its ring, puts it to sleep, stops it and lets its driver hang; the render thread fills it.
// Any thread.

#include <alsa/asoundlib.h>

#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "platform/alsa/pcm/EventDescriptor.h"

namespace tolvane {

/// Keeps the left channel of what it has played. Offers two channels of 16 bits unless the test names others, which it
/// can be set up to and not play. One at a time.
class ScriptedPcm {
 public:
  static constexpr snd_pcm_uframes_t ringFrames = 1024;
  static constexpr snd_pcm_uframes_t periodFrames = 256;

  /// Where the driver may hang: what opening, snd_pcm_hw_params and so on end in.
  enum class Place : std::uint8_t { open, setUp, prepare, room, drop, close };

  ScriptedPcm();
  ~ScriptedPcm();
  ScriptedPcm(const ScriptedPcm&) = delete;
  ScriptedPcm& operator=(const ScriptedPcm&) = delete;

  // The test's side.

  /// Plays so many frames of a full ring, and waits until the ring is full again.
  void play(snd_pcm_uframes_t frames);
  /// The machine sleeps. What snd_pcm_resume answers then, in turn; the last answer stays.
  void suspend(std::deque<int> resumeAnswers);
  /// The driver stops the stream by itself, with what is in the ring unheard.
  void stopByItself();
  /// From now on each start is followed by such a stop.
  void stopAfterEachStart();
  /// A rate that is offered, and refused with this error when the hardware is set up to it.
  void refuse(unsigned rate, int error = -EINVAL);
  /// The formats that it can be set up to. The driver reports all bits of each container as significant.
  void offer(std::vector<snd_pcm_format_t> formats);
  void offerChannels(unsigned channels);
  /// Its type: the hardware, unless the test sets another one.
  void be(snd_pcm_type_t type) { type_ = type; }
  /// What snd_pcm_prepare answers from now on.
  void answerPrepare(int answer);

  /// The next call of that function hangs, until letGo().
  void hang(Place place);
  void letGo();
  /// Wakes the render thread, for nothing.
  void wake() { event_.signal(); }
  [[nodiscard]] bool isHanging() const { return isHanging_; }

  /// False: it did not come true within the time that a healthy machine needs many times over.
  [[nodiscard]] bool waitUntil(const std::function<bool(const ScriptedPcm&)>& condition);
  [[nodiscard]] bool isFull() const { return state_ == SND_PCM_STATE_RUNNING && ring_.size() == ringFrames; }
  [[nodiscard]] int prepares() const { return prepares_; }
  [[nodiscard]] int resumes() const { return resumes_; }
  [[nodiscard]] int opens() const { return opens_; }
  [[nodiscard]] int closes() const { return closes_; }
  /// The threads of the last ones. While none is under way.
  [[nodiscard]] std::thread::id openedBy() const { return openedBy_; }
  [[nodiscard]] std::thread::id closedBy() const { return closedBy_; }
  [[nodiscard]] std::vector<std::int16_t> heard();
  /// The rates that the hardware was set up to, in order, with those that it refused then.
  [[nodiscard]] std::vector<unsigned> setUps();
  /// The format that it was set up to last.
  [[nodiscard]] snd_pcm_format_t format();

  // The render thread's side: what alsa-lib offers.

  [[nodiscard]] snd_pcm_type_t type() const { return type_; }
  void open();
  int setUp(unsigned rate, snd_pcm_format_t format);
  [[nodiscard]] bool offers(snd_pcm_format_t format);
  [[nodiscard]] unsigned channels();
  void close();
  int prepare();
  int start();
  int drop();
  int resume();
  snd_pcm_state_t state();
  snd_pcm_sframes_t room();
  int delay(snd_pcm_sframes_t& frames);
  snd_pcm_sframes_t write(const std::int16_t* samples, snd_pcm_uframes_t frames);
  int descriptor() const { return event_.get(); }
  unsigned short takeEvents();

 private:
  [[nodiscard]] int trouble() const;
  void enter(Place place, std::unique_lock<std::mutex>& lock);

  std::mutex mutex_;
  std::condition_variable changed_;
  EventDescriptor event_;
  snd_pcm_type_t type_ = SND_PCM_TYPE_HW;
  snd_pcm_state_t state_ = SND_PCM_STATE_SETUP;
  std::deque<std::int16_t> ring_;
  std::vector<std::int16_t> heard_;
  std::deque<int> resumeAnswers_;
  int prepareAnswer_ = 0;
  std::map<unsigned, int> refusedRates_;
  std::vector<unsigned> setUps_;
  std::vector<snd_pcm_format_t> formats_{SND_PCM_FORMAT_S16_LE};
  unsigned channels_ = 2;
  snd_pcm_format_t format_ = SND_PCM_FORMAT_UNKNOWN;
  bool stopsAfterStart_ = false;
  int prepares_ = 0;
  int resumes_ = 0;
  int opens_ = 0;
  int closes_ = 0;
  std::thread::id openedBy_;
  std::thread::id closedBy_;
  std::optional<Place> hangsAt_;
  bool isHanging_ = false;
};

}  // namespace tolvane
