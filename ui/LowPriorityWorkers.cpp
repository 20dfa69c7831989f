#include "ui/LowPriorityWorkers.h"

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace tolvane {

namespace {

constexpr int lowPriority = 10;  // nice value
constexpr auto patience = std::chrono::seconds(2);

}  // namespace

struct LowPriorityWorkers::Queue {
  struct Thread {
    std::optional<Clock::time_point> busySince;
    bool isReplaced = false;
  };

  const std::size_t atOnce;
  std::mutex mutex{};
  std::condition_variable changed{};
  // Guarded by mutex:
  std::vector<Work> waiting{};
  std::list<Thread> threads{};
  bool isEnding = false;

  void serve(std::list<Thread>::iterator self, const std::function<Clock::time_point()>& now) {
    // On Linux a nice value is the calling thread's alone.
    setpriority(PRIO_PROCESS, 0, std::max(lowPriority, getpriority(PRIO_PROCESS, 0)));
    std::unique_lock lock(mutex);
    while (true) {
      changed.wait(lock, [this] { return isEnding || !waiting.empty(); });
      if (isEnding) break;
      {
        const Work work = std::exchange(waiting.back(), nullptr);
        waiting.pop_back();
        self->busySince = now();
        lock.unlock();
        work();
      }
      lock.lock();
      self->busySince.reset();
      if (self->isReplaced && countNotReplaced() >= atOnce) break;
      self->isReplaced = false;
    }
    threads.erase(self);
    changed.notify_all();
  }

  [[nodiscard]] std::size_t countNotReplaced() const {
    return static_cast<std::size_t>(std::ranges::count(threads, false, &Thread::isReplaced));
  }

  /// The number of threads that can take work; one that hangs is not counted.
  std::size_t countServing(Clock::time_point now) {
    for (Thread& thread : threads)
      if (thread.busySince && now - *thread.busySince >= hangsAfter) thread.isReplaced = true;
    return countNotReplaced();
  }
};

LowPriorityWorkers::LowPriorityWorkers(unsigned threads, std::function<Clock::time_point()> now)
    : now_(std::move(now)), queue_(std::make_shared<Queue>(threads)) {}

LowPriorityWorkers::~LowPriorityWorkers() {
  std::unique_lock lock(queue_->mutex);
  queue_->isEnding = true;
  auto dropped = std::exchange(queue_->waiting, {});
  lock.unlock();
  dropped.clear();  // destroying its objects may take time
  lock.lock();
  queue_->changed.notify_all();
  queue_->changed.wait_for(lock, patience, [this] { return queue_->threads.empty(); });
}

void LowPriorityWorkers::run(Work work) {
  const std::lock_guard lock(queue_->mutex);
  queue_->waiting.push_back(std::move(work));
  queue_->changed.notify_one();
  auto& threads = queue_->threads;
  if (queue_->countServing(now_()) >= queue_->atOnce || threads.size() >= mostThreads) return;
  const auto newest = threads.emplace(threads.end());
  try {
    std::thread([queue = queue_, newest, now = now_] { queue->serve(newest, now); }).detach();
  } catch (const std::system_error&) {
    // No thread can be created now. The work waits for the next request, which tries again.
    threads.erase(newest);
  }
}

}  // namespace tolvane
