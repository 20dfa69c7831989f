#include "platform/pipewire/server/PipeWireServerWatch.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "platform/simulated/ManualRunLoop.h"
#include "tests/support/SilentSocket.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

TEST(PipeWireSocket, IsWhereTheEnvironmentSays) {
  using Variables = std::map<std::string, std::string>;
  const struct {
    Variables variables;
    const char* path;
  } rows[] = {
      {{}, ""},
      {{{"XDG_RUNTIME_DIR", "/run/user/1"}}, "/run/user/1/pipewire-0"},
      {{{"XDG_RUNTIME_DIR", "/run/user/1"}, {"PIPEWIRE_RUNTIME_DIR", "/run/pw"}}, "/run/pw/pipewire-0"},
      {{{"XDG_RUNTIME_DIR", "/run/user/1"}, {"PIPEWIRE_REMOTE", "other"}}, "/run/user/1/other"},
      {{{"PIPEWIRE_REMOTE", "/run/shared/socket"}}, "/run/shared/socket"},
      {{{"PIPEWIRE_REMOTE", "other"}}, ""},
  };
  for (const auto& row : rows) {
    const auto variable = [&row](const char* name) {
      const auto found = row.variables.find(name);
      return found == row.variables.end() ? std::string() : found->second;
    };
    EXPECT_EQ(pipeWireSocketPath(variable), row.path);
  }
}

/// A manual run loop that reads the descriptor of the watch when the test says so.
class ReadableRunLoop final : public RunLoop {
 public:
  [[nodiscard]] TimePoint now() const override { return loop_.now(); }
  Timer scheduleTimer(Duration interval, bool repeats, Action action) override {
    return loop_.scheduleTimer(interval, repeats, std::move(action));
  }
  void post(Action action) override { loop_.post(std::move(action)); }
  void sleepFor(Duration duration) override { loop_.sleepFor(duration); }
  Timer watchDescriptor(int descriptor, Action action) override {
    descriptor_ = descriptor;
    return loop_.watchDescriptor(descriptor, std::move(action));
  }
  void read() {
    loop_.signalDescriptor(descriptor_);
    loop_.runUntilIdle();
  }

 private:
  ManualRunLoop loop_;
  int descriptor_ = -1;
};

TEST(PipeWireServerWatch, NoticesTheSocketOfAServerAndNothingElse) {
  const test::TemporaryFolder folder;
  const std::string path = folder.path() / "pipewire-0";
  ReadableRunLoop loop;
  int appeared = 0;
  const PipeWireServerWatch watch(loop, path, [&] { ++appeared; });
  EXPECT_FALSE(watch.isThere());
  std::ofstream(folder.path() / "pipewire-0.lock") << "locked";
  loop.read();
  EXPECT_EQ(appeared, 0);
  std::ofstream(path) << "a file of that name";
  loop.read();
  EXPECT_EQ(appeared, 0);
  EXPECT_FALSE(watch.isThere());
  std::filesystem::remove(path);
  const test::SilentSocket server(path);
  loop.read();
  EXPECT_EQ(appeared, 1);
  EXPECT_TRUE(watch.isThere());
}

}  // namespace
}  // namespace tolvane
