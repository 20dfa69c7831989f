#include "app/shell/AppDelegate.h"

#include <gmock/gmock.h>

#include "tests/session/SessionFixture.h"

namespace tolvane {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

class RecordingWindow final : public ShellWindow {
 public:
  void setContentAndMinimumSize(int width, int height) override {
    calls.push_back("size " + std::to_string(width) + " " + std::to_string(height));
  }
  void setCloseAction(std::function<void()> action) override { close = std::move(action); }
  void orderOut() override { calls.emplace_back("out"); }
  [[nodiscard]] bool isMiniaturised() const override { return isSmall; }
  void miniaturise() override { calls.emplace_back("miniaturise"); }
  void deminiaturise() override { calls.emplace_back("deminiaturise"); }
  void makeKeyAndOrderFront(const std::string& token) override { calls.push_back("front" + token); }

  std::vector<std::string> calls;
  std::function<void()> close;
  bool isSmall = false;
};

class Delegate : public ProxyFixture {
 protected:
  Delegate() { delegate.setSession(&proxy); }

  /// Titles with what can be chosen: "Next" or "(Next)".
  static std::vector<std::string> lines(const std::vector<MenuItem>& items) {
    std::vector<std::string> result;
    for (const auto& item : items) {
      result.push_back(item.isSeparator() ? "-" : item.isEnabled ? item.title : "(" + item.title + ")");
    }
    return result;
  }

  int terminations = 0;
  AppDelegate delegate{[this] { ++terminations; }};
  RecordingWindow window;
};

TEST_F(Delegate, SetsAWindowUpOnce) {
  delegate.configurePlayerWindow(window);
  delegate.configurePlayerWindow(window);
  EXPECT_THAT(window.calls, ElementsAre("size 600 700"));
}

TEST_F(Delegate, HidesTheWindowInsteadOfClosingIt) {
  delegate.configurePlayerWindow(window);
  window.calls.clear();
  window.close();
  EXPECT_THAT(window.calls, ElementsAre("out"));
  EXPECT_EQ(terminations, 0);
  EXPECT_FALSE(AppDelegate::applicationShouldTerminateAfterLastWindowClosed());
}

TEST_F(Delegate, MinimisesTheWindowWhereTheDesktopCouldNotShowItAgain) {
  bool isReachable = false;
  delegate.setReachability([&] { return isReachable; });
  delegate.configurePlayerWindow(window);
  window.calls.clear();
  delegate.hidePlayerWindow();
  isReachable = true;
  delegate.hidePlayerWindow();
  EXPECT_THAT(window.calls, ElementsAre("miniaturise", "out"));
}

TEST_F(Delegate, BringsTheWindowBackToTheFront) {
  delegate.configurePlayerWindow(window);
  window.calls.clear();
  EXPECT_FALSE(delegate.applicationShouldHandleReopen(" token"));
  EXPECT_THAT(window.calls, ElementsAre("front token"));
}

TEST_F(Delegate, RestoresAMiniaturisedWindowFirst) {
  delegate.configurePlayerWindow(window);
  window.calls.clear();
  window.isSmall = true;
  delegate.perform(ShellAction::showPlayerFromMenu);
  EXPECT_THAT(window.calls, ElementsAre("deminiaturise", "front"));
}

TEST_F(Delegate, LeavesReopeningToTheSystemWithoutAWindow) {
  EXPECT_TRUE(delegate.applicationShouldHandleReopen());
  delegate.configurePlayerWindow(window);
  delegate.forgetPlayerWindow();
  EXPECT_TRUE(delegate.applicationShouldHandleReopen());
}

TEST_F(Delegate, OffersOnlyWhatIsPossibleWithAnEmptyPlaylist) {
  EXPECT_THAT(lines(delegate.playerSystemMenu()),
              ElementsAre("(No track selected)", "-", "(Previous)", "(Play)", "(Next)", "-", "Show Player",
                          "Quit Tolvane Music Player"));
}

TEST_F(Delegate, NamesTheCurrentFileAndOffersPauseWhileItPlays) {
  load(2);
  session.togglePausePlayback();
  settle();
  EXPECT_THAT(lines(delegate.playerSystemMenu()), ElementsAre("(1.wav)", "-", "Previous", "Pause", "Next", "-",
                                                              "Show Player", "Quit Tolvane Music Player"));
}

TEST_F(Delegate, OffersNoNextTrackOnTheLastOne) {
  load(2);
  session.playTrack(1, 0);
  session.togglePausePlayback();
  settle();
  EXPECT_THAT(lines(delegate.playerSystemMenu()), ElementsAre("(2.wav)", "-", "Previous", "Play", "(Next)", "-",
                                                              "Show Player", "Quit Tolvane Music Player"));
}

TEST_F(Delegate, GivesTheMenuItsSymbols) {
  std::vector<std::string> symbols;
  for (const auto& item : delegate.playerSystemMenu()) symbols.push_back(item.symbol);
  EXPECT_THAT(symbols, ElementsAre("", "", "backward.end.fill", "play.fill", "forward.end.fill", "", "macwindow", ""));
  load(1);
  session.togglePausePlayback();
  settle();
  EXPECT_EQ(delegate.playerSystemMenu()[3].symbol, "pause.fill");
}

TEST_F(Delegate, PerformsTheTransportActions) {
  load(3);
  delegate.perform(ShellAction::togglePlayback);
  settle();
  EXPECT_TRUE(isPlaying());
  delegate.perform(ShellAction::nextTrack);
  settle();
  EXPECT_EQ(index(), 1);
  delegate.perform(ShellAction::previousTrack);
  settle();
  EXPECT_EQ(index(), 0);
  delegate.perform(ShellAction::togglePlayback);
  settle();
  EXPECT_TRUE(isPaused());
}

TEST_F(Delegate, PlaysNothingBeyondTheLastTrack) {
  load(2);
  session.playTrack(1, 0);
  settle();
  delegate.nextTrack();
  settle();
  EXPECT_EQ(index(), 1);
  EXPECT_TRUE(isPlaying());
}

TEST_F(Delegate, QuitsOnlyWhenAskedTo) {
  delegate.perform(ShellAction::terminate);
  EXPECT_EQ(terminations, 1);
}

TEST_F(Delegate, SavesThePlaylistAndThenThePlaceInItWhenTheProgramEnds) {
  bookmarks.add(track(1));
  load(1);
  session.togglePausePlayback();
  settle();
  advance(1.03);
  defaults.forgetWrites();
  delegate.applicationWillTerminate();
  settle();
  EXPECT_NEAR(position(), 1.03, 1e-9) << "the position is brought up to date first";
  EXPECT_THAT(defaults.writes(), Contains("TolvanePlayer.SavedPlaylist"));
  EXPECT_EQ(defaults.writes().back(), "TolvanePlayer.SavedPlaybackState");
  const auto saved = defaults.stored().at("TolvanePlayer.SavedPlaybackState");
  EXPECT_THAT(std::get<UserDefaults::Data>(saved), HasSubstr("1.03"));
}

TEST_F(Delegate, KnowsTheActionsOfTheDesktopEntry) {
  EXPECT_EQ(AppDelegate::desktopAction("previous"), ShellAction::previousTrack);
  EXPECT_EQ(AppDelegate::desktopAction("play-pause"), ShellAction::togglePlayback);
  EXPECT_EQ(AppDelegate::desktopAction("next"), ShellAction::nextTrack);
  EXPECT_EQ(AppDelegate::desktopAction("show-player"), ShellAction::showPlayerFromMenu);
  for (const auto* unknown : {"", "Next", "terminate"}) EXPECT_EQ(AppDelegate::desktopAction(unknown), std::nullopt);
}

TEST_F(Delegate, DoesNothingWithoutASession) {
  delegate.setSession(nullptr);
  delegate.previousTrack();
  delegate.togglePlayback();
  delegate.nextTrack();
  settle();
  delegate.applicationWillTerminate();
  settle();
  EXPECT_THAT(lines(delegate.playerSystemMenu()),
              ElementsAre("(No track selected)", "-", "(Previous)", "(Play)", "(Next)", "-", "Show Player",
                          "Quit Tolvane Music Player"));
}

}  // namespace
}  // namespace tolvane
