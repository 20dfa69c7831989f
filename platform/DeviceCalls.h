#pragma once
// Runs calls that may hang in a driver on threads of their own while the caller's thread waits, so that no driver can
// block that thread without limit. A call that takes too long is abandoned: when it ends on its thread, it releases
// there what it owns, and that is logged. One thread calls; see each section for the others.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

#include "platform/Log.h"
#include "platform/RunLoop.h"
#include "platform/WaitingTime.h"

namespace tolvane {

class DeviceCalls {
 public:
  using Time = WaitingTime;
  using Clock = Time::Clock;

  /// A wait is never interrupted before this: opening a healthy device may take this long.
  static constexpr std::chrono::milliseconds shortest{1000};
  /// The same, after the interrupt in force has ended a wait, so that cleanup does not take a second per call.
  static constexpr std::chrono::milliseconds shortestAgain{250};
  /// The longest wait for a call. The kernel gives a USB device five seconds per request and then reports an error: a
  /// call may make two of these and still return the actual error.
  static constexpr std::chrono::milliseconds patience{10'000};

  /// What the caller's thread waits for.
  struct Waiting {
    std::string who;  ///< the device's name, for the user
    Clock::time_point since;
  };

  /// The caller's thread, as seen from an abandoned call. Copies outlive the DeviceCalls. Any thread.
  class Home {
   public:
    /// Runs the action in a turn of the caller's run loop. After the end of the DeviceCalls it does nothing.
    void post(RunLoop::Action action) const;
    /// The same object, to be destroyed on the caller's thread whichever thread releases it last. Null for null.
    [[nodiscard]] std::shared_ptr<void> bind(std::shared_ptr<void> thing) const;

   private:
    friend class DeviceCalls;
    struct State;
    void write(LogLevel level, const std::string& message) const;
    std::shared_ptr<State> state_;
  };

  /// The return type of run(): the call's result, or std::monostate.
  template <typename Call>
  using Result = std::conditional_t<std::is_void_v<std::invoke_result_t<Call&>>, std::monostate,
                                    std::decay_t<std::invoke_result_t<Call&>>>;

  /// Both outlive the calls. The run loop is that of the calling thread. `time`: the machine's own where it is null.
  DeviceCalls(RunLoop& runLoop, Log& log, std::shared_ptr<const Time> time = nullptr);
  /// Abandoned calls continue; they are neither waited for nor logged any more.
  ~DeviceCalls();
  DeviceCalls(const DeviceCalls&) = delete;
  DeviceCalls& operator=(const DeviceCalls&) = delete;

  // For the calling thread, one call at a time.

  /// Makes the call on another thread and waits for it; what it throws is thrown here. Nothing: it was abandoned.
  /// `call` must own everything that it uses, because it may end after everything else: it is destroyed on its thread,
  /// with its result if that is no longer wanted. Only for an abandoned call, `ended` runs there afterwards.
  template <typename Call>
  [[nodiscard]] std::optional<Result<Call>> run(const std::string& who, Call call, std::function<void()> ended = {}) {
    auto result = std::make_shared<std::optional<Result<Call>>>();
    auto body = [call = std::move(call), result]() mutable {
      if constexpr (std::is_void_v<std::invoke_result_t<Call&>>) {
        call();
        result->emplace();
      } else {
        result->emplace(call());
      }
    };
    if (!perform(who, std::move(body), std::move(ended))) return std::nullopt;
    return std::move(*result);
  }

  /// Makes the call on another thread without waiting. `ended` runs there afterwards.
  void leave(const std::string& who, std::function<void()> call, std::function<void()> ended = {});

  /// The interrupts up to this one have been handled: the command that came with it is being executed.
  void clearInterrupts(std::uint64_t upTo);

  [[nodiscard]] const Home& home() const { return home_; }

  // Any thread.

  /// The user wants something else: the current wait, and every later one, ends once it has lasted for `shortest`. In
  /// force until clearInterrupts() is called with the number that this returns, or a later one.
  std::uint64_t interrupt();

  /// The current wait.
  [[nodiscard]] std::optional<Waiting> waiting() const;

  /// Whether this thread is one that calls are made on.
  [[nodiscard]] static bool isCallThread();

  /// A wait that the calling thread makes itself, in small steps: it is named and interrupted like a call. Within
  /// another wait for the same device it counts from the beginning of that one.
  class Wait {
   public:
    Wait(DeviceCalls& calls, const std::string& who);
    ~Wait();
    Wait(const Wait&) = delete;
    Wait& operator=(const Wait&) = delete;

    /// Must be checked after each step.
    [[nodiscard]] bool isInterrupted() const;

   private:
    DeviceCalls& calls_;
    Clock::time_point since_;
    std::optional<Waiting> outer_;
  };

 private:
  struct Call;
  struct Shared;

  static void work(const std::shared_ptr<Shared>& shared, std::shared_ptr<Call> call);
  [[nodiscard]] bool perform(const std::string& who, std::function<void()> body, std::function<void()> ended);
  [[nodiscard]] bool handOver(const std::shared_ptr<Call>& call);

  const Home home_;
  const std::shared_ptr<Shared> shared_;  ///< with all threads
};

}  // namespace tolvane
