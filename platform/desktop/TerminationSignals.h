#pragma once
// Turns SIGINT, SIGTERM and SIGHUP into a call on the window's thread, so that the device is released properly before
// the program ends. Window's thread; one per process. A second signal of the same kind ends the program at once.

#include <functional>

#include "platform/RunLoop.h"

namespace tolvane {

class TerminationSignals {
 public:
  /// `action` is given the signal's number. Throws std::system_error when the system has no descriptors left.
  TerminationSignals(RunLoop& runLoop, std::function<void(int signal)> action);
  /// Restores the default action: the signals end the program.
  ~TerminationSignals();
  TerminationSignals(const TerminationSignals&) = delete;
  TerminationSignals& operator=(const TerminationSignals&) = delete;

 private:
  void signalArrived() const;

  std::function<void(int)> action_;
  RunLoop::Watch watch_;
};

}  // namespace tolvane
