#pragma once
// Random access to the bytes of a file, or of a block of memory in tests. Reading is safe from several threads at
// once. Never changes what it reads, and keeps no position.

#include <cstddef>
#include <cstdint>
#include <expected>
#include <span>

#include "platform/AudioStatus.h"

namespace tolvane {

class ByteSource {
 public:
  virtual ~ByteSource() = default;

  /// In bytes, as of opening; a file may have become shorter since.
  [[nodiscard]] virtual std::uint64_t size() const = 0;

  /// The number of bytes read; fewer than requested only at the end.
  [[nodiscard]] virtual std::expected<std::size_t, OSStatus> readAt(std::uint64_t offset,
                                                                    std::span<std::byte> destination) const = 0;

  /// True once reads fail with userCanceledErr. Cheap: for work on bytes that were read ahead.
  [[nodiscard]] virtual bool isCancelled() const { return false; }
};

/// All of `destination`, or a status: an end that comes too early is a damaged file.
[[nodiscard]] inline OSStatus readExactly(const ByteSource& source, std::uint64_t offset,
                                          std::span<std::byte> destination) {
  const auto count = source.readAt(offset, destination);
  if (!count) return count.error();
  return *count == destination.size() ? noErr : kAudioFileInvalidFileError;
}

}  // namespace tolvane
