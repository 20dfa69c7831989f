#include "ui/qt/TrackListModel.h"

#include <algorithm>
#include <utility>

#include "ui/Presentation.h"
#include "ui/TrackListLayout.h"
#include "ui/qt/QtConversions.h"

namespace tolvane {

namespace {

/// The rows between which one list differs from the other; equal lists have none.
struct Difference {
  std::ptrdiff_t first = 0;
  std::ptrdiff_t last = -1;
};

Difference differenceOf(const PlaylistTracks::Entries& a, const PlaylistTracks::Entries& b) {
  const auto front = std::ranges::mismatch(a, b, {}, &PlaylistTrack::id, &PlaylistTrack::id).in1 - a.begin();
  if (front == std::ssize(a)) return {};
  auto back = std::ssize(a) - 1;
  while (a[static_cast<std::size_t>(back)].id == b[static_cast<std::size_t>(back)].id) --back;
  return {front, back};
}

}  // namespace

TrackListModel::TrackListModel(ContentView& content)
    : content_(content),
      tracks_(content.session().state().tracks),
      currentIndex_(content.session().state().currentIndex) {
  std::vector<Subscription> parts;
  parts.push_back(content.session().onChange([this](const SessionState& before, const SessionState& now) {
    if (now.isSaved != before.isSaved) emit savingChanged();
    if (now.undoableChange != before.undoableChange) emit undoChanged();
    const auto left = std::exchange(currentIndex_, now.currentIndex);
    if (now.tracks != tracks_) adoptTracks(now.tracks);
    tracks_ = now.tracks;  // of two lists with the same entries, the one that comes again
    if (left == currentIndex_) return;
    announceCurrent(left);
    announceCurrent(currentIndex_);
  }));
  parts.push_back(content.waveforms().onChange([this](const FileURL& url) { announceWaveform(url); }));
  subscriptions_ = Subscription::joined(std::move(parts));
}

QString TrackListModel::countLabel() const { return toQString(trackCountLabel(std::ssize(tracks_.entries()))); }

QString TrackListModel::savingLabel() const {
  return toQString(tolvane::savingLabel(content_.session().state().isSaved));
}

QString TrackListModel::undoLabel() const {
  const auto& change = content_.session().state().undoableChange;
  return change ? toQString(playlistChangeLabel(*change)) : QString();
}

int TrackListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(tracks_.size());
}

QVariant TrackListModel::data(const QModelIndex& index, int role) const {
  if (index.row() < 0 || index.row() >= count()) return {};
  const auto& track = tracks_[static_cast<std::size_t>(index.row())];
  switch (role) {
    case titleRole:
    case Qt::DisplayRole:
      return toQString(displayText(track.title()));
    case numberRole:
      return toQString(rowNumberLabel(index.row(), track.title()));
    case samplesRole:
      return QVariant::fromValue(WaveformSamples{content_.waveforms().samples(track.url)});
    case durationRole:
      return toQString(durationLabel(content_.waveforms().duration(track.url)));
    case loadingRole:
      return content_.waveforms().isLoading(track.url);
    case currentRole:
      return index.row() == currentIndex_;
    default:
      return {};
  }
}

QHash<int, QByteArray> TrackListModel::roleNames() const {
  return {{titleRole, "title"},       {numberRole, "number"},   {samplesRole, "samples"},
          {durationRole, "duration"}, {loadingRole, "loading"}, {currentRole, "current"}};
}

void TrackListModel::rowShown(int row) {
  if (row < 0 || row >= count()) return;
  const auto& track = tracks_[static_cast<std::size_t>(row)];
  auto& known = shown_[track.url];
  if (std::ranges::find(known, track.id, &Shown::track) == known.end())
    known.push_back({track.id, static_cast<std::size_t>(row)});
  content_.waveforms().loadWaveform(track.url);
}

int TrackListModel::moveRow(int row, int direction) {
  const int target = row + direction;
  if (row < 0 || row >= count() || target < 0 || target >= count()) return row;
  content_.movePlaylistTrack(Uuid::ofTrack(tracks_[static_cast<std::size_t>(row)].id),
                             direction > 0 ? target + 1 : target);
  return target;
}

QString TrackListModel::timeAt(int row, double fraction) const {
  if (row < 0 || row >= count()) return {};
  const auto length = content_.waveforms().duration(tracks_[static_cast<std::size_t>(row)].url);
  return toQString(durationLabel(length ? std::optional(fraction * *length) : std::nullopt));
}

bool TrackListModel::fadesTop(double visibleHeight, double rowsTop) const {
  return trackListFades(visibleHeight, std::ssize(tracks_.entries()), trackListScrollOffset(rowsTop)).showTopFade;
}

bool TrackListModel::fadesBottom(double visibleHeight, double rowsTop) const {
  return trackListFades(visibleHeight, std::ssize(tracks_.entries()), trackListScrollOffset(rowsTop)).showBottomFade;
}

void TrackListModel::adoptTracks(const PlaylistTracks& tracks) {
  if (tracks.size() == tracks_.size() && adoptMove(tracks)) return;
  beginResetModel();
  tracks_ = tracks;
  shown_.clear();
  endResetModel();
  emit countChanged();
  QMetaObject::invokeMethod(this, &TrackListModel::renewed, Qt::QueuedConnection);
}

/// Whether the new list is the old one with a single track moved; then it has been adopted.
bool TrackListModel::adoptMove(const PlaylistTracks& tracks) {
  const auto [first, last] = differenceOf(tracks_.entries(), tracks.entries());
  if (last < first) return false;
  const auto begin = tracks_.begin() + first;
  const auto end = tracks_.begin() + last + 1;
  const auto news = tracks.begin() + first;
  const auto sameTrack = [](const PlaylistTrack& a, const PlaylistTrack& b) { return a.id == b.id; };
  const bool wentDown =
      std::equal(begin + 1, end, news, sameTrack) && begin->id == tracks[static_cast<std::size_t>(last)].id;
  const bool wentUp = std::equal(begin, end - 1, news + 1, sameTrack) && (end - 1)->id == news->id;
  if (!wentDown && !wentUp) return false;
  const int from = static_cast<int>(wentDown ? first : last);
  const int before = static_cast<int>(wentDown ? last + 1 : first);
  beginMoveRows({}, from, from, {}, before);
  tracks_ = tracks;
  endMoveRows();
  emit dataChanged(index(static_cast<int>(first)), index(static_cast<int>(last)), {numberRole, currentRole});
  return true;
}

void TrackListModel::announceCurrent(std::int64_t row) {
  if (row < 0 || row >= count()) return;
  const QModelIndex place = index(static_cast<int>(row));
  emit dataChanged(place, place, {currentRole});
}

void TrackListModel::announceWaveform(const FileURL& url) {
  // Rows that no view has shown yet are read when one does.
  const auto known = shown_.find(url);
  if (known == shown_.end()) return;
  for (Shown& shown : known->second) {
    const QModelIndex place = index(static_cast<int>(rowOf(shown)));
    emit dataChanged(place, place, {samplesRole, durationRole, loadingRole});
  }
}

/// Where it was unless rows have been moved: looking for it in a long list would cost a frame.
std::size_t TrackListModel::rowOf(Shown& shown) const {
  if (tracks_[shown.row].id != shown.track) shown.row = static_cast<std::size_t>(tracks_.indexOf(shown.track));
  return shown.row;
}

}  // namespace tolvane
