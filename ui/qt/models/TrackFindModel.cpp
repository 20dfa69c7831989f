#include "ui/qt/models/TrackFindModel.h"

#include "ui/qt/QtConversions.h"
#include "ui/texts/Presentation.h"

namespace tolvane {

TrackFindModel::TrackFindModel(ContentView& content) : content_(content) {
  std::vector<Subscription> parts;
  parts.push_back(content.session().onChange([this](const SessionState& before, const SessionState& now) {
    if (!isOpen_ || now.tracks == before.tracks) return;
    const PlaylistTrack* shown = before.tracks.entryAt(row_);
    const auto row = shown != nullptr ? now.tracks.indexOf(shown->id) : -1;
    search(row >= 0 ? static_cast<int>(row) : row_);
  }));
  parts.push_back(content.music().onChange([this](const FileURL& url) {
    const MusicTags* tags = content_.music().tags(url);
    if (!isOpen_ || tags == nullptr || !finder_.addTags(url, *tags)) return;
    if (row_ < 0) show(0, 1);
    emit changed();
  }));
  subscriptions_ = Subscription::joined(std::move(parts));
}

void TrackFindModel::setText(const QString& text) {
  if (text == text_ && isOpen_) return;
  text_ = text;
  search(0);
}

void TrackFindModel::search(int row) {
  isOpen_ = true;
  finder_.find(content_.session().state().tracks, text_.toUtf8().toStdString(), content_.music().known());
  show(row, 1);
  if (finder_.isComplete())
    idle_.stop();
  else
    idle_.start(0, this);
  emit changed();
}

void TrackFindModel::show(int row, int direction) {
  row_ = static_cast<int>(finder_.matchFrom(row, direction));
  sought_ = row_ < 0 && !finder_.isComplete() ? row : -1;
}

void TrackFindModel::timerEvent(QTimerEvent* event) {
  if (event->timerId() != idle_.timerId()) return QObject::timerEvent(event);
  finder_.proceed(content_.music().known());
  if (sought_ >= 0) show(sought_, 1);
  if (finder_.isComplete()) idle_.stop();
  emit changed();
}

QString TrackFindModel::label() const {
  const bool isSought = finder_.matches().empty() && !finder_.isComplete();
  if (text_.trimmed().isEmpty() || isSought) return {};
  return toQString(matchLabel(finder_.numberOf(row_), std::ssize(finder_.matches())));
}

void TrackFindModel::reopen() { search(row_); }

void TrackFindModel::step(int direction) {
  const bool isNearEnd = finder_.matchFrom(row_ + direction, direction) < 0;
  // In a list that is not searched to its end, the first match has none before it yet.
  if (isNearEnd && direction < 0 && !finder_.isComplete()) return;
  show(row_ + direction, direction);
  emit changed();
}

void TrackFindModel::close() {
  isOpen_ = false;
  idle_.stop();
  sought_ = -1;
  finder_.forget();
}

}  // namespace tolvane
