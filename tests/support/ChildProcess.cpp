#include "tests/support/ChildProcess.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>

#include <system_error>

namespace tolvane::test {

ChildProcess::ChildProcess(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const auto& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  const int error = posix_spawnp(&pid_, arguments[0], nullptr, nullptr, arguments.data(), environ);
  if (error != 0) throw std::system_error(error, std::generic_category(), command.front());
}

void ChildProcess::end() {
  if (pid_ < 0) return;
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

}  // namespace tolvane::test
