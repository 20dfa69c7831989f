#include <cmath>
#include <limits>

#include "tests/engine/PlayerFixture.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class TransportTest : public PlayerFixture {
 protected:
  TransportTest() {
    SimulatedDeviceConfig dac;
    dac.captures = true;
    id = addDevice(dac);
  }

  /// What was heard, without the silence that follows the music.
  std::vector<std::byte> heardMusic() {
    auto bytes = device(id).heard();
    while (!bytes.empty() && bytes.back() == std::byte{0}) bytes.pop_back();
    while (bytes.size() % 4 != 0) bytes.push_back(std::byte{0});
    return bytes;
  }
  std::vector<std::byte> bytesFrom(const std::string& path, std::int64_t frame, std::int64_t frames) {
    const auto begin = tracks[path].begin() + frame * 4;
    return {begin, begin + frames * 4};
  }

  AudioObjectID id = 0;
  FileURL track = addTrack("/song.wav", 44100);
};

TEST_F(TransportTest, PlaysEveryFrameOnce) {
  player->play(track);
  advance(3s);
  EXPECT_EQ(heardMusic(), tracks["/song.wav"]);
  EXPECT_EQ(completions(), 1);
}

TEST_F(TransportTest, PausingAndResumingLosesAndRepeatsNoFrame) {
  player->play(track);
  for (int pause = 0; pause < 5; ++pause) {
    advance(137ms);
    player->pause();
    EXPECT_TRUE(isPaused());
    EXPECT_FALSE(isPlaying());
    EXPECT_EQ(runLoop.pendingTimerCount(), 0U) << "nothing is checked while nothing moves";
    advance(3s);
    player->resume();
    EXPECT_TRUE(isPlaying());
    EXPECT_FALSE(isPaused());
  }
  advance(3s);
  EXPECT_EQ(heardMusic(), tracks["/song.wav"]);
  EXPECT_EQ(completions(), 1);
}

TEST_F(TransportTest, PausingAtTheVeryEndStillPlaysTheRest) {
  player->play(track);
  advance(995ms);
  player->pause();
  advance(1s);
  player->resume();
  advance(1s);
  EXPECT_EQ(heardMusic(), tracks["/song.wav"]);
  EXPECT_EQ(completions(), 1);
}

TEST_F(TransportTest, PausingKeepsRateAndHogMode) {
  const auto fast = addTrack("/fast.wav", 96000, 96000);
  player->setExclusiveAccessEnabled(true);
  player->play(fast);
  player->pause();
  EXPECT_EQ(device(id).config().nominalRate, 96000);
  EXPECT_EQ(hardware.hogCount(), 1U);
  player->stop();
  EXPECT_EQ(device(id).config().nominalRate, 44100);
  EXPECT_EQ(hardware.hogCount(), 0U);
  expectNothingHeld();
}

TEST_F(TransportTest, SeeksToTheExactFrameWhilePlaying) {
  player->play(track);
  advance(200ms);
  player->seek(0.5);
  EXPECT_TRUE(isPlaying());
  const auto before = device(id).heard().size();
  advance(2s);
  const auto heard = heardMusic();
  EXPECT_EQ(std::vector(heard.begin(), heard.begin() + static_cast<std::ptrdiff_t>(before)),
            bytesFrom("/song.wav", 0, static_cast<std::int64_t>(before) / 4));
  EXPECT_EQ(std::vector(heard.begin() + static_cast<std::ptrdiff_t>(before), heard.end()),
            bytesFrom("/song.wav", 22050, 22050));
  EXPECT_EQ(completions(), 1);
}

TEST_F(TransportTest, SeeksWhilePausedWithoutTouchingTheDevice) {
  player->play(track);
  advance(100ms);
  player->pause();
  device(id).forgetHeard();
  hardware.trace().clear();
  player->seek(0.75);
  EXPECT_TRUE(trace().empty());
  EXPECT_TRUE(isPaused());
  player->resume();
  advance(1s);
  EXPECT_EQ(heardMusic(), bytesFrom("/song.wav", 33075, 11025));
}

TEST_F(TransportTest, TruncatesTheFrameTowardsZero) {
  player->play(track);
  player->pause();
  device(id).forgetHeard();
  player->seek(33075.999 / 44100);
  player->resume();
  advance(1s);
  EXPECT_EQ(heardMusic(), bytesFrom("/song.wav", 33075, 11025));
}

TEST_F(TransportTest, APositionThatWasReportedIsTheVeryFrame) {
  player->play(track);
  player->pause();
  constexpr std::int64_t frames = 44100;
  std::int64_t missed = 0;
  for (std::int64_t frame = 0; frame <= frames; ++frame) {
    const double reported = static_cast<double>(frame) / 44100;
    player->seek(reported);
    if (player->position() != reported) ++missed;
  }
  EXPECT_EQ(missed, 0) << "of " << frames + 1 << " frames";
}

TEST_F(TransportTest, IgnoresSeeksOutsideTheTrack) {
  player->seek(0.1);
  player->play(track);
  hardware.trace().clear();
  for (const double seconds :
       {-0.001, 1.001, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()})
    player->seek(seconds);
  EXPECT_TRUE(trace().empty());
  player->seek(1.0);
  EXPECT_THAT(trace(), ElementsAre("unit: stop", "unit: start"));
  advance(200ms);
  EXPECT_EQ(completions(), 1);
}

TEST_F(TransportTest, ResumingWhilePlayingChangesNothing) {
  player->play(track);
  advance(300ms);
  player->resume();
  advance(100ms);
  player->pause();
  player->resume();
  advance(2s);
  EXPECT_EQ(heardMusic(), tracks["/song.wav"]);
}

TEST_F(TransportTest, ResumingAUnitThatStoppedByItselfGoesOnWithTheFirstFrameThatWasNotHeard) {
  player->play(track);
  advance(400ms);
  device(id).stopByItself();
  advance(50ms);
  player->resume();
  advance(200ms);
  player->pause();
  advance(1s);
  player->resume();
  advance(3s);
  EXPECT_EQ(heardMusic(), tracks["/song.wav"]);
  EXPECT_EQ(completions(), 1);
}

TEST_F(TransportTest, DoesNothingWithoutATrack) {
  player->pause();
  player->resume();
  player->stop();
  EXPECT_TRUE(trace().empty());
  EXPECT_EQ(path(), AudioPathStatus::ready());
}

TEST_F(TransportTest, TheLoadedTrackMayBePlayedAgainByItsOwnURL) {
  std::vector<std::optional<FileURL>> urls;
  player->play(track);
  const auto subscription = player->currentURL().subscribe([&](const auto& url) { urls.push_back(url); });
  player->play(*player->currentURL().value());
  EXPECT_TRUE(isPlaying());
  EXPECT_TRUE(urls.empty()) << "it is the same track";
}

TEST_F(TransportTest, NotifiesObserversOfEveryChange) {
  int changes = 0;
  {
    const auto subscription = player->onChange([&] { ++changes; });
    player->play(track);
    EXPECT_GE(changes, 6) << "URL, checking, duration, rate, verdict, playing";
    changes = 0;
    player->pause();
    EXPECT_EQ(changes, 2) << "not playing, paused";
  }
  changes = 0;
  player->stop();
  EXPECT_EQ(changes, 0);
}

TEST_F(TransportTest, CountsUnderrunsOverAllOutputs) {
  for (int output = 1; output <= 2; ++output) {
    player->play(track);
    advance(100ms);
    device(id).underrun(10ms);
    advance(100ms);
    EXPECT_EQ(player->statistics().underruns, static_cast<std::uint64_t>(output));
  }
  player->stop();
  EXPECT_EQ(player->statistics().underruns, 2U);
}

TEST_F(TransportTest, ANewTrackReplacesTheOldOne) {
  const auto second = addTrack("/second.wav", 4410);
  player->play(track);
  advance(200ms);
  (void)device(id).heard();  // takes in what was played until now
  device(id).forgetHeard();
  player->play(second);
  advance(1s);
  EXPECT_EQ(heardMusic(), tracks["/second.wav"]);
  EXPECT_EQ(completions(), 1);
  expectNothingHeld();
}

TEST_F(TransportTest, ChangingTheDeviceStartsThePlayingTrackThere) {
  SimulatedDeviceConfig other;
  other.name = "Other";
  const auto otherID = addDevice(other);
  player->play(track);
  player->setOutputDevice(otherID);
  EXPECT_TRUE(isPlaying());
  EXPECT_TRUE(hardware.trace().contains("unit: set device Other"));
  EXPECT_EQ(device(id).openUnitCount(), 0U);
}

TEST_F(TransportTest, ChangingTheDeviceWhilePausedOnlyRecordsTheChoice) {
  const auto otherID = addDevice({});
  player->play(track);
  player->pause();
  hardware.trace().clear();
  player->setOutputDevice(otherID);
  EXPECT_TRUE(trace().empty());
  EXPECT_TRUE(isPaused());
}

// Completion.

TEST_F(TransportTest, LooksForTheEndAfterTheTrackAndItsMarginThenWaitsOneMarginMore) {
  player->play(track);
  advance(1099ms);
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(completions(), 0);
  advance(2ms);
  EXPECT_FALSE(isPlaying());
  EXPECT_EQ(completions(), 1);
  EXPECT_EQ(path(), AudioPathStatus::ready());
  expectNothingHeld();
}

TEST_F(TransportTest, WaitsTwoBuffersWhereTheyAreLongerThanTheLeastMargin) {
  device(id).setBufferFrameSize(4410);  // 0.1 s: the margin is 0.2 s
  player->play(track);
  advance(1399ms);
  EXPECT_EQ(completions(), 0);
  advance(2ms);
  EXPECT_EQ(completions(), 1);
}

TEST_F(TransportTest, SeekingBackWhileTheEndDrainsWaitsForTheNewEndInFull) {
  player->play(track);
  advance(1070ms);  // the end was seen at 1.05 s
  player->seek(0.5);
  advance(599ms);
  EXPECT_EQ(completions(), 0);
  advance(2ms);
  EXPECT_EQ(completions(), 1);
}

TEST_F(TransportTest, CountsABufferOfNoFramesAsOne) {
  const auto slow = addTrack("/slow.wav", 8000, 8000);  // 512 frames would be 0.128 s of margin here, 1 frame 0.05 s
  device(id).script().rates = {{8000, 8000}};
  device(id).setBufferFrameSize(0);
  player->play(slow);
  advance(1099ms);
  EXPECT_EQ(completions(), 0);
  advance(2ms);
  EXPECT_EQ(completions(), 1);
}

TEST_F(TransportTest, CountsABufferOfUnknownSizeAs512Frames) {
  const auto slow = addTrack("/slow.wav", 8000, 8000);
  device(id).script().rates = {{8000, 8000}};
  device(id).script().properties.readFailures[kAudioDevicePropertyBufferFrameSize] = {};
  player->play(slow);
  advance(1255ms);
  EXPECT_EQ(completions(), 0);
  advance(2ms);
  EXPECT_EQ(completions(), 1);
}

TEST_F(TransportTest, NotifiesOfCompletionLastSoThatTheNextTrackMayStartFromThere) {
  const auto second = addTrack("/second.wav", 4410);
  bool once = false;
  const auto subscription = player->playbackCompletionCount().subscribe([&](std::int64_t) {
    if (!std::exchange(once, true)) player->play(second);
  });
  player->play(track);
  advance(1101ms);
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(player->currentURL().value(), second);
  advance(1s);
  EXPECT_EQ(completions(), 2);
}

TEST_F(TransportTest, LooksAgainWhenTheDeviceIsSlow) {
  device(id).setClockErrorPPM(-100000);  // a tenth slow: the track takes 1.11 s
  player->play(track);
  advance(1s + 105ms);
  EXPECT_EQ(completions(), 0);
  advance(200ms);
  EXPECT_EQ(completions(), 1);
  EXPECT_EQ(heardMusic(), tracks["/song.wav"]) << "the end is not cut";
}

// Failures while playing.

TEST_F(TransportTest, ADeviceThatCannotBePausedEndsPlayback) {
  player->play(track);
  hardware.failNext(UnitStage::stop, -66);
  player->pause();
  EXPECT_EQ(path(), AudioPathStatus::failed("The output device could not be paused."));
  expectNothingHeld();
}

TEST_F(TransportTest, ADeviceThatCannotResumeEndsPlayback) {
  player->play(track);
  player->pause();
  hardware.failNext(UnitStage::start, -66);
  player->resume();
  EXPECT_EQ(path(), AudioPathStatus::failed("The output device could not resume playback."));
  expectNothingHeld();
}

TEST_F(TransportTest, ADeviceThatCannotStopForASeekEndsPlayback) {
  player->play(track);
  hardware.failNext(UnitStage::stop, -66);
  player->seek(0.5);
  EXPECT_EQ(path(), AudioPathStatus::failed("The output device could not seek safely."));
  expectNothingHeld();
}

TEST_F(TransportTest, ADeviceThatCannotGoOnAfterASeekEndsPlayback) {
  player->play(track);
  hardware.failNext(UnitStage::start, -66);
  player->seek(0.5);
  EXPECT_EQ(path(), AudioPathStatus::failed("The output device could not continue after seeking."));
  expectNothingHeld();
}

TEST_F(TransportTest, ADeviceThatCannotStopAtTheEndIsAnErrorAndNoCompletion) {
  player->play(track);
  advance(1s);
  hardware.failNext(UnitStage::stop, -66);
  advance(200ms);
  EXPECT_EQ(path(), AudioPathStatus::failed("The output device stopped unexpectedly."));
  EXPECT_EQ(completions(), 0);
  expectNothingHeld();
}

// Formats.

TEST_F(TransportTest, AFloatStreamCannotCarryIntegersOf32Bits) {
  SimulatedPCMFile file;
  file.format = linearPCM(44100, 2, 32, 4, kAudioFormatFlagIsSignedInteger);
  file.sourceBitDepth = 32;
  file.data.resize(44100 * 8);
  files.add(FileURL("/wide.wav"), file);
  player->play(FileURL("/wide.wav"));
  EXPECT_EQ(path().label, "BIT-PERFECT");
  device(id).setPhysicalFormat(0, physicalFloat32());
  advance(std::chrono::seconds(1));
  EXPECT_EQ(path().label, "CONVERTED");
  EXPECT_THAT(path().detail, testing::HasSubstr("44.1 kHz, 32-bit float, 2 ch"));
}

// Levels.

TEST_F(TransportTest, LevelsShowInTheVerdictAtOnce) {
  player->play(track);
  EXPECT_EQ(path().label, "BIT-PERFECT");
  player->setOutputLevels(0.99, 0);
  EXPECT_EQ(path().label, "DSP ACTIVE");
  player->setOutputLevels(1, 0);
  EXPECT_EQ(path().label, "BIT-PERFECT");
}

TEST_F(TransportTest, EqualLevelsDoNotRefreshTheVerdict) {
  player->play(track);
  device(id).setPhysicalFormat(0, physicalFloat32());
  hardware.trace().record({TraceCategory::read});
  hardware.trace().clear();
  player->setOutputLevels(1, 0);
  player->setOutputLevels(std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity());
  player->setOutputLevels(7, 0);
  EXPECT_TRUE(trace().empty());
}

TEST_F(TransportTest, LevelsWithoutADeviceWaitForTheNextTrack) {
  player->setOutputLevels(0.5, 0);
  EXPECT_EQ(path(), AudioPathStatus::ready());
  player->play(track);
  EXPECT_EQ(path().label, "DSP ACTIVE");
}

}  // namespace
}  // namespace tolvane
