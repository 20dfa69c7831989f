// The properties of an output unit: what each accepts, where, and until when.

#include <limits>

#include "tests/platform/contract/ContractTest.h"

namespace tolvane::test {
namespace {

using P = AudioUnitProperty;
using S = AudioUnitScope;

struct SettableProperty {
  P property;
  S scope;
  std::uint32_t element;
};

/// Properties that a unit stores and returns.
constexpr SettableProperty kSettableProperties[] = {
    {P::currentDevice, S::global, 0}, {P::enableIO, S::output, 0},         {P::enableIO, S::input, 1},
    {P::streamFormat, S::input, 0},   {P::setRenderCallback, S::input, 0}, {P::renderQuality, S::global, 0},
    {P::sourceBits, S::input, 0},     {P::channelLayout, S::input, 0}};
constexpr P kReadOnlyProperties[] = {P::lastRenderError, P::isRunning, P::lastRenderSampleTime};

class OutputUnitPropertyContract : public ContractTest<AudioHardwareFixture> {
 protected:
  AudioUnitPropertyValue goodValue(const SettableProperty& place) {
    switch (place.property) {
      case P::currentDevice:
        return device();
      case P::enableIO:
        return place.scope == S::output ? 1U : 0U;
      case P::streamFormat:
        return fixture().clientFormat();
      case P::setRenderCallback:
        return source_.callback();
      case P::sourceBits:
        return 16U;
      case P::channelLayout:
        return usualLayout(fixture().clientFormat().mChannelsPerFrame);
      default:
        return kRenderQuality_Max;
    }
  }

  CountingSource source_;
};

TEST_P(OutputUnitPropertyContract, WhatWasSetIsReadBack) {
  auto unit = newUnit();
  for (const auto& place : kSettableProperties) {
    SCOPED_TRACE(static_cast<int>(place.property));
    const auto value = goodValue(place);
    EXPECT_EQ(unit->setProperty(place.property, place.scope, place.element, value), noErr);
    const auto readBack = unit->property(place.property, place.scope, place.element);
    ASSERT_TRUE(readBack.has_value()) << statusText(readBack.error());
    EXPECT_TRUE(*readBack == value);
  }
}

TEST_P(OutputUnitPropertyContract, APropertyHasItsScope) {
  auto unit = newUnit();
  const struct {
    P property;
    S wrongScope;
  } places[] = {{P::currentDevice, S::input},      {P::currentDevice, S::output},      {P::enableIO, S::global},
                {P::streamFormat, S::global},      {P::streamFormat, S::output},       {P::renderQuality, S::input},
                {P::setRenderCallback, S::global}, {P::setRenderCallback, S::output},  {P::lastRenderError, S::input},
                {P::isRunning, S::output},         {P::lastRenderSampleTime, S::input}};
  for (const auto& place : places) {
    SCOPED_TRACE(static_cast<int>(place.property));
    EXPECT_EQ(statusOf(unit->property(place.property, place.wrongScope, 0)), kAudioUnitErr_InvalidScope);
  }
  for (const auto& place : kSettableProperties) {
    const S wrongScope = place.scope == S::global || place.property == P::enableIO
                             ? (place.scope == S::global ? S::input : S::global)
                             : S::global;
    EXPECT_EQ(unit->setProperty(place.property, wrongScope, place.element, goodValue(place)),
              kAudioUnitErr_InvalidScope)
        << static_cast<int>(place.property);
  }
}

TEST_P(OutputUnitPropertyContract, APropertyHasItsElement) {
  auto unit = newUnit();
  for (const auto& place : kSettableProperties) {
    SCOPED_TRACE(static_cast<int>(place.property));
    EXPECT_EQ(unit->setProperty(place.property, place.scope, 5, goodValue(place)), kAudioUnitErr_InvalidElement);
    EXPECT_EQ(statusOf(unit->property(place.property, place.scope, 5)), kAudioUnitErr_InvalidElement);
  }
  for (const P property : kReadOnlyProperties) {
    EXPECT_EQ(statusOf(unit->property(property, S::global, 1)), kAudioUnitErr_InvalidElement);
  }
}

TEST_P(OutputUnitPropertyContract, APropertyThatDoesNotExistIsRefused) {
  auto unit = newUnit();
  const auto none = static_cast<P>(200);
  EXPECT_EQ(unit->setProperty(none, S::global, 0, 1U), kAudioUnitErr_InvalidProperty);
  EXPECT_EQ(statusOf(unit->property(none, S::global, 0)), kAudioUnitErr_InvalidProperty);
}

TEST_P(OutputUnitPropertyContract, AValueOfTheWrongTypeIsRefused) {
  auto unit = newUnit();
  for (const auto& place : kSettableProperties) {
    SCOPED_TRACE(static_cast<int>(place.property));
    EXPECT_EQ(unit->setProperty(place.property, place.scope, place.element, 1.0), kAudioUnitErr_InvalidPropertyValue);
  }
}

TEST_P(OutputUnitPropertyContract, AValueOutOfRangeIsRefused) {
  auto unit = newUnit();
  EXPECT_EQ(unit->setProperty(P::renderQuality, S::global, 0, std::uint32_t{128}), kAudioUnitErr_InvalidPropertyValue);
  EXPECT_EQ(setCallback(*unit, AURenderCallback{}), kAudioUnitErr_InvalidPropertyValue);
  EXPECT_EQ(unit->setProperty(P::sourceBits, S::input, 0, std::uint32_t{65}), kAudioUnitErr_InvalidPropertyValue);
  ASSERT_EQ(setFormat(*unit, fixture().clientFormat()), noErr);
  const ChannelLayout tooMany = usualLayout(fixture().clientFormat().mChannelsPerFrame + 1);
  EXPECT_EQ(unit->setProperty(P::channelLayout, S::input, 0, tooMany), kAudioUnitErr_InvalidPropertyValue);
}

TEST_P(OutputUnitPropertyContract, ReadOnlyPropertiesCannotBeSet) {
  auto unit = newUnit();
  for (const P property : kReadOnlyProperties) {
    EXPECT_NE(unit->setProperty(property, S::global, 0, std::int32_t{0}), noErr) << static_cast<int>(property);
    EXPECT_NE(unit->setProperty(property, S::global, 0, std::uint32_t{0}), noErr) << static_cast<int>(property);
    EXPECT_NE(unit->setProperty(property, S::global, 0, 0.0), noErr) << static_cast<int>(property);
  }
}

TEST_P(OutputUnitPropertyContract, ADeviceThatIsNotThereCannotBeBound) {
  auto unit = newUnit();
  for (const AudioObjectID id : {kAudioObjectUnknown, kAudioObjectSystemObject, firstStream(), 0xFFFF'FFF0U}) {
    EXPECT_EQ(setDevice(*unit, id), kAudioHardwareBadDeviceError) << id;
  }
}

TEST_P(OutputUnitPropertyContract, FormatsThatNoUnitCanCarryAreRefused) {
  const auto good = fixture().clientFormat();
  std::vector<AudioStreamBasicDescription> bad(12, good);
  bad[0].mFormatID = fourCharCode("aac ");
  bad[1].mChannelsPerFrame = 0;
  bad[2].mSampleRate = 0;
  bad[3].mSampleRate = -44100;
  bad[4].mSampleRate = std::numeric_limits<double>::quiet_NaN();
  bad[5].mSampleRate = std::numeric_limits<double>::infinity();
  bad[6].mBitsPerChannel = 0;
  bad[7].mBitsPerChannel = 17;  // does not fit in two bytes
  bad[8].mBytesPerFrame = 0;
  bad[9].mBytesPerFrame = 3;  // not a whole number of bytes a channel
  bad[10].mFormatFlags |= kAudioFormatFlagIsNonInterleaved;
  bad[11].mFormatFlags = kAudioFormatFlagIsFloat;  // a float of 16 bits
  auto unit = newUnit();
  ASSERT_EQ(setFormat(*unit, good), noErr);
  for (std::size_t i = 0; i < bad.size(); ++i) {
    EXPECT_EQ(setFormat(*unit, bad[i]), kAudioUnitErr_FormatNotSupported) << "format " << i;
  }
  EXPECT_TRUE(unit->property(P::streamFormat, S::input, 0) == AudioUnitPropertyValue(good));
}

TEST_P(OutputUnitPropertyContract, DeviceAndFormatAreFixedFromInitialisationOn) {
  auto unit = initialisedUnit(source_);
  EXPECT_EQ(setDevice(*unit, device()), kAudioUnitErr_Initialized);
  EXPECT_EQ(setFormat(*unit, fixture().clientFormat()), kAudioUnitErr_Initialized);
  EXPECT_EQ(unit->uninitialize(), noErr);
  EXPECT_EQ(setDevice(*unit, device()), noErr);
  EXPECT_EQ(setFormat(*unit, fixture().clientFormat()), noErr);
}

TEST_P(OutputUnitPropertyContract, TheCallbackIsFixedWhileTheUnitRuns) {
  auto unit = initialisedUnit(source_);
  EXPECT_EQ(setCallback(*unit, source_.callback()), noErr);
  ASSERT_EQ(unit->start(), noErr);
  EXPECT_EQ(setCallback(*unit, source_.callback()), kAudioUnitErr_Initialized);
  EXPECT_EQ(unit->stop(), noErr);
  EXPECT_EQ(setCallback(*unit, source_.callback()), noErr);
}

INSTANTIATE_TEST_SUITE_P(Contract, OutputUnitPropertyContract, testing::ValuesIn(hardwareFixtures()), fixtureName);

}  // namespace
}  // namespace tolvane::test
