#pragma once
// The calls that simulated hardware received, in order and as text ("hog: write", "unit: start"), for tests about
// order. Player's thread. Never changes what the hardware does.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tolvane {

enum class TraceCategory : std::uint8_t {
  unit = 1,      ///< calls on output units that change them
  write = 2,     ///< property writes
  listener = 4,  ///< listeners added and removed
  read = 8,      ///< property reads of devices and units
};

class HardwareTrace {
 public:
  /// Units and writes by default. A long campaign records nothing.
  void record(std::initializer_list<TraceCategory> categories) {
    recorded_ = 0;
    for (const auto category : categories) recorded_ |= static_cast<unsigned>(category);
  }
  [[nodiscard]] bool records(TraceCategory category) const {
    return (recorded_ & static_cast<unsigned>(category)) != 0;
  }

  void add(TraceCategory category, std::string_view event) {
    if (records(category)) events_.emplace_back(event);
  }
  /// The text is `event` and `detail`, put together only when it is recorded.
  void add(TraceCategory category, std::string_view event, std::string_view detail) {
    if (records(category)) events_.push_back(std::string(event) + std::string(detail));
  }
  void clear() { events_.clear(); }

  [[nodiscard]] const std::vector<std::string>& events() const { return events_; }
  [[nodiscard]] std::size_t count(std::string_view event) const {
    return static_cast<std::size_t>(std::ranges::count(events_, event));
  }
  [[nodiscard]] bool contains(std::string_view event) const { return count(event) > 0; }
  [[nodiscard]] std::vector<std::string> startingWith(std::string_view beginning) const {
    std::vector<std::string> found;
    std::ranges::copy_if(events_, std::back_inserter(found), [&](const auto& e) { return e.starts_with(beginning); });
    return found;
  }

 private:
  unsigned recorded_ = static_cast<unsigned>(TraceCategory::unit) | static_cast<unsigned>(TraceCategory::write);
  std::vector<std::string> events_;
};

}  // namespace tolvane
