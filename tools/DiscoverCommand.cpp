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
  // Put together by hand, as an object a line took longer than the search. Percent-encoded, a URL needs no escaping.
  std::string line;
  for (const FileURL& url : collectSupportedAudioFiles(given)) {
    if (url.excerpt() != nullptr) {
      Json track;
      describe(track, url);
      output.print(track);
      continue;
    }
    line.assign(R"({"url":")").append(url.absoluteString()).append("\"}\n");
    output.writeLine(line);
  }
  output.flush();
}

}  // namespace tolvane
