// The end of a track on a device that holds far more frames than two of the buffers that it reports, as the sink of a
// sound server does, and drops them when it is closed.

#include "tests/engine/SupervisionFixture.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

class EndOfTrackTest : public SupervisionFixture {
 protected:
  EndOfTrackTest() { device(id).script().ringPeriods = ringPeriods; }

  /// The device begins to play so late, as a sink does that fills its ring first.
  void playOnALateDevice(RunLoop::Duration late) {
    device(id).stall();
    player->play(track);
    advance(late);
    device(id).goOn();
  }

  static constexpr std::uint32_t ringPeriods = 24;  // of 512 frames: 0.28 s, where the drain waits for 0.1 s at most
};

TEST_F(EndOfTrackTest, IsHeardWholeBeforeTheDeviceIsClosed) {
  playOnALateDevice(250ms);
  advance(9990ms);
  EXPECT_EQ(completions(), 0);
  advance(20ms);
  EXPECT_EQ(completions(), 1);
  expectHeardWhole();
  expectNothingHeld();
}

TEST_F(EndOfTrackTest, SilenceBehindItIsNotCountedAsHandedOver) {
  player->play(track);
  advance(11s);
  EXPECT_EQ(completions(), 1);
  EXPECT_GT(device(id).heard().size(), tracks["/song.wav"].size()) << "there was no silence";
  EXPECT_EQ(player->diagnostics().framesHandedOver, 441000U);
}

TEST_F(EndOfTrackTest, IsHeardWholeBeforeATrackOfAnotherFormatOpensTheDeviceAnew) {
  const FileURL other = addTrack("/other.wav", 48000, 48000);
  const auto follow = player->playbackCompletionCount().subscribe([&](std::int64_t) { player->play(other); });
  playOnALateDevice(250ms);
  advance(10200ms);
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(player->currentURL().value(), other);
  const auto heard = device(id).heard();
  const auto& whole = tracks["/song.wav"];
  ASSERT_GT(heard.size(), whole.size());
  EXPECT_TRUE(std::equal(whole.begin(), whole.end(), heard.begin()));
}

TEST_F(EndOfTrackTest, IsHeardWholeBehindAnUnderrun) {
  player->play(track);
  advance(9500ms);
  device(id).underrun(200ms);
  advance(680ms);
  EXPECT_EQ(completions(), 0);
  advance(100ms);
  EXPECT_EQ(completions(), 1);
  EXPECT_EQ(player->statistics().underruns, 1U);
  expectHeardWhole();
}

TEST_F(EndOfTrackTest, IsHeardWholeFromADeviceWhoseCrystalIsSlow) {
  device(id).script().clockErrorPPM = -20000;  // 0.2 s too late in 10 s
  player->play(track);
  advance(10190ms);
  EXPECT_EQ(completions(), 0);
  advance(50ms);
  EXPECT_EQ(completions(), 1);
  expectHeardWhole();
}

TEST_F(EndOfTrackTest, ComesAfterTheDrainOnADeviceThatDoesNotSayWhatItHasPlayed) {
  device(id).setSampleTimeReadable(false);
  player->play(track);
  advance(10049ms);
  EXPECT_EQ(completions(), 0);
  advance(52ms);
  EXPECT_EQ(completions(), 1);
}

TEST_F(EndOfTrackTest, IsNotWaitedForLongOnADeviceThatStandsStill) {
  player->play(track);
  advance(9800ms);  // the last frame is in the ring
  device(id).stall();
  int seconds = 0;
  for (; seconds < 10 && completions() == 0 && path().kind != PathKind::error; ++seconds) advance(1s);
  EXPECT_LE(seconds, 3) << "seconds until the track was given up";
  EXPECT_EQ(completions(), 1);
  advance(1s);
  expectNothingHeld();
}

}  // namespace
}  // namespace tolvane
