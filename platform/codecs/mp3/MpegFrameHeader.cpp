#include "platform/codecs/mp3/MpegFrameHeader.h"

#include <algorithm>
#include <array>

#include "platform/codecs/bytes/ByteOrder.h"

namespace tolvane {

namespace {

using Rates = std::array<std::uint16_t, 15>;
// Kilobits per second by the header's index; index 15 is reserved.
constexpr Rates kMpeg1Layer1 = {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448};
constexpr Rates kMpeg1Layer2 = {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384};
constexpr Rates kMpeg1Layer3 = {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
constexpr Rates kMpeg2Layer1 = {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256};
constexpr Rates kMpeg2Layers2And3 = {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160};

const Rates& bitRates(MpegFrameHeader::Version version, std::uint8_t layer) {
  if (version == MpegFrameHeader::Version::mpeg1) {
    if (layer == 1) return kMpeg1Layer1;
    return layer == 2 ? kMpeg1Layer2 : kMpeg1Layer3;
  }
  return layer == 1 ? kMpeg2Layer1 : kMpeg2Layers2And3;
}

}  // namespace

std::optional<MpegFrameHeader> MpegFrameHeader::parse(std::span<const std::byte> bytes) {
  const auto word = loadBig<std::uint32_t>(bytes, 0);
  const std::uint32_t version = word >> 19 & 3;
  const std::uint32_t layer = word >> 17 & 3;
  const std::uint32_t rateIndex = word >> 12 & 15;
  const std::uint32_t frequencyIndex = word >> 10 & 3;
  const bool hasReservedValue = version == 1 || layer == 0 || rateIndex == 15 || frequencyIndex == 3;
  if (word >> 21 != 0x7FF || hasReservedValue) return std::nullopt;

  MpegFrameHeader header;
  header.version = version == 3 ? Version::mpeg1 : version == 2 ? Version::mpeg2 : Version::mpeg25;
  header.layer = static_cast<std::uint8_t>(4 - layer);
  header.channels = (word >> 6 & 3) == 3 ? 1 : 2;
  header.hasChecksum = (word >> 16 & 1) == 0;
  header.hasPadding = (word >> 9 & 1) != 0;
  constexpr std::array<std::uint32_t, 3> kFrequencies = {44100, 48000, 32000};
  header.sampleRate = kFrequencies[frequencyIndex] >> static_cast<int>(header.version);
  header.bitRate = bitRates(header.version, header.layer)[rateIndex];
  return header;
}

std::uint32_t MpegFrameHeader::framesPerPacket() const {
  if (layer == 1) return 384;
  return layer == 3 && version != Version::mpeg1 ? 576 : 1152;
}

std::uint32_t MpegFrameHeader::packetBytes() const {
  if (bitRate == 0) return 0;
  if (layer == 1) return 12 * bitRate * 1000 / sampleRate * 4 + paddingBytes();
  return framesPerPacket() / 8 * bitRate * 1000 / sampleRate + paddingBytes();
}

std::uint32_t MpegFrameHeader::sideInformationBytes() const {
  if (version == Version::mpeg1) return channels == 1 ? 17 : 32;
  return channels == 1 ? 9 : 17;
}

std::uint32_t MpegFrameHeader::mainDataBytes(std::uint32_t packetBytes) const {
  constexpr std::uint32_t kHeaderBytes = 4;
  const std::uint32_t overhead = kHeaderBytes + checksumBytes() + sideInformationBytes();
  return packetBytes > overhead ? packetBytes - overhead : 0;
}

void MpegFrameHeader::silence(std::span<std::byte> information, std::uint32_t reservoir) const {
  std::ranges::fill(information, std::byte{0});
  // The first field states how far back the main data starts: 9 bits in MPEG 1, 8 in the others. The decoder carries
  // over only what is asked for, so all is.
  if (version == Version::mpeg1) {
    information[0] = static_cast<std::byte>(reservoir >> 1);
    information[1] = static_cast<std::byte>((reservoir & 1) << 7);
  } else {
    information[0] = static_cast<std::byte>(reservoir);
  }
}

bool MpegFrameHeader::continues(const MpegFrameHeader& other) const {
  return version == other.version && layer == other.layer && channels == other.channels &&
         sampleRate == other.sampleRate && (bitRate == 0) == (other.bitRate == 0);
}

}  // namespace tolvane
