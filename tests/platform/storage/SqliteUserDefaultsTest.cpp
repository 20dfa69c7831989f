// The store on disk when the disk, the file or another copy of the player is in its way.

#include "platform/storage/SqliteUserDefaults.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <optional>

#include "platform/simulated/MemoryLog.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

/// Another program at the same file.
class OtherProgram {
 public:
  explicit OtherProgram(const fs::path& file) { sqlite3_open(file.c_str(), &connection_); }
  ~OtherProgram() { sqlite3_close(connection_); }
  OtherProgram(const OtherProgram&) = delete;
  OtherProgram& operator=(const OtherProgram&) = delete;

  void run(const char* statement) {
    ASSERT_EQ(sqlite3_exec(connection_, statement, nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(connection_);
  }

 private:
  sqlite3* connection_ = nullptr;
};

/// No file can grow beyond this while it lives: a disk that is full.
class FullDisk {
 public:
  explicit FullDisk(rlim_t bytes) {
    ::signal(SIGXFSZ, SIG_IGN);
    ::getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit little{bytes, before_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &little);
  }
  ~FullDisk() { ::setrlimit(RLIMIT_FSIZE, &before_); }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;

 private:
  rlimit before_{};
};

class SqliteDefaults : public testing::Test {
 protected:
  SqliteUserDefaults& start() { return start(folder.path()); }
  SqliteUserDefaults& start(const fs::path& where) {
    defaults.reset();
    return defaults.emplace(where, log, 20ms);
  }
  /// Ends the program, and gives what the next one finds.
  [[nodiscard]] std::optional<double> numberAfterRestart(std::string_view key) { return start().value<double>(key); }

  [[nodiscard]] fs::path file() const { return folder.path() / "defaults.sqlite"; }
  [[nodiscard]] std::vector<std::string> filesInFolder() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder.path())) names.push_back(entry.path().filename());
    return names;
  }
  void overwrite(std::streamoff offset, std::string_view bytes) const {
    std::fstream stream(file(), std::ios::in | std::ios::out | std::ios::binary);
    stream.seekp(offset);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(stream.flush());
  }
  [[nodiscard]] static std::string contentOf(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  test::TemporaryFolder folder;
  MemoryLog log;
  std::optional<SqliteUserDefaults> defaults;
};

TEST_F(SqliteDefaults, TheFolderIsMadeAndIsTheListenersOwn) {
  const fs::path where = folder.path() / "data/deeper/tolvane-player";
  start(where).setObject("a", 1.0);
  EXPECT_TRUE(defaults->synchronize());
  struct stat found {};
  ASSERT_EQ(::stat(where.c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 0777, 0700U);
  EXPECT_EQ(start(where).value<double>("a"), 1.0);
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(SqliteDefaults, TheEndOfTheProgramStoresWhatIsLeft) {
  for (int i = 0; i < 100; ++i) start().setObject("a", static_cast<double>(i));
  EXPECT_EQ(numberAfterRestart("a"), 99);
  EXPECT_THAT(filesInFolder(), UnorderedElementsAre("defaults.sqlite", "defaults.sqlite-journal"));
}

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
    EXPECT_TRUE((a && b) || !log.messages().empty()) << place << " ^ " << flipped << ": what is lost is told";
    defaults->setObject("c", 1.0);
    const bool isStored = defaults->synchronize();
    EXPECT_TRUE(isStored || !log.messages().empty()) << place;
    defaults.reset();
  }

  std::string whole;
};

TEST_F(DamagedSqliteDefaults, DamageAtAnyPlaceIsNoticedOrDoesNoHarm) {
  constexpr std::size_t headBytes = 128;  // of a page; here lies what says where everything else is
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

TEST_F(SqliteDefaults, TheSealIsTheOneThatFilesOfListenersHave) {
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

TEST_F(SqliteDefaults, WithoutAFolderMemoryServesAndOneLineSaysSo) {
  const fs::path obstacle = folder.path() / "file";
  std::ofstream(obstacle) << "x";
  for (const fs::path& where : {obstacle, obstacle / "below", fs::path("/proc/tolvane-player")}) {
    log.clear();
    auto& store = start(where);
    store.setObject("a", 1.0);
    EXPECT_EQ(store.value<double>("a"), 1.0) << where;
    EXPECT_FALSE(store.synchronize());
    store.setObject("a", 2.0);
    EXPECT_EQ(store.value<double>("a"), 2.0);
    EXPECT_THAT(log.messages(), ElementsAre(HasSubstr("nothing will be saved"))) << where;
  }
}

TEST_F(SqliteDefaults, ADatabaseOfANewerVersionIsLeftAlone) {
  {
    OtherProgram newer(file());
    newer.run("CREATE TABLE something (x); PRAGMA user_version = 2");
  }
  const std::string before = contentOf(file());
  start().setObject("a", 1.0);
  EXPECT_FALSE(defaults->synchronize());
  defaults.reset();
  EXPECT_EQ(contentOf(file()), before);
  EXPECT_THAT(log.messages(), ElementsAre(HasSubstr("newer")));
}

TEST_F(SqliteDefaults, ADatabaseOfAnotherProgramIsLeftAlone) {
  {
    OtherProgram other(file());
    other.run("CREATE TABLE defaults (name); INSERT INTO defaults VALUES ('theirs')");
  }
  const std::string before = contentOf(file());
  start().setObject("a", 1.0);
  defaults.reset();
  EXPECT_EQ(contentOf(file()), before);
  EXPECT_THAT(log.messages(), SizeIs(1));
}

TEST_F(SqliteDefaults, OnAFullDiskMemoryServesUntilThereIsRoomAgain) {
  start().setObject("a", 1.0);
  ASSERT_TRUE(defaults->synchronize());
  {
    const FullDisk disk(fs::file_size(file()));
    defaults->setObject("playlist", UserDefaults::Data(1'000'000, 'p'));
    EXPECT_FALSE(defaults->synchronize());
    defaults->setObject("playlist", UserDefaults::Data(2'000'000, 'q'));
    EXPECT_FALSE(defaults->synchronize());
    EXPECT_EQ(defaults->value<UserDefaults::Data>("playlist")->size(), 2'000'000U);
    EXPECT_THAT(log.messages(), ElementsAre(HasSubstr("cannot be saved"))) << "one line, not one a try";
    EXPECT_EQ(SqliteUserDefaults(folder.path(), log).value<double>("a"), 1.0) << "what was stored stays";
  }
  defaults->setObject("b", 2.0);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(numberAfterRestart("b"), 2);
  EXPECT_EQ(defaults->value<UserDefaults::Data>("playlist"), UserDefaults::Data(2'000'000, 'q'));
  EXPECT_THAT(log.messages(), SizeIs(1));
}

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

TEST_F(SqliteDefaults, AFileThatIsHeldAtStartIsNeverOverwritten) {
  start().setObject("playlist", 1.0);
  ASSERT_TRUE(defaults->synchronize());
  defaults.reset();
  {
    OtherProgram other(file());
    other.run("BEGIN EXCLUSIVE");
    EXPECT_EQ(start().object("playlist"), std::nullopt);
    other.run("COMMIT");
    defaults->removeObject("playlist");
  }
  EXPECT_EQ(numberAfterRestart("playlist"), 1);
  EXPECT_THAT(log.messages(), SizeIs(1));
}

TEST_F(SqliteDefaults, TwoCopiesWriteToOneFile) {
  SqliteUserDefaults one(folder.path(), log);
  SqliteUserDefaults two(folder.path(), log);
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
  SqliteUserDefaults one(folder.path(), log);
  SqliteUserDefaults two(folder.path(), log);
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
  SqliteUserDefaults one(folder.path(), log);
  one.setObject("one", 1.0);
  SqliteUserDefaults two(folder.path(), log);
  two.setObject("two", 2.0);
  EXPECT_TRUE(one.synchronize());
  EXPECT_TRUE(two.synchronize());
  EXPECT_EQ(numberAfterRestart("one"), 1);
  EXPECT_EQ(defaults->value<double>("two"), 2);
  EXPECT_FALSE(fs::exists(folder.path() / "defaults.sqlite.damaged-2"));
}

TEST_F(SqliteDefaults, AGroupIsStoredWholeOrNotAtAll) {
  start();
  {
    const UserDefaults::Group group(*defaults);
    defaults->setObject("a", 1.0);
    EXPECT_EQ(SqliteUserDefaults(folder.path(), log).object("a"), std::nullopt) << "not before its end";
    defaults->setObject("b", 2.0);
  }
  EXPECT_TRUE(defaults->synchronize());
  const SqliteUserDefaults next(folder.path(), log);
  EXPECT_EQ(next.value<double>("a"), 1.0);
  EXPECT_EQ(next.value<double>("b"), 2.0);
}

}  // namespace
}  // namespace tolvane
