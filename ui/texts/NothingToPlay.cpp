#include "ui/texts/NothingToPlay.h"

#include <fmt/format.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "platform/AudioFormats.h"
#include "session/AudioFileDiscovery.h"
#include "session/PlaylistFile.h"
#include "ui/texts/Presentation.h"

namespace tolvane {

namespace {

namespace fs = std::filesystem;

std::string withoutEndingSlashes(std::string path) {
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

std::string whyNoFolder(const fs::path& folder) {
  std::error_code error;
  const fs::directory_iterator entries(folder, error);
  if (error) return "the folder cannot be read";
  if (entries == fs::directory_iterator()) return "the folder is empty";
  return fmt::format("it has no {} files", audioFormatNames("or"));
}

std::string whyNoFile(const FileURL& url) {
  const auto extension = url.pathExtension();
  if (extension.empty()) return "its name does not end in a format this player plays";
  return fmt::format(".{} is not a format this player plays", displayText(asciiLowercased(extension)));
}

std::string why(const FileURL& url) {
  const fs::path path = withoutEndingSlashes(url.path());
  std::error_code error;
  const auto type = fs::symlink_status(path, error).type();
  if (type == fs::file_type::not_found) return "it does not exist";
  if (error) return "it cannot be reached";
  if (type == fs::file_type::directory) return whyNoFolder(path);
  if (type == fs::file_type::symlink && fs::is_directory(path, error))
    return "it is a link to a folder, and links to folders are not followed";
  if (type != fs::file_type::symlink && type != fs::file_type::regular) return "it is neither a file nor a folder";
  if (isPlaylistFile(url) && !isSavedPlaylistFile(url))
    return fmt::format("it names no track of a {} file that is there", audioFormatNames("or"));
  if (isPlaylistFile(url)) return fmt::format("it names no {} file that is there", audioFormatNames("or"));
  return isSupportedAudioFile(url) ? "it is gone" : whyNoFile(url);
}

}  // namespace

std::string nothingToPlay(std::span<const FileURL> given) {
  if (given.empty()) return {};
  const FileURL first(withoutEndingSlashes(given.front().path()));
  const std::string name = displayText(first.lastPathComponent());
  const std::string others = given.size() > 1 ? fmt::format(" and {} more", given.size() - 1) : "";
  return fmt::format("Nothing to play in {}{}: {}.", name, others, why(first));
}

}  // namespace tolvane
