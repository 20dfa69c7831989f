// The life of an output unit: created, initialised, running and back, in order and out of order.

#include <map>

#include "tests/platform/contract/ContractTest.h"

namespace tolvane::test {
namespace {

using P = AudioUnitProperty;
using S = AudioUnitScope;

class OutputUnitLifeContract : public ContractTest<AudioHardwareFixture> {
 protected:
  CountingSource source_;
};

TEST_P(OutputUnitLifeContract, AUnitNeedsDeviceFormatAndCallback) {
  prepareRate();
  for (const std::string missing : {"device", "format", "callback"}) {
    SCOPED_TRACE(missing);
    auto unit = newUnit();
    if (missing != "device") {
      EXPECT_EQ(setDevice(*unit, device()), noErr);
    }
    if (missing != "format") {
      EXPECT_EQ(setFormat(*unit, fixture().clientFormat()), noErr);
    }
    if (missing != "callback") {
      EXPECT_EQ(setCallback(*unit, source_.callback()), noErr);
    }
    EXPECT_EQ(unit->initialize(), kAudioUnitErr_FailedInitialization);
    EXPECT_EQ(unit->start(), kAudioUnitErr_Uninitialized);
  }
}

struct Call {
  char what;  // i: initialize, u: uninitialize, s: start, p: stop
  OSStatus status;
};

TEST_P(OutputUnitLifeContract, EveryOrderOfCallsGivesItsStatuses) {
  constexpr OSStatus no = kAudioUnitErr_Uninitialized;
  const std::vector<std::vector<Call>> lives = {
      {{'s', no}},
      {{'p', noErr}, {'u', noErr}},
      {{'u', noErr}, {'u', noErr}, {'s', no}},
      {{'i', noErr}, {'i', noErr}, {'u', noErr}},
      {{'i', noErr}, {'p', noErr}, {'p', noErr}, {'u', noErr}},
      {{'i', noErr}, {'s', noErr}, {'s', noErr}, {'p', noErr}, {'p', noErr}},
      {{'i', noErr}, {'s', noErr}, {'i', noErr}, {'u', noErr}, {'s', no}},
      {{'i', noErr}, {'u', noErr}, {'s', no}, {'i', noErr}, {'s', noErr}, {'p', noErr}, {'s', noErr}},
      {{'i', noErr}, {'s', noErr}, {'u', noErr}, {'p', noErr}, {'i', noErr}, {'s', noErr}},
  };
  prepareRate();
  for (const auto& life : lives) {
    auto unit = configuredUnit(source_);
    std::string history;
    for (const Call& call : life) {
      history += call.what;
      OSStatus status = noErr;
      if (call.what == 'i') status = unit->initialize();
      if (call.what == 'u') status = unit->uninitialize();
      if (call.what == 's') status = unit->start();
      if (call.what == 'p') status = unit->stop();
      EXPECT_EQ(status, call.status) << "after " << history;
      pump(20ms);
    }
  }
}

TEST_P(OutputUnitLifeContract, ItRunsFromStartToStop) {
  auto unit = configuredUnit(source_);
  EXPECT_EQ(isRunning(*unit), 0U);
  unit.reset();
  unit = initialisedUnit(source_);
  EXPECT_EQ(isRunning(*unit), 0U);
  ASSERT_EQ(unit->start(), noErr);
  EXPECT_EQ(isRunning(*unit), 1U);
  pump(100ms);
  EXPECT_EQ(isRunning(*unit), 1U);
  EXPECT_EQ(unit->stop(), noErr);
  EXPECT_EQ(isRunning(*unit), 0U);
  EXPECT_EQ(unit->uninitialize(), noErr);
  EXPECT_EQ(isRunning(*unit), 0U);
}

TEST_P(OutputUnitLifeContract, ItPullsOnlyBetweenStartAndStop) {
  auto unit = initialisedUnit(source_);
  pump(100ms);
  EXPECT_EQ(source_.rendered(), 0);
  ASSERT_EQ(unit->start(), noErr);
  EXPECT_TRUE(eventually([&] { return source_.rendered() > 0; }));
  EXPECT_EQ(unit->stop(), noErr);
  const auto rendered = source_.rendered();
  pump(300ms);
  EXPECT_EQ(source_.rendered(), rendered);
  ASSERT_EQ(unit->start(), noErr);
  EXPECT_TRUE(eventually([&] { return source_.rendered() > rendered; }));
  EXPECT_TRUE(source_.buffersWereRight());
}

TEST_P(OutputUnitLifeContract, UninitialisingARunningUnitEndsPulling) {
  auto unit = initialisedUnit(source_);
  ASSERT_EQ(unit->start(), noErr);
  EXPECT_TRUE(eventually([&] { return source_.rendered() > 0; }));
  EXPECT_EQ(unit->uninitialize(), noErr);
  const auto rendered = source_.rendered();
  pump(300ms);
  EXPECT_EQ(source_.rendered(), rendered);
}

TEST_P(OutputUnitLifeContract, DestroyingARunningUnitEndsPullingAndFreesTheDevice) {
  auto unit = initialisedUnit(source_);
  ASSERT_EQ(unit->start(), noErr);
  EXPECT_TRUE(eventually([&] { return source_.rendered() > 0; }));
  unit.reset();
  const auto rendered = source_.rendered();
  pump(300ms);
  EXPECT_EQ(source_.rendered(), rendered);
  unit = configuredUnit(source_);
  EXPECT_EQ(unit->initialize(), noErr);
}

TEST_P(OutputUnitLifeContract, ACallbackThatFailsIsTheLastRenderErrorOnceAndTheUnitGoesOn) {
  auto unit = initialisedUnit(source_);
  EXPECT_EQ(unitValue<std::int32_t>(*unit, P::lastRenderError), noErr);
  source_.failWith(-4711);
  ASSERT_EQ(unit->start(), noErr);
  EXPECT_TRUE(eventually([&] { return source_.rendered() > 0; }));
  pump(300ms);
  EXPECT_EQ(unitValue<std::int32_t>(*unit, P::lastRenderError), -4711);
  source_.failWith(noErr);
  pump(300ms);
  (void)unitValue<std::int32_t>(*unit, P::lastRenderError);  // of periods that were under way
  const auto rendered = source_.rendered();
  pump(300ms);
  EXPECT_EQ(unitValue<std::int32_t>(*unit, P::lastRenderError), noErr);
  EXPECT_GT(source_.rendered(), rendered);
  EXPECT_EQ(isRunning(*unit), 1U);
}

TEST_P(OutputUnitLifeContract, TwoUnitsOnOneDeviceDoNotDisturbEachOther) {
  auto first = initialisedUnit(source_);
  ASSERT_EQ(first->start(), noErr);
  CountingSource otherSource;
  auto second = configuredUnit(otherSource);
  const OSStatus status = second->initialize();
  EXPECT_THAT(status, testing::AnyOf(noErr, kAudioDevicePermissionsError));
  pump(200ms);
  EXPECT_EQ(isRunning(*first), 1U);
  const auto rendered = source_.rendered();
  EXPECT_TRUE(eventually([&] { return source_.rendered() > rendered; }));
  first.reset();
  EXPECT_EQ(second->initialize(), noErr);
  ASSERT_EQ(second->start(), noErr);
  EXPECT_TRUE(eventually([&] { return otherSource.rendered() > 0; }));
}

TEST_P(OutputUnitLifeContract, TheSampleTimeCannotBeReadBeforeTheFirstStart) {
  auto unit = initialisedUnit(source_);
  EXPECT_EQ(statusOf(unit->property(P::lastRenderSampleTime, S::global, 0)), kAudioUnitErr_CannotDoInCurrentContext);
}

TEST_P(OutputUnitLifeContract, TheSampleTimeGrowsWhileTheUnitRunsAndNeverGoesBack) {
  auto unit = initialisedUnit(source_);
  double last = 0;
  const auto look = [&](bool mustGrow) {
    const auto time = sampleTime(*unit);
    ASSERT_TRUE(time.has_value());
    EXPECT_GE(*time, last);
    if (mustGrow) {
      EXPECT_GT(*time, last);
    }
    last = *time;
  };
  for (int run = 0; run < 3; ++run) {
    ASSERT_EQ(unit->start(), noErr);
    look(false);
    for (int i = 0; i < 5; ++i) {
      pump(500ms);
      look(true);
    }
    EXPECT_LE(last, static_cast<double>(source_.rendered()));
    EXPECT_EQ(unit->stop(), noErr);
    look(false);
  }
}

TEST_P(OutputUnitLifeContract, ItPlaysAtTheClientsRate) {
  auto unit = initialisedUnit(source_);
  ASSERT_EQ(unit->start(), noErr);
  pump(1s);
  const auto before = sampleTime(*unit);
  pump(2s);
  const auto after = sampleTime(*unit);
  ASSERT_TRUE(before && after);
  const double expected = 2 * fixture().clientFormat().mSampleRate;
  EXPECT_NEAR(*after - *before, expected, expected * 0.2);
}

TEST_P(OutputUnitLifeContract, TheFramesPlayedAreCountedFromStartToStop) {
  auto unit = initialisedUnit(source_);
  EXPECT_EQ(unit->framesPlayed(), 0);
  for (int run = 0; run < 3; ++run) {
    source_.resetCount();
    ASSERT_EQ(unit->start(), noErr);
    pump(700ms);
    EXPECT_EQ(unit->stop(), noErr);
    EXPECT_GT(unit->framesPlayed(), 0);
    EXPECT_LE(unit->framesPlayed(), source_.rendered());
    EXPECT_GT(unit->framesPlayed(), static_cast<std::int64_t>(fixture().clientFormat().mSampleRate * 0.2));
    const auto played = unit->framesPlayed();
    pump(100ms);
    EXPECT_EQ(unit->framesPlayed(), played);
  }
}

TEST_P(OutputUnitLifeContract, StartAndStopAtOncePlaysNoMoreThanWasRendered) {
  auto unit = initialisedUnit(source_);
  for (int i = 0; i < 20; ++i) {
    source_.resetCount();
    ASSERT_EQ(unit->start(), noErr);
    EXPECT_EQ(unit->stop(), noErr);
    EXPECT_GE(unit->framesPlayed(), 0);
    EXPECT_LE(unit->framesPlayed(), source_.rendered());
  }
}

TEST_P(OutputUnitLifeContract, TheSampleTimeAgreesWithTheFramesPlayed) {
  auto unit = initialisedUnit(source_);
  double sum = 0;
  for (int run = 0; run < 3; ++run) {
    ASSERT_EQ(unit->start(), noErr);
    pump(500ms);
    EXPECT_EQ(unit->stop(), noErr);
    sum += static_cast<double>(unit->framesPlayed());
  }
  const auto time = sampleTime(*unit);
  ASSERT_TRUE(time.has_value());
  EXPECT_NEAR(*time, sum, fixture().clientFormat().mSampleRate * 0.1);
}

TEST_P(OutputUnitLifeContract, NoUnderrunsAreCountedBeforeTheStart) {
  auto unit = initialisedUnit(source_);
  EXPECT_EQ(unit->underrunCount(), 0U);
}

TEST_P(OutputUnitLifeContract, TheBufferIsReportedWhileAUnitRuns) {
  auto unit = initialisedUnit(source_);
  ASSERT_EQ(unit->start(), noErr);
  pump(100ms);
  EXPECT_GT(read<std::uint32_t>(device(), global(kAudioDevicePropertyBufferFrameSize)), 0U);
}

TEST_P(OutputUnitLifeContract, ThePhysicalFormatCarriesTheClientsWhileAUnitRuns) {
  auto unit = initialisedUnit(source_);
  ASSERT_EQ(unit->start(), noErr);
  pump(300ms);
  const auto format = read<AudioStreamBasicDescription>(firstStream(), global(kAudioStreamPropertyPhysicalFormat));
  const auto client = fixture().clientFormat();
  EXPECT_EQ(format.mFormatID, kAudioFormatLinearPCM);
  EXPECT_EQ(format.mSampleRate, client.mSampleRate);
  EXPECT_EQ(format.mChannelsPerFrame, client.mChannelsPerFrame);
  EXPECT_GE(format.mBitsPerChannel, client.mBitsPerChannel);
  EXPECT_EQ(read<std::uint32_t>(firstStream(), global(kAudioStreamPropertyIsActive)), 1U);
}

INSTANTIATE_TEST_SUITE_P(Contract, OutputUnitLifeContract, testing::ValuesIn(hardwareFixtures()), fixtureName);

}  // namespace
}  // namespace tolvane::test
