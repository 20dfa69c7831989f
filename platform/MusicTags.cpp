#include "platform/MusicTags.h"

#include <utility>

namespace tolvane {

MusicTags tagsOfTrack(MusicTags ofFile, const FileURL& url) {
  const FileExcerpt* const sheet = url.excerpt();
  if (sheet == nullptr) return ofFile;
  if (url.isPartOfFile() || !sheet->title.empty()) ofFile.title = sheet->title;
  if (!sheet->artist.empty()) ofFile.artist = sheet->artist;
  if (!sheet->album.empty()) ofFile.album = sheet->album;
  if (sheet->trackNumber) ofFile.trackNumber = sheet->trackNumber;
  return ofFile;
}

}  // namespace tolvane
