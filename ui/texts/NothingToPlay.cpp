#include "ui/texts/NothingToPlay.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "platform/AudioFormats.h"
#include "platform/BilingualText.h"
#include "session/AudioFileDiscovery.h"
#include "session/PlaylistFile.h"
#include "ui/texts/Presentation.h"

namespace tolvane {

namespace {

namespace fs = std::filesystem;

/// "WAV, AIFF, FLAC or MP3"
BilingualText formatNames() { return {audioFormatNames("or"), audioFormatNames(translate("or"))}; }

std::string withoutEndingSlashes(std::string path) {
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

BilingualText whyNoFolder(const fs::path& folder) {
  std::error_code error;
  const fs::directory_iterator entries(folder, error);
  if (error) return bilingual("the folder cannot be read");
  if (entries == fs::directory_iterator()) return bilingual("the folder is empty");
  return bilingual("it has no {} files", formatNames());
}

BilingualText whyNoFile(const FileURL& url) {
  const auto extension = url.pathExtension();
  if (extension.empty()) return bilingual("its name does not end in a format this player plays");
  return bilingual(".{} is not a format this player plays", displayText(asciiLowercased(extension)));
}

BilingualText why(const FileURL& url) {
  const fs::path path = withoutEndingSlashes(url.path());
  std::error_code error;
  const auto type = fs::symlink_status(path, error).type();
  if (type == fs::file_type::not_found) return bilingual("it does not exist");
  if (error) return bilingual("it cannot be reached");
  if (type == fs::file_type::directory) return whyNoFolder(path);
  if (type == fs::file_type::symlink && fs::is_directory(path, error))
    return bilingual("it is a link to a folder, and links to folders are not followed");
  if (type != fs::file_type::symlink && type != fs::file_type::regular)
    return bilingual("it is neither a file nor a folder");
  if (isPlaylistFile(url) && !isSavedPlaylistFile(url))
    return bilingual("it names no track of a {} file that is there", formatNames());
  if (isPlaylistFile(url)) return bilingual("it names no {} file that is there", formatNames());
  return isSupportedAudioFile(url) ? bilingual("it is gone") : whyNoFile(url);
}

}  // namespace

BilingualText nothingToPlay(std::span<const FileURL> given) {
  if (given.empty()) return {};
  const FileURL first(withoutEndingSlashes(given.front().path()));
  const std::string name = displayText(first.lastPathComponent());
  if (given.size() == 1) return bilingual("Nothing to play in {}: {}.", name, why(first));
  return bilingual("Nothing to play in {} and {} more: {}.", name, given.size() - 1, why(first));
}

}  // namespace tolvane
