#pragma once
// A program that a test starts and ends: SIGTERM and a wait, at the latest in the destructor.

#include <sys/types.h>

#include <string>
#include <vector>

namespace tolvane::test {

class ChildProcess {
 public:
  /// The program is looked for in PATH. Throws std::system_error when it cannot be started.
  explicit ChildProcess(const std::vector<std::string>& command);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess() { end(); }

  [[nodiscard]] pid_t pid() const { return pid_; }
  void end();

 private:
  pid_t pid_ = -1;
};

}  // namespace tolvane::test
