#include "platform/codecs/mp3/MpegScanner.h"

#include <algorithm>

#include "platform/codecs/bytes/ByteOrder.h"

namespace tolvane {

namespace {

/// In free format a packet may be of any length; decoders have room for about half of this.
constexpr std::uint32_t kLargestFreePacket = 8192;

/// The size of a packet that follows one without padding of `freeBytes`.
std::uint32_t packetBytes(const MpegFrameHeader& header, std::uint32_t freeBytes) {
  return header.bitRate != 0 ? header.packetBytes() : freeBytes + header.paddingBytes();
}

}  // namespace

std::expected<std::optional<MpegFrameHeader>, OSStatus> MpegScanner::headerAt(std::uint64_t offset) {
  ++placesLookedAt_;
  if (offset >= end_ || end_ - offset < MpegFrameHeader::kByteCount) return std::nullopt;
  const auto bytes = window_.at(offset, MpegFrameHeader::kByteCount);
  if (!bytes) return std::unexpected(bytes.error());
  return bytes->size() < MpegFrameHeader::kByteCount ? std::nullopt : MpegFrameHeader::parse(*bytes);
}

MpegScanner::Result MpegScanner::next(std::uint64_t offset, const MpegPacket& previous) {
  const auto header = headerAt(offset);
  if (!header) return std::unexpected(header.error());
  if (!*header || !(*header)->continues(previous.header)) return std::nullopt;
  const MpegPacket packet{**header, offset, packetBytes(**header, previous.byteCount - previous.header.paddingBytes())};
  if (packet.byteCount < MpegFrameHeader::kByteCount || packet.byteCount > end_ - offset) return std::nullopt;
  return packet;
}

std::expected<bool, OSStatus> MpegScanner::isRun(const MpegPacket& first, std::uint32_t freeBytes) {
  constexpr int kFollowers = 2;
  std::uint64_t offset = first.offset + first.byteCount;
  for (int i = 0; i < kFollowers; ++i) {
    if (first.byteCount < MpegFrameHeader::kByteCount || offset > end_) return i > 0;
    // A short file: its last packet fits to the byte, or is cut off in its header.
    if (offset == end_) return true;
    const auto header = headerAt(offset);
    if (!header) return std::unexpected(header.error());
    if (!*header || !(*header)->continues(first.header)) return i > 0 && end_ - offset < MpegFrameHeader::kByteCount;
    offset += packetBytes(**header, freeBytes);
  }
  return true;
}

MpegScanner::Result MpegScanner::freeFormatRunOf(std::uint64_t offset, const MpegFrameHeader& header,
                                                 std::uint32_t byteCount) {
  const auto follower = headerAt(offset + byteCount);
  if (!follower) return std::unexpected(follower.error());
  if (!*follower || !(*follower)->continues(header) || byteCount < header.paddingBytes()) return std::nullopt;
  const MpegPacket packet{header, offset, byteCount};
  const auto isRunHere = isRun(packet, byteCount - header.paddingBytes());
  if (!isRunHere) return std::unexpected(isRunHere.error());
  return *isRunHere ? std::optional(packet) : std::nullopt;
}

MpegScanner::Result MpegScanner::freeFormatRunAt(std::uint64_t offset, const MpegFrameHeader& header) {
  // Junk holds few such headers by chance. A file that is full of them was made to be searched for ever; its music, if
  // any, is then found only by the size of the packets before.
  if (freeSearchesLeft_ == 0) {
    return knownFreeBytes_ == 0 ? std::nullopt
                                : freeFormatRunOf(offset, header, knownFreeBytes_ + header.paddingBytes());
  }
  for (std::uint32_t size = MpegFrameHeader::kByteCount; size <= kLargestFreePacket; ++size) {
    auto packet = freeFormatRunOf(offset, header, size);
    if (packet && !*packet) continue;
    if (packet) knownFreeBytes_ = size - header.paddingBytes();
    return packet;
  }
  --freeSearchesLeft_;
  return std::nullopt;
}

MpegScanner::Result MpegScanner::runAt(std::uint64_t offset) {
  const auto header = headerAt(offset);
  if (!header) return std::unexpected(header.error());
  if (!*header) return std::nullopt;
  if ((*header)->bitRate == 0) return freeFormatRunAt(offset, **header);
  const MpegPacket packet{**header, offset, (*header)->packetBytes()};
  const auto isRunHere = isRun(packet, 0);
  if (!isRunHere) return std::unexpected(isRunHere.error());
  return *isRunHere ? std::optional(packet) : std::nullopt;
}

std::expected<MpegMainData, OSStatus> MpegScanner::mainData(const MpegPacket& packet) {
  const auto& header = packet.header;
  const std::size_t start = MpegFrameHeader::kByteCount + header.checksumBytes();
  const std::size_t end = start + header.sideInformationBytes();
  if (header.layer != 3 || packet.byteCount < end) return MpegMainData{};
  const auto bytes = window_.at(packet.offset, end);
  if (!bytes) return std::unexpected(bytes.error());
  if (bytes->size() < end) return MpegMainData{};
  const auto field = [information = bytes->subspan(start)](std::size_t at, std::size_t bits) {
    std::uint32_t value = 0;
    for (; bits > 0; --bits, ++at)
      value = value << 1 | (std::to_integer<std::uint32_t>(information[at / 8]) >> (7 - at % 8) & 1);
    return value;
  };
  const bool isMpeg1 = header.version == MpegFrameHeader::Version::mpeg1;
  constexpr std::size_t lengthBits = 12;
  // Private bits, and in MPEG 1 four bits a channel about scale factors, stand before the granules.
  std::size_t at = isMpeg1 ? (header.channels == 1 ? 18 : 20) : (header.channels == 1 ? 9 : 10);
  std::uint32_t bits = 0;
  for (int i = 0; i < (isMpeg1 ? 2 : 1) * header.channels; ++i, at += isMpeg1 ? 59 : 63) bits += field(at, lengthBits);
  return MpegMainData{field(0, isMpeg1 ? 9 : 8), (bits + 7) / 8};
}

MpegScanner::Result MpegScanner::findRun(std::uint64_t offset, std::uint64_t limit) {
  constexpr std::size_t kPiece = 4096;
  for (limit = std::min(limit, end_); offset < limit;) {
    const auto bytes = window_.at(offset, std::min<std::uint64_t>(kPiece, limit - offset));
    if (!bytes) return std::unexpected(bytes.error());
    if (bytes->empty()) break;
    const auto candidate = static_cast<std::uint64_t>(std::ranges::find(*bytes, std::byte{0xFF}) - bytes->begin());
    offset += candidate;
    if (candidate == bytes->size()) continue;
    auto packet = runAt(offset);
    if (!packet || *packet) return packet;
    ++offset;
  }
  return std::nullopt;
}

}  // namespace tolvane
