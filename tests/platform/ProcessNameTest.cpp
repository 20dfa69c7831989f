#include "platform/ProcessName.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

/// A made-up /proc.
class ProcessName : public testing::Test {
 protected:
  ProcessName() {
    folder_.write("1500/comm", "mpv\n");
    folder_.write("1501/comm", "two\nlines\n");
    folder_.write("1502/comm", "pipewire\n");
    folder_.write("1503/comm", "pipewire-pulse\n");
    folder_.write("1504/comm", "pipewire\n\n");
  }

  test::TemporaryFolder folder_;
  const std::string processes_ = folder_.path().string();
};

TEST_F(ProcessName, IsWhatTheProcessHasChosen) {
  EXPECT_EQ(readProcessName(1500, processes_), "mpv");
  EXPECT_EQ(readProcessName(1501, processes_), "two\nlines") << "callers that show it make it printable";
  EXPECT_EQ(readProcessName(1600, processes_), "") << "there is no such process";
}

TEST_F(ProcessName, SaysWhichProcessIsASoundServer) {
  EXPECT_TRUE(isSoundServer(1502, processes_));
  for (const pid_t other : {1500, 1501, 1503, 1504, 1600}) EXPECT_FALSE(isSoundServer(other, processes_)) << other;
}

TEST_F(ProcessName, IsReadFromTheKernelUnlessAnotherFolderIsNamed) {
  EXPECT_FALSE(readProcessName(getpid()).empty());
  EXPECT_FALSE(isSoundServer(getpid()));
}

}  // namespace
}  // namespace tolvane
