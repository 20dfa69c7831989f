#pragma once
// The header that starts every block of a FLAC stream. Pure; any thread. Never accepts one whose checksum is wrong.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/codecs/flac/FlacStream.h"

namespace tolvane {

struct FlacBlockHeader {
  static constexpr std::size_t largestBytes = 16;

  std::uint64_t offset = 0;      ///< bytes from the start of the source; set by the caller of parse()
  std::uint64_t frame = 0;       ///< number of the block's first frame
  std::uint32_t frames = 0;      ///< in the block
  std::uint32_t sampleRate = 0;  ///< hertz
  std::uint32_t channels = 0;
  std::uint32_t bits = 0;       ///< per sample
  std::uint32_t byteCount = 0;  ///< of the header

  /// `bytes` start with the header; fewer than largestBytes only at the end of the source. The stream supplies what the
  /// header leaves to it. Nothing when they are no header, or use a reserved value.
  [[nodiscard]] static std::optional<FlacBlockHeader> parse(std::span<const std::byte> bytes, const FlacStream& stream);

  [[nodiscard]] bool hasFormatOf(const FlacStream& stream) const {
    return sampleRate == stream.sampleRate && channels == stream.channels && bits == stream.bits;
  }
  /// True when this block can directly follow `other` in one stream.
  [[nodiscard]] bool continues(const FlacBlockHeader& other) const {
    return sampleRate == other.sampleRate && channels == other.channels && bits == other.bits &&
           frame == other.frame + other.frames;
  }
};

}  // namespace tolvane
