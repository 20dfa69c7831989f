#pragma once
// CUE sheets: text that names the tracks of a CD within one or several files of audio.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FileExcerpt.h"
#include "platform/FileURL.h"

namespace tolvane {

/// Larger files are no CUE sheets.
inline constexpr std::size_t maximumCueSheetBytes = 1U << 20U;
/// Ten times as many as a CD can have. What a sheet names beyond them is left out.
inline constexpr std::size_t maximumCueTracks = 1000;

struct CueTrack {
  std::string file;  ///< as the sheet names it, in its bytes
  FileExcerpt part;  ///< texts in UTF-8, as MusicTags has them

  bool operator==(const CueTrack&) const = default;
};

/// The audio tracks of a sheet, in their order. Pure; whatever `bytes` are. Text is UTF-16 where it begins with that
/// byte order mark, else UTF-8, else Windows-1252.
///
/// A track lies in the file that its INDEX 01 stands behind, from there up to the INDEX 01 of the next track in the
/// same file: what precedes that one, from its INDEX 00 on, still belongs to this track. The last track of a file has
/// no end. What lies before the first INDEX 01 is part of no track. Left out are data tracks, and tracks that do not
/// begin behind the one before in the same file.
[[nodiscard]] std::vector<CueTrack> cueTracks(std::string_view bytes);

/// Those tracks of a sheet in `folder` (an absolute path) whose files are there. Instead of a file that is not there
/// the one beside it counts that has its name in other upper and lower case, or else with the extension of another
/// format that is played. Of paths of other systems the last name counts, after the stated place was searched. Names
/// that lead to the same file count as one. Asks the disk; any thread.
[[nodiscard]] std::vector<FileURL> cueSheetEntries(std::string_view bytes, const std::string& folder);

}  // namespace tolvane
