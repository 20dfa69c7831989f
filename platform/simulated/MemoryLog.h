#pragma once
// A log that keeps its lines, for tests. Any thread.

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "platform/Log.h"

namespace tolvane {

class MemoryLog final : public Log {
 public:
  struct Line {
    LogLevel level;
    std::string category;
    std::string message;

    bool operator==(const Line&) const = default;
  };

  void write(LogLevel level, std::string_view category, std::string_view message) override {
    const std::scoped_lock lock(mutex_);
    lines_.push_back({level, std::string(category), std::string(message)});
  }

  [[nodiscard]] std::vector<Line> lines() const {
    const std::scoped_lock lock(mutex_);
    return lines_;
  }
  [[nodiscard]] std::vector<std::string> messages() const {
    const std::scoped_lock lock(mutex_);
    std::vector<std::string> texts;
    for (const auto& line : lines_) texts.push_back(line.message);
    return texts;
  }
  [[nodiscard]] bool contains(std::string_view message) const {
    const std::scoped_lock lock(mutex_);
    return std::ranges::any_of(lines_, [&](const Line& line) { return line.message == message; });
  }
  void clear() {
    const std::scoped_lock lock(mutex_);
    lines_.clear();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Line> lines_;  // guarded by mutex_
};

}  // namespace tolvane
