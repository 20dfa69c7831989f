// Objects and their properties: what every adapter's tree looks like from outside.

#include <algorithm>
#include <limits>
#include <set>

#include "tests/platform/contract/ContractTest.h"

#include "platform/FourCharText.h"

namespace tolvane::test {
namespace {

constexpr AudioObjectID kNoSuchObject = 0xFFFF'FFF0;

struct Place {
  AudioObjectPropertyAddress address;
  std::size_t type;  // index in AudioPropertyValue
};

template <typename T>
Place placeOf(const AudioObjectPropertyAddress& address) {
  return {address, AudioPropertyValue(T{}).index()};
}

std::vector<Place> systemProperties() {
  return {placeOf<std::vector<std::uint32_t>>(global(kAudioHardwarePropertyDevices)),
          placeOf<std::uint32_t>(global(kAudioHardwarePropertyDefaultOutputDevice))};
}

std::vector<Place> deviceProperties() {
  return {placeOf<std::string>(global(kAudioObjectPropertyName)),
          placeOf<std::string>(global(kAudioDevicePropertyDeviceUID)),
          placeOf<std::uint32_t>(global(kAudioDevicePropertyTransportType)),
          placeOf<std::vector<AudioValueRange>>(global(kAudioDevicePropertyAvailableNominalSampleRates)),
          placeOf<std::int32_t>(global(kAudioDevicePropertyHogMode)),
          placeOf<std::uint32_t>(global(kAudioDevicePropertyDeviceIsAlive)),
          placeOf<std::vector<std::uint32_t>>(output(kAudioDevicePropertyStreams)),
          placeOf<std::vector<std::uint32_t>>(output(kAudioDevicePropertyStreamConfiguration))};
}

/// What cannot be known may fail to be read, but has its type when it can: of a device …
std::vector<Place> unknownDeviceProperties() {
  return {placeOf<double>(global(kAudioDevicePropertyNominalSampleRate)),
          placeOf<std::uint32_t>(global(kAudioDevicePropertyBufferFrameSize))};
}

/// … and of its stream.
std::vector<Place> unknownStreamProperties() {
  return {placeOf<std::uint32_t>(global(kAudioStreamPropertyIsActive)),
          placeOf<AudioStreamBasicDescription>(global(kAudioStreamPropertyPhysicalFormat)),
          placeOf<AudioStreamBasicDescription>(global(kAudioStreamPropertyVirtualFormat))};
}

std::vector<AudioObjectPropertyAddress> addressesThatNameNothing() {
  return {global(fourCharCode("zzzz")),
          {},
          {kAudioDevicePropertyNominalSampleRate, kAudioObjectPropertyScopeGlobal, 7},
          {kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeOutput, kAudioObjectPropertyElementMain},
          {kAudioDevicePropertyStreams, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain},
          {kAudioStreamPropertyPhysicalFormat, fourCharCode("wild"), kAudioObjectPropertyElementMain}};
}

class AudioHardwarePropertyContract : public ContractTest<AudioHardwareFixture> {
 protected:
  std::vector<AudioObjectID> devices() {
    return read<std::vector<std::uint32_t>>(kAudioObjectSystemObject, global(kAudioHardwarePropertyDevices));
  }
};

TEST_P(AudioHardwarePropertyContract, AnUnknownObjectHasNoProperties) {
  for (const AudioObjectID object : {kAudioObjectUnknown, kNoSuchObject}) {
    for (const auto& place : deviceProperties()) EXPECT_FALSE(hardware().hasProperty(object, place.address));
    for (const auto& place : systemProperties()) EXPECT_FALSE(hardware().hasProperty(object, place.address));
  }
}

TEST_P(AudioHardwarePropertyContract, EveryCallOnAnUnknownObjectSaysSo) {
  const auto address = global(kAudioDevicePropertyNominalSampleRate);
  for (const AudioObjectID object : {kAudioObjectUnknown, kNoSuchObject}) {
    EXPECT_EQ(statusOf(hardware().propertyDataSize(object, address)), kAudioHardwareBadObjectError);
    EXPECT_EQ(statusOf(hardware().propertyData(object, address)), kAudioHardwareBadObjectError);
    EXPECT_EQ(hardware().setPropertyData(object, address, 48000.0), kAudioHardwareBadObjectError);
    EXPECT_EQ(statusOf(hardware().isPropertySettable(object, address)), kAudioHardwareBadObjectError);
    EXPECT_EQ(statusOf(hardware().addPropertyListener(object, address, [](const auto&) {})),
              kAudioHardwareBadObjectError);
  }
}

TEST_P(AudioHardwarePropertyContract, EveryCallForAPropertyThatAnObjectLacksSaysSo) {
  for (const AudioObjectID object : {kAudioObjectSystemObject, device(), firstStream()}) {
    for (const auto& address : addressesThatNameNothing()) {
      SCOPED_TRACE("object " + std::to_string(object) + ", " + testing::PrintToString(address));
      EXPECT_FALSE(hardware().hasProperty(object, address));
      EXPECT_EQ(statusOf(hardware().propertyDataSize(object, address)), kAudioHardwareUnknownPropertyError);
      EXPECT_EQ(statusOf(hardware().propertyData(object, address)), kAudioHardwareUnknownPropertyError);
      EXPECT_EQ(hardware().setPropertyData(object, address, 1.0), kAudioHardwareUnknownPropertyError);
      EXPECT_EQ(statusOf(hardware().isPropertySettable(object, address)), kAudioHardwareUnknownPropertyError);
      EXPECT_EQ(statusOf(hardware().addPropertyListener(object, address, [](const auto&) {})),
                kAudioHardwareUnknownPropertyError);
    }
  }
}

TEST_P(AudioHardwarePropertyContract, APropertyOfOneKindOfObjectIsUnknownToTheOthers) {
  for (const auto& place : deviceProperties()) {
    EXPECT_FALSE(hardware().hasProperty(kAudioObjectSystemObject, place.address)) << place.address.mSelector;
    EXPECT_FALSE(hardware().hasProperty(firstStream(), place.address)) << place.address.mSelector;
  }
  for (const auto& place : systemProperties()) EXPECT_FALSE(hardware().hasProperty(device(), place.address));
}

TEST_P(AudioHardwarePropertyContract, TheSystemAndEveryDeviceHaveTheirPropertiesWithTheirTypesAndSizes) {
  const auto checkAll = [&](AudioObjectID object, const std::vector<Place>& places) {
    for (const auto& place : places) {
      SCOPED_TRACE("object " + std::to_string(object) + ", " + testing::PrintToString(place.address));
      EXPECT_TRUE(hardware().hasProperty(object, place.address));
      const auto value = hardware().propertyData(object, place.address);
      ASSERT_TRUE(value.has_value()) << statusText(value.error());
      EXPECT_EQ(value->index(), place.type);
      EXPECT_EQ(hardware().propertyDataSize(object, place.address), audioPropertyValueSize(*value));
    }
  };
  checkAll(kAudioObjectSystemObject, systemProperties());
  checkAll(device(), deviceProperties());
}

TEST_P(AudioHardwarePropertyContract, WhatMayBeUnknownHasItsTypeWheneverItCanBeRead) {
  const auto checkAll = [&](AudioObjectID object, const std::vector<Place>& places) {
    for (const auto& place : places) {
      SCOPED_TRACE(testing::PrintToString(place.address));
      EXPECT_TRUE(hardware().hasProperty(object, place.address));
      const auto value = hardware().propertyData(object, place.address);
      if (value) {
        EXPECT_EQ(value->index(), place.type);
      }
    }
  };
  checkAll(device(), unknownDeviceProperties());
  checkAll(firstStream(), unknownStreamProperties());
}

TEST_P(AudioHardwarePropertyContract, TheActualRateIsARateWhenItCanBeRead) {
  const auto value = hardware().propertyData(device(), global(kAudioDevicePropertyActualSampleRate));
  if (value) {
    EXPECT_GT(std::get<double>(*value), 0);
  }
}

TEST_P(AudioHardwarePropertyContract, TheListNamesEachDeviceOnce) {
  const auto ids = devices();
  EXPECT_THAT(ids, testing::Contains(device()));
  EXPECT_EQ(std::set<AudioObjectID>(ids.begin(), ids.end()).size(), ids.size());
  EXPECT_THAT(ids, testing::Each(testing::Gt(kAudioObjectSystemObject)));
}

TEST_P(AudioHardwarePropertyContract, TheDefaultDeviceIsOneOfTheList) {
  const auto id = read<std::uint32_t>(kAudioObjectSystemObject, global(kAudioHardwarePropertyDefaultOutputDevice));
  EXPECT_THAT(devices(), testing::Contains(id));
}

TEST_P(AudioHardwarePropertyContract, DevicesAndStreamsHaveIdsOfTheirOwn) {
  std::set<AudioObjectID> seen;
  for (const AudioObjectID id : devices()) {
    EXPECT_TRUE(seen.insert(id).second) << id;
    for (const AudioObjectID stream : read<std::vector<std::uint32_t>>(id, output(kAudioDevicePropertyStreams))) {
      EXPECT_TRUE(seen.insert(stream).second) << stream;
    }
  }
}

TEST_P(AudioHardwarePropertyContract, DevicesHaveNamesAndDifferentUIDs) {
  std::set<std::string> uids;
  for (const AudioObjectID id : devices()) {
    EXPECT_NE(read<std::string>(id, global(kAudioObjectPropertyName)), "");
    const auto uid = read<std::string>(id, global(kAudioDevicePropertyDeviceUID));
    EXPECT_NE(uid, "");
    EXPECT_TRUE(uids.insert(uid).second) << uid;
  }
}

TEST_P(AudioHardwarePropertyContract, IdsStayWhatTheyAre) {
  const auto before = devices();
  const auto stream = firstStream();
  pump(200ms);
  EXPECT_EQ(devices(), before);
  EXPECT_EQ(firstStream(), stream);
}

TEST_P(AudioHardwarePropertyContract, ADeviceThatIsThereIsAlive) {
  EXPECT_EQ(read<std::uint32_t>(device(), global(kAudioDevicePropertyDeviceIsAlive)), 1U);
}

TEST_P(AudioHardwarePropertyContract, TheStreamConfigurationCountsTheChannelsOfEachStream) {
  const auto channels = read<std::vector<std::uint32_t>>(device(), output(kAudioDevicePropertyStreamConfiguration));
  const auto streams = read<std::vector<std::uint32_t>>(device(), output(kAudioDevicePropertyStreams));
  EXPECT_EQ(channels.size(), streams.size());
  EXPECT_THAT(channels, testing::Each(testing::Gt(0U)));
}

TEST_P(AudioHardwarePropertyContract, TheNominalRateIsOneThatTheDeviceOffers) {
  prepareRate();
  const double rate = nominalRate();
  const auto ranges =
      read<std::vector<AudioValueRange>>(device(), global(kAudioDevicePropertyAvailableNominalSampleRates));
  EXPECT_THAT(ranges, testing::Contains(testing::Truly([&](const AudioValueRange& range) {
                return range.mMinimum <= rate && rate <= range.mMaximum;
              })));
}

TEST_P(AudioHardwarePropertyContract, WhatIsNotSettableRefusesEvenItsOwnValue) {
  const auto refuses = [&](AudioObjectID object, const Place& place) {
    const auto isSettable = hardware().isPropertySettable(object, place.address);
    ASSERT_TRUE(isSettable.has_value());
    const auto value = hardware().propertyData(object, place.address);
    if (*isSettable || !value) return;
    EXPECT_EQ(hardware().setPropertyData(object, place.address, *value), kAudioHardwareIllegalOperationError)
        << testing::PrintToString(place.address);
    EXPECT_EQ(hardware().propertyData(object, place.address), value);
  };
  for (const auto& place : systemProperties()) refuses(kAudioObjectSystemObject, place);
  for (const auto& place : deviceProperties()) refuses(device(), place);
  for (const auto& place : unknownStreamProperties()) refuses(firstStream(), place);
}

TEST_P(AudioHardwarePropertyContract, FactsAboutADeviceAreNotSettable) {
  for (const FourCharCode selector :
       {kAudioObjectPropertyName, kAudioDevicePropertyDeviceUID, kAudioDevicePropertyTransportType,
        kAudioDevicePropertyAvailableNominalSampleRates, kAudioDevicePropertyDeviceIsAlive}) {
    EXPECT_EQ(hardware().isPropertySettable(device(), global(selector)), false) << fourCharText(selector);
  }
}

TEST_P(AudioHardwarePropertyContract, AValueOfTheWrongTypeIsRefusedAndChangesNothing) {
  prepareRate();
  const double rate = nominalRate();
  const auto rateAddress = global(kAudioDevicePropertyNominalSampleRate);
  EXPECT_EQ(hardware().setPropertyData(device(), rateAddress, std::uint32_t{48000}),
            kAudioHardwareBadPropertySizeError);
  EXPECT_EQ(hardware().setPropertyData(device(), rateAddress, std::string("48000")),
            kAudioHardwareBadPropertySizeError);
  EXPECT_EQ(hardware().setPropertyData(device(), global(kAudioDevicePropertyHogMode), -1.0),
            kAudioHardwareBadPropertySizeError);
  pump(200ms);
  EXPECT_EQ(nominalRate(), rate);
  EXPECT_EQ(hogOwner(), -1);
}

TEST_P(AudioHardwarePropertyContract, EveryRateOfferedCanBeWrittenAndReadBack) {
  for (const double rate : offeredRates()) {
    SCOPED_TRACE(rate);
    EXPECT_EQ(writeRate(rate), noErr);
    EXPECT_TRUE(eventually([&] { return nominalRate() == rate; }));
  }
}

TEST_P(AudioHardwarePropertyContract, ARateThatIsNotOfferedIsRefusedAndChangesNothing) {
  prepareRate();
  const double rate = nominalRate();
  const auto rates = offeredRates();
  const double belowAll = *std::ranges::min_element(rates) - 1;
  const double aboveAll = *std::ranges::max_element(rates) + 1;
  for (const double other : {belowAll, aboveAll, 0.0, -44100.0, 1e9, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_NE(writeRate(other), noErr) << other;
    pump(200ms);
    EXPECT_EQ(nominalRate(), rate);
  }
}

TEST_P(AudioHardwarePropertyContract, NoProcessOwnsADeviceThatWasNotTaken) { EXPECT_EQ(hogOwner(), -1); }

INSTANTIATE_TEST_SUITE_P(Contract, AudioHardwarePropertyContract, testing::ValuesIn(hardwareFixtures()), fixtureName);

}  // namespace
}  // namespace tolvane::test
