#include "tests/system/dac/UsbIp.h"

#include <algorithm>

namespace tolvane {
namespace {

constexpr std::uint32_t kSubmit = 1, kUnlink = 2, kSubmitted = 3, kUnlinked = 4;
constexpr std::size_t kHeaderBytes = 48, kSetupAt = 40, kPacketBytes = 16;
constexpr std::uint32_t kNotIsochronous = 0xffffffff;
constexpr std::uint32_t kMostPackets = 1024, kMostBytes = 1 << 22;

std::uint32_t bigEndian(const std::uint8_t* bytes) {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 | bytes[3];
}

}  // namespace

void UsbIpReader::clear() {
  bytes_.clear();
  start_ = 0;
}

std::uint32_t UsbIpReader::field(std::size_t index) const { return bigEndian(&bytes_[start_ + 4 * index]); }

void UsbIpReader::consume(std::size_t count) {
  start_ += count;
  if (start_ == bytes_.size()) clear();
}

std::expected<std::optional<UsbIpRequest>, std::string> UsbIpReader::next() {
  if (bytes_.size() - start_ < kHeaderBytes) return std::nullopt;
  const std::uint32_t command = field(0);
  if (command == kUnlink) {
    const UsbIpUnlink request{field(1), field(5)};
    consume(kHeaderBytes);
    return request;
  }
  if (command != kSubmit) return std::unexpected("unknown USB/IP command " + std::to_string(command));
  const bool isIsochronous = field(4) != 0 && field(8) != kNotIsochronous;
  if (field(6) > kMostBytes || (isIsochronous && field(8) > kMostPackets))
    return std::unexpected("a USB/IP request of impossible size");
  return submit();
}

std::optional<UsbIpRequest> UsbIpReader::submit() {
  UsbIpSubmit request;
  request.sequence = field(1);
  request.isToHost = field(3) != 0;
  request.endpoint = field(4);
  request.length = field(6);
  request.interval = std::max(1U, field(9));
  const std::size_t packets = request.endpoint != 0 && field(8) != kNotIsochronous ? field(8) : 0;
  const std::size_t dataBytes = request.isToHost ? 0 : request.length;
  const std::size_t wholeBytes = kHeaderBytes + dataBytes + packets * kPacketBytes;
  if (bytes_.size() - start_ < wholeBytes) return std::nullopt;
  const std::uint8_t* const begin = &bytes_[start_];
  std::copy_n(begin + kSetupAt, request.setup.size(), request.setup.begin());
  request.data.assign(begin + kHeaderBytes, begin + kHeaderBytes + dataBytes);
  const std::uint8_t* packet = begin + kHeaderBytes + dataBytes;
  for (std::size_t index = 0; index < packets; ++index, packet += kPacketBytes)
    request.packets.push_back(
        {bigEndian(packet), bigEndian(packet + 4), bigEndian(packet + 8), bigEndian(packet + 12)});
  consume(wholeBytes);
  return request;
}

void UsbIpReplies::number(std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes_.push_back(static_cast<std::uint8_t>(value >> shift));
}

void UsbIpReplies::header(std::uint32_t command, std::uint32_t sequence, int status, std::uint32_t actualLength,
                          std::size_t packets) {
  for (const std::uint32_t value : {command, sequence, 0U, 0U, 0U, static_cast<std::uint32_t>(status), actualLength, 0U,
                                    static_cast<std::uint32_t>(packets), 0U, 0U, 0U})
    number(value);
}

void UsbIpReplies::submitted(std::uint32_t sequence, int status, std::uint32_t actualLength, ByteSpan data,
                             const std::vector<IsoPacket>& packets) {
  header(kSubmitted, sequence, status, actualLength, packets.size());
  bytes_.insert(bytes_.end(), data.begin(), data.end());
  for (const IsoPacket& packet : packets)
    for (const std::uint32_t value : {packet.offset, packet.length, packet.actualLength, packet.status}) number(value);
}

void UsbIpReplies::unlinked(std::uint32_t sequence, int status) { header(kUnlinked, sequence, status, 0, 0); }

}  // namespace tolvane
