#include "ui/qt/models/SignalRowsModel.h"

#include <utility>

#include "ui/qt/QtConversions.h"

namespace tolvane {

void SignalRowsModel::setRows(std::vector<SignalRow> rows) {
  const int before = static_cast<int>(rows_.size());
  const int now = static_cast<int>(rows.size());
  if (now > before) {
    const int first = growsAtFront_ ? 0 : before;
    beginInsertRows({}, first, first + now - before - 1);
    rows_ = std::move(rows);
    endInsertRows();
    if (before > 0) emit dataChanged(index(0), index(now - 1));
    return;
  }
  if (now < before) {
    beginRemoveRows({}, now, before - 1);
    rows_ = std::move(rows);
    endRemoveRows();
    if (now > 0) emit dataChanged(index(0), index(now - 1));
    return;
  }
  const auto old = std::exchange(rows_, std::move(rows));
  for (int row = 0; row < now; ++row)
    if (const auto i = static_cast<std::size_t>(row); old[i] != rows_[i]) emit dataChanged(index(row), index(row));
}

int SignalRowsModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant SignalRowsModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount({})) return {};
  const SignalRow& row = rows_[static_cast<std::size_t>(index.row())];
  switch (role) {
    case titleRole:
      return toQString(row.title);
    case valueRole:
      return toQString(row.value);
    case stateRole:
      return toQString(row.state);
    case detailRole:
      return toQString(row.detail);
    case sourceRole:
      return toQString(row.source);
    case tintRole:
      return toQColor(row.tint);
    case namedRole:
      return row.isNamed;
    default:
      return {};
  }
}

QHash<int, QByteArray> SignalRowsModel::roleNames() const {
  return {{titleRole, "title"},   {valueRole, "value"}, {stateRole, "condition"}, {detailRole, "detail"},
          {sourceRole, "source"}, {tintRole, "tint"},   {namedRole, "named"}};
}

}  // namespace tolvane
