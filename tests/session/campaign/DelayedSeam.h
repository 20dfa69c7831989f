#pragma once
// Window and player on two manual run loops, and between them a seam with delays: what one side sends reaches the other
// in a turn of its own, a random time later. Both ends are the program's own SessionLink; this hands over what one end
// has to the other end, and knows of each command when it was sent and when it was carried out. The test's thread.

#include <functional>
#include <optional>

#include "platform/simulated/ManualRunLoop.h"
#include "session/SessionLink.h"

namespace tolvane {

/// A side's run loop. What the side's link posts can be taken instead, to be run at another time.
class SideLoop final : public RunLoop {
 public:
  /// Runs what is posted; by default as it is.
  using Runner = std::function<void(const Action&)>;

  explicit SideLoop(
      ManualRunLoop& loop, Runner run = [](const Action& action) { action(); })
      : loop_(loop), run_(std::move(run)) {}

  /// What is posted from within `send`, the last of it; null when nothing is.
  [[nodiscard]] Action postedBy(const std::function<void()>& send);

  [[nodiscard]] TimePoint now() const override { return loop_.now(); }
  [[nodiscard]] Timer scheduleTimer(Duration interval, bool repeats, Action action) override {
    return loop_.scheduleTimer(interval, repeats, std::move(action));
  }
  void post(Action action) override;
  void sleepFor(Duration duration) override { loop_.sleepFor(duration); }
  [[nodiscard]] Watch watchDescriptor(int descriptor, Action action) override {
    return loop_.watchDescriptor(descriptor, std::move(action));
  }

 private:
  ManualRunLoop& loop_;
  const Runner run_;
  bool isTaking_ = false;
  Action taken_;
};

class DelayedSeam {
 public:
  using Command = SessionLink::NumberedCommand;
  /// Runs the action that long from now, also while the player's thread sleeps.
  using Later = std::function<void(RunLoop::Duration, RunLoop::Action)>;

  struct Parts {
    ManualRunLoop& playersTime;
    ManualRunLoop& windowsTime;
    SideLoop& playersLoop;
    SideLoop& windowsLoop;
    Later later;
    std::function<RunLoop::Duration()> drawDelay;
    /// The window has just sent its command of this number.
    std::function<void(std::uint64_t number)> onSent;
    /// A turn of the player in which it carries out this command.
    std::function<void(const Command&, const RunLoop::Action& carryOut)> onCommand;
  };

  explicit DelayedSeam(Parts parts);
  DelayedSeam(const DelayedSeam&) = delete;
  DelayedSeam& operator=(const DelayedSeam&) = delete;

  /// Where the proxy connects, and where the host does.
  [[nodiscard]] SessionLink& windowsEnd() { return windowsEnd_; }
  [[nodiscard]] SessionLink& playersEnd() { return playersEnd_; }

  /// The state that the window has last been given; null before the first.
  [[nodiscard]] const SessionLink::State& seen() const { return seen_; }
  [[nodiscard]] std::uint64_t sentCount() const { return sentCount_; }
  [[nodiscard]] std::int64_t seenCount() const { return seenCount_; }

  // Without delay, in a turn of the side that receives. False: there was nothing.
  bool deliverCommand();
  bool deliverState();

 private:
  /// A run loop on which a link posts that the other end has something.
  class Bell;

  const Parts parts_;
  std::shared_ptr<Bell> commandBell_;
  std::shared_ptr<Bell> stateBell_;
  SessionLink windowsEnd_;
  SessionLink playersEnd_;
  SessionLink::State seen_;
  std::uint64_t sentCount_ = 0;
  std::int64_t seenCount_ = 0;
};

}  // namespace tolvane
