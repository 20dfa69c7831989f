#pragma once
// Everything that the window's thread and the player's share: commands in one direction, the latest state in the other.
// Either side may be created and destroyed first. The lock is held only to hand over a pointer, never during a call
// into one of the sides.

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

#include "session/SessionCommand.h"

namespace tolvane {

class SessionLink {
 public:
  struct NumberedCommand {
    std::uint64_t number = 0;  ///< ascending
    SessionCommand command;
    /// The number of the interrupt that came with it; 0: none.
    std::uint64_t interrupt = 0;
  };
  using State = std::shared_ptr<const SessionState>;

  // Window's thread.

  /// `onState` runs on that run loop, in its own turn, when there is a state to take.
  void connectWindow(RunLoop& runLoop, RunLoop::Action onState);
  void disconnectWindow();
  /// Drops older commands that it supersedes and that have not begun.
  void send(NumberedCommand command);
  /// The latest state; null if it has already been taken.
  [[nodiscard]] State takeState();

  // Player's thread.

  /// `onCommand` runs on that run loop, in its own turn, when there are commands to take, including those sent before.
  void connectPlayer(RunLoop& runLoop, RunLoop::Action onCommand);
  void disconnectPlayer();
  /// The oldest remaining command; nothing when there is none.
  [[nodiscard]] std::optional<NumberedCommand> takeCommand();
  /// Replaces a state that has not been taken.
  void publish(State state);

 private:
  struct Side {
    RunLoop* runLoop = nullptr;
    RunLoop::Action action;

    void wake() const {
      if (runLoop != nullptr) runLoop->post(action);
    }
  };

  std::mutex mutex_;
  // Guarded by mutex_:
  Side window_;
  Side player_;
  std::deque<NumberedCommand> commands_;
  State state_;
};

}  // namespace tolvane
