#include "ui/qt/NowPlayingModel.h"

#include "ui/Presentation.h"
#include "ui/qt/QtConversions.h"

namespace tolvane {

NowPlayingModel::NowPlayingModel(ContentView& content) : SessionAdapter(content.session()), content_(content) {
  waveformSubscription_ = content.waveforms().onChange([this](const FileURL& url) {
    if (url == track_) adoptSamples();
    scheduleChanged();
  });
  connect(this, &NowPlayingModel::changed, this, &NowPlayingModel::adoptTrack);
  adoptTrack();
}

QString NowPlayingModel::title() const {
  const auto url = session().currentTrackURL();
  return toQString(currentTrackTitle(url ? std::optional(PlaylistTrack{0, *url}) : std::nullopt));
}

QString NowPlayingModel::trackPosition() const {
  return toQString(
      trackPositionLabel(session().currentIndex().value(), std::ssize(session().playlistTracks().value())));
}

QString NowPlayingModel::elapsed() const { return toQString(formatTime(session().playbackPosition().value())); }

QString NowPlayingModel::duration() const { return toQString(formatTime(content_.currentTrackDuration())); }

QString NowPlayingModel::sampleRate() const { return toQString(sampleRateLabel(player().sampleRate().value())); }

int NowPlayingModel::currentIndex() const {
  return hasTrack() ? static_cast<int>(session().currentIndex().value()) : -1;
}

bool NowPlayingModel::canStop() const {
  return isPlaying() || player().isPaused().value() || session().playbackPosition().value() > 0;
}

void NowPlayingModel::adoptTrack() {
  const auto url = session().currentTrackURL();
  if (url == track_) return;
  track_ = url;
  if (url) content_.waveforms().loadWaveform(*url);
  adoptSamples();
}

void NowPlayingModel::adoptSamples() {
  const WaveformSamples samples{track_ ? content_.waveforms().samples(*track_) : nullptr};
  if (samples == samples_) return;
  samples_ = samples;
  emit waveformChanged();
}

void NowPlayingModel::next() {
  if (session().canPlayNext()) session().playTrack(session().currentIndex().value() + 1, 0);
}

}  // namespace tolvane
