#pragma once
// All that the window's thread and the player's share: commands one way, the latest state the other. Either side may
// come first and go first. The lock is held for as long as it takes to hand over a pointer, never across a call into
// one of the sides.

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
    /// Of the interrupt that came with it; 0: none did.
    std::uint64_t interrupt = 0;
  };
  using State = std::shared_ptr<const SessionState>;

  // Window's thread.

  /// `onState` runs on that run loop, in a turn of its own, when there is a state to take.
  void connectWindow(RunLoop& runLoop, RunLoop::Action onState);
  void disconnectWindow();
  /// Older commands that it supersedes and that have not begun are dropped.
  void send(NumberedCommand command);
  /// The latest state; null when it has been taken already.
  [[nodiscard]] State takeState();

  // Player's thread.

  /// `onCommand` runs on that run loop, in a turn of its own, when there are commands to take: those, too, that were
  /// sent before.
  void connectPlayer(RunLoop& runLoop, RunLoop::Action onCommand);
  void disconnectPlayer();
  /// The oldest command that is left; nothing when there is none.
  [[nodiscard]] std::optional<NumberedCommand> takeCommand();
  /// Replaces a state that nobody has taken.
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
