#include "ui/MusicStore.h"

#include <gmock/gmock.h>

#include <string>

#include "platform/simulated/ManualRunLoop.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

FileURL song(int number) { return FileURL("/music/" + std::to_string(number) + ".flac"); }

class Music : public testing::Test {
 protected:
  /// Lets the background do what it was asked for so far, one after the other.
  void work() {
    for (const auto& task : std::exchange(tasks, {})) task();
    runLoop.runUntilIdle();
  }
  [[nodiscard]] std::string title(int number) const {
    const MusicTags* tags = store->tags(song(number));
    return tags != nullptr ? tags->title : "unknown";
  }
  [[nodiscard]] MusicStore::Source source() {
    return {.tags = [this](const FileURL& url, const std::stop_token& stop) -> MusicTags {
              read.emplace_back(url.stem());
              if (whileReading) whileReading();
              if (stop.stop_requested()) return {};
              return {.title = "Title " + std::string(url.stem()), .artist = {}, .album = {}, .trackNumber = {}};
            },
            .cover = [this](const FileURL& url, const std::stop_token&) -> std::optional<Cover> {
              coversRead.emplace_back(url.stem());
              const auto found = covers.find(url);
              return found != covers.end() ? std::optional(found->second) : std::nullopt;
            },
            .background = [this](BackgroundWork task) { tasks.push_back(std::move(task)); }};
  }
  static Cover cover(int number) { return {Cover::Format::png, {static_cast<std::byte>(number)}, std::nullopt}; }

  ManualRunLoop runLoop;
  std::vector<BackgroundWork> tasks;
  std::vector<std::string> read;
  std::vector<std::string> coversRead;
  std::map<FileURL, Cover> covers;
  std::function<void()> whileReading;
  std::optional<MusicStore> store{std::in_place, runLoop, source()};
};

TEST_F(Music, IsKnownOnceTheBackgroundHasReadIt) {
  std::vector<FileURL> announced;
  const auto subscription = store->onChange([&](const FileURL& url) { announced.push_back(url); });
  store->load(song(1));
  EXPECT_EQ(title(1), "unknown");
  tasks.at(0)();
  EXPECT_EQ(title(1), "unknown") << "before a turn of the window's thread";
  runLoop.runUntilIdle();
  EXPECT_EQ(title(1), "Title 1");
  EXPECT_THAT(announced, ElementsAre(song(1)));
}

TEST_F(Music, OfASheetIsKnownWithoutAReader) {
  MusicStore unread(runLoop, {});
  const FileURL part("/music/a.flac", FileExcerpt{.end = 75, .title = "One", .artist = "Trio"});
  unread.load(part);
  ASSERT_NE(unread.tags(part), nullptr);
  EXPECT_EQ(unread.tags(part)->title, "One");
  EXPECT_EQ(unread.tags(part)->artist, "Trio");
}

TEST_F(Music, IsReadOnce) {
  store->load(song(1));
  store->load(song(1));
  work();
  store->load(song(1));
  work();
  EXPECT_THAT(read, ElementsAre("1"));
}

TEST_F(Music, ThatWasAskedForLastIsReadFirst) {
  for (int number = 1; number <= 4; ++number) store->load(song(number));
  work();
  EXPECT_THAT(read, ElementsAre("4", "3", "2", "1"));
}

TEST_F(Music, OfTheCurrentTrackIsReadBeforeAllOthers) {
  store->load(song(1));
  store->load(song(2));
  store->setCurrent(song(1));
  store->load(song(3));
  work();
  EXPECT_THAT(read, ElementsAre("1", "3", "2"));
}

TEST_F(Music, ThatHasWaitedTooLongIsLeftOutUntilItIsAskedForAgain) {
  constexpr int many = 100'000;
  for (int number = 1; number <= many; ++number) store->load(song(number));
  work();
  EXPECT_THAT(read, SizeIs(MusicStore::mostWaiting));
  EXPECT_EQ(read.front(), std::to_string(many));
  EXPECT_EQ(title(1), "unknown");
  store->load(song(1));
  work();
  EXPECT_EQ(title(1), "Title 1");
}

TEST_F(Music, IsForgottenWhenMuchElseHasBeenRead) {
  store->setCurrent(song(0));
  work();
  for (int number = 1; number <= static_cast<int>(MusicStore::mostKnown) + 10; ++number) {
    store->load(song(number));
    work();
  }
  EXPECT_THAT(store->known(), SizeIs(MusicStore::mostKnown));
  EXPECT_EQ(title(0), "Title 0") << "of what plays";
  EXPECT_EQ(title(1), "unknown");
}

TEST_F(Music, IsReadByAnotherThreadWhereOneHangs) {
  store->load(song(1));
  store->load(song(2));
  whileReading = [this] {
    whileReading = nullptr;
    tasks.at(1)();  // while the first one waits for its disk
    runLoop.runUntilIdle();
    EXPECT_EQ(title(1), "Title 1");
  };
  tasks.at(0)();
  runLoop.runUntilIdle();
  EXPECT_EQ(title(2), "Title 2");
}

TEST_F(Music, OfAnotherListIsDropped) {
  store->load(song(1));
  store->load(song(2));
  whileReading = [this] { store->clear(); };
  work();
  EXPECT_THAT(read, ElementsAre("2")) << "what had not begun";
  EXPECT_EQ(title(2), "unknown") << "what was under way";
  whileReading = nullptr;
  store->load(song(2));
  work();
  EXPECT_EQ(title(2), "Title 2");
}

TEST_F(Music, OfAStoreThatHasGoneGoesNowhere) {
  store->load(song(1));
  store->setCurrent(song(2));
  whileReading = [this] { store.reset(); };
  work();
  EXPECT_THAT(read, SizeIs(1));
  EXPECT_THAT(coversRead, IsEmpty());
}

TEST_F(Music, WithoutASourceNothingIsStated) {
  store.emplace(runLoop, MusicStore::Source{});
  store->setCurrent(song(1));
  ASSERT_NE(store->tags(song(1)), nullptr);
  EXPECT_EQ(*store->tags(song(1)), MusicTags());
  EXPECT_EQ(store->cover(), nullptr);
}

TEST_F(Music, HasTheCoverOfTheCurrentTrackOnly) {
  covers = {{song(1), cover(1)}};
  int announced = 0;
  const auto subscription = store->onCoverChange([&] { ++announced; });
  store->load(song(3));
  work();
  EXPECT_THAT(coversRead, IsEmpty());
  store->setCurrent(song(1));
  EXPECT_EQ(store->cover(), nullptr);
  work();
  ASSERT_NE(store->cover(), nullptr);
  EXPECT_EQ(*store->cover(), cover(1));
  EXPECT_EQ(announced, 1);
  store->setCurrent(std::nullopt);
  EXPECT_EQ(store->cover(), nullptr);
  EXPECT_EQ(announced, 2);
}

TEST_F(Music, KeepsTheSameCoverWithinAFolder) {
  covers = {{song(1), cover(1)}, {song(2), cover(1)}};
  store->setCurrent(song(1));
  work();
  const auto before = store->cover();
  store->setCurrent(song(2));
  EXPECT_EQ(store->cover(), before) << "until its own is known";
  work();
  EXPECT_EQ(store->cover(), before) << "the same picture";
  store->setCurrent(song(3));
  work();
  EXPECT_EQ(store->cover(), nullptr);
  store->setCurrent(song(1));
  work();
  store->setCurrent(FileURL("/elsewhere/1.flac"));
  EXPECT_EQ(store->cover(), nullptr) << "another folder, another cover";
}

TEST_F(Music, ReadsNoCoverOfATrackThatHasBeenPassed) {
  covers = {{song(1), cover(1)}, {song(3), cover(3)}};
  for (int number = 1; number <= 3; ++number) store->setCurrent(song(number));
  work();
  EXPECT_THAT(coversRead, ElementsAre("3"));
  EXPECT_EQ(*store->cover(), cover(3));
}

}  // namespace
}  // namespace tolvane
