#include "ui/qt/models/NowPlayingModel.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "ui/texts/Presentation.h"
#include "ui/qt/QtConversions.h"

namespace tolvane {

NowPlayingModel::NowPlayingModel(ContentView& content)
    : SessionAdapter(content.session()), content_(content), decoding_(content.runLoop(), content.music().background()) {
  std::vector<Subscription> parts;
  parts.push_back(content.waveforms().onChange([this](const FileURL& url) {
    if (url == track_) adoptSamples();
    scheduleChanged();
  }));
  parts.push_back(content.music().onChange([this](const FileURL& url) {
    if (url == this->session().currentTrackURL()) scheduleChanged();
  }));
  parts.push_back(content.music().onCoverChange([this] { decodeCover(); }));
  subscriptions_ = Subscription::joined(std::move(parts));
  connect(this, &NowPlayingModel::changed, this, &NowPlayingModel::adoptTrack);
  adoptTrack();
  decodeCover();
}

const MusicTags* NowPlayingModel::tags() const {
  const PlaylistTrack* track = state().currentTrack();
  return track != nullptr ? content_.music().tags(track->url) : nullptr;
}

QString NowPlayingModel::title() const {
  const PlaylistTrack* track = state().currentTrack();
  return toQString(track != nullptr ? trackTitle(*track, tags()) : currentTrackTitle(std::nullopt));
}

QString NowPlayingModel::credits() const { return toQString(creditsLabel(tags())); }

QString NowPlayingModel::detail() const {
  const PlaylistTrack* track = state().currentTrack();
  return track != nullptr ? toQString(detailLabel(*track, tags())) : QString();
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

void NowPlayingModel::decodeCover() {
  const auto cover = content_.music().cover();
  decoding_.cancel();
  if (!cover) return adoptCover({});
  decoding_.start([cover] { return decodedCover(*cover); }, [this](QImage image) { adoptCover(std::move(image)); });
}

void NowPlayingModel::adoptCover(QImage image) {
  const CoverImage cover{std::move(image)};
  if (cover == cover_) return;
  cover_ = cover;
  emit coverChanged();
}

}  // namespace tolvane
