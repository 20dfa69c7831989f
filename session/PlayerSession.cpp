#include "session/PlayerSession.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tolvane {

namespace {

constexpr auto progressInterval = std::chrono::milliseconds(50);
/// Frequent enough for the readings of the device's position, which are `mostBetweenReadings` apart.
constexpr auto unwatchedInterval = std::chrono::milliseconds(100);
constexpr double restartThreshold = 0.05;    // of the track's length
constexpr double finishedThreshold = 0.999;  // from here on, play starts from the beginning
constexpr double smallestBalance = 1e-12;
constexpr double clockTolerance = 0.05;  // seconds: a clock this close to the device's position is not corrected
constexpr std::size_t readingsToBelieve = 3;
constexpr auto leastBetweenReadings = std::chrono::milliseconds(40);
constexpr auto mostBetweenReadings = std::chrono::milliseconds(150);
constexpr auto periodicSaveInterval = std::chrono::seconds(2);
constexpr std::string_view outputVolumeKey = "TolvanePlayer.OutputVolume";
constexpr std::string_view outputBalanceKey = "TolvanePlayer.OutputBalance";

double sanitisedVolume(double volume) { return std::isfinite(volume) ? std::clamp(volume, 0.0, 1.0) : 1.0; }

/// The engine leaves samples untouched only at exactly 0, so a rounding error of a slider must be removed.
double sanitisedBalance(double balance) {
  if (!std::isfinite(balance)) return 0;
  const double clamped = std::clamp(balance, -1.0, 1.0);
  return std::abs(clamped) < smallestBalance ? 0 : clamped;
}

}  // namespace

PlayerSession::PlayerSession(AudioHardware& hardware, AudioFileServices& files, UserDefaults& defaults,
                             FileBookmarks& bookmarks, RunLoop& runLoop, Log& log, Background background,
                             Background lowPriority)
    : defaults_(defaults),
      bookmarks_(bookmarks),
      runLoop_(runLoop),
      player_(hardware, files, runLoop, log, background, std::move(lowPriority)),
      unplayableFiles_(files, runLoop, background),
      restoration_(runLoop, background),
      bookmarking_(runLoop, std::move(background)) {
  restoreLevels();
  restorePlaylist();
  completionSubscription_ =
      player_.playbackCompletionCount().subscribe([this](const std::int64_t&) { handlePlaybackCompletion(); });
  playingSubscription_ = player_.isPlaying().subscribe([this](bool) { keepTime(); });
}

void PlayerSession::restoreLevels() {
  outputVolume_.assign(sanitisedVolume(defaults_.value<double>(outputVolumeKey).value_or(1.0)));
  outputBalance_.assign(sanitisedBalance(defaults_.value<double>(outputBalanceKey).value_or(0.0)));
  player_.setOutputLevels(outputVolume_.value(), outputBalance_.value());
}

std::vector<FileURL> PlayerSession::fileURLs() const {
  std::vector<FileURL> urls;
  urls.reserve(playlistTracks_.value().size());
  for (const auto& track : playlistTracks_.value()) urls.push_back(track.url);
  return urls;
}

std::optional<FileURL> PlayerSession::currentTrackURL() const {
  const PlaylistTrack* track = playlistTracks_.value().entryAt(currentIndex_.value());
  return track != nullptr ? std::optional(track->url) : std::nullopt;
}

double PlayerSession::playbackProgress() const {
  const double duration = playbackDuration_.value();
  return duration > 0 ? std::clamp(playbackPosition_.value() / duration, 0.0, 1.0) : 0;
}

std::optional<RunLoop::TimePoint> PlayerSession::playbackStartedAt() const {
  return player_.isPlaying().value() ? playbackStartedAt_.value() : std::nullopt;
}

bool PlayerSession::canPlayNext() const {
  return currentIndex_.value() < std::ssize(playlistTracks_.value().entries()) - 1;
}

Subscription PlayerSession::onChange(const std::function<void()>& observer) const {
  const auto anyChange = [observer](const auto&) { observer(); };
  std::vector<Subscription> parts;
  parts.push_back(playlistTracks_.subscribe(anyChange));
  parts.push_back(currentIndex_.subscribe(anyChange));
  parts.push_back(undoableChange_.subscribe(anyChange));
  parts.push_back(playbackPosition_.subscribe(anyChange));
  parts.push_back(playbackDuration_.subscribe(anyChange));
  parts.push_back(playbackStartedAt_.subscribe(anyChange));
  parts.push_back(unplayableFiles_.files().subscribe(anyChange));
  parts.push_back(outputVolume_.subscribe(anyChange));
  parts.push_back(outputBalance_.subscribe(anyChange));
  parts.push_back(player_.onChange(observer));
  return Subscription::joined(std::move(parts));
}

void PlayerSession::playTrack(std::int64_t index, double fraction) {
  const PlaylistTrack* track = playlistTracks_.value().entryAt(index);
  if (track == nullptr) return;
  const double start = fraction > 0 ? std::min(fraction, 1.0) : 0;
  const FileURL url = track->url;
  const bool indexChanged = currentIndex_.assign(index);

  if (isTrackLoaded(url)) {
    playbackDuration_.assign(player_.duration().value());
    const double target = start * playbackDuration_.value();
    player_.seek(target);
    if (player_.isPaused().value()) player_.resume();
    setPositionFollowingEngine(target);
    shouldAutoAdvance_ = player_.isPlaying().value();
    return persistPlaybackState();
  }
  if (indexChanged) {
    playbackPosition_.assign(0);
    playbackDuration_.assign(0);
  }
  isRestored_ = false;
  startFraction_ = start;
  startSeconds_.reset();
  if (isTrackPrepared(url)) {
    ++placesChosen_;
    player_.resume();
  } else {
    if (unplayableFiles_.contains(url)) checkUnplayableFiles();
    prepare(url);
    if (!player_.isPreparing().value()) return;
  }
  playbackPosition_.assign(start * playbackDuration_.value());
  persistPlaybackState();
}

/// Starts the track, once it has been read, at startPosition().
void PlayerSession::prepare(const FileURL& url) {
  shouldAutoAdvance_ = false;
  playbackStartedAt_.assign(std::nullopt);
  player_.play(url, [this] { trackHasStarted(); }, [this](double duration) { return startPosition(duration); });
}

void PlayerSession::trackHasStarted() {
  noteWhetherPlayable();
  startFromTarget();
  shouldAutoAdvance_ = player_.isPlaying().value();
  persistPlaybackState();
  updateUpcomingTrack();
}

/// A failure of the device is not a fault of the file.
void PlayerSession::noteWhetherPlayable() {
  if (const auto& failure = player_.preparationFailure()) return unplayableFiles_.add(*failure);
  const bool isLoaded = player_.isPlaying().value() || player_.isPaused().value();
  if (const auto& url = player_.currentURL().value(); url && isLoaded) unplayableFiles_.remove(*url);
}

void PlayerSession::trackHasStartedOnOtherDevice() {
  noteWhetherPlayable();
  // If it could not be started, the position in it is kept.
  if (player_.duration().value() > 0) startFromTarget();
  persistPlaybackState();
  updateUpcomingTrack();
}

void PlayerSession::startFromTarget() {
  playbackDuration_.assign(player_.duration().value());
  // A track that followed without a gap has already been playing for a moment.
  setPositionFollowingEngine(player_.position().value_or(startPosition(playbackDuration_.value())));
}

double PlayerSession::startPosition(double duration) const {
  return startSeconds_ ? std::min(*startSeconds_, duration) : startFraction_ * duration;
}

/// The track that the engine may prepare: the entry after this one, or the restored one, with which playback will
/// begin.
void PlayerSession::updateUpcomingTrack() {
  const PlaylistTrack* next = nullptr;
  if (isActive()) {
    const bool goesOn = shouldAutoAdvance_ || !player_.isPlaying().value();
    if (goesOn) next = playlistTracks_.value().entryAt(currentIndex_.value() + 1);
  } else if (isRestored_) {
    next = playlistTracks_.value().entryAt(currentIndex_.value());
  }
  player_.setUpcomingTrack(next != nullptr ? std::optional(next->url) : std::nullopt);
}

bool PlayerSession::isActive() const {
  return player_.isPlaying().value() || player_.isPaused().value() || player_.isPreparing().value();
}

bool PlayerSession::isGoingToPlay() const {
  return player_.isPlaying().value() || (player_.isPreparing().value() && !player_.startsPaused().value());
}

bool PlayerSession::isTrackPrepared(const FileURL& url) const {
  return player_.isPreparing().value() && player_.currentURL().value() == url;
}

bool PlayerSession::isTrackLoaded(const FileURL& url) const {
  return player_.currentURL().value() == url && player_.duration().value() > 0 &&
         (player_.isPlaying().value() || player_.isPaused().value());
}

void PlayerSession::togglePausePlayback() {
  if (player_.isPlaying().value()) {
    updatePlaybackPosition();
    player_.pause();  // counts the track that has been heard to its end
    shouldAutoAdvance_ = false;
    playbackStartedAt_.assign(std::nullopt);
    if (const auto heard = player_.position()) playbackPosition_.assign(*heard);
    persistPlaybackState();
  } else if (player_.isPaused().value()) {
    player_.resume();  // may fail: then the clock must not run, and no track may follow
    setPositionFollowingEngine(playbackPosition_.value());
    shouldAutoAdvance_ = player_.isPlaying().value();
    persistPlaybackState();
    updateUpcomingTrack();
  } else if (player_.isPreparing().value()) {
    player_.startsPaused().value() ? player_.resume() : player_.pause();
  } else if (!playlistTracks_.value().empty()) {
    const double progress = playbackProgress();
    playTrack(currentIndex_.value(), progress >= finishedThreshold ? 0 : progress);
  }
}

void PlayerSession::previous() {
  const auto index = currentIndex_.value();
  const bool goesBack = playbackProgress() <= restartThreshold && index >= 1;
  playTrack(goesBack ? index - 1 : index, 0);
}

void PlayerSession::seek(double seconds) {
  const auto url = currentTrackURL();
  if (!url || !std::isfinite(seconds)) return;
  if (isTrackPrepared(*url) && playbackDuration_.value() > 0) {
    startSeconds_ = std::clamp(seconds, 0.0, playbackDuration_.value());
    ++placesChosen_;
    playbackPosition_.assign(*startSeconds_);
    return persistPlaybackState();
  }
  if (!isTrackLoaded(*url)) return;
  const double target = std::clamp(seconds, 0.0, player_.duration().value());
  player_.seek(target);
  setPositionFollowingEngine(target);
  persistPlaybackState();
}

void PlayerSession::stopPlayback() {
  const bool wasActive = isActive();
  if (!wasActive && !(playbackPosition_.value() > 0)) return;
  shouldAutoAdvance_ = false;
  if (wasActive) player_.stop();
  playbackStartedAt_.assign(std::nullopt);
  playbackPosition_.assign(0);
  persistPlaybackState();
  updateUpcomingTrack();
}

void PlayerSession::setKnownDuration(double seconds, const FileURL& url) {
  if (currentTrackURL() != url || player_.duration().value() != 0) return;
  if (!std::isfinite(seconds) || seconds <= 0) return;
  playbackDuration_.assign(seconds);
  playbackPosition_.assign(std::min(seconds, playbackPosition_.value()));
  persistPlaybackState();
}

void PlayerSession::setOutputVolume(double volume) {
  outputVolume_.assign(sanitisedVolume(volume));
  defaults_.setObject(outputVolumeKey, outputVolume_.value());
  player_.setOutputLevels(outputVolume_.value(), outputBalance_.value());
}

void PlayerSession::setOutputBalance(double balance) {
  outputBalance_.assign(sanitisedBalance(balance));
  defaults_.setObject(outputBalanceKey, outputBalance_.value());
  player_.setOutputLevels(outputVolume_.value(), outputBalance_.value());
}

void PlayerSession::setOutputDevice(AudioObjectID deviceID) {
  updatePlaybackPosition();
  if (player_.isPlaying().value()) startSeconds_ = playbackPosition_.value();
  // The shown position follows the clock; the engine knows the frame. A position chosen meanwhile takes precedence.
  player_.setOutputDevice(
      deviceID, [this] { trackHasStartedOnOtherDevice(); },
      [this, before = placesChosen_](double duration, double heard) {
        if (placesChosen_ == before) startSeconds_ = heard;
        return startPosition(duration);
      });
  persistPlaybackState();
}

void PlayerSession::setExclusiveAccessEnabled(bool enabled) {
  updatePlaybackPosition();
  const auto resumedAt = player_.setExclusiveAccessEnabled(enabled);
  updateUpcomingTrack();
  if (!resumedAt) return;
  playbackDuration_.assign(player_.duration().value());
  setPositionFollowingEngine(std::min(std::max(playbackDuration_.value(), 0.0), std::max(*resumedAt, 0.0)));
  persistPlaybackState();
}

void PlayerSession::updatePlaybackPosition() {
  player_.updateCurrentTrack();
  if (!player_.isPlaying().value() || !playbackStartedAt_.value() || !(playbackDuration_.value() > 0)) return;
  followDevice();
  const double elapsed = std::max(secondsFromDuration(runLoop_.now() - *playbackStartedAt_.value()), 0.0);
  playbackPosition_.assign(std::min(playbackDuration_.value(), elapsed));
  const auto now = runLoop_.now();
  if (lastPeriodicSave_ && now - *lastPeriodicSave_ < periodicSaveInterval) return;
  lastPeriodicSave_ = now;
  persistPlaybackState();
}

/// Paused or stopped there is nothing to update, and no need to wake the processor.
void PlayerSession::keepTime() {
  progressTimer_.reset();
  if (player_.isPlaying().value())
    progressTimer_ = runLoop_.scheduleTimer(isTimeWatched_ ? progressInterval : unwatchedInterval, true,
                                            [this] { updatePlaybackPosition(); });
}

void PlayerSession::watchTime(bool isWatched) {
  if (std::exchange(isTimeWatched_, isWatched) != isWatched) keepTime();
}

/// Follows the device's position: the device may stall, recover, or run slightly faster than this clock. It reports its
/// position once per period, so a reading may lag by up to a period: of several readings the one with the smallest lag
/// is used. A reading that has not changed for longer than any period means that the device stands still.
void PlayerSession::followDevice() {
  const auto now = runLoop_.now();
  const auto heard = player_.position();
  if (!heard) return;
  const double lead = secondsFromDuration(now - *playbackStartedAt_.value()) - *heard;
  if (lead < -clockTolerance) return startClockAt(*heard);
  if (!readings_.empty() && now - lastReading_ < leastBetweenReadings) return;
  if (now - lastReading_ > mostBetweenReadings) readings_.clear();
  lastReading_ = now;
  readings_.push_back({.heard = *heard, .lead = lead});
  if (readings_.size() < readingsToBelieve) return;
  const bool stands = readings_.front().heard == *heard;
  const double ahead = stands ? lead : std::ranges::min(readings_, {}, &ClockReading::lead).lead;
  readings_.erase(readings_.begin());
  if (ahead <= clockTolerance) return;
  const auto kept = readings_;
  startClockAt(*heard + lead - ahead);
  if (stands) readings_ = kept;  // so that the next reading finds it standing still too
}

void PlayerSession::handlePlaybackCompletion() {
  playbackStartedAt_.assign(std::nullopt);
  playbackPosition_.assign(playbackDuration_.value());
  persistPlaybackState();
  if (!shouldAutoAdvance_) return;
  if (canPlayNext()) {
    playTrack(currentIndex_.value() + 1, 0);
  } else {
    shouldAutoAdvance_ = false;
  }
}

void PlayerSession::setPositionFollowingEngine(double seconds) {
  playbackPosition_.assign(seconds);
  if (player_.isPlaying().value()) {
    startClockAt(seconds);
  } else {
    playbackStartedAt_.assign(std::nullopt);
  }
}

void PlayerSession::startClockAt(double seconds) {
  readings_.clear();
  playbackStartedAt_.assign(runLoop_.now() - durationFromSeconds(seconds));
}

}  // namespace tolvane
