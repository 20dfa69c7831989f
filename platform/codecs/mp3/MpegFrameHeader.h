#pragma once
// The four bytes that start every frame of MPEG audio (MPEG 1, 2 and 2.5, layers I to III). Pure; any thread.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace tolvane {

struct MpegFrameHeader {
  static constexpr std::size_t kByteCount = 4;

  enum class Version : std::uint8_t { mpeg1, mpeg2, mpeg25 };

  Version version = Version::mpeg1;
  std::uint8_t layer = 3;
  std::uint8_t channels = 2;
  bool hasPadding = false;
  bool hasChecksum = false;      ///< two bytes behind the header
  std::uint32_t sampleRate = 0;  ///< hertz
  std::uint32_t bitRate = 0;     ///< kilobits per second; 0 in free format, where the stream itself shows it

  /// REQUIRES: kByteCount bytes. Nothing when they are no header, or use values that are reserved.
  [[nodiscard]] static std::optional<MpegFrameHeader> parse(std::span<const std::byte> bytes);

  bool operator==(const MpegFrameHeader&) const = default;

  [[nodiscard]] std::uint32_t framesPerPacket() const;
  [[nodiscard]] std::uint32_t paddingBytes() const { return hasPadding ? (layer == 1 ? 4 : 1) : 0; }
  /// Bytes of the whole packet, this header included; 0 in free format.
  [[nodiscard]] std::uint32_t packetBytes() const;
  [[nodiscard]] std::uint32_t checksumBytes() const { return hasChecksum ? 2 : 0; }
  /// Bytes between this header and the main data of layer III: the side information.
  [[nodiscard]] std::uint32_t sideInformationBytes() const;
  /// Bytes of main data in a packet of that size.
  [[nodiscard]] std::uint32_t mainDataBytes(std::uint32_t packetBytes) const;
  /// Bytes that a packet of layer III may borrow from those before it.
  [[nodiscard]] std::uint32_t largestReservoir() const { return version == Version::mpeg1 ? 511 : 255; }
  /// Side information that asks for no bits, but keeps `reservoir` bytes of main data from before for the packets that
  /// follow. `information` is as long as sideInformationBytes(). A decoder plays it as silence and keeps its state.
  void silence(std::span<std::byte> information, std::uint32_t reservoir) const;
  /// True when both can belong to one stream of one rate and one number of channels.
  [[nodiscard]] bool continues(const MpegFrameHeader& other) const;
};

}  // namespace tolvane
