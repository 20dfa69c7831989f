#include "platform/FileURI.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace tolvane {
namespace {

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

}  // namespace
}  // namespace tolvane
