#include "platform/codecs/pcm/AiffLayout.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

#include "platform/codecs/pcm/AiffChannels.h"
#include "platform/codecs/bytes/ByteOrder.h"
#include "platform/codecs/bytes/ChunkWalker.h"

namespace tolvane {

namespace {

constexpr std::size_t kFormHeaderSize = 12;

constexpr std::uint32_t kSigned = kAudioFormatFlagIsSignedInteger;
constexpr std::uint32_t kBigEndian = kAudioFormatFlagIsBigEndian;
constexpr std::uint32_t kFloat = kAudioFormatFlagIsFloat;

/// The compression types that are linear PCM under another name.
struct Compression {
  FourCharCode type;
  std::uint32_t flags;
  std::uint32_t fixedBits;  ///< 0: the sample size of the header counts. The others often have a wrong one there.
};

constexpr std::array<Compression, 12> kLinearCompressions = {{
    {fourCharCode("NONE"), kSigned | kBigEndian, 0},
    {fourCharCode("twos"), kSigned | kBigEndian, 0},
    {fourCharCode("sowt"), kSigned, 0},
    {fourCharCode("raw "), 0, 8},
    {fourCharCode("in24"), kSigned | kBigEndian, 24},
    {fourCharCode("in32"), kSigned | kBigEndian, 32},
    {fourCharCode("42ni"), kSigned, 24},
    {fourCharCode("23ni"), kSigned, 32},
    {fourCharCode("fl32"), kFloat | kBigEndian, 32},
    {fourCharCode("FL32"), kFloat | kBigEndian, 32},
    {fourCharCode("fl64"), kFloat | kBigEndian, 64},
    {fourCharCode("FL64"), kFloat | kBigEndian, 64},
}};

/// The content of the common chunk.
struct Common {
  AudioStreamBasicDescription format;
  std::uint32_t frames = 0;
};

AudioStreamBasicDescription describeData(FourCharCode type, double sampleRate, std::uint32_t channels,
                                         std::uint32_t sampleSize) {
  const auto* const linear = std::ranges::find(kLinearCompressions, type, &Compression::type);
  if (linear == kLinearCompressions.end()) {
    AudioStreamBasicDescription format;
    format.mSampleRate = sampleRate;
    format.mFormatID = type;
    format.mChannelsPerFrame = channels;
    return format;
  }
  // A sample takes as many whole bytes as its bits need and stands at their top.
  const std::uint32_t bits = linear->fixedBits != 0 ? linear->fixedBits : sampleSize;
  return describePCM(sampleRate, channels, bits, (bits + 7) / 8 * channels, linear->flags);
}

std::expected<Common, OSStatus> readCommon(const ByteSource& source, const Chunk& chunk, bool isCompressed) {
  constexpr std::size_t kPlainSize = 18;
  constexpr std::size_t kSizeWithType = 22;
  std::array<std::byte, kSizeWithType> storage;
  const auto bytes = std::span(storage).first(isCompressed ? kSizeWithType : kPlainSize);
  if (chunk.size < bytes.size()) return std::unexpected(kAudioFileInvalidFileError);
  if (const OSStatus status = readExactly(source, chunk.offset, bytes); status != noErr) return std::unexpected(status);
  const double sampleRate = loadExtended(bytes.subspan(8, 10));
  if (!std::isfinite(sampleRate)) return std::unexpected(kAudioFileInvalidFileError);
  const FourCharCode type = isCompressed ? loadCode(bytes, kPlainSize) : fourCharCode("NONE");
  return Common{describeData(type, sampleRate, loadBig<std::uint16_t>(bytes, 0), loadBig<std::uint16_t>(bytes, 6)),
                loadBig<std::uint32_t>(bytes, 2)};
}

/// Where the samples lie inside the sound data chunk.
struct SoundData {
  std::uint64_t offset = 0;
  std::uint64_t byteCount = 0;  ///< that the file holds
  std::optional<std::uint64_t> announcedByteCount{};
  bool isBlockAligned = false;
};

std::expected<SoundData, OSStatus> readSoundData(const ByteSource& source, const Chunk& chunk,
                                                 std::uint64_t available) {
  std::array<std::byte, 8> bytes;
  if (available < bytes.size()) return std::unexpected(kAudioFileInvalidFileError);
  if (const OSStatus status = readExactly(source, chunk.offset, bytes); status != noErr) return std::unexpected(status);
  const std::uint64_t skipped = bytes.size() + loadBig<std::uint32_t>(bytes, 0);
  if (skipped > available) return std::unexpected(kAudioFileInvalidFileError);
  const std::uint64_t stated = chunk.size - std::min(chunk.size, skipped);
  return SoundData{.offset = chunk.offset + skipped,
                   .byteCount = available - skipped,
                   .announcedByteCount = announcedSize(stated, available - skipped),
                   .isBlockAligned = loadBig<std::uint32_t>(bytes, 4) != 0};
}

PcmFileLayout layoutOf(const Common& common, const SoundData& data) {
  PcmFileLayout layout{common.format, data.offset, data.byteCount, sourceBitDepthOf(common.format)};
  layout.announcedByteCount = data.announcedByteCount;
  // Data in blocks is padded after the music; only the frame count states where the music ends. Elsewhere the chunk
  // itself is more reliable: a wrong frame count must not cut a track.
  if (data.isBlockAligned && common.frames != 0 && common.format.mBytesPerFrame != 0) {
    const std::uint64_t music = std::uint64_t{common.frames} * common.format.mBytesPerFrame;
    layout.dataByteCount = std::min(layout.dataByteCount, music);
    if (layout.announcedByteCount) layout.announcedByteCount = std::min(*layout.announcedByteCount, music);
  }
  return layout;
}

}  // namespace

bool isAiffHeader(std::span<const std::byte> start) {
  if (start.size() < kFormHeaderSize || loadCode(start, 0) != fourCharCode("FORM")) return false;
  return loadCode(start, 8) == fourCharCode("AIFF") || loadCode(start, 8) == fourCharCode("AIFC");
}

double loadExtended(std::span<const std::byte> bytes) {
  const auto signAndExponent = loadBig<std::uint16_t>(bytes, 0);
  const auto mantissa = loadBig<std::uint64_t>(bytes, 2);
  const int exponent = signAndExponent & 0x7FFF;
  if (exponent == 0x7FFF) return std::numeric_limits<double>::infinity();
  const double magnitude = std::ldexp(static_cast<double>(mantissa), exponent - 16383 - 63);
  return (signAndExponent & 0x8000) != 0 ? -magnitude : magnitude;
}

std::expected<PcmFileLayout, OSStatus> readAiffLayout(const ByteSource& source, std::uint64_t offset) {
  std::array<std::byte, kFormHeaderSize> start;
  if (const OSStatus status = readExactly(source, offset, start); status != noErr) return std::unexpected(status);
  const bool isCompressed = loadCode(start, 8) == fourCharCode("AIFC");

  ChunkWalker walker(source, offset + kFormHeaderSize, std::endian::big);
  std::optional<Common> common;
  std::optional<SoundData> data;
  while (!common || !data) {
    const auto current = walker.current();
    if (!current) return std::unexpected(current.error());
    if (!*current) break;
    Chunk chunk = **current;
    if (chunk.id == fourCharCode("COMM") && !common) {
      const auto read = readCommon(source, chunk, isCompressed);
      if (!read) return std::unexpected(read.error());
      common = *read;
    } else if (chunk.id == fourCharCode("SSND") && !data) {
      // Its content starts with eight bytes in front of the samples: a size of 0 was never known.
      if (chunk.size == 0) chunk.size = std::numeric_limits<std::uint64_t>::max();
      const auto read = readSoundData(source, chunk, walker.availableBytes(chunk));
      if (!read) return std::unexpected(read.error());
      data = *read;
    }
    if (const OSStatus status = walker.advancePast(chunk); status != noErr) return std::unexpected(status);
  }
  // A file of no frames needs no sound data.
  if (common && !data && common->frames == 0) data = SoundData{};
  if (!common || !data) return std::unexpected(kAudioFileInvalidFileError);
  PcmFileLayout layout = layoutOf(*common, *data);
  layout.channels = readAiffChannels(source, common->format.mChannelsPerFrame, offset);
  return layout;
}

}  // namespace tolvane
