#include "platform/alsa/pcm/RenderGate.h"

#include <gtest/gtest.h>

#include <latch>
#include <thread>

namespace tolvane {
namespace {

TEST(RenderGate, LetsNothingPassOnceItIsShut) {
  RenderGate gate;
  int passed = 0;
  EXPECT_TRUE(gate.pass([&] { ++passed; }));
  gate.shut();
  EXPECT_FALSE(gate.pass([&] { ++passed; }));
  EXPECT_EQ(passed, 1);
}

TEST(RenderGate, IsShutOnlyWhenNothingIsPassing) {
  // Neither an atomic nor a lock: only the gate keeps the two threads apart.
  constexpr int rounds = 200;
  for (int round = 0; round < rounds; ++round) {
    RenderGate gate;
    std::latch passing(1);
    int rendered = 0;
    std::thread renderer([&] {
      while (gate.pass([&] {
        if (rendered++ == 0) passing.count_down();
      })) {
      }
    });
    passing.wait();
    gate.shut();
    const int before = rendered;
    rendered = -1;
    renderer.join();
    ASSERT_GE(before, 1);
    ASSERT_EQ(rendered, -1) << "in round " << round;
  }
}

}  // namespace
}  // namespace tolvane
