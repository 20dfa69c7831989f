#pragma once
// Tracks made in memory, for tests of what is judged and played.

#include <cstring>

#include "engine/PreparedAudio.h"

namespace tolvane {

/// A track of `frames` frames of zeros.
inline PreparedAudio preparedTrack(const AudioStreamBasicDescription& format, std::uint32_t sourceBits,
                                   bool sourceIsFloat, std::int64_t frames = 1) {
  PcmBlock block(static_cast<std::size_t>(frames) * format.mBytesPerFrame);
  std::memset(block.data(), 0, block.size());
  const auto byteCount = static_cast<std::int64_t>(block.size());
  auto context =
      std::make_shared<AudioRenderContext>(std::move(block), byteCount, format, std::make_shared<AtomicOutputLevels>());
  return {std::move(context), sourceBits, sourceIsFloat, true, "WAV"};
}

}  // namespace tolvane
