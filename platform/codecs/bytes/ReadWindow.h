#pragma once
// A view of one stretch of a source that is read ahead in large pieces. One thread each. Never reads a piece twice
// while the wanted bytes move forward.

#include <vector>

#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane {

class ReadWindow {
 public:
  explicit ReadWindow(const ByteSource& source, std::size_t capacity = 256 * 1024)
      : source_(source), capacity_(capacity) {}

  /// The bytes at `offset`, as many as requested (REQUIRES: no more than the capacity) or available. Valid until the
  /// next call. A cancelled source returns nothing more, not even what was read ahead.
  [[nodiscard]] std::expected<std::span<const std::byte>, OSStatus> at(std::uint64_t offset, std::size_t count);

 private:
  const ByteSource& source_;
  const std::size_t capacity_;
  std::vector<std::byte> bytes_;
  std::uint64_t start_ = 0;
  std::size_t filled_ = 0;
};

}  // namespace tolvane
