#include "session/OutputDeviceList.h"

#include <gmock/gmock.h>

#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/SimulatedAudioHardware.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class OutputDevices : public testing::Test {
 protected:
  AudioObjectID plugIn(const std::string& name) { return hardware.addDevice({.name = name}); }
  /// Lets the hardware's announcements arrive.
  void settle() { runLoop.runUntilIdle(); }

  [[nodiscard]] std::vector<std::string> names() const {
    std::vector<std::string> result;
    for (const auto& device : list->devices().value()) result.push_back(device.name);
    return result;
  }
  [[nodiscard]] std::string selected() const {
    const auto& device = list->selectedDevice().value();
    return device ? device->name : "none";
  }

  ManualRunLoop runLoop;
  SimulatedAudioHardware hardware{runLoop};
  std::vector<AudioObjectID> given;  ///< the devices that the player was given
  std::optional<OutputDeviceList> list{std::in_place, hardware, [this](AudioObjectID id) { given.push_back(id); }};
};

TEST_F(OutputDevices, AMachineWithoutDevicesHasAnEmptyListAndNoSelection) {
  list->start();
  EXPECT_THAT(names(), IsEmpty());
  EXPECT_EQ(selected(), "none");
  EXPECT_THAT(given, IsEmpty());
}

TEST_F(OutputDevices, AreSortedByNameUpperCaseFirst) {
  for (const auto name : {"apple", "Cherry", "Banana"}) plugIn(name);
  list->start();
  EXPECT_THAT(names(), ElementsAre("Banana", "Cherry", "apple"));
}

TEST_F(OutputDevices, WithEqualNamesKeepTheOrderOfTheSystem) {
  const auto first = plugIn("DAC");
  const auto second = plugIn("DAC");
  list->start();
  EXPECT_THAT(list->devices().value(), ElementsAre(AudioDevice{first, "DAC"}, AudioDevice{second, "DAC"}));
}

TEST_F(OutputDevices, InputsAndNamelessDevicesAreLeftOut) {
  hardware.addDevice({.name = "Microphone", .isInputOnly = true});
  const auto nameless = plugIn("Nameless");
  hardware.device(nameless).script().properties.missing.insert(kAudioObjectPropertyName);
  plugIn("DAC");
  list->start();
  EXPECT_THAT(names(), ElementsAre("DAC"));
}

TEST_F(OutputDevices, TheSystemsDefaultIsSelectedFirst) {
  plugIn("A");
  const auto second = plugIn("B");
  hardware.setDefaultDevice(second);
  list->start();
  EXPECT_EQ(selected(), "B");
  EXPECT_THAT(given, ElementsAre(second));
}

TEST_F(OutputDevices, TheFirstOfTheListIsSelectedWithoutADefault) {
  plugIn("B");
  const auto first = plugIn("A");
  hardware.setDefaultDevice(0);
  list->start();
  EXPECT_EQ(selected(), "A");
  EXPECT_THAT(given, ElementsAre(first));
}

TEST_F(OutputDevices, ADeviceThatComesLeavesTheSelectionAlone) {
  plugIn("B");
  list->start();
  given.clear();
  plugIn("A");
  settle();
  EXPECT_THAT(names(), ElementsAre("A", "B"));
  EXPECT_EQ(selected(), "B");
  EXPECT_THAT(given, IsEmpty());
}

TEST_F(OutputDevices, TheFirstDeviceThatComesToAnEmptyMachineIsSelected) {
  list->start();
  const auto device = plugIn("DAC");
  settle();
  EXPECT_EQ(selected(), "DAC");
  EXPECT_THAT(given, ElementsAre(device));
}

TEST_F(OutputDevices, UnpluggingTheSelectedDeviceMovesToTheDefault) {
  const auto first = plugIn("A");
  const auto second = plugIn("B");
  plugIn("C");
  list->start();
  list->select(second);
  given.clear();
  hardware.removeDevice(second);
  settle();
  EXPECT_EQ(selected(), "A");
  EXPECT_THAT(given, ElementsAre(first));
}

TEST_F(OutputDevices, UnpluggingTheLastDeviceSelectsNoneAndNotifiesNoObserver) {
  const auto only = plugIn("A");
  list->start();
  given.clear();
  hardware.removeDevice(only);
  settle();
  EXPECT_EQ(selected(), "none");
  EXPECT_THAT(given, IsEmpty());
  hardware.replug(only);
  settle();
  EXPECT_EQ(selected(), "A");
  EXPECT_THAT(given, ElementsAre(only));
}

TEST_F(OutputDevices, AChangedDefaultDoesNotTakeTheSelectionAway) {
  plugIn("A");
  const auto second = plugIn("B");
  list->start();
  given.clear();
  hardware.setDefaultDevice(second);
  settle();
  list->loadAudioDevices();
  EXPECT_EQ(selected(), "A");
  EXPECT_THAT(given, IsEmpty());
}

TEST_F(OutputDevices, AChoiceIsNotifiedOnce) {
  plugIn("A");
  const auto second = plugIn("B");
  list->start();
  given.clear();
  list->select(second);
  list->select(second);
  list->loadAudioDevices();
  EXPECT_EQ(selected(), "B");
  EXPECT_THAT(given, ElementsAre(second));
}

TEST_F(OutputDevices, AChoiceOutsideTheListIsIgnored) {
  plugIn("A");
  list->start();
  given.clear();
  list->select(4711);
  EXPECT_EQ(selected(), "A");
  EXPECT_THAT(given, IsEmpty());
}

TEST_F(OutputDevices, UnreadableHardwareLeavesListAndSelectionAsTheyAre) {
  plugIn("A");
  list->start();
  plugIn("B");
  given.clear();
  auto& system = hardware.systemProperties();
  system.sizeFailures[kAudioHardwarePropertyDevices] = {};
  settle();
  EXPECT_THAT(names(), ElementsAre("A"));
  system.sizeFailures.clear();
  system.readFailures[kAudioHardwarePropertyDevices] = {};
  list->loadAudioDevices();
  EXPECT_THAT(names(), ElementsAre("A"));
  EXPECT_EQ(selected(), "A");
  system.readFailures.clear();
  list->loadAudioDevices();
  EXPECT_THAT(names(), ElementsAre("A", "B"));
  EXPECT_THAT(given, IsEmpty());
}

TEST_F(OutputDevices, AListThatHasGoneIsNotCalledByLateNotifications) {
  hardware.setDeliversLateNotifications(true);
  plugIn("A");
  list->start();
  given.clear();
  plugIn("B");
  list.reset();
  settle();
  EXPECT_EQ(hardware.listenerCount(), 0U);
  EXPECT_THAT(given, IsEmpty());
}

}  // namespace
}  // namespace tolvane
