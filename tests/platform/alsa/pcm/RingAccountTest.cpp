#include "platform/alsa/pcm/RingAccount.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <random>
#include <vector>

namespace tolvane {
namespace {

constexpr std::int64_t ringFrames = 3;
constexpr std::size_t frameBytes = 2;

/// A device with a ring, and a render thread that fills it with frames that are numbered. What the device plays must be
/// the numbers in order, whatever happens.
class Machine {
 public:
  /// Renders until `standing` frames stand behind those written, and commits so many of them. False: there is no room.
  bool write(std::int64_t standing, std::int64_t committed) {
    const std::int64_t room = ringFrames - (account.written() - heardByDevice_);
    const std::int64_t most = std::min(room, ringFrames - account.place());  // as far as the ring goes on in one piece
    if (standing > most || committed > standing || standing < account.uncommitted()) return false;
    std::byte* const place = ring_.data() + account.place() * frameBytes;
    for (std::int64_t at = account.uncommitted(); at < standing;) {
      const std::int64_t again = account.takeAgain(place + at * frameBytes, standing - at);
      at += again;
      if (again == 0) put(place + at++ * frameBytes, rendered_++);
    }
    account.stand(standing);
    account.commit(committed);
    hasWritten_ = true;
    return true;
  }
  /// The device plays a frame. False: it has none.
  bool play() {
    if (heardByDevice_ >= account.written()) return false;
    heard.push_back(number(ring_.data() + devicePlace_++ % ringFrames * frameBytes));
    ++heardByDevice_;
    return true;
  }
  void look() { account.lookPlaying(account.written() - heardByDevice_); }
  /// The stream stops, and its ring is prepared anew.
  void stopAndPrepare() {
    look();
    account.keepUnheard(hasWritten_ ? ring_.data() : nullptr);
    EXPECT_EQ(account.played(), account.written());
    heardByDevice_ = account.written();
    std::ranges::fill(ring_, std::byte{0xEE});  // the old content must not be used
    devicePlace_ = 0;
    account.prepare();
    ++stops;
  }
  /// Lets everything that was rendered be heard.
  void drain() {
    for (int turn = 0; turn < 100 && static_cast<std::int64_t>(heard.size()) < rendered_; ++turn) {
      const std::int64_t left = rendered_ - static_cast<std::int64_t>(heard.size());
      if (account.uncommitted() > 0)
        write(account.uncommitted(), account.uncommitted());
      else if (heardByDevice_ == account.written() && left > 0)
        write(1, 1);
      while (play()) continue;
    }
  }
  [[nodiscard]] std::int64_t rendered() const { return rendered_; }

  RingAccount account{ringFrames, frameBytes};
  std::vector<std::int64_t> heard;
  int stops = 0;

 private:
  static void put(std::byte* place, std::int64_t value) {
    const auto small = static_cast<std::uint16_t>(value);
    std::memcpy(place, &small, frameBytes);
  }
  static std::int64_t number(const std::byte* place) {
    std::uint16_t value = 0;
    std::memcpy(&value, place, frameBytes);
    return value;
  }

  std::vector<std::byte> ring_ = std::vector<std::byte>(ringFrames * frameBytes, std::byte{0xEE});
  std::int64_t rendered_ = 0;
  std::int64_t heardByDevice_ = 0;  ///< as written() counts
  std::int64_t devicePlace_ = 0;    ///< frames since the ring was prepared
  bool hasWritten_ = false;
};

constexpr int stopAction = 0;
constexpr int playAction = 1;
constexpr int lookAction = 2;
constexpr int firstWrite = 3;
constexpr int actions = firstWrite + 9;  // 1 … 3 frames stand, of which 1 … 3 are committed, and of one none

/// False: it cannot be done now.
bool act(Machine& machine, int action) {
  switch (action) {
    case stopAction:
      machine.stopAndPrepare();
      return true;
    case playAction:
      return machine.play();
    case lookAction:
      machine.look();
      return true;
    default:
      return machine.write((action - firstWrite) / 3 + 1, (action - firstWrite) % 3);
  }
}

/// Each frame once, in order, and counted once.
void expectAllHeard(const Machine& machine) {
  std::vector<std::int64_t> wanted(static_cast<std::size_t>(machine.rendered()));
  std::iota(wanted.begin(), wanted.end(), 0);
  EXPECT_EQ(machine.heard, wanted);
  EXPECT_EQ(machine.account.written(), machine.rendered());
}

/// Every run of so many actions that can be done one after another.
class EveryRun {
 public:
  explicit EveryRun(int length) : length_(length) { goOn(Machine(), 0); }

  std::int64_t runs = 0;
  std::int64_t stopsWithMusic = 0;
  std::int64_t stopsTwice = 0;

 private:
  void goOn(const Machine& before, int depth) {
    if (depth == length_) return judge(before);
    for (int action = 0; action < actions && !testing::Test::HasFailure(); ++action) {
      Machine machine = before;
      const bool hasMusic = machine.rendered() > static_cast<std::int64_t>(machine.heard.size());
      if (!act(machine, action)) continue;
      stopsWithMusic += action == stopAction && hasMusic;
      goOn(machine, depth + 1);
    }
  }
  void judge(Machine machine) {
    machine.drain();
    expectAllHeard(machine);
    ++runs;
    stopsTwice += machine.stops > 1;
  }

  const int length_;
};

TEST(RingAccount, LosesAndRepeatsNoFrameWhateverHappensToTheRing) {
  const EveryRun every(7);
  EXPECT_GT(every.runs, 100'000);
  EXPECT_GT(every.stopsWithMusic, 10'000);
  EXPECT_GT(every.stopsTwice, 10'000);
}

TEST(RingAccount, KeepsItsBooksOverLongRuns) {
  constexpr int runs = 300;
  constexpr int actionsARun = 400;
  int stops = 0;
  for (unsigned seed = 1; seed <= runs && !HasFailure(); ++seed) {
    std::mt19937 random(seed);
    Machine machine;
    for (int count = 0; count < actionsARun; ++count) {
      const int action = static_cast<int>(random() % (actions + 6));
      act(machine, action < actions ? action : playAction);  // a stop is rarer than music
    }
    machine.drain();
    expectAllHeard(machine);
    stops += machine.stops;
  }
  EXPECT_GT(stops, 5 * runs);
}

TEST(RingAccount, WritesNoMoreAgainThanTheRingHolds) {
  RingAccount account(2, frameBytes);
  const std::vector<std::byte> ring{std::byte{1}, std::byte{1}, std::byte{2}, std::byte{2}};
  account.stand(2);
  account.commit(2);
  account.lookPlaying(0);
  account.stand(2);
  account.commit(2);
  account.stand(2);
  account.commit(2);  // a driver that takes more than its ring holds
  account.keepUnheard(ring.data());
  std::vector<std::byte> room(8);
  EXPECT_EQ(account.takeAgain(room.data(), 4), 2);
}

TEST(RingAccount, WhatWasPlayedStaysPlayedWhileTheDevicePlays) {
  RingAccount account(100, frameBytes);
  account.stand(80);
  account.commit(80);
  account.lookPlaying(30);
  EXPECT_EQ(account.played(), 50);
  account.lookPlaying(40);
  EXPECT_EQ(account.played(), 50) << "a driver that goes back";
  account.lookPlaying(-5);
  EXPECT_EQ(account.played(), 80) << "never more than was written";
  account.lookPaused(40);
  EXPECT_EQ(account.played(), 40) << "a position that stands is exact";
  account.lookPaused(90);
  EXPECT_EQ(account.played(), 0);
}

TEST(RingAccount, ANewRunBeginsAtNothing) {
  RingAccount account(4, frameBytes);
  const std::vector<std::byte> ring(8, std::byte{7});
  account.stand(4);
  account.commit(3);
  account.keepUnheard(ring.data());
  account.begin();
  std::vector<std::byte> room(8);
  EXPECT_EQ(account.takeAgain(room.data(), 4), 0);
  EXPECT_EQ(account.written(), 0);
  EXPECT_EQ(account.played(), 0);
  EXPECT_EQ(account.uncommitted(), 0);
  EXPECT_EQ(account.place(), 0);
  EXPECT_EQ(account.playedSincePrepared(), 0);
}

TEST(RingAccount, WritesNothingAgainThatStoodInTheRingBeforeItWasPrepared) {
  RingAccount account(4, frameBytes);
  const std::vector<std::byte> ring(8, std::byte{7});
  account.stand(3);
  account.commit(3);
  account.lookPlaying(0);
  account.prepare();
  account.stand(1);
  account.commit(1);
  account.lookPaused(4);  // a driver that goes back to where it was before
  account.keepUnheard(ring.data());
  std::vector<std::byte> room(8);
  EXPECT_EQ(account.takeAgain(room.data(), 4), 1);
}

TEST(RingAccount, WritesNothingAgainOfARingThatWasNeverWrittenTo) {
  RingAccount account(4, frameBytes);
  account.stand(2);
  account.keepUnheard(nullptr);
  EXPECT_EQ(account.written(), 2);
  EXPECT_EQ(account.played(), 2);
  std::vector<std::byte> room(8);
  EXPECT_EQ(account.takeAgain(room.data(), 4), 0);
  EXPECT_EQ(account.memory().size(), 8U);
}

}  // namespace
}  // namespace tolvane
