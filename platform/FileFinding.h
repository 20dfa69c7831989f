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
  nothing,       ///< in a folder that is there
  noFolder,      ///< nothing, nor the folder
  brokenLink,    ///< a link to something that is not there
  closedFolder,  ///< in a folder that this user may not search
};

/// What a file begins like.
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
  zeros,  ///< nothing but zeros: space that was set aside and never written
};

struct FileFinding {
  FilePlace place = FilePlace::notKnown;
  FileContent content = FileContent::unknown;  ///< of a file; as it begins

  bool operator==(const FileFinding&) const = default;
};

}  // namespace tolvane
