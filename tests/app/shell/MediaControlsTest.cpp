#include "app/shell/MediaControls.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "tests/session/SessionFixture.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t second = 1'000'000;  // in microseconds
constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
constexpr auto highest = std::numeric_limits<std::int64_t>::max();

class Controls : public ProxyFixture {
 protected:
  Controls() {
    controls->onStateChange([this](const MediaState&, const MediaState& now) { announced.push_back(now); });
    controls->onSeeked([this](std::int64_t position) { seeked.push_back(position); });
  }

  /// Three tracks of ten seconds, of which the first plays.
  void playThreeTracks() {
    load(3);
    controls->play();
    settle();
    announced.clear();
    seeked.clear();
  }
  [[nodiscard]] MediaStatus status() {
    settle();
    return controls->state().status;
  }
  /// Forgets what is known by now.
  void forget() {
    settle();
    announced.clear();
    seeked.clear();
  }

  std::vector<MediaState> announced;
  std::vector<std::int64_t> seeked;
  std::vector<FileURL> opened;
  std::optional<MediaControls> controls{std::in_place, proxy, runLoop, [this](const FileURL& url, const auto& answer) {
                                          if (url.stem() == "missing") return answer(false);
                                          opened.push_back(url);
                                          answer(true);
                                        }};

  /// The sentence with which it is refused; empty when it is opened.
  std::string refusal(std::string_view uri) {
    std::string sentence = "no answer";
    controls->openURI(uri, [&](const auto& result) { sentence = result ? "" : result.error(); });
    return sentence;
  }
};

TEST_F(Controls, ShowAStoppedPlayerWithoutATrack) { EXPECT_EQ(controls->state(), MediaState{}); }

TEST_F(Controls, DescribeTheCurrentTrack) {
  playThreeTracks();
  const auto state = controls->state();
  EXPECT_EQ(state.status, MediaStatus::playing);
  EXPECT_EQ(state.title, "1");
  EXPECT_EQ(state.url, "file:///music/1.wav");
  EXPECT_EQ(state.length, 10 * second);
  EXPECT_TRUE(state.hasTrack());
  EXPECT_TRUE(state.canGoNext);
  EXPECT_TRUE(state.canSeek);
}

TEST_F(Controls, DescribeTheTrackOfASheet) {
  addTrack(1);
  const FileURL part(track(1).path(), FileExcerpt{.first = 150, .end = 375, .title = "Interlude"});
  const std::vector urls{part};
  session.loadPlaylist(urls, true);
  settle();
  const auto state = controls->state();
  EXPECT_EQ(state.title, "Interlude");
  EXPECT_EQ(state.url, "file:///music/1.wav") << "where other programs find it";
  EXPECT_EQ(state.length, 3 * second);
}

TEST_F(Controls, DescribeTheMusicOnceItIsKnown) {
  MediaMusic music;
  controls->setMusic([&](const FileURL& url) { return url.stem() == "1" ? music : MediaMusic(); });
  playThreeTracks();
  EXPECT_EQ(controls->state().title, "1") << "the file's name, as long as nothing else is known";
  music = {{.title = "Vespers", .artist = "Ilse Brandt", .album = "Slow Water", .trackNumber = 6}, "file:///cover.jpg"};
  controls->musicHasChanged();
  controls->musicHasChanged();
  settle();
  ASSERT_EQ(announced.size(), 1U);
  EXPECT_EQ(announced[0].title, "Vespers");
  EXPECT_EQ(announced[0].music, music);
  controls->musicHasChanged();
  settle();
  EXPECT_EQ(announced.size(), 1U) << "nothing is another than before";
  EXPECT_THAT(seeked, IsEmpty());
}

TEST_F(Controls, AnnounceTheChangesOfOneOperationAsOne) {
  load(3);
  forget();
  session.playTrack(1, 0);
  EXPECT_THAT(announced, IsEmpty()) << "no notification halfway through an operation";
  settle();
  ASSERT_EQ(announced.size(), 1U);
  EXPECT_EQ(announced[0].title, "2");
  EXPECT_EQ(announced[0].status, MediaStatus::playing);
}

TEST_F(Controls, AnnounceNothingWhileTimeGoesOn) {
  playThreeTracks();
  advance(3);
  EXPECT_THAT(announced, IsEmpty());
  EXPECT_THAT(seeked, IsEmpty());
}

TEST_F(Controls, KnowThePositionBetweenTwoUpdates) {
  playThreeTracks();
  advance(1.234);
  EXPECT_EQ(controls->position(), 1'234'000);
}

TEST_F(Controls, PlayOnlyWhatDoesNotPlay) {
  playThreeTracks();
  controls->play();
  EXPECT_EQ(status(), MediaStatus::playing);
  controls->pause();
  EXPECT_EQ(status(), MediaStatus::paused);
  controls->pause();
  EXPECT_EQ(status(), MediaStatus::paused);
  controls->play();
  EXPECT_EQ(status(), MediaStatus::playing);
  controls->playPause();
  EXPECT_EQ(status(), MediaStatus::paused);
}

TEST_F(Controls, GoOnWherePausedAndBeginAnewWhereStopped) {
  playThreeTracks();
  advance(4);
  controls->pause();
  controls->play();
  EXPECT_EQ(controls->position(), 4 * second);
  controls->stop();
  EXPECT_EQ(status(), MediaStatus::stopped);
  controls->play();
  EXPECT_EQ(controls->position(), 0);
}

TEST_F(Controls, DoNothingWithoutATrack) {
  controls->play();
  controls->playPause();
  controls->pause();
  controls->stop();
  controls->next();
  controls->previous();
  controls->seek(second);
  controls->setPosition(1, 0);
  settle();
  EXPECT_EQ(controls->state(), MediaState{});
}

TEST_F(Controls, ReachTheNeighbouringTracks) {
  playThreeTracks();
  controls->next();
  controls->next();
  settle();
  EXPECT_EQ(index(), 2);
  controls->next();
  settle();
  EXPECT_EQ(index(), 2) << "there is no track behind the last one";
  EXPECT_TRUE(isPlaying());
  controls->previous();
  settle();
  EXPECT_EQ(index(), 1);
}

TEST_F(Controls, SeekForwardAndBackAndAnnounceIt) {
  playThreeTracks();
  advance(5);
  controls->seek(2 * second);
  EXPECT_EQ(controls->position(), 7 * second);
  settle();
  EXPECT_THAT(seeked, ElementsAre(7 * second));
  controls->seek(-3 * second);
  settle();
  EXPECT_THAT(seeked, ElementsAre(7 * second, 4 * second));
}

TEST_F(Controls, SeekBackToTheBeginningAtMost) {
  playThreeTracks();
  advance(5);
  controls->seek(lowest);
  EXPECT_EQ(controls->position(), 0);
  EXPECT_EQ(index(), 0);
}

TEST_F(Controls, TakeASeekBeyondTheEndForNext) {
  playThreeTracks();
  controls->seek(highest);
  settle();
  EXPECT_EQ(index(), 1);
  EXPECT_EQ(controls->position(), 0);
}

TEST_F(Controls, StayPausedWhenSeekingWithoutASound) {
  playThreeTracks();
  controls->pause();
  hardware.failNext(UnitStage::start, kAudioHardwareUnspecifiedError);  // an attempt to start the device now fails
  controls->seek(3 * second);
  EXPECT_EQ(status(), MediaStatus::paused);
  EXPECT_EQ(controls->position(), 3 * second);
  EXPECT_THAT(seeked, ElementsAre(3 * second));
}

TEST_F(Controls, SetThePositionOfTheCurrentTrackOnly) {
  playThreeTracks();
  const auto first = controls->state().trackID;
  controls->setPosition(first, 10 * second);
  EXPECT_EQ(controls->position(), 10 * second) << "the end belongs to the track";
  controls->setPosition(first, 6 * second);
  EXPECT_EQ(controls->position(), 6 * second);
  for (const auto outside : {lowest, std::int64_t{-1}, 10 * second + 1, highest}) {
    controls->setPosition(first, outside);
    EXPECT_EQ(controls->position(), 6 * second) << outside;
  }
  controls->next();
  controls->setPosition(first, 2 * second);
  EXPECT_EQ(controls->position(), 0) << "the track has gone";
}

TEST_F(Controls, CannotSeekInWhatIsNotLoaded) {
  load(2);
  settle();
  EXPECT_FALSE(controls->state().canSeek);
  controls->setPosition(controls->state().trackID, 0);
  EXPECT_EQ(status(), MediaStatus::stopped);
}

TEST_F(Controls, AnnounceASeekThatTheUserMakesInTheWindow) {
  playThreeTracks();
  advance(1);
  session.playTrack(0, 0.5);
  settle();
  EXPECT_THAT(seeked, ElementsAre(5 * second));
}

TEST_F(Controls, DoNotTakeATrackThatBeginsForASeek) {
  playThreeTracks();
  advance(4);
  controls->next();
  settle();
  playToTheEnd();
  settle();
  EXPECT_EQ(index(), 2);
  EXPECT_THAT(seeked, IsEmpty());
}

TEST_F(Controls, DoNotTakeAPauseForASeek) {
  playThreeTracks();
  advance(4);
  controls->pause();
  advance(5);
  controls->play();
  advance(1);
  EXPECT_THAT(seeked, IsEmpty());
}

TEST_F(Controls, AnnounceATrackThatBeginsElsewhere) {
  load(2);
  forget();
  session.playTrack(1, 0.25);
  settle();
  EXPECT_THAT(seeked, ElementsAre(2'500'000));
}

TEST_F(Controls, SetTheVolumeWithinItsRange) {
  controls->setVolume(0.5);
  EXPECT_EQ(state().outputVolume, 0.5);
  controls->setVolume(7);
  EXPECT_EQ(state().outputVolume, 1);
  controls->setVolume(-1);
  EXPECT_EQ(state().outputVolume, 0);
  settle();
  ASSERT_EQ(announced.size(), 1U);
  EXPECT_EQ(announced[0].volume, 0);
}

TEST_F(Controls, IgnoreVolumesThatAreNoNumbers) {
  controls->setVolume(0.5);
  for (const double volume : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
    controls->setVolume(volume);
    EXPECT_EQ(state().outputVolume, 0.5);
  }
}

TEST_F(Controls, TakeARateOfZeroForPauseAndIgnoreTheOthers) {
  playThreeTracks();
  for (const double rate : {2.0, -1.0, std::nan(""), HUGE_VAL}) controls->setRate(rate);
  EXPECT_EQ(status(), MediaStatus::playing);
  controls->setRate(0);
  EXPECT_EQ(status(), MediaStatus::paused);
}

TEST_F(Controls, OpenFilesOfThisMachine) {
  EXPECT_EQ(refusal("file:///music/a%20b.FLAC"), "");
  EXPECT_THAT(opened, ElementsAre(FileURL("/music/a b.FLAC")));
}

TEST_F(Controls, RefuseWhatCannotBePlayed) {
  EXPECT_EQ(refusal("https://host/a.wav"), "Only files of this machine can be played.");
  EXPECT_EQ(refusal(""), "Only files of this machine can be played.");
  EXPECT_EQ(refusal("file:///a.ogg"), "Only WAV, AIFF, FLAC and MP3 files can be played.");
  EXPECT_EQ(refusal("file:///missing.wav"), "There is no such file.");
  EXPECT_EQ(refusal("file:///" + std::string(70'000, 'a') + ".wav"), "Only files of this machine can be played.");
  EXPECT_THAT(opened, IsEmpty());
}

TEST_F(Controls, ThatHaveGoneAnnounceNothing) {
  SessionFixture::load(1);
  controls.reset();
  settle();
  EXPECT_THAT(announced, IsEmpty());
}

}  // namespace
}  // namespace tolvane
