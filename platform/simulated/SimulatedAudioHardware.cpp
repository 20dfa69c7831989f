#include "platform/simulated/SimulatedAudioHardware.h"
#include "platform/FourCharText.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>
#include <utility>

#include "platform/simulated/SimulatedOutputUnit.h"

namespace tolvane {
namespace {

constexpr AudioObjectPropertyAddress system(FourCharCode selector) {
  return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
}

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

/// As people write rates: 44100, 22050.5.
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
    : runLoop_(runLoop),
      listenersAlive_(std::make_shared<Listeners>()),
      listeners_(*listenersAlive_),
      component_(std::make_unique<Component>(*this)) {}

SimulatedAudioHardware::~SimulatedAudioHardware() = default;

// The script.

AudioObjectID SimulatedAudioHardware::addDevice(SimulatedDeviceConfig config) {
  const AudioObjectID id = ++lastObjectID_;
  const bool hasOutput = !config.isInputOnly;
  SimulatedDevice::Surroundings surroundings{
      runLoop_, [this](AudioObjectID object, const AudioObjectPropertyAddress& address) { notify(object, address); },
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
    notify(kAudioObjectSystemObject, system(kAudioHardwarePropertyDefaultOutputDevice));
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
  notify(kAudioObjectSystemObject, system(kAudioHardwarePropertyDevices));
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

OSStatus SimulatedAudioHardware::check(AudioObjectID object, const AudioObjectPropertyAddress& address) const {
  if (object == kAudioObjectSystemObject) {
    const bool isKnown = address == system(kAudioHardwarePropertyDevices) ||
                         address == system(kAudioHardwarePropertyDefaultOutputDevice);
    const bool isThere = isKnown && !systemProperties_.missing.contains(address.mSelector);
    return isThere ? noErr : kAudioHardwareUnknownPropertyError;
  }
  const SimulatedDevice* device = deviceOf(object);
  if (device == nullptr) return kAudioHardwareBadObjectError;
  return device->hasProperty(object, address) ? noErr : kAudioHardwareUnknownPropertyError;
}

/// REQUIRES: check() found the object.
PropertyScript& SimulatedAudioHardware::script(AudioObjectID object) const {
  return object == kAudioObjectSystemObject ? systemProperties_ : deviceOf(object)->properties(object);
}

std::expected<AudioPropertyValue, OSStatus> SimulatedAudioHardware::value(AudioObjectID object,
                                                                          FourCharCode selector) const {
  if (object != kAudioObjectSystemObject) return deviceOf(object)->read(object, selector);
  if (selector == kAudioHardwarePropertyDefaultOutputDevice) return defaultDevice_;
  std::vector<AudioObjectID> ids;
  for (const auto& device : devices_) {
    if (device->isPresent()) ids.push_back(device->id());
  }
  return ids;
}

// The contract.

bool SimulatedAudioHardware::hasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) const {
  return check(object, address) == noErr;
}

std::expected<std::uint32_t, OSStatus> SimulatedAudioHardware::propertyDataSize(
    AudioObjectID object, const AudioObjectPropertyAddress& address) const {
  if (const OSStatus status = check(object, address); status != noErr) return std::unexpected(status);
  const OSStatus fault = takeFault(script(object).sizeFailures, address.mSelector);
  if (fault != noErr) return std::unexpected(fault);
  const auto current = value(object, address.mSelector);
  if (!current) return std::unexpected(current.error());
  return audioPropertyValueSize(*current);
}

std::expected<AudioPropertyValue, OSStatus> SimulatedAudioHardware::propertyData(
    AudioObjectID object, const AudioObjectPropertyAddress& address) const {
  traceRead(address.mSelector);
  if (const OSStatus status = check(object, address); status != noErr) return std::unexpected(status);
  const OSStatus fault = takeFault(script(object).readFailures, address.mSelector);
  if (fault != noErr) return std::unexpected(fault);
  return value(object, address.mSelector);
}

OSStatus SimulatedAudioHardware::setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                                 const AudioPropertyValue& newValue) {
  traceWrite(address.mSelector, newValue);
  if (const OSStatus status = check(object, address); status != noErr) return status;
  if (object == kAudioObjectSystemObject || deviceOf(object)->id() != object) {
    return kAudioHardwareIllegalOperationError;
  }
  SimulatedDevice& device = *deviceOf(object);
  if (!device.isSettable(address.mSelector)) return kAudioHardwareIllegalOperationError;
  const OSStatus fault = takeFault(script(object).writeFailures, address.mSelector);
  return fault != noErr ? fault : device.write(address.mSelector, newValue);
}

std::expected<bool, OSStatus> SimulatedAudioHardware::isPropertySettable(
    AudioObjectID object, const AudioObjectPropertyAddress& address) const {
  if (const OSStatus status = check(object, address); status != noErr) return std::unexpected(status);
  const OSStatus fault = takeFault(script(object).settableFailures, address.mSelector);
  if (fault != noErr) return std::unexpected(fault);
  const SimulatedDevice* device = deviceOf(object);
  return device != nullptr && device->id() == object && device->isSettable(address.mSelector);
}

std::expected<AudioHardware::ListenerID, OSStatus> SimulatedAudioHardware::addPropertyListener(
    AudioObjectID object, const AudioObjectPropertyAddress& address, Listener listener) {
  if (trace_.records(TraceCategory::listener)) {
    trace_.add(TraceCategory::listener, "listener: add ", nameForTrace(address.mSelector));
  }
  if (const OSStatus status = check(object, address); status != noErr) return std::unexpected(status);
  const OSStatus fault = takeFault(script(object).listenerFailures, address.mSelector);
  if (fault != noErr) return std::unexpected(fault);
  const ListenerID id = ++lastListenerID_;
  listeners_.emplace(id, Registration{object, address, std::make_shared<Listener>(std::move(listener))});
  return id;
}

OSStatus SimulatedAudioHardware::removePropertyListener(ListenerID listener) {
  const auto found = listeners_.find(listener);
  if (found == listeners_.end()) return kAudio_ParamError;
  if (trace_.records(TraceCategory::listener)) {
    trace_.add(TraceCategory::listener, "listener: remove ", nameForTrace(found->second.address.mSelector));
  }
  listeners_.erase(found);
  return noErr;
}

AudioOutputComponent* SimulatedAudioHardware::outputComponent() { return hasComponent_ ? component_.get() : nullptr; }

/// Each listener is told in a turn of its own. The queue outlives the hardware: notifications hold it weakly.
void SimulatedAudioHardware::notify(AudioObjectID object, const AudioObjectPropertyAddress& address) {
  for (const auto& [id, registration] : listeners_) {
    if (registration.object != object || registration.address != address) continue;
    const std::weak_ptr<Listeners> alive = listenersAlive_;
    runLoop_.post([alive, id = id, address, listener = registration.listener, comesLate = deliversLate_] {
      const auto listeners = alive.lock();
      if (listeners != nullptr && (comesLate || listeners->contains(id))) (*listener)(address);
    });
  }
}

void SimulatedAudioHardware::traceRead(FourCharCode selector) const {
  if (trace_.records(TraceCategory::read)) trace_.add(TraceCategory::read, nameForTrace(selector), ": read");
}

void SimulatedAudioHardware::traceWrite(FourCharCode selector, const AudioPropertyValue& newValue) {
  if (!trace_.records(TraceCategory::write)) return;
  const auto* rate = std::get_if<double>(&newValue);
  trace_.add(TraceCategory::write, nameForTrace(selector) + ": write", rate == nullptr ? "" : " " + plainText(*rate));
}

}  // namespace tolvane
