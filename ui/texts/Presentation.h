#pragma once
// The texts and colours of the window: pure functions of the session's values.

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "engine/AudioPathStatus.h"
#include "engine/ExclusiveAccessStatus.h"
#include "platform/BilingualText.h"
#include "platform/MusicTags.h"
#include "session/PlaylistChange.h"
#include "session/PlaylistTrack.h"
#include "session/UnplayableFile.h"
#include "ui/Theme.h"

namespace tolvane {

/// "05:47"; there is no hour field, so 75 minutes are "75:00". An invalid time is "00:00".
[[nodiscard]] std::string formatTime(double seconds);

/// Text from outside with a replacement character for each control character, which would show as nothing, break the
/// line or turn the direction of what follows.
[[nodiscard]] std::string displayText(std::string_view text);
/// The translation, if it has one.
template <std::same_as<BilingualText> Text>
[[nodiscard]] std::string displayText(const Text& text) {
  return displayText(std::string_view(text.shown()));
}

[[nodiscard]] std::string currentTrackTitle(const std::optional<PlaylistTrack>& track);

/// The tags' title, else the file's name. Null: the tags are not known.
[[nodiscard]] std::string trackTitle(const PlaylistTrack& track, const MusicTags* tags);
/// "Artist · Album", or the one of them that is stated; else empty.
[[nodiscard]] std::string creditsLabel(const MusicTags* tags);
/// The line below the title: the credits, or the name of the folder that the file lies in. Empty while the tags are not
/// known, so that what comes does not replace anything.
[[nodiscard]] std::string detailLabel(const PlaylistTrack& track, const MusicTags* tags);

/// "03 / 12" for the third of twelve; "-- / --" without tracks.
[[nodiscard]] std::string trackPositionLabel(std::int64_t currentIndex, std::int64_t count);

/// "03" for the third row; empty where the title begins with that number already.
[[nodiscard]] std::string rowNumberLabel(std::int64_t row, std::string_view title);

/// "1 track", "12 tracks".
[[nodiscard]] std::string trackCountLabel(std::int64_t count);
/// "52:10", "1:02:33"; with "or more" where not all lengths are known, and empty where none is.
[[nodiscard]] std::string playlistDurationLabel(double seconds, std::int64_t known, std::int64_t count);

/// "2 of 17"; "No match" without any.
[[nodiscard]] std::string matchLabel(std::int64_t number, std::int64_t count);

/// "3 of 12 selected".
[[nodiscard]] std::string selectionLabel(std::int64_t count, std::int64_t selected);
/// Beside it while nothing is stored for the next session; empty otherwise.
[[nodiscard]] std::string savingLabel(bool isSaved);

/// "12 tracks replaced", "Track moved": beside the offer to undo it.
[[nodiscard]] std::string playlistChangeLabel(const PlaylistChange& change);

/// "48 kHz", "44.1 kHz".
[[nodiscard]] std::string sampleRateLabel(double hertz);

/// A row's length: "05:47", or "--:--" where it is unknown.
[[nodiscard]] std::string durationLabel(std::optional<double> seconds);

/// Why a file could not be played: in plain words where there are any, and on the next line in detail.
[[nodiscard]] std::string problemText(const UnplayableFile& file);

/// The size of a value of −1 … 1 in per cent, without sign: "100", "12.35"; never rounded to 0 or to 100.
[[nodiscard]] std::string outputPercentageLabel(double value);

/// "Center", "L 25", "R 0.50".
[[nodiscard]] std::string balanceLabel(double balance);

/// Two lines.
[[nodiscard]] std::string exclusiveAccessControlTitle(ExclusiveAccessStatus::Kind kind);
[[nodiscard]] ThemeColor exclusiveAccessControlColor(ExclusiveAccessStatus::Kind kind);
[[nodiscard]] ThemeColor audioPathColor(AudioPathStatus::Kind kind);

}  // namespace tolvane
