#include "platform/DeviceCalls.h"

#include <pthread.h>

#include <algorithm>
#include <csignal>
#include <deque>
#include <exception>
#include <system_error>
#include <thread>
#include <vector>

namespace tolvane {
namespace {

thread_local bool makesDeviceCalls = false;

/// Must never be destroyed: its thread has ended, and the process is about to end.
void keepForEver(RunLoop::Action action) {
  static std::mutex& mutex = *new std::mutex;  // never destroyed: threads outlive the statics
  static auto& kept = *new std::vector<RunLoop::Action>;
  const std::scoped_lock lock(mutex);
  kept.push_back(std::move(action));
}

std::string secondsText(DeviceCalls::Clock::duration duration) {
  return std::to_string(std::chrono::round<std::chrono::seconds>(duration).count()) + " s";
}

}  // namespace

// The caller's thread, as seen from calls.

struct DeviceCalls::Home::State {
  std::mutex mutex;
  RunLoop* runLoop;  // guarded by mutex; null when the DeviceCalls have ended
  Log* log;          // guarded by mutex; null with it
};

void DeviceCalls::Home::post(RunLoop::Action action) const {
  const std::scoped_lock lock(state_->mutex);
  if (state_->runLoop == nullptr) return keepForEver(std::move(action));
  state_->runLoop->post(std::move(action));
}

std::shared_ptr<void> DeviceCalls::Home::bind(std::shared_ptr<void> thing) const {
  if (!thing) return nullptr;
  void* address = thing.get();
  return {address, [home = *this, thing = std::move(thing)](void*) mutable {
            if (isCallThread()) home.post([thing = std::move(thing)] {});
          }};
}

void DeviceCalls::Home::write(LogLevel level, const std::string& message) const {
  const std::scoped_lock lock(state_->mutex);
  if (state_->log != nullptr) state_->log->write(level, audioHardwareCategory, message);
}

// The calls.

struct DeviceCalls::Call {
  std::string who;
  Clock::time_point began;
  std::function<void()> body;   // handed to the call's thread, which destroys it
  std::function<void()> ended;  // likewise, after an abandoned call
  bool isAnnounced = true;      // its end is logged if it was abandoned

  // Guarded by Shared::mutex.
  bool isDone = false;
  bool isLeft = false;
  std::exception_ptr failure{};
};

struct DeviceCalls::Shared {
  Shared(Home to, std::shared_ptr<const Time> by) : home(std::move(to)), time(std::move(by)) {}

  const Home home;
  const std::shared_ptr<const Time> time;

  mutable std::mutex mutex;
  std::condition_variable changed;  ///< a call is done, or an interrupt has come
  std::condition_variable handed;   ///< there is a call to make, or there will be no more
  // Guarded by mutex.
  std::deque<std::shared_ptr<Call>> queue;
  std::size_t idle = 0;  ///< threads that wait for a call, or are about to
  bool isClosed = false;
  std::optional<Waiting> waiting;
  std::uint64_t interrupts = 0;  ///< the number of the last one
  std::uint64_t obeyed = 0;      ///< the last one that is no longer in force
  bool hasInterrupted = false;   ///< the one in force has ended a wait

  /// REQUIRES: the lock.
  [[nodiscard]] bool isInterrupted() const { return interrupts > obeyed; }
  [[nodiscard]] Clock::time_point interruptedFrom(Clock::time_point since) const {
    return since + (hasInterrupted ? shortestAgain : shortest);
  }
};

DeviceCalls::DeviceCalls(RunLoop& runLoop, Log& log, std::shared_ptr<const Time> time)
    : home_([&] {
        Home home;
        home.state_ = std::make_shared<Home::State>();
        home.state_->runLoop = &runLoop;
        home.state_->log = &log;
        return home;
      }()),
      shared_(std::make_shared<Shared>(home_, time ? std::move(time) : std::make_shared<const SteadyWaitingTime>())) {}

DeviceCalls::~DeviceCalls() {
  {
    const std::scoped_lock lock(shared_->mutex);
    shared_->isClosed = true;
  }
  shared_->handed.notify_all();
  const std::scoped_lock lock(home_.state_->mutex);
  home_.state_->runLoop = nullptr;
  home_.state_->log = nullptr;
}

bool DeviceCalls::isCallThread() { return makesDeviceCalls; }

std::uint64_t DeviceCalls::interrupt() {
  const std::scoped_lock lock(shared_->mutex);
  shared_->changed.notify_all();
  return ++shared_->interrupts;
}

void DeviceCalls::clearInterrupts(std::uint64_t upTo) {
  const std::scoped_lock lock(shared_->mutex);
  shared_->obeyed = std::max(shared_->obeyed, upTo);
  shared_->hasInterrupted = false;
}

std::optional<DeviceCalls::Waiting> DeviceCalls::waiting() const {
  const std::scoped_lock lock(shared_->mutex);
  return shared_->waiting;
}

bool DeviceCalls::perform(const std::string& who, std::function<void()> body, std::function<void()> ended) {
  const Wait wait(*this, who);
  const auto began = shared_->time->now();
  const auto call = std::make_shared<Call>(Call{who, began, std::move(body), std::move(ended)});
  if (!handOver(call)) {
    // If no thread can be created, the call is made on this one, which may hang.
    call->body();
    return true;
  }
  std::exception_ptr failure;
  {
    std::unique_lock lock(shared_->mutex);
    bool isInterrupt = false;
    while (!call->isDone) {
      isInterrupt = shared_->isInterrupted();
      const auto end = isInterrupt ? shared_->interruptedFrom(began) : began + patience;
      if (shared_->time->now() >= end) break;
      shared_->time->waitUntil(lock, shared_->changed, end);
    }
    if (!call->isDone) {
      call->isLeft = true;
      shared_->hasInterrupted = shared_->hasInterrupted || isInterrupt;
      lock.unlock();
      home_.write(LogLevel::error, who + " does not answer: a call into its driver was left behind after " +
                                       secondsText(shared_->time->now() - began));
      return false;
    }
    failure = std::exchange(call->failure, nullptr);
  }
  if (failure) std::rethrow_exception(failure);
  return true;
}

void DeviceCalls::leave(const std::string& who, std::function<void()> body, std::function<void()> ended) {
  const auto call = std::make_shared<Call>(Call{who, shared_->time->now(), std::move(body), std::move(ended)});
  call->isAnnounced = false;
  call->isLeft = true;
  if (handOver(call)) return;
  call->body();
  call->body = nullptr;
  if (call->ended) call->ended();
}

/// Passes the call to an idle thread, else to a new one. False: no thread could be created.
bool DeviceCalls::handOver(const std::shared_ptr<Call>& call) {
  {
    const std::scoped_lock lock(shared_->mutex);
    if (shared_->idle > shared_->queue.size()) {
      shared_->queue.push_back(call);
      shared_->handed.notify_one();
      return true;
    }
  }
  try {
    std::thread([shared = shared_, call]() mutable { work(shared, std::move(call)); }).detach();
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

// The call's thread.

/// Makes one call after the other. A thread whose call was abandoned continues as well: the kernel and other programs
/// identify the owner of a PCM by the thread that opened it, so no thread may end before the DeviceCalls.
void DeviceCalls::work(const std::shared_ptr<Shared>& shared, std::shared_ptr<Call> call) {
  makesDeviceCalls = true;
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
  while (call) {
    std::exception_ptr failure;
    try {
      call->body();
    } catch (...) {
      failure = std::current_exception();
    }
    // Before the caller continues: afterwards this thread could be the last owner of a shared object, and close it
    // when the caller does not expect it.
    call->body = nullptr;
    bool isLeft = false;
    {
      const std::scoped_lock lock(shared->mutex);
      call->isDone = true;
      isLeft = call->isLeft;
      if (!isLeft) call->failure = std::exchange(failure, nullptr);
      ++shared->idle;  // this thread can take the next call
    }
    if (isLeft) {
      if (call->isAnnounced)
        shared->home.write(LogLevel::standard, call->who + ": the call that hung in its driver ended after " +
                                                   secondsText(shared->time->now() - call->began));
      if (const auto ended = std::exchange(call->ended, nullptr)) ended();
    } else {
      shared->changed.notify_all();
    }
    call.reset();
    std::unique_lock lock(shared->mutex);
    shared->handed.wait(lock, [&] { return shared->isClosed || !shared->queue.empty(); });
    --shared->idle;
    if (shared->queue.empty()) return;
    call = std::move(shared->queue.front());
    shared->queue.pop_front();
  }
}

// Waits of the calling thread's own.

DeviceCalls::Wait::Wait(DeviceCalls& calls, const std::string& who)
    : calls_(calls), since_(calls.shared_->time->now()) {
  const std::scoped_lock lock(calls_.shared_->mutex);
  outer_ = calls_.shared_->waiting;
  if (outer_ && outer_->who == who) since_ = outer_->since;
  calls_.shared_->waiting = Waiting{who, since_};
}

DeviceCalls::Wait::~Wait() {
  const std::scoped_lock lock(calls_.shared_->mutex);
  calls_.shared_->waiting = outer_;
}

bool DeviceCalls::Wait::isInterrupted() const {
  Shared& shared = *calls_.shared_;
  const std::scoped_lock lock(shared.mutex);
  if (!shared.isInterrupted() || shared.time->now() < shared.interruptedFrom(since_)) return false;
  shared.hasInterrupted = true;
  return true;
}

}  // namespace tolvane
