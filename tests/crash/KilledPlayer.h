#pragma once
// A player on simulated hardware with a real store that does what users do until it is killed.

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "platform/FileURL.h"
#include "tests/crash/StateJournal.h"

namespace tolvane::test {

struct PlayerWorld {
  std::filesystem::path storage;
  std::vector<FileURL> music;
  StateJournal& journal;
};

/// Loads, reorders and plays in a process of its own until SIGKILL, which comes after `lifetime`, mostly counted from
/// the end of its start. Gives the status of waitpid(). REQUIRES: this process has no other thread.
[[nodiscard]] int runUntilKilled(const PlayerWorld& world, std::uint64_t seed, std::chrono::nanoseconds lifetime);

}  // namespace tolvane::test
