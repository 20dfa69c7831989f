#pragma once
// The states that a process has requested to be stored, recorded for the process that outlives it: a digest per state,
// in shared memory. One process writes until it dies, the other reads after that.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/UserDefaults.h"

namespace tolvane::test {

class StateJournal {
 public:
  StateJournal();
  ~StateJournal();
  StateJournal(const StateJournal&) = delete;
  StateJournal& operator=(const StateJournal&) = delete;

  /// Of the playlist and the place in it, as they are in these defaults.
  [[nodiscard]] static std::uint64_t digest(const UserDefaults& defaults);

  /// Before the first process: what is stored already.
  void beginWith(std::uint64_t digest);

  // The process that will die.

  /// Announces the next state, before it may be stored. False when there is room for no more.
  [[nodiscard]] bool announce(std::uint64_t digest);
  /// The last announced state is stored for certain.
  void confirm();

  // The process that remains.

  /// The states that may be stored now: the last confirmed one and all that came after it.
  [[nodiscard]] std::span<const std::uint64_t> possibleStates() const;
  [[nodiscard]] std::size_t announcedCount() const;

 private:
  struct Shared;
  Shared* shared_;
};

}  // namespace tolvane::test
