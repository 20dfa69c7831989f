#pragma once
// Identifies a file by its content alone. Pure; any thread. Never looks at a name.

#include <optional>

#include "platform/FourCharCode.h"
#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane {

enum class AudioFileKind : std::uint8_t {
  unknown,
  wav,
  aiff,
  flac,
  oggFlac,
  mpeg,
  other,  ///< known, but not supported by this player
};

struct RecognisedFile {
  AudioFileKind kind = AudioFileKind::unknown;
  std::uint64_t offset = 0;   ///< where the content proper starts: behind leading tags, at the first packet
  FourCharCode formatID = 0;  ///< of encoded kinds; of the container where only that is known
};

[[nodiscard]] std::expected<RecognisedFile, OSStatus> recogniseFile(const ByteSource& source);

}  // namespace tolvane
