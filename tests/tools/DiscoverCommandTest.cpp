#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.h"
#include "tools/ProbeCommands.h"

namespace tolvane {
namespace {

TEST(DiscoverCommand, PrintsALineAFileInTheOrderOfAPlaylist) {
  const test::TemporaryFolder folder;
  for (const auto* name : {"x/b.wav", "y/A.mp3", "y/\xFF\n.flac", "notes.txt"}) folder.write(name, "x");
  const std::vector<std::string> paths{folder.path() / "y", folder.path() / "x/b.wav", folder.path() / "none"};
  ProbeOutput output;
  testing::internal::CaptureStdout();
  discoverFiles(paths, output);
  const std::string top = "{\"url\":\"file://" + folder.path().string();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), top + "/none\",\"error\":\"No such file or directory\"}\n" +  //
                                                        top + "/y/A.mp3\"}\n" +                                   //
                                                        top + "/x/b.wav\"}\n" +                                   //
                                                        top + "/y/%FF%0A.flac\"}\n");
  EXPECT_EQ(output.exitStatus(), 1);
}

TEST(DiscoverCommand, PrintsALineATrackOfASheet) {
  const test::TemporaryFolder folder;
  folder.write("a.flac", "x");
  folder.write("a.cue",
               "FILE a.flac WAVE\nTRACK 1 AUDIO\nTITLE One\nINDEX 01 00:00:00\nTRACK 2 AUDIO\nINDEX 01 00:01:00\n");
  const std::vector<std::string> paths{folder.path() / "a.cue"};
  ProbeOutput output;
  testing::internal::CaptureStdout();
  discoverFiles(paths, output);
  const std::string url = "\"url\":\"file://" + folder.path().string() + "/a.flac\"";
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "{" + url + ",\"firstSector\":0,\"endSector\":75,\"title\":\"One\"}\n{" + url +
                ",\"firstSector\":75,\"endSector\":null,\"title\":\"Track 02\"}\n");
}

}  // namespace
}  // namespace tolvane
