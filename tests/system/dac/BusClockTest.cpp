#include "tests/system/dac/BusClock.h"

#include <gmock/gmock.h>

namespace tolvane {
namespace {

using ::testing::DoubleNear;

/// The frames a second that a host sends when it follows a second's worth of feedback, a value each 4 ms.
double framesFollowed(std::uint32_t rate, double errorPpm) {
  FeedbackClock clock;
  double frames = 0;
  for (int value = 0; value < 250; ++value) frames += clock.next(rate, errorPpm) / 65536.0 * 32;
  return frames;
}

UsbIpSubmit transferOf(std::size_t packets, std::uint32_t sequence = 0) {
  UsbIpSubmit transfer;
  transfer.sequence = sequence;
  transfer.interval = 1;
  transfer.packets.resize(packets);
  return transfer;
}

constexpr double kMillisecond = 1e-3;

TEST(FeedbackClock, AsksForTheNominalRateWithoutAnError) {
  for (const std::uint32_t rate : {44100U, 48000U, 352800U, 768000U})
    EXPECT_THAT(framesFollowed(rate, 0), DoubleNear(rate, 0.001)) << rate;
}

TEST(FeedbackClock, AsksForMoreOfAFastClockAndLessOfASlowOne) {
  EXPECT_THAT(framesFollowed(48000, 200), DoubleNear(48009.6, 0.001));
  EXPECT_THAT(framesFollowed(44100, -1000), DoubleNear(44055.9, 0.001));
}

TEST(TransferQueue, LetsPacketsGoOneAMicroframe) {
  TransferQueue queue;
  queue.push(transferOf(8), 10, false);
  EXPECT_FALSE(queue.takeDue(10 + 0.9 * kMillisecond));
  EXPECT_TRUE(queue.takeDue(10 + 1.1 * kMillisecond));
  EXPECT_TRUE(queue.isEmpty());
}

TEST(TransferQueue, PlacesATransferBehindTheOneBefore) {
  TransferQueue queue;
  queue.push(transferOf(8), 10, false);
  EXPECT_EQ(queue.push(transferOf(16), 10, true), 0);
  EXPECT_THAT(queue.end(), DoubleNear(10 + 3 * kMillisecond, 1e-9));
}

TEST(TransferQueue, MakesUpForALateHostButReportsHowLongTheWireWasDry) {
  TransferQueue queue;
  queue.push(transferOf(8), 10, false);
  ASSERT_TRUE(queue.takeDue(10.01));
  EXPECT_THAT(queue.push(transferOf(8), 10 + 5 * kMillisecond, true), DoubleNear(4 * kMillisecond, 1e-9));
  EXPECT_THAT(queue.end(), DoubleNear(10 + 2 * kMillisecond, 1e-9));
}

TEST(TransferQueue, StartsANewStreamNow) {
  TransferQueue queue;
  queue.push(transferOf(8), 10, false);
  ASSERT_TRUE(queue.takeDue(10.01));
  queue.push(transferOf(8), 10.05, false);
  EXPECT_THAT(*queue.nextDue(), DoubleNear(10.051, 1e-9));
}

TEST(TransferQueue, CancelsTheOneThatIsNamed) {
  TransferQueue queue;
  queue.push(transferOf(8, 1), 10, false);
  queue.push(transferOf(8, 2), 10, true);
  EXPECT_FALSE(queue.cancel(3));
  EXPECT_EQ(queue.cancel(1)->request.sequence, 1);
  EXPECT_EQ(queue.takeDue(11)->request.sequence, 2);
}

}  // namespace
}  // namespace tolvane
