#include "demo/RackModel.h"

#include <chrono>

namespace tolvane {

namespace {

constexpr auto refreshInterval = std::chrono::milliseconds(100);

}  // namespace

RackModel::RackModel(DemoRack& rack, RunLoop& realTime)
    : rack_(rack), rows_(readRows()), watch_(realTime.scheduleTimer(refreshInterval, true, [this] { refresh(); })) {}

std::vector<DemoRack::Row> RackModel::readRows() {
  std::vector<DemoRack::Row> rows;
  for (std::size_t index = 0; index < rack_.rowCount(); ++index) rows.push_back(rack_.row(index));
  return rows;
}

void RackModel::refresh() {
  auto rows = readRows();
  if (rows == rows_) return;
  rows_ = std::move(rows);
  emit dataChanged(index(0), index(static_cast<int>(rows_.size()) - 1));
}

int RackModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant RackModel::data(const QModelIndex& index, int role) const {
  if (index.row() < 0 || index.row() >= std::ssize(rows_)) return {};
  const auto& row = rows_[static_cast<std::size_t>(index.row())];
  switch (role) {
    case nameRole:
    case Qt::DisplayRole:
      return QString::fromStdString(row.name);
    case rateRole:
      return tr("%1 kHz").arg(row.rate / 1000);
    case pluggedInRole:
      return row.isPluggedIn;
    case takenRole:
      return row.isTaken;
    case stalledRole:
      return row.isStalled;
    case canReclockRole:
      return row.canReclock;
    default:
      return {};
  }
}

QHash<int, QByteArray> RackModel::roleNames() const {
  return {{nameRole, "name"},   {rateRole, "rate"},       {pluggedInRole, "pluggedIn"},
          {takenRole, "taken"}, {stalledRole, "stalled"}, {canReclockRole, "canReclock"}};
}

void RackModel::setPluggedIn(int row, bool isPluggedIn) {
  rack_.setPluggedIn(static_cast<std::size_t>(row), isPluggedIn);
  refresh();
}

void RackModel::setTaken(int row, bool isTaken) {
  rack_.setTaken(static_cast<std::size_t>(row), isTaken);
  refresh();
}

void RackModel::setStalled(int row, bool isStalled) {
  rack_.setStalled(static_cast<std::size_t>(row), isStalled);
  refresh();
}

void RackModel::reclock(int row) {
  rack_.reclock(static_cast<std::size_t>(row));
  refresh();
}

}  // namespace tolvane
