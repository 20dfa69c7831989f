#pragma once
// The log on standard error, for the journal or a terminal: "category: message", one line per message. Any thread but
// the render thread. Never fails: a closed or full standard error must not disturb playback.

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
