#pragma once
// Reads the layout of WAV files: RIFF, and RF64 and BW64 whose sizes are 64 bits wide. Pure; any thread. Never trusts
// a size: what it reports lies inside the file.

#include "platform/codecs/bytes/ByteSource.h"
#include "platform/codecs/pcm/PcmFileLayout.h"

namespace tolvane {

/// True for "RIFF", "RF64" or "BW64" with "WAVE" behind it; `start` holds the first bytes of the file.
[[nodiscard]] bool isWavHeader(std::span<const std::byte> start);

/// MPEG audio inside of a WAV file: its format id.
constexpr FourCharCode wavMpegFormatID = 0x6D730055;

/// `offset`: of the header, behind leading tags. kAudioFileInvalidFileError when the format or the data chunk is
/// missing, cut off or contradicts itself. A data chunk whose size a program could not go back to write lasts to the
/// end of the file.
[[nodiscard]] std::expected<PcmFileLayout, OSStatus> readWavLayout(const ByteSource& source, std::uint64_t offset = 0);

}  // namespace tolvane
