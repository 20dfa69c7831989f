// How long it is silent between two tracks of a playlist: the player over a simulated device that runs in real time and
// needs 30 ms for another rate, with real files, read by threads as in the product. One JSON line a pair: silent frames
// between the last sample of the first and the first of the second where the output stays open, and milliseconds, to a
// period of the device, in any case. Wall time, so the machine should be quiet. Usage: bench_silence (NAME FIRST
// SECOND)…

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "demo/DemoRack.h"
#include "platform/Background.h"
#include "platform/codecs/SystemAudioFileServices.h"
#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/MemoryUserDefaults.h"
#include "platform/storage/SystemFileBookmarks.h"
#include "session/SessionHost.h"
#include "tests/support/PollRunLoop.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;

constexpr auto patience = 5min;
constexpr auto playedBefore = 8s;  // of the first track: the next one is coupled within its last seconds
constexpr auto playedAfter = 1s;

/// What the device was heard to play: the end of the last stretch of music before a silence, and the beginning of the
/// next one.
class Ear {
 public:
  Ear(SimulatedDevice& device, ManualRunLoop& time) : device_(device), time_(time) {
    timer_ = time.scheduleTimer(1ms, true, [this] { listen(); });
  }

  [[nodiscard]] std::uint64_t heard() const { return heard_; }
  [[nodiscard]] std::uint64_t longestZeros() const { return longestZeros_; }
  [[nodiscard]] RunLoop::Duration longestSilence() const { return longestSilence_; }
  void beginAnew() { longestZeros_ = zeros_ = 0, longestSilence_ = {}, lastMusic_.reset(); }

 private:
  /// A player's thread that is busy holds up the device's time: both clocks count, the slower one.
  struct Moment {
    RunLoop::TimePoint device;
    std::chrono::steady_clock::time_point wall;
  };

  void listen() {
    const auto& bytes = device_.heard();
    bool hasMusic = false;
    for (std::size_t at = 0; at + frameBytes <= bytes.size(); at += frameBytes) {
      std::uint32_t frame = 0;
      std::memcpy(&frame, bytes.data() + at, sizeof frame);
      if (frame == 0) {
        ++zeros_;
        continue;
      }
      longestZeros_ = std::max(longestZeros_, std::exchange(zeros_, 0));
      hasMusic = true;
      ++heard_;
    }
    device_.forgetHeard();
    if (!hasMusic) return;
    const Moment now{time_.now(), std::chrono::steady_clock::now()};
    if (lastMusic_)
      longestSilence_ = std::max({longestSilence_, RunLoop::Duration(now.device - lastMusic_->device),
                                  RunLoop::Duration(now.wall - lastMusic_->wall)});
    lastMusic_ = now;
  }

  static constexpr std::size_t frameBytes = 4;  // 16-bit stereo; of wider samples every piece of this size counts

  SimulatedDevice& device_;
  ManualRunLoop& time_;
  std::uint64_t heard_ = 0, zeros_ = 0, longestZeros_ = 0;
  std::optional<Moment> lastMusic_;
  RunLoop::Duration longestSilence_{};
  RunLoop::Timer timer_;
};

void measure(const char* name, const FileURL& first, const FileURL& second) {
  test::PollRunLoop realTime;
  DemoRack rack(realTime);
  SimulatedDeviceConfig config;
  config.name = "DAC";
  config.rateSettleDelay = 30ms;
  config.captures = true;
  const AudioObjectID dac = rack.hardware().addDevice(std::move(config));
  rack.hardware().setDefaultDevice(dac);

  // Threads may outlive this function.
  const auto files = std::make_shared<SystemAudioFileServices>();
  const auto reading = std::make_shared<std::atomic<int>>(0);
  const auto background = [files, reading](BackgroundWork work) {
    ++*reading;
    runInLowPriorityThread([files, reading, work = std::move(work)] {
      work();
      --*reading;
    });
  };
  MemoryUserDefaults defaults;
  SystemFileBookmarks bookmarks;
  MemoryLog log;
  SessionLink link;
  SessionHost host({.hardware = rack.hardware(),
                    .files = *files,
                    .defaults = defaults,
                    .bookmarks = bookmarks,
                    .runLoop = rack.runLoop(),
                    .log = log,
                    .background = background,
                    .lowPriority = background},
                   link);
  PlayerSession& session = host.session();
  const auto await = [&](const char* what, const std::function<bool()>& condition) {
    if (!realTime.runUntil(condition, patience))
      throw std::runtime_error(std::string("not within five minutes: ") + what);
  };
  await("the devices", [&] { return host.devices().selectedDevice().value().has_value(); });
  host.devices().select(dac);
  Ear ear(rack.hardware().device(dac), rack.runLoop());
  session.loadPlaylist(std::vector{first, second}, true);
  await("the first track", [&] { return session.player().isPlaying().value() && ear.heard() > 0; });
  realTime.runFor(500ms);
  await("the next track read ahead", [&] { return *reading == 0; });
  session.seek(session.playbackDuration().value() - secondsFromDuration(playedBefore));
  realTime.runFor(1s);
  ear.beginAnew();
  await("the second track",
        [&] { return session.player().currentURL().value() == second && session.player().isPlaying().value(); });
  realTime.runFor(playedAfter);
  std::printf(R"({"what":"%s","silentFrames":%llu,"milliseconds":%.1f})"
              "\n",
              name, static_cast<unsigned long long>(ear.longestZeros()),
              secondsFromDuration(ear.longestSilence()) * 1000);
  std::fflush(stdout);
}

}  // namespace
}  // namespace tolvane

int main(int argc, char* argv[]) {
  if (argc < 4 || argc % 3 != 1) {
    std::fputs("Usage: bench_silence (NAME FIRST SECOND)...\n", stderr);
    return 2;
  }
  try {
    for (int at = 1; at < argc; at += 3)
      tolvane::measure(argv[at], tolvane::FileURL(argv[at + 1]), tolvane::FileURL(argv[at + 2]));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "bench_silence: %s\n", failure.what());
    return 1;
  }
}
