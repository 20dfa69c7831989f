#include "session/SessionProxy.h"

#include <utility>
#include <vector>

namespace tolvane {

namespace {

constexpr auto positionInterval = std::chrono::milliseconds(50);
constexpr double restartThreshold = 0.05;  // of the track's length
constexpr auto watchInterval = std::chrono::milliseconds(250);
/// After this time the window shows what the player is waiting for.
constexpr auto noticeableWait = std::chrono::seconds(1);

}  // namespace

SessionProxy::SessionProxy(SessionLink& link, RunLoop& runLoop, Waiting waiting)
    : link_(link), runLoop_(runLoop), waiting_(std::move(waiting)) {
  link_.connectWindow(runLoop_, self_.bind(&SessionProxy::adoptState));
}

SessionProxy::~SessionProxy() { link_.disconnectWindow(); }

std::optional<FileURL> SessionProxy::currentTrackURL() const {
  const PlaylistTrack* track = state_.currentTrack();
  return track != nullptr ? std::optional(track->url) : std::nullopt;
}

Subscription SessionProxy::onChange(Observer observer) const { return observers_.subscribe(std::move(observer)); }

void SessionProxy::playTrack(std::int64_t row, double fraction) {
  const PlaylistTrack* track = state_.tracks.entryAt(row);
  if (track != nullptr) send(command::PlayTrack{track->id, fraction > 0 ? std::min(fraction, 1.0) : 0});
}

void SessionProxy::setPlaying(bool playing) {
  if (playing != state_.isGoingToPlay() && state_.currentTrack() != nullptr) send(command::SetPlaying{playing});
}

void SessionProxy::previous() {
  updatePlaybackPosition();
  const bool goesBack = state_.progress() <= restartThreshold && state_.currentIndex >= 1;
  playTrack(goesBack ? state_.currentIndex - 1 : state_.currentIndex, 0);
}

void SessionProxy::next() {
  if (state_.canPlayNext()) playTrack(state_.currentIndex + 1, 0);
}

void SessionProxy::seek(double seconds) {
  if (const PlaylistTrack* track = state_.currentTrack()) send(command::Seek{track->id, seconds});
}

void SessionProxy::loadPlaylist(std::span<const FileURL> urls, bool autoplay) {
  if (!urls.empty()) send(command::LoadPlaylist{{urls.begin(), urls.end()}, autoplay});
}

void SessionProxy::moveTrack(std::int64_t source, std::int64_t destination) {
  if (const PlaylistTrack* track = state_.tracks.entryAt(source)) send(command::MoveTrack{track->id, destination});
}

void SessionProxy::insertTracks(std::span<const FileURL> urls, PlaylistTrackID before) {
  if (!urls.empty()) send(command::InsertTracks{{urls.begin(), urls.end()}, before});
}

void SessionProxy::removeTracks(std::vector<PlaylistTrackID> tracks) {
  if (!tracks.empty()) send(command::RemoveTracks{std::move(tracks)});
}

void SessionProxy::undoPlaylistChange() {
  if (state_.undoableChange) send(command::UndoPlaylistChange{});
}

void SessionProxy::setExclusiveAccessEnabled(bool enabled) {
  if (enabled != state_.isExclusiveAccessEnabled) send(command::SetExclusiveAccess{enabled});
}

void SessionProxy::send(SessionCommand command) {
  const auto interrupt = waiting_.interrupt && interruptsWaiting(command) ? waiting_.interrupt() : 0;
  const auto number = ++lastNumber_;
  unanswered_.push_back({number, runLoop_.now(), command});
  link_.send({number, std::move(command), interrupt});
  show();
}

void SessionProxy::adoptState() {
  auto state = link_.takeState();
  if (!state) return;
  published_ = std::move(state);
  hasPlayer_ = true;
  while (!unanswered_.empty() && unanswered_.front().number <= published_->lastCommand) unanswered_.pop_front();
  show();
}

void SessionProxy::updatePlaybackPosition() {
  if (state_.startedAt) show();
}

void SessionProxy::watchTime(bool isWatched) {
  if (std::exchange(isTimeWatched_, isWatched) != isWatched) send(command::WatchTime{isWatched});
}

/// The published state, with the expected effect of the commands that the player has not answered yet.
void SessionProxy::show() {
  SessionState now = *published_;
  for (const Sent& sent : unanswered_) predict(sent.command, sent.at, now);
  now.position = now.positionAt(runLoop_.now());
  now.heldUpBy = heldUpBy();
  if (!now.heldUpBy.empty()) {
    now.audioPathStatus = AudioPathStatus::configuring();
    now.audioPathStatus.detail = bilingual("Waiting for {}…", now.heldUpBy);
  }
  // A predicted state, or one during a wait, has no verdict and therefore no stages.
  if (!now.audioPathStatus.isOfAPath()) now.signalPath.reset();
  const SessionState before = std::exchange(state_, std::move(now));
  keepTime();
  if (before == state_) return;
  observers_.notify(before, state_);
}

void SessionProxy::keepTime() {
  if (!state_.startedAt || !isTimeWatched_)
    positionTimer_.reset();
  else if (!positionTimer_)
    positionTimer_ = runLoop_.scheduleTimer(positionInterval, true, [this] { show(); });

  const bool isBusy = !unanswered_.empty() || state_.isPlaying || state_.isPreparing;
  if (!isBusy || !isTimeWatched_)
    watchTimer_.reset();
  else if (!watchTimer_)
    watchTimer_ = runLoop_.scheduleTimer(watchInterval, true, [this] { watch(); });
}

/// A blocked thread cannot report it; a command without an answer shows it.
void SessionProxy::watch() {
  if (unanswered_.empty()) return send(command::Ping{});
  show();
}

BilingualText SessionProxy::heldUpBy() const {
  if (!hasPlayer_ || unanswered_.empty()) return {};
  if (runLoop_.now() - unanswered_.front().at < noticeableWait) return {};
  std::string known = waiting_.forWhom ? waiting_.forWhom() : std::string();
  if (!known.empty()) return known;
  return published_->selectedDevice ? BilingualText(published_->selectedDevice->name) : bilingual("the output device");
}

}  // namespace tolvane
