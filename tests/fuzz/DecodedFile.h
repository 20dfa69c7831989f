#pragma once
// What the fuzz targets of compressed files share: one decode of a file that lies in memory.

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

#include "platform/codecs/decoding/DecodedAudioFile.h"
#include "platform/codecs/FileRecognition.h"
#include "platform/codecs/flac/FlacTrack.h"
#include "platform/codecs/mp3/Mp3Track.h"

namespace tolvane::test {

/// What must hold of every input. Ends the program where it does not.
inline void require(bool condition) {
  if (!condition) std::abort();
}

struct DecodedFile {
  OSStatus status = noErr;
  std::vector<std::byte> samples;

  bool operator==(const DecodedFile&) const = default;
};

inline std::expected<std::unique_ptr<EncodedTrack>, OSStatus> openTrack(const std::shared_ptr<const ByteSource>& source,
                                                                        const RecognisedFile& file) {
  if (file.kind == AudioFileKind::mpeg) return Mp3Track::open(source, file.offset);
  const bool isOgg = file.kind == AudioFileKind::oggFlac;
  return FlacTrack::open(source, file.offset, isOgg ? FlacTrack::Container::ogg : FlacTrack::Container::none);
}

inline DecodedFile decodeFile(const std::shared_ptr<const ByteSource>& source, std::unique_ptr<EncodedTrack> track,
                              const SegmentLimits& limits) {
  constexpr std::uint64_t mostFrames = 1 << 16;
  DecodedAudioFile file(source, std::move(track), limits);
  const auto bytesPerFrame = file.fileDataFormat()->mChannelsPerFrame * sizeof(float);
  const auto length = static_cast<std::uint64_t>(file.fileLengthFrames().value_or(0));
  const auto frames = std::min(length, mostFrames);
  DecodedFile result;
  result.samples.resize(frames * bytesPerFrame);
  const auto count = file.read(static_cast<std::uint32_t>(frames), result.samples);
  result.status = count ? noErr : count.error();
  result.samples.resize(count.value_or(0) * bytesPerFrame);
  return result;
}

/// However broken the file: with several threads it gives what it gives with one.
inline void requireAgreement(const std::shared_ptr<const ByteSource>& source, const RecognisedFile& file) {
  constexpr std::uint64_t smallestSegment = 500;  // frames
  auto serial = openTrack(source, file);
  auto parallel = openTrack(source, file);
  require(serial.has_value() == parallel.has_value());
  if (!serial) return;
  require(decodeFile(source, std::move(*serial), {1, 1}) ==
          decodeFile(source, std::move(*parallel), {2, smallestSegment}));
}

inline bool isEncoded(const RecognisedFile& file) {
  return file.kind == AudioFileKind::mpeg || file.kind == AudioFileKind::flac || file.kind == AudioFileKind::oggFlac;
}

}  // namespace tolvane::test
