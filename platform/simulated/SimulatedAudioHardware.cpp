#include "platform/simulated/SimulatedAudioHardware.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>
#include <utility>

#include "platform/FourCharText.h"
#include "platform/simulated/SimulatedOutputUnit.h"

namespace tolvane {
namespace {

OSStatus takeFault(std::map<FourCharCode, PropertyFault>& faults, FourCharCode selector) {
  if (faults.empty()) return noErr;
  const auto found = faults.find(selector);
  if (found == faults.end() || found->second.times == 0) return noErr;
  if (found->second.times != UnitFaults::kAlways) --found->second.times;
  return found->second.status;
}

std::string_view propertyName(FourCharCode selector) {
  switch (selector) {
    case kAudioDevicePropertyNominalSampleRate:
      return "rate";
    case kAudioDevicePropertyHogMode:
      return "hog";
    default:
      return {};
  }
}

std::string nameForTrace(FourCharCode selector) {
  const auto name = propertyName(selector);
  return name.empty() ? fourCharText(selector) : std::string(name);
}

/// As the user would write rates: 44100, 22050.5.
std::string plainText(double number) {
  std::array<char, 400> text{};  // the largest double has 309 digits
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed).ptr;
  return {text.data(), end};
}

}  // namespace

class SimulatedAudioHardware::Component final : public AudioOutputComponent {
 public:
  explicit Component(SimulatedAudioHardware& hardware) : hardware_(hardware) {}

  std::expected<std::unique_ptr<AudioOutputUnit>, OSStatus> newInstance() override {
    hardware_.trace_.add(TraceCategory::unit, "unit: create");
    const OSStatus fault = hardware_.unitFaults_.take(UnitStage::newInstance);
    if (fault != noErr) return std::unexpected(fault);
    if (hardware_.makesNullInstances_) return nullptr;
    return std::make_unique<SimulatedOutputUnit>(hardware_);
  }

 private:
  SimulatedAudioHardware& hardware_;
};

SimulatedAudioHardware::SimulatedAudioHardware(ManualRunLoop& runLoop)
    : AdapterHardware(runLoop), runLoop_(runLoop), component_(std::make_unique<Component>(*this)) {}

SimulatedAudioHardware::~SimulatedAudioHardware() = default;

// The script.

AudioObjectID SimulatedAudioHardware::addDevice(SimulatedDeviceConfig config) {
  const AudioObjectID id = ++lastObjectID_;
  const bool hasOutput = !config.isInputOnly;
  SimulatedDevice::Surroundings surroundings{
      runLoop_,
      [this](AudioObjectID object, const AudioObjectPropertyAddress& address) { listeners().notify(object, address); },
      [this] { return ++lastObjectID_; }};
  devices_.push_back(std::make_unique<SimulatedDevice>(id, std::move(config), std::move(surroundings)));
  deviceListHasChanged();
  if (defaultDevice_ == kAudioObjectUnknown && hasOutput) setDefaultDevice(id);
  return id;
}

void SimulatedAudioHardware::removeDevice(AudioObjectID id) {
  SimulatedDevice& gone = device(id);
  if (!gone.isPresent()) return;
  gone.unplug();
  deviceListHasChanged();
  if (defaultDevice_ != id) return;
  const auto next = std::ranges::find_if(
      devices_, [](const auto& other) { return other->isPresent() && !other->config().isInputOnly; });
  setDefaultDevice(next == devices_.end() ? kAudioObjectUnknown : (*next)->id());
}

void SimulatedAudioHardware::replug(AudioObjectID id) {
  SimulatedDevice& back = device(id);
  if (back.isPresent()) return;
  back.plugIn();
  deviceListHasChanged();
  if (defaultDevice_ == kAudioObjectUnknown && !back.config().isInputOnly) setDefaultDevice(id);
}

void SimulatedAudioHardware::setDefaultDevice(AudioObjectID id) {
  if (std::exchange(defaultDevice_, id) != id) {
    listeners().notify(kAudioObjectSystemObject, globalAddress(kAudioHardwarePropertyDefaultOutputDevice));
  }
}

SimulatedDevice& SimulatedAudioHardware::device(AudioObjectID id) {
  const auto found = std::ranges::find(devices_, id, [](const auto& device) { return device->id(); });
  if (found == devices_.end()) throw std::invalid_argument("SimulatedAudioHardware: no device has this id");
  return **found;
}

PropertyScript& SimulatedAudioHardware::properties(AudioObjectID object) {
  if (object != kAudioObjectSystemObject && deviceOf(object) == nullptr) {
    throw std::invalid_argument("SimulatedAudioHardware: no object has this id");
  }
  return script(object);
}

std::size_t SimulatedAudioHardware::openDeviceCount() const {
  return static_cast<std::size_t>(
      std::ranges::count_if(devices_, [](const auto& device) { return device->openUnitCount() > 0; }));
}

std::size_t SimulatedAudioHardware::hogCount() const {
  return static_cast<std::size_t>(
      std::ranges::count_if(devices_, [](const auto& device) { return device->config().hogOwner == getpid(); }));
}

void SimulatedAudioHardware::deviceListHasChanged() {
  listeners().notify(kAudioObjectSystemObject, globalAddress(kAudioHardwarePropertyDevices));
}

// Objects.

SimulatedDevice* SimulatedAudioHardware::presentDevice(AudioObjectID id) const {
  for (const auto& device : devices_) {
    if (device->id() == id) return device->isPresent() ? device.get() : nullptr;
  }
  return nullptr;
}

SimulatedDevice* SimulatedAudioHardware::deviceOf(AudioObjectID object) const {
  for (const auto& device : devices_) {
    if (!device->isPresent()) continue;
    if (device->id() == object || device->streamIndex(object)) return device.get();
  }
  return nullptr;
}

/// REQUIRES: the object is there.
PropertyScript& SimulatedAudioHardware::script(AudioObjectID object) const {
  return object == kAudioObjectSystemObject ? systemProperties_ : deviceOf(object)->properties(object);
}

OSStatus SimulatedAudioHardware::fault(std::map<FourCharCode, PropertyFault> PropertyScript::* faults,
                                       AudioObjectID object, const AudioObjectPropertyAddress& address) const {
  if (const OSStatus status = addressStatus(object, address); status != noErr) return status;
  return takeFault(script(object).*faults, address.mSelector);
}

std::optional<SimulatedAudioHardware::Kind> SimulatedAudioHardware::kindOf(AudioObjectID object) const {
  if (object == kAudioObjectSystemObject) return Kind::system;
  const SimulatedDevice* device = deviceOf(object);
  if (device == nullptr) return std::nullopt;
  return device->id() == object ? Kind::device : Kind::stream;
}

bool SimulatedAudioHardware::lacks(AudioObjectID object, FourCharCode selector) const {
  return script(object).missing.contains(selector) ||
         (object != kAudioObjectSystemObject && deviceOf(object)->lacks(selector));
}

std::expected<AudioPropertyValue, OSStatus> SimulatedAudioHardware::value(Kind kind, AudioObjectID object,
                                                                          FourCharCode selector) const {
  if (kind != Kind::system) return deviceOf(object)->read(object, selector);
  if (selector == kAudioHardwarePropertyDefaultOutputDevice) return defaultDevice_;
  std::vector<AudioObjectID> ids;
  for (const auto& device : devices_) {
    if (device->isPresent()) ids.push_back(device->id());
  }
  return ids;
}

bool SimulatedAudioHardware::isFixed(AudioObjectID device, FourCharCode selector) const {
  return !deviceOf(device)->isSettable(selector);
}

OSStatus SimulatedAudioHardware::setNominalRate(AudioObjectID device, double hertz) {
  return deviceOf(device)->setNominalRate(hertz);
}

OSStatus SimulatedAudioHardware::toggleHog(AudioObjectID device) { return deviceOf(device)->toggleHog(); }

// The contract, where the script can make it fail.

std::expected<std::uint32_t, OSStatus> SimulatedAudioHardware::propertyDataSize(
    AudioObjectID object, const AudioObjectPropertyAddress& address) const {
  if (const OSStatus status = fault(&PropertyScript::sizeFailures, object, address); status != noErr)
    return std::unexpected(status);
  return AdapterHardware::propertyDataSize(object, address);
}

std::expected<AudioPropertyValue, OSStatus> SimulatedAudioHardware::propertyData(
    AudioObjectID object, const AudioObjectPropertyAddress& address) const {
  traceRead(address.mSelector);
  if (const OSStatus status = fault(&PropertyScript::readFailures, object, address); status != noErr)
    return std::unexpected(status);
  return AdapterHardware::propertyData(object, address);
}

OSStatus SimulatedAudioHardware::setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                                 const AudioPropertyValue& newValue) {
  traceWrite(address.mSelector, newValue);
  if (const OSStatus status = writeStatus(object, address); status != noErr) return status;
  if (const OSStatus status = fault(&PropertyScript::writeFailures, object, address); status != noErr) return status;
  return AdapterHardware::setPropertyData(object, address, newValue);
}

std::expected<bool, OSStatus> SimulatedAudioHardware::isPropertySettable(
    AudioObjectID object, const AudioObjectPropertyAddress& address) const {
  if (const OSStatus status = fault(&PropertyScript::settableFailures, object, address); status != noErr)
    return std::unexpected(status);
  return AdapterHardware::isPropertySettable(object, address);
}

std::expected<AudioHardware::ListenerID, OSStatus> SimulatedAudioHardware::addPropertyListener(
    AudioObjectID object, const AudioObjectPropertyAddress& address, Listener listener) {
  if (trace_.records(TraceCategory::listener)) {
    trace_.add(TraceCategory::listener, "listener: add ", nameForTrace(address.mSelector));
  }
  if (const OSStatus status = fault(&PropertyScript::listenerFailures, object, address); status != noErr)
    return std::unexpected(status);
  return AdapterHardware::addPropertyListener(object, address, std::move(listener));
}

OSStatus SimulatedAudioHardware::removePropertyListener(ListenerID listener) {
  const auto address = listeners().addressOf(listener);
  if (address && trace_.records(TraceCategory::listener)) {
    trace_.add(TraceCategory::listener, "listener: remove ", nameForTrace(address->mSelector));
  }
  return AdapterHardware::removePropertyListener(listener);
}

AudioOutputComponent* SimulatedAudioHardware::outputComponent() { return hasComponent_ ? component_.get() : nullptr; }

void SimulatedAudioHardware::traceRead(FourCharCode selector) const {
  if (trace_.records(TraceCategory::read)) trace_.add(TraceCategory::read, nameForTrace(selector), ": read");
}

void SimulatedAudioHardware::traceWrite(FourCharCode selector, const AudioPropertyValue& newValue) {
  if (!trace_.records(TraceCategory::write)) return;
  const auto* rate = std::get_if<double>(&newValue);
  trace_.add(TraceCategory::write, nameForTrace(selector) + ": write", rate == nullptr ? "" : " " + plainText(*rate));
}

}  // namespace tolvane
