#include "app/shell/FileURI.h"

#include <gmock/gmock.h>

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

FileArguments parse(std::vector<std::string> arguments) { return fileArguments(arguments, "/home/ada"); }

TEST(FileArguments, ArePathsAndURIsInTheGivenOrder) {
  const auto [urls, complaint] = parse({"b.wav", "/music/a.wav", "../c d.wav", "file:///x%20y.wav"});
  EXPECT_THAT(urls, ElementsAre(FileURL("/home/ada/b.wav"), FileURL("/music/a.wav"), FileURL("/home/c d.wav"),
                                FileURL("/x y.wav")));
  EXPECT_EQ(complaint, std::nullopt);
}

TEST(FileArguments, MayHaveAColonInTheirNames) {
  EXPECT_THAT(parse({"Act 1: Overture.wav", "/music/c:d.wav"}).urls,
              ElementsAre(FileURL("/home/ada/Act 1: Overture.wav"), FileURL("/music/c:d.wav")));
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
}

}  // namespace
}  // namespace tolvane
