#include "platform/storage/BookmarkToken.h"

#include <gtest/gtest.h>

#include <limits>

namespace tolvane {
namespace {

BookmarkToken token(std::string path) {
  return {.path = std::move(path),
          .identity = {.device = 0xFEDCBA9876543210U,
                       .inode = std::numeric_limits<std::uint64_t>::max(),
                       .bornSeconds = -1,
                       .bornNanoseconds = 999'999'999,
                       .size = 1},
          .folderInode = 7};
}

TEST(BookmarkToken, EveryPathSurvivesTheTrip) {
  for (const std::string& path : {std::string("/a.wav"), std::string("/\xFF\xFE/\n\t/e\xCC\x81.wav"),
                                  "/" + std::string(255, 'n'), "/" + std::string(4094, 'p')})
    EXPECT_EQ(decodedToken(encoded(token(path))), token(path));
}

TEST(BookmarkToken, BytesOfOthersAreNoToken) {
  const FileBookmark whole = encoded(token("/"));
  for (std::size_t size = 0; size < whole.size(); ++size)
    EXPECT_EQ(decodedToken(whole.substr(0, size)), std::nullopt) << size;
  EXPECT_EQ(decodedToken("book" + whole), std::nullopt);
  for (const std::string& path : {std::string("a.wav"), std::string("/a\0b", 4), "/" + std::string(4095, 'p')})
    EXPECT_EQ(decodedToken(encoded(token(path))), std::nullopt);
}

BookmarkToken tokenOfPart() {
  BookmarkToken part = token("/a.flac");
  part.excerpt = FileExcerpt{.first = 7, .end = 9, .title = "Title", .artist = "", .album = "Album", .trackNumber = 2};
  return part;
}

TEST(BookmarkToken, AnExcerptSurvivesTheTrip) {
  EXPECT_EQ(decodedToken(encoded(tokenOfPart())), tokenOfPart());
  EXPECT_NE(decodedToken(encoded(tokenOfPart())), token("/a.flac"));
}

TEST(BookmarkToken, OfADamagedExcerptIsNone) {
  const FileBookmark whole = encoded(tokenOfPart());
  for (std::size_t size = 0; size <= whole.size() - std::string_view("/a.flac").size(); ++size)
    EXPECT_EQ(decodedToken(whole.substr(0, size)), std::nullopt) << size;
  const std::size_t excerptAt = encoded(token("")).size();
  for (std::size_t at = excerptAt; at < excerptAt + 4; ++at) {
    FileBookmark damaged = whole;
    damaged[at] = '\x7F';
    EXPECT_EQ(decodedToken(damaged), std::nullopt) << "a size that it does not have";
  }
}

/// As versions of this program that knew no excerpts wrote it.
TEST(BookmarkToken, OfAWholeFileStaysAsItWas) { EXPECT_TRUE(encoded(token("/a.wav")).starts_with("TVB1")); }

TEST(FileIdentity, TheTimeOfBirthDistinguishesAFileFromTheNextWithItsInode) {
  const FileIdentity file{.device = 1, .inode = 2, .bornSeconds = 3, .bornNanoseconds = 4, .size = 5};
  auto other = file;
  other.device = 9;
  other.size = 9;
  EXPECT_TRUE(file.isSameFile(other)) << "devices are numbered anew, and tags make files longer";
  other.bornNanoseconds = 5;
  EXPECT_FALSE(file.isSameFile(other));
  other = file;
  other.inode = 9;
  EXPECT_FALSE(file.isSameFile(other));
}

TEST(FileIdentity, WithoutATimeOfBirthDeviceAndSizeDecide) {
  const FileIdentity file{.device = 1, .inode = 2, .size = 5};
  EXPECT_TRUE(file.isSameFile(file));
  auto other = file;
  other.device = 9;
  EXPECT_FALSE(file.isSameFile(other));
  other = file;
  other.size = 9;
  EXPECT_FALSE(file.isSameFile(other));
}

}  // namespace
}  // namespace tolvane
