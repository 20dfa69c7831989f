#include "ui/playlist/PlaylistSaving.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <utility>

#include "platform/simulated/ManualRunLoop.h"
#include "session/PlaylistFile.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WithoutPrivileges.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class Saving : public testing::Test {
 protected:
  [[nodiscard]] ListToSave list(std::initializer_list<const char*> names) const {
    PlaylistTracks::Entries entries;
    for (const char* name : names) entries.push_back({entries.size() + 1, folder.write(name, "x")});
    return {.tracks = PlaylistTracks(std::move(entries)), .durations = {}};
  }
  void save(std::string_view name, ListToSave what, Replacing replacing = Replacing::allowed) {
    saving->save(folder.url(name), std::move(what), replacing);
  }
  /// Writes what was handed to the background, and lets its result arrive.
  void finish(std::size_t index = 0) {
    std::exchange(works.at(index), {})();
    runLoop.runUntilIdle();
  }
  [[nodiscard]] std::string textOf(std::string_view name) const {
    std::ifstream file(folder.path() / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  test::TemporaryFolder folder;
  ManualRunLoop runLoop;
  std::vector<BackgroundWork> works;
  std::vector<std::string> sentences;
  std::optional<PlaylistSaving> saving{std::in_place, runLoop,
                                       [this](BackgroundWork work) { works.push_back(std::move(work)); },
                                       [this](std::string sentence) { sentences.push_back(std::move(sentence)); }};
};

TEST_F(Saving, WritesAFileThatIsOpenedAsTheSameList) {
  ListToSave what = list({"b.wav", "sub/a.wav", "c.flac"});
  what.durations = {{folder.url("sub/a.wav"), 61.6}};
  save("List.m3u8", what);
  EXPECT_THAT(sentences, IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "List.m3u8")) << "the window's thread does not write";
  finish();
  EXPECT_THAT(sentences, ElementsAre("3 tracks saved in List.m3u8."));
  EXPECT_EQ(textOf("List.m3u8"), "#EXTM3U\nb.wav\n#EXTINF:62,a\nsub/a.wav\nc.flac\n");
  EXPECT_THAT(readPlaylistFile(folder.url("List.m3u8")),
              ElementsAre(folder.url("b.wav"), folder.url("sub/a.wav"), folder.url("c.flac")));
}

TEST_F(Saving, GivesTheFileAnExtensionButNeverReplacesOneThatTheUserWasNotAskedAbout) {
  save("List", list({"a.wav"}));
  finish(0);
  EXPECT_THAT(sentences, ElementsAre("1 track saved in List.m3u8."));
  save("List", list({"b.wav"}));
  finish(1);
  EXPECT_EQ(sentences.back(), "List.m3u8 was not saved: a file of that name is there already.");
  save("List.m3u8", list({"b.wav"}), Replacing::refused);
  finish(2);
  EXPECT_EQ(textOf("List.m3u8"), "#EXTM3U\na.wav\n");
  save("List.M3U8", list({"b.wav"}));
  finish(3);
  EXPECT_EQ(sentences.back(), "1 track saved in List.M3U8.");
  save("List.m3u8", list({"b.wav"}));
  finish(4);
  EXPECT_EQ(textOf("List.m3u8"), "#EXTM3U\nb.wav\n");
}

TEST_F(Saving, WritesTheNewestOfSeveralToOnePlaceLast) {
  save("List.m3u8", list({"a.wav"}));
  save("List.m3u8", list({"b.wav"}));
  save("List.m3u8", list({"b.wav", "c.wav"}));
  EXPECT_THAT(works, SizeIs(1)) << "the others wait, so that it cannot overtake them";
  finish(0);
  ASSERT_THAT(works, SizeIs(2));
  EXPECT_THAT(sentences, IsEmpty());
  finish(1);
  EXPECT_THAT(works, SizeIs(2));
  EXPECT_EQ(textOf("List.m3u8"), "#EXTM3U\nb.wav\nc.wav\n");
  EXPECT_THAT(sentences, ElementsAre("2 tracks saved in List.m3u8."));
}

TEST_F(Saving, DoesNotWaitForOneElsewhere) {
  save("Hanging.m3u8", list({"a.wav"}));
  save("List.m3u8", list({"b.wav"}));
  finish(1);
  EXPECT_THAT(sentences, ElementsAre("1 track saved in List.m3u8."));
  save("Other.m3u8", list({"c.wav"}));
  finish(2);
  finish(0);
  EXPECT_THAT(sentences, ElementsAre("1 track saved in List.m3u8.", "1 track saved in Other.m3u8.",
                                     "1 track saved in Hanging.m3u8."));
}

TEST_F(Saving, SaysWhyItFailedAndLeavesTheOldFile) {
  folder.write("List.m3u8", "old");
  auto what = list({"a.wav"});
  {
    const test::WithoutPrivileges ordinary(folder.path());
    std::filesystem::permissions(folder.path(), static_cast<std::filesystem::perms>(0555));
    save("List.m3u8", what);
    finish(0);
    std::filesystem::permissions(folder.path(), static_cast<std::filesystem::perms>(0755));
  }
  EXPECT_THAT(sentences, ElementsAre("List.m3u8 was not saved: nothing may be written to its folder."));
  EXPECT_EQ(textOf("List.m3u8"), "old");
  save("List.m3u8", what);
  finish(1);
  EXPECT_EQ(sentences.back(), "1 track saved in List.m3u8.") << "an error does not outlast its cause";
}

TEST_F(Saving, SaysThatTracksOfASheetAreSavedAsWholeFiles) {
  const std::string path = folder.write("a.flac", "x").path();
  PlaylistTracks::Entries entries{{1, FileURL(path, FileExcerpt{.end = 75, .title = "One"})},
                                  {2, FileURL(path, FileExcerpt{.first = 75, .title = "Two"})}};
  save("List.m3u8", {.tracks = PlaylistTracks(std::move(entries)), .durations = {}});
  finish();
  EXPECT_EQ(sentences.back(), "2 tracks saved in List.m3u8, those of CUE sheets as whole files.");
  EXPECT_EQ(textOf("List.m3u8"), "#EXTM3U\na.flac\n");
}

TEST_F(Saving, WritesNoSheet) {
  folder.write("album.cue", "sheet");
  save("album.cue", list({"a.wav"}));
  finish();
  EXPECT_EQ(sentences.back(), "1 track saved in album.cue.m3u8.");
  EXPECT_EQ(textOf("album.cue"), "sheet") << "another kind of text";
}

TEST_F(Saving, NamesEachCauseInPlainWords) {
  const FileURL file("/music/A\x1b.m3u8");
  int said = 0;
  for (const auto& [cause, words] : {std::pair{std::errc::no_space_on_device, "the disk is full"},
                                     {std::errc::permission_denied, "nothing may be written to its folder"},
                                     {std::errc::read_only_file_system, "its disk can only be read"},
                                     {std::errc::no_such_file_or_directory, "its folder does not exist"},
                                     {std::errc::file_exists, "a file of that name is there already"},
                                     {std::errc::is_a_directory, "a folder has that name"},
                                     {std::errc::file_too_large, "the list is too long for a file"},
                                     {std::errc::io_error, "Input/output error"}}) {
    EXPECT_EQ(savingOutcome(file, 3, false, make_error_code(cause)),
              std::string("A\uFFFD.m3u8 was not saved: ") + words + '.');
    ++said;
  }
  EXPECT_EQ(said, 8);
}

TEST_F(Saving, ThatOutlivesTheWindowIsHarmless) {
  save("List.m3u8", list({"a.wav"}));
  saving.reset();
  finish();
  EXPECT_THAT(sentences, IsEmpty());
  EXPECT_EQ(textOf("List.m3u8"), "#EXTM3U\na.wav\n");
}

}  // namespace
}  // namespace tolvane
