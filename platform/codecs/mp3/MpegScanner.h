#pragma once
// Steps through the packets of an MPEG audio file and finds its way back after junk. One thread each. A header counts
// only when others follow where it says they do. Its work is proportional to the bytes that it passes.

#include <optional>

#include "platform/codecs/mp3/MpegFrameHeader.h"
#include "platform/codecs/bytes/ReadWindow.h"

namespace tolvane {

struct MpegPacket {
  MpegFrameHeader header;
  std::uint64_t offset = 0;
  std::uint32_t byteCount = 0;
};

/// What the side information of a packet of layer III says about its main data.
struct MpegMainData {
  std::uint32_t borrowedBytes = 0;  ///< of it that stand in the packets before
  std::uint32_t byteCount = 0;      ///< used by the decoder
};

class MpegScanner {
 public:
  using Result = std::expected<std::optional<MpegPacket>, OSStatus>;

  /// Nothing at or behind `end` is looked at.
  MpegScanner(const ByteSource& source, std::uint64_t end) : window_(source), end_(end) {}

  /// The packet at this place that goes on with the stream of `previous`, if there is a whole one.
  [[nodiscard]] Result next(std::uint64_t offset, const MpegPacket& previous);

  /// The first packet at or behind `offset`, but before `limit`, that starts a run of packets.
  [[nodiscard]] Result findRun(std::uint64_t offset, std::uint64_t limit);

  /// All 0 for other layers, and for a packet without room for its side information.
  [[nodiscard]] std::expected<MpegMainData, OSStatus> mainData(const MpegPacket& packet);

  /// The packet at this place if it starts a run.
  [[nodiscard]] Result runAt(std::uint64_t offset);

  /// The work done so far: positions that were checked for a header.
  [[nodiscard]] std::uint64_t placesLookedAt() const { return placesLookedAt_; }

 private:
  [[nodiscard]] std::expected<std::optional<MpegFrameHeader>, OSStatus> headerAt(std::uint64_t offset);
  [[nodiscard]] std::expected<bool, OSStatus> isRun(const MpegPacket& first, std::uint32_t freeBytes);
  [[nodiscard]] Result freeFormatRunAt(std::uint64_t offset, const MpegFrameHeader& header);

  [[nodiscard]] Result freeFormatRunOf(std::uint64_t offset, const MpegFrameHeader& header, std::uint32_t byteCount);

  ReadWindow window_;
  const std::uint64_t end_;
  std::uint64_t placesLookedAt_ = 0;
  int freeSearchesLeft_ = 64;         ///< that may be unsuccessful
  std::uint32_t knownFreeBytes_ = 0;  ///< of a packet without padding, as the last search found it
};

}  // namespace tolvane
