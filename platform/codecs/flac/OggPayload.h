#pragma once
// The packets of the first logical stream in an Ogg file, concatenated, as a source of bytes without the pages around
// them. Any thread, several at once. Reads every page's header once, when it is opened.

#include <memory>
#include <vector>

#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane {

class OggPayload final : public ByteSource {
 public:
  /// In an Ogg file of FLAC, where the plain FLAC stream starts: behind the signature of the mapping.
  static constexpr std::uint64_t flacOffset = 9;

  /// A file with more pages that are not empty is refused, because each is remembered. Usual pages of 4 KiB make 4 GiB,
  /// more than a track that is decoded into memory can have.
  static constexpr std::size_t mostPages = std::size_t{1} << 20;

  /// REQUIRES: a page starts at `offset`. Where a page is not followed by another one, the next one is looked for.
  [[nodiscard]] static std::expected<std::shared_ptr<const ByteSource>, OSStatus> open(
      std::shared_ptr<const ByteSource> source, std::uint64_t offset);

  [[nodiscard]] std::uint64_t size() const override { return size_; }
  [[nodiscard]] std::expected<std::size_t, OSStatus> readAt(std::uint64_t offset,
                                                            std::span<std::byte> destination) const override;
  [[nodiscard]] bool isCancelled() const override { return source_->isCancelled(); }

 private:
  struct Extent {
    std::uint64_t fileOffset = 0;
    std::uint64_t offset = 0;  ///< bytes of payload before it
    std::uint64_t byteCount = 0;
  };

  explicit OggPayload(std::shared_ptr<const ByteSource> source) : source_(std::move(source)) {}

  const std::shared_ptr<const ByteSource> source_;
  std::vector<Extent> extents_;
  std::uint64_t size_ = 0;
};

}  // namespace tolvane
