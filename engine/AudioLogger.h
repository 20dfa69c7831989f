#pragma once
// The engine's one logger: category "AudioOutput". Player's thread; never on the render thread.

#include <fmt/format.h>

#include <utility>

#include "platform/Log.h"

namespace tolvane {

class AudioLogger {
 public:
  explicit AudioLogger(Log& log) : log_(log) {}

  template <typename... Args>
  void standard(fmt::format_string<Args...> text, Args&&... args) {
    log_.write(LogLevel::standard, audioOutputCategory, fmt::format(text, std::forward<Args>(args)...));
  }

  template <typename... Args>
  void error(fmt::format_string<Args...> text, Args&&... args) {
    log_.write(LogLevel::error, audioOutputCategory, fmt::format(text, std::forward<Args>(args)...));
  }

 private:
  Log& log_;
};

}  // namespace tolvane
