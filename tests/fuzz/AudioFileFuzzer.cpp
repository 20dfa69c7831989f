// Feeds made-up files to everything that reads one: recognition, layouts, maps of packets, decoders.

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

#include "platform/codecs/AiffLayout.h"
#include "platform/codecs/DecodedAudioFile.h"
#include "platform/codecs/FileRecognition.h"
#include "platform/codecs/FlacTrack.h"
#include "platform/codecs/Mp3Track.h"
#include "platform/codecs/WavLayout.h"
#include "tests/platform/codecs/AudioBytes.h"

namespace tolvane::test {
namespace {

/// What must hold of every file, however broken. Ends the program where it does not.
void require(bool condition) {
  if (!condition) std::abort();
}

void readLayout(const std::expected<PcmFileLayout, OSStatus>& layout, std::uint64_t size) {
  if (layout) require(layout->dataOffset <= size && layout->dataByteCount <= size - layout->dataOffset);
}

struct Decoded {
  OSStatus status = noErr;
  std::vector<std::byte> samples;

  bool operator==(const Decoded&) const = default;
};

Decoded decode(const std::shared_ptr<const ByteSource>& source, std::unique_ptr<EncodedTrack> track,
               const SegmentLimits& limits) {
  constexpr std::uint64_t kMostFrames = 1 << 16;
  DecodedAudioFile file(source, std::move(track), limits);
  const auto bytesPerFrame = file.fileDataFormat()->mChannelsPerFrame * sizeof(float);
  const auto frames =
      std::min<std::uint64_t>(static_cast<std::uint64_t>(file.fileLengthFrames().value_or(0)), kMostFrames);
  Decoded result;
  result.samples.resize(frames * bytesPerFrame);
  const auto count = file.read(static_cast<std::uint32_t>(frames), result.samples);
  result.status = count ? noErr : count.error();
  result.samples.resize(count.value_or(0) * bytesPerFrame);
  return result;
}

std::expected<std::unique_ptr<EncodedTrack>, OSStatus> openTrack(const std::shared_ptr<const ByteSource>& source,
                                                                 const RecognisedFile& file) {
  if (file.kind == AudioFileKind::mpeg) return Mp3Track::open(source, file.offset);
  const bool isOgg = file.kind == AudioFileKind::oggFlac;
  return FlacTrack::open(source, file.offset, isOgg ? FlacTrack::Container::ogg : FlacTrack::Container::none);
}

void readFile(const std::shared_ptr<const ByteSource>& source) {
  readLayout(readWavLayout(*source), source->size());
  readLayout(readAiffLayout(*source), source->size());
  const auto file = recogniseFile(*source);
  const bool isTrack = file && (file->kind == AudioFileKind::mpeg || file->kind == AudioFileKind::flac ||
                                file->kind == AudioFileKind::oggFlac);
  if (!isTrack) return;
  auto serial = openTrack(source, *file);
  auto parallel = openTrack(source, *file);
  require(serial.has_value() == parallel.has_value());
  if (!serial) return;
  // However broken the file: segments sound as one serial decode does.
  require(decode(source, std::move(*serial), {1, 1}) == decode(source, std::move(*parallel), {2, 1000}));
}

}  // namespace
}  // namespace tolvane::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto bytes = std::as_bytes(std::span(data, size));
  tolvane::test::readFile(std::make_shared<tolvane::test::MemorySource>(std::vector(bytes.begin(), bytes.end())));
  return 0;
}
