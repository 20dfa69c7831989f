// What observers see of a transition, and what they may do from within it.

#include <optional>

#include "tests/engine/SupervisionFixture.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

/// What is wrong with the published values, taken together; empty: nothing.
std::string contradiction(const BitPerfectAudioPlayer& player) {
  using Kind = AudioPathStatus::Kind;
  const bool isActive = player.isPlaying().value() || player.isPaused().value();
  const int states =
      int{player.isPlaying().value()} + int{player.isPaused().value()} + int{player.isPreparing().value()};
  const Kind kind = player.audioPathStatus().value().kind;
  const bool isVerdict = kind != Kind::ready && kind != Kind::error && kind != Kind::configuring;
  const bool hasTrack = player.currentURL().value().has_value();
  const bool hasLength = player.duration().value() > 0;
  if (states > 1) return "two states at once";
  if (player.startsPaused().value() && !player.isPreparing().value()) return "nothing is prepared, and starts paused";
  if (hasLength != (player.sampleRate().value() > 0)) return "a duration without a rate, or a rate without a duration";
  if (hasLength && !hasTrack) return "a duration without a track";
  // One track has ended and the next is heard already: the observer of the completion decides whether it goes on.
  if (isActive && hasTrack != hasLength) return "playing or paused without a length";
  if (isActive && !isVerdict && kind != Kind::configuring) return "playing or paused without a verdict";
  if (player.isPreparing().value() && (!hasTrack || kind != Kind::configuring)) return "a verdict while preparing";
  if (states == 0 && kind != Kind::ready && kind != Kind::error) return "a verdict while stopped";
  if (states == 0 && hasLength) return "a duration while stopped";
  return {};
}

class EngineTransitionsTest : public SupervisionFixture {
 protected:
  void SetUp() override {
    SupervisionFixture::SetUp();
    subscription_ = player->onChange([this, &observed = *player] {
      ++seen;
      if (auto wrong = contradiction(observed); !wrong.empty()) contradictions.push_back(std::move(wrong));
    });
  }

  /// Calls `operation` from within the first change of isPlaying.
  void callWithin(std::function<void()> operation) {
    within_ = player->isPlaying().subscribe([this, operation = std::move(operation)](bool) {
      if (std::exchange(hasCalled_, true)) return;
      operation();
    });
  }
  [[nodiscard]] bool isLogged(const std::string& name) const {
    return log.contains(name + " was called by an observer of a change, and is carried out after it");
  }

  int seen = 0;
  std::vector<std::string> contradictions;

 private:
  bool hasCalled_ = false;
  Subscription subscription_;
  Subscription within_;
};

TEST_F(EngineTransitionsTest, EveryPublicationIsAWholeState) {
  const auto next = addTrack("/next.wav", 44100 * 2);
  const auto another = addTrack("/another.wav", 96000, 96000);
  const auto follow = player->playbackCompletionCount().subscribe([&](std::int64_t count) {
    if (count == 1) player->play(next);
    if (count == 2) player->play(another);
  });
  player->play(FileURL("/missing.wav"));
  player->play(track);
  player->setUpcomingTrack(next);
  player->pause();
  player->seek(9.0);
  player->resume();
  player->setExclusiveAccessEnabled(true);
  player->setExclusiveAccessEnabled(false);
  advance(2s);
  ASSERT_EQ(completions(), 1);
  ASSERT_EQ(player->statistics().crossings, 1U);
  player->setUpcomingTrack(another);
  advance(1500ms);
  ASSERT_EQ(completions(), 2);
  EXPECT_EQ(player->currentURL().value(), another);
  advance(3s);
  ASSERT_EQ(completions(), 3);
  player->play(track);
  advance(1s);
  hardware.failNext(UnitStage::initialize, kAudioHardwareUnspecifiedError);
  device(id).setNominalRateFromOutside(48000);
  advance(5s);
  ASSERT_EQ(recoveries(), 1U);
  for (int fault = 0; fault < 4; ++fault) {
    device(id).raiseRenderError(-1);
    advance(600ms);
  }
  ASSERT_EQ(path().kind, PathKind::error);
  player->play(track);
  player->stop();
  EXPECT_THAT(contradictions, IsEmpty());
  EXPECT_GT(seen, 60) << "changes of all kinds were seen";
  EXPECT_THAT(log.messages(), testing::Not(Contains(HasSubstr("was called by an observer"))));
}

TEST_F(EngineTransitionsTest, ATrackThatFollowsWithoutAGapIsPublishedWhole) {
  const auto next = addTrack("/next.wav", 44100 * 2);
  const auto follow = player->playbackCompletionCount().subscribe([&](std::int64_t) { player->play(next); });
  player->play(track);
  player->setUpcomingTrack(next);
  std::vector<std::pair<std::optional<FileURL>, double>> shown;
  const auto watch =
      player->currentURL().subscribe([&](const auto& url) { shown.emplace_back(url, player->duration().value()); });
  advance(11s);
  EXPECT_THAT(shown,
              testing::ElementsAre(std::pair(std::optional<FileURL>(), 0.0), std::pair(std::optional(next), 2.0)));
  EXPECT_TRUE(isPlaying());
}

TEST_F(EngineTransitionsTest, AnOperationCalledByAnObserverIsCarriedOutAfterTheChange) {
  player->setExclusiveAccessEnabled(true);
  callWithin([this] { player->stop(); });
  player->play(track);
  EXPECT_TRUE(isPlaying()) << "the change was completed";
  EXPECT_TRUE(isLogged("stop"));
  advance(1ms);
  expectNothingHeld();
  EXPECT_EQ(path(), AudioPathStatus::ready());
  EXPECT_THAT(contradictions, IsEmpty());
}

TEST_F(EngineTransitionsTest, OperationsCalledByAnObserverKeepTheirOrder) {
  const auto next = addTrack("/next.wav", 44100 * 4);
  callWithin([&] {
    player->play(next);
    player->seek(1.0);
    player->setOutputLevels(0.5, 0);
    player->setUpcomingTrack(track);
    player->updateCurrentTrack();
    player->setOutputDevice(id);
    EXPECT_EQ(player->setExclusiveAccessEnabled(true), std::nullopt);
    player->resume();
    player->pause();
  });
  player->play(track);
  for (const auto* name : {"play", "seek", "setOutputLevels", "setUpcomingTrack", "updateCurrentTrack", "setOutputDevice",
                           "setExclusiveAccessEnabled", "resume", "pause"})
    EXPECT_TRUE(isLogged(name)) << name;
  advance(1ms);
  EXPECT_TRUE(isPaused());
  EXPECT_EQ(player->currentURL().value(), next);
  EXPECT_EQ(exclusive().kind, ExclusiveKind::active);
  EXPECT_EQ(path().kind, PathKind::processed) << "at half the volume";
  EXPECT_THAT(contradictions, IsEmpty());
}

/// The device is fast and has come to the next track before that is looked for; its unit stops there.
TEST_F(EngineTransitionsTest, ResumingAUnitThatStoppedInATrackThatIsNotWantedEndsPlayback) {
  SimulatedDeviceConfig config;
  config.captures = true;
  config.clockErrorPPM = 2000;
  const auto fast = addDevice(config);
  player->setOutputDevice(fast);
  player->play(track);
  player->setUpcomingTrack(addTrack("/next.wav", 44100 * 2));
  advance(9s);
  for (int tick = 0; tick < 2000 && device(fast).heard().size() < (441000U + 100) * 4; ++tick) advance(1ms);
  ASSERT_EQ(completions(), 0) << "the crossing was noticed before the unit stopped";
  device(fast).stopByItself();
  player->resume();
  EXPECT_EQ(completions(), 1);
  expectNothingHeld();
  EXPECT_EQ(path(), AudioPathStatus::ready());
  EXPECT_THAT(contradictions, IsEmpty());
}

TEST_F(EngineTransitionsTest, APlayerThatEndsPublishesAWholeState) {
  player->setExclusiveAccessEnabled(true);
  player->play(track);
  BitPerfectAudioPlayer& ending = *player;
  std::optional<double> position;
  int calls = 0;
  const auto watch = ending.exclusiveAccessStatus().subscribe([&](const auto&) {
    ++calls;
    position = ending.position();
    ending.resume();
    EXPECT_FALSE(ending.isPlaying().value());
  });
  player.reset();
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(position);
  EXPECT_TRUE(isLogged("resume"));
  EXPECT_THAT(contradictions, IsEmpty());
  EXPECT_EQ(hardware.unitCount(), 0);
  EXPECT_EQ(runLoop.pendingTimerCount(), 0U);
}

TEST_F(EngineTransitionsTest, ATrackThatStartsPausedSaysSoUntilItIsPaused) {
  std::vector<BackgroundWork> work;
  BitPerfectAudioPlayer slow(hardware, files, runLoop, log, [&](BackgroundWork next) { work.push_back(next); });
  std::vector<std::string> shown;
  const auto watch = slow.onChange([&] {
    if (slow.isPreparing().value()) shown.emplace_back(slow.startsPaused().value() ? "waits" : "starts");
    if (slow.isPaused().value()) shown.emplace_back("paused");
  });
  slow.play(track);
  slow.pause();
  ASSERT_FALSE(work.empty());
  shown.clear();
  for (std::size_t i = 0; i < work.size(); ++i) work[i]();
  advance(1ms);
  ASSERT_TRUE(slow.isPaused().value());
  EXPECT_THAT(shown, Contains("waits"));
  EXPECT_THAT(shown, testing::Not(Contains("starts")));
}

TEST_F(EngineTransitionsTest, APlayerThatIsGoneCarriesOutNothing) {
  callWithin([this] { player->stop(); });
  player->play(track);
  ASSERT_TRUE(isLogged("stop"));
  player.reset();
  advance(1s);
  EXPECT_EQ(runLoop.pendingTimerCount(), 0U);
  EXPECT_EQ(hardware.unitCount(), 0);
}

}  // namespace
}  // namespace tolvane
