#pragma once
// Audio files made up byte by byte, with every oddity that a test asks for.

#include <atomic>
#include <bit>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane::test {

/// Bytes that grow at their end.
class Bytes {
 public:
  Bytes& text(std::string_view characters);
  Bytes& little(std::uint64_t value, int byteCount);
  Bytes& big(std::uint64_t value, int byteCount);
  Bytes& append(const std::vector<std::byte>& other);
  Bytes& repeat(std::byte value, std::size_t count);

  [[nodiscard]] const std::vector<std::byte>& all() const { return bytes_; }

 private:
  std::vector<std::byte> bytes_;
};

/// "fLaC" and STREAMINFO, 42 bytes: 44.1 kHz, 16 bits, and so many frames; 0: their number is not known.
[[nodiscard]] Bytes flacStart(std::uint64_t frames, int channels, bool isLastMetadata = true,
                              std::uint64_t blockFrames = 65535);

/// 0, 1, 2, … for sample data of which only the place matters.
[[nodiscard]] std::vector<std::byte> countingBytes(std::size_t count);

/// A WAV file: chunks in the order in which they are asked for.
class WavFile {
 public:
  explicit WavFile(std::string_view id = "RIFF") { bytes_.text(id).little(0, 4).text("WAVE"); }

  /// "fmt " of 16 bytes.
  WavFile& format(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate, std::uint16_t blockAlign,
                  std::uint16_t bits);
  /// "fmt " of 40 bytes whose sub-format is a tag.
  WavFile& extensible(std::uint16_t subTag, std::uint16_t channels, std::uint32_t rate, std::uint16_t blockAlign,
                      std::uint16_t bits, std::uint16_t validBits);
  /// With a size that may lie, and padding that may be forgotten.
  WavFile& chunk(std::string_view id, const std::vector<std::byte>& content,
                 std::optional<std::uint32_t> claimedSize = {}, bool isPadded = true);

  [[nodiscard]] const std::vector<std::byte>& bytes() const { return bytes_.all(); }

 private:
  Bytes bytes_;
};

/// An AIFF file, in the same manner.
class AiffFile {
 public:
  explicit AiffFile(std::string_view type = "AIFF") { bytes_.text("FORM").big(0, 4).text(type); }

  /// "COMM"; with a compression type that of AIFF-C.
  AiffFile& common(std::uint16_t channels, std::uint32_t frames, std::uint16_t sampleSize, double rate,
                   std::string_view compression = {});
  AiffFile& soundData(const std::vector<std::byte>& samples, std::uint32_t offset = 0, std::uint32_t blockSize = 0);
  AiffFile& chunk(std::string_view id, const std::vector<std::byte>& content,
                  std::optional<std::uint32_t> claimedSize = {});

  [[nodiscard]] const std::vector<std::byte>& bytes() const { return bytes_.all(); }

 private:
  Bytes bytes_;
};

/// The 80-bit floating point number of AIFF. REQUIRES: a positive finite value.
[[nodiscard]] std::vector<std::byte> extendedBytes(double value);

/// Names the cases of a table by their field `name`.
constexpr auto caseName = [](const auto& test) { return test.param.name; };

/// A file that lies in memory.
class MemorySource final : public ByteSource {
 public:
  explicit MemorySource(std::vector<std::byte> bytes) : bytes_(std::move(bytes)) {}

  [[nodiscard]] std::uint64_t size() const override { return bytes_.size(); }
  [[nodiscard]] std::expected<std::size_t, OSStatus> readAt(std::uint64_t offset,
                                                            std::span<std::byte> destination) const override;

 private:
  const std::vector<std::byte> bytes_;
};

/// A file in memory that keeps count of what is read of it.
class CountingSource final : public ByteSource {
 public:
  explicit CountingSource(std::vector<std::byte> bytes) : memory_(std::move(bytes)) {}

  [[nodiscard]] std::uint64_t size() const override { return memory_.size(); }
  [[nodiscard]] std::expected<std::size_t, OSStatus> readAt(std::uint64_t offset,
                                                            std::span<std::byte> destination) const override;

  [[nodiscard]] std::uint64_t bytesRead() const { return bytesRead_; }
  [[nodiscard]] std::uint64_t reads() const { return reads_; }

 private:
  const MemorySource memory_;
  mutable std::atomic<std::uint64_t> bytesRead_ = 0;
  mutable std::atomic<std::uint64_t> reads_ = 0;
};

/// At least so many bytes of headers in free format. Each could be the start of a run, and none is.
[[nodiscard]] std::vector<std::byte> freeHeadersWithoutRun(std::size_t byteCount);

}  // namespace tolvane::test
