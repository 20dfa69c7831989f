#include "platform/tags/Id3Tag.h"

#include <taglib/attachedpictureframe.h>
#include <taglib/textidentificationframe.h>

#include <algorithm>
#include <array>
#include <utility>

#include "platform/codecs/bytes/ByteOrder.h"
#include "platform/tags/Pictures.h"
#include "platform/tags/TagText.h"

namespace tolvane {

namespace {

constexpr std::size_t tagHeaderBytes = 10;
constexpr std::size_t mostTextBytes = 16 * 1024;
constexpr int mostFrames = 2000;

struct WantedFrame {
  std::string_view id;
  std::string_view earlierID;  ///< in version 2.2
};
constexpr std::array wantedFrames = {WantedFrame{"TIT2", "TT2"}, WantedFrame{"TPE1", "TP1"},
                                     WantedFrame{"TPE2", "TP2"}, WantedFrame{"TALB", "TAL"},
                                     WantedFrame{"TRCK", "TRK"}, WantedFrame{"APIC", "PIC"}};

/// Bytes that were decoded beforehand.
class DecodedBytes final : public ByteSource {
 public:
  explicit DecodedBytes(std::vector<std::byte> bytes) : bytes_(std::move(bytes)) {}

  [[nodiscard]] std::uint64_t size() const override { return bytes_.size(); }
  [[nodiscard]] std::expected<std::size_t, OSStatus> readAt(std::uint64_t offset,
                                                            std::span<std::byte> destination) const override {
    if (offset >= bytes_.size()) return 0;
    const auto count = std::min<std::uint64_t>(destination.size(), bytes_.size() - offset);
    std::ranges::copy(std::span(bytes_).subspan(offset, count), destination.begin());
    return count;
  }

 private:
  const std::vector<std::byte> bytes_;
};

/// Removes the zero after each 0xFF, which keeps the tag from containing what looks like the start of a packet.
std::vector<std::byte> resynchronised(std::vector<std::byte> bytes) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[kept++] = bytes[i];
    if (bytes[i] == std::byte{0xFF} && i + 1 < bytes.size() && bytes[i + 1] == std::byte{0}) ++i;
  }
  bytes.resize(kept);
  return bytes;
}

/// Seven bits a byte.
std::uint32_t synchSafe(std::span<const std::byte> bytes) {
  std::uint32_t value = 0;
  for (const std::byte byte : bytes) value = value << 7U | (std::to_integer<std::uint32_t>(byte) & 0x7FU);
  return value;
}

std::uint32_t bigEndian(std::span<const std::byte> bytes) {
  std::uint32_t value = 0;
  for (const std::byte byte : bytes) value = value << 8U | std::to_integer<std::uint32_t>(byte);
  return value;
}

/// As a frame of version 2.4 with plain flags, which is what the library takes.
TagLib::ByteVector asFrame(std::string_view id, std::span<const std::byte> content) {
  const auto size = static_cast<unsigned int>(content.size());
  TagLib::ByteVector frame(id.data(), static_cast<unsigned int>(id.size()));
  for (const unsigned int shift : {21U, 14U, 7U, 0U}) frame.append(static_cast<char>(size >> shift & 0x7FU));
  frame.append(TagLib::ByteVector(2, '\0'));
  frame.append(TagLib::ByteVector(reinterpret_cast<const char*>(content.data()), size));
  return frame;
}

/// Version 2.2 names a format in three letters, later ones by a content type of any length.
std::vector<std::byte> withContentType(std::vector<std::byte> picture) {
  if (picture.size() < 5) return {};
  picture[1] = picture[2] = std::byte{'x'};
  picture[3] = std::byte{0};
  return picture;
}

std::vector<std::byte> bytesOf(const TagLib::ByteVector& bytes) {
  const auto all = std::as_bytes(std::span(bytes.data(), bytes.size()));
  return {all.begin(), all.end()};
}

}  // namespace

std::optional<Id3Tag> Id3Tag::at(const ByteSource& source, std::uint64_t offset) {
  std::array<std::byte, tagHeaderBytes> header;
  if (readExactly(source, offset, header) != noErr) return std::nullopt;
  if (loadBig<std::uint32_t>(header, 0) >> 8U != 0x494433) return std::nullopt;  // "ID3"
  Id3Tag tag;
  tag.source_ = &source;
  tag.version_ = std::to_integer<int>(header[3]);
  if (tag.version_ < 2 || tag.version_ > 4) return std::nullopt;
  const auto flags = std::to_integer<unsigned>(header[5]);
  std::uint64_t begin = offset + tagHeaderBytes;
  std::uint64_t end = std::min<std::uint64_t>(begin + synchSafe(std::span(header).last(4)), source.size());
  tag.isUnsynchronised_ = (flags & 0x80U) != 0;
  if (tag.isUnsynchronised_ && tag.version_ < 4) {
    const auto most = std::min<std::uint64_t>(end - begin, maximumPictureBytes);
    tag.decoded_ = std::make_shared<DecodedBytes>(resynchronised(readBytes(source, begin, most)));
    tag.source_ = tag.decoded_.get();
    tag.isUnsynchronised_ = false;
    begin = 0;
    end = tag.decoded_->size();
  }
  if ((flags & 0x40U) != 0 && tag.version_ > 2) {
    std::array<std::byte, 4> extended{};
    if (readExactly(*tag.source_, begin, extended) != noErr) return std::nullopt;
    begin += tag.version_ == 4 ? synchSafe(extended) : 4ULL + bigEndian(extended);
  }
  tag.findFrames(begin, end);
  return tag;
}

void Id3Tag::findFrames(std::uint64_t offset, std::uint64_t end) {
  const std::size_t idBytes = version_ == 2 ? 3 : 4;
  const std::size_t headerBytes = version_ == 2 ? 6 : 10;
  for (int i = 0; i < mostFrames && offset + headerBytes < end; ++i) {
    std::array<std::byte, 10> storage{};
    const auto header = std::span(storage).first(headerBytes);
    if (readExactly(*source_, offset, header) != noErr || header[0] == std::byte{0}) return;  // padding
    const auto sizeBytes = header.subspan(idBytes, idBytes);
    const std::uint64_t size = version_ == 4 ? synchSafe(sizeBytes) : bigEndian(sizeBytes);
    const auto flags = version_ == 2 ? 0U : std::to_integer<unsigned>(header[9]);
    offset += headerBytes;
    if (size > end - offset) return;
    addFrame({reinterpret_cast<const char*>(header.data()), idBytes}, offset, size, flags);
    offset += size;
  }
}

void Id3Tag::addFrame(std::string_view id, std::uint64_t offset, std::uint64_t size, unsigned flags) {
  const auto* const wanted = std::ranges::find_if(
      wantedFrames, [&](const WantedFrame& frame) { return id == (version_ == 2 ? frame.earlierID : frame.id); });
  if (wanted == wantedFrames.end()) return;
  const bool isPacked = (flags & (version_ == 4 ? 0x0CU : 0xC0U)) != 0;
  if (isPacked) return;
  const std::uint64_t extra = version_ == 4   ? ((flags & 0x40U) != 0 ? 1 : 0) + ((flags & 0x01U) != 0 ? 4 : 0)
                              : version_ == 3 ? ((flags & 0x20U) != 0 ? 1 : 0)
                                              : 0;
  if (size <= extra) return;
  const bool isUnsynchronised = version_ == 4 && (isUnsynchronised_ || (flags & 0x02U) != 0);
  frames_.push_back({wanted->id, offset + extra, size - extra, isUnsynchronised});
}

std::vector<std::byte> Id3Tag::content(const Frame& frame, std::size_t most) const {
  auto bytes = readBytes(*source_, frame.offset, std::min<std::uint64_t>(frame.size, most));
  return frame.isUnsynchronised ? resynchronised(std::move(bytes)) : bytes;
}

MusicTags Id3Tag::tags() const {
  const auto fields = [this](std::string_view id) {
    const auto frame = std::ranges::find(frames_, id, &Frame::id);
    if (frame == frames_.end()) return TagLib::StringList();
    return TagLib::ID3v2::TextIdentificationFrame(asFrame(id, content(*frame, mostTextBytes))).fieldList();
  };
  MusicTags tags{.title = tagText(fields("TIT2")),
                 .artist = tagText(fields("TPE1")),
                 .album = tagText(fields("TALB")),
                 .trackNumber = {}};
  if (tags.artist.empty()) tags.artist = tagText(fields("TPE2"));
  if (const auto numbers = fields("TRCK"); !numbers.isEmpty()) tags.trackNumber = trackNumber(tagText(numbers.front()));
  return tags;
}

std::optional<Cover> Id3Tag::cover() const {
  std::optional<Cover> found;
  int tried = 0;
  for (const Frame& frame : frames_) {
    constexpr int mostPictures = 8;
    if (frame.id != "APIC" || frame.size > maximumPictureBytes) continue;
    if (++tried > mostPictures) break;
    auto bytes = content(frame, maximumPictureBytes);
    if (version_ == 2) bytes = withContentType(std::move(bytes));
    const TagLib::ID3v2::AttachedPictureFrame picture(asFrame("APIC", bytes));
    const bool isFront = picture.type() == frontCover;
    if (found && !isFront) continue;
    if (auto cover = coverOf(bytesOf(picture.picture()))) found = std::move(cover);
    if (found && isFront) break;
  }
  return found;
}

MusicTags id3Version1Tags(const ByteSource& source) {
  std::array<std::byte, 128> tag;
  if (source.size() < tag.size() || readExactly(source, source.size() - tag.size(), tag) != noErr) return {};
  if (loadBig<std::uint32_t>(tag, 0) >> 8U != 0x544147) return {};  // "TAG"
  const auto all = std::span<const std::byte>(tag);
  const auto field = [&](std::size_t at) { return tagText(decodedText(all.subspan(at, 30))); };
  MusicTags tags{.title = field(3), .artist = field(33), .album = field(63), .trackNumber = {}};
  if (tag[125] == std::byte{0} && tag[126] != std::byte{0}) tags.trackNumber = std::to_integer<std::int32_t>(tag[126]);
  return tags;
}

}  // namespace tolvane
