// Makes waveforms of made-up files, by both ways in: as linear PCM and as a compressed file. A waveform has no more
// bars than were asked for, and no bar that is negative.

#include <cstdlib>
#include <memory>
#include <vector>

#include "platform/codecs/pcm/AiffLayout.h"
#include "platform/codecs/pcm/WavLayout.h"
#include "tests/fuzz/DecodedFile.h"
#include "tests/platform/codecs/AudioBytes.h"
#include "engine/waveform/Waveform.h"

namespace tolvane::test {
namespace {

/// The PCM data of a file that lies in memory.
class MemoryFile final : public AudioFile {
 public:
  MemoryFile(std::shared_ptr<const ByteSource> source, const PcmFileLayout& layout)
      : source_(std::move(source)), layout_(layout) {}

  [[nodiscard]] std::expected<AudioStreamBasicDescription, OSStatus> dataFormat() const override {
    return layout_.format;
  }
  [[nodiscard]] ChannelLayout channelLayout() const override { return usualLayout(layout_.format.mChannelsPerFrame); }
  [[nodiscard]] std::expected<std::uint64_t, OSStatus> audioDataByteCount() const override {
    return layout_.dataByteCount;
  }
  [[nodiscard]] std::expected<std::int32_t, OSStatus> sourceBitDepth() const override { return layout_.sourceBitDepth; }
  [[nodiscard]] std::expected<std::uint64_t, OSStatus> readBytes(std::uint64_t offset,
                                                                 std::span<std::byte> destination) override {
    if (offset >= layout_.dataByteCount) return 0;
    const auto count = std::min<std::uint64_t>(destination.size(), layout_.dataByteCount - offset);
    const auto read = source_->readAt(layout_.dataOffset + offset, destination.first(count));
    if (!read) return std::unexpected(read.error());
    return *read;
  }

 private:
  const std::shared_ptr<const ByteSource> source_;
  const PcmFileLayout layout_;
};

/// One file, whatever it is called.
class MemoryFileServices final : public AudioFileServices {
 public:
  explicit MemoryFileServices(std::shared_ptr<const ByteSource> source) : source_(std::move(source)) {}

  [[nodiscard]] std::expected<std::unique_ptr<AudioFile>, OSStatus> openAudioFile(const FileURL&,
                                                                                  ReadingProgress*) override {
    const auto file = recogniseFile(*source_);
    if (!file) return std::unexpected(file.error());
    const auto layout = file->kind == AudioFileKind::aiff ? readAiffLayout(*source_) : readWavLayout(*source_);
    if (!layout) return std::unexpected(layout.error());
    return std::make_unique<MemoryFile>(source_, *layout);
  }
  [[nodiscard]] std::expected<std::unique_ptr<ExtAudioFile>, OSStatus> openExtAudioFile(const FileURL&,
                                                                                        ReadingProgress*) override {
    const auto file = recogniseFile(*source_);
    if (!file) return std::unexpected(file.error());
    if (!isEncoded(*file)) return std::unexpected(kAudioFileUnsupportedFileTypeError);
    auto track = openTrack(source_, *file);
    if (!track) return std::unexpected(track.error());
    return std::make_unique<DecodedAudioFile>(source_, std::move(*track), SegmentLimits{1, 1});
  }
  [[nodiscard]] std::optional<FileVersion> fileVersion(const FileURL&) const override { return std::nullopt; }
  [[nodiscard]] FileFinding examine(const FileURL&) const override { return {}; }
  [[nodiscard]] std::uint64_t availableMemory() const override { return 0; }

 private:
  const std::shared_ptr<const ByteSource> source_;
};

}  // namespace
}  // namespace tolvane::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tolvane;
  using namespace tolvane::test;
  constexpr std::int64_t mostBars = 500;
  const auto bytes = std::as_bytes(std::span(data, size));
  MemoryFileServices files(std::make_shared<MemorySource>(std::vector(bytes.begin(), bytes.end())));
  for (const char* path : {"/a.wav", "/a.flac"}) {
    const auto waveform = makeWaveformData(files, FileURL(path), mostBars, {});
    require(waveform.has_value());
    if (!*waveform) continue;
    require((*waveform)->samples.size() <= static_cast<std::size_t>(mostBars));
    for (const double bar : (*waveform)->samples) require(!(bar < 0));
  }
  return 0;
}
