#pragma once
// The vocabulary of the contract suite: reading and writing properties of the device under test, and a unit with a
// callback that counts. The test's thread, except CountingSource::render.

#include <gmock/gmock.h>

#include <atomic>
#include <cstring>
#include <optional>
#include <stdexcept>

#include "platform/AudioHardware.h"
#include "tests/platform/contract/AudioHardwareFixture.h"
#include "tests/support/Printers.h"

namespace tolvane::test {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

constexpr AudioObjectPropertyAddress global(FourCharCode selector) {
  return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
}
constexpr AudioObjectPropertyAddress output(FourCharCode selector) {
  return {selector, kAudioObjectPropertyScopeOutput, kAudioObjectPropertyElementMain};
}

/// The failure in a result; noErr when it holds a value.
template <typename Value>
OSStatus statusOf(const std::expected<Value, OSStatus>& result) {
  return result ? noErr : result.error();
}

/// Renders the 32-bit frames 1, 2, 3, …, and counts what it was asked for.
class CountingSource {
 public:
  [[nodiscard]] AURenderCallback callback() { return {&CountingSource::render, this}; }
  /// Frames since construction or the last reset.
  [[nodiscard]] std::int64_t rendered() const { return rendered_.load(); }
  /// REQUIRES: the unit is stopped.
  void resetCount() { rendered_ = 0; }
  /// REQUIRES: the unit is stopped. The next frame rendered.
  void seek(std::uint32_t frame) { next_ = frame; }
  [[nodiscard]] std::uint32_t position() const { return next_; }
  void failWith(OSStatus status) { status_ = status; }
  /// Whether every buffer it was given held exactly the frames asked for.
  [[nodiscard]] bool buffersWereRight() const { return buffersWereRight_.load(); }

 private:
  static OSStatus render(void* refCon, std::uint32_t frames, AudioBufferList* ioData) noexcept {
    auto& self = *static_cast<CountingSource*>(refCon);
    const bool isRight = ioData->mBuffers.size() == 1 && ioData->mBuffers[0].mData != nullptr &&
                         ioData->mBuffers[0].mNumberChannels == 2 &&
                         ioData->mBuffers[0].mDataByteSize == frames * sizeof(std::uint32_t);
    if (!isRight) {
      self.buffersWereRight_ = false;
      return kAudio_ParamError;
    }
    auto* destination = static_cast<std::byte*>(ioData->mBuffers[0].mData);
    for (std::uint32_t i = 0; i < frames; ++i, ++self.next_) {
      std::memcpy(destination + std::size_t{i} * sizeof self.next_, &self.next_, sizeof self.next_);
    }
    self.rendered_ += frames;
    return self.status_;
  }

  std::uint32_t next_ = 1;  // render thread while the unit runs
  std::atomic<std::int64_t> rendered_ = 0;
  std::atomic<OSStatus> status_ = noErr;
  std::atomic<bool> buffersWereRight_ = true;
};

template <typename Fixture>
class ContractTest : public testing::TestWithParam<FixtureMaker<Fixture>> {
 protected:
  using Scope = AudioUnitScope;
  using Property = AudioUnitProperty;

  AudioHardware& hardware() { return fixture_->hardware(); }
  Fixture& fixture() { return *fixture_; }
  AudioObjectID device() { return fixture_->device(); }
  void pump(RunLoop::Duration duration) { fixture_->pump(duration); }
  [[nodiscard]] bool eventually(const std::function<bool()>& condition) { return fixture_->pumpUntil(condition, 5s); }

  /// Fails the test when it cannot be read as T.
  template <typename T>
  T read(AudioObjectID object, const AudioObjectPropertyAddress& address) {
    const auto value = hardware().propertyData(object, address);
    EXPECT_TRUE(value.has_value()) << testing::PrintToString(address) << ": "
                                   << (value ? "" : statusText(value.error()));
    if (!value) return T{};
    EXPECT_TRUE(std::holds_alternative<T>(*value)) << testing::PrintToString(address) << " has another type";
    return std::holds_alternative<T>(*value) ? std::get<T>(*value) : T{};
  }
  double nominalRate() { return read<double>(device(), global(kAudioDevicePropertyNominalSampleRate)); }
  std::int32_t hogOwner() { return read<std::int32_t>(device(), global(kAudioDevicePropertyHogMode)); }
  OSStatus writeRate(double hertz) {
    return hardware().setPropertyData(device(), global(kAudioDevicePropertyNominalSampleRate), hertz);
  }
  OSStatus writeHog(std::int32_t number = -1) {
    return hardware().setPropertyData(device(), global(kAudioDevicePropertyHogMode), number);
  }
  AudioObjectID firstStream() {
    const auto streams = read<std::vector<std::uint32_t>>(device(), output(kAudioDevicePropertyStreams));
    EXPECT_FALSE(streams.empty());
    return streams.empty() ? kAudioObjectUnknown : streams.front();
  }
  /// Rates that the device offers by name, without those in the middle of a range.
  std::vector<double> offeredRates() {
    std::vector<double> rates;
    for (const auto& range :
         read<std::vector<AudioValueRange>>(device(), global(kAudioDevicePropertyAvailableNominalSampleRates))) {
      rates.push_back(range.mMinimum);
      if (range.mMaximum != range.mMinimum) rates.push_back(range.mMaximum);
    }
    return rates;
  }
  /// A rate that is not the present one, if there is one.
  double anotherRate() {
    const auto present = hardware().propertyData(device(), global(kAudioDevicePropertyNominalSampleRate));
    for (const double rate : offeredRates()) {
      if (!present || AudioPropertyValue(rate) != *present) return rate;
    }
    ADD_FAILURE() << "the fixture's device has only one rate";
    return 0;
  }
  /// Brings the device to the client format's rate.
  void prepareRate() {
    const double rate = fixture_->clientFormat().mSampleRate;
    ASSERT_EQ(writeRate(rate), noErr);
    ASSERT_TRUE(eventually([&] { return nominalRate() == rate; }));
    pump(100ms);  // the announcements of the change pass
  }

  std::unique_ptr<AudioOutputUnit> newUnit() {
    auto* component = hardware().outputComponent();
    if (component == nullptr) throw std::runtime_error("the fixture has no output component");
    auto unit = component->newInstance();
    if (!unit || *unit == nullptr) throw std::runtime_error("the fixture makes no output unit");
    return std::move(*unit);
  }
  OSStatus setDevice(AudioOutputUnit& unit, AudioObjectID id) {
    return unit.setProperty(Property::currentDevice, Scope::global, 0, id);
  }
  OSStatus setFormat(AudioOutputUnit& unit, const AudioStreamBasicDescription& format) {
    return unit.setProperty(Property::streamFormat, Scope::input, 0, format);
  }
  OSStatus setCallback(AudioOutputUnit& unit, const AURenderCallback& callback) {
    return unit.setProperty(Property::setRenderCallback, Scope::input, 0, callback);
  }
  /// With device, format and callback set.
  std::unique_ptr<AudioOutputUnit> configuredUnit(CountingSource& source) {
    auto unit = newUnit();
    EXPECT_EQ(setDevice(*unit, device()), noErr);
    EXPECT_EQ(unit->setProperty(Property::enableIO, Scope::output, 0, std::uint32_t{1}), noErr);
    EXPECT_EQ(unit->setProperty(Property::enableIO, Scope::input, 1, std::uint32_t{0}), noErr);
    EXPECT_EQ(setFormat(*unit, fixture_->clientFormat()), noErr);
    EXPECT_EQ(setCallback(*unit, source.callback()), noErr);
    return unit;
  }
  std::unique_ptr<AudioOutputUnit> initialisedUnit(CountingSource& source) {
    prepareRate();
    auto unit = configuredUnit(source);
    EXPECT_EQ(unit->initialize(), noErr);
    return unit;
  }
  template <typename T>
  std::optional<T> unitValue(AudioOutputUnit& unit, Property property) {
    const auto value = unit.property(property, Scope::global, 0);
    if (!value || !std::holds_alternative<T>(*value)) return std::nullopt;
    return std::get<T>(*value);
  }
  std::optional<std::uint32_t> isRunning(AudioOutputUnit& unit) {
    return unitValue<std::uint32_t>(unit, Property::isRunning);
  }
  std::optional<double> sampleTime(AudioOutputUnit& unit) {
    return unitValue<double>(unit, Property::lastRenderSampleTime);
  }

 private:
  std::unique_ptr<Fixture> fixture_ = this->GetParam().make();
};

/// The instantiation's name for a test.
constexpr auto fixtureName = [](const auto& info) { return info.param.name; };

}  // namespace tolvane::test
