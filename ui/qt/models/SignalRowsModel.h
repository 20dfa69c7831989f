#pragma once
// Rows of the signal path as a list model. Window's thread. Rows that stay are reported as changes of their texts, so that
// views keep them, with their place, their focus and what was announced of them.

#include <QAbstractListModel>
#include <QtQmlIntegration>
#include <vector>

#include "ui/texts/SignalRows.h"

namespace tolvane {

class SignalRowsModel final : public QAbstractListModel {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("made by the window")

 public:
  enum Role { titleRole = Qt::UserRole + 1, valueRole, stateRole, detailRole, sourceRole, tintRole, namedRole };

  /// New rows come at the front, or at the end.
  explicit SignalRowsModel(bool growsAtFront) : growsAtFront_(growsAtFront) {}

  void setRows(std::vector<SignalRow> rows);

  [[nodiscard]] int rowCount(const QModelIndex& parent) const override;
  [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
  [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

 private:
  const bool growsAtFront_;
  std::vector<SignalRow> rows_;
};

}  // namespace tolvane
