// Feeds made-up files to everything that reads one: recognition, layouts, maps of packets, decoders.

#include "platform/codecs/pcm/AiffLayout.h"
#include "platform/codecs/pcm/WavLayout.h"
#include "tests/fuzz/DecodedFile.h"
#include "tests/platform/codecs/AudioBytes.h"

namespace tolvane::test {
namespace {

void readLayout(const std::expected<PcmFileLayout, OSStatus>& layout, std::uint64_t size) {
  if (layout) require(layout->dataOffset <= size && layout->dataByteCount <= size - layout->dataOffset);
}

void readFile(const std::shared_ptr<const ByteSource>& source) {
  readLayout(readWavLayout(*source), source->size());
  readLayout(readAiffLayout(*source), source->size());
  const auto file = recogniseFile(*source);
  if (file && isEncoded(*file)) requireAgreement(source, *file);
}

}  // namespace
}  // namespace tolvane::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto bytes = std::as_bytes(std::span(data, size));
  tolvane::test::readFile(std::make_shared<tolvane::test::MemorySource>(std::vector(bytes.begin(), bytes.end())));
  return 0;
}
