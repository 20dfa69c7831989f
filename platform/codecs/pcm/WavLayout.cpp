#include "platform/codecs/pcm/WavLayout.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <vector>

#include "platform/codecs/bytes/ByteOrder.h"
#include "platform/codecs/bytes/ChunkWalker.h"

namespace tolvane {

namespace {

constexpr std::size_t kRiffHeaderSize = 12;
constexpr std::uint64_t kSizeIsElsewhere = 0xFFFFFFFF;

constexpr std::uint16_t kTagPCM = 0x0001;
constexpr std::uint16_t kTagFloat = 0x0003;
constexpr std::uint16_t kTagALaw = 0x0006;
constexpr std::uint16_t kTagMuLaw = 0x0007;
constexpr std::uint16_t kTagExtensible = 0xFFFE;

/// Bytes 2 to 15 of the sub-format identifiers whose first two bytes are a plain format tag.
constexpr std::array<std::uint8_t, 14> kTagIdentifierTail = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                                             0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

/// The sizes that did not fit into 32 bits: the content of the chunk "ds64".
struct LongSizes {
  struct Entry {
    FourCharCode id = 0;
    std::uint64_t size = 0;
  };
  std::uint64_t dataSize = 0;
  std::vector<Entry> others;

  [[nodiscard]] std::optional<std::uint64_t> find(FourCharCode id) const {
    // A writer to a pipe leaves 0 here: the size was not known.
    if (id == fourCharCode("data")) return dataSize == 0 ? std::nullopt : std::optional(dataSize);
    const auto entry = std::ranges::find(others, id, &Entry::id);
    return entry == others.end() ? std::nullopt : std::optional(entry->size);
  }
};

std::expected<LongSizes, OSStatus> readLongSizes(const ByteSource& source, const Chunk& chunk) {
  constexpr std::size_t kFixedPart = 28;
  constexpr std::size_t kEntrySize = 12;
  constexpr std::uint64_t kMostEntries = 1000;
  std::vector<std::byte> bytes(std::min<std::uint64_t>(chunk.size, kFixedPart + kMostEntries * kEntrySize));
  if (bytes.size() < kFixedPart) return std::unexpected(kAudioFileInvalidFileError);
  if (const OSStatus status = readExactly(source, chunk.offset, bytes); status != noErr) return std::unexpected(status);
  LongSizes sizes;
  sizes.dataSize = loadLittle<std::uint64_t>(bytes, 8);
  std::uint32_t entries = loadLittle<std::uint32_t>(bytes, 24);
  for (std::size_t at = kFixedPart; entries > 0 && at + kEntrySize <= bytes.size(); at += kEntrySize, --entries) {
    sizes.others.push_back({loadCode(bytes, at), loadLittle<std::uint64_t>(bytes, at + 4)});
  }
  return sizes;
}

/// Formats that are not linear PCM keep their tag in the low half, as 'ms' and two bytes.
FourCharCode formatIDForTag(std::uint16_t tag) {
  if (tag == kTagALaw) return fourCharCode("alaw");
  if (tag == kTagMuLaw) return fourCharCode("ulaw");
  return 0x6D730000U | tag;
}

/// The fields of the chunk "fmt ".
struct FormatFields {
  std::uint16_t tag = 0;
  std::uint16_t channels = 0;
  std::uint32_t sampleRate = 0;
  std::uint16_t bytesPerFrame = 0;
  std::uint16_t containerBits = 0;
  std::uint16_t validBits = 0;
  std::uint32_t channelMask = 0;
  bool isTag = true;  ///< false: an extensible format whose identifier is no plain tag
};

OSStatus readExtension(std::span<const std::byte> bytes, FormatFields& fields) {
  constexpr std::size_t kExtensibleSize = 40;
  if (bytes.size() < kExtensibleSize) return kAudioFileInvalidFileError;
  const auto validBits = loadLittle<std::uint16_t>(bytes, 18);
  fields.channelMask = loadLittle<std::uint32_t>(bytes, 20);
  fields.tag = loadLittle<std::uint16_t>(bytes, 24);
  fields.isTag = std::ranges::equal(bytes.subspan(26, kTagIdentifierTail.size()), kTagIdentifierTail, {},
                                    [](std::byte b) { return std::to_integer<std::uint8_t>(b); });
  // More valid bits than bits: one of the two numbers is wrong, and it is unknown which.
  if (validBits > fields.containerBits) return kAudioFileInvalidFileError;
  // 0 means "not stated". A floating point number has no valid bits apart from its own.
  if (validBits != 0 && fields.tag != kTagFloat) fields.validBits = validBits;
  return noErr;
}

struct Format {
  AudioStreamBasicDescription description;
  ChannelLayout channels;
};

std::expected<Format, OSStatus> readFormat(const ByteSource& source, const Chunk& chunk) {
  constexpr std::size_t kPlainSize = 16;
  constexpr std::size_t kLargestSize = 40;
  std::vector<std::byte> bytes(std::min<std::uint64_t>(chunk.size, kLargestSize));
  if (bytes.size() < kPlainSize) return std::unexpected(kAudioFileInvalidFileError);
  if (const OSStatus status = readExactly(source, chunk.offset, bytes); status != noErr) return std::unexpected(status);

  FormatFields fields;
  fields.tag = loadLittle<std::uint16_t>(bytes, 0);
  fields.channels = loadLittle<std::uint16_t>(bytes, 2);
  fields.sampleRate = loadLittle<std::uint32_t>(bytes, 4);
  fields.bytesPerFrame = loadLittle<std::uint16_t>(bytes, 12);
  fields.containerBits = fields.validBits = loadLittle<std::uint16_t>(bytes, 14);
  if (fields.tag == kTagExtensible) {
    if (const OSStatus status = readExtension(bytes, fields); status != noErr) return std::unexpected(status);
  }
  if (!fields.isTag || (fields.tag != kTagPCM && fields.tag != kTagFloat)) {
    AudioStreamBasicDescription format;
    format.mSampleRate = fields.sampleRate;
    format.mFormatID = fields.isTag ? formatIDForTag(fields.tag) : formatIDForTag(kTagExtensible);
    format.mChannelsPerFrame = fields.channels;
    return Format{format, usualLayout(fields.channels)};
  }
  // Samples of one byte are offset binary, wider ones are signed. The bytes per second are ignored: they follow from
  // the rest, and files that state them wrong play well everywhere.
  std::uint32_t flags = kAudioFormatFlagIsFloat;
  if (fields.tag == kTagPCM) {
    flags = fields.channels != 0 && fields.bytesPerFrame / fields.channels == 1 ? 0 : kAudioFormatFlagIsSignedInteger;
  }
  return Format{describePCM(fields.sampleRate, fields.channels, fields.validBits, fields.bytesPerFrame, flags),
                layoutOfMask(fields.channelMask, fields.channels)};
}

/// The intended size of a chunk: "ds64" may state it, and a writer that could not go back left none at all.
std::uint64_t meantSize(const Chunk& chunk, const std::optional<LongSizes>& sizes) {
  if (chunk.size != kSizeIsElsewhere) return chunk.size;
  const auto found = sizes ? sizes->find(chunk.id) : std::nullopt;
  return found.value_or(std::numeric_limits<std::uint64_t>::max());
}

}  // namespace

bool isWavHeader(std::span<const std::byte> start) {
  if (start.size() < kRiffHeaderSize || loadCode(start, 8) != fourCharCode("WAVE")) return false;
  const FourCharCode id = loadCode(start, 0);
  return id == fourCharCode("RIFF") || id == fourCharCode("RF64") || id == fourCharCode("BW64");
}

std::expected<PcmFileLayout, OSStatus> readWavLayout(const ByteSource& source, std::uint64_t offset) {
  ChunkWalker walker(source, offset + kRiffHeaderSize, std::endian::little);
  std::optional<LongSizes> sizes;
  std::optional<Format> format;
  std::optional<Chunk> data;
  while (!format || !data) {
    auto current = walker.current();
    if (!current) return std::unexpected(current.error());
    if (!*current) return std::unexpected(kAudioFileInvalidFileError);
    Chunk chunk = **current;
    chunk.size = meantSize(chunk, sizes);
    if (chunk.id == fourCharCode("ds64") && !sizes) {
      const auto read = readLongSizes(source, chunk);
      if (!read) return std::unexpected(read.error());
      sizes = *read;
    } else if (chunk.id == fourCharCode("fmt ") && !format) {
      const auto read = readFormat(source, chunk);
      if (!read) return std::unexpected(read.error());
      format = *read;
    } else if (chunk.id == fourCharCode("data") && !data) {
      const auto isUnknown = isSizeUnknown(source, chunk, std::endian::little);
      if (!isUnknown) return std::unexpected(isUnknown.error());
      if (*isUnknown) chunk.size = std::numeric_limits<std::uint64_t>::max();
      data = chunk;
    }
    if (const OSStatus status = walker.advancePast(chunk); status != noErr) return std::unexpected(status);
  }
  const std::uint64_t held = walker.availableBytes(*data);
  return PcmFileLayout{format->description,
                       data->offset,
                       held,
                       sourceBitDepthOf(format->description),
                       format->channels,
                       announcedSize(data->size, held)};
}

}  // namespace tolvane
