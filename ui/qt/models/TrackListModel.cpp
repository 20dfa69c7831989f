#include "ui/qt/models/TrackListModel.h"

#include <algorithm>
#include <ranges>
#include <utility>

#include "ui/texts/Presentation.h"
#include "ui/playlist/TrackListLayout.h"
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

/// The files whose entries differ.
std::vector<FileURL> differenceOf(const UnplayableFileMap& a, const UnplayableFileMap& b) {
  std::vector<FileURL> urls;
  for (const auto& [url, file] : a)
    if (const auto other = b.find(url); other == b.end() || other->second != file) urls.push_back(url);
  for (const auto& [url, file] : b)
    if (!a.contains(url)) urls.push_back(url);
  return urls;
}

/// Each run copies the list once; where that would take long, views begin anew.
bool areFew(const std::vector<RowRun>& runs, const PlaylistTracks& longer) {
  constexpr std::size_t mostEntriesCopied = 1'000'000;
  return runs.size() * longer.size() <= mostEntriesCopied;
}

PlaylistTracks without(const PlaylistTracks& tracks, const RowRun& run) {
  PlaylistTracks::Entries left;
  left.reserve(tracks.size() - run.count);
  const auto first = tracks.begin() + static_cast<std::ptrdiff_t>(run.first);
  left.insert(left.end(), tracks.begin(), first);
  left.insert(left.end(), first + static_cast<std::ptrdiff_t>(run.count), tracks.end());
  return PlaylistTracks(std::move(left));
}

PlaylistTracks with(const PlaylistTracks& tracks, const RowRun& run, const PlaylistTracks& longer) {
  PlaylistTracks::Entries more;
  more.reserve(tracks.size() + run.count);
  const auto gap = tracks.begin() + static_cast<std::ptrdiff_t>(run.first);
  const auto added = longer.begin() + static_cast<std::ptrdiff_t>(run.first);
  more.insert(more.end(), tracks.begin(), gap);
  more.insert(more.end(), added, added + static_cast<std::ptrdiff_t>(run.count));
  more.insert(more.end(), gap, tracks.end());
  return PlaylistTracks(std::move(more));
}

}  // namespace

TrackListModel::TrackListModel(ContentView& content)
    : content_(content),
      tracks_(content.session().state().tracks),
      currentIndex_(content.session().state().currentIndex),
      unplayable_(content.session().state().unplayableFiles) {
  std::vector<Subscription> parts;
  parts.push_back(content.session().onChange([this](const SessionState& before, const SessionState& now) {
    if (now.isSaved != before.isSaved) emit savingChanged();
    if (now.undoableChange != before.undoableChange) emit undoChanged();
    const auto left = std::exchange(currentIndex_, now.currentIndex);
    if (now.tracks != tracks_) adoptTracks(now.tracks);
    tracks_ = now.tracks;  // of two lists with the same entries, the one that comes again
    if (now.unplayableFiles != unplayable_) adoptUnplayable(now.unplayableFiles);
    if (left == currentIndex_) return;
    announceCurrent(left);
    announceCurrent(currentIndex_);
  }));
  parts.push_back(content.waveforms().onChange([this](const FileURL& url) { announceWaveform(url); }));
  parts.push_back(content.music().onChange([this](const FileURL& url) {
    announce(url, {titleRole, numberRole, creditsRole, detailRole});
  }));
  subscriptions_ = Subscription::joined(std::move(parts));
  countDurations();
}

QString TrackListModel::countLabel() const { return toQString(trackCountLabel(std::ssize(tracks_.entries()))); }

QString TrackListModel::durationLabel() const {
  return toQString(playlistDurationLabel(duration_.seconds(), duration_.knownCount(), std::ssize(tracks_.entries())));
}

QString TrackListModel::savingLabel() const {
  return toQString(tolvane::savingLabel(content_.session().state().isSaved));
}

QString TrackListModel::selectionLabel() const {
  return toQString(
      tolvane::selectionLabel(std::ssize(tracks_.entries()), static_cast<std::int64_t>(selection_.count())));
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
    case samplesRole:
      return QVariant::fromValue(WaveformSamples{content_.waveforms().samples(track.url)});
    case durationRole:
      return toQString(tolvane::durationLabel(content_.waveforms().duration(track.url)));
    case loadingRole:
      return content_.waveforms().isLoading(track.url);
    case currentRole:
      return index.row() == currentIndex_;
    case problemRole:
      return problem(track.url);
    case pickedRole:
      return selection_.contains(track.id);
    default:
      return text(index.row(), role);
  }
}

/// REQUIRES: the row is there.
QVariant TrackListModel::text(int row, int role) const {
  const auto& track = tracks_[static_cast<std::size_t>(row)];
  const MusicTags* tags = content_.music().tags(track.url);
  switch (role) {
    case titleRole:
    case Qt::DisplayRole:
      return toQString(trackTitle(track, tags));
    case numberRole:
      return toQString(rowNumberLabel(row, trackTitle(track, tags)));
    case creditsRole:
      return toQString(creditsLabel(tags));
    case detailRole:
      return toQString(detailLabel(track, tags));
    default:
      return {};
  }
}

QHash<int, QByteArray> TrackListModel::roleNames() const {
  return {{titleRole, "title"},     {numberRole, "number"},   {samplesRole, "samples"}, {durationRole, "duration"},
          {loadingRole, "loading"}, {currentRole, "current"}, {pickedRole, "picked"},   {problemRole, "problem"},
          {creditsRole, "credits"}, {detailRole, "detail"}};
}

void TrackListModel::rowShown(int row) {
  if (row < 0 || row >= count()) return;
  const auto& track = tracks_[static_cast<std::size_t>(row)];
  auto& known = shown_[track.url];
  if (std::ranges::find(known, track.id, &Shown::track) == known.end())
    known.push_back({track.id, static_cast<std::size_t>(row)});
  content_.waveforms().loadWaveform(track.url);
  content_.music().load(track.url);
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
  return toQString(tolvane::durationLabel(length ? std::optional(fraction * *length) : std::nullopt));
}

bool TrackListModel::fadesTop(double visibleHeight, double rowsTop) const {
  return trackListFades(visibleHeight, std::ssize(tracks_.entries()), trackListScrollOffset(rowsTop)).showTopFade;
}

bool TrackListModel::fadesBottom(double visibleHeight, double rowsTop) const {
  return trackListFades(visibleHeight, std::ssize(tracks_.entries()), trackListScrollOffset(rowsTop)).showBottomFade;
}

void TrackListModel::toggleSelected(int row) {
  selection_.toggle(tracks_, row);
  announceSelection();
}

void TrackListModel::extendSelection(int from, int to) {
  selection_.extend(tracks_, from, to);
  announceSelection();
}

void TrackListModel::selectAll() {
  selection_.selectAll(tracks_);
  announceSelection();
}

void TrackListModel::clearSelection() {
  if (selection_.count() == 0) return;
  selection_.clear();
  announceSelection();
}

void TrackListModel::removeSelected(int row) {
  auto removed = selection_.tracks();
  const PlaylistTrack* track = tracks_.entryAt(row);
  if (removed.empty() && track != nullptr) removed.push_back(track->id);
  content_.session().removeTracks(std::move(removed));
}

/// Views ask for the rows that they show.
void TrackListModel::announceSelection() {
  if (count() > 0) emit dataChanged(index(0), index(count() - 1), {pickedRole});
  emit selectionChanged();
}

void TrackListModel::adoptTracks(const PlaylistTracks& tracks) {
  const auto before = tracks_.size();
  const bool hadSelection = selection_.count() > 0;
  selection_.follow(tracks);
  const bool isAdopted = adoptMove(tracks) || adoptRemoval(tracks) || adoptInsertion(tracks);
  if (!isAdopted) {
    beginResetModel();
    tracks_ = tracks;
    shown_.clear();
    endResetModel();
    QMetaObject::invokeMethod(this, &TrackListModel::renewed, Qt::QueuedConnection);
  }
  if (hadSelection) emit selectionChanged();
  if (tracks_.size() != before || !isAdopted) countDurations();
  if (tracks_.size() != before || !isAdopted) emit countChanged();
}

/// Whether the new list is the old one without some rows; then it has been adopted.
bool TrackListModel::adoptRemoval(const PlaylistTracks& tracks) {
  if (tracks.empty() || tracks.size() >= tracks_.size()) return false;
  const auto runs = rowsBesides(tracks, tracks_);
  if (!runs || !areFew(*runs, tracks_)) return false;
  for (const RowRun& run : *runs | std::views::reverse) {
    beginRemoveRows({}, static_cast<int>(run.first), static_cast<int>(run.first + run.count - 1));
    tracks_ = without(tracks_, run);
    endRemoveRows();
  }
  announceFrom(runs->front().first);
  return true;
}

/// Whether the new list is the old one with more rows; then it has been adopted.
bool TrackListModel::adoptInsertion(const PlaylistTracks& tracks) {
  if (tracks_.empty() || tracks.size() <= tracks_.size()) return false;
  const auto runs = rowsBesides(tracks_, tracks);
  if (!runs || !areFew(*runs, tracks)) return false;
  for (const RowRun& run : *runs) {
    beginInsertRows({}, static_cast<int>(run.first), static_cast<int>(run.first + run.count - 1));
    tracks_ = with(tracks_, run, tracks);
    endInsertRows();
  }
  announceFrom(runs->front().first);
  return true;
}

/// Rows from here on have another number, and may be the current one or no longer.
void TrackListModel::announceFrom(std::size_t row) {
  if (static_cast<int>(row) < count())
    emit dataChanged(index(static_cast<int>(row)), index(count() - 1), {numberRole, currentRole});
}

/// Whether the new list is the old one with a single track moved; then it has been adopted.
bool TrackListModel::adoptMove(const PlaylistTracks& tracks) {
  if (tracks.size() != tracks_.size()) return false;
  const auto [first, last] = differenceOf(tracks_.entries(), tracks.entries());
  if (last < first) return false;
  const auto begin = tracks_.begin() + first;
  const auto end = tracks_.begin() + last + 1;
  const auto moved = tracks.begin() + first;
  const auto sameTrack = [](const PlaylistTrack& a, const PlaylistTrack& b) { return a.id == b.id; };
  const bool wentDown =
      std::equal(begin + 1, end, moved, sameTrack) && begin->id == tracks[static_cast<std::size_t>(last)].id;
  const bool wentUp = std::equal(begin, end - 1, moved + 1, sameTrack) && (end - 1)->id == moved->id;
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

/// A list that was only reordered lasts as long as before.
void TrackListModel::countDurations() {
  duration_.setTracks(tracks_);
  for (const auto& [url, seconds] : content_.waveforms().durations()) duration_.add(url, seconds);
  emit durationChanged();
}

void TrackListModel::announceWaveform(const FileURL& url) {
  if (const auto seconds = content_.waveforms().duration(url)) {
    duration_.add(url, *seconds);
    emit durationChanged();
  }
  announce(url, {samplesRole, durationRole, loadingRole});
}

QString TrackListModel::problem(const FileURL& url) const {
  if (!unplayable_) return {};
  const auto found = unplayable_->find(url);
  return found != unplayable_->end() ? toQString(problemText(found->second)) : QString();
}

void TrackListModel::adoptUnplayable(std::shared_ptr<const UnplayableFileMap> files) {
  static const UnplayableFileMap none;
  const auto before = std::exchange(unplayable_, std::move(files));
  for (const FileURL& url : differenceOf(before ? *before : none, unplayable_ ? *unplayable_ : none)) {
    announce(url, {problemRole});
    // A file that could not be read then may have a waveform now.
    const bool isMarked = unplayable_ && unplayable_->contains(url);
    if (!isMarked && shown_.contains(url)) content_.waveforms().loadWaveform(url);
  }
}

void TrackListModel::announce(const FileURL& url, const QList<int>& roles) {
  // Rows that no view has shown yet are read when one does.
  const auto known = shown_.find(url);
  if (known == shown_.end()) return;
  std::erase_if(known->second, [&](Shown& shown) {
    const auto row = rowOf(shown);
    if (row) emit dataChanged(index(*row), index(*row), roles);
    return !row;
  });
}

/// Where it was unless rows have been moved: looking for it in a long list would cost a frame. Nothing: it has gone.
std::optional<int> TrackListModel::rowOf(Shown& shown) const {
  if (shown.row >= tracks_.size() || tracks_[shown.row].id != shown.track) {
    const auto row = tracks_.indexOf(shown.track);
    if (row < 0) return std::nullopt;
    shown.row = static_cast<std::size_t>(row);
  }
  return static_cast<int>(shown.row);
}

}  // namespace tolvane
