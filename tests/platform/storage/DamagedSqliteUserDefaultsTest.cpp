// The store on disk when its file is damaged, missing or foreign: what is left is found, and what is lost is logged.

#include "tests/platform/storage/SqliteDefaultsFixture.h"

namespace tolvane {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

TEST_F(SqliteDefaults, AFileThatIsNoDatabaseIsSetAside) {
  std::ofstream(file()) << std::string(10'000, 'x');
  start().setObject("a", 1.0);
  EXPECT_EQ(numberAfterRestart("a"), 1);
  EXPECT_EQ(contentOf(folder.path() / "defaults.sqlite.damaged"), std::string(10'000, 'x'));
  EXPECT_THAT(log.messages(), ElementsAre(HasSubstr("defaults.sqlite.damaged")));
}

TEST_F(SqliteDefaults, EveryDamagedFileIsKept) {
  for (const char* name : {"defaults.sqlite.damaged", "defaults.sqlite.damaged-2", "defaults.sqlite.damaged-3"}) {
    defaults.reset();
    std::ofstream(file()) << name << std::string(10'000, 'x');
    start();
    EXPECT_THAT(contentOf(folder.path() / name), testing::StartsWith(name));
  }
  EXPECT_THAT(log.messages(), SizeIs(3));
}

TEST_F(SqliteDefaults, AValueThatHasChangedOnDiskIsNoticed) {
  start().setObject("a", UserDefaults::Data(100'000, 'a'));
  ASSERT_TRUE(defaults->synchronize());
  defaults.reset();
  const auto place = static_cast<std::streamoff>(contentOf(file()).rfind("aaaa"));
  overwrite(place, "b");
  EXPECT_EQ(start().object("a"), std::nullopt);
  EXPECT_TRUE(fs::exists(folder.path() / "defaults.sqlite.damaged"));
}

TEST_F(SqliteDefaults, AFileCutShortIsSetAside) {
  start().setObject("a", UserDefaults::Data(100'000, 'a'));
  ASSERT_TRUE(defaults->synchronize());
  defaults.reset();
  fs::resize_file(file(), 8192);
  EXPECT_EQ(start().object("a"), std::nullopt);
  EXPECT_TRUE(fs::exists(folder.path() / "defaults.sqlite.damaged"));
  EXPECT_THAT(log.messages(), SizeIs(1));
}

class DamagedSqliteDefaults : public SqliteDefaults {
 protected:
  static constexpr std::size_t pageBytes = 4'096;

  DamagedSqliteDefaults() {
    start().setObject("a", UserDefaults::Data(9'000, 'a'));
    defaults->setObject("b", 0.25);
    EXPECT_TRUE(defaults->synchronize());
    defaults.reset();
    whole = contentOf(file());
  }

  void expectNoticedOrHarmless(std::size_t place, int flipped) {
    for (const auto& entry : fs::directory_iterator(folder.path())) fs::remove(entry);
    log.clear();
    std::ofstream(file(), std::ios::binary) << whole;
    overwrite(static_cast<std::streamoff>(place), std::string(1, static_cast<char>(whole[place] ^ flipped)));
    start();
    const auto a = defaults->value<UserDefaults::Data>("a");
    const auto b = defaults->value<double>("b");
    EXPECT_TRUE(!a || *a == UserDefaults::Data(9'000, 'a')) << place;
    EXPECT_TRUE(!b || *b == 0.25) << place;
    EXPECT_TRUE((a && b) || !log.messages().empty()) << place << " ^ " << flipped << ": a loss is logged";
    defaults->setObject("c", 1.0);
    const bool isStored = defaults->synchronize();
    EXPECT_TRUE(isStored || !log.messages().empty()) << place;
    defaults.reset();
  }

  std::string whole;
};

TEST_F(DamagedSqliteDefaults, DamageAtAnyPlaceIsNoticedOrDoesNoHarm) {
  constexpr std::size_t headBytes = 128;  // of a page; they contain the position of everything else
  for (std::size_t place = 0; place < whole.size(); ++place) {
    if (place % pageBytes < headBytes || place % 97 == 0) expectNoticedOrHarmless(place, 0x55);
  }
}

TEST_F(DamagedSqliteDefaults, AnyBitThatTurnsInTheHeadOfTheValuesPageIsNoticedOrDoesNoHarm) {
  constexpr std::size_t headBytes = 12;  // with the two rows' places; to the page's number of rows, 2 ^ 3 is one less
  for (std::size_t place = pageBytes; place < pageBytes + headBytes; ++place) {
    for (const int flipped : {1, 2, 3, 4, 8, 16, 32, 64, 128}) expectNoticedOrHarmless(place, flipped);
  }
}

TEST_F(SqliteDefaults, TheSealIsTheOneThatFilesOfUsersHave) {
  start().setObject("number", 0.25);
  defaults->setObject("truth", true);
  defaults->setObject("bytes", UserDefaults::Data(R"({"version":1})"));
  ASSERT_TRUE(defaults->synchronize());
  defaults.reset();
  OtherProgram other(file());
  other.run("UPDATE defaults SET seal = -8478115577569088156 WHERE key = 'number'");
  other.run("UPDATE defaults SET seal = 254955211484852783 WHERE key = 'truth'");
  other.run("UPDATE defaults SET seal = -2306098981736769201 WHERE key = 'bytes'");
  EXPECT_EQ(numberAfterRestart("number"), 0.25);
  EXPECT_EQ(defaults->value<bool>("truth"), true);
  EXPECT_EQ(defaults->value<UserDefaults::Data>("bytes"), R"({"version":1})");
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(SqliteDefaults, AFileOfOursWithoutOurTableIsSetAside) {
  for (const char* damage : {"DROP TABLE defaults", "ALTER TABLE defaults RENAME TO faults",
                             "ALTER TABLE defaults RENAME COLUMN seal TO steal"}) {
    start().setObject("a", 1.0);
    ASSERT_TRUE(defaults->synchronize());
    defaults.reset();
    log.clear();
    OtherProgram(file()).run(damage);
    EXPECT_EQ(numberAfterRestart("a"), std::nullopt) << damage;
    EXPECT_THAT(log.messages(), ElementsAre(HasSubstr("were damaged"))) << damage;
    defaults->setObject("b", 2.0);
    EXPECT_TRUE(defaults->synchronize()) << damage;
    EXPECT_EQ(numberAfterRestart("b"), 2) << damage;
  }
}

TEST_F(SqliteDefaults, AFileThatWouldRunAStrangersStatementsIsSetAside) {
  // What they compute may be without end, or as large as memory.
  for (const char* statement : {
           "CREATE TRIGGER t AFTER UPDATE ON defaults BEGIN DELETE FROM defaults; END",
           "CREATE INDEX i ON defaults (length(key))",
           "ALTER TABLE defaults ADD COLUMN more AS (length(key))",
           "CREATE TABLE other (x CHECK (length(x) > 0))",
           "CREATE VIEW v AS SELECT key FROM defaults",
           "ALTER TABLE defaults RENAME TO real; CREATE VIEW defaults AS SELECT key, value, seal FROM real",
       }) {
    start().setObject("a", 1.0);
    ASSERT_TRUE(defaults->synchronize());
    defaults.reset();
    log.clear();
    OtherProgram(file()).run(statement);
    EXPECT_EQ(numberAfterRestart("a"), std::nullopt) << statement;
    EXPECT_THAT(log.messages(), ElementsAre(HasSubstr("were damaged"))) << statement;
    defaults->setObject("b", 2.0);
    EXPECT_TRUE(defaults->synchronize()) << statement;
    EXPECT_EQ(numberAfterRestart("b"), 2) << statement;
  }
}

TEST_F(SqliteDefaults, DamageDuringTheRunCostsNothingThatMemoryHolds) {
  start().setObject("a", 1.0);
  ASSERT_TRUE(defaults->synchronize());
  overwrite(0, std::string(8192, 'x'));
  defaults->setObject("b", 2.0);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(numberAfterRestart("a"), 1);
  EXPECT_EQ(defaults->value<double>("b"), 2.0);
  EXPECT_TRUE(fs::exists(folder.path() / "defaults.sqlite.damaged"));
}

TEST_F(SqliteDefaults, AFileThatWasTakenAwayDuringTheRunIsWrittenAnew) {
  start().setObject("a", 1.0);
  defaults->setObject("gone", 1.0);
  ASSERT_TRUE(defaults->synchronize());
  fs::rename(file(), folder.path() / "elsewhere");
  defaults->setObject("b", 2.0);
  defaults->removeObject("gone");
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(numberAfterRestart("a"), 1);
  EXPECT_EQ(defaults->value<double>("b"), 2.0);
  EXPECT_EQ(defaults->value<double>("gone"), std::nullopt);
}

}  // namespace
}  // namespace tolvane
