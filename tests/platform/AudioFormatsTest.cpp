#include "platform/AudioFormats.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/// Of a file of the repository.
std::string textOf(const char* path) {
  std::ifstream file(std::string(TOLVANE_SOURCES "/") + path);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> extensions() {
  std::vector<std::string> all;
  forEachOf(&AudioFormat::extensions, [&](std::string_view extension) { all.emplace_back(extension); });
  return all;
}

TEST(AudioFormats, HaveTheExtensionsInTheOrderInWhichTheyAreShown) {
  EXPECT_THAT(extensions(), ElementsAre("wav", "aif", "aiff", "mp3", "flac"));
}

TEST(AudioFormats, AreFoundByEachExtensionInLowerCaseAlone) {
  for (const std::string& extension : extensions()) {
    ASSERT_NE(audioFormatOf(extension), nullptr) << extension;
    EXPECT_TRUE(std::ranges::count(audioFormatOf(extension)->extensions, extension) == 1);
    EXPECT_TRUE(std::ranges::all_of(extension, [](unsigned char letter) { return std::isupper(letter) == 0; }));
  }
  for (const char* other : {"", "ogg", "WAV", "wa", "wave", "m4a"}) EXPECT_EQ(audioFormatOf(other), nullptr) << other;
}

TEST(AudioFormats, AreDecodedOrTakenAsTheyStand) {
  EXPECT_FALSE(audioFormatOf("wav")->isEncoded);
  EXPECT_FALSE(audioFormatOf("aif")->isEncoded);
  EXPECT_TRUE(audioFormatOf("mp3")->isEncoded);
  EXPECT_FALSE(audioFormatOf("mp3")->isLossless);
  EXPECT_TRUE(audioFormatOf("flac")->isEncoded);
  EXPECT_TRUE(audioFormatOf("flac")->isLossless);
}

TEST(AudioFormats, AreThoseOfTheDesktopEntryAndTheMetainfo) {
  std::string types = "\nMimeType=";
  forEachOf(&AudioFormat::contentTypes, [&](std::string_view type) { types += std::string(type) + ';'; });
  forEachOf(&PlaylistFormat::contentTypes, [&](std::string_view type) { types += std::string(type) + ';'; });
  EXPECT_THAT(textOf("packaging/desktop/org.tolvane.Player.desktop"), HasSubstr(types + "inode/directory;\n"));
  const std::string metainfo = textOf("packaging/desktop/org.tolvane.Player.metainfo.xml");
  for (const AudioFormat& format : audioFormats)
    EXPECT_THAT(metainfo, HasSubstr("<mediatype>" + std::string(format.contentTypes.front()) + "</mediatype>"));
  for (const PlaylistFormat& format : playlistFormats)
    EXPECT_THAT(metainfo, HasSubstr("<mediatype>" + std::string(format.contentTypes.front()) + "</mediatype>"));
}

TEST(AudioFormats, AreNamedInSentencesWithTheLosslessOnesFirst) {
  EXPECT_EQ(audioFormatNames(), "WAV, AIFF, FLAC and MP3");
  EXPECT_EQ(audioFormatNames("or"), "WAV, AIFF, FLAC or MP3");
}

TEST(AudioFormats, HaveALabelForEachNameAndEachExtensionThatDiffersFromIt) {
  EXPECT_THAT(audioFormatLabels(), ElementsAre("WAV", "AIFF", "AIF", "FLAC", "MP3"));
}

TEST(AudioFormats, AreNamedInThePackagingAndTheReadme) {
  for (const char* text : {"README.md", "packaging/CMakeLists.txt", "packaging/man/tolvane-player.1",
                           "packaging/desktop/org.tolvane.Player.metainfo.xml"})
    EXPECT_THAT(textOf(text), HasSubstr(audioFormatNames() + " files")) << text;
}

TEST(AudioFormats, AreNoneOfThePlaylists) {
  std::vector<std::string> playlists;
  forEachOf(&PlaylistFormat::extensions, [&](std::string_view extension) { playlists.emplace_back(extension); });
  EXPECT_THAT(playlists, ElementsAre("m3u8", "m3u", "cue"));
  for (const std::string& extension : playlists) {
    EXPECT_EQ(audioFormatOf(extension), nullptr) << extension;
    EXPECT_EQ(playlistFormatOf(extension)->isSaved, extension != "cue");
  }
  for (const std::string& extension : extensions()) EXPECT_EQ(playlistFormatOf(extension), nullptr) << extension;
}

}  // namespace
}  // namespace tolvane
