#pragma once
// The log on standard error, where the journal or a terminal takes it up: "category: message", one line a message.
// Any thread but the render thread. Never fails: a log that nobody reads must not disturb the music.

#include "platform/Log.h"

namespace tolvane {

class StandardErrorLog final : public Log {
 public:
  /// Messages below the level are dropped.
  explicit StandardErrorLog(LogLevel minimum = LogLevel::info) : minimum_(minimum) {}

  void write(LogLevel level, std::string_view category, std::string_view message) override;

 private:
  const LogLevel minimum_;
};

}  // namespace tolvane
