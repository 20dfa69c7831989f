#include "ui/LowPriorityWorkers.h"

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
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
  std::mutex mutex;
  std::condition_variable changed;
  // Guarded by mutex:
  std::vector<Work> waiting;
  unsigned threads = 0;
  bool isEnding = false;

  void serve() {
    // On Linux a nice value is the calling thread's alone.
    setpriority(PRIO_PROCESS, 0, std::max(lowPriority, getpriority(PRIO_PROCESS, 0)));
    std::unique_lock lock(mutex);
    while (true) {
      changed.wait(lock, [this] { return isEnding || !waiting.empty(); });
      if (isEnding) break;
      {
        const Work work = std::exchange(waiting.back(), nullptr);
        waiting.pop_back();
        lock.unlock();
        work();
      }
      lock.lock();
    }
    --threads;
    changed.notify_all();
  }
};

LowPriorityWorkers::LowPriorityWorkers(unsigned threads) : queue_(std::make_shared<Queue>()), idleCapacity_(threads) {}

LowPriorityWorkers::~LowPriorityWorkers() {
  std::unique_lock lock(queue_->mutex);
  queue_->isEnding = true;
  auto dropped = std::exchange(queue_->waiting, {});
  lock.unlock();
  dropped.clear();  // what it owns may take its time to go
  lock.lock();
  queue_->changed.notify_all();
  queue_->changed.wait_for(lock, patience, [this] { return queue_->threads == 0; });
}

void LowPriorityWorkers::run(Work work) {
  const std::lock_guard lock(queue_->mutex);
  queue_->waiting.push_back(std::move(work));
  queue_->changed.notify_one();
  if (idleCapacity_ == 0) return;
  try {
    std::thread([queue = queue_] { queue->serve(); }).detach();
    ++queue_->threads;
    --idleCapacity_;
  } catch (const std::system_error&) {
    // No thread to be had now. The work waits for the next request, which tries again.
  }
}

}  // namespace tolvane
