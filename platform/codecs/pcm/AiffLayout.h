#pragma once
// Reads the layout of AIFF and AIFF-C files. Pure; any thread. Never trusts a size: what it reports lies inside the
// file.

#include "platform/codecs/bytes/ByteSource.h"
#include "platform/codecs/pcm/PcmFileLayout.h"

namespace tolvane {

/// True for "FORM" with "AIFF" or "AIFC" behind it; `start` holds the first bytes of the file.
[[nodiscard]] bool isAiffHeader(std::span<const std::byte> start);

/// `offset`: of the header, behind leading tags. Sound data whose size a program could not go back to write lasts to
/// the end of the file. kAudioFileInvalidFileError when the common or the sound data chunk is missing, cut off or
/// contradicts itself.
[[nodiscard]] std::expected<PcmFileLayout, OSStatus> readAiffLayout(const ByteSource& source, std::uint64_t offset = 0);

/// The sample rate of an AIFF file: a floating point number of 80 bits, most significant byte first. Exact for every
/// rate that a double can hold; not finite for one that it cannot. REQUIRES: 10 bytes.
[[nodiscard]] double loadExtended(std::span<const std::byte> bytes);

}  // namespace tolvane
