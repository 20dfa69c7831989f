#include "platform/codecs/FileExamination.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>
#include <string_view>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/WithoutPrivileges.h"

namespace tolvane::test {
namespace {

using namespace std::string_literals;

class FileExamination : public testing::Test {
 protected:
  [[nodiscard]] std::string path(const std::string& name) const { return folder_.url(name).path(); }
  [[nodiscard]] FileURL write(const std::string& name, const std::string& bytes) const {
    return folder_.write(name, std::string_view(bytes));
  }

  TemporaryFolder folder_;
};

std::string padded(std::string start) {
  start.resize(2000, '\x11');
  return start;
}

TEST_F(FileExamination, SaysWhatAFileBeginsLike) {
  struct Case {
    const char* name;
    std::string bytes;
    FileContent content;
  };
  const std::string ogg = "OggS"s + std::string(24, '\0');
  const Case cases[]{
      {"wav", padded("RIFF\x10\x20\0\0WAVEfmt "s), FileContent::wav},
      {"aiff",
       padded("FORM\0\0\x10\x20"
              "AIFFCOMM"s),
       FileContent::aiff},
      {"flac", padded("fLaC"), FileContent::flac},
      {"ogg flac",
       padded(ogg + "\x7F"
                    "FLAC"),
       FileContent::oggFlac},
      {"vorbis", padded(ogg + "\x01vorbis"), FileContent::oggVorbis},
      {"opus", padded(ogg + "OpusHead"), FileContent::oggOpus},
      {"ogg", padded(ogg), FileContent::ogg},
      {"mp4", padded("\0\0\0 ftypM4A "s), FileContent::mp4},
      {"caf", padded("caff"), FileContent::caf},
      {"wavpack", padded("wvpk"), FileContent::wavPack},
      {"ape", padded("MAC "), FileContent::monkeysAudio},
      {"dsf", padded("DSD "), FileContent::dsf},
      {"dff", padded("FRM8"), FileContent::dsdiff},
      {"tta", padded("TTA1"), FileContent::trueAudio},
      {"midi", padded("MThd"), FileContent::midi},
      {"wma", padded("\x30\x26\xB2\x75\x8E\x66\xCF\x11"s), FileContent::windowsMedia},
      {"aac", padded("\xFF\xF1"s), FileContent::aac},
      {"html", padded("<!DOCTYPE HTML><html>"), FileContent::webPage},
      {"html after a mark", padded("\xEF\xBB\xBF\r\n  <HTML lang=\"en\">"), FileContent::webPage},
      {"pdf", padded("%PDF-1.7"), FileContent::pdf},
      {"png", padded("\x89PNG\r\n\x1A\n"), FileContent::png},
      {"jpeg", padded("\xFF\xD8\xFF\xE0"s), FileContent::jpeg},
      {"zip", padded("PK\x03\x04"), FileContent::zip},
      {"zeros", std::string(10'000, '\0'), FileContent::zeros},
      {"text", padded("Dear diary"), FileContent::unknown},
      {"one byte", "x", FileContent::unknown},
      {"blanks", std::string(100, ' '), FileContent::unknown},
  };
  std::set<FileContent> seen;
  for (const Case& each : cases) {
    const FileFinding found = examineFile(write("file", each.bytes));
    EXPECT_EQ(found.place, FilePlace::file) << each.name;
    EXPECT_EQ(found.content, each.content) << each.name;
    seen.insert(found.content);
  }
  // Except MP3, which needs real packets.
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(FileContent::zeros));
}

TEST_F(FileExamination, KnowsAnMp3ByItsPackets) {
  std::string packets;
  for (int i = 0; i < 20; ++i) packets += "\xFF\xFB\x90\x00"s + std::string(413, '\0');
  EXPECT_EQ(examineFile(write("song.wav", packets)).content, FileContent::mp3);
}

TEST_F(FileExamination, SaysWhatLiesThere) {
  EXPECT_EQ(examineFile(write("song.wav", "")).place, FilePlace::emptyFile);
  EXPECT_EQ(examineFile(FileURL(folder_.path().string())).place, FilePlace::folder);
  EXPECT_EQ(examineFile(FileURL(path("missing.wav"))).place, FilePlace::nothing);
  EXPECT_EQ(examineFile(FileURL(path("gone/missing.wav"))).place, FilePlace::noFolder);
  EXPECT_EQ(examineFile(FileURL(path("gone/as well/missing.wav"))).place, FilePlace::noFolder);
  EXPECT_EQ(examineFile(FileURL(path("song.wav/missing.wav"))).place, FilePlace::notKnown);
  EXPECT_EQ(examineFile(FileURL("/dev/null")).place, FilePlace::noFile);
  std::filesystem::create_symlink(path("elsewhere.wav"), path("link.wav"));
  EXPECT_EQ(examineFile(FileURL(path("link.wav"))).place, FilePlace::brokenLink);
  ASSERT_EQ(::mkfifo(path("pipe.wav").c_str(), 0600), 0);
  EXPECT_EQ(examineFile(FileURL(path("pipe.wav"))).place, FilePlace::noFile) << "and does not wait at it";
  std::filesystem::create_symlink(path("loop.wav"), path("loop.wav"));
  EXPECT_EQ(examineFile(FileURL(path("loop.wav"))).place, FilePlace::notKnown);
}

TEST_F(FileExamination, ReportsThatAFolderMayNotBeSearched) {
  (void)write("song.wav", "x");
  const WithoutPrivileges ordinary(folder_.path());
  std::filesystem::permissions(folder_.path(), std::filesystem::perms::none);
  EXPECT_EQ(examineFile(FileURL(path("song.wav"))).place, FilePlace::closedFolder);
  std::filesystem::permissions(folder_.path(), std::filesystem::perms::owner_all);
}

TEST_F(FileExamination, DoesNotFollowAPathThatTheSystemWouldCutShort) {
  (void)write("song.wav", "x");
  EXPECT_EQ(examineFile(FileURL(path("song.wav") + '\0' + ".flac")).place, FilePlace::notKnown);
}

}  // namespace
}  // namespace tolvane::test
