#include <filesystem>

#include "session/AudioFileDiscovery.h"
#include "tools/ProbeCommands.h"

namespace tolvane {

void discoverFiles(std::span<const std::string> paths, ProbeOutput& output) {
  std::vector<FileURL> given;
  for (const std::string& path : paths) {
    given.push_back(fileURLFromArgument(path));
    std::error_code error;
    const auto status = std::filesystem::symlink_status(given.back().path(), error);
    if (!std::filesystem::exists(status))
      output.print({{"url", given.back().absoluteString()}, {"error", error.message()}});
  }
  for (const FileURL& url : collectSupportedAudioFiles(given)) output.write({{"url", url.absoluteString()}});
  output.flush();
}

}  // namespace tolvane
