#include "platform/FileReplacement.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/WithoutPrivileges.h"

namespace tolvane {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

class FileReplacement : public testing::Test {
 protected:
  [[nodiscard]] std::error_code write(std::string_view name, std::string_view bytes,
                                      Replacing replacing = Replacing::allowed) const {
    return writeFile(folder.url(name), bytes, replacing);
  }
  [[nodiscard]] std::string textOf(std::string_view name) const {
    std::ifstream file(folder.path() / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  /// All names in the folder, sorted.
  [[nodiscard]] std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder.path())) found.push_back(entry.path().filename());
    std::ranges::sort(found);
    return found;
  }
  [[nodiscard]] mode_t modeOf(std::string_view name) const {
    struct stat status {};
    EXPECT_EQ(::stat((folder.path() / name).c_str(), &status), 0);
    return status.st_mode & 0777;
  }

  test::TemporaryFolder folder;
};

/// A disk on which a file gets no longer than this, as long as it lives.
class SmallDisk {
 public:
  explicit SmallDisk(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    EXPECT_EQ(::getrlimit(RLIMIT_FSIZE, &before_), 0);
    const rlimit limit{bytes, before_.rlim_max};
    EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
  }
  ~SmallDisk() {
    EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &before_), 0);
    std::signal(SIGXFSZ, handler_);
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

 private:
  void (*handler_)(int);
  rlimit before_{};
};

TEST_F(FileReplacement, WritesANewFileWithTheUsualPermissions) {
  const mode_t mask = ::umask(027);
  EXPECT_FALSE(write("a", "text"));
  ::umask(mask);
  EXPECT_EQ(textOf("a"), "text");
  EXPECT_EQ(modeOf("a"), 0640);
  EXPECT_THAT(names(), ElementsAre("a"));
}

TEST_F(FileReplacement, ReplacesAFileAndKeepsItsPermissions) {
  folder.write("a", "a longer text than the new one");
  fs::permissions(folder.path() / "a", static_cast<fs::perms>(0604));
  EXPECT_FALSE(write("a", "new"));
  EXPECT_EQ(textOf("a"), "new");
  EXPECT_EQ(modeOf("a"), 0604);
  EXPECT_THAT(names(), ElementsAre("a"));
}

TEST_F(FileReplacement, ReaderOfTheOldFileKeepsItWhole) {
  folder.write("a", "old");
  std::ifstream reader(folder.path() / "a", std::ios::binary);
  EXPECT_FALSE(write("a", "new text"));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old");
}

TEST_F(FileReplacement, LeavesAFileThatIsThereWhereReplacingIsRefused) {
  folder.write("a", "old");
  fs::create_symlink("nowhere", folder.path() / "link");
  EXPECT_EQ(write("a", "new", Replacing::refused), std::errc::file_exists);
  EXPECT_EQ(write("link", "new", Replacing::refused), std::errc::file_exists);
  EXPECT_FALSE(write("b", "new", Replacing::refused));
  EXPECT_EQ(textOf("a"), "old");
  EXPECT_EQ(textOf("b"), "new");
  EXPECT_THAT(names(), ElementsAre("a", "b", "link"));
}

TEST_F(FileReplacement, FollowsALink) {
  folder.write("deep/a", "old");
  fs::create_symlink("deep/a", folder.path() / "link");
  EXPECT_FALSE(write("link", "new"));
  EXPECT_EQ(textOf("deep/a"), "new");
  EXPECT_TRUE(fs::is_symlink(folder.path() / "link"));
}

TEST_F(FileReplacement, LosesNothingOnAFullDisk) {
  folder.write("a", "old");
  {
    const SmallDisk disk(10);
    EXPECT_EQ(write("a", std::string(100'000, 'x')), std::errc::file_too_large);
    EXPECT_EQ(write("b", std::string(100'000, 'x')), std::errc::file_too_large);
  }
  EXPECT_EQ(textOf("a"), "old");
  EXPECT_THAT(names(), ElementsAre("a"));
}

TEST_F(FileReplacement, LosesNothingInAReadOnlyFolder) {
  folder.write("a", "old");
  {
    const test::WithoutPrivileges ordinary(folder.path());
    fs::permissions(folder.path(), static_cast<fs::perms>(0555));
    EXPECT_EQ(write("a", "new"), std::errc::permission_denied);
    EXPECT_EQ(write("b", "new"), std::errc::permission_denied);
    fs::permissions(folder.path(), static_cast<fs::perms>(0755));
  }
  EXPECT_EQ(textOf("a"), "old");
  EXPECT_THAT(names(), ElementsAre("a"));
}

TEST_F(FileReplacement, ReplacesNothingButFiles) {
  fs::create_directory(folder.path() / "folder");
  ASSERT_EQ(::mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(write("folder", "new"), std::errc::is_a_directory);
  EXPECT_EQ(write("pipe", "new"), std::errc::operation_not_supported);
  EXPECT_EQ(write("missing/a", "new"), std::errc::no_such_file_or_directory);
  EXPECT_EQ(write("pipe/a", "new"), std::errc::not_a_directory);
  EXPECT_THAT(names(), ElementsAre("folder", "pipe"));
}

}  // namespace
}  // namespace tolvane
