#include "tests/platform/tags/TagBytes.h"

#include <span>

namespace tolvane::test {

ByteVector textBytes(std::string_view text) {
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

ByteVector jpegBytes(std::string_view filling) { return textBytes("\xFF\xD8\xFF\xE0" + std::string(filling)); }

ByteVector pngBytes(std::string_view filling) { return textBytes("\x89PNG\r\n\x1A\n" + std::string(filling)); }

ByteVector synchSafeBytes(std::uint32_t value) {
  ByteVector bytes;
  for (const unsigned shift : {21U, 14U, 7U, 0U}) bytes.push_back(static_cast<std::byte>(value >> shift & 0x7FU));
  return bytes;
}

ByteVector joined(const std::vector<ByteVector>& parts) {
  Bytes all;
  for (const ByteVector& part : parts) all.append(part);
  return all.all();
}

ByteVector id3Frame(std::string_view id, const ByteVector& content, int version, unsigned flags) {
  const auto size = static_cast<std::uint32_t>(content.size());
  const auto sizeBytes = version == 4 ? synchSafeBytes(size) : Bytes().big(size, 4).all();
  return Bytes().text(id).append(sizeBytes).big(flags, 2).append(content).all();
}

ByteVector id3Text(int encoding, std::string_view text) {
  return Bytes().big(static_cast<std::uint64_t>(encoding), 1).text(text).all();
}

ByteVector id3Picture(int kind, const ByteVector& picture) {
  return Bytes()
      .big(0, 1)
      .text("image/any")
      .big(0, 1)
      .big(static_cast<std::uint64_t>(kind), 1)
      .big(0, 1)
      .append(picture)
      .all();
}

ByteVector id3Tag(const ByteVector& frames, int version, unsigned flags, std::int64_t claimed) {
  const auto size = static_cast<std::uint32_t>(claimed >= 0 ? claimed : static_cast<std::int64_t>(frames.size()));
  return Bytes()
      .text("ID3")
      .big(static_cast<std::uint64_t>(version), 1)
      .big(0, 1)
      .big(flags, 1)
      .append(synchSafeBytes(size))
      .append(frames)
      .all();
}

ByteVector flacWith(const std::vector<FlacBlock>& blocks) {
  Bytes file;
  file.text("fLaC").big(blocks.empty() ? 0x80000022U : 0x22U, 4).repeat(std::byte{0}, 34);
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    const FlacBlock& block = blocks[i];
    const bool isLast = i + 1 == blocks.size();
    const auto size = block.claimedSize >= 0 ? block.claimedSize : static_cast<std::int64_t>(block.content.size());
    file.big(block.type | (isLast ? 0x80U : 0U), 1).big(static_cast<std::uint64_t>(size), 3).append(block.content);
  }
  return file.all();
}

ByteVector vorbisComment(const std::vector<std::string>& fields, std::int64_t claimedCount) {
  Bytes comment;
  comment.little(4, 4).text("test");
  comment.little(static_cast<std::uint64_t>(claimedCount >= 0 ? claimedCount : std::ssize(fields)), 4);
  for (const std::string& field : fields) comment.little(field.size(), 4).text(field);
  return comment.all();
}

ByteVector flacPicture(unsigned kind, const ByteVector& picture, std::int64_t claimedSize) {
  const auto size = static_cast<std::uint64_t>(claimedSize >= 0 ? claimedSize : std::ssize(picture));
  return Bytes()
      .big(kind, 4)
      .big(10, 4)
      .text("image/jpeg")
      .big(0, 4)
      .repeat(std::byte{0}, 16)
      .big(size, 4)
      .append(picture)
      .all();
}

ByteVector infoList(const std::vector<std::pair<std::string, std::string>>& texts) {
  Bytes list;
  list.text("INFO");
  for (const auto& [id, text] : texts) {
    list.text(id).little(text.size(), 4).text(text);
    if (text.size() % 2 != 0) list.repeat(std::byte{0}, 1);
  }
  return list.all();
}

}  // namespace tolvane::test
