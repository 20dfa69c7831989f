#pragma once
// Everything that the player publishes, as one value. The player's thread makes it and never changes it afterwards; the
// window's thread reads it. Cheap to copy: the playlist is shared.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/AudioPathStatus.h"
#include "engine/ExclusiveAccessStatus.h"
#include "engine/PathDiagnostics.h"
#include "platform/BilingualText.h"
#include "platform/RunLoop.h"
#include "session/AudioDevice.h"
#include "session/PlaylistChange.h"
#include "session/PlaylistTracks.h"
#include "session/UnplayableFile.h"

namespace tolvane {

struct SessionState {
  // The playlist.
  PlaylistTracks tracks;
  std::int64_t currentIndex = 0;                             ///< out of range while the playlist is empty
  std::optional<PlaylistChange> undoableChange;              ///< the last one, until the next change
  std::shared_ptr<const UnplayableFileMap> unplayableFiles;  ///< null: none

  // The transport: at most one of the three holds.
  bool isPlaying = false;
  bool isPaused = false;
  bool isPreparing = false;
  bool startsPaused = false;         ///< the track that is being prepared will be paused
  double preparationProgress = 0;    ///< 0 … 1
  std::optional<FileURL> loadedURL;  ///< of the track that is loaded, or is being prepared
  double sampleRate = 0;             ///< the source's, hertz; 0 while no track is loaded
  std::int64_t playbackCompletionCount = 0;

  // The position in the track. While the clock runs it is computed from `startedAt`, not from `position`.
  double position = 0;                          ///< seconds
  double duration = 0;                          ///< seconds; 0: unknown
  std::optional<RunLoop::TimePoint> startedAt;  ///< when the track would have been at position 0

  // The output.
  double outputVolume = 1;   ///< 0 … 1
  double outputBalance = 0;  ///< −1 … 1
  AudioPathStatus audioPathStatus = AudioPathStatus::ready();
  std::shared_ptr<const SignalPath> signalPath;  ///< the path that the status judges; null: none
  /// Twice a second while the window requests it (command::WatchPath); else null.
  std::shared_ptr<const PathDiagnostics> diagnostics;
  ExclusiveAccessStatus exclusiveAccessStatus = ExclusiveAccessStatus::off();
  bool isExclusiveAccessEnabled = false;  ///< the user's choice
  std::vector<AudioDevice> devices;       ///< sorted by name
  std::optional<AudioDevice> selectedDevice;

  bool isSaved = true;  ///< changes are stored for the next session

  // Player and window.
  std::uint64_t lastCommand = 0;  ///< number of the last command that was executed; 0: none yet
  BilingualText heldUpBy;         ///< the device or server that the player waits for; empty: none

  bool operator==(const SessionState&) const = default;

  [[nodiscard]] const PlaylistTrack* currentTrack() const { return tracks.entryAt(currentIndex); }
  [[nodiscard]] double positionAt(RunLoop::TimePoint now) const {
    if (!startedAt) return position;
    const double elapsed = std::max(secondsFromDuration(now - *startedAt), 0.0);
    return duration > 0 ? std::min(elapsed, duration) : elapsed;
  }
  /// 0 … 1
  [[nodiscard]] double progress() const { return duration > 0 ? std::clamp(position / duration, 0.0, 1.0) : 0; }
  [[nodiscard]] bool canPlayNext() const { return currentIndex < static_cast<std::int64_t>(tracks.size()) - 1; }
  /// Music plays, or will play without a further command.
  [[nodiscard]] bool isGoingToPlay() const { return isPlaying || (isPreparing && !startsPaused); }
};

}  // namespace tolvane
