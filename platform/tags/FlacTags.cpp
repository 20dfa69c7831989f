#include "platform/tags/FlacTags.h"

#include <taglib/flacpicture.h>
#include <taglib/xiphcomment.h>

#include <array>
#include <utility>
#include <vector>

#include "platform/codecs/bytes/ByteOrder.h"
#include "platform/tags/Pictures.h"
#include "platform/tags/TagText.h"

namespace tolvane {

namespace {

constexpr int mostBlocks = 1000;
constexpr std::size_t mostCommentBytes = 1U << 20U;
constexpr unsigned commentBlock = 4;
constexpr unsigned pictureBlock = 6;

struct MetadataBlock {
  std::uint64_t offset;  ///< of its content
  std::uint64_t size;    ///< bytes of content, as its header claims
};

std::vector<MetadataBlock> blocksOfType(const ByteSource& source, std::uint64_t offset, unsigned wanted) {
  std::vector<MetadataBlock> blocks;
  offset += 4;  // "fLaC"
  for (int i = 0; i < mostBlocks; ++i) {
    std::array<std::byte, 4> header;
    if (readExactly(source, offset, header) != noErr) break;
    const auto word = loadBig<std::uint32_t>(header, 0);
    const MetadataBlock block{offset + header.size(), word & 0xFFFFFFU};
    if ((word >> 24U & 0x7FU) == wanted) blocks.push_back(block);
    if (word >> 31U != 0) break;  // the last one
    offset = block.offset + block.size;
  }
  return blocks;
}

TagLib::ByteVector blockBytes(const ByteSource& source, const MetadataBlock& block, std::size_t most) {
  const auto bytes = readBytes(source, block.offset, std::min<std::uint64_t>(block.size, most));
  return {reinterpret_cast<const char*>(bytes.data()), static_cast<unsigned int>(bytes.size())};
}

}  // namespace

MusicTags flacTags(const ByteSource& source, std::uint64_t offset) {
  const auto blocks = blocksOfType(source, offset, commentBlock);
  if (blocks.empty()) return {};
  const TagLib::Ogg::XiphComment comment(blockBytes(source, blocks.front(), mostCommentBytes));
  const auto fields = [&](const char* name) { return comment.fieldListMap()[name]; };
  MusicTags tags{.title = tagText(fields("TITLE")),
                 .artist = tagText(fields("ARTIST")),
                 .album = tagText(fields("ALBUM")),
                 .trackNumber = {}};
  if (tags.artist.empty()) tags.artist = tagText(fields("ALBUMARTIST"));
  if (const auto numbers = fields("TRACKNUMBER"); !numbers.isEmpty())
    tags.trackNumber = trackNumber(tagText(numbers.front()));
  return tags;
}

std::optional<Cover> flacCover(const ByteSource& source, std::uint64_t offset) {
  std::optional<Cover> found;
  int tried = 0;
  for (const MetadataBlock& block : blocksOfType(source, offset, pictureBlock)) {
    constexpr int mostPictures = 8;
    if (++tried > mostPictures) break;
    const TagLib::FLAC::Picture picture(blockBytes(source, block, maximumPictureBytes));
    const bool isFront = picture.type() == frontCover;
    if (found && !isFront) continue;
    const auto data = picture.data();
    const auto bytes = std::as_bytes(std::span(data.data(), data.size()));
    if (auto cover = coverOf({bytes.begin(), bytes.end()})) found = std::move(cover);
    if (found && isFront) break;
  }
  return found;
}

}  // namespace tolvane
