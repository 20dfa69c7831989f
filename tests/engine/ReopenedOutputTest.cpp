// A device that requests that its output is opened anew: it is, when that interrupts no music.

#include <algorithm>
#include <string_view>

#include "tests/engine/SupervisionFixture.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;

class ReopenedOutputTest : public SupervisionFixture {
 protected:
  ReopenedOutputTest() {
    device(id).setReopeningIsDue(false);
    player->play(track);
    advance(1s);
  }
  bool hasLogged(std::string_view beginning) const {
    return std::ranges::any_of(log.messages(), [&](const auto& line) { return line.starts_with(beginning); });
  }
  bool wentOn() const { return hasLogged("Went on with output device"); }
};

TEST_F(ReopenedOutputTest, IsNotOpenedAnewWhileItPlays) {
  device(id).setReopeningIsDue(true);
  advance(8s);
  EXPECT_EQ(recoveries(), 0U);
  advance(2s);
  EXPECT_EQ(completions(), 1);
  expectHeardWhole();
}

TEST_F(ReopenedOutputTest, IsOpenedAnewAtAPauseAndGoesOnAtItsFrame) {
  device(id).setReopeningIsDue(true);
  player->pause();
  advance(100ms);
  EXPECT_EQ(recoveries(), 1U);
  EXPECT_EQ(hardware.unitCount(), 1);
  EXPECT_TRUE(isPaused());
  device(id).setReopeningIsDue(false);
  player->resume();
  advance(10s);
  EXPECT_EQ(recoveries(), 1U);
  EXPECT_EQ(completions(), 1);
  expectHeardWhole();
}

TEST_F(ReopenedOutputTest, IsOpenedAnewInThePauseInWhichItBecomesDue) {
  player->pause();
  advance(1s);
  ASSERT_EQ(recoveries(), 0U);
  device(id).setReopeningIsDue(true);
  advance(100ms);
  EXPECT_EQ(recoveries(), 1U);
  EXPECT_TRUE(isPaused());
}

TEST_F(ReopenedOutputTest, IsLeftAloneWhereThePauseEndsAtOnce) {
  device(id).setReopeningIsDue(true);
  player->pause();
  player->resume();
  advance(1s);
  EXPECT_EQ(recoveries(), 0U);
  EXPECT_TRUE(isPlaying());
}

TEST_F(ReopenedOutputTest, IsOpenedAnewForATrackThatIsChosenByHand) {
  const auto next = addTrack("/next.wav", 441000);
  player->play(next);
  advance(1s);
  EXPECT_TRUE(wentOn()) << "the fixture's device goes on with a track of its format";
  log.clear();
  device(id).setReopeningIsDue(true);
  player->play(track);
  advance(1s);
  EXPECT_FALSE(wentOn());
  EXPECT_TRUE(hasLogged("Configured output device"));
  EXPECT_TRUE(isPlaying());
}

TEST_F(ReopenedOutputTest, GoesOnIntoTheNextTrackWithoutAGap) {
  const auto next = addTrack("/next.wav", 441000);
  device(id).setReopeningIsDue(true);
  player->setUpcomingTrack(next);
  int crossings = 0;
  const auto goOn = player->playbackCompletionCount().subscribe([&](std::int64_t) {
    if (++crossings == 1) player->play(next);
  });
  advance(10s);
  EXPECT_EQ(player->statistics().crossings, 1U);
  EXPECT_EQ(crossings, 1);
  EXPECT_TRUE(isPlaying());
}

}  // namespace
}  // namespace tolvane
