// Window and player as two real threads that exchange commands and states at random times, while files and devices hang
// now and then. For ThreadSanitizer; and at the end both sides must agree, with nothing held.

#include <gmock/gmock.h>

#include <cstdio>

#include "tests/session/ThreadedPlayer.h"
#include "tests/support/SeededRandom.h"

namespace tolvane {
namespace {

constexpr int commandCount = 3'000;

class Listener {
 public:
  explicit Listener(std::uint64_t seed) : random_(seed) {
    player_.start();
    load();
  }

  void actAndTurn() {
    act();
    for (auto turns = random_.below(6); turns > 0; --turns) player_.turnWindow();
    if (player_.gate.isHolding() && random_.chance(0.2)) letGo();
    if (!player_.gate.isHolding() && random_.chance(0.05)) player_.turnFor(random_.below(100));
  }

  void expectAgreement() {
    player_.gate.open();
    player_.turnUntilAnswered();  // a row that is chosen from here on is one of the last playlist's
    player_.proxy.setOutputVolume(0.125);
    player_.proxy.setOutputBalance(0.25);
    player_.proxy.stopPlayback();
    player_.proxy.playTrack(1, 0);
    const auto isThere = [&] { return player_.state().isPlaying && player_.state().currentIndex == 1; };
    for (int turn = 0; turn < 50'000 && !isThere(); ++turn) player_.turnWindow();
    const SessionState& now = player_.state();
    EXPECT_TRUE(isThere()) << "row " << now.currentIndex << " of " << now.tracks.size() << ", "
                           << now.audioPathStatus.label << ": " << now.audioPathStatus.detail
                           << (now.isPreparing ? ", preparing" : "") << (now.isPaused ? ", paused" : "")
                           << ", last command " << now.lastCommand;
    player_.turnUntilAnswered();
    const SessionState shown = player_.state();
    EXPECT_EQ(shown.tracks.size(), 3U);
    EXPECT_EQ(shown.outputVolume, 0.125);
    EXPECT_EQ(shown.outputBalance, 0.25);
    EXPECT_EQ(shown.heldUpBy, "");
    player_.end();
    EXPECT_EQ(player_.simulatedDefaults.value<double>("TolvanePlayer.OutputVolume"), 0.125);
    EXPECT_EQ(player_.simulatedDefaults.value<double>("TolvanePlayer.OutputBalance"), 0.25);
    EXPECT_EQ(player_.rest.units, 0);
    EXPECT_EQ(player_.rest.openDevices, 0U);
    EXPECT_EQ(player_.rest.hogs, 0U);
    std::printf("%d commands, %d held calls, %llu turns of the window, %llu of the player\n", commandCount, held_,
                static_cast<unsigned long long>(player_.windowTurns.load()),
                static_cast<unsigned long long>(player_.playerTurns()));
    EXPECT_GT(held_, 0);
  }

 private:
  void load() {
    const std::vector urls{test::ThreadedPlayer::track(1), test::ThreadedPlayer::track(2),
                           test::ThreadedPlayer::track(3)};
    player_.proxy.loadPlaylist(urls, random_.chance(0.5));
  }

  void act() {
    auto& proxy = player_.proxy;
    switch (random_.below(16)) {
      case 0:
        return load();
      case 1:
      case 2:
      case 3:
        return proxy.playTrack(random_.between(-1, 3), random_.fraction());
      case 4:
        return proxy.togglePausePlayback();
      case 5:
        return proxy.stopPlayback();
      case 6:
        return proxy.seek(random_.fraction() * 40);
      case 7:
        return proxy.next();
      case 8:
        return proxy.previous();
      case 9:
        return proxy.moveTrack(random_.between(0, 2), random_.between(0, 2));
      case 10:
        return proxy.setOutputVolume(random_.fraction());
      case 11:
        return proxy.setOutputBalance(random_.fraction() * 2 - 1);
      case 12:
        return proxy.selectOutputDevice(random_.chance(0.5) ? player_.dac : player_.headphones);
      case 13:
        return proxy.setExclusiveAccessEnabled(random_.chance(0.5));
      case 14:
        return proxy.save();
      default:
        return trouble();
    }
  }

  void letGo() {
    if (player_.gate.isHolding()) ++held_;
    player_.gate.open();
  }

  /// A call that hangs until the next trouble, or another program that re-clocks the device.
  void trouble() {
    letGo();
    constexpr std::array calls{
        "files.open",       "files.readBytes",       "unit.start",        "unit.stop", "bookmarks.make",
        "hardware.setRate", "hardware.propertyData", "defaults.setObject"};
    if (random_.chance(0.7)) return player_.gate.holdNext(calls[random_.below(calls.size())]);
    player_.onPlayer([this, rate = random_.chance(0.5) ? 8000.0 : 44100.0] {
      player_.simulatedHardware.device(player_.dac).setNominalRateFromOutside(rate);
    });
  }

  test::ThreadedPlayer player_;
  test::SeededRandom random_;
  int held_ = 0;
};

TEST(Seam, KeepsWindowAndPlayerInAgreement) {
  for (const std::uint64_t seed : {1, 2, 3}) {
    SCOPED_TRACE(seed);
    Listener listener(seed);
    for (int command = 0; command < commandCount; ++command) listener.actAndTurn();
    listener.expectAgreement();
  }
}

}  // namespace
}  // namespace tolvane
