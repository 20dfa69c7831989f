#include "platform/codecs/flac/OggPayload.h"

#include <algorithm>
#include <optional>

#include "platform/codecs/bytes/ByteOrder.h"
#include "platform/codecs/bytes/ReadWindow.h"

namespace tolvane {

namespace {

constexpr std::size_t pageHeadBytes = 27;

struct Page {
  std::uint64_t offset = 0;  ///< of its payload, in the file
  std::uint64_t byteCount = 0;
  std::uint32_t serial = 0;
  bool isFirst = false;
  bool isLast = false;
};

using PageResult = std::expected<std::optional<Page>, OSStatus>;

PageResult pageAt(ReadWindow& window, std::uint64_t offset) {
  const auto head = window.at(offset, pageHeadBytes);
  if (!head) return std::unexpected(head.error());
  if (head->size() < pageHeadBytes || loadCode(*head, 0) != fourCharCode("OggS")) return std::nullopt;
  const std::size_t segments = std::to_integer<std::size_t>((*head)[26]);
  Page page;
  page.serial = loadLittle<std::uint32_t>(*head, 14);
  page.isFirst = ((*head)[5] & std::byte{2}) != std::byte{0};
  page.isLast = ((*head)[5] & std::byte{4}) != std::byte{0};
  page.offset = offset + pageHeadBytes + segments;
  const auto table = window.at(offset + pageHeadBytes, segments);
  if (!table) return std::unexpected(table.error());
  if (table->size() < segments) return std::nullopt;
  for (const std::byte segment : *table) page.byteCount += std::to_integer<std::uint64_t>(segment);
  return page;
}

/// The first page at or behind `offset`.
PageResult findPage(ReadWindow& window, std::uint64_t offset) {
  constexpr std::size_t piece = 4096;
  while (true) {
    const auto page = pageAt(window, offset);
    if (!page || *page) return page;
    const auto bytes = window.at(offset + 1, piece);
    if (!bytes) return std::unexpected(bytes.error());
    if (bytes->empty()) return std::nullopt;
    offset += 1 + static_cast<std::uint64_t>(std::ranges::find(*bytes, std::byte{'O'}) - bytes->begin());
  }
}

}  // namespace

std::expected<std::shared_ptr<const ByteSource>, OSStatus> OggPayload::open(std::shared_ptr<const ByteSource> source,
                                                                            std::uint64_t offset) {
  const std::shared_ptr<OggPayload> payload(new OggPayload(std::move(source)));
  constexpr std::size_t windowBytes = 64 * 1024;
  ReadWindow window(*payload->source_, windowBytes);
  std::optional<std::uint32_t> serial;
  for (bool isLast = false; !isLast;) {
    const auto page = findPage(window, offset);
    if (!page) return std::unexpected(page.error());
    if (!*page) break;
    offset = (*page)->offset + (*page)->byteCount;
    if (serial && (*page)->serial != *serial) continue;
    // Another track, chained behind the first one.
    if (serial && (*page)->isFirst) break;
    serial = (*page)->serial;
    isLast = (*page)->isLast;
    const std::uint64_t fileSize = payload->source_->size();
    const std::uint64_t available = fileSize - std::min((*page)->offset, fileSize);
    const std::uint64_t byteCount = std::min((*page)->byteCount, available);
    if (byteCount > 0) {
      if (payload->extents_.size() == mostPages) return std::unexpected(kAudioFileInvalidFileError);
      payload->extents_.push_back({(*page)->offset, payload->size_, byteCount});
    }
    payload->size_ += byteCount;
  }
  return payload;
}

std::expected<std::size_t, OSStatus> OggPayload::readAt(std::uint64_t offset, std::span<std::byte> destination) const {
  std::size_t done = 0;
  while (done < destination.size() && offset + done < size_) {
    const auto extent = std::ranges::upper_bound(extents_, offset + done, {}, &Extent::offset) - 1;
    const std::uint64_t inside = offset + done - extent->offset;
    const auto wanted = std::min<std::uint64_t>(destination.size() - done, extent->byteCount - inside);
    const auto count = source_->readAt(extent->fileOffset + inside, destination.subspan(done, wanted));
    if (!count) return count;
    done += *count;
    if (*count < wanted) break;
  }
  return done;
}

}  // namespace tolvane
