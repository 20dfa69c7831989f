#pragma once
// The playlist as a list model. Main thread.

#include <QAbstractListModel>
#include <QtQmlIntegration>

#include "session/PlayerSession.h"

namespace tolvane {

class TrackListModel final : public QAbstractListModel {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("made by the window")
  Q_PROPERTY(int count READ count NOTIFY countChanged FINAL)
  Q_PROPERTY(QString countLabel READ countLabel NOTIFY countChanged FINAL)

 public:
  enum Role { titleRole = Qt::UserRole + 1, numberRole, fileRole };

  explicit TrackListModel(PlayerSession& session);

  [[nodiscard]] int count() const { return rowCount({}); }
  [[nodiscard]] QString countLabel() const;

  [[nodiscard]] int rowCount(const QModelIndex& parent) const override;
  [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
  [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

 signals:
  void countChanged();

 private:
  void adoptTracks(const std::vector<PlaylistTrack>& tracks);

  std::vector<PlaylistTrack> tracks_;  // what the views have been told
  Subscription subscription_;
};

}  // namespace tolvane
