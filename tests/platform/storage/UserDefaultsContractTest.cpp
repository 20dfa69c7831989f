// What every store of defaults keeps to, in memory or on disk.

#include <gmock/gmock.h>

#include <functional>
#include <memory>

#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/MemoryUserDefaults.h"
#include "platform/storage/SqliteUserDefaults.h"
#include "tests/platform/storage/SqliteDefaultsFixture.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

class Store {
 public:
  virtual ~Store() = default;
  [[nodiscard]] virtual UserDefaults& defaults() = 0;
  virtual void restart() = 0;
};

class MemoryStore final : public Store {
 public:
  UserDefaults& defaults() override { return *defaults_; }
  void restart() override { defaults_ = std::make_unique<MemoryUserDefaults>(defaults_->stored()); }

 private:
  std::unique_ptr<MemoryUserDefaults> defaults_ = std::make_unique<MemoryUserDefaults>();
};

class SqliteStore final : public Store {
 public:
  UserDefaults& defaults() override { return *defaults_; }
  void restart() override {
    defaults_.reset();
    defaults_ = std::make_unique<SqliteUserDefaults>(folder_.path(), log_, patient());
  }

 private:
  test::TemporaryFolder folder_;
  MemoryLog log_;
  std::unique_ptr<SqliteUserDefaults> defaults_ = std::make_unique<SqliteUserDefaults>(folder_.path(), log_, patient());
};

using MakeStore = std::function<std::unique_ptr<Store>()>;

class UserDefaultsContract : public testing::TestWithParam<std::pair<const char*, MakeStore>> {
 protected:
  [[nodiscard]] UserDefaults& defaults() { return store_->defaults(); }
  void restart() { store_->restart(); }

 private:
  std::unique_ptr<Store> store_ = GetParam().second();
};

INSTANTIATE_TEST_SUITE_P(, UserDefaultsContract,
                         testing::Values(std::pair("Memory", MakeStore([] { return std::make_unique<MemoryStore>(); })),
                                         std::pair("Sqlite",
                                                   MakeStore([] { return std::make_unique<SqliteStore>(); }))),
                         [](const auto& test) { return test.param.first; });

TEST_P(UserDefaultsContract, AKeyThatWasNeverSetHasNoValue) {
  EXPECT_EQ(defaults().object("a"), std::nullopt);
  defaults().removeObject("a");
  restart();
  EXPECT_EQ(defaults().object("a"), std::nullopt);
}

TEST_P(UserDefaultsContract, EveryValueComesBackAsItWasSet) {
  std::string everyByte;
  for (int byte = 0; byte < 256; ++byte) everyByte += static_cast<char>(byte);
  const std::vector<UserDefaults::Value> values{true,  false, 0.0,       1.0,
                                                -1.0,  0.1,   5e-324,    1.7976931348623157e308,
                                                "one", "",    everyByte, std::string(5'000'000, '\0')};
  for (std::size_t i = 0; i < values.size(); ++i) defaults().setObject("key " + std::to_string(i), values[i]);
  for (int run = 0; run < 2; ++run) {
    for (std::size_t i = 0; i < values.size(); ++i)
      EXPECT_TRUE(defaults().object("key " + std::to_string(i)) == values[i]) << i << " in run " << run;
    restart();
  }
}

TEST_P(UserDefaultsContract, TheLastValueCountsWhateverItsType) {
  defaults().setObject("a", 1.0);
  defaults().setObject("a", true);
  defaults().setObject("a", UserDefaults::Data("x"));
  defaults().setObject("b", 1.0);
  defaults().removeObject("b");
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(defaults().object("a"), UserDefaults::Value(UserDefaults::Data("x")));
    EXPECT_EQ(defaults().object("b"), std::nullopt);
    restart();
  }
}

TEST_P(UserDefaultsContract, AValueOfAnotherTypeIsNone) {
  defaults().setObject("a", 1.0);
  EXPECT_EQ(defaults().value<bool>("a"), std::nullopt);
  EXPECT_EQ(defaults().value<UserDefaults::Data>("a"), std::nullopt);
  EXPECT_EQ(defaults().value<double>("a"), 1.0);
}

TEST_P(UserDefaultsContract, KeysAreDistinguishedByEveryByte) {
  const std::vector<std::string> keys{"a", "A", "a ", "\xC3\xA9", "e\xCC\x81", "'; DROP TABLE defaults; --"};
  for (std::size_t i = 0; i < keys.size(); ++i) defaults().setObject(keys[i], static_cast<double>(i));
  restart();
  for (std::size_t i = 0; i < keys.size(); ++i) EXPECT_EQ(defaults().value<double>(keys[i]), static_cast<double>(i));
}

TEST_P(UserDefaultsContract, ReadingWithinAGroupGivesWhatWasSetInIt) {
  {
    const UserDefaults::Group outer(defaults());
    defaults().setObject("a", 1.0);
    {
      const UserDefaults::Group inner(defaults());
      defaults().setObject("b", 2.0);
    }
    EXPECT_EQ(defaults().value<double>("a"), 1.0);
    EXPECT_EQ(defaults().value<double>("b"), 2.0);
  }
  restart();
  EXPECT_EQ(defaults().value<double>("a"), 1.0);
  EXPECT_EQ(defaults().value<double>("b"), 2.0);
}

}  // namespace
}  // namespace tolvane
