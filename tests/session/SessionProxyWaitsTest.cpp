#include <gmock/gmock.h>

#include "session/SessionProxy.h"
#include "tests/session/SessionFixture.h"

namespace tolvane {
namespace {

using testing::ElementsAre;

/// The sides in the order in which the program makes them.
class LateHost : public SessionFixture {
 protected:
  void settle() { runLoop.runUntilIdle(); }
  void startPlayer() {
    own.reset();
    late.emplace(SessionHost::Services{hardware, files, defaults, bookmarks, runLoop, log}, link);
  }

  SessionProxy proxy{link, runLoop};
  std::optional<SessionHost> late;
};

TEST_F(LateHost, TakesTheCommandsThatWereSentBeforeItWasThere) {
  const auto url = addTrack(1);
  proxy.setOutputVolume(0.5);
  proxy.loadPlaylist({&url, 1}, true);
  settle();
  EXPECT_EQ(proxy.state().tracks.size(), 0U);
  startPlayer();
  settle();
  EXPECT_TRUE(proxy.state().isPlaying);
  EXPECT_EQ(late->session().outputVolume().value(), 0.5);
}

TEST_F(LateHost, SaysNothingOfWaitingBeforeThePlayerHasBegun) {
  proxy.setOutputVolume(0.5);
  advance(3);
  EXPECT_EQ(proxy.state().heldUpBy, "");
  EXPECT_EQ(proxy.state().audioPathStatus.label, "READY");
}

/// A player whose thread does not turn: the window has a loop of its own.
class HeldUp : public SessionFixture {
 protected:
  HeldUp() : SessionFixture(Background(runAtOnce)) { turnBoth(); }

  void turnBoth() {
    for (int turn = 0; turn < 4; ++turn) {
      runLoop.runUntilIdle();
      window.runUntilIdle();
    }
  }
  [[nodiscard]] const SessionState& state() const { return proxy.state(); }

  ManualRunLoop window;
  std::string knownWaiting;
  std::uint64_t interrupts = 0;
  SessionProxy proxy{
      link, window, {.forWhom = [this] { return knownWaiting; }, .interrupt = [this] { return ++interrupts; }}};
};

TEST_F(HeldUp, IsShownAfterASecondWithTheNameOfTheDevice) {
  load(2);
  turnBoth();
  proxy.playTrack(0, 0);
  window.advance(std::chrono::milliseconds(990));
  EXPECT_EQ(state().heldUpBy, "");
  window.advance(std::chrono::milliseconds(260));
  EXPECT_EQ(state().heldUpBy, hardware.device(dac).config().name);
  EXPECT_EQ(state().audioPathStatus.kind, AudioPathStatus::Kind::configuring);
  EXPECT_EQ(state().audioPathStatus.detail, "Waiting for " + state().heldUpBy.english() + "…");
  turnBoth();
  EXPECT_EQ(state().heldUpBy, "");
  EXPECT_TRUE(state().isPlaying);
}

TEST_F(HeldUp, NamesWhatIsKnownToBeWaitedFor) {
  knownWaiting = "the sound server";
  proxy.setOutputVolume(0.5);
  window.advance(std::chrono::seconds(2));
  EXPECT_EQ(state().heldUpBy, "the sound server");
}

TEST_F(HeldUp, IsNoticedAlsoWhenTheUserRequestsNothing) {
  load(1);
  turnBoth();
  proxy.playTrack(0, 0);
  turnBoth();
  ASSERT_TRUE(state().isPlaying);
  window.advance(std::chrono::milliseconds(250));  // a question is asked
  window.advance(std::chrono::milliseconds(1250));
  EXPECT_NE(state().heldUpBy, "");
  EXPECT_NE(state().audioPathStatus.kind, AudioPathStatus::Kind::bitPerfect) << "an old verdict does not stand";
  turnBoth();
  EXPECT_EQ(state().heldUpBy, "");
}

TEST_F(HeldUp, ShowsEveryCommandMeanwhileAndKeepsAllOfThem) {
  load(3);
  turnBoth();
  proxy.setOutputVolume(0.4);
  proxy.playTrack(1, 0);
  proxy.setPlaying(false);
  window.advance(std::chrono::seconds(10));
  EXPECT_EQ(state().outputVolume, 0.4);
  EXPECT_EQ(state().currentIndex, 1);
  EXPECT_FALSE(state().isGoingToPlay());
  turnBoth();
  EXPECT_EQ(session.outputVolume().value(), 0.4);
  EXPECT_TRUE(isPaused());
  EXPECT_EQ(index(), 1);
}

TEST_F(HeldUp, AsksThePlayerToGoOnOnlyForWhatCannotWait) {
  load(2);
  turnBoth();
  proxy.setOutputVolume(0.5);
  proxy.setKnownDuration(10, track(1));
  EXPECT_EQ(interrupts, 0U);
  proxy.playTrack(1, 0);
  proxy.stopPlayback();
  proxy.selectOutputDevice(dac);
  proxy.save();
  EXPECT_EQ(interrupts, 4U);
}

TEST_F(HeldUp, LearnsWhichInterruptACommandCameWith) {
  std::vector<std::uint64_t> obeyed;
  host.reset();
  host.emplace(SessionHost::Services{.hardware = hardware,
                                     .files = files,
                                     .defaults = defaults,
                                     .bookmarks = bookmarks,
                                     .runLoop = runLoop,
                                     .log = log,
                                     .obey = [&](std::uint64_t interrupt) { obeyed.push_back(interrupt); }},
               link);
  turnBoth();
  proxy.stopPlayback();
  proxy.setOutputVolume(0.5);
  proxy.save();
  turnBoth();
  EXPECT_THAT(obeyed, ElementsAre(1, 2));
}

}  // namespace
}  // namespace tolvane
