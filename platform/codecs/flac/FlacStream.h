#pragma once
// Where the blocks of a FLAC stream lie and what the stream says about itself. Pure; any thread. Never reads the
// content of a metadata block other than STREAMINFO, however large it is.

#include <array>
#include <cstdint>

#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane {

struct FlacStream {
  static constexpr std::size_t streamInfoBytes = 34;

  std::array<std::byte, streamInfoBytes> streamInfo{};  ///< as it lies in the file
  std::uint64_t firstBlock = 0;                         ///< offset of the first block in the source, in bytes
  std::uint64_t end = 0;                                ///< offset behind the last byte that belongs to no trailing tag
  std::uint32_t sampleRate = 0;                         ///< hertz
  std::uint32_t channels = 0;
  std::uint32_t bits = 0;               ///< per sample
  std::uint32_t fixedBlockFrames = 0;   ///< frames of each block; 0 when blocks differ and carry sample numbers
  std::uint32_t largestBlockBytes = 0;  ///< upper bound of the size of a block in the file, in bytes
  std::uint64_t frames = 0;             ///< announced by the stream; 0 when it announces none
  std::uint64_t firstFrame = 0;         ///< number of the first frame: not 0 in a stream cut out of another one
};

/// REQUIRES: "fLaC" stands at `offset`. kAudioFileInvalidFileError when the metadata is damaged or leaves the source.
[[nodiscard]] std::expected<FlacStream, OSStatus> readFlacStream(const ByteSource& source, std::uint64_t offset);

}  // namespace tolvane
