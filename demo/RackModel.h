#pragma once
// The demo's rack as QML sees it: a row a device. Window's thread.

#include <QAbstractListModel>
#include <QtQmlIntegration>
#include <vector>

#include "demo/DemoRack.h"

namespace tolvane {

class RackModel final : public QAbstractListModel {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("made by the demo")

 public:
  /// The rack outlives the model, and `realTime` drives it.
  RackModel(DemoRack& rack, RunLoop& realTime);

  [[nodiscard]] int rowCount(const QModelIndex& parent) const override;
  [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
  [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

  Q_INVOKABLE void setPluggedIn(int row, bool isPluggedIn);
  Q_INVOKABLE void setTaken(int row, bool isTaken);
  Q_INVOKABLE void setStalled(int row, bool isStalled);
  Q_INVOKABLE void reclock(int row);

 private:
  enum Role { nameRole = Qt::UserRole, rateRole, pluggedInRole, takenRole, stalledRole, canReclockRole };

  [[nodiscard]] std::vector<DemoRack::Row> readRows();
  void refresh();

  DemoRack& rack_;
  std::vector<DemoRack::Row> rows_;
  RunLoop::Timer watch_;
};

}  // namespace tolvane
