#include "platform/desktop/StandardErrorLog.h"

#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/PrintableText.h"

namespace tolvane {

void StandardErrorLog::write(LogLevel level, std::string_view category, std::string_view message) {
  if (level < minimum_) return;
  // A file name may hold anything, also a line break: one message stays one line.
  const std::string line = std::string(category) + ": " + printableText(message) + '\n';
  // One write, so that lines of several threads do not mix.
  while (::write(STDERR_FILENO, line.data(), line.size()) < 0 && errno == EINTR) {
  }
}

}  // namespace tolvane
