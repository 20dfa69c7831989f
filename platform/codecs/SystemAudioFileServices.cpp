#include "platform/codecs/SystemAudioFileServices.h"

#include <utility>

#include "platform/codecs/AvailableMemory.h"
#include "platform/codecs/FileOpening.h"
#include "platform/codecs/FileReader.h"

namespace tolvane {

std::expected<std::unique_ptr<AudioFile>, OSStatus> SystemAudioFileServices::openAudioFile(const FileURL& url,
                                                                                           ReadingProgress* progress) {
  auto reader = FileReader::open(url);
  if (!reader) return std::unexpected(reader.error());
  return openLinearPCM(std::move(*reader), progress);
}

std::expected<std::unique_ptr<ExtAudioFile>, OSStatus> SystemAudioFileServices::openExtAudioFile(
    const FileURL& url, ReadingProgress* progress) {
  auto reader = FileReader::open(url);
  if (!reader) return std::unexpected(reader.error());
  return openEncoded(std::move(*reader), limits_, progress);
}

std::uint64_t SystemAudioFileServices::availableMemory() const { return tolvane::availableMemory(); }

}  // namespace tolvane
