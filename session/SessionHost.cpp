#include "session/SessionHost.h"

#include <utility>
#include <vector>

namespace tolvane {

namespace {

constexpr std::string_view exclusiveAccessKey = "TolvanePlayer.ExclusiveAccessEnabled";
constexpr auto preparationProgressInterval = std::chrono::milliseconds(50);
/// As often as the engine checks its output.
constexpr auto diagnosticsInterval = std::chrono::milliseconds(500);

}  // namespace

class SessionHost::Execution {
 public:
  explicit Execution(SessionHost& host) : host_(host), session_(host.session_) {}

  void operator()(const command::PlayTrack& play) const {
    session_.playTrack(session_.playlistTracks().value().indexOf(play.track), play.fraction);
  }
  void operator()(const command::SetPlaying& wanted) const {
    const auto& player = session_.player();
    const bool isGoingToPlay =
        player.isPlaying().value() || (player.isPreparing().value() && !player.startsPaused().value());
    const bool isStopped = !isGoingToPlay && !player.isPaused().value() && !player.isPreparing().value();
    if (wanted.playing == isGoingToPlay || (isStopped && !wanted.playing)) return;
    session_.togglePausePlayback();
  }
  void operator()(const command::StopPlayback&) const { session_.stopPlayback(); }
  void operator()(const command::Seek& seek) const {
    const auto* track = session_.playlistTracks().value().entryAt(session_.currentIndex().value());
    if (track != nullptr && track->id == seek.track) session_.seek(seek.seconds);
  }
  void operator()(const command::LoadPlaylist& load) const { session_.loadPlaylist(load.urls, load.autoplay); }
  void operator()(const command::MoveTrack& move) const {
    session_.moveTrack(session_.playlistTracks().value().indexOf(move.track), move.destination);
  }
  void operator()(const command::InsertTracks& insert) const {
    const auto& tracks = session_.playlistTracks().value();
    const auto row = tracks.indexOf(insert.before);
    session_.insertTracks(insert.urls, row >= 0 ? row : std::ssize(tracks.entries()));
  }
  void operator()(const command::RemoveTracks& remove) const { session_.removeTracks(remove.tracks); }
  void operator()(const command::UndoPlaylistChange&) const { session_.undoPlaylistChange(); }
  void operator()(const command::SetKnownDuration& known) const { session_.setKnownDuration(known.seconds, known.url); }
  void operator()(const command::CheckUnplayableFiles&) const { session_.checkUnplayableFiles(); }
  void operator()(const command::SetOutputVolume& wanted) const { session_.setOutputVolume(wanted.volume); }
  void operator()(const command::SetOutputBalance& wanted) const { session_.setOutputBalance(wanted.balance); }
  void operator()(const command::SelectOutputDevice& wanted) const { host_.devices_.select(wanted.device); }
  void operator()(const command::SetExclusiveAccess& wanted) const {
    if (wanted.enabled == host_.isExclusiveAccessEnabled_) return;
    host_.defaults_.setObject(exclusiveAccessKey, wanted.enabled);
    host_.setExclusiveAccessEnabled(wanted.enabled);
  }
  void operator()(const command::StoreSetting& setting) const {
    setting.value ? host_.defaults_.setObject(setting.key, *setting.value) : host_.defaults_.removeObject(setting.key);
  }
  void operator()(const command::Save&) const { session_.saveAll(); }
  void operator()(const command::WatchPath& wanted) const { host_.watchPath(wanted.watched); }
  void operator()(const command::WatchTime& wanted) const { session_.watchTime(wanted.watched); }
  void operator()(const command::Ping&) const {}

 private:
  SessionHost& host_;
  PlayerSession& session_;
};

SessionHost::SessionHost(const Services& services, SessionLink& link)
    : defaults_(services.defaults),
      runLoop_(services.runLoop),
      link_(link),
      session_(services.hardware, services.files, services.defaults, services.bookmarks, services.runLoop, services.log,
               services.background, services.lowPriority ? services.lowPriority : services.background),
      devices_(services.hardware, [this](AudioObjectID device) { session_.setOutputDevice(device); }),
      obey_(services.obey) {
  std::vector<Subscription> parts;
  parts.push_back(session_.onChange([this] { schedulePublication(); }));
  parts.push_back(session_.player().isPreparing().subscribe([this](bool) { watchPreparation(); }));
  parts.push_back(devices_.devices().subscribe([this](const auto&) { schedulePublication(); }));
  parts.push_back(devices_.selectedDevice().subscribe([this](const auto&) { schedulePublication(); }));
  changes_ = Subscription::joined(std::move(parts));
  setExclusiveAccessEnabled(defaults_.value<bool>(exclusiveAccessKey).value_or(false));
  devices_.start();
  publish();
  link_.connectPlayer(runLoop_, self_.bind(&SessionHost::executeNextCommand));
}

SessionHost::~SessionHost() { link_.disconnectPlayer(); }

void SessionHost::defaultsAreLoaded() {
  session_.defaultsAreLoaded();
  const bool isEnabled = defaults_.value<bool>(exclusiveAccessKey).value_or(false);
  if (isEnabled != isExclusiveAccessEnabled_) setExclusiveAccessEnabled(isEnabled);
  publish();
}

void SessionHost::setExclusiveAccessEnabled(bool enabled) {
  isExclusiveAccessEnabled_ = enabled;
  session_.setExclusiveAccessEnabled(enabled);
}

void SessionHost::executeNextCommand() {
  const auto next = link_.takeCommand();
  if (!next) return;
  if (obey_ && next->interrupt != 0) obey_(next->interrupt);
  std::visit(Execution(*this), next->command);
  lastCommand_ = next->number;
  publish();
}

void SessionHost::schedulePublication() {
  if (!std::exchange(isPublicationScheduled_, true)) runLoop_.post(self_.bind(&SessionHost::publish));
}

void SessionHost::publish() {
  isPublicationScheduled_ = false;
  SessionState now = state();
  if (published_ && *published_ == now) return;
  published_ = std::make_shared<const SessionState>(std::move(now));
  link_.publish(published_);
}

void SessionHost::watchPreparation() {
  if (!session_.player().isPreparing().value()) return progressTimer_.reset();
  progressTimer_ = runLoop_.scheduleTimer(preparationProgressInterval, true, [this] { publish(); });
}

void SessionHost::watchPath(bool isWatched) {
  diagnostics_.reset();
  diagnosticsTimer_.reset();
  if (!isWatched) return;
  diagnose();
  diagnosticsTimer_ = runLoop_.scheduleTimer(diagnosticsInterval, true, [this] {
    diagnose();
    publish();
  });
}

void SessionHost::diagnose() {
  diagnostics_ = std::make_shared<const PathDiagnostics>(session_.player().diagnostics());
}

SessionState SessionHost::state() const {
  const BitPerfectAudioPlayer& player = session_.player();
  SessionState state;
  state.tracks = session_.playlistTracks().value();
  state.currentIndex = session_.currentIndex().value();
  state.unplayableFiles = session_.unplayableFiles().files().value();
  state.undoableChange = session_.undoableChange().value();
  state.isPlaying = player.isPlaying().value();
  state.isPaused = player.isPaused().value();
  state.isPreparing = player.isPreparing().value();
  state.startsPaused = player.startsPaused().value();
  state.preparationProgress = player.preparationProgress();
  state.loadedURL = player.currentURL().value();
  state.sampleRate = player.sampleRate().value();
  state.playbackCompletionCount = player.playbackCompletionCount().value();
  state.startedAt = session_.playbackStartedAt();
  // While the clock runs, a position published a moment ago needs no new state.
  if (!state.startedAt) state.position = session_.playbackPosition().value();
  state.duration = session_.playbackDuration().value();
  state.outputVolume = session_.outputVolume().value();
  state.outputBalance = session_.outputBalance().value();
  state.audioPathStatus = player.audioPathStatus().value();
  state.signalPath = player.signalPath().value();
  state.diagnostics = diagnostics_;
  state.exclusiveAccessStatus = player.exclusiveAccessStatus().value();
  state.isExclusiveAccessEnabled = isExclusiveAccessEnabled_;
  state.devices = devices_.devices().value();
  state.selectedDevice = devices_.selectedDevice().value();
  state.isSaved = defaults_.isLoaded();
  state.lastCommand = lastCommand_;
  return state;
}

}  // namespace tolvane
