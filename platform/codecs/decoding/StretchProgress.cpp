#include "platform/codecs/decoding/StretchProgress.h"

#include <algorithm>

namespace tolvane {

std::expected<std::uint64_t, OSStatus> decodeStretch(TrackDecoder& decoder, std::span<std::byte> destination,
                                                     std::uint64_t bytesPerFrame, StretchProgress& progress) {
  // The usual size of a block of FLAC, which is then not split between pieces, and three and a half packets of MP3.
  constexpr std::uint64_t pieceFrames = 4096;
  const std::uint64_t wanted = destination.size() / bytesPerFrame;
  std::uint64_t done = 0;
  while (done < wanted) {
    if (progress.isCancelled()) return std::unexpected(userCanceledErr);
    const std::uint64_t count = std::min(pieceFrames, wanted - done);
    const auto frames = decoder.decode(destination.subspan(done * bytesPerFrame, count * bytesPerFrame));
    if (!frames) return frames;
    done += *frames;
    progress.reach(done);
    if (*frames < count) break;
  }
  return done;
}

}  // namespace tolvane
