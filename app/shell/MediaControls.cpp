#include "app/shell/MediaControls.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "app/shell/FileURI.h"
#include "session/AudioFileDiscovery.h"

namespace tolvane {

namespace {

constexpr double microsecondsASecond = 1e6;
constexpr double seekTolerance = 0.02;  // seconds; what a timer that comes late may add up to

std::int64_t microseconds(double seconds) {
  return std::isfinite(seconds) ? std::llround(std::clamp(seconds, 0.0, 1e9) * microsecondsASecond) : 0;
}

}  // namespace

MediaControls::MediaControls(PlayerSession& session, RunLoop& runLoop, OpenFile openFile)
    : session_(session), runLoop_(runLoop), openFile_(std::move(openFile)) {
  self_ = std::make_shared<MediaControls*>(this);
  announced_ = state();
  latestSeconds_ = session_.playbackPosition().value();
  latestAt_ = runLoop_.now();
  belief_ = {announced_.status, announced_.trackID, latestSeconds_, latestAt_};
  subscription_ = session_.onChange([this] { sessionHasChanged(); });
}

MediaState MediaControls::state() const {
  MediaState result;
  const auto& player = session_.player();
  if (player.isPlaying().value()) {
    result.status = MediaStatus::playing;
  } else if (player.isPaused().value()) {
    result.status = MediaStatus::paused;
  }
  result.volume = session_.outputVolume().value();
  const auto& tracks = session_.playlistTracks().value();
  const auto index = session_.currentIndex().value();
  if (index < 0 || index >= std::ssize(tracks)) return result;
  const auto& track = tracks[static_cast<std::size_t>(index)];
  result.trackID = track.id;
  result.title = track.title();
  result.url = track.url.absoluteString();
  result.length = microseconds(session_.playbackDuration().value());
  result.canGoNext = session_.canPlayNext();
  result.canSeek = result.status != MediaStatus::stopped && result.length > 0;
  return result;
}

std::int64_t MediaControls::position() {
  session_.updatePlaybackPosition();
  return microseconds(session_.playbackPosition().value());
}

void MediaControls::sessionHasChanged() {
  const double seconds = session_.playbackPosition().value();
  if (seconds != latestSeconds_) {
    latestSeconds_ = seconds;
    positionIsNew_ = true;
    latestAt_ = runLoop_.now();
  }
  if (isScheduled_) return;
  isScheduled_ = true;
  runLoop_.post([weak = std::weak_ptr(self_)] {
    if (const auto self = weak.lock()) (*self)->announce();
  });
}

void MediaControls::announce() {
  isScheduled_ = false;
  const MediaState now = state();
  const MediaState before = std::exchange(announced_, now);
  if (now != before && stateObserver_) stateObserver_(before, now);
  announcePosition(now);
}

void MediaControls::announcePosition(const MediaState& now) {
  const bool isAnother = now.trackID != belief_.trackID || now.status != belief_.status;
  if (!positionIsNew_ && !isAnother) return;
  const bool hasJumped = std::abs(latestSeconds_ - expectedSeconds(now)) > seekTolerance;
  // A position that was published at its time counts from then; one that only goes on counts from now.
  belief_ = {now.status, now.trackID, latestSeconds_, positionIsNew_ ? latestAt_ : runLoop_.now()};
  positionIsNew_ = false;
  if (hasJumped && seekObserver_) seekObserver_(microseconds(latestSeconds_));
}

double MediaControls::expectedSeconds(const MediaState& now) const {
  const bool begins = belief_.status == MediaStatus::stopped && now.status == MediaStatus::playing;
  if (begins || now.trackID != belief_.trackID) return 0;
  if (belief_.status != MediaStatus::playing || !positionIsNew_) return belief_.seconds;
  const double counted = belief_.seconds + secondsFromDuration(latestAt_ - belief_.at);
  const double end = session_.playbackDuration().value();
  return end > 0 ? std::min(counted, end) : counted;
}

void MediaControls::play() {
  if (!session_.player().isPlaying().value()) session_.togglePausePlayback();
}

void MediaControls::pause() {
  if (session_.player().isPlaying().value()) session_.togglePausePlayback();
}

void MediaControls::playPause() { session_.togglePausePlayback(); }

void MediaControls::stop() { session_.stopPlayback(); }

void MediaControls::next() {
  if (session_.canPlayNext()) session_.playTrack(session_.currentIndex().value() + 1, 0);
}

void MediaControls::previous() { session_.previous(); }

void MediaControls::seek(std::int64_t offset) {
  const MediaState now = state();
  if (!now.canSeek) return;
  const double target = static_cast<double>(position()) + static_cast<double>(offset);
  if (target > static_cast<double>(now.length)) return next();
  session_.seek(std::max(target, 0.0) / microsecondsASecond);
}

void MediaControls::setPosition(PlaylistTrackID track, std::int64_t position) {
  const MediaState now = state();
  if (!now.canSeek || track != now.trackID || position < 0 || position > now.length) return;
  session_.seek(static_cast<double>(position) / microsecondsASecond);
}

void MediaControls::setVolume(double volume) {
  if (std::isfinite(volume)) session_.setOutputVolume(volume);
}

void MediaControls::setRate(double rate) {
  if (rate == 0) pause();
}

std::expected<void, std::string> MediaControls::openURI(std::string_view uri) {
  const auto url = fileURLFromURI(uri);
  if (!url) return std::unexpected("Only files of this machine can be played.");
  if (!isSupportedAudioFile(*url)) return std::unexpected("Only WAV, AIFF, FLAC and MP3 files can be played.");
  if (!openFile_(*url)) return std::unexpected("There is no such file.");
  return {};
}

}  // namespace tolvane
