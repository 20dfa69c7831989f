#include "platform/tags/TaggedFile.h"

#include <array>
#include <exception>

#include "platform/codecs/pcm/AiffLayout.h"
#include "platform/codecs/bytes/ByteOrder.h"
#include "platform/codecs/bytes/Tags.h"
#include "platform/codecs/pcm/WavLayout.h"
#include "platform/tags/FlacTags.h"
#include "platform/tags/Id3Tag.h"
#include "platform/tags/RiffTags.h"

namespace tolvane {

namespace {

enum class TaggedKind { wav, aiff, flac, other };

struct TaggedContent {
  TaggedKind kind = TaggedKind::other;
  std::uint64_t offset = 0;
};

TaggedContent contentOf(const ByteSource& source) {
  const std::uint64_t offset = endOfLeadingTags(source).value_or(0);
  std::array<std::byte, 12> start{};
  if (readExactly(source, offset, start) != noErr) return {};
  if (isWavHeader(start)) return {TaggedKind::wav, offset};
  if (isAiffHeader(start)) return {TaggedKind::aiff, offset};
  if (loadBig<std::uint32_t>(start, 0) == 0x664C6143) return {TaggedKind::flac, offset};  // "fLaC"
  return {TaggedKind::other, offset};
}

/// The tags before and after the music of an MP3 file.
MusicTags surroundingTags(const ByteSource& source) {
  const auto leading = Id3Tag::at(source, 0);
  MusicTags tags = leading ? leading->tags() : MusicTags();
  return tags == MusicTags() ? id3Version1Tags(source) : tags;
}

std::optional<Cover> surroundingCover(const ByteSource& source) {
  const auto leading = Id3Tag::at(source, 0);
  return leading ? leading->cover() : std::nullopt;
}

MusicTags tagsOf(const ByteSource& source) {
  const auto [kind, offset] = contentOf(source);
  switch (kind) {
    case TaggedKind::wav:
      return chunkTags(source, offset, std::endian::little);
    case TaggedKind::aiff:
      return chunkTags(source, offset, std::endian::big);
    case TaggedKind::flac:
      return flacTags(source, offset);
    case TaggedKind::other:
      break;
  }
  return surroundingTags(source);
}

std::optional<Cover> coverWithin(const ByteSource& source) {
  const auto [kind, offset] = contentOf(source);
  switch (kind) {
    case TaggedKind::wav:
      return chunkCover(source, offset, std::endian::little);
    case TaggedKind::aiff:
      return chunkCover(source, offset, std::endian::big);
    case TaggedKind::flac:
      return flacCover(source, offset);
    case TaggedKind::other:
      break;
  }
  return surroundingCover(source);
}

}  // namespace

MusicTags readMusicTags(const ByteSource& source) {
  try {
    return tagsOf(source);
  } catch (const std::exception&) {  // of the library: no memory, or a text that it cannot represent
    return {};
  }
}

std::optional<Cover> readEmbeddedCover(const ByteSource& source) {
  try {
    return coverWithin(source);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace tolvane
