#include "platform/codecs/mp3/MpegStream.h"

#include <algorithm>
#include <limits>

#include "platform/codecs/bytes/ByteOrder.h"
#include "platform/codecs/mp3/MpegScanner.h"
#include "platform/codecs/bytes/Tags.h"

namespace tolvane {

namespace {

constexpr std::uint64_t kMebibyte = 1024 * 1024;
/// Limit for the search of the next packet; what follows so much junk is not the same track.
constexpr std::uint64_t kLongestJunk = 4 * kMebibyte;
/// More frames than any caller can request: the rest of such a file need not be mapped.
constexpr std::uint64_t kMostFrames = std::uint64_t{1} << 33;

/// What the encoder states in a packet of its own, before the first one with sound.
struct InformationPacket {
  std::optional<std::uint32_t> packetCount;
  struct Gapless {
    std::uint32_t delay = 0;    ///< frames
    std::uint32_t padding = 0;  ///< frames
  };
  std::optional<Gapless> gapless;
};

InformationPacket readInformation(std::span<const std::byte> tag) {
  constexpr std::uint32_t kHasPacketCount = 1;
  constexpr std::uint32_t kHasByteCount = 2;
  constexpr std::uint32_t kHasSeekTable = 4;
  constexpr std::uint32_t kHasQuality = 8;
  InformationPacket information;
  const auto flags = loadBig<std::uint32_t>(tag, 4);
  std::size_t at = 8;
  if ((flags & kHasPacketCount) != 0 && tag.size() >= at + 4) information.packetCount = loadBig<std::uint32_t>(tag, at);
  for (const auto& [flag, size] : {std::pair{kHasPacketCount, 4}, std::pair{kHasByteCount, 4},
                                   std::pair{kHasSeekTable, 100}, std::pair{kHasQuality, 4}}) {
    if ((flags & flag) != 0) at += static_cast<std::size_t>(size);
  }
  // Behind it the encoder's name of nine characters, twelve bytes of settings, and twelve bits each of delay and
  // padding.
  constexpr std::size_t kGaplessOffset = 21;
  if (tag.size() < at + kGaplessOffset + 3 || tag[at] == std::byte{0}) return information;
  const std::uint32_t word = loadBig<std::uint32_t>(tag, at + kGaplessOffset - 1) & 0xFFFFFF;
  information.gapless = {word >> 12, word & 0xFFF};
  return information;
}

InformationPacket readFraunhofer(std::span<const std::byte> tag) {
  // Behind the name, version, delay, quality and the number of bytes.
  constexpr std::size_t kPacketCountOffset = 14;
  if (tag.size() < kPacketCountOffset + 4) return {};
  return {.packetCount = loadBig<std::uint32_t>(tag, kPacketCountOffset), .gapless = {}};
}

/// Nothing when the packet is one of sound.
std::expected<std::optional<InformationPacket>, OSStatus> informationIn(const ByteSource& source,
                                                                        const MpegPacket& packet) {
  if (packet.header.layer != 3) return std::nullopt;
  std::vector<std::byte> bytes(packet.byteCount);
  const auto count = source.readAt(packet.offset, bytes);
  if (!count) return std::unexpected(count.error());
  bytes.resize(*count);
  constexpr std::size_t kSmallestTag = 8;
  const std::size_t xing = 4 + packet.header.sideInformationBytes();
  // With a checksum behind the header the tag stands two bytes later, with most encoders.
  for (const std::size_t at : {xing, xing + 2}) {
    if (bytes.size() < at + kSmallestTag) break;
    const FourCharCode code = loadCode(bytes, at);
    if (code == fourCharCode("Xing") || code == fourCharCode("Info")) {
      return readInformation(std::span<const std::byte>(bytes).subspan(at));
    }
  }
  constexpr std::size_t kFraunhoferOffset = 36;
  if (bytes.size() >= kFraunhoferOffset + kSmallestTag && loadCode(bytes, kFraunhoferOffset) == fourCharCode("VBRI")) {
    return readFraunhofer(std::span<const std::byte>(bytes).subspan(kFraunhoferOffset));
  }
  return std::nullopt;
}

class StreamBuilder {
 public:
  void add(const MpegPacket& packet, const MpegMainData& data) {
    const std::uint32_t mainData = packet.header.mainDataBytes(packet.byteCount);
    if (stream_.packetCount == 0) {
      stream_.header = packet.header;
      stream_.smallestMainDataBytes = mainData;
      if (packet.header.bitRate == 0) stream_.freePacketBytes = packet.byteCount - packet.header.paddingBytes();
    } else if (!stream_.changePacket && !packet.header.continues(stream_.header)) {
      stream_.changePacket = stream_.packetCount;
    }
    if (stream_.packetCount % MpegStream::kLandmarkDistance == 0) stream_.landmarks.push_back(stream_.byteCount);
    stream_.smallestMainDataBytes = std::min(stream_.smallestMainDataBytes, mainData);
    auto& extents = stream_.extents;
    const bool isAfterHole = !extents.empty() && extents.back().fileOffset + extents.back().byteCount != packet.offset;
    // Missing packets leave no gap in the file, but often one that borrows bits of which the one before made use.
    if (isAfterHole || data.borrowedBytes > unusedBytes_) reservoir_ = 0;
    const bool isSilenced = data.borrowedBytes > reservoir_;
    if (isSilenced) silence(packet);
    unusedBytes_ = data.borrowedBytes + mainData - std::min(data.byteCount, data.borrowedBytes + mainData);
    const std::uint32_t kept = isSilenced ? reservoir_ : data.borrowedBytes;
    reservoir_ = std::min(kept + mainData, packet.header.largestReservoir());
    if (extents.empty() || isAfterHole) {
      extents.push_back({packet.offset, stream_.byteCount, 0});
    }
    extents.back().byteCount += packet.byteCount;
    stream_.byteCount += packet.byteCount;
    ++stream_.packetCount;
  }

  [[nodiscard]] bool hasTooManyOddities() const {
    return std::max(stream_.extents.size(), stream_.silenced.size()) > MpegStream::kMostOddities;
  }

  [[nodiscard]] std::uint64_t frames() const { return stream_.packetCount * stream_.header.framesPerPacket(); }

  [[nodiscard]] MpegStream finish(const InformationPacket& information) && {
    // What the decoder itself adds in front: the delay of its filter bank.
    constexpr std::uint64_t kDecoderDelay = 529;
    stream_.endFrame = frames();
    if (information.gapless) {
      stream_.firstFrame = std::min(information.gapless->delay + kDecoderDelay, stream_.endFrame);
      // More packets than announced are another track behind this one, and fewer are a cut file: the end that was
      // announced is then not the end of what is here.
      const std::uint64_t announced = information.packetCount.value_or(stream_.packetCount);
      const std::uint64_t end = announced * stream_.header.framesPerPacket() + kDecoderDelay;
      if (announced >= stream_.packetCount && end >= information.gapless->padding + stream_.firstFrame) {
        stream_.endFrame = std::min(stream_.endFrame, end - information.gapless->padding);
      }
    }
    announceLength(information);
    return std::move(stream_);
  }

 private:
  /// Of a stream in one piece. Some encoders count the packet with the information, too.
  void announceLength(const InformationPacket& information) {
    const bool isCut = information.packetCount > stream_.packetCount + 1 && stream_.extents.size() <= 1;
    if (!isCut) return;
    const std::uint64_t all = std::uint64_t{*information.packetCount} * stream_.header.framesPerPacket();
    if (all > kMostFrames) return;
    const std::uint64_t padding = information.gapless ? information.gapless->padding : 0;
    stream_.announcedFrames = all - std::min(all, stream_.firstFrame + padding);
  }

  MpegStream stream_;
  void silence(const MpegPacket& packet) {
    MpegStream::Silenced silenced;
    silenced.streamOffset = stream_.byteCount + 4 + packet.header.checksumBytes();
    silenced.byteCount = packet.header.sideInformationBytes();
    packet.header.silence(std::span(silenced.information).first(silenced.byteCount), reservoir_);
    stream_.silenced.push_back(silenced);
  }

  std::uint32_t reservoir_ = 0;    ///< bytes of main data that the next packet can reach, and the decoder still has
  std::uint32_t unusedBytes_ = 0;  ///< of main data, behind what the last packet made use of
};

/// The packet that comes next in the stream, behind tags, junk or a change of format where need be.
MpegScanner::Result following(MpegScanner& scanner, const ByteSource& source, const MpegPacket& previous) {
  std::uint64_t offset = previous.offset + previous.byteCount;
  auto packet = scanner.next(offset, previous);
  if (!packet || *packet) return packet;
  packet = scanner.runAt(offset);
  if (!packet || *packet) return packet;
  const auto tagSize = tagSizeAt(source, offset);
  if (!tagSize) return std::unexpected(tagSize.error());
  offset += std::max<std::uint64_t>(*tagSize, 1);
  return scanner.findRun(offset, offset + kLongestJunk);
}

}  // namespace

std::uint64_t MpegStream::reservoirPackets() const {
  if (header.layer != 3) return 0;
  const std::uint32_t mainData = std::max(smallestMainDataBytes, 1U);
  return (header.largestReservoir() + mainData - 1) / mainData;
}

std::expected<std::optional<std::uint64_t>, OSStatus> findMpegAudio(const ByteSource& source, std::uint64_t begin) {
  const auto end = startOfTrailingTags(source, begin);
  if (!end) return std::unexpected(end.error());
  MpegScanner scanner(source, *end);
  auto packet = scanner.findRun(begin, begin + kMebibyte);
  // A tag that claims more bytes than it has hides the music.
  if (packet && !*packet && begin > 0) packet = scanner.findRun(0, kMebibyte);
  if (!packet) return std::unexpected(packet.error());
  return *packet ? std::optional((*packet)->offset) : std::nullopt;
}

std::expected<MpegStream, OSStatus> readMpegStream(const ByteSource& source, std::uint64_t firstPacket) {
  const auto end = startOfTrailingTags(source, firstPacket);
  if (!end) return std::unexpected(end.error());
  MpegScanner scanner(source, *end);
  auto packet = scanner.runAt(firstPacket);
  if (!packet) return std::unexpected(packet.error());
  if (!*packet) return std::unexpected(kAudioFileInvalidFileError);
  const auto information = informationIn(source, **packet);
  if (!information) return std::unexpected(information.error());

  StreamBuilder builder;
  MpegPacket previous = **packet;
  for (bool isSound = !*information; builder.frames() < kMostFrames; isSound = true) {
    if (isSound) {
      const auto data = scanner.mainData(previous);
      if (!data) return std::unexpected(data.error());
      builder.add(previous, *data);
      if (builder.hasTooManyOddities()) return std::unexpected(kAudioFileInvalidFileError);
    }
    packet = following(scanner, source, previous);
    if (!packet) return std::unexpected(packet.error());
    if (!*packet) break;
    previous = **packet;
  }
  auto stream = std::move(builder).finish(information->value_or(InformationPacket{}));
  // Only the encoder's own packet is here: a stream of that kind that holds nothing.
  if (stream.packetCount == 0) stream.header = previous.header;
  return stream;
}

}  // namespace tolvane
