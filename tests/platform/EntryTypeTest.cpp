#include "platform/EntryType.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

namespace fs = std::filesystem;

class EntryType : public testing::Test {
 protected:
  EntryType() {
    folder.write("file", "x");
    fs::create_directory(folder.path() / "folder");
    fs::create_symlink("folder", folder.path() / "link");
    descriptor = ::open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  }
  ~EntryType() override { ::close(descriptor); }

  [[nodiscard]] unsigned char typeOf(const char* name, unsigned char reported) const {
    dirent entry{};
    entry.d_type = reported;
    std::strncpy(entry.d_name, name, sizeof(entry.d_name) - 1);
    return typeOfEntry(descriptor, entry);
  }

  test::TemporaryFolder folder;
  int descriptor = -1;
};

TEST_F(EntryType, TheTypeThatTheFolderReportsIsTaken) {
  EXPECT_EQ(typeOf("none", DT_REG), DT_REG);
  EXPECT_EQ(typeOf("none", DT_DIR), DT_DIR);
  EXPECT_EQ(typeOf("none", DT_LNK), DT_LNK);
}

TEST_F(EntryType, AnEntryWhoseTypeTheFolderDoesNotReportIsReadItself) {
  EXPECT_EQ(typeOf("file", DT_UNKNOWN), DT_REG);
  EXPECT_EQ(typeOf("folder", DT_UNKNOWN), DT_DIR);
  EXPECT_EQ(typeOf("link", DT_UNKNOWN), DT_LNK) << "not the folder to which it leads";
}

TEST_F(EntryType, OfAnEntryThatIsGoneNothingIsKnown) { EXPECT_EQ(typeOf("none", DT_UNKNOWN), DT_UNKNOWN); }

}  // namespace
}  // namespace tolvane
