#include "tests/platform/codecs/AudioBytes.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tolvane::test {

namespace {

/// Byte 0 is the least significant one; beyond the value's own eight all are zero.
std::byte byteOf(std::uint64_t value, int place) {
  return place < 8 ? static_cast<std::byte>(value >> (8 * place)) : std::byte{0};
}

}  // namespace

Bytes& Bytes::text(std::string_view characters) {
  for (const char c : characters) bytes_.push_back(static_cast<std::byte>(c));
  return *this;
}

Bytes& Bytes::little(std::uint64_t value, int byteCount) {
  for (int place = 0; place < byteCount; ++place) bytes_.push_back(byteOf(value, place));
  return *this;
}

Bytes& Bytes::big(std::uint64_t value, int byteCount) {
  for (int place = byteCount - 1; place >= 0; --place) bytes_.push_back(byteOf(value, place));
  return *this;
}

Bytes& Bytes::append(const std::vector<std::byte>& other) {
  bytes_.insert(bytes_.end(), other.begin(), other.end());
  return *this;
}

Bytes& Bytes::repeat(std::byte value, std::size_t count) {
  bytes_.insert(bytes_.end(), count, value);
  return *this;
}

Bytes flacStart(std::uint64_t frames, int channels, bool isLastMetadata, std::uint64_t blockFrames) {
  const std::uint64_t fields =
      std::uint64_t{44100} << 44U | static_cast<std::uint64_t>(channels - 1) << 41U | std::uint64_t{15} << 36U | frames;
  Bytes bytes;
  bytes.text("fLaC").big(isLastMetadata ? 0x80 : 0, 1).big(34, 3).big(blockFrames, 2).big(blockFrames, 2);
  return bytes.big(0, 6).big(fields, 8).big(0, 16);
}

std::vector<std::byte> countingBytes(std::size_t count) {
  std::vector<std::byte> bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::byte>(i);
  return bytes;
}

WavFile& WavFile::format(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate, std::uint16_t blockAlign,
                         std::uint16_t bits) {
  Bytes content;
  content.little(tag, 2).little(channels, 2).little(rate, 4).little(std::uint64_t{rate} * blockAlign, 4);
  return chunk("fmt ", content.little(blockAlign, 2).little(bits, 2).all());
}

WavFile& WavFile::extensible(std::uint16_t subTag, std::uint16_t channels, std::uint32_t rate, std::uint16_t blockAlign,
                             std::uint16_t bits, std::uint16_t validBits) {
  Bytes content;
  content.little(0xFFFE, 2).little(channels, 2).little(rate, 4).little(std::uint64_t{rate} * blockAlign, 4);
  content.little(blockAlign, 2).little(bits, 2).little(22, 2).little(validBits, 2).little(0, 4).little(subTag, 2);
  return chunk("fmt ", content.big(0x0000'0000'1000'80, 7).big(0x0000'AA00'389B'71, 7).all());
}

WavFile& WavFile::chunk(std::string_view id, const std::vector<std::byte>& content,
                        std::optional<std::uint32_t> claimedSize, bool isPadded) {
  bytes_.text(id).little(claimedSize.value_or(static_cast<std::uint32_t>(content.size())), 4).append(content);
  if (content.size() % 2 != 0 && isPadded) bytes_.little(0, 1);
  return *this;
}

AiffFile& AiffFile::common(std::uint16_t channels, std::uint32_t frames, std::uint16_t sampleSize, double rate,
                           std::string_view compression) {
  Bytes content;
  content.big(channels, 2).big(frames, 4).big(sampleSize, 2).append(extendedBytes(rate));
  if (!compression.empty()) content.text(compression).big(0, 2);
  return chunk("COMM", content.all());
}

AiffFile& AiffFile::soundData(const std::vector<std::byte>& samples, std::uint32_t offset, std::uint32_t blockSize) {
  Bytes content;
  content.big(offset, 4).big(blockSize, 4).repeat(std::byte{0xEE}, offset);
  return chunk("SSND", content.append(samples).all());
}

AiffFile& AiffFile::chunk(std::string_view id, const std::vector<std::byte>& content,
                          std::optional<std::uint32_t> claimedSize) {
  bytes_.text(id).big(claimedSize.value_or(static_cast<std::uint32_t>(content.size())), 4).append(content);
  if (content.size() % 2 != 0) bytes_.big(0, 1);
  return *this;
}

std::vector<std::byte> extendedBytes(double value) {
  int exponent = 0;
  const double fraction = std::frexp(value, &exponent);
  const auto mantissa = static_cast<std::uint64_t>(std::ldexp(fraction, 64));
  return Bytes().big(static_cast<std::uint64_t>(exponent + 16382), 2).big(mantissa, 8).all();
}

std::expected<std::size_t, OSStatus> MemorySource::readAt(std::uint64_t offset,
                                                          std::span<std::byte> destination) const {
  if (offset >= bytes_.size()) return 0;
  const auto part = std::span(bytes_).subspan(offset);
  const std::size_t count = std::min(part.size(), destination.size());
  std::ranges::copy(part.first(count), destination.begin());
  return count;
}

std::expected<std::size_t, OSStatus> CountingSource::readAt(std::uint64_t offset,
                                                            std::span<std::byte> destination) const {
  const auto count = memory_.readAt(offset, destination);
  ++reads_;
  bytesRead_ += count.value_or(0);
  return count;
}

std::vector<std::byte> freeHeadersWithoutRun(std::size_t byteCount) {
  // Numbers without the digit 2, in base 3: no three of them lie at equal distances.
  constexpr std::size_t kPlaces = 6561;
  const auto isTaken = [](std::size_t place) {
    while (place > 0 && place % 3 != 2) place /= 3;
    return place == 0;
  };
  // Six kinds of header in turn, each only among places that are out of the others' reach.
  constexpr std::array<std::uint32_t, 6> kHeaders = {0xFFFB'0000, 0xFFFB'0400, 0xFFFB'0800,
                                                     0xFFF3'0000, 0xFFF3'0400, 0xFFF3'0800};
  constexpr std::size_t kHeaderSize = 4;
  Bytes bytes;
  for (std::size_t block = 0; bytes.all().size() < byteCount; ++block) {
    for (std::size_t place = 0; place < kPlaces; ++place) {
      bytes.big(isTaken(place) ? kHeaders[block % kHeaders.size()] : 0, kHeaderSize);
    }
  }
  // Room for two of the longest packets, so that none seems to be cut off by the end.
  return bytes.repeat(std::byte{0}, std::size_t{3} * 8192).all();
}

}  // namespace tolvane::test
