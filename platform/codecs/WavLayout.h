#pragma once
// Reads the layout of WAV files: RIFF, and RF64 and BW64 whose sizes are 64 bits wide. Pure; any thread. Never trusts
// a size: what it reports lies inside the file.

#include "platform/codecs/ByteSource.h"
#include "platform/codecs/PcmFileLayout.h"

namespace tolvane {

/// True for "RIFF", "RF64" or "BW64" with "WAVE" behind it; `start` holds the first bytes of the file.
[[nodiscard]] bool isWavHeader(std::span<const std::byte> start);

/// kAudioFileInvalidFileError when the format or the data chunk is missing, cut off or contradicts itself.
[[nodiscard]] std::expected<PcmFileLayout, OSStatus> readWavLayout(const ByteSource& source);

}  // namespace tolvane
