#include "platform/codecs/bytes/ReadWindow.h"

#include <algorithm>

namespace tolvane {

std::expected<std::span<const std::byte>, OSStatus> ReadWindow::at(std::uint64_t offset, std::size_t count) {
  if (source_.isCancelled()) return std::unexpected(userCanceledErr);
  const bool isInside = offset >= start_ && offset - start_ <= filled_ && count <= filled_ - (offset - start_);
  if (!isInside) {
    bytes_.resize(capacity_);
    filled_ = 0;
    const auto read = source_.readAt(offset, bytes_);
    if (!read) return std::unexpected(read.error());
    start_ = offset;
    filled_ = *read;
  }
  const auto first = static_cast<std::size_t>(offset - start_);
  return std::span<const std::byte>(bytes_).subspan(first, std::min(count, filled_ - first));
}

}  // namespace tolvane
