#pragma once
// The description of a stream of audio samples: what every layer from file to device agrees on.

#include <cstdint>

#include "platform/FourCharCode.h"

namespace tolvane {

constexpr FourCharCode kAudioFormatLinearPCM = fourCharCode("lpcm");

// Flags of a linear PCM layout (mFormatFlags).
constexpr std::uint32_t kAudioFormatFlagIsFloat = 1U << 0;
constexpr std::uint32_t kAudioFormatFlagIsBigEndian = 1U << 1;
constexpr std::uint32_t kAudioFormatFlagIsSignedInteger = 1U << 2;  ///< integer without it: offset binary
constexpr std::uint32_t kAudioFormatFlagIsPacked = 1U << 3;         ///< the valid bits fill the sample's bytes
constexpr std::uint32_t kAudioFormatFlagIsAlignedHigh = 1U << 4;    ///< valid bits at the top, padding below
constexpr std::uint32_t kAudioFormatFlagIsNonInterleaved = 1U << 5;

/// Plain value. For linear PCM one packet is one frame; mReserved is always 0.
struct AudioStreamBasicDescription {
  double mSampleRate = 0;  ///< hertz
  std::uint32_t mFormatID = 0;
  std::uint32_t mFormatFlags = 0;
  std::uint32_t mBytesPerPacket = 0;
  std::uint32_t mFramesPerPacket = 0;
  std::uint32_t mBytesPerFrame = 0;
  std::uint32_t mChannelsPerFrame = 0;
  std::uint32_t mBitsPerChannel = 0;  ///< valid bits of a sample, not the container's
  std::uint32_t mReserved = 0;

  bool operator==(const AudioStreamBasicDescription&) const = default;

  [[nodiscard]] bool isFloat() const { return (mFormatFlags & kAudioFormatFlagIsFloat) != 0; }
  [[nodiscard]] bool isSignedInteger() const { return (mFormatFlags & kAudioFormatFlagIsSignedInteger) != 0; }
  [[nodiscard]] bool isBigEndian() const { return (mFormatFlags & kAudioFormatFlagIsBigEndian) != 0; }
  [[nodiscard]] bool isAlignedHigh() const { return (mFormatFlags & kAudioFormatFlagIsAlignedHigh) != 0; }
};

/// Interleaved linear PCM with `bytesPerSample` bytes a channel. The packed flag is added when the bits fill the bytes.
constexpr AudioStreamBasicDescription linearPCM(double sampleRate, std::uint32_t channels, std::uint32_t bits,
                                                std::uint32_t bytesPerSample, std::uint32_t flags) {
  if (bits == bytesPerSample * 8) flags |= kAudioFormatFlagIsPacked;
  const std::uint32_t bytesPerFrame = bytesPerSample * channels;
  return {sampleRate, kAudioFormatLinearPCM, flags, bytesPerFrame, 1, bytesPerFrame, channels, bits, 0};
}

/// Native-endian (little) interleaved 32-bit float: what the decoders deliver.
constexpr AudioStreamBasicDescription float32PCM(double sampleRate, std::uint32_t channels) {
  return linearPCM(sampleRate, channels, 32, 4, kAudioFormatFlagIsFloat);
}

}  // namespace tolvane
