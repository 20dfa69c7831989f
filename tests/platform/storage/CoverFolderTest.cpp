#include "platform/storage/CoverFolder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "tests/support/TemporaryFolder.h"

namespace tolvane::test {
namespace {

using testing::Contains;
using testing::Not;
using testing::SizeIs;

Cover coverNumber(int number) {
  return {Cover::Format::jpeg, {std::byte{0xFF}, std::byte{0xD8}, static_cast<std::byte>(number)}, std::nullopt};
}

mode_t modeOf(const std::filesystem::path& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 ? info.st_mode & 0777 : 0;
}

class CoversAsFiles : public testing::Test {
 protected:
  [[nodiscard]] std::set<std::string> names() const {
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(place)) found.insert(entry.path().filename().string());
    return found;
  }

  TemporaryFolder folder;
  std::filesystem::path place = folder.path() / "cache/tolvane-player/covers";
  CoverFolder covers{place};
};

TEST_F(CoversAsFiles, APictureIsStoredForThisUserAlone) {
  const auto file = covers.store(coverNumber(1));
  ASSERT_TRUE(file);
  std::ifstream stream(file->path(), std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "\xFF\xD8\x01");
  EXPECT_EQ(modeOf(file->path()), 0600U);
  EXPECT_EQ(modeOf(place), 0700U);
}

TEST_F(CoversAsFiles, TheNameIsTheContentsDigest) {
  const auto file = covers.store(coverNumber(1));
  EXPECT_THAT(file->lastPathComponent(), SizeIs(64 + 4));
  EXPECT_TRUE(file->lastPathComponent().ends_with(".jpg"));
  EXPECT_EQ(covers.store(coverNumber(1)), file);
  EXPECT_NE(covers.store(coverNumber(2)), file);
  EXPECT_THAT(names(), SizeIs(2));
}

TEST_F(CoversAsFiles, AFileThatWasCutIsWrittenAnew) {
  const auto file = covers.store(coverNumber(1));
  std::filesystem::resize_file(file->path(), 1);
  EXPECT_EQ(covers.store(coverNumber(1)), file);
  EXPECT_EQ(std::filesystem::file_size(file->path()), 3U);
}

TEST_F(CoversAsFiles, TheFilesUsedLongestAgoGo) {
  const auto first = covers.store(coverNumber(0));
  const auto age = [](const FileURL& file, int hours) {
    std::filesystem::last_write_time(file.path(),
                                     std::filesystem::file_time_type::clock::now() - std::chrono::hours(hours));
  };
  age(*first, 1);
  const auto second = covers.store(coverNumber(1));
  age(*second, 2);
  folder.write("cache/tolvane-player/covers/notes.txt", "not ours");
  for (int number = 2; number <= static_cast<int>(CoverFolder::mostFiles); ++number)
    EXPECT_TRUE(covers.store(coverNumber(number)));
  EXPECT_THAT(names(), SizeIs(CoverFolder::mostFiles + 1)) << "and the other file";
  EXPECT_THAT(names(), Contains(std::string(first->lastPathComponent())));
  EXPECT_THAT(names(), Not(Contains(std::string(second->lastPathComponent()))));
}

TEST_F(CoversAsFiles, APictureThatIsUsedAgainStays) {
  const auto first = covers.store(coverNumber(0));
  std::filesystem::last_write_time(first->path(),
                                   std::filesystem::file_time_type::clock::now() - std::chrono::hours(9));
  EXPECT_TRUE(covers.store(coverNumber(0)));
  for (int number = 1; number < static_cast<int>(CoverFolder::mostFiles); ++number)
    EXPECT_TRUE(covers.store(coverNumber(number)));
  EXPECT_THAT(names(), Contains(std::string(first->lastPathComponent())));
}

TEST_F(CoversAsFiles, WithoutAPlaceThereIsNoFile) {
  folder.write("file", "in the way");
  EXPECT_FALSE(CoverFolder(folder.path() / "file/covers").store(coverNumber(1)));
}

}  // namespace
}  // namespace tolvane::test
