#include "platform/desktop/StandardErrorLog.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

namespace tolvane {

void StandardErrorLog::write(LogLevel level, std::string_view category, std::string_view message) {
  if (level < minimum_) return;
  std::string line;
  line.reserve(category.size() + message.size() + 3);
  line.append(category).append(": ").append(message);
  // A file name may hold anything, also a line break: one message stays one line.
  std::ranges::replace_if(
      line, [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
  line += '\n';
  // One write, so that lines of several threads do not mix.
  while (::write(STDERR_FILENO, line.data(), line.size()) < 0 && errno == EINTR) {
  }
}

}  // namespace tolvane
