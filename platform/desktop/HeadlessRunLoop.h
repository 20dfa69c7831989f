#pragma once
// The run loop of a program without a window, with the event loop it needs. For the thread that makes it, except post()
// and quit(). One per process; a program with a window uses QtRunLoop under its own application object.

#include <memory>

#include "platform/RunLoop.h"

namespace tolvane {

class HeadlessRunLoop final : public RunLoop {
 public:
  HeadlessRunLoop();
  ~HeadlessRunLoop() override;

  /// Runs until quit(); returns its exit code. Returns at once if quit() was called before.
  int run();
  void quit(int exitCode);

  [[nodiscard]] TimePoint now() const override;
  [[nodiscard]] Timer scheduleTimer(Duration interval, bool repeats, Action action) override;
  void post(Action action) override;
  void sleepFor(Duration duration) override;
  [[nodiscard]] Watch watchDescriptor(int descriptor, Action action) override;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace tolvane
