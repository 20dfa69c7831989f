#include "platform/codecs/bytes/FileReader.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/platform/codecs/AudioBytes.h"
#include "tests/platform/codecs/Workbench.h"

namespace tolvane::test {
namespace {

OSStatus openStatus(const FileURL& url) {
  const auto reader = FileReader::open(url);
  return reader ? noErr : reader.error();
}

/// Files are opened without privileges, also when the tests run as root.
class OrdinaryUser {
 public:
  OrdinaryUser() { isChanged_ = ::geteuid() == 0 && ::seteuid(65534) == 0; }
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;
  ~OrdinaryUser() {
    if (isChanged_ && ::seteuid(0) != 0) ADD_FAILURE() << "the tests' own rights are lost";
  }

 private:
  bool isChanged_ = false;
};

class FileReaderTest : public testing::Test {
 protected:
  Workbench bench_;
};

TEST_F(FileReaderTest, ReadsFromAnyPlace) {
  const auto reader = FileReader::open(bench_.write("a", countingBytes(100)));
  ASSERT_TRUE(reader);
  EXPECT_EQ((*reader)->size(), 100U);
  std::vector<std::byte> bytes(10);
  EXPECT_EQ((*reader)->readAt(40, bytes), 10U);
  EXPECT_EQ(bytes[0], std::byte{40});
}

TEST_F(FileReaderTest, ReadsFewerBytesAtTheEnd) {
  const auto reader = FileReader::open(bench_.write("a", countingBytes(100)));
  ASSERT_TRUE(reader);
  std::vector<std::byte> bytes(10);
  EXPECT_EQ((*reader)->readAt(95, bytes), 5U);
  EXPECT_EQ((*reader)->readAt(100, bytes), 0U);
  EXPECT_EQ((*reader)->readAt(~std::uint64_t{0} - 3, bytes), 0U);
}

TEST_F(FileReaderTest, EndsEarlyWhenTheFileShrinks) {
  const auto url = bench_.write("a", countingBytes(100));
  const auto reader = FileReader::open(url);
  ASSERT_TRUE(reader);
  std::filesystem::resize_file(url.path(), 50);
  std::vector<std::byte> bytes(100);
  EXPECT_EQ((*reader)->readAt(0, bytes), 50U);
}

TEST_F(FileReaderTest, KeepsAFileThatIsDeleted) {
  const auto url = bench_.write("a", countingBytes(100));
  const auto reader = FileReader::open(url);
  ASSERT_TRUE(reader);
  std::filesystem::remove(url.path());
  std::vector<std::byte> bytes(100);
  EXPECT_EQ((*reader)->readAt(0, bytes), 100U);
}

TEST_F(FileReaderTest, FollowsLinks) {
  const auto url = bench_.write("a", countingBytes(100));
  std::filesystem::create_symlink(url.path(), bench_.url("link").path());
  EXPECT_EQ(openStatus(bench_.url("link")), noErr);
}

TEST_F(FileReaderTest, OpensNamesThatAreNoText) {
  EXPECT_EQ(openStatus(bench_.write("\xFF\xFE '\n", countingBytes(3))), noErr);
}

TEST_F(FileReaderTest, DoesNotFindWhatIsNotThere) {
  EXPECT_EQ(openStatus(bench_.url("missing")), kAudioFileFileNotFoundError);
  EXPECT_EQ(openStatus(bench_.url("missing/inside")), kAudioFileFileNotFoundError);
  bench_.write("a", countingBytes(3));
  EXPECT_EQ(openStatus(bench_.url("a/inside")), kAudioFileFileNotFoundError);
  EXPECT_EQ(openStatus(FileURL()), kAudioFileFileNotFoundError);
  EXPECT_EQ(openStatus(bench_.url(std::string(5000, 'x'))), kAudioFileFileNotFoundError);
  EXPECT_EQ(openStatus(FileURL(bench_.url("a").path() + std::string("\0b", 2))), kAudioFileFileNotFoundError);
}

TEST_F(FileReaderTest, DoesNotFollowLinksInACircle) {
  std::filesystem::create_symlink(bench_.url("two").path(), bench_.url("one").path());
  std::filesystem::create_symlink(bench_.url("one").path(), bench_.url("two").path());
  EXPECT_EQ(openStatus(bench_.url("one")), kAudioFileFileNotFoundError);
}

TEST_F(FileReaderTest, IsRefusedAFileThatIsNotForItsEyes) {
  const auto url = bench_.write("a", countingBytes(3));
  std::filesystem::permissions(url.path(), std::filesystem::perms::none);
  const OrdinaryUser user;
  EXPECT_EQ(openStatus(url), kAudioFilePermissionsError);
}

TEST_F(FileReaderTest, RefusesFolders) { EXPECT_EQ(openStatus(bench_.url("")), kAudioFileUnsupportedFileTypeError); }

TEST_F(FileReaderTest, RefusesAPipeWithoutWaitingForItsOtherEnd) {
  ASSERT_EQ(::mkfifo(bench_.url("pipe.wav").path().c_str(), 0600), 0);
  EXPECT_EQ(openStatus(bench_.url("pipe.wav")), kAudioFileUnsupportedFileTypeError);
}

TEST_F(FileReaderTest, RefusesDevices) {
  EXPECT_EQ(openStatus(FileURL("/dev/null")), kAudioFileUnsupportedFileTypeError);
  EXPECT_EQ(openStatus(FileURL("/dev/zero")), kAudioFileUnsupportedFileTypeError);
}

TEST_F(FileReaderTest, HoldsNoDescriptorWhenItIsGone) {
  const auto url = bench_.write("a", countingBytes(3));
  const auto count = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
  };
  const auto before = count();
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(openStatus(url), noErr);
    EXPECT_NE(openStatus(bench_.url("")), noErr);
  }
  EXPECT_EQ(count(), before);
}

}  // namespace
}  // namespace tolvane::test
