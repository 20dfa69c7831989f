#include "tests/engine/render/SystemCallTrap.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <iterator>

namespace tolvane::test {
namespace {

/// From here on this process may end itself and nothing else.
bool forbidSystemCalls() {
  sock_filter instructions[] = {
      {BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)},
      {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, SYS_exit_group},
      {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW},
      {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_KILL_PROCESS},
  };
  sock_fprog program{static_cast<unsigned short>(std::size(instructions)), instructions};
  // The first lets a process without privileges install a filter.
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

}  // namespace

TrappedOutcome runWithoutSystemCalls(int (*code)(void*), void* argument) {
  const pid_t child = fork();
  if (child == 0) {
    if (!forbidSystemCalls()) _exit(kTrapFailed);
    _exit(code(argument));
  }
  int status = 0;
  while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (child < 0) return {false, kTrapFailed};
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS) return {true, -1};
  return {false, WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

}  // namespace tolvane::test
