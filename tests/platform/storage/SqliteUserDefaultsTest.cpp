// The store on disk: its folder, what is stored and when, and what is left alone.

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "tests/platform/storage/SqliteDefaultsFixture.h"

namespace tolvane {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

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

TEST_F(SqliteDefaults, TheFolderIsMadeAndIsTheUsersOwn) {
  const fs::path where = folder.path() / "data/deeper/tolvane-player";
  start(where).setObject("a", 1.0);
  EXPECT_TRUE(defaults->synchronize());
  struct stat found {};
  ASSERT_EQ(::stat(where.c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 0777, 0700U);
  EXPECT_EQ(start(where).value<double>("a"), 1.0);
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(SqliteDefaults, TheFilesAreTheUsersOwnWhateverTheUmaskIs) {
  const fs::path where = folder.path() / "tolvane-player";
  const auto modeOf = [](const fs::path& path) {
    struct stat found {};
    EXPECT_EQ(::stat(path.c_str(), &found), 0) << path;
    return found.st_mode & 0777;
  };
  const mode_t before = ::umask(0);
  start(where).setObject("a", 1.0);
  EXPECT_TRUE(defaults->synchronize());
  ::umask(before);
  EXPECT_EQ(modeOf(where), 0700U);
  EXPECT_EQ(modeOf(where / "defaults.sqlite"), 0600U);
  EXPECT_EQ(modeOf(where / "defaults.sqlite-journal"), 0600U);
  defaults.reset();
  ::chmod(where.c_str(), 0755);
  ::chmod((where / "defaults.sqlite").c_str(), 0644);
  EXPECT_EQ(start(where).value<double>("a"), 1.0);
  EXPECT_EQ(modeOf(where), 0700U);
  EXPECT_EQ(modeOf(where / "defaults.sqlite"), 0600U);
}

TEST_F(SqliteDefaults, TheEndOfTheProgramStoresWhatIsLeft) {
  for (int i = 0; i < 100; ++i) start().setObject("a", static_cast<double>(i));
  EXPECT_EQ(numberAfterRestart("a"), 99);
  EXPECT_THAT(filesInFolder(), UnorderedElementsAre("defaults.sqlite", "defaults.sqlite-journal"));
}

TEST_F(SqliteDefaults, AGroupIsStoredWholeOrNotAtAll) {
  start();
  {
    const UserDefaults::Group group(*defaults);
    defaults->setObject("a", 1.0);
    EXPECT_EQ(SqliteUserDefaults(folder.path(), log, patient()).object("a"), std::nullopt) << "not before its end";
    defaults->setObject("b", 2.0);
  }
  EXPECT_TRUE(defaults->synchronize());
  const SqliteUserDefaults next(folder.path(), log, patient());
  EXPECT_EQ(next.value<double>("a"), 1.0);
  EXPECT_EQ(next.value<double>("b"), 2.0);
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
    EXPECT_EQ(SqliteUserDefaults(folder.path(), log, patient()).value<double>("a"), 1.0) << "what was stored stays";
  }
  defaults->setObject("b", 2.0);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(numberAfterRestart("b"), 2);
  EXPECT_EQ(defaults->value<UserDefaults::Data>("playlist"), UserDefaults::Data(2'000'000, 'q'));
  EXPECT_THAT(log.messages(), SizeIs(1));
}

}  // namespace
}  // namespace tolvane
