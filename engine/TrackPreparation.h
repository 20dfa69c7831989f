#pragma once
// Turns a whole file into one block of PCM in memory: WAV and AIFF byte for byte, FLAC and MP3 decoded to 32-bit float.
// Main thread; blocks until the track is complete. Touches no output. The file is closed when an operation returns.
// A track for which there is no memory is refused with the sentence of the limit; it never ends the process.

#include <cstdint>
#include <memory>
#include <string>

#include "engine/AudioPlayerError.h"
#include "engine/PreparedAudio.h"
#include "platform/AudioFileServices.h"

namespace tolvane {

class TrackPreparation {
 public:
  /// Every context that is prepared shares `levels`.
  TrackPreparation(AudioFileServices& files, std::shared_ptr<AtomicOutputLevels> levels)
      : files_(files), levels_(std::move(levels)) {}

  /// Chooses the way in by the extension alone: "mp3" and "flac" in any case are decoded, all else is read as PCM.
  [[nodiscard]] Result<PreparedAudio> prepare(const FileURL& url) const;

  /// The whole track as interleaved 32-bit float at the source's rate.
  [[nodiscard]] Result<PreparedAudio> decodeWithExtAudioFile(const FileURL& url, bool isLossless,
                                                             std::string sourceLabel) const;

  /// The file's sample data as it lies there: byte order, alignment and padding included.
  [[nodiscard]] Result<PreparedAudio> readLinearPCMFile(const FileURL& url) const;

 private:
  AudioFileServices& files_;
  std::shared_ptr<AtomicOutputLevels> levels_;
};

struct SourceFormatInfo {
  std::uint32_t bitDepth = 0;
  bool isFloat = false;

  bool operator==(const SourceFormatInfo&) const = default;
};

/// What the underlying file says of its samples, else what `fallback` says. Never fails.
[[nodiscard]] SourceFormatInfo readSourceFormatInfo(ExtAudioFile& decoder, const AudioStreamBasicDescription& fallback);

}  // namespace tolvane
