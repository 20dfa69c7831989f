#include "ui/qt/OutputModel.h"

#include <algorithm>

#include "ui/Presentation.h"
#include "ui/qt/QtConversions.h"

namespace tolvane {

OutputModel::OutputModel(ContentView& content, OutputDeviceList& deviceList)
    : SessionAdapter(content.session()), content_(content), deviceList_(deviceList) {
  std::vector<Subscription> parts;
  parts.push_back(deviceList.devices().subscribe([this](const auto&) { emit devicesChanged(); }));
  parts.push_back(deviceList.selectedDevice().subscribe([this](const auto&) { emit devicesChanged(); }));
  // At once, not in a later turn: a slider under the pointer must not lag behind it.
  parts.push_back(session().outputVolume().subscribe([this](const auto&) { emit levelsChanged(); }));
  parts.push_back(session().outputBalance().subscribe([this](const auto&) { emit levelsChanged(); }));
  parts.push_back(content.isExclusiveAccessEnabled().subscribe([this](const auto&) { scheduleChanged(); }));
  subscription_ = Subscription::joined(std::move(parts));
}

QStringList OutputModel::devices() const {
  QStringList names;
  for (const auto& device : deviceList_.devices().value()) names.push_back(toQString(device.name));
  return names;
}

int OutputModel::selectedDevice() const {
  const auto& devices = deviceList_.devices().value();
  const auto& selected = deviceList_.selectedDevice().value();
  if (!selected) return -1;
  const auto found = std::ranges::find(devices, *selected);
  return found == devices.end() ? -1 : static_cast<int>(found - devices.begin());
}

QString OutputModel::volumeLabel() const { return toQString(outputPercentageLabel(volume()) + '%'); }

QString OutputModel::balanceText() const { return toQString(balanceLabel(balance())); }

QString OutputModel::exclusiveTitle() const { return exclusiveTitleLine(0); }

QString OutputModel::exclusiveState() const { return exclusiveTitleLine(1); }

QString OutputModel::exclusiveTitleLine(int line) const {
  const auto title = toQString(exclusiveAccessControlTitle(player().exclusiveAccessStatus().value().kind));
  return title.section(QLatin1Char('\n'), line, line);
}

QString OutputModel::exclusiveMessage() const { return toQString(player().exclusiveAccessStatus().value().message); }

QColor OutputModel::exclusiveColor() const {
  return toQColor(exclusiveAccessControlColor(player().exclusiveAccessStatus().value().kind));
}

QString OutputModel::pathLabel() const { return toQString(player().audioPathStatus().value().label); }

QString OutputModel::pathDetail() const { return toQString(player().audioPathStatus().value().detail); }

QColor OutputModel::pathColor() const { return toQColor(audioPathColor(player().audioPathStatus().value().kind)); }

void OutputModel::selectDevice(int row) {
  const auto& devices = deviceList_.devices().value();
  if (row >= 0 && row < std::ssize(devices)) deviceList_.select(devices[static_cast<std::size_t>(row)].id);
}

}  // namespace tolvane
