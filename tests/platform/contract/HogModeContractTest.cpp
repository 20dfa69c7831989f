// Hog mode: a write toggles while no other process owns the device, and is refused while one does.

#include <unistd.h>

#include "tests/platform/contract/ContractTest.h"

namespace tolvane::test {
namespace {

class HogModeContract : public ContractTest<AudioHardwareFixture> {};

TEST_P(HogModeContract, AWriteTakesAFreeDeviceAndTheNextGivesItBackWhateverNumberIsWritten) {
  for (const std::int32_t number : {-1, 0, 1, static_cast<std::int32_t>(getpid()), 2'000'000'000}) {
    SCOPED_TRACE(number);
    EXPECT_EQ(writeHog(number), noErr);
    EXPECT_EQ(hogOwner(), getpid());
    EXPECT_EQ(writeHog(number), noErr);
    EXPECT_EQ(hogOwner(), -1);
  }
}

TEST_P(HogModeContract, TheListenerIsNotifiedWhenOwnershipChanges) {
  int notified = 0;
  const auto id =
      hardware().addPropertyListener(device(), global(kAudioDevicePropertyHogMode), [&](const auto&) { ++notified; });
  ASSERT_TRUE(id.has_value());
  ASSERT_EQ(writeHog(), noErr);
  EXPECT_EQ(notified, 0);
  EXPECT_TRUE(eventually([&] { return notified > 0; }));
  pump(200ms);
  notified = 0;
  ASSERT_EQ(writeHog(), noErr);
  EXPECT_TRUE(eventually([&] { return notified > 0; }));
  EXPECT_EQ(hardware().removePropertyListener(*id), noErr);
}

TEST_P(HogModeContract, TheOwnerPlaysAndKeepsTheDeviceWhenItsUnitIsGone) {
  prepareRate();
  ASSERT_EQ(writeHog(), noErr);
  {
    CountingSource source;
    auto unit = configuredUnit(source);
    ASSERT_EQ(unit->initialize(), noErr);
    ASSERT_EQ(unit->start(), noErr);
    EXPECT_TRUE(eventually([&] { return source.rendered() > 0; }));
    EXPECT_EQ(hogOwner(), getpid());
    EXPECT_EQ(unit->stop(), noErr);
  }
  EXPECT_EQ(hogOwner(), getpid());
  EXPECT_EQ(writeHog(), noErr);
  EXPECT_EQ(hogOwner(), -1);
}

TEST_P(HogModeContract, TheOwnerChangesTheRate) {
  ASSERT_EQ(writeHog(), noErr);
  const double rate = anotherRate();
  EXPECT_EQ(writeRate(rate), noErr);
  EXPECT_TRUE(eventually([&] { return nominalRate() == rate; }));
  EXPECT_EQ(writeHog(), noErr);
}

TEST_P(HogModeContract, AUnitThatPlaysWithoutItOwnsNothing) {
  CountingSource source;
  auto unit = initialisedUnit(source);
  ASSERT_EQ(unit->start(), noErr);
  EXPECT_TRUE(eventually([&] { return source.rendered() > 0; }));
  EXPECT_EQ(hogOwner(), -1);
}

TEST_P(HogModeContract, AUnitThatPlaysWithoutItTakesItAndPlaysOn) {
  CountingSource source;
  auto unit = initialisedUnit(source);
  ASSERT_EQ(unit->start(), noErr);
  ASSERT_TRUE(eventually([&] { return source.rendered() > 0; }));
  ASSERT_EQ(hogOwner(), -1);
  EXPECT_EQ(writeHog(), noErr);
  EXPECT_EQ(hogOwner(), getpid());
  const std::int64_t before = source.rendered();
  EXPECT_TRUE(eventually([&] { return source.rendered() > before; }));
  EXPECT_EQ(isRunning(*unit), 1U);
  EXPECT_EQ(writeHog(), noErr);
  EXPECT_EQ(hogOwner(), -1);
  EXPECT_EQ(isRunning(*unit), 1U) << "giving it back takes nothing from the unit";
}

INSTANTIATE_TEST_SUITE_P(Contract, HogModeContract, testing::ValuesIn(hardwareFixtures()), fixtureName);

class ContestedDeviceContract : public ContractTest<ContestedHardwareFixture> {};

TEST_P(ContestedDeviceContract, AnotherOwnerIsReportedAndCannotBeOusted) {
  const std::int32_t owner = fixture().occupy();
  EXPECT_TRUE(eventually([&] { return hogOwner() == owner; }));
  EXPECT_EQ(writeHog(), kAudioDevicePermissionsError);
  EXPECT_EQ(writeHog(owner), kAudioDevicePermissionsError);
  EXPECT_EQ(hogOwner(), owner);
  fixture().leave();
  EXPECT_TRUE(eventually([&] { return hogOwner() == -1; }));
  EXPECT_EQ(writeHog(), noErr);
  EXPECT_EQ(hogOwner(), getpid());
  EXPECT_EQ(writeHog(), noErr);
}

TEST_P(ContestedDeviceContract, AnotherOwnerIsNamed) {
  const auto name = [this] { return read<std::string>(device(), global(kAudioDevicePropertyHogModeOwnerName)); };
  fixture().occupy();
  EXPECT_TRUE(eventually([&] { return hogOwner() != -1; }));
  ASSERT_TRUE(hardware().hasProperty(device(), global(kAudioDevicePropertyHogModeOwnerName)));
  EXPECT_EQ(name(), fixture().occupantName());
  fixture().leave();
  EXPECT_TRUE(eventually([&] { return hogOwner() == -1; }));
  EXPECT_EQ(name(), "");
}

TEST_P(ContestedDeviceContract, TheListenerIsNotifiedWhenAnotherProcessComesAndGoes) {
  int notified = 0;
  const auto id =
      hardware().addPropertyListener(device(), global(kAudioDevicePropertyHogMode), [&](const auto&) { ++notified; });
  ASSERT_TRUE(id.has_value());
  fixture().occupy();
  EXPECT_TRUE(eventually([&] { return notified > 0; }));
  pump(200ms);
  notified = 0;
  fixture().leave();
  EXPECT_TRUE(eventually([&] { return notified > 0; }));
  EXPECT_EQ(hardware().removePropertyListener(*id), noErr);
}

TEST_P(ContestedDeviceContract, AUnitCannotOpenTheDeviceUntilTheOtherHasLeft) {
  prepareRate();
  fixture().occupy();
  CountingSource source;
  auto unit = configuredUnit(source);
  EXPECT_EQ(unit->initialize(), kAudioDevicePermissionsError);
  EXPECT_EQ(unit->start(), kAudioUnitErr_Uninitialized);
  fixture().leave();
  EXPECT_TRUE(eventually([&] { return hogOwner() == -1; }));
  EXPECT_EQ(unit->initialize(), noErr);
  EXPECT_EQ(unit->start(), noErr);
  EXPECT_TRUE(eventually([&] { return source.rendered() > 0; }));
}

INSTANTIATE_TEST_SUITE_P(Contract, ContestedDeviceContract, testing::ValuesIn(contestedFixtures()), fixtureName);

}  // namespace
}  // namespace tolvane::test
