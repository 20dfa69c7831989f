#include "session/SessionLink.h"

#include <utility>

namespace tolvane {

void SessionLink::connectWindow(RunLoop& runLoop, RunLoop::Action onState) {
  const std::lock_guard lock(mutex_);
  window_ = {&runLoop, std::move(onState)};
  if (state_) window_.wake();
}

void SessionLink::disconnectWindow() {
  const std::lock_guard lock(mutex_);
  window_ = {};
}

void SessionLink::send(NumberedCommand command) {
  std::deque<NumberedCommand> dropped;  // freed without the lock
  const std::lock_guard lock(mutex_);
  for (auto& older : std::exchange(commands_, {}))
    (supersedes(command.command, older.command) ? dropped : commands_).push_back(std::move(older));
  commands_.push_back(std::move(command));
  player_.wake();
}

SessionLink::State SessionLink::takeState() {
  const std::lock_guard lock(mutex_);
  return std::exchange(state_, nullptr);
}

void SessionLink::connectPlayer(RunLoop& runLoop, RunLoop::Action onCommand) {
  const std::lock_guard lock(mutex_);
  player_ = {&runLoop, std::move(onCommand)};
  for (std::size_t waiting = 0; waiting < commands_.size(); ++waiting) player_.wake();
}

void SessionLink::disconnectPlayer() {
  const std::lock_guard lock(mutex_);
  player_ = {};
}

std::optional<SessionLink::NumberedCommand> SessionLink::takeCommand() {
  const std::lock_guard lock(mutex_);
  if (commands_.empty()) return std::nullopt;
  auto command = std::move(commands_.front());
  commands_.pop_front();
  return command;
}

void SessionLink::publish(State state) {
  State unread;  // freed without the lock
  const std::lock_guard lock(mutex_);
  unread = std::exchange(state_, std::move(state));
  if (!unread) window_.wake();
}

}  // namespace tolvane
