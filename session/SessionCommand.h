#pragma once
// What the window asks of the player. Values that travel from the window's thread to the player's; entries are named by
// their identity, because rows may have moved meanwhile.

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
  PlaylistTrackID track = 0;  ///< nothing happens when another one is the current one by then
  double seconds = 0;
};
struct LoadPlaylist {
  std::vector<FileURL> urls;
  bool autoplay = true;
};
struct MoveTrack {
  PlaylistTrackID track = 0;
  std::int64_t destination = 0;  ///< counts in the list without the moved entry
};
struct InsertTracks {
  std::vector<FileURL> urls;
  PlaylistTrackID before = 0;  ///< the entry that will follow them; 0, or one that has gone: at the end
};
struct RemoveTracks {
  std::vector<PlaylistTrackID> tracks;
};
/// Brings back the list as it was before its last change.
struct UndoPlaylistChange {};
struct SetKnownDuration {
  double seconds = 0;
  FileURL url;
};
/// Asks the disk whether the files that could not be played have changed.
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
/// A setting of the window; no value removes it.
struct StoreSetting {
  std::string key;
  std::optional<UserDefaults::Value> value;
};
/// Brings the position up to date and saves the playlist and the place in it.
struct Save {};
/// From here on states carry all that is known of the signal path, or no more.
struct WatchPath {
  bool watched = true;
};
/// Asks for nothing but the answer that it has been seen.
struct Ping {};

}  // namespace command

using SessionCommand =
    std::variant<command::PlayTrack, command::SetPlaying, command::StopPlayback, command::Seek, command::LoadPlaylist,
                 command::MoveTrack, command::InsertTracks, command::RemoveTracks, command::UndoPlaylistChange,
                 command::SetKnownDuration, command::SetOutputVolume, command::SetOutputBalance,
                 command::SelectOutputDevice, command::SetExclusiveAccess, command::StoreSetting, command::Save,
                 command::WatchPath, command::Ping, command::CheckUnplayableFiles>;

/// Whether an older command that has not begun need not be carried out any more, because `newer` comes after it.
[[nodiscard]] bool supersedes(const SessionCommand& newer, const SessionCommand& older);

/// Whether the listener expects that the player stops waiting for a device or a server because of it.
[[nodiscard]] bool interruptsWaiting(const SessionCommand& command);

/// What the window shows from the moment of the command until the player answers: `state` as it will probably be.
void predict(const SessionCommand& command, RunLoop::TimePoint sentAt, SessionState& state);

}  // namespace tolvane
