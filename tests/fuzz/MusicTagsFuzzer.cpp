// Feeds made-up files to what reads their tags and covers.

#include <cstdlib>

#include "platform/PrintableText.h"
#include "platform/tags/Pictures.h"
#include "platform/tags/TaggedFile.h"
#include "tests/platform/codecs/AudioBytes.h"

namespace tolvane::test {
namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

void requireLine(const std::string& text) {
  require(text.size() < 4000);
  require(text == printableText(text));
}

void readFile(const std::vector<std::byte>& bytes) {
  const MemorySource source(bytes);
  const auto tags = readMusicTags(source);
  for (const std::string& text : {tags.title, tags.artist, tags.album}) requireLine(text);
  require(!tags.trackNumber || (*tags.trackNumber >= 1 && *tags.trackNumber <= 9999));
  const auto cover = readEmbeddedCover(source);
  require(!cover || (cover->bytes.size() <= bytes.size() && pictureFormat(cover->bytes) == cover->format));
}

}  // namespace
}  // namespace tolvane::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto bytes = std::as_bytes(std::span(data, size));
  tolvane::test::readFile({bytes.begin(), bytes.end()});
  return 0;
}
