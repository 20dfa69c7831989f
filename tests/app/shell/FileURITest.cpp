#include "app/shell/FileURI.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <climits>
#include <filesystem>

#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct URICase {
  std::string_view uri;
  std::optional<std::string> path;
};

class FileURIs : public testing::TestWithParam<URICase> {};

TEST_P(FileURIs, NameFilesOfThisMachineOrNothing) {
  const auto url = fileURLFromURI(GetParam().uri);
  EXPECT_EQ(url ? std::optional(url->path()) : std::nullopt, GetParam().path);
}

INSTANTIATE_TEST_SUITE_P(
    All, FileURIs,
    testing::Values(URICase{"file:///music/a.wav", "/music/a.wav"}, URICase{"file:/music/a.wav", "/music/a.wav"},
                    URICase{"FILE://localhost/a.wav", "/a.wav"}, URICase{"file:///a%20b%C3%A9.wav", "/a b\xC3\xA9.wav"},
                    URICase{"file:///latin%e9.wav", "/latin\xE9.wav"}, URICase{"file:///100%25.wav", "/100%.wav"},
                    URICase{"file:///a.wav?x#y", "/a.wav"}, URICase{"file:///a%3Fb%23.wav", "/a?b#.wav"},
                    URICase{"file://server/a.wav", std::nullopt}, URICase{"http://host/a.wav", std::nullopt},
                    URICase{"file:a.wav", std::nullopt}, URICase{"file://", std::nullopt},
                    URICase{"file:///a%2", std::nullopt}, URICase{"file:///a%zz", std::nullopt},
                    URICase{"file:///a%00b", std::nullopt}, URICase{"/a.wav", std::nullopt},
                    URICase{"", std::nullopt}));

TEST(FileURI, IsRefusedFromTheLengthThatNoSystemCallTakes) {
  const auto longPath = [](std::size_t bytes) { return "file:///" + std::string(bytes - 1, 'a'); };
  EXPECT_TRUE(fileURLFromURI(longPath(PATH_MAX - 1)));
  EXPECT_FALSE(fileURLFromURI(longPath(PATH_MAX)));
  EXPECT_FALSE(fileURLFromURI(longPath(70'000)));
}

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
