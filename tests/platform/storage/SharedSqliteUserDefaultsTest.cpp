// The store on disk beside other copies of the player, each in a process of its own, and where it may not write.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <functional>
#include <optional>
#include <thread>

#include "platform/simulated/MemoryLog.h"
#include "platform/storage/SqliteUserDefaults.h"
#include "tests/platform/storage/SqliteDefaultsFixture.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WithoutPrivileges.h"

namespace tolvane {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/// A gate at which copies of the player wait until all of them are there.
class Gate {
 public:
  Gate() { EXPECT_EQ(::pipe2(ends_.data(), O_CLOEXEC), 0); }
  ~Gate() {
    open();
    ::close(ends_[0]);
  }
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;

  /// In a copy.
  void wait() {
    open();
    char byte = 0;
    while (::read(ends_[0], &byte, 1) > 0) continue;
  }
  /// In the test, and each copy's own hold on it.
  void open() {
    if (ends_[1] >= 0) ::close(ends_[1]);
    ends_[1] = -1;
  }

 private:
  std::array<int, 2> ends_{-1, -1};
};

/// Another copy of the player. A process: within one, the locks that files have do not act.
class Copy {
 public:
  /// `run` returns whether it succeeded.
  explicit Copy(const std::function<bool()>& run) : pid_(::fork()) {
    if (pid_ != 0) return;
    bool isWell = false;
    try {
      isWell = run();
    } catch (...) {
      isWell = false;
    }
    ::_exit(isWell ? 0 : 1);
  }
  ~Copy() { EXPECT_TRUE(hasEndedWell()); }
  Copy(const Copy&) = delete;
  Copy& operator=(const Copy&) = delete;

  bool hasEndedWell() {
    if (pid_ > 0 && ::waitpid(pid_, &status_, 0) == pid_) pid_ = 0;
    return pid_ == 0 && WIFEXITED(status_) && WEXITSTATUS(status_) == 0;
  }

 private:
  pid_t pid_;
  int status_ = 0;
};

class SharedSqliteDefaults : public testing::Test {
 protected:
  static constexpr auto patience = 60s;  // of copies that must not give up

  [[nodiscard]] fs::path file() const { return folder.path() / "defaults.sqlite"; }
  void damage() const { std::ofstream(file(), std::ios::binary) << std::string(10'000, 'x'); }
  [[nodiscard]] std::string content() const {
    std::ifstream stream(file(), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  void shut(fs::perms fileMode, fs::perms folderMode) const {
    for (const auto& entry : fs::directory_iterator(folder.path())) fs::permissions(entry, fileMode);
    fs::permissions(folder.path(), folderMode);
  }
  void shut() const {
    constexpr auto read = fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read;
    shut(read, read | fs::perms::owner_exec);
  }

  test::TemporaryFolder folder;
  MemoryLog log;
};

TEST_F(SharedSqliteDefaults, ThatTwoProcessesWriteStaysWholeAndTogether) {
  Gate gate;
  const auto writes = [&](double sign) {
    gate.wait();
    MemoryLog ownLog;
    SqliteUserDefaults store(folder.path(), ownLog, patient(patience));
    for (int i = 1; i <= 30; ++i) {
      {
        const UserDefaults::Group group(store);
        store.setObject("playlist", UserDefaults::Data(20'000, sign > 0 ? '+' : '-'));
        store.setObject("state", sign * i);
      }
      if (!store.synchronize()) return false;
      store.setObject("state", sign * (i + 0.5));  // alone, as each few seconds of playback
      store.setObject(sign > 0 ? "plus" : "minus", static_cast<double>(i));
      if (!store.synchronize()) return false;
    }
    return ownLog.messages().empty();
  };
  {
    Copy one([&] { return writes(1); });
    Copy two([&] { return writes(-1); });
    gate.open();
  }
  const SqliteUserDefaults next(folder.path(), log, patient());
  const auto state = next.value<double>("state");
  ASSERT_TRUE(state == 30.5 || state == -30.5) << "what was saved last";
  EXPECT_EQ(next.value<UserDefaults::Data>("playlist"), UserDefaults::Data(20'000, *state > 0 ? '+' : '-'));
  EXPECT_EQ(next.value<double>(*state > 0 ? "plus" : "minus"), 30);
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(SharedSqliteDefaults, OfTwoProcessesThatFindDamageOneSetsItAside) {
  damage();
  Gate gate;
  const auto starts = [&](const char* key) {
    gate.wait();
    MemoryLog ownLog;
    SqliteUserDefaults store(folder.path(), ownLog, patient(patience));
    store.setObject(key, 1.0);
    return store.synchronize();
  };
  {
    Copy one([&] { return starts("one"); });
    Copy two([&] { return starts("two"); });
    gate.open();
  }
  const SqliteUserDefaults next(folder.path(), log, patient());
  EXPECT_EQ(next.value<double>("one"), 1.0);
  EXPECT_EQ(next.value<double>("two"), 1.0);
  EXPECT_TRUE(fs::exists(folder.path() / "defaults.sqlite.damaged"));
  EXPECT_FALSE(fs::exists(folder.path() / "defaults.sqlite.damaged-2"));
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(SharedSqliteDefaults, AProcessThatWaitedWhileAnotherSetTheDamageAsideTakesTheFreshFile) {
  const test::TemporaryFolder elsewhere;
  SqliteUserDefaults(elsewhere.path(), log, patient()).setObject("theirs", 7.0);
  damage();
  const fs::path lock = folder.path() / "defaults.lock";
  const int held = ::open(lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(::flock(held, LOCK_EX), 0);

  std::optional<SqliteUserDefaults> late;
  std::thread starting([&] { late.emplace(folder.path(), log, patient(patience)); });
  const auto openings = [&] {
    std::error_code error;
    std::ptrdiff_t count = 0;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd"))
      if (fs::read_symlink(entry, error) == fs::canonical(lock)) ++count;
    return count;
  };
  // Once it has opened the lock too, it has found the damage.
  while (openings() < 2) std::this_thread::yield();
  fs::rename(file(), folder.path() / "defaults.sqlite.damaged");
  fs::copy_file(elsewhere.path() / "defaults.sqlite", file());
  ::close(held);
  starting.join();

  EXPECT_EQ(late->value<double>("theirs"), 7.0);
  late->setObject("mine", 1.0);
  EXPECT_TRUE(late->synchronize());
  EXPECT_FALSE(fs::exists(folder.path() / "defaults.sqlite.damaged-2"));
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(SharedSqliteDefaults, AFileThatMayOnlyBeReadIsReadAndOneLineSaysThatNothingIsSaved) {
  SqliteUserDefaults(folder.path(), log, patient()).setObject("a", 1.0);
  const std::string before = content();
  const test::WithoutPrivileges user(folder.path());
  shut();
  {
    SqliteUserDefaults store(folder.path(), log, patient(20ms));
    EXPECT_EQ(store.value<double>("a"), 1.0);
    for (const double number : {2.0, 3.0}) {
      store.setObject("a", number);
      EXPECT_FALSE(store.synchronize());
      EXPECT_EQ(store.value<double>("a"), number);
    }
    EXPECT_THAT(log.messages(), ElementsAre(HasSubstr("cannot be saved")));
  }
  EXPECT_EQ(content(), before);
  shut(fs::perms::owner_read | fs::perms::owner_write, fs::perms::owner_all);
  SqliteUserDefaults store(folder.path(), log, patient(20ms));
  store.setObject("a", 2.0);
  EXPECT_TRUE(store.synchronize());
  EXPECT_THAT(log.messages(), SizeIs(1));
}

TEST_F(SharedSqliteDefaults, ADamagedFileInAFolderThatMayOnlyBeReadIsLeftAlone) {
  damage();
  const std::string before = content();
  for (const bool hasLock : {false, true}) {
    log.clear();
    if (hasLock) std::ofstream(folder.path() / "defaults.lock").flush();
    const test::WithoutPrivileges user(folder.path());
    shut(fs::perms::owner_read | fs::perms::owner_write, fs::perms::owner_read | fs::perms::owner_exec);
    {
      SqliteUserDefaults store(folder.path(), log, patient(20ms));
      store.setObject("a", 1.0);
      EXPECT_EQ(store.value<double>("a"), 1.0);
      EXPECT_FALSE(store.synchronize());
    }
    EXPECT_EQ(content(), before);
    EXPECT_THAT(log.messages(), ElementsAre(HasSubstr("nothing will be saved"))) << hasLock;
    shut(fs::perms::owner_read | fs::perms::owner_write, fs::perms::owner_all);
  }
}

}  // namespace
}  // namespace tolvane
