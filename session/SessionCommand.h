#pragma once
// What the window requests from the player. Values that are passed from the window's thread to the player's. Entries
// are named by their identity, because rows may have moved meanwhile.

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/UserDefaults.h"
#include "session/SessionState.h"

namespace tolvane {

namespace command {

struct PlayTrack {
  PlaylistTrackID track = 0;
  double fraction = 0;  ///< of the track's length, 0 … 1
};
struct SetPlaying {
  bool playing = true;  ///< false: pause
};
struct StopPlayback {};
struct Seek {
  PlaylistTrackID track = 0;  ///< ignored if another one is the current one by then
  double seconds = 0;
};
struct LoadPlaylist {
  std::vector<FileURL> urls;
  bool autoplay = true;
};
struct MoveTrack {
  PlaylistTrackID track = 0;
  std::int64_t destination = 0;  ///< index in the list without the moved entry
};
struct InsertTracks {
  std::vector<FileURL> urls;
  PlaylistTrackID before = 0;  ///< the entry that will follow them; 0, or one that has been removed: at the end
};
struct RemoveTracks {
  std::vector<PlaylistTrackID> tracks;
};
/// Restores the list as it was before its last change.
struct UndoPlaylistChange {};
struct SetKnownDuration {
  double seconds = 0;
  FileURL url;
};
/// Checks on the disk whether the files that could not be played have changed.
struct CheckUnplayableFiles {};
struct SetOutputVolume {
  double volume = 1;
};
struct SetOutputBalance {
  double balance = 0;
};
struct SelectOutputDevice {
  AudioObjectID device = kAudioObjectUnknown;
};
struct SetExclusiveAccess {
  bool enabled = false;
};
/// Changes a setting of the window; no value removes it.
struct StoreSetting {
  std::string key;
  std::optional<UserDefaults::Value> value;
};
/// Updates the position, and saves the playlist and the position in it.
struct Save {};
/// Starts or stops the inclusion of path diagnostics in states.
struct WatchPath {
  bool watched = true;
};
/// Whether the player updates the position at the pace of a display. It starts so.
struct WatchTime {
  bool watched = true;
};
/// Does nothing; shows by its answer that the player handles commands.
struct Ping {};

}  // namespace command

using SessionCommand =
    std::variant<command::PlayTrack, command::SetPlaying, command::StopPlayback, command::Seek, command::LoadPlaylist,
                 command::MoveTrack, command::InsertTracks, command::RemoveTracks, command::UndoPlaylistChange,
                 command::SetKnownDuration, command::SetOutputVolume, command::SetOutputBalance,
                 command::SelectOutputDevice, command::SetExclusiveAccess, command::StoreSetting, command::Save,
                 command::WatchPath, command::WatchTime, command::Ping, command::CheckUnplayableFiles>;

/// Whether an older command that has not begun may be dropped because of `newer`.
[[nodiscard]] bool supersedes(const SessionCommand& newer, const SessionCommand& older);

/// Whether this command should interrupt the player's wait for a device or a server.
[[nodiscard]] bool interruptsWaiting(const SessionCommand& command);

/// What the window shows between the command and the player's answer: the expected new `state`.
void predict(const SessionCommand& command, RunLoop::TimePoint sentAt, SessionState& state);

}  // namespace tolvane
