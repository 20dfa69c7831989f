#include "ui/qt/NowPlayingModel.h"

#include <algorithm>

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
  const PlaylistTrack* track = state().currentTrack();
  return toQString(currentTrackTitle(track != nullptr ? std::optional(*track) : std::nullopt));
}

QString NowPlayingModel::trackPosition() const {
  return toQString(trackPositionLabel(state().currentIndex, std::ssize(state().tracks.entries())));
}

QString NowPlayingModel::elapsed() const { return toQString(formatTime(state().position)); }

QString NowPlayingModel::duration() const { return toQString(formatTime(content_.currentTrackDuration())); }

QString NowPlayingModel::sampleRate() const { return toQString(sampleRateLabel(state().sampleRate)); }

int NowPlayingModel::currentIndex() const { return hasTrack() ? static_cast<int>(state().currentIndex) : -1; }

bool NowPlayingModel::canStop() const {
  return isPlaying() || state().isPaused || state().isPreparing || state().position > 0;
}

QString NowPlayingModel::timeAt(double fraction) const {
  return toQString(formatTime(fraction * content_.currentTrackDuration()));
}

void NowPlayingModel::seekBy(double seconds) {
  const double length = content_.currentTrackDuration();
  if (hasTrack() && length > 0) playFrom(std::clamp((state().position + seconds) / length, 0.0, 1.0));
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

}  // namespace tolvane
