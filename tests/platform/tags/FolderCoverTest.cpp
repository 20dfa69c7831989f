// The picture beside the music.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

#include "platform/tags/Pictures.h"
#include "platform/tags/SystemMusicTags.h"
#include "tests/platform/tags/TagBytes.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane::test {
namespace {

class FolderCovers : public testing::Test {
 protected:
  [[nodiscard]] std::optional<Cover> cover() const { return reader.cover(music, {}); }

  TemporaryFolder folder;
  FileURL music = folder.write("album/01.flac", flacWith({}));
  SystemMusicTags reader;
};

TEST_F(FolderCovers, ThereIsNoneWithoutAPicture) { EXPECT_FALSE(cover()); }

TEST_F(FolderCovers, APictureBesideTheMusicIsItsCover) {
  const auto file = folder.write("album/Folder.JPG", jpegBytes("x"));
  EXPECT_EQ(cover(), (Cover{Cover::Format::jpeg, jpegBytes("x"), file}));
}

TEST_F(FolderCovers, NamesHaveTheirOrder) {
  folder.write("album/front.png", pngBytes("front"));
  EXPECT_EQ(cover()->bytes, pngBytes("front"));
  folder.write("album/folder.jpg", jpegBytes("folder"));
  EXPECT_EQ(cover()->bytes, jpegBytes("folder"));
  folder.write("album/COVER.png", pngBytes("cover"));
  EXPECT_EQ(cover()->bytes, pngBytes("cover"));
}

TEST_F(FolderCovers, ThePictureWithinTheFileGoesFirst) {
  folder.write("album/cover.jpg", jpegBytes("beside"));
  folder.write("album/01.flac", flacWith({{6, flacPicture(3, jpegBytes("within"))}}));
  EXPECT_EQ(cover(), (Cover{Cover::Format::jpeg, jpegBytes("within"), std::nullopt}));
}

TEST_F(FolderCovers, OnlyRegularFilesOfSaneSizeAreRead) {
  ASSERT_EQ(::mkfifo((folder.path() / "album/cover.jpg").c_str(), 0600), 0);
  EXPECT_FALSE(cover());
  std::filesystem::remove(folder.path() / "album/cover.jpg");
  folder.write("album/cover.jpg", jpegBytes("x"));
  std::filesystem::resize_file(folder.path() / "album/cover.jpg", maximumPictureBytes + 1);
  EXPECT_FALSE(cover());
}

TEST_F(FolderCovers, APictureIsKnownByItsContent) {
  folder.write("album/cover.jpg", "<svg/>");
  EXPECT_FALSE(cover());
  folder.write("album/cover.jpg", pngBytes("x"));
  EXPECT_EQ(cover()->format, Cover::Format::png);
}

}  // namespace
}  // namespace tolvane::test
