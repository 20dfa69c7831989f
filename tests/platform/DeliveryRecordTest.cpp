#include "platform/DeliveryRecord.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstring>
#include <numeric>
#include <thread>

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

/// Mono frames of 16 bits, numbered; the ring has room for two seconds and two buffers.
class Deliveries : public testing::Test {
 protected:
  static constexpr double rate = 10;  // frames a second
  static constexpr std::uint32_t bufferFrames = 5;
  static constexpr std::int64_t capacity = 30;

  static DeliveryRecord::Form form() {
    return {linearPCM(rate, 1, 16, 2, kAudioFormatFlagIsSignedInteger), usualLayout(1)};
  }
  void put(std::int64_t frame, std::uint32_t count) {
    std::vector<std::int16_t> frames(count);
    std::iota(frames.begin(), frames.end(), static_cast<std::int16_t>(frame));
    record.put(frame, std::as_bytes(std::span(frames)).data(), count);
  }
  /// The frames' numbers with their places in the run.
  std::vector<std::pair<std::int64_t, int>> taken() {
    std::vector<std::pair<std::int64_t, int>> frames;
    record.take([&](const DeliveryRecord::Piece& piece) {
      EXPECT_EQ(piece.form, form());
      for (std::size_t i = 0; i < piece.bytes.size() / 2; ++i) {
        std::int16_t value = 0;
        std::memcpy(&value, piece.bytes.data() + 2 * i, 2);
        frames.emplace_back(piece.frame + static_cast<std::int64_t>(i), value);
      }
    });
    return frames;
  }

  DeliveryRecord record;
};

TEST_F(Deliveries, AreTakenOnceTheDeviceHasPlayedThem) {
  record.begin(form(), bufferFrames);
  put(0, 4);
  EXPECT_THAT(taken(), IsEmpty());
  record.setPlayed(3);
  EXPECT_THAT(taken(), ElementsAre(Pair(0, 0), Pair(1, 1), Pair(2, 2)));
  record.setPlayed(2);  // a device whose position goes back
  EXPECT_THAT(taken(), IsEmpty());
  record.setPlayed(9);  // a device that claims more than it was given
  EXPECT_THAT(taken(), ElementsAre(Pair(3, 3)));
}

TEST_F(Deliveries, ComeOutAsTheyWentInAroundTheEndOfTheRing) {
  record.begin(form(), bufferFrames);
  std::vector<std::pair<std::int64_t, int>> all;
  for (std::int64_t frame = 0; frame < 20 * capacity; frame += 7) {
    put(frame, 7);
    record.setPlayed(frame + 3);
    for (const auto& pair : taken()) all.push_back(pair);
  }
  ASSERT_GT(all.size(), 19U * capacity);
  for (std::size_t i = 0; i < all.size(); ++i) ASSERT_THAT(all[i], Pair(i, static_cast<int>(i)));
}

TEST_F(Deliveries, ThatAreHandedOverAgainAfterAnUnderrunCountOnce) {
  record.begin(form(), bufferFrames);
  put(0, 8);
  record.setPlayed(3);
  put(3, 8);
  record.setPlayed(6);
  EXPECT_EQ(taken().size(), 6U);
  put(11, 2);
  record.end(13);
  const auto rest = taken();
  ASSERT_EQ(rest.size(), 7U);
  EXPECT_THAT(rest.front(), Pair(6, 6));
  EXPECT_THAT(rest.back(), Pair(12, 12));
}

TEST_F(Deliveries, OfWhichNothingIsTakenInTimeAreMissingFromThereOn) {
  record.begin(form(), bufferFrames);
  put(0, 20);
  put(20, 20);  // no room
  put(40, 5);
  record.end(45);
  EXPECT_EQ(taken().size(), 20U);
  record.begin(form(), bufferFrames);
  put(0, 2);
  record.end(2);
  EXPECT_THAT(taken(), ElementsAre(Pair(45, 0), Pair(46, 1)));
}

TEST_F(Deliveries, WithAHoleAreMissingFromThereOn) {
  record.begin(form(), bufferFrames);
  put(0, 2);
  put(3, 2);
  put(5, 2);
  record.end(7);
  EXPECT_THAT(taken(), ElementsAre(Pair(0, 0), Pair(1, 1)));
}

TEST_F(Deliveries, OfSeveralStretchesAreCountedThroughTheRun) {
  record.begin(form(), bufferFrames);
  put(0, 4);
  record.end(2);  // of the others the device has played none
  record.begin(form(), bufferFrames);
  put(0, 3);
  record.end(3);
  EXPECT_THAT(taken(), ElementsAre(Pair(0, 0), Pair(1, 1), Pair(2, 0), Pair(3, 1), Pair(4, 2)));
  record.begin(form(), bufferFrames);
  put(0, 1);
  record.end(1);
  record.beginRun();
  EXPECT_THAT(taken(), IsEmpty());
  record.begin(form(), bufferFrames);
  put(0, 1);
  record.end(1);
  EXPECT_THAT(taken(), ElementsAre(Pair(0, 0)));
}

TEST_F(Deliveries, AreNotRecordedOfSamplesThatAreComputed) {
  record.begin(std::nullopt, bufferFrames);
  EXPECT_TRUE(record.isComputed());
  put(0, 4);
  record.setPlayed(4);
  EXPECT_THAT(taken(), IsEmpty());
  record.end(4);
  EXPECT_FALSE(record.isComputed());
}

TEST_F(Deliveries, WithoutAStretchAreIgnored) {
  put(0, 4);
  record.end(4);
  EXPECT_THAT(taken(), IsEmpty());
}

/// The render thread puts as fast as it can; what is taken is whole up to the first frame that came too late.
TEST_F(Deliveries, PassBetweenTwoThreadsUnharmed) {
  constexpr std::int64_t frames = 200'000;
  constexpr std::uint32_t atOnce = 5;
  record.begin(form(), bufferFrames);
  std::atomic<std::int64_t> heard{0};
  std::thread renderer([&] {
    for (std::int64_t frame = 0; frame < frames; frame += atOnce) {
      while (frame + atOnce - heard.load(std::memory_order_acquire) > capacity) std::this_thread::yield();
      put(frame, atOnce);
      record.setPlayed(frame + atOnce);
    }
  });
  std::int64_t next = 0;
  while (next < frames) {
    for (const auto& [place, value] : taken()) {
      if (place != next || value != static_cast<std::int16_t>(next)) {
        ADD_FAILURE() << place << " holds " << value << " instead of " << next;
        next = frames;
        break;
      }
      ++next;
    }
    heard.store(next, std::memory_order_release);
    std::this_thread::yield();
  }
  heard.store(INT64_MAX / 2, std::memory_order_release);
  renderer.join();
  EXPECT_EQ(next, frames);
}

}  // namespace
}  // namespace tolvane
