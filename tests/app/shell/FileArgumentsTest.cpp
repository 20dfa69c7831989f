#include "app/shell/FileArguments.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <climits>
#include <filesystem>

#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(RegularFile, IsNoFolderNoDeviceAndNoPipeAndFollowsLinks) {
  const test::TemporaryFolder folder;
  const FileURL file = folder.write("a.wav", "x");
  const FileURL link = folder.url("link.wav");
  const FileURL dangling = folder.url("dangling.wav");
  const FileURL pipe = folder.url("pipe.wav");
  std::filesystem::create_symlink(file.path(), link.path());
  std::filesystem::create_symlink(folder.url("nothing").path(), dangling.path());
  ASSERT_EQ(mkfifo(pipe.path().c_str(), 0600), 0);
  for (const auto& url : {file, link}) EXPECT_TRUE(isRegularFile(url)) << url.path();
  for (const auto& url : {dangling, pipe, folder.url(""), FileURL("/dev/null"), folder.url("missing.wav")})
    EXPECT_FALSE(isRegularFile(url)) << url.path();
}

FileArguments parse(std::vector<std::string> arguments) { return fileArguments(arguments, "/home/ada"); }

TEST(FileArguments, ArePathsAndURIsInTheGivenOrder) {
  const auto [urls, complaint] = parse({"b.wav", "/music/a.wav", "../c d.wav", "file:///x%20y.wav"});
  EXPECT_THAT(urls, ElementsAre(FileURL("/home/ada/b.wav"), FileURL("/music/a.wav"), FileURL("/home/ada/../c d.wav"),
                                FileURL("/x y.wav")));
  EXPECT_EQ(complaint, std::nullopt);
}

TEST(FileArguments, MayHaveAColonInTheirNames) {
  const auto [urls, complaint] =
      parse({"Act 1: Overture.wav", "/music/c:d.wav", "Bach: Partita.wav", "01:Intro.wav", "BWV:1004/x.wav"});
  EXPECT_THAT(urls, ElementsAre(FileURL("/home/ada/Act 1: Overture.wav"), FileURL("/music/c:d.wav"),
                                FileURL("/home/ada/Bach: Partita.wav"), FileURL("/home/ada/01:Intro.wav"),
                                FileURL("/home/ada/BWV:1004/x.wav")));
  EXPECT_EQ(complaint, std::nullopt);
}

TEST(FileArguments, KeepAStepBackForTheDisk) {
  EXPECT_THAT(parse({"link/../x.wav", "./a//b.wav"}).urls,
              ElementsAre(FileURL("/home/ada/link/../x.wav"), FileURL("/home/ada/a/b.wav")));
}

TEST(FileArguments, MayBeginWithADashBehindTwoDashes) {
  const auto [urls, complaint] = parse({"a.wav", "--", "-b.wav", "--", "--help"});
  EXPECT_THAT(urls, ElementsAre(FileURL("/home/ada/a.wav"), FileURL("/home/ada/-b.wav"), FileURL("/home/ada/--"),
                                FileURL("/home/ada/--help")));
  EXPECT_EQ(complaint, std::nullopt);
}

TEST(FileArguments, ThatAreNoFilesAreNamedAndLeftOut) {
  const auto [urls, complaint] = parse({"a.wav", "https://host/b.wav"});
  EXPECT_THAT(urls, ElementsAre(FileURL("/home/ada/a.wav")));
  EXPECT_EQ(complaint, "Only files of this machine can be played: https://host/b.wav");
}

TEST(FileArguments, AreNoOptions) {
  const auto [urls, complaint] = parse({"--help"});
  EXPECT_THAT(urls, IsEmpty());
  EXPECT_EQ(complaint, "The player takes files and folders, and no options: --help");
}

TEST(FileArguments, ComplainAboutTheFirstOneThatIsWrong) {
  EXPECT_EQ(parse({"", "-x"}).complaint, "An argument is empty.");
  EXPECT_EQ(parse({std::string(70'000, 'a')}).complaint, "An argument is longer than any path.");
}

}  // namespace
}  // namespace tolvane
