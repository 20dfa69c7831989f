#include "platform/storage/BookmarkToken.h"

#include <bit>
#include <climits>
#include <cstring>

namespace tolvane {

namespace {

constexpr std::string_view mark = "TVB1";
constexpr std::string_view excerptMark = "TVB2";  ///< an excerpt, behind its size, stands before the path
constexpr std::size_t headerSize = mark.size() + 8 + 8 + 8 + 4 + 8 + 8;

/// Little-endian, so that a home folder may move between machines.
template <typename T>
void append(std::string& bytes, T number) {
  for (std::size_t i = 0; i < sizeof(T); ++i) bytes += static_cast<char>(number >> (8 * i) & 0xFFU);
}

template <typename T>
T take(std::string_view& bytes) {
  T number = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i) number |= static_cast<T>(static_cast<unsigned char>(bytes[i])) << (8 * i);
  bytes.remove_prefix(sizeof(T));
  return number;
}

/// From the front of `bytes`; false where there is none.
bool takeExcerpt(std::string_view& bytes, std::optional<FileExcerpt>& excerpt) {
  if (bytes.size() < sizeof(std::uint32_t)) return false;
  const auto size = take<std::uint32_t>(bytes);
  if (size > bytes.size()) return false;
  excerpt = decodedExcerpt(bytes.substr(0, size));
  bytes.remove_prefix(size);
  return excerpt.has_value();
}

}  // namespace

FileBookmark encoded(const BookmarkToken& token) {
  FileBookmark bytes;
  bytes.reserve(headerSize + token.path.size());
  bytes += token.excerpt ? excerptMark : mark;
  append(bytes, token.identity.device);
  append(bytes, token.identity.inode);
  append(bytes, std::bit_cast<std::uint64_t>(token.identity.bornSeconds));
  append(bytes, token.identity.bornNanoseconds);
  append(bytes, token.identity.size);
  append(bytes, token.folderInode);
  if (token.excerpt) {
    const std::string excerpt = encodedExcerpt(*token.excerpt);
    append(bytes, static_cast<std::uint32_t>(excerpt.size()));
    bytes += excerpt;
  }
  bytes += token.path;
  return bytes;
}

std::optional<BookmarkToken> decodedToken(std::string_view bytes) {
  const bool hasExcerpt = bytes.starts_with(excerptMark);
  if (bytes.size() <= headerSize || (!hasExcerpt && !bytes.starts_with(mark))) return std::nullopt;
  bytes.remove_prefix(mark.size());
  BookmarkToken token;
  token.identity.device = take<std::uint64_t>(bytes);
  token.identity.inode = take<std::uint64_t>(bytes);
  token.identity.bornSeconds = std::bit_cast<std::int64_t>(take<std::uint64_t>(bytes));
  token.identity.bornNanoseconds = take<std::uint32_t>(bytes);
  token.identity.size = take<std::uint64_t>(bytes);
  token.folderInode = take<std::uint64_t>(bytes);
  if (hasExcerpt && !takeExcerpt(bytes, token.excerpt)) return std::nullopt;
  if (!bytes.starts_with('/') || bytes.size() >= PATH_MAX || bytes.contains('\0')) return std::nullopt;
  token.path = bytes;
  return token;
}

}  // namespace tolvane
