#pragma once
// Finds the headers of blocks in a FLAC stream without decoding. One thread each. Every search reads forward only, from
// its first byte to the limit that the caller states.

#include <optional>

#include "platform/codecs/bytes/ReadWindow.h"
#include "platform/codecs/flac/FlacBlockHeader.h"

namespace tolvane {

class FlacScanner {
 public:
  using Result = std::expected<std::optional<FlacBlockHeader>, OSStatus>;

  FlacScanner(const ByteSource& source, const FlacStream& stream, std::size_t windowBytes = 256 * 1024)
      : stream_(stream), window_(source, windowBytes) {}

  /// The first header at or behind `offset`, but before `limit`, of any format.
  [[nodiscard]] Result find(std::uint64_t offset, std::uint64_t limit);

  /// The frames that a stream without an announced length seems to hold: up to its last block, or at least `most`.
  /// An error when it goes on behind a gap, or in another format. Reads the stream once.
  [[nodiscard]] std::expected<std::uint64_t, OSStatus> countFrames(std::uint64_t most);

  /// kAudioFileInvalidFileError when blocks of this stream are found at or behind `offset`,
  /// kAudioFileUnsupportedDataFormatError when blocks of another format are; noErr where nothing or junk follows.
  /// Reads every byte from there on once, and the last few blocks a second time.
  [[nodiscard]] OSStatus statusOfBlocksBehind(std::uint64_t offset);

  /// The work done so far: headers that began with the right pattern.
  [[nodiscard]] std::uint64_t headersTried() const { return headersTried_; }

 private:
  [[nodiscard]] std::expected<bool, OSStatus> isWholeBlock(const FlacBlockHeader& head);

  const FlacStream& stream_;
  ReadWindow window_;
  std::uint64_t headersTried_ = 0;
};

}  // namespace tolvane
