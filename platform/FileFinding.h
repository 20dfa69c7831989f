#pragma once
// What can be found out about a file that could not be read as audio. Values; any thread.

#include <cstdint>

namespace tolvane {

/// What lies at a path.
enum class FilePlace : std::uint8_t {
  notKnown,
  file,
  emptyFile,
  folder,
  noFile,        ///< neither file nor folder: a pipe, a socket, a device
  nothing,       ///< nothing, in a folder that exists
  noFolder,      ///< neither the file nor its folder exists
  brokenLink,    ///< a link to something that does not exist
  closedFolder,  ///< in a folder that this user may not search
};

/// The format that a file's first bytes indicate.
enum class FileContent : std::uint8_t {
  unknown,
  wav,
  aiff,
  flac,
  oggFlac,
  mp3,
  oggVorbis,
  oggOpus,
  ogg,
  mp4,
  caf,
  wavPack,
  monkeysAudio,
  dsf,
  dsdiff,
  trueAudio,
  midi,
  windowsMedia,
  aac,
  webPage,
  pdf,
  png,
  jpeg,
  zip,
  zeros,  ///< only zeros: space that was allocated and never written
};

struct FileFinding {
  FilePlace place = FilePlace::notKnown;
  FileContent content = FileContent::unknown;  ///< by the file's first bytes

  bool operator==(const FileFinding&) const = default;
};

}  // namespace tolvane
