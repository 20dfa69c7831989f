#include "platform/codecs/AvailableMemory.h"

#include <fstream>
#include <limits>
#include <string>

namespace tolvane {

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
  return isKnown ? bytes : std::numeric_limits<std::uint64_t>::max();
}

std::uint64_t availableMemory() {
  std::ifstream meminfo("/proc/meminfo");
  return availableMemoryIn(meminfo);
}

}  // namespace tolvane
