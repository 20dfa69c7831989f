#pragma once
// Runs code in a child process that the kernel kills at its first system call, whatever library makes it.
// REQUIRES: the process has one thread when it calls; the code returns and leaves its judgement as a number.

namespace tolvane::test {

/// How the child ended.
struct TrappedOutcome {
  bool madeSystemCall = false;  ///< the kernel killed it for one
  int exitStatus = -1;          ///< what the code returned (0 … 100), when it came to its end

  bool operator==(const TrappedOutcome&) const = default;
};

/// The trap itself could not be set: `exitStatus` of an outcome that says nothing about the code.
constexpr int kTrapFailed = 101;

[[nodiscard]] TrappedOutcome runWithoutSystemCalls(int (*code)(void* argument), void* argument);

}  // namespace tolvane::test
