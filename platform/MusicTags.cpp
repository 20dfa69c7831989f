#include "platform/MusicTags.h"

#include <utility>

namespace tolvane {

MusicTags tagsOfTrack(MusicTags ofFile, const FileURL& url) {
  const FileExcerpt* const sheet = url.excerpt();
  if (sheet == nullptr) return ofFile;
  if (url.isPartOfFile() || !sheet->title.empty()) ofFile.title = sheet->title;
  // The artist of a sheet is often that of the album; a file that is the whole track may state its own.
  if (!sheet->artist.empty() && (url.isPartOfFile() || ofFile.artist.empty())) ofFile.artist = sheet->artist;
  if (!sheet->album.empty()) ofFile.album = sheet->album;
  if (sheet->trackNumber || url.isPartOfFile()) ofFile.trackNumber = sheet->trackNumber;
  return ofFile;
}

}  // namespace tolvane
