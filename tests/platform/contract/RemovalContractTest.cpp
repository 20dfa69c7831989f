// Hardware that is unplugged and comes back.

#include "tests/platform/contract/ContractTest.h"

namespace tolvane::test {
namespace {

using P = AudioUnitProperty;

class RemovalContract : public ContractTest<RemovableHardwareFixture> {
 protected:
  bool isListed(AudioObjectID id) {
    const auto ids = read<std::vector<std::uint32_t>>(kAudioObjectSystemObject, global(kAudioHardwarePropertyDevices));
    return std::ranges::find(ids, id) != ids.end();
  }
  void unplug() {
    const auto id = device();
    fixture().unplug();
    EXPECT_TRUE(eventually([&] { return !isListed(id); }));
  }

  CountingSource source_;
};

TEST_P(RemovalContract, ADeviceThatHasGoneIsNoObjectAnyMore) {
  const auto id = device();
  const auto stream = firstStream();
  unplug();
  const auto address = global(kAudioDevicePropertyNominalSampleRate);
  EXPECT_FALSE(hardware().hasProperty(id, address));
  EXPECT_EQ(statusOf(hardware().propertyData(id, address)), kAudioHardwareBadObjectError);
  EXPECT_EQ(hardware().setPropertyData(id, address, 44100.0), kAudioHardwareBadObjectError);
  EXPECT_EQ(statusOf(hardware().propertyData(stream, global(kAudioStreamPropertyIsActive))),
            kAudioHardwareBadObjectError);
}

TEST_P(RemovalContract, ItsGoingIsAnnouncedByTheDeviceAndByTheList) {
  int alive = 0;
  int list = 0;
  const auto aliveID = hardware().addPropertyListener(device(), global(kAudioDevicePropertyDeviceIsAlive),
                                                      [&](const auto&) { ++alive; });
  const auto listID = hardware().addPropertyListener(kAudioObjectSystemObject, global(kAudioHardwarePropertyDevices),
                                                     [&](const auto&) { ++list; });
  ASSERT_TRUE(aliveID && listID);
  unplug();
  EXPECT_TRUE(eventually([&] { return alive > 0 && list > 0; }));
  EXPECT_EQ(hardware().removePropertyListener(*aliveID), noErr) << "its object has gone, the registration has not";
  EXPECT_EQ(hardware().removePropertyListener(*listID), noErr);
}

TEST_P(RemovalContract, ItComesBackUnderItsOldIdAndUID) {
  const auto id = device();
  const auto stream = firstStream();
  const auto uid = read<std::string>(id, global(kAudioDevicePropertyDeviceUID));
  unplug();
  fixture().plugIn();
  EXPECT_TRUE(eventually([&] { return isListed(id); }));
  EXPECT_EQ(read<std::string>(id, global(kAudioDevicePropertyDeviceUID)), uid);
  EXPECT_EQ(firstStream(), stream);
  EXPECT_EQ(hogOwner(), -1);
}

TEST_P(RemovalContract, OwnershipEndsWithTheHardware) {
  ASSERT_EQ(writeHog(), noErr);
  const auto id = device();
  unplug();
  fixture().plugIn();
  EXPECT_TRUE(eventually([&] { return isListed(id); }));
  EXPECT_EQ(hogOwner(), -1);
}

TEST_P(RemovalContract, TheDefaultIsADeviceThatIsThere) {
  unplug();
  const auto id = read<std::uint32_t>(kAudioObjectSystemObject, global(kAudioHardwarePropertyDefaultOutputDevice));
  EXPECT_TRUE(id == kAudioObjectUnknown || isListed(id));
}

TEST_P(RemovalContract, ARunningUnitStopsWithAnErrorAndItsCallsStillReturn) {
  auto unit = initialisedUnit(source_);
  ASSERT_EQ(unit->start(), noErr);
  pump(500ms);
  unplug();
  EXPECT_TRUE(eventually([&] { return isRunning(*unit) == 0U; }));
  EXPECT_NE(unitValue<std::int32_t>(*unit, P::lastRenderError).value_or(noErr), noErr);
  const auto rendered = source_.rendered();
  pump(300ms);
  EXPECT_EQ(source_.rendered(), rendered);
  EXPECT_EQ(unit->stop(), kAudioHardwareBadDeviceError);
  EXPECT_EQ(unit->stop(), noErr) << "it is stopped all the same";
  EXPECT_GT(unit->framesPlayed(), 0);
  EXPECT_LE(unit->framesPlayed(), rendered);
  EXPECT_EQ(unit->start(), kAudioHardwareBadDeviceError);
  EXPECT_EQ(unit->uninitialize(), noErr);
  EXPECT_EQ(unit->initialize(), kAudioHardwareBadDeviceError);
}

TEST_P(RemovalContract, AUnitThatLostItsDevicePlaysOnlyAfterANewInitialisation) {
  auto unit = initialisedUnit(source_);
  ASSERT_EQ(unit->start(), noErr);
  pump(300ms);
  const auto id = device();
  unplug();
  fixture().plugIn();
  EXPECT_TRUE(eventually([&] { return isListed(id); }));
  EXPECT_EQ(unit->stop(), kAudioHardwareBadDeviceError);
  if (!fixture().findsItsWayAgain()) {
    EXPECT_EQ(unit->start(), kAudioHardwareBadDeviceError);
  }
  EXPECT_EQ(unit->uninitialize(), noErr);
  prepareRate();
  EXPECT_EQ(unit->initialize(), noErr);
  const auto rendered = source_.rendered();
  EXPECT_EQ(unit->start(), noErr);
  EXPECT_TRUE(eventually([&] { return source_.rendered() > rendered; }));
}

TEST_P(RemovalContract, ADeviceThatHasGoneCannotBeBound) {
  const auto id = device();
  auto unit = newUnit();
  unplug();
  EXPECT_EQ(setDevice(*unit, id), kAudioHardwareBadDeviceError);
}

TEST_P(RemovalContract, DestroyingAUnitWhoseDeviceHasGoneIsSafe) {
  auto unit = initialisedUnit(source_);
  ASSERT_EQ(unit->start(), noErr);
  pump(300ms);
  unplug();
  unit.reset();
  pump(300ms);
}

INSTANTIATE_TEST_SUITE_P(Contract, RemovalContract, testing::ValuesIn(removableFixtures()), fixtureName);

}  // namespace
}  // namespace tolvane::test
