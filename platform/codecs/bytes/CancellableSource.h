#pragma once
// A source of bytes that can be cancelled: every read then fails with userCanceledErr. Searches, maps and decoders look
// at their bytes through a ReadWindow, so it ends all of them, too. Any thread, several at once.

#include <memory>
#include <utility>

#include "platform/ReadingProgress.h"
#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane {

class CancellableSource final : public ByteSource {
 public:
  /// `progress` outlives the source.
  CancellableSource(std::shared_ptr<const ByteSource> source, const ReadingProgress& progress)
      : source_(std::move(source)), progress_(progress) {}

  [[nodiscard]] std::uint64_t size() const override { return source_->size(); }
  [[nodiscard]] std::expected<std::size_t, OSStatus> readAt(std::uint64_t offset,
                                                            std::span<std::byte> destination) const override {
    if (isCancelled()) return std::unexpected(userCanceledErr);
    return source_->readAt(offset, destination);
  }
  [[nodiscard]] bool isCancelled() const override { return progress_.isCancelled(); }

 private:
  const std::shared_ptr<const ByteSource> source_;
  const ReadingProgress& progress_;
};

}  // namespace tolvane
