#include "ui/qt/TrackListModel.h"

#include "ui/Presentation.h"
#include "ui/qt/QtConversions.h"

namespace tolvane {

TrackListModel::TrackListModel(PlayerSession& session) : tracks_(session.playlistTracks().value()) {
  subscription_ = session.playlistTracks().subscribe([this](const auto& tracks) { adoptTracks(tracks); });
}

QString TrackListModel::countLabel() const { return toQString(trackCountLabel(std::ssize(tracks_))); }

int TrackListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(tracks_.size());
}

QVariant TrackListModel::data(const QModelIndex& index, int role) const {
  if (index.row() < 0 || index.row() >= count()) return {};
  const auto& track = tracks_[static_cast<std::size_t>(index.row())];
  switch (role) {
    case titleRole:
    case Qt::DisplayRole:
      return toQString(track.title());
    case numberRole:
      return QStringLiteral("%1").arg(index.row() + 1, 2, 10, QLatin1Char('0'));
    case fileRole:
      return toQString(track.url.path());
    default:
      return {};
  }
}

QHash<int, QByteArray> TrackListModel::roleNames() const {
  return {{titleRole, "title"}, {numberRole, "number"}, {fileRole, "file"}};
}

void TrackListModel::adoptTracks(const std::vector<PlaylistTrack>& tracks) {
  beginResetModel();
  tracks_ = tracks;
  endResetModel();
  emit countChanged();
}

}  // namespace tolvane
