// Tags as other programs write them: flac, metaflac and lame.

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/tags/SystemMusicTags.h"
#include "tests/platform/tags/TagBytes.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane::test {
namespace {

/// The smallest picture there is: one black pixel.
ByteVector onePixel() {
  return Bytes()
      .append(pngBytes(""))
      .big(13, 4)
      .text("IHDR")
      .big(1, 4)
      .big(1, 4)
      .big(0x0800000000, 5)
      .big(0x3A7E9B55, 4)
      .big(10, 4)
      .text("IDAT")
      .append({std::byte{0x78}, std::byte{0x9C}, std::byte{0x63}, std::byte{0x60}, std::byte{0}, std::byte{0},
               std::byte{0}, std::byte{2}, std::byte{0}, std::byte{1}})
      .big(0x48AFA471, 4)
      .big(0, 4)
      .text("IEND")
      .big(0xAE426082, 4)
      .all();
}

class TagsOfEncoders : public testing::Test {
 protected:
  void run(const std::string& command) const {
    const std::string line = "cd '" + folder.path().string() + "' && " + command + " >log 2>&1";
    ASSERT_EQ(std::system(line.c_str()), 0) << command;  // NOLINT(cert-env33-c): the test's own command
  }
  void expectEverything(const char* file) const {
    const SystemMusicTags reader;
    EXPECT_EQ(reader.tags(folder.url(file), {}),
              (MusicTags{.title = "Äther 音", .artist = "Ilse Brandt", .album = "Slow Water", .trackNumber = 6}));
    const auto cover = reader.cover(folder.url(file), {});
    ASSERT_TRUE(cover);
    EXPECT_EQ(cover->bytes, onePixel());
  }

  TemporaryFolder folder;
  FileURL wav = folder.write(
      "a.wav", WavFile().format(1, 2, 44100, 4, 16).chunk("data", ByteVector(44100, std::byte{0})).bytes());
  FileURL picture = folder.write("sleeve.png", onePixel());
};

TEST_F(TagsOfEncoders, FlacWritesWhatIsRead) {
  run("flac -f -T 'TITLE=Äther 音' -T 'ARTIST=Ilse Brandt' -T 'ALBUM=Slow Water' -T TRACKNUMBER=6 a.wav -o a.flac");
  run("metaflac --import-picture-from=sleeve.png a.flac");
  expectEverything("a.flac");
}

TEST_F(TagsOfEncoders, LameWritesWhatIsRead) {
  run("LC_ALL=C.UTF-8 lame --quiet --id3v2-only --id3v2-utf16 --tt 'Äther 音' --ta 'Ilse Brandt' --tl 'Slow Water' "
      "--tn 6/12 "
      "--ti sleeve.png a.wav a.mp3");
  expectEverything("a.mp3");
}

TEST_F(TagsOfEncoders, ID3OfTheFirstVersionIsRead) {
  run("lame --quiet --id3v1-only --tt Vespers --ta 'Ilse Brandt' --tl 'Slow Water' --tn 6 a.wav b.mp3");
  EXPECT_EQ(SystemMusicTags().tags(folder.url("b.mp3"), {}),
            (MusicTags{.title = "Vespers", .artist = "Ilse Brandt", .album = "Slow Water", .trackNumber = 6}));
}

TEST_F(TagsOfEncoders, TracksOfASheetHaveWhatTheSheetStates) {
  run("lame --quiet --id3v1-only --tt Vespers --ta 'Ilse Brandt' --tl 'Slow Water' --tn 6 a.wav b.mp3");
  const auto tagsOf = [&](const FileExcerpt& excerpt) {
    return SystemMusicTags().tags(FileURL(folder.url("b.mp3").path(), excerpt), {});
  };
  EXPECT_EQ(tagsOf({.end = 75, .title = "One", .artist = "Trio", .album = "Evening", .trackNumber = 1}),
            (MusicTags{.title = "One", .artist = "Trio", .album = "Evening", .trackNumber = 1}));
  EXPECT_EQ(tagsOf({.end = 75, .title = "One"}),
            (MusicTags{.title = "One", .artist = "Ilse Brandt", .album = "Slow Water", .trackNumber = {}}))
      << "the file's number is not that of a part";
  EXPECT_EQ(tagsOf({.title = "One", .artist = "Trio"}),
            (MusicTags{.title = "One", .artist = "Ilse Brandt", .album = "Slow Water", .trackNumber = 6}))
      << "a file that is the whole track keeps its artist and its number";
  EXPECT_EQ(tagsOf({.first = 75}).title, "") << "the file's title is not that of a part";
  EXPECT_EQ(tagsOf({}).title, "Vespers") << "but that of the whole";
  EXPECT_EQ(SystemMusicTags().tags(FileURL("/missing.mp3", FileExcerpt{.title = "One"}), {}).title, "One");
}

}  // namespace
}  // namespace tolvane::test
