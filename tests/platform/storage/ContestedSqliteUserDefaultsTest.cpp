// The store on disk when another program holds its file, or another copy of the player writes to it.

#include <future>
#include <latch>
#include <memory>

#include "tests/platform/storage/SqliteDefaultsFixture.h"
#include "tests/support/ManualDeviceTime.h"

namespace tolvane {
namespace {

namespace fs = std::filesystem;
using std::chrono_literals::operator""ms;
using testing::IsEmpty;
using testing::SizeIs;

TEST_F(SqliteDefaults, WhileAnotherProgramHoldsTheFileMemoryServes) {
  start().setObject("a", 1.0);
  ASSERT_TRUE(defaults->synchronize());
  OtherProgram other(file());
  other.run("BEGIN EXCLUSIVE");
  defaults->setObject("a", 2.0);
  EXPECT_FALSE(defaults->synchronize()) << "the wait is bounded";
  EXPECT_EQ(defaults->value<double>("a"), 2.0);
  other.run("COMMIT");
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(numberAfterRestart("a"), 2);
}

TEST_F(SqliteDefaults, AFileThatIsHeldToTheEndKeepsWhatItHolds) {
  start().setObject("playlist", 1.0);
  ASSERT_TRUE(defaults->synchronize());
  defaults.reset();
  OtherProgram other(file());
  other.run("BEGIN EXCLUSIVE");
  EXPECT_EQ(start().object("playlist"), std::nullopt);
  EXPECT_FALSE(defaults->isLoaded());
  defaults->setObject("playlist", 2.0);
  EXPECT_EQ(defaults->value<double>("playlist"), 2.0) << "memory serves";
  EXPECT_FALSE(defaults->synchronize());
  defaults.reset();
  other.run("COMMIT");
  EXPECT_EQ(numberAfterRestart("playlist"), 1);
  EXPECT_THAT(log.messages(), SizeIs(1));
}

/// A store whose time the test moves, behind another program that holds the file.
class HeldSqliteDefaults : public SqliteDefaults {
 protected:
  HeldSqliteDefaults() {
    start().setObject("playlist", 1.0);
    defaults->setObject("volume", 0.5);
    EXPECT_TRUE(defaults->synchronize());
    defaults.reset();
    other.emplace(file());
    other->run("BEGIN EXCLUSIVE");
  }
  ~HeldSqliteDefaults() override { other.reset(); }

  SqliteUserDefaults& startHeld(std::chrono::milliseconds patienceWithOthers) {
    return defaults.emplace(folder.path(), log,
                            SqliteUserDefaults::Waiting{.patience = {.withOthers = patienceWithOthers},
                                                        .onLoadedLate = [this] { loaded.count_down(); },
                                                        .time = time});
  }

  const std::shared_ptr<test::ManualDeviceTime> time = std::make_shared<test::ManualDeviceTime>();
  const SqliteUserDefaults::Patience usual;
  std::latch loaded{1};
  std::optional<OtherProgram> other;
};

TEST_F(HeldSqliteDefaults, IsTriedAgainUntilTheOtherProgramLetsGo) {
  startHeld(0ms);
  EXPECT_FALSE(defaults->isLoaded());
  defaults->setObject("volume", 0.75);
  for (int attempt = 0; attempt < 3; ++attempt) {
    time->awaitWaitUntil(time->now() + usual.beforeRetry);
    EXPECT_FALSE(defaults->isLoaded());
    if (attempt == 2) other->run("COMMIT");
    time->advance(usual.beforeRetry);
  }
  loaded.wait();
  EXPECT_TRUE(defaults->isLoaded());
  EXPECT_EQ(defaults->value<double>("playlist"), 1);
  EXPECT_EQ(defaults->value<double>("volume"), 0.75) << "what was set meanwhile counts more";
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_THAT(log.messages(), SizeIs(2)) << "once that it is locked, once that it is not any more";
  EXPECT_EQ(numberAfterRestart("volume"), 0.75);
  EXPECT_EQ(numberAfterRestart("playlist"), 1);
}

TEST_F(HeldSqliteDefaults, HoldsUpTheStartForAMomentOnly) {
  // The library waits for the lock by itself, for longer than this test may last.
  auto starting = std::async(std::launch::async, [this] { startHeld(std::chrono::hours(1)); });
  time->awaitWaitUntil(time->now() + usual.atStart);
  time->advance(usual.atStart);
  starting.get();
  EXPECT_FALSE(defaults->isLoaded());
  EXPECT_EQ(defaults->object("playlist"), std::nullopt);
  other->run("COMMIT");
  loaded.wait();
  EXPECT_EQ(defaults->value<double>("playlist"), 1);
}

TEST_F(SqliteDefaults, TwoCopiesWriteToOneFile) {
  SqliteUserDefaults one(folder.path(), log, patient());
  SqliteUserDefaults two(folder.path(), log, patient());
  for (int i = 0; i < 200; ++i) {
    one.setObject("one", static_cast<double>(i));
    two.setObject("two", static_cast<double>(i));
    one.setObject("both", UserDefaults::Data(20'000, '1'));
    two.setObject("both", UserDefaults::Data(30'000, '2'));
  }
  EXPECT_TRUE(one.synchronize());
  EXPECT_TRUE(two.synchronize());
  start();
  EXPECT_EQ(defaults->value<double>("one"), 199);
  EXPECT_EQ(defaults->value<double>("two"), 199);
  EXPECT_THAT(*defaults->value<UserDefaults::Data>("both"),
              testing::AnyOf(std::string(20'000, '1'), std::string(30'000, '2')));
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(SqliteDefaults, OfTwoCopiesWhatBelongsTogetherIsTheOneCopysOrTheOthers) {
  start().setObject("removed", 1.0);
  ASSERT_TRUE(defaults->synchronize());
  defaults.reset();
  SqliteUserDefaults one(folder.path(), log, patient());
  SqliteUserDefaults two(folder.path(), log, patient());
  const auto save = [](SqliteUserDefaults& copy, const char* playlist, double state) {
    const UserDefaults::Group group(copy);
    copy.setObject("playlist", UserDefaults::Data(playlist));
    copy.setObject("state", state);
  };
  save(one, "one's", 1.0);
  one.removeObject("removed");
  EXPECT_TRUE(one.synchronize());
  save(two, "two's", 2.0);
  two.setObject("removed", 2.0);
  EXPECT_TRUE(two.synchronize());
  one.setObject("state", 1.5);
  EXPECT_TRUE(one.synchronize());
  start();
  EXPECT_EQ(defaults->value<UserDefaults::Data>("playlist"), "one's");
  EXPECT_EQ(defaults->value<double>("state"), 1.5);
  EXPECT_EQ(defaults->object("removed"), std::nullopt);
}

TEST_F(SqliteDefaults, OfTwoCopiesThatFindDamageOneSetsItAside) {
  std::ofstream(file()) << std::string(10'000, 'x');
  SqliteUserDefaults one(folder.path(), log, patient());
  one.setObject("one", 1.0);
  SqliteUserDefaults two(folder.path(), log, patient());
  two.setObject("two", 2.0);
  EXPECT_TRUE(one.synchronize());
  EXPECT_TRUE(two.synchronize());
  EXPECT_EQ(numberAfterRestart("one"), 1);
  EXPECT_EQ(defaults->value<double>("two"), 2);
  EXPECT_FALSE(fs::exists(folder.path() / "defaults.sqlite.damaged-2"));
}

}  // namespace
}  // namespace tolvane
