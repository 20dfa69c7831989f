#include "platform/tags/RiffTags.h"

#include <algorithm>

#include "platform/codecs/bytes/ChunkWalker.h"
#include "platform/tags/Id3Tag.h"
#include "platform/tags/Pictures.h"
#include "platform/tags/TagText.h"

namespace tolvane {

namespace {

constexpr std::uint64_t formHeaderBytes = 12;
constexpr std::size_t mostChunkTextBytes = 16 * 1024;

bool isID3(const Chunk& chunk) { return chunk.id == fourCharCode("ID3 ") || chunk.id == fourCharCode("id3 "); }

struct TagChunks {
  std::optional<Chunk> id3;
  std::optional<Chunk> info;
  std::optional<Chunk> name;
  std::optional<Chunk> author;
};

void note(TagChunks& chunks, const Chunk& chunk, const ByteSource& source, std::endian order) {
  if (isID3(chunk)) {
    chunks.id3 = chunk;
  } else if (order == std::endian::little && chunk.id == fourCharCode("LIST")) {
    const auto kind = readBytes(source, chunk.offset, 4);
    constexpr std::string_view info = "INFO";
    if (std::ranges::equal(kind, info, {}, [](std::byte b) { return static_cast<char>(b); })) chunks.info = chunk;
  } else if (order == std::endian::big && chunk.id == fourCharCode("NAME")) {
    chunks.name = chunk;
  } else if (order == std::endian::big && chunk.id == fourCharCode("AUTH")) {
    chunks.author = chunk;
  }
}

TagChunks findTagChunks(const ByteSource& source, std::uint64_t offset, std::endian order) {
  TagChunks chunks;
  ChunkWalker walker(source, offset + formHeaderBytes, order);
  while (!source.isCancelled()) {
    const auto chunk = walker.current();
    if (!chunk || !*chunk || !(*chunk)->hasPrintableID()) break;
    note(chunks, **chunk, source, order);
    if (walker.advancePast(**chunk) != noErr) break;
  }
  return chunks;
}

std::string chunkText(const ByteSource& source, const std::optional<Chunk>& chunk) {
  if (!chunk) return {};
  return tagText(
      decodedText(readBytes(source, chunk->offset, std::min<std::uint64_t>(chunk->size, mostChunkTextBytes))));
}

/// The chunks within an INFO chunk, each of which is a text.
MusicTags infoTags(const ByteSource& source, const Chunk& info) {
  MusicTags tags;
  ChunkWalker walker(source, info.offset + 4, std::endian::little);
  while (true) {
    const auto chunk = walker.current();
    if (!chunk || !*chunk || (*chunk)->offset >= info.offset + info.size) break;
    const auto text = [&] { return chunkText(source, **chunk); };
    switch ((*chunk)->id) {
      case fourCharCode("INAM"):
        tags.title = text();
        break;
      case fourCharCode("IART"):
        tags.artist = text();
        break;
      case fourCharCode("IPRD"):
        tags.album = text();
        break;
      case fourCharCode("IPRT"):
      case fourCharCode("ITRK"):
        tags.trackNumber = trackNumber(text());
        break;
      default:
        break;
    }
    if (walker.advancePast(**chunk) != noErr) break;
  }
  return tags;
}

/// What `tags` does not state is taken from `others`.
void complete(MusicTags& tags, const MusicTags& others) {
  if (tags.title.empty()) tags.title = others.title;
  if (tags.artist.empty()) tags.artist = others.artist;
  if (tags.album.empty()) tags.album = others.album;
  if (!tags.trackNumber) tags.trackNumber = others.trackNumber;
}

}  // namespace

MusicTags chunkTags(const ByteSource& source, std::uint64_t offset, std::endian order) {
  const TagChunks chunks = findTagChunks(source, offset, order);
  MusicTags tags;
  if (chunks.id3)
    if (const auto id3 = Id3Tag::at(source, chunks.id3->offset)) tags = id3->tags();
  if (chunks.info) complete(tags, infoTags(source, *chunks.info));
  complete(tags, {.title = chunkText(source, chunks.name),
                  .artist = chunkText(source, chunks.author),
                  .album = {},
                  .trackNumber = {}});
  return tags;
}

std::optional<Cover> chunkCover(const ByteSource& source, std::uint64_t offset, std::endian order) {
  const TagChunks chunks = findTagChunks(source, offset, order);
  if (!chunks.id3) return std::nullopt;
  const auto id3 = Id3Tag::at(source, chunks.id3->offset);
  return id3 ? id3->cover() : std::nullopt;
}

}  // namespace tolvane
