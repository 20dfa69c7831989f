#include "platform/codecs/flac/FlacBlockHeader.h"

#include <array>

#include "platform/codecs/bytes/ByteOrder.h"

namespace tolvane {

namespace {

std::uint32_t valueOf(std::byte byte) { return std::to_integer<std::uint32_t>(byte); }

/// Polynomial x^8 + x^2 + x + 1.
std::uint8_t checksum(std::span<const std::byte> bytes) {
  std::uint32_t sum = 0;
  for (const std::byte byte : bytes) {
    sum ^= valueOf(byte);
    for (int bit = 0; bit < 8; ++bit) sum = (sum & 0x80) != 0 ? (sum << 1 ^ 0x07) & 0xFF : sum << 1;
  }
  return static_cast<std::uint8_t>(sum);
}

/// Reads the fields of a header in order; never past its end.
class Fields {
 public:
  explicit Fields(std::span<const std::byte> bytes) : bytes_(bytes) {}

  [[nodiscard]] bool isCut() const { return isCut_; }
  [[nodiscard]] std::size_t taken() const { return at_; }

  std::uint32_t integer(std::size_t byteCount) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < byteCount; ++i) value = value << 8 | next();
    return value;
  }

  /// In the coding of UTF-8, continued to 36 bits.
  std::optional<std::uint64_t> number() {
    const std::uint32_t first = next();
    if (first < 0x80) return first;
    int followers = 0;
    while (followers < 7 && (first & (0x40U >> followers)) != 0) ++followers;
    if (followers == 0 || followers > 6) return std::nullopt;
    std::uint64_t value = first & (0x3FU >> followers);
    for (int i = 0; i < followers; ++i) {
      const std::uint32_t byte = next();
      if ((byte & 0xC0) != 0x80) return std::nullopt;
      value = value << 6 | (byte & 0x3F);
    }
    return value;
  }

 private:
  std::uint32_t next() {
    isCut_ = isCut_ || at_ >= bytes_.size();
    return isCut_ ? 0 : valueOf(bytes_[at_++]);
  }

  const std::span<const std::byte> bytes_;
  std::size_t at_ = 0;
  bool isCut_ = false;
};

std::uint32_t blockFrames(std::uint32_t code, Fields& fields) {
  if (code == 1) return 192;
  if (code >= 2 && code <= 5) return 576U << (code - 2);
  if (code == 6) return fields.integer(1) + 1;
  if (code == 7) return fields.integer(2) + 1;
  return 256U << (code - 8);
}

std::uint32_t rateOf(std::uint32_t code, Fields& fields, std::uint32_t streamRate) {
  constexpr std::array<std::uint32_t, 12> rates = {0,     88200, 176400, 192000, 8000,  16000,
                                                   22050, 24000, 32000,  44100,  48000, 96000};
  if (code == 0) return streamRate;
  if (code < rates.size()) return rates[code];
  if (code == 12) return fields.integer(1) * 1000;
  return fields.integer(2) * (code == 14 ? 10 : 1);
}

}  // namespace

std::optional<FlacBlockHeader> FlacBlockHeader::parse(std::span<const std::byte> bytes, const FlacStream& stream) {
  constexpr std::size_t fixedBytes = 4;
  if (bytes.size() <= fixedBytes || bytes[0] != std::byte{0xFF} || (bytes[1] & std::byte{0xFE}) != std::byte{0xF8}) {
    return std::nullopt;
  }
  const std::uint32_t framesCode = valueOf(bytes[2]) >> 4;
  const std::uint32_t rateCode = valueOf(bytes[2]) & 15;
  const std::uint32_t channelsCode = valueOf(bytes[3]) >> 4;
  const std::uint32_t bitsCode = valueOf(bytes[3]) >> 1 & 7;
  const bool isReserved = (bytes[3] & std::byte{1}) != std::byte{0};
  constexpr std::uint32_t lastStereoCode = 10;
  if (framesCode == 0 || rateCode == 15 || channelsCode > lastStereoCode || bitsCode == 3 || isReserved) {
    return std::nullopt;
  }
  Fields fields(bytes.subspan(fixedBytes));
  const auto number = fields.number();
  if (!number) return std::nullopt;

  FlacBlockHeader head;
  head.frames = blockFrames(framesCode, fields);
  head.sampleRate = rateOf(rateCode, fields, stream.sampleRate);
  head.channels = channelsCode < 8 ? channelsCode + 1 : 2;
  constexpr std::array<std::uint32_t, 8> depths = {0, 8, 12, 0, 16, 20, 24, 32};
  head.bits = bitsCode == 0 ? stream.bits : depths[bitsCode];
  const std::size_t summed = fixedBytes + fields.taken();
  if (fields.isCut() || bytes.size() <= summed || checksum(bytes.first(summed)) != valueOf(bytes[summed])) {
    return std::nullopt;
  }
  // Blocks that differ in size carry the number of their first frame, others their own number. As in libFLAC the
  // stream's announcement counts, too: old encoders do not set the bit.
  const bool countsFrames = (bytes[1] & std::byte{1}) != std::byte{0} || stream.fixedBlockFrames == 0;
  head.frame = countsFrames ? *number : *number * stream.fixedBlockFrames;
  head.byteCount = static_cast<std::uint32_t>(summed) + 1;
  return head;
}

}  // namespace tolvane
