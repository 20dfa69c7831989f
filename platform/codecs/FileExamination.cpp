#include "platform/codecs/FileExamination.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <string>
#include <string_view>

#include "platform/codecs/bytes/FileReader.h"
#include "platform/codecs/FileRecognition.h"

namespace tolvane {

namespace {

using namespace std::string_view_literals;

struct KnownFormat {
  FourCharCode formatID;
  FileContent content;
};

/// Formats that are known but not played, as recogniseFile() names them.
constexpr std::array kKnownFormats = {
    KnownFormat{fourCharCode("vorb"), FileContent::oggVorbis},
    KnownFormat{fourCharCode("opus"), FileContent::oggOpus},
    KnownFormat{fourCharCode("Oggf"), FileContent::ogg},
    KnownFormat{fourCharCode("mp4f"), FileContent::mp4},
    KnownFormat{fourCharCode("caff"), FileContent::caf},
    KnownFormat{fourCharCode("wvpk"), FileContent::wavPack},
    KnownFormat{fourCharCode("MAC "), FileContent::monkeysAudio},
    KnownFormat{fourCharCode("DSD "), FileContent::dsf},
    KnownFormat{fourCharCode("FRM8"), FileContent::dsdiff},
    KnownFormat{fourCharCode("TTA1"), FileContent::trueAudio},
    KnownFormat{fourCharCode("midi"), FileContent::midi},
    KnownFormat{fourCharCode("wma "), FileContent::windowsMedia},
    KnownFormat{fourCharCode("aac "), FileContent::aac},
};

struct OtherMark {
  std::string_view text;  ///< in lower case
  FileContent content;
};

/// Content that is often found in files with the name of music.
constexpr std::array kOtherMarks = {
    OtherMark{"%pdf-"sv, FileContent::pdf},
    OtherMark{"\x89png\r\n"sv, FileContent::png},
    OtherMark{"\xFF\xD8\xFF"sv, FileContent::jpeg},
    OtherMark{"pk\x03\x04"sv, FileContent::zip},
    OtherMark{"<!doctype html"sv, FileContent::webPage},
    OtherMark{"<html"sv, FileContent::webPage},
};

FileContent contentOf(const RecognisedFile& file) {
  switch (file.kind) {
    case AudioFileKind::wav:
      return FileContent::wav;
    case AudioFileKind::aiff:
      return FileContent::aiff;
    case AudioFileKind::flac:
      return FileContent::flac;
    case AudioFileKind::oggFlac:
      return FileContent::oggFlac;
    case AudioFileKind::mpeg:
      return FileContent::mp3;
    case AudioFileKind::other:
    case AudioFileKind::unknown:
      break;
  }
  const auto* const known = std::ranges::find(kKnownFormats, file.formatID, &KnownFormat::formatID);
  return known != kKnownFormats.end() ? known->content : FileContent::unknown;
}

/// The kind of content that is no audio format, by its first bytes.
FileContent contentOf(std::string_view start) {
  if (!start.empty() && start.find_first_not_of('\0') == std::string_view::npos) return FileContent::zeros;
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
  if (start.starts_with(byteOrderMark)) start.remove_prefix(byteOrderMark.size());
  start.remove_prefix(std::min(start.find_first_not_of(" \t\r\n"), start.size()));
  const auto lowerCase = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  const auto* const mark = std::ranges::find_if(kOtherMarks, [&](const OtherMark& known) {
    return start.size() >= known.text.size() &&
           std::ranges::equal(start.substr(0, known.text.size()), known.text, {}, lowerCase);
  });
  return mark != kOtherMarks.end() ? mark->content : FileContent::unknown;
}

FilePlace placeOfNothing(const std::string& path) {
  struct stat info = {};
  if (::lstat(path.c_str(), &info) == 0) return S_ISLNK(info.st_mode) ? FilePlace::brokenLink : FilePlace::notKnown;
  const std::string folder = std::filesystem::path(path).parent_path().string();
  if (::stat(folder.c_str(), &info) == 0) return FilePlace::nothing;
  return errno == ENOENT ? FilePlace::noFolder : FilePlace::notKnown;
}

FilePlace placeOf(const std::string& path) {
  struct stat info = {};
  if (path.find('\0') != std::string::npos) return FilePlace::notKnown;
  if (::stat(path.c_str(), &info) == 0) {
    if (S_ISDIR(info.st_mode)) return FilePlace::folder;
    if (!S_ISREG(info.st_mode)) return FilePlace::noFile;
    return info.st_size == 0 ? FilePlace::emptyFile : FilePlace::file;
  }
  if (errno == EACCES) return FilePlace::closedFolder;
  return errno == ENOENT ? placeOfNothing(path) : FilePlace::notKnown;
}

}  // namespace

FileContent contentOf(const ByteSource& source) {
  if (const auto file = recogniseFile(source))
    if (const FileContent content = contentOf(*file); content != FileContent::unknown) return content;
  std::array<std::byte, 4096> storage;
  const auto count = source.readAt(0, storage);
  if (!count) return FileContent::unknown;
  std::string start(*count, '\0');
  std::ranges::transform(std::span(storage).first(*count), start.begin(),
                         [](std::byte b) { return static_cast<char>(b); });
  return contentOf(std::string_view(start));
}

FileFinding examineFile(const FileURL& url) {
  FileFinding finding{.place = placeOf(url.path())};
  if (finding.place != FilePlace::file) return finding;
  if (const auto reader = FileReader::open(url)) finding.content = contentOf(**reader);
  return finding;
}

}  // namespace tolvane
