#include "platform/tags/SystemMusicTags.h"

#include <exception>
#include <memory>
#include <utility>

#include "platform/codecs/bytes/FileReader.h"
#include "platform/tags/FolderCover.h"
#include "platform/tags/TaggedFile.h"

namespace tolvane {

namespace {

/// Reads fail after a stop was requested, which ends every reader.
class StoppableSource final : public ByteSource {
 public:
  StoppableSource(std::shared_ptr<const ByteSource> source, std::stop_token stop)
      : source_(std::move(source)), stop_(std::move(stop)) {}

  [[nodiscard]] std::uint64_t size() const override { return source_->size(); }
  [[nodiscard]] std::expected<std::size_t, OSStatus> readAt(std::uint64_t offset,
                                                            std::span<std::byte> destination) const override {
    if (stop_.stop_requested()) return std::unexpected(userCanceledErr);
    return source_->readAt(offset, destination);
  }
  [[nodiscard]] bool isCancelled() const override { return stop_.stop_requested(); }

 private:
  const std::shared_ptr<const ByteSource> source_;
  const std::stop_token stop_;
};

}  // namespace

MusicTags SystemMusicTags::tags(const FileURL& url, const std::stop_token& stop) const {
  const auto reader = FileReader::open(url);
  return tagsOfTrack(reader ? readMusicTags(StoppableSource(*reader, stop)) : MusicTags(), url);
}

std::optional<Cover> SystemMusicTags::cover(const FileURL& url, const std::stop_token& stop) const {
  const auto reader = FileReader::open(url);
  if (!reader) return std::nullopt;
  try {
    auto embedded = readEmbeddedCover(StoppableSource(*reader, stop));
    return embedded || stop.stop_requested() ? std::move(embedded) : folderCover(url, stop);
  } catch (const std::exception&) {  // no memory, or a name that the system's library cannot take
    return std::nullopt;
  }
}

}  // namespace tolvane
