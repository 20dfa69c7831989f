#pragma once
// The map of an MPEG audio file: which bytes are packets of the one stream in it, and which are tags or junk. Reading
// it is pure and for any thread. Never decodes; never takes a lone header-like pattern for a packet.

#include <array>
#include <optional>
#include <vector>

#include "platform/codecs/bytes/ByteSource.h"
#include "platform/codecs/mp3/MpegFrameHeader.h"

namespace tolvane {

struct MpegStream {
  /// A stretch of the file that is nothing but packets, one behind the other.
  struct Extent {
    std::uint64_t fileOffset = 0;
    std::uint64_t streamOffset = 0;  ///< bytes of packets before it
    std::uint64_t byteCount = 0;
  };
  /// Side information to read in place of what the file has, because the packet borrows bits that are not there.
  struct Silenced {
    std::uint64_t streamOffset = 0;
    std::array<std::byte, 32> information{};
    std::uint32_t byteCount = 0;  ///< of it
  };
  /// A decoder that begins at a packet whose number is a multiple of this adds up its samples in the same order as one
  /// that began at packet 0: the polyphase synthesis is back at its first position after 8 packets at the latest.
  static constexpr std::uint64_t kLandmarkDistance = 16;
  /// Holes, and silenced packets, that are remembered; a file with more is refused. Hours of a station's recording that
  /// breaks off every second have fewer.
  static constexpr std::size_t kMostOddities = std::size_t{1} << 18;
  /// Packets to decode, and throw away, until nothing is left of what a decoder did not see: the overlap of the
  /// transform and the memory of the filter bank reach back two packets; the rest is safety.
  static constexpr std::uint64_t kOverlapPackets = 10;

  MpegFrameHeader header;  ///< of the first packet
  std::vector<Extent> extents;
  std::uint64_t byteCount = 0;  ///< of all extents
  std::uint64_t packetCount = 0;
  std::vector<std::uint64_t> landmarks;       ///< stream offset of packets 0, 16, 32, …
  std::optional<std::uint64_t> changePacket;  ///< the first one of another rate, layer or number of channels
  std::uint32_t smallestMainDataBytes = 0;    ///< of a packet
  /// Packets that do not find the bytes that they borrow: at the start of a cut file, and behind a hole, where the
  /// decoder would take other packets' bytes for theirs, and play them as noise of any loudness.
  std::vector<Silenced> silenced;
  std::uint32_t freePacketBytes = 0;  ///< in free format, of a packet without padding
  std::uint64_t firstFrame = 0;       ///< of the music, counted from packet 0: the encoder's delay lies before it
  std::uint64_t endFrame = 0;         ///< behind the music: the encoder's padding follows
  std::optional<std::uint64_t> announcedFrames;  ///< by the encoder's own packet, where more than there are

  [[nodiscard]] std::uint64_t frameCount() const { return endFrame - firstFrame; }
  /// Packets before one of layer III that hold all the bits it may have borrowed.
  [[nodiscard]] std::uint64_t reservoirPackets() const;
};

/// The place of the first packet, or nothing where the file is no MPEG audio. Looks for it from `begin`, where leading
/// tags end; junk of up to a mebibyte may precede it.
[[nodiscard]] std::expected<std::optional<std::uint64_t>, OSStatus> findMpegAudio(const ByteSource& source,
                                                                                  std::uint64_t begin);

/// REQUIRES: `firstPacket` comes from findMpegAudio().
[[nodiscard]] std::expected<MpegStream, OSStatus> readMpegStream(const ByteSource& source, std::uint64_t firstPacket);

}  // namespace tolvane
