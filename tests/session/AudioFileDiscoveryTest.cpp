#include "session/AudioFileDiscovery.h"

#include <gmock/gmock.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <string>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/WithoutPrivileges.h"

namespace tolvane {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class AudioFileDiscovery : public testing::Test {
 protected:
  FileURL file(std::string_view name) { return folder.write(name, "x"); }

  /// Paths below the test's folder.
  [[nodiscard]] std::vector<std::string> found(const std::vector<FileURL>& urls) const {
    std::vector<std::string> names;
    for (const auto& url : collectSupportedAudioFiles(urls)) names.push_back(relative(url));
    return names;
  }
  [[nodiscard]] std::vector<std::string> foundInFolder() const { return found({FileURL(folder.path().string())}); }
  [[nodiscard]] std::string relative(const FileURL& url) const {
    return url.path().substr(folder.path().string().size() + 1);
  }

  test::TemporaryFolder folder;
};

TEST_F(AudioFileDiscovery, FindsTheSupportedFilesOfAFolderInPlainOrder) {
  for (const auto name : {"b.wav", "A.mp3", "a.flac", "notes.txt", "c.aif", "d.aiff"}) file(name);
  EXPECT_THAT(foundInFolder(), ElementsAre("A.mp3", "a.flac", "b.wav", "c.aif", "d.aiff"));
}

TEST_F(AudioFileDiscovery, TakesExtensionsInUpperCaseAndNoOthers) {
  for (const auto name : {"one.WAV", "two.Flac", "three.m4a", "four.ogg", "flac", "five.", ".wav", "six.wav.bak"})
    file(name);
  EXPECT_THAT(foundInFolder(), ElementsAre("one.WAV", "two.Flac"));
}

TEST_F(AudioFileDiscovery, SortsDigitsAsTextAndUpperCaseFirst) {
  for (const auto name : {"Track 2.flac", "Track 10.flac", "a.wav", "Z.wav"}) file(name);
  EXPECT_THAT(foundInFolder(), ElementsAre("Track 10.flac", "Track 2.flac", "Z.wav", "a.wav"));
}

TEST_F(AudioFileDiscovery, SortsByFileNameAcrossAllFoldersThenByPath) {
  for (const auto name : {"y/01.wav", "x/01.wav", "y/02.wav", "x/03.wav", "x/deeper/and/deeper/02.wav"}) file(name);
  EXPECT_THAT(foundInFolder(),
              ElementsAre("x/01.wav", "y/01.wav", "x/deeper/and/deeper/02.wav", "y/02.wav", "x/03.wav"));
}

TEST_F(AudioFileDiscovery, NamesAreComparedAfterCanonicalComposition) {
  file("e\xCC\x81.wav");  // e and a combining accent: composed, it is é (U+00E9), behind f and z
  file("f.wav");
  EXPECT_THAT(foundInFolder(), ElementsAre("f.wav", "e\xCC\x81.wav"));
}

TEST_F(AudioFileDiscovery, OfTwoSpellingsOfOnePathTheFirstIsKept) {
  const auto composed = file("\xC3\xA9.wav");
  const auto decomposed = file("e\xCC\x81.wav");
  EXPECT_THAT(found({decomposed, composed}), ElementsAre(relative(decomposed)));
  EXPECT_THAT(found({composed, decomposed}), ElementsAre(relative(composed)));
}

TEST_F(AudioFileDiscovery, AFoldersSpellingCountsForAllItsFiles) {
  const std::vector decomposed{file("e\xCC\x81/a.wav"), file("e\xCC\x81/\xC3\xA9.wav"),
                               file("e\xCC\x81/o\xCC\x88.wav")};
  const std::vector composed{file("\xC3\xA9/a.wav"), file("\xC3\xA9/\xC3\xA9.wav"), file("\xC3\xA9/\xC3\xB6.wav")};
  for (std::size_t i = 0; i < composed.size(); ++i) {
    EXPECT_THAT(found({decomposed[i], composed[i]}), ElementsAre(relative(decomposed[i])));
    EXPECT_THAT(found({composed[i], folder.url("e\xCC\x81")}), testing::SizeIs(composed.size()));
  }
}

TEST(Names, WhoseSpellingsAreCanonicallyTheSameAreOne) {
  struct Spellings {
    const char* one;
    const char* other;
    bool isSame;
  };
  const std::vector<Spellings> table{
      {"\xCB\xBF", "\xCC\x80", false},                     // U+02FF and U+0300: on both sides of the first mark
      {"\xCD\x80", "\xCC\x80", true},                      // U+0340 is another U+0300
      {"\xE2\x84\xAB", "\xC3\x85", true},                  // the Angstrom sign is A with a ring
      {"\xE1\x84\x80\xE1\x85\xA1", "\xEA\xB0\x80", true},  // a Hangul syllable and its two letters
      {"\xE3\x81\x8B\xE3\x82\x99", "\xE3\x81\x8C", true},  // a kana and its voicing mark
      {"q\xCC\x87\xCC\xA3", "q\xCC\xA3\xCC\x87", true},    // marks above and below, in either order
      {"\xC3", "\xC3\xA9", false},                         // not UTF-8
      {"\xCC\x81\xFF", "\xCD\x81\xFF", false},             // not UTF-8: as it is, though U+0341 is U+0301
      {"\xEF\xAC\x81", "fi", false},                       // a ligature is another text
  };
  for (const auto& [one, other, isSame] : table) {
    const std::vector urls{FileURL("/" + std::string(one) + ".wav"), FileURL("/" + std::string(other) + ".wav")};
    EXPECT_EQ(sortedSupportedAudioFiles(urls).size(), isSame ? 1U : 2U) << one << " " << other;
  }
}

TEST_F(AudioFileDiscovery, NamesThatAreNotUtf8AreFoundAsTheyAre) {
  file("\xFF\xFE.wav");
  EXPECT_THAT(foundInFolder(), ElementsAre("\xFF\xFE.wav"));
}

TEST_F(AudioFileDiscovery, AFolderThatIsNotUtf8DoesNotChangeTheOrderOfItsFiles) {
  file("\xFF/e\xCC\x81.wav");
  file("\xFF/f.wav");
  EXPECT_THAT(foundInFolder(), ElementsAre("\xFF/f.wav", "\xFF/e\xCC\x81.wav"));
}

TEST_F(AudioFileDiscovery, ANameIsBeforeTheLongerOnesThatBeginWithIt) {
  for (const auto name : {"longbegin.wav", "longbegi.wav", "longbeg.wav", "longbeginning.wav", "l.wav", "lo.wav"})
    file(name);
  EXPECT_THAT(foundInFolder(),
              ElementsAre("l.wav", "lo.wav", "longbeg.wav", "longbegi.wav", "longbegin.wav", "longbeginning.wav"));
}

TEST_F(AudioFileDiscovery, OfTwoSpellingsInOneFolderTheSameIsKeptEveryTime) {
  file("\xC3\xA9/\xC3\xA9.wav");
  file("\xC3\xA9/e\xCC\x81.wav");
  file("e\xCC\x81/\xC3\xA9.wav");
  EXPECT_THAT(foundInFolder(), ElementsAre("e\xCC\x81/\xC3\xA9.wav"));
}

TEST_F(AudioFileDiscovery, NamesMayHoldLineBreaksAndBeAsLongAsNamesCanBe) {
  const std::string longest = std::string(251, 'n') + ".wav";
  file(longest);
  file("a\nb.wav");
  EXPECT_THAT(foundInFolder(), ElementsAre("a\nb.wav", longest));
}

TEST_F(AudioFileDiscovery, AFileGivenTwiceAppearsOnce) {
  const auto url = file("sub/one.wav");
  EXPECT_THAT(found({url, FileURL(folder.path().string()), url}), ElementsAre("sub/one.wav"));
  EXPECT_THAT(found({url, folder.url("sub/../sub/./one.wav"), folder.url("sub//one.wav")}), ElementsAre("sub/one.wav"));
}

/// Counts how often a folder is opened while it lives.
class OpenedFolder {
 public:
  explicit OpenedFolder(const fs::path& folder) {
    // With each close in between, the system does not make one of two openings.
    EXPECT_GE(::inotify_add_watch(descriptor_, folder.c_str(), IN_OPEN | IN_CLOSE | IN_ONLYDIR), 0);
  }
  ~OpenedFolder() { ::close(descriptor_); }
  OpenedFolder(const OpenedFolder&) = delete;
  OpenedFolder& operator=(const OpenedFolder&) = delete;

  [[nodiscard]] int times() const {
    alignas(inotify_event) std::array<char, 4096> buffer;
    int count = 0;
    for (ssize_t size = 0; (size = ::read(descriptor_, buffer.data(), buffer.size())) > 0;) {
      for (ssize_t at = 0; at < size;) {
        inotify_event event{};
        std::memcpy(&event, buffer.data() + at, sizeof event);
        if (event.len == 0 && (event.mask & IN_OPEN) != 0) ++count;
        at += static_cast<ssize_t>(sizeof event + event.len);
      }
    }
    return count;
  }

 private:
  const int descriptor_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
};

TEST_F(AudioFileDiscovery, AFolderGivenTwiceIsReadOnce) {
  file("sub/one.wav");
  const OpenedFolder sub(folder.path() / "sub");
  EXPECT_THAT(found({folder.url("sub"), folder.url("sub/"), folder.url("sub/../sub"), folder.url("sub")}),
              ElementsAre("sub/one.wav"));
  EXPECT_EQ(sub.times(), 1);
}

TEST_F(AudioFileDiscovery, HiddenFilesAreTakenOnlyWhenGiven) {
  const auto hidden = file(".hidden.wav");
  file(".folder/inside.wav");
  EXPECT_THAT(foundInFolder(), IsEmpty());
  EXPECT_THAT(found({hidden}), ElementsAre(".hidden.wav"));
  EXPECT_THAT(found({folder.url(".folder")}), ElementsAre(".folder/inside.wav"));
}

TEST_F(AudioFileDiscovery, LinksInsideAFolderAreNeverFollowed) {
  file("real/one.wav");
  fs::create_directory_symlink("real", folder.path() / "linked");
  fs::create_symlink("real/one.wav", folder.path() / "linked.wav");
  fs::create_directory_symlink(".", folder.path() / "real/loop");
  EXPECT_THAT(foundInFolder(), ElementsAre("real/one.wav"));
}

TEST_F(AudioFileDiscovery, ALinkGivenIsTakenAsAFileAndNeverAsAFolder) {
  file("real/one.wav");
  fs::create_symlink("real/one.wav", folder.path() / "linked.wav");
  fs::create_directory_symlink("real", folder.path() / "linked");
  EXPECT_THAT(found({folder.url("linked.wav")}), ElementsAre("linked.wav"));
  for (const auto* name : {"linked", "linked/", "linked//", "linked/.", "linked/./"})
    EXPECT_THAT(found({folder.url(name)}), IsEmpty()) << name;
}

TEST_F(AudioFileDiscovery, AStepBackFromALinkLeadsToWhereTheSystemGoes) {
  file("far/album/one.wav");
  file("far/two.wav");
  file("two.wav");
  fs::create_directory_symlink("far/album", folder.path() / "linked");
  EXPECT_THAT(found({folder.url("linked/../two.wav")}), ElementsAre("linked/../two.wav"))
      << "not the one in our folder";
  EXPECT_THAT(found({folder.url("linked/../one.wav")}), IsEmpty()) << "there is none";
  EXPECT_THAT(found({folder.url("linked/..")}), ElementsAre("linked/../album/one.wav", "linked/../two.wav"));
  EXPECT_THAT(found({folder.url("far/album/../two.wav")}), ElementsAre("far/two.wav"));
  EXPECT_THAT(found({folder.url("linked/./one.wav")}), ElementsAre("linked/one.wav"));
  EXPECT_THAT(found({folder.url("none/../two.wav")}), IsEmpty());
}

TEST_F(AudioFileDiscovery, WhatIsNoRegularFileIsLeftOut) {
  fs::create_directory(folder.path() / "folder.wav");
  ASSERT_EQ(::mkfifo((folder.path() / "pipe.wav").c_str(), 0600), 0);
  EXPECT_THAT(foundInFolder(), IsEmpty());
  EXPECT_THAT(found({folder.url("pipe.wav"), FileURL("/dev/null")}), IsEmpty());
}

TEST_F(AudioFileDiscovery, AFolderNamedLikeATrackIsSearched) {
  file("folder.wav/one.wav");
  EXPECT_THAT(foundInFolder(), ElementsAre("folder.wav/one.wav"));
}

TEST_F(AudioFileDiscovery, WhatCannotBeReadIsSkippedAndTheSearchGoesOn) {
  const auto one = file("one.wav");
  EXPECT_THAT(found({FileURL("/does/not/exist"), FileURL("/does/not/exist.wav"), FileURL(""), one}),
              ElementsAre("one.wav"));
}

/// Few files can be open at once while this lives.
class FewDescriptors {
 public:
  explicit FewDescriptors(rlim_t count) {
    ::getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit few{count, before_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &few);
  }
  ~FewDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
  FewDescriptors(const FewDescriptors&) = delete;
  FewDescriptors& operator=(const FewDescriptors&) = delete;

 private:
  rlimit before_{};
};

TEST_F(AudioFileDiscovery, ATreeMayBeDeeperThanFilesCanBeOpen) {
  std::string name;
  for (int i = 0; i < 100; ++i) name += "d/";
  name += "one.wav";
  file(name);
  const FewDescriptors limit(50);
  EXPECT_THAT(foundInFolder(), ElementsAre(name));
}

TEST_F(AudioFileDiscovery, AnUnreadableFolderIsSkippedAndTheSearchGoesOn) {
  file("one/1.wav");
  file("shut/2.wav");
  file("two/3.wav");
  std::string tooLong;
  for (int i = 0; i < 20; ++i) tooLong += "/" + std::string(250, 'd');
  EXPECT_THAT(
      found({folder.url("one"), FileURL(folder.path().string() + tooLong), FileURL("/proc/1/none"), folder.url("two")}),
      ElementsAre("one/1.wav", "two/3.wav"));
  const test::WithoutPrivileges user(folder.path());
  fs::permissions(folder.path() / "shut", fs::perms::none);
  EXPECT_THAT(foundInFolder(), ElementsAre("one/1.wav", "two/3.wav"));
  fs::permissions(folder.path() / "shut", fs::perms::owner_all);
}

TEST_F(AudioFileDiscovery, NothingGivenIsNothingFound) {
  EXPECT_THAT(found({}), IsEmpty());
  EXPECT_THAT(foundInFolder(), IsEmpty());
}

TEST_F(AudioFileDiscovery, AStoppedSearchEnds) {
  file("one.wav");
  std::stop_source stop;
  stop.request_stop();
  const std::vector urls{FileURL(folder.path().string())};
  EXPECT_THAT(collectSupportedAudioFiles(urls, stop.get_token()), IsEmpty());
}

TEST(ChosenFiles, AreSortedByNameAloneAndOnlyTheSupportedOnes) {
  const std::vector urls{FileURL("/z/b.wav"), FileURL("/y/a.mp3"), FileURL("/x/notes.txt"),
                         FileURL("/x/b.wav"), FileURL("/z/b.wav"), FileURL("/x/B.wav")};
  EXPECT_THAT(sortedSupportedAudioFiles(urls),
              ElementsAre(FileURL("/x/B.wav"), FileURL("/y/a.mp3"), FileURL("/z/b.wav"), FileURL("/x/b.wav")));
}

}  // namespace
}  // namespace tolvane
