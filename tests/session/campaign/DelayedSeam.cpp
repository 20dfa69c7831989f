#include "tests/session/campaign/DelayedSeam.h"

#include <stdexcept>
#include <utility>

namespace tolvane {

RunLoop::Action SideLoop::postedBy(const std::function<void()>& send) {
  isTaking_ = true;
  send();
  isTaking_ = false;
  return std::exchange(taken_, nullptr);
}

void SideLoop::post(Action action) {
  if (isTaking_) {
    taken_ = std::move(action);
    return;
  }
  loop_.post([run = run_, action = std::move(action)] { run(action); });
}

/// Nothing but post() is used of it.
class DelayedSeam::Bell final : public RunLoop {
 public:
  explicit Bell(std::function<void()> onRing) : onRing_(std::move(onRing)) {}

  void post(Action) override { onRing_(); }
  [[nodiscard]] TimePoint now() const override { throw std::logic_error("a bell has no time"); }
  [[nodiscard]] Timer scheduleTimer(Duration, bool, Action) override { throw std::logic_error("a bell has no timers"); }
  void sleepFor(Duration) override { throw std::logic_error("a bell does not sleep"); }
  [[nodiscard]] Watch watchDescriptor(int, Action) override { throw std::logic_error("a bell watches nothing"); }

 private:
  std::function<void()> onRing_;
};

DelayedSeam::DelayedSeam(Parts parts)
    : parts_(std::move(parts)),
      // Both are called with the link's lock held: they only schedule.
      commandBell_(std::make_shared<Bell>([this] {
        parts_.onSent(++sentCount_);
        parts_.later(parts_.drawDelay(), [this] { parts_.playersTime.post([this] { (void)deliverCommand(); }); });
      })),
      stateBell_(std::make_shared<Bell>([this] {
        parts_.later(parts_.drawDelay(), [this] { parts_.windowsTime.post([this] { (void)deliverState(); }); });
      })) {
  windowsEnd_.connectPlayer(*commandBell_, [] {});
  playersEnd_.connectWindow(*stateBell_, [] {});
}

bool DelayedSeam::deliverCommand() {
  const auto command = windowsEnd_.takeCommand();
  if (!command) return false;
  const auto carryOut = parts_.playersLoop.postedBy([&] { playersEnd_.send(*command); });
  if (carryOut) parts_.onCommand(*command, carryOut);
  return true;
}

bool DelayedSeam::deliverState() {
  const auto state = playersEnd_.takeState();
  if (!state) return false;
  const auto adopt = parts_.windowsLoop.postedBy([&] { windowsEnd_.publish(state); });
  seen_ = state;
  ++seenCount_;
  if (adopt) adopt();
  return true;
}

}  // namespace tolvane
