#pragma once
// The contract of the log: one line a message, with a level and a category. Never used on the render thread.

#include <cstdint>
#include <string_view>

namespace tolvane {

enum class LogLevel : std::uint8_t { debug, info, standard, error };

/// Categories that several classes write under: the engine's output, and the devices.
constexpr std::string_view audioOutputCategory = "AudioOutput";
constexpr std::string_view audioHardwareCategory = "AudioHardware";

class Log {
 public:
  virtual ~Log() = default;

  /// Any thread but the render thread. `message` is plain text without a line break at its end.
  virtual void write(LogLevel level, std::string_view category, std::string_view message) = 0;
};

}  // namespace tolvane
