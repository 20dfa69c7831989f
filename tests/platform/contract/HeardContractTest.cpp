// What comes out: every frame once and in order, also across pauses in which the caller goes back to what was heard.

#include "tests/platform/contract/ContractTest.h"

namespace tolvane::test {
namespace {

class HeardContract : public ContractTest<AudibleHardwareFixture> {
 protected:
  /// Frames that are not silence; the source renders none that is.
  static std::vector<std::uint32_t> withoutSilence(std::vector<std::uint32_t> frames) {
    std::erase(frames, 0U);
    return frames;
  }
  /// The first place where the frames do not count 1, 2, 3, …; their number when all do.
  static std::size_t countingEndsAt(const std::vector<std::uint32_t>& frames) {
    std::size_t i = 0;
    while (i < frames.size() && frames[i] == i + 1) ++i;
    return i;
  }

  CountingSource source_;
};

TEST_P(HeardContract, WhatWasPlayedIsWhatWasRendered) {
  // First: a loopback card takes its format from the program that opens it first, and a server opens it in its own.
  fixture().beginListening();
  auto unit = initialisedUnit(source_);
  ASSERT_EQ(unit->start(), noErr);
  pump(2s);
  EXPECT_EQ(unit->stop(), noErr);
  const auto heard = withoutSilence(fixture().endListening());
  EXPECT_EQ(countingEndsAt(heard), heard.size());
  EXPECT_GT(heard.size(), 10'000U);
}

TEST_P(HeardContract, GoingBackToTheFramesPlayedNeitherLosesNorRepeatsAFrame) {
  fixture().beginListening();
  auto unit = initialisedUnit(source_);
  std::uint32_t position = 1;
  for (const auto length : {700ms, 333ms, 51ms, 1ms, 480ms, 1000ms}) {
    source_.seek(position);
    ASSERT_EQ(unit->start(), noErr);
    pump(length);
    EXPECT_EQ(unit->stop(), noErr);
    position += static_cast<std::uint32_t>(unit->framesPlayed());
    pump(100ms);
  }
  const auto heard = withoutSilence(fixture().endListening());
  const auto end = countingEndsAt(heard);
  EXPECT_EQ(end, heard.size()) << "frame " << (end < heard.size() ? heard[end] : 0) << " instead of " << end + 1;
  EXPECT_GT(heard.size(), 10'000U);
}

INSTANTIATE_TEST_SUITE_P(Contract, HeardContract, testing::ValuesIn(audibleFixtures()), fixtureName);

}  // namespace
}  // namespace tolvane::test
