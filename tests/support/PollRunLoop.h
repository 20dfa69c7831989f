#pragma once
// A run loop on real time and poll(2), for programs that test real devices. Tests that need no device use the manual
// run loop. For the thread that makes it, except post().

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/RunLoop.h"

namespace tolvane::test {

class PollRunLoop final : public RunLoop {
 public:
  PollRunLoop();
  PollRunLoop(const PollRunLoop&) = delete;
  PollRunLoop& operator=(const PollRunLoop&) = delete;
  ~PollRunLoop() override;

  [[nodiscard]] TimePoint now() const override;
  [[nodiscard]] Timer scheduleTimer(Duration interval, bool repeats, Action action) override;
  void post(Action action) override;
  void sleepFor(Duration duration) override;
  [[nodiscard]] Watch watchDescriptor(int descriptor, Action action) override;

  /// Runs for that long.
  void runFor(Duration duration);
  /// Runs until the condition holds after a turn; false when `limit` passed before.
  [[nodiscard]] bool runUntil(const std::function<bool()>& condition, Duration limit);

 private:
  struct Entry;
  struct Entries;
  class Handle;

  void turn(TimePoint limit);
  void runPosted();
  void runTimers();
  void waitForDescriptors(TimePoint limit);

  int wakeDescriptor_;
  std::shared_ptr<Entries> entries_;
  std::mutex postedMutex_;
  std::vector<Action> posted_;  // guarded by postedMutex_
};

}  // namespace tolvane::test
