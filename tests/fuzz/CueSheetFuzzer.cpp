// Feeds made-up bytes to the reader of CUE sheets. What it makes of them is held to what its users rely on.

#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "platform/PrintableText.h"
#include "session/CueSheet.h"
#include "session/SheetText.h"

namespace tolvane {
namespace {

/// What must hold of every sheet. Ends the program where it does not.
void require(bool condition) {
  if (!condition) std::abort();
}

void requireShown(std::string_view text) {
  require(isUTF8(text) && !text.contains('\n') && withoutControls(text, "") == text);
  require(shownLine(text).size() <= text.size() + std::string_view("\u2026").size());
}

void readSheet(std::string_view bytes) {
  std::map<std::string, const FileExcerpt*> lastOf;  // by file
  const auto tracks = cueTracks(bytes);
  for (const CueTrack& track : tracks) {
    const FileExcerpt& part = track.part;
    require(!track.file.empty() && (!part.end || *part.end > part.first));
    require(part.isWholeFile() || !part.title.empty());
    for (const std::string* text : {&part.title, &part.artist, &part.album}) requireShown(*text);
    require(decodedExcerpt(encodedExcerpt(part)) == part);
    const FileExcerpt* const before = std::exchange(lastOf[track.file], &part);
    require(before == nullptr || (before->end && *before->end <= part.first));
  }
}

}  // namespace
}  // namespace tolvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  tolvane::readSheet(bytes);
  (void)tolvane::decodedExcerpt(bytes);
  return 0;
}
