#include "ui/qt/NowPlayingModel.h"

#include "ui/Presentation.h"
#include "ui/qt/QtConversions.h"

namespace tolvane {

QString NowPlayingModel::title() const {
  const auto url = session().currentTrackURL();
  return toQString(currentTrackTitle(url ? std::optional(PlaylistTrack{0, *url}) : std::nullopt));
}

QString NowPlayingModel::trackPosition() const {
  return toQString(
      trackPositionLabel(session().currentIndex().value(), std::ssize(session().playlistTracks().value())));
}

QString NowPlayingModel::elapsed() const { return toQString(formatTime(session().playbackPosition().value())); }

QString NowPlayingModel::duration() const { return toQString(formatTime(session().playbackDuration().value())); }

QString NowPlayingModel::sampleRate() const { return toQString(sampleRateLabel(player().sampleRate().value())); }

int NowPlayingModel::currentIndex() const {
  return hasTrack() ? static_cast<int>(session().currentIndex().value()) : -1;
}

bool NowPlayingModel::canStop() const {
  return isPlaying() || player().isPaused().value() || session().playbackPosition().value() > 0;
}

void NowPlayingModel::next() {
  if (session().canPlayNext()) session().playTrack(session().currentIndex().value() + 1, 0);
}

}  // namespace tolvane
