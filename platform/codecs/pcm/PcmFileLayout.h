#pragma once
// Where the samples of a linear PCM file lie and how they are laid out: the result of the readers of WAV and AIFF. A
// plain value.

#include <cstdint>
#include <optional>

#include "platform/AudioStreamBasicDescription.h"
#include "platform/ChannelLayout.h"

namespace tolvane {

struct PcmFileLayout {
  AudioStreamBasicDescription format;                 ///< with its own format id when the data is not linear PCM
  std::uint64_t dataOffset = 0;                       ///< bytes from the start of the file
  std::uint64_t dataByteCount = 0;                    ///< bytes that the file really holds
  std::int32_t sourceBitDepth = 0;                    ///< negative for floating point, 0 when not linear PCM
  ChannelLayout channels{};                           ///< as many as the format has
  std::optional<std::uint64_t> announcedByteCount{};  ///< as AudioFile::announcedByteCount()

  bool operator==(const PcmFileLayout&) const = default;
};

/// Samples of `bits` in `bytesPerFrame` / `channels` bytes each, as a header states them. Never refuses: numbers that
/// contradict each other (a frame of 0 bytes, or of 7 for two channels) are passed on, so that the layout is refused,
/// which is true of such a file; it may be intact in every other respect.
[[nodiscard]] constexpr AudioStreamBasicDescription describePCM(double sampleRate, std::uint32_t channels,
                                                                std::uint32_t bits, std::uint32_t bytesPerFrame,
                                                                std::uint32_t flags) {
  const std::uint32_t containerBits = channels == 0 ? 0 : bytesPerFrame / channels * 8;
  if (bits == containerBits) flags |= kAudioFormatFlagIsPacked;
  if (bits < containerBits) flags |= kAudioFormatFlagIsAlignedHigh;
  return {sampleRate, kAudioFormatLinearPCM, flags, bytesPerFrame, 1, bytesPerFrame, channels, bits, 0};
}

/// The size that a data chunk states, in bytes, of a file that holds `held` of them. Programs that write into a pipe
/// cannot go back to state it, and leave the largest possible number, or one just below it.
[[nodiscard]] constexpr std::optional<std::uint64_t> announcedSize(std::uint64_t stated, std::uint64_t held) {
  constexpr std::uint64_t leastPlaceholder = 0x7FF00000;
  if (stated <= held) return held;
  return stated < leastPlaceholder ? std::optional(stated) : std::nullopt;
}

[[nodiscard]] constexpr std::int32_t sourceBitDepthOf(const AudioStreamBasicDescription& format) {
  if (format.mFormatID != kAudioFormatLinearPCM) return 0;
  const auto bits = static_cast<std::int32_t>(format.mBitsPerChannel);
  return format.isFloat() ? -bits : bits;
}

}  // namespace tolvane
