#include "session/SessionCommand.h"

#include <cmath>
#include <utility>

#include "session/PlaylistRemoval.h"

namespace tolvane {

namespace {

template <typename... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};

using namespace command;

void setClock(SessionState& state, double seconds, RunLoop::TimePoint now) {
  state.position = seconds;
  state.startedAt = state.isPlaying ? std::optional(now - durationFromSeconds(seconds)) : std::nullopt;
}

void setTransport(SessionState& state, bool isPlaying, bool isPaused, bool isPreparing) {
  state.isPlaying = isPlaying;
  state.isPaused = isPaused;
  state.isPreparing = isPreparing;
}

class Prediction {
 public:
  Prediction(SessionState& state, RunLoop::TimePoint now) : state_(state), now_(now) {}

  void operator()(const PlayTrack& play) {
    const auto index = state_.tracks.indexOf(play.track);
    if (index < 0) return;
    const auto& url = state_.tracks[static_cast<std::size_t>(index)].url;
    const bool isAnother = std::exchange(state_.currentIndex, index) != index;
    const bool isLoaded = state_.loadedURL == url && state_.duration > 0 && (state_.isPlaying || state_.isPaused);
    if (isLoaded) {
      setTransport(state_, true, false, false);
      return setClock(state_, play.fraction * state_.duration, now_);
    }
    if (isAnother) state_.duration = 0;
    if (!state_.isPreparing || state_.loadedURL != url) beginPreparing(url);
    state_.startsPaused = false;
    setClock(state_, play.fraction * state_.duration, now_);
  }

  void operator()(const SetPlaying& wanted) {
    if (state_.isPreparing) {
      state_.startsPaused = !wanted.playing;
    } else if (state_.isPlaying && !wanted.playing) {
      const double seconds = state_.positionAt(now_);
      setTransport(state_, false, true, false);
      setClock(state_, seconds, now_);
    } else if (state_.isPaused && wanted.playing) {
      setTransport(state_, true, false, false);
      setClock(state_, state_.position, now_);
    } else if (const auto* track = state_.currentTrack(); track != nullptr && !state_.isPlaying && wanted.playing) {
      beginPreparing(track->url);
    }
  }

  void operator()(const StopPlayback&) {
    setTransport(state_, false, false, false);
    setClock(state_, 0, now_);
    forgetTrack();
    state_.audioPathStatus = AudioPathStatus::ready();
  }

  void operator()(const Seek& seek) {
    const auto* track = state_.currentTrack();
    const bool isActive = state_.isPlaying || state_.isPaused || state_.isPreparing;
    if (track == nullptr || track->id != seek.track || !isActive || !(state_.duration > 0)) return;
    if (std::isfinite(seek.seconds)) setClock(state_, std::clamp(seek.seconds, 0.0, state_.duration), now_);
  }

  void operator()(const MoveTrack& move) {
    const auto source = state_.tracks.indexOf(move.track);
    const auto count = static_cast<std::int64_t>(state_.tracks.size());
    if (source < 0 || count < 2) return;
    const auto target = std::clamp<std::int64_t>(move.destination, 0, count - 1);
    if (target == source) return;
    auto entries = state_.tracks.entries();
    moveElement(entries, source, target);
    state_.tracks = PlaylistTracks(std::move(entries));
    state_.currentIndex = indexAfterMove(state_.currentIndex, source, target);
    state_.undoableChange.reset();
  }

  void operator()(const RemoveTracks& remove) {
    auto removal = removalFrom(state_.tracks, remove.tracks, state_.currentIndex);
    if (removal.count == 0) return;
    state_.tracks = std::move(removal.tracks);
    state_.currentIndex = removal.currentIndex;
    state_.undoableChange.reset();
    if (!removal.takesCurrent) return;
    const bool goesOn = state_.isGoingToPlay() && removal.hasFollower;
    state_.duration = 0;
    (*this)(StopPlayback{});
    if (goesOn) (*this)(PlayTrack{state_.currentTrack()->id, 0});
  }

  // Undo is available only once the player has answered: it can never apply to a change that may still be dropped.
  void operator()(const LoadPlaylist&) { state_.undoableChange.reset(); }
  void operator()(const InsertTracks&) { state_.undoableChange.reset(); }
  void operator()(const UndoPlaylistChange&) { state_.undoableChange.reset(); }

  void operator()(const SetOutputVolume& wanted) {
    if (std::isfinite(wanted.volume)) state_.outputVolume = std::clamp(wanted.volume, 0.0, 1.0);
  }

  void operator()(const SetOutputBalance& wanted) {
    if (std::isfinite(wanted.balance)) state_.outputBalance = std::clamp(wanted.balance, -1.0, 1.0);
  }

  void operator()(const SelectOutputDevice& wanted) {
    const auto found = std::ranges::find(state_.devices, wanted.device, &AudioDevice::id);
    if (found != state_.devices.end()) state_.selectedDevice = *found;
  }

  void operator()(const SetExclusiveAccess& wanted) { state_.isExclusiveAccessEnabled = wanted.enabled; }

  void operator()(const WatchPath& wanted) {
    if (!wanted.watched) state_.diagnostics.reset();
  }

  // The player's answer brings the result of these commands, or they change nothing that is shown.
  void operator()(const SetKnownDuration&) {}
  void operator()(const CheckUnplayableFiles&) {}
  void operator()(const StoreSetting&) {}
  void operator()(const Save&) {}
  void operator()(const WatchTime&) {}
  void operator()(const Ping&) {}

 private:
  void beginPreparing(const FileURL& url) {
    setTransport(state_, false, false, true);
    forgetTrack();
    state_.loadedURL = url;
    state_.audioPathStatus = AudioPathStatus::configuring();
  }

  void forgetTrack() {
    state_.startedAt.reset();
    state_.startsPaused = false;
    state_.preparationProgress = 0;
    state_.loadedURL.reset();
    state_.sampleRate = 0;
  }

  SessionState& state_;
  const RunLoop::TimePoint now_;
};

template <typename Command>
bool bothAre(const SessionCommand& a, const SessionCommand& b) {
  return std::holds_alternative<Command>(a) && std::holds_alternative<Command>(b);
}

}  // namespace

bool supersedes(const SessionCommand& newer, const SessionCommand& older) {
  // Keeps moved, inserted and removed entries, and undos: undoing the load restores their result.
  if (std::holds_alternative<LoadPlaylist>(newer) && !std::get<LoadPlaylist>(newer).urls.empty()) {
    return std::holds_alternative<PlayTrack>(older) || std::holds_alternative<SetPlaying>(older) ||
           std::holds_alternative<Seek>(older) || std::holds_alternative<SetKnownDuration>(older) ||
           std::holds_alternative<LoadPlaylist>(older);
  }
  if (std::holds_alternative<PlayTrack>(newer))
    return std::holds_alternative<PlayTrack>(older) || std::holds_alternative<SetPlaying>(older);
  if (bothAre<Seek>(newer, older)) return std::get<Seek>(newer).track == std::get<Seek>(older).track;
  if (bothAre<StoreSetting>(newer, older))
    return std::get<StoreSetting>(newer).key == std::get<StoreSetting>(older).key;
  return bothAre<SetPlaying>(newer, older) || bothAre<SetOutputVolume>(newer, older) ||
         bothAre<SetOutputBalance>(newer, older) || bothAre<SelectOutputDevice>(newer, older) ||
         bothAre<SetExclusiveAccess>(newer, older) || bothAre<Save>(newer, older) || bothAre<WatchPath>(newer, older) ||
         bothAre<WatchTime>(newer, older) || bothAre<Ping>(newer, older) || bothAre<CheckUnplayableFiles>(newer, older);
}

bool interruptsWaiting(const SessionCommand& command) {
  return std::visit(
      Overloaded{[](const PlayTrack&) { return true; }, [](const SetPlaying&) { return true; },
                 [](const StopPlayback&) { return true; }, [](const LoadPlaylist&) { return true; },
                 [](const UndoPlaylistChange&) { return true; }, [](const SelectOutputDevice&) { return true; },
                 [](const SetExclusiveAccess&) { return true; }, [](const Save&) { return true; },
                 [](const auto&) { return false; }},
      command);
}

void predict(const SessionCommand& command, RunLoop::TimePoint sentAt, SessionState& state) {
  std::visit(Prediction(state, sentAt), command);
}

}  // namespace tolvane
