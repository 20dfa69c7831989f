#include "platform/codecs/decoding/AvailableMemory.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace tolvane {
namespace {

constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

/// Nothing if the file does not exist, or holds a word ("max").
std::optional<std::uint64_t> numberIn(const std::filesystem::path& file) {
  std::ifstream text(file);
  std::uint64_t number = 0;
  return text >> number ? std::optional(number) : std::nullopt;
}

/// Bytes of a group's memory that the kernel takes back before it runs out.
std::uint64_t cachedFilesIn(const std::filesystem::path& group) {
  std::ifstream text(group / "memory.stat");
  std::uint64_t bytes = 0, number = 0;
  for (std::string name; text >> name >> number;)
    if (name == "inactive_file" || name == "active_file") bytes += number;
  return bytes;
}

std::uint64_t leftIn(const std::filesystem::path& group) {
  const auto limit = numberIn(group / "memory.max");
  const auto used = numberIn(group / "memory.current");
  if (!limit || !used) return unlimited;
  const std::uint64_t kept = *used - std::min(*used, cachedFilesIn(group));
  return *limit - std::min(*limit, kept);
}

}  // namespace

std::uint64_t availableMemoryIn(std::istream& meminfo) {
  constexpr std::uint64_t kibibyte = 1024;
  std::uint64_t bytes = 0;
  bool isKnown = false;
  for (std::string name; meminfo >> name;) {
    std::uint64_t kibibytes = 0;
    if (!(meminfo >> kibibytes)) break;
    if (name == "MemAvailable:") isKnown = true;
    if (name == "MemAvailable:" || name == "SwapFree:") bytes += kibibytes * kibibyte;
    meminfo.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
  }
  return isKnown ? bytes : unlimited;
}

std::uint64_t memoryLeftByGroups(const std::filesystem::path& root, std::istream& groups) {
  constexpr std::string_view own = "0::/";
  std::uint64_t left = unlimited;
  for (std::string line; std::getline(groups, line);) {
    if (!line.starts_with(own)) continue;
    std::filesystem::path group = std::filesystem::path(line.substr(own.size())).lexically_normal();
    // Each group has its parents' limits, too. The root has none.
    for (; !group.empty() && group.native() != "." && !group.native().starts_with(".."); group = group.parent_path())
      left = std::min(left, leftIn(root / group));
  }
  return left;
}

std::uint64_t availableMemory() {
  std::ifstream meminfo("/proc/meminfo");
  std::ifstream groups("/proc/self/cgroup");
  return std::min(availableMemoryIn(meminfo), memoryLeftByGroups("/sys/fs/cgroup", groups));
}

}  // namespace tolvane
