#pragma once
// The location of the user's PipeWire server, and a watch for its socket. Player's thread; uses inotify through the run
// loop and opens no connection.

#include <functional>
#include <string>

#include "platform/RunLoop.h"

namespace tolvane {

/// Where clients of PipeWire look for the server's socket; empty where there can be none. `variable` gives a variable
/// of the environment, empty when it is not set.
[[nodiscard]] std::string pipeWireSocketPath(const std::function<std::string(const char*)>& variable);

class PipeWireServerWatch {
 public:
  PipeWireServerWatch(RunLoop& runLoop, std::string socketPath, std::function<void()> appeared);
  ~PipeWireServerWatch();
  PipeWireServerWatch(const PipeWireServerWatch&) = delete;
  PipeWireServerWatch& operator=(const PipeWireServerWatch&) = delete;

  /// There is a socket; it may have no server behind it.
  [[nodiscard]] bool isThere() const;

 private:
  void read();

  const std::string path_;
  const std::string name_;
  const std::function<void()> appeared_;
  int inotify_ = -1;
  RunLoop::Watch watch_;
};

}  // namespace tolvane
