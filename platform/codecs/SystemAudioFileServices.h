#pragma once
// The audio files of this system: WAV, RF64, BW64, AIFF and AIFF-C unchanged; FLAC (also in Ogg) and MP3 decoded.
// Threads as in AudioFileServices: all that it holds is constant. Opens only regular files, and identifies them by
// their content.

#include "platform/AudioFileServices.h"
#include "platform/codecs/decoding/EncodedTrack.h"

namespace tolvane {

class SystemAudioFileServices final : public AudioFileServices {
 public:
  explicit SystemAudioFileServices(const SegmentLimits& limits = {}) : limits_(limits) {}

  [[nodiscard]] std::expected<std::unique_ptr<AudioFile>, OSStatus> openAudioFile(
      const FileURL& url, ReadingProgress* progress = nullptr) override;
  [[nodiscard]] std::expected<std::unique_ptr<ExtAudioFile>, OSStatus> openExtAudioFile(
      const FileURL& url, ReadingProgress* progress = nullptr) override;
  [[nodiscard]] std::optional<FileVersion> fileVersion(const FileURL& url) const override;
  [[nodiscard]] FileFinding examine(const FileURL& url) const override;
  /// What the kernel reports as available, free swap space included.
  [[nodiscard]] std::uint64_t availableMemory() const override;

 private:
  const SegmentLimits limits_;
};

}  // namespace tolvane
