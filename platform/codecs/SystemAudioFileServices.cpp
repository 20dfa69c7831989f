#include "platform/codecs/SystemAudioFileServices.h"

#include <sys/stat.h>

#include <utility>

#include "platform/codecs/decoding/AvailableMemory.h"
#include "platform/codecs/FileExamination.h"
#include "platform/codecs/FileOpening.h"
#include "platform/codecs/bytes/FileReader.h"

namespace tolvane {

std::expected<std::unique_ptr<AudioFile>, OSStatus> SystemAudioFileServices::openAudioFile(const FileURL& url,
                                                                                           ReadingProgress* progress) {
  auto reader = FileReader::open(url);
  if (!reader) return std::unexpected(reader.error());
  return openLinearPCM(std::move(*reader), progress, url.excerpt());
}

std::expected<std::unique_ptr<ExtAudioFile>, OSStatus> SystemAudioFileServices::openExtAudioFile(
    const FileURL& url, ReadingProgress* progress) {
  auto reader = FileReader::open(url);
  if (!reader) return std::unexpected(reader.error());
  return openEncoded(std::move(*reader), limits_, progress, url.excerpt());
}

std::optional<FileVersion> SystemAudioFileServices::fileVersion(const FileURL& url) const {
  struct stat found {};
  if (::stat(url.path().c_str(), &found) != 0) return std::nullopt;
  return FileVersion{.device = found.st_dev,
                     .inode = found.st_ino,
                     .size = static_cast<std::uint64_t>(found.st_size),
                     .modifiedSeconds = found.st_mtim.tv_sec,
                     .modifiedNanoseconds = found.st_mtim.tv_nsec};
}

FileFinding SystemAudioFileServices::examine(const FileURL& url) const { return examineFile(url); }

std::uint64_t SystemAudioFileServices::availableMemory() const { return tolvane::availableMemory(); }

}  // namespace tolvane
