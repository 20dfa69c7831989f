#include "app/shell/MediaControls.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/AudioFormats.h"
#include "platform/FileURI.h"
#include "session/AudioFileDiscovery.h"

namespace tolvane {

namespace {

constexpr double microsecondsASecond = 1e6;
constexpr double seekTolerance = 0.02;  // seconds; the total delay of late timers

std::int64_t microseconds(double seconds) {
  return std::isfinite(seconds) ? std::llround(std::clamp(seconds, 0.0, 1e9) * microsecondsASecond) : 0;
}

}  // namespace

MediaControls::MediaControls(SessionProxy& session, RunLoop& runLoop, OpenFile openFile)
    : session_(session), runLoop_(runLoop), openFile_(std::move(openFile)) {
  announced_ = state();
  latestSeconds_ = session_.state().position;
  latestAt_ = runLoop_.now();
  belief_ = {announced_.status, announced_.trackID, latestSeconds_, latestAt_};
  subscription_ = session_.onChange([this](const SessionState&, const SessionState&) { sessionHasChanged(); });
}

MediaState MediaControls::state() const {
  MediaState result;
  const SessionState& session = session_.state();
  if (session.isGoingToPlay()) {
    result.status = MediaStatus::playing;
  } else if (session.isPaused || session.isPreparing) {
    result.status = MediaStatus::paused;
  }
  result.volume = session.outputVolume;
  const PlaylistTrack* track = session.currentTrack();
  if (track == nullptr) return result;
  result.trackID = track->id;
  if (findMusic_) result.music = findMusic_(track->url);
  const std::string& title = result.music.tags.title;
  result.title = title.empty() ? track->title() : title;
  result.url = track->url.absoluteString();
  result.length = microseconds(session.duration);
  result.canGoNext = session.canPlayNext();
  result.canSeek = result.status != MediaStatus::stopped && result.length > 0;
  return result;
}

std::int64_t MediaControls::position() {
  session_.updatePlaybackPosition();
  return microseconds(session_.state().position);
}

void MediaControls::sessionHasChanged() {
  const double seconds = session_.state().position;
  if (seconds != latestSeconds_) {
    latestSeconds_ = seconds;
    positionIsNew_ = true;
    latestAt_ = runLoop_.now();
  }
  scheduleAnnouncement();
}

void MediaControls::scheduleAnnouncement() {
  if (isScheduled_) return;
  isScheduled_ = true;
  runLoop_.post(self_.bind(&MediaControls::announce));
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
  // A position published with its time counts from then; one that only advances counts from now.
  belief_ = {now.status, now.trackID, latestSeconds_, positionIsNew_ ? latestAt_ : runLoop_.now()};
  positionIsNew_ = false;
  if (hasJumped && seekObserver_) seekObserver_(microseconds(latestSeconds_));
}

double MediaControls::expectedSeconds(const MediaState& now) const {
  const bool begins = belief_.status == MediaStatus::stopped && now.status == MediaStatus::playing;
  if (begins || now.trackID != belief_.trackID) return 0;
  if (belief_.status != MediaStatus::playing || !positionIsNew_) return belief_.seconds;
  const double counted = belief_.seconds + secondsFromDuration(latestAt_ - belief_.at);
  const double end = session_.state().duration;
  return end > 0 ? std::min(counted, end) : counted;
}

void MediaControls::play() { session_.setPlaying(true); }

void MediaControls::pause() { session_.setPlaying(false); }

void MediaControls::playPause() { session_.togglePausePlayback(); }

void MediaControls::stop() { session_.stopPlayback(); }

void MediaControls::next() { session_.next(); }

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

void MediaControls::openURI(std::string_view uri, const Opened& opened) {
  const auto url = fileURLFromURI(uri);
  if (!url) return opened(std::unexpected("Only files of this machine can be played."));
  if (!isSupportedAudioFile(*url))
    return opened(std::unexpected("Only " + audioFormatNames() + " files can be played."));
  openFile_(*url, [opened](bool isThere) {
    if (isThere) return opened({});
    opened(std::unexpected("There is no such file."));
  });
}

}  // namespace tolvane
