#pragma once
// The signal path as plain text, for a forum or a bug report. A pure function; any thread. It contains no private data
// except the file's name, which can be left out: no folder, user or host name.

#include <string>

#include "engine/PathDiagnostics.h"

namespace tolvane {

struct ReportOptions {
  std::string playerVersion;
  std::string kernel;  ///< "Linux 6.1.0-18-amd64"
  bool namesFile = true;
  std::size_t historyLines = PathHistory::capacity;  ///< at most; the newest are kept
};

/// Lines of at most 78 characters where words allow it, each with a newline. Control characters in names are replaced.
[[nodiscard]] std::string pathReport(const PathDiagnostics& diagnostics, const ReportOptions& options);

}  // namespace tolvane
