#include "ui/qt/models/OutputModel.h"

#include <algorithm>

#include "engine/PlainWords.h"
#include "ui/texts/Presentation.h"
#include "ui/qt/QtConversions.h"

namespace tolvane {

OutputModel::OutputModel(SessionProxy& session)
    : SessionAdapter(session),
      subscription_(session.onChange([this](const SessionState& before, const SessionState& now) {
        if (before.devices != now.devices || before.selectedDevice != now.selectedDevice) emit devicesChanged();
        // At once, not in a later turn: a slider under the pointer must not lag behind it.
        if (before.outputVolume != now.outputVolume || before.outputBalance != now.outputBalance) emit levelsChanged();
      })) {}

QStringList OutputModel::devices() const {
  QStringList names;
  for (const auto& device : state().devices) names.push_back(toQString(device.name));
  return names;
}

int OutputModel::selectedDevice() const {
  const auto& devices = state().devices;
  const auto& selected = state().selectedDevice;
  if (!selected) return -1;
  const auto found = std::ranges::find(devices, *selected);
  return found == devices.end() ? -1 : static_cast<int>(found - devices.begin());
}

QString OutputModel::volumeLabel() const { return toQString(outputPercentageLabel(volume()) + '%'); }

QString OutputModel::balanceText() const { return toQString(balanceLabel(balance())); }

QString OutputModel::exclusiveTitle() const { return exclusiveTitleLine(0); }

QString OutputModel::exclusiveState() const { return exclusiveTitleLine(1); }

QString OutputModel::exclusiveTitleLine(int line) const {
  const auto title = toQString(exclusiveAccessControlTitle(state().exclusiveAccessStatus.kind));
  return title.section(QLatin1Char('\n'), line, line);
}

QString OutputModel::exclusiveMessage() const { return toQString(state().exclusiveAccessStatus.message); }

QColor OutputModel::exclusiveColor() const {
  return toQColor(exclusiveAccessControlColor(state().exclusiveAccessStatus.kind));
}

QString OutputModel::pathLabel() const { return toQString(state().audioPathStatus.label); }

QString OutputModel::pathDetail() const { return toQString(state().audioPathStatus.detail); }

QString OutputModel::pathPlainly() const {
  const auto& path = state().signalPath;
  return toQString(displayText(plainWords(state().audioPathStatus, path ? path->cut : std::nullopt)));
}

QColor OutputModel::pathColor() const { return toQColor(audioPathColor(state().audioPathStatus.kind)); }

void OutputModel::selectDevice(int row) {
  const auto& devices = state().devices;
  if (row >= 0 && row < std::ssize(devices)) session().selectOutputDevice(devices[static_cast<std::size_t>(row)].id);
}

}  // namespace tolvane
