// One track after another without a gap, and what the user may do at every moment around the crossing.

#include <functional>

#include "tests/engine/PlayerFixture.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::Gt;
using testing::IsEmpty;

/// An album, and a user who plays it through: on each completion the next track, as a session does.
class Album : public PlayerFixture {
 protected:
  static constexpr std::int64_t trackFrames = 44100;

  Album() { restart(); }
  ~Album() override { player.reset(); }

  void restart() {
    completed = {};
    player = std::make_unique<BitPerfectAudioPlayer>(hardware, files, runLoop, log);
    SimulatedDeviceConfig dac;
    dac.captures = true;
    id = addDevice(dac);
    player->setOutputDevice(id);
    hardware.trace().clear();
    playing = 0;
    completed = player->playbackCompletionCount().subscribe([this](std::int64_t) { playNext(); });
  }

  /// A track of 16-bit frames that all differ from each other and from those of other tracks; none is silent.
  FileURL addCut(int number, std::int64_t frames = trackFrames, double rate = 44100) {
    const std::string path = "/" + std::to_string(number) + ".wav";
    SimulatedPCMFile file;
    file.format = linearPCM(rate, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
    file.sourceBitDepth = 16;
    for (std::int64_t i = 0; i < frames; ++i) {
      const auto value = static_cast<std::uint32_t>(i + 1) | static_cast<std::uint32_t>(number) << 24U;
      for (int byte = 0; byte < 4; ++byte) file.data.push_back(static_cast<std::byte>(value >> (8 * byte)));
    }
    tracks[path] = file.data;
    files.add(FileURL(path), std::move(file));
    return FileURL(path);
  }
  void playAlbum() { play(0); }
  void play(std::size_t index) {
    playing = index;
    player->play(album[index], [this] { announceNext(); });
  }
  void playNext() {
    if (playing + 1 < album.size()) play(playing + 1);
  }
  void announceNext() {
    player->setUpcomingTrack(playing + 1 < album.size() ? std::optional(album[playing + 1]) : std::nullopt);
  }

  /// What was heard, without the silence around the music.
  std::vector<std::byte> music(AudioObjectID from) {
    const auto& all = device(from).heard();
    std::vector<std::byte> bytes;
    for (std::size_t i = 0; i + 4 <= all.size(); i += 4) {
      if (all[i + 3] != std::byte{0})
        bytes.insert(bytes.end(), all.begin() + static_cast<std::ptrdiff_t>(i),
                     all.begin() + static_cast<std::ptrdiff_t>(i + 4));
    }
    return bytes;
  }
  std::vector<std::byte> music() { return music(id); }
  /// Silent frames between the first and the last one of music.
  std::int64_t silentFramesWithin() {
    const auto& all = device(id).heard();
    std::int64_t silent = 0;
    std::int64_t pending = 0;
    bool begun = false;
    for (std::size_t i = 0; i + 4 <= all.size(); i += 4) {
      if (all[i + 3] == std::byte{0}) {
        ++pending;
        continue;
      }
      if (begun) silent += pending;
      pending = 0;
      begun = true;
    }
    return silent;
  }
  std::vector<std::byte> cuts(const std::vector<int>& numbers) {
    std::vector<std::byte> bytes;
    for (const int number : numbers) {
      const auto& cut = tracks["/" + std::to_string(number) + ".wav"];
      bytes.insert(bytes.end(), cut.begin(), cut.end());
    }
    return bytes;
  }
  static bool beginsWith(std::span<const std::byte> bytes, std::span<const std::byte> beginning) {
    return bytes.size() >= beginning.size() && std::ranges::equal(bytes.first(beginning.size()), beginning);
  }
  static bool endsWith(std::span<const std::byte> bytes, std::span<const std::byte> end) {
    return bytes.size() >= end.size() && std::ranges::equal(bytes.last(end.size()), end);
  }
  std::int64_t heardFrames() { return static_cast<std::int64_t>(device(id).heard().size() / 4); }
  [[nodiscard]] std::vector<std::string> rateWrites() {
    std::vector<std::string> writes;
    for (const auto& event : trace())
      if (event.starts_with("rate: write")) writes.push_back(event);
    return writes;
  }
  [[nodiscard]] std::ptrdiff_t unitsBuilt() { return std::ranges::count(trace(), "unit: initialize"); }

  /// Plays 1, 2, 3 anew for each moment around the first crossing, does `action` then, and looks at the end.
  void atEveryMoment(const std::function<void()>& action, const std::function<void(RunLoop::Duration)>& atTheEnd) {
    int before = 0;
    int after = 0;
    for (auto moment = 700ms; moment <= 1300ms; moment += 3ms) {
      restart();
      playAlbum();
      advance(moment);
      (completions() == 0 ? before : after) += 1;
      action();
      advance(5s);
      atTheEnd(moment);
      if (HasFailure()) FAIL() << "at " << moment.count() << " ms";
    }
    EXPECT_GT(before, 90);
    EXPECT_GT(after, 90);
  }

  std::vector<FileURL> album{addCut(1), addCut(2), addCut(3)};
  std::size_t playing = 0;
  bool isExclusive = false;
  AudioObjectID id = 0;
  Subscription completed;
};

TEST_F(Album, IsHeardAsOnePiece) {
  playAlbum();
  advance(5s);
  EXPECT_EQ(music(), cuts({1, 2, 3}));
  EXPECT_EQ(silentFramesWithin(), 0);
  EXPECT_EQ(completions(), 3);
  EXPECT_EQ(unitsBuilt(), 1);
  expectNothingHeld();
}

TEST_F(Album, OfTracksOfAnyLengthIsHeardAsOnePiece) {
  int crossings = 0;
  for (const std::int64_t frames : {4410, 8000, 8001, 8191, 8192, 8193, 22050, 300'000}) {
    album = {addCut(1, frames), addCut(2, frames + 17), addCut(3, frames)};
    restart();
    playAlbum();
    advance(25s);
    EXPECT_EQ(music(), cuts({1, 2, 3})) << frames;
    EXPECT_EQ(silentFramesWithin(), 0) << frames;
    EXPECT_EQ(completions(), 3) << frames;
    crossings += 2;
  }
  EXPECT_EQ(crossings, 16);
}

TEST_F(Album, ShowsTheNextTrackWithin50MillisecondsOfItsFirstFrame) {
  playAlbum();
  std::optional<std::int64_t> shownAt;
  while (!shownAt && heardFrames() < 2 * trackFrames) {
    advance(1ms);
    EXPECT_TRUE(isPlaying());
    if (player->currentURL().value() == album[1]) shownAt = heardFrames();
  }
  ASSERT_TRUE(shownAt);
  EXPECT_GE(*shownAt, trackFrames);
  EXPECT_LE(*shownAt, trackFrames + 44100 / 20);
  EXPECT_EQ(completions(), 1);
  EXPECT_EQ(player->duration().value(), 1);
  EXPECT_EQ(path().label, "BIT-PERFECT");
  ASSERT_TRUE(player->position());
  EXPECT_NEAR(*player->position(), static_cast<double>(*shownAt - trackFrames) / 44100, 0.001);
}

TEST_F(Album, NeverShowsAnythingButPlayingAndAVerdict) {
  std::vector<std::string> labels;
  const auto subscription =
      player->audioPathStatus().subscribe([&](const AudioPathStatus& s) { labels.push_back(s.label); });
  int stops = 0;
  const auto stopped = player->isPlaying().subscribe([&](bool isPlaying) { stops += isPlaying ? 0 : 1; });
  playAlbum();
  advance(2500ms);
  EXPECT_EQ(completions(), 2);
  EXPECT_EQ(stops, 0);
  EXPECT_THAT(labels, ElementsAre("CHECKING", "BIT-PERFECT"));
}

TEST_F(Album, PausingAndResumingLosesAndRepeatsNothing) {
  atEveryMoment(
      [this] {
        player->pause();
        advance(100ms);
        EXPECT_TRUE(isPaused());
        player->resume();
        announceNext();
      },
      [this](auto) {
        EXPECT_EQ(music(), cuts({1, 2, 3}));
        EXPECT_EQ(completions(), 3);
      });
}

TEST_F(Album, SeekingMeansTheTrackThatIsShown) {
  std::vector<std::byte> heardBefore;
  std::size_t shown = 0;
  atEveryMoment(
      [&] {
        heardBefore = music();
        shown = playing;
        player->seek(0.5);
      },
      [&](auto) {
        auto expected = heardBefore;
        const auto& cut = tracks["/" + std::to_string(shown + 1) + ".wav"];
        expected.insert(expected.end(), cut.begin() + trackFrames / 2 * 4, cut.end());
        const auto rest = shown == 0 ? cuts({2, 3}) : cuts({3});
        expected.insert(expected.end(), rest.begin(), rest.end());
        EXPECT_EQ(music(), expected);
        EXPECT_EQ(completions(), 3);
      });
}

TEST_F(Album, AnotherSuccessorIsPlayedUnlessTheOldOneHasBeenHeard) {
  const auto other = addCut(9);
  bool wasHeard = false;
  int tooLate = 0;
  atEveryMoment(
      [&] {
        wasHeard = music().size() > cuts({1}).size();
        if (playing == 0) {
          album = {album[0], other};
        } else {
          album = {album[0], album[1], other};
        }
        announceNext();
      },
      [&](auto) {
        const auto heard = music();
        if (album.size() == 2 && wasHeard) {
          // Its first frames had been heard by then, and were not yet shown.
          ++tooLate;
          EXPECT_TRUE(beginsWith(heard, cuts({1})));
          EXPECT_TRUE(endsWith(heard, cuts({9})));
          EXPECT_LT(heard.size(), cuts({1, 9}).size() + 44100 / 20 * 4);
        } else {
          EXPECT_EQ(heard, album.size() == 2 ? cuts({1, 9}) : cuts({1, 2, 9}));
        }
        album = {FileURL("/1.wav"), FileURL("/2.wav"), FileURL("/3.wav")};
      });
  EXPECT_LT(tooLate, 20);
}

TEST_F(Album, AnotherSuccessorIsPlayedAlsoWhereTheOldOneFollowsAtOnce) {
  playAlbum();
  advance(200ms);
  player->seek(1);  // the end: what follows is heard with the first frame of this run
  advance(0ns);     // until it has been rendered
  album = {album[0], addCut(9)};
  announceNext();
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(player->currentURL().value(), album[1]);
  advance(3s);
  EXPECT_TRUE(endsWith(music(), cuts({9})));
  EXPECT_EQ(completions(), 2);
  expectNothingHeld();
}

TEST_F(Album, StoppingHoldsNothing) {
  atEveryMoment([this] { player->stop(); }, [this](auto) { expectNothingHeld(); });
}

TEST_F(Album, WithoutASuccessorTheTrackEndsAsEver) {
  atEveryMoment(
      [this] {
        album.resize(playing + 1);
        announceNext();
      },
      [this](auto) {
        expectNothingHeld();
        EXPECT_EQ(path().label, "READY");
        EXPECT_EQ(static_cast<std::size_t>(completions()), album.size());
        album = {FileURL("/1.wav"), FileURL("/2.wav"), FileURL("/3.wav")};
      });
}

TEST_F(Album, SwitchingExclusiveAccessLosesAndRepeatsNothing) {
  atEveryMoment(
      [this] {
        (void)player->setExclusiveAccessEnabled(!isExclusive);
        isExclusive = !isExclusive;
        announceNext();
      },
      [this](auto) {
        EXPECT_EQ(music(), cuts({1, 2, 3}));
      });
}

TEST_F(Album, AnotherDeviceGoesOnAtTheFirstFrameThatWasNotHeard) {
  AudioObjectID other = 0;
  atEveryMoment(
      [&] {
        SimulatedDeviceConfig dac;
        dac.captures = true;
        other = addDevice(dac);
        player->setOutputDevice(
            other, [this] { announceNext(); }, [](double, double heard) { return heard; });
      },
      [&](auto) {
        auto heard = music(id);
        const auto rest = music(other);
        EXPECT_FALSE(rest.empty());
        heard.insert(heard.end(), rest.begin(), rest.end());
        EXPECT_EQ(heard, cuts({1, 2, 3}));
        EXPECT_EQ(completions(), 3);
      });
}

TEST_F(Album, ARecoveryLosesAndRepeatsNothing) {
  atEveryMoment([this] { device(id).raiseRenderError(kAudioHardwareUnspecifiedError); },
                [this](auto) {
                  EXPECT_EQ(music(), cuts({1, 2, 3}));
                  EXPECT_EQ(completions(), 3);
                });
}

TEST_F(Album, ACrossingThatIsNoticedByARecoveryShowsThePlaceThatWasHeard) {
  album = {addCut(1), addCut(2)};
  playAlbum();
  std::optional<double> shown;
  const auto noticed = player->playbackCompletionCount().subscribe([&](std::int64_t) { shown = player->position(); });
  runLoop.advance(900ms);
  runLoop.sleepFor(500ms);  // into the second track, unnoticed
  device(id).raiseRenderError(-1);
  (void)player->setExclusiveAccessEnabled(true);
  ASSERT_TRUE(shown) << "nothing was known of the place";
  EXPECT_NEAR(*shown, 0.4, 0.05);
}

TEST_F(Album, AStallLosesAndRepeatsNothing) {
  atEveryMoment(
      [this] {
        device(id).stall();
        advance(300ms);
        device(id).goOn();
      },
      [this](auto) {
        EXPECT_EQ(music(), cuts({1, 2, 3}));
        EXPECT_EQ(silentFramesWithin(), 0);
      });
}

TEST_F(Album, IsHeardAsOnePieceWhereTheDeviceHasNoClock) {
  device(id).setSampleTimeReadable(false);
  playAlbum();
  advance(5s);
  EXPECT_EQ(music(), cuts({1, 2, 3}));
  EXPECT_EQ(silentFramesWithin(), 0);
  EXPECT_EQ(completions(), 3);
  expectNothingHeld();
}

TEST_F(Album, OfTwoRatesIsPlayedAtThoseRatesAndNoOther) {
  album = {addCut(1), addCut(2, 96000, 96000), addCut(3)};
  device(id).script().nominalRate = 48000;
  restart();
  device(id).setNominalRateFromOutside(48000);
  hardware.trace().clear();
  playAlbum();
  advance(5s);
  EXPECT_EQ(completions(), 3);
  EXPECT_EQ(music(), cuts({1, 2, 3}));
  EXPECT_THAT(rateWrites(),
              ElementsAre("rate: write 44100", "rate: write 96000", "rate: write 44100", "rate: write 48000"));
}

TEST_F(Album, OneOfTheSameFormatChosenByHandFindsTheDeviceOpen) {
  playAlbum();
  advance(300ms);
  play(2);
  EXPECT_TRUE(isPlaying());
  advance(2s);
  EXPECT_EQ(unitsBuilt(), 1);
  const auto heard = music();
  EXPECT_TRUE(endsWith(heard, cuts({3})));
  expectNothingHeld();
}

TEST_F(Album, AFileThatWasReplacedIsReadAgain) {
  addCut(1, 10 * trackFrames);
  playAlbum();
  advance(1s);
  addCut(2, 2 * trackFrames);
  advance(15s);
  EXPECT_EQ(music(), cuts({1, 2, 3}));
}

TEST_F(Album, AFileThatCannotBeReadFailsWhenItsTurnComes) {
  addCut(1, 10 * trackFrames);
  playAlbum();
  advance(1s);
  files.remove(album[1]);
  advance(8900ms);
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(path().label, "BIT-PERFECT");
  advance(3s);
  EXPECT_EQ(path().label, "PATH ERROR");
  EXPECT_THAT(path().detail, testing::HasSubstr("Opening the PCM file"));
  EXPECT_EQ(music(), cuts({1}));
  expectNothingHeld();
}

TEST_F(Album, WithoutTheMemoryForTwoTracksIsPlayedOneByOneOnTheOpenDevice) {
  files.setAvailableMemory(trackFrames * 4 * 2);
  playAlbum();
  advance(5s);
  EXPECT_EQ(music(), cuts({1, 2, 3}));
  EXPECT_THAT(silentFramesWithin(), Gt(0)) << "a gap, as it must";
  EXPECT_EQ(unitsBuilt(), 1);
  expectNothingHeld();
}

TEST_F(Album, ATrackThatBeginsInTheMiddleIsHeardFromThereOnly) {
  album.resize(1);
  player->play(album[0], {}, [](double duration) { return duration / 2; });
  EXPECT_EQ(player->position(), 0.5);
  advance(2s);
  const auto cut = cuts({1});
  EXPECT_EQ(music(), std::vector(cut.begin() + trackFrames / 2 * 4, cut.end()));
}

TEST_F(Album, WhatIsToBePlayedFirstIsReadBeforeItIsAskedFor) {
  player->setUpcomingTrack(album[0]);
  const int opened = files.openCount();
  EXPECT_EQ(opened, 1);
  playAlbum();
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(files.openCount(), opened + 1) << "the one after it";
  advance(5s);
  EXPECT_EQ(music(), cuts({1, 2, 3}));
}

}  // namespace
}  // namespace tolvane
