#pragma once
// The signal path as plain text, for a forum or a bug report. A pure function; any thread. Nothing private is in it but
// the file's name, which can be left out: no folder, no user, no machine's name.

#include <string>

#include "engine/PathDiagnostics.h"

namespace tolvane {

struct ReportOptions {
  std::string playerVersion;
  std::string kernel;  ///< "Linux 6.1.0-18-amd64"
  bool namesFile = true;
  std::size_t historyLines = PathHistory::capacity;  ///< at most, the newest
};

/// Lines of at most 78 characters where words allow it, the last one ended. Control characters of names are replaced.
[[nodiscard]] std::string pathReport(const PathDiagnostics& diagnostics, const ReportOptions& options);

}  // namespace tolvane
