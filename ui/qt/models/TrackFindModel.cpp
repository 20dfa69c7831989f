#include "ui/qt/models/TrackFindModel.h"

#include "ui/texts/Presentation.h"
#include "ui/qt/QtConversions.h"

namespace tolvane {

TrackFindModel::TrackFindModel(ContentView& content) : content_(content) {
  std::vector<Subscription> parts;
  parts.push_back(content.session().onChange([this](const SessionState& before, const SessionState& now) {
    if (!isOpen_ || now.tracks == before.tracks) return;
    const PlaylistTrack* shown = before.tracks.entryAt(row_);
    const auto row = shown != nullptr ? now.tracks.indexOf(shown->id) : -1;
    search();
    row_ = static_cast<int>(finder_.matchFrom(row >= 0 ? row : row_, 1));
    emit changed();
  }));
  parts.push_back(content.music().onChange([this](const FileURL& url) {
    const MusicTags* tags = content_.music().tags(url);
    if (!isOpen_ || tags == nullptr || !finder_.addTags(url, *tags)) return;
    if (row_ < 0) row_ = static_cast<int>(finder_.matchFrom(0, 1));
    emit changed();
  }));
  subscriptions_ = Subscription::joined(std::move(parts));
}

void TrackFindModel::setText(const QString& text) {
  if (text == text_ && isOpen_) return;
  text_ = text;
  search();
  row_ = static_cast<int>(finder_.matchFrom(0, 1));
  emit changed();
}

void TrackFindModel::search() {
  isOpen_ = true;
  finder_.find(content_.session().state().tracks, text_.toUtf8().toStdString(), content_.music().known());
}

QString TrackFindModel::label() const {
  if (text_.trimmed().isEmpty()) return {};
  return toQString(matchLabel(finder_.numberOf(row_), std::ssize(finder_.matches())));
}

void TrackFindModel::reopen() {
  search();
  row_ = static_cast<int>(finder_.matchFrom(row_, 1));
  emit changed();
}

void TrackFindModel::step(int direction) {
  row_ = static_cast<int>(finder_.matchFrom(row_ + direction, direction));
  emit changed();
}

void TrackFindModel::close() {
  isOpen_ = false;
  finder_.forget();
}

}  // namespace tolvane
