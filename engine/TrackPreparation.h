#pragma once
// Turns a whole file into one block of PCM in memory: WAV and AIFF byte for byte, FLAC and MP3 decoded to 32-bit float.
// Any thread, several at once; copies share the services, which may be called by several threads, and the levels, which
// are only passed on. Blocks until the track is complete or cancelled. Touches no output. The file is closed when an
// operation returns. A track for which there is no memory is refused with the sentence of the limit; it never ends the
// process.

#include <cstdint>
#include <memory>
#include <string>

#include "engine/AudioPlayerError.h"
#include "engine/PreparedAudio.h"
#include "platform/AudioFileServices.h"
#include "platform/AudioFormats.h"
#include "platform/ReadingProgress.h"

namespace tolvane {

class TrackPreparation {
 public:
  /// Every context that is prepared shares `levels`.
  TrackPreparation(AudioFileServices& files, std::shared_ptr<AtomicOutputLevels> levels)
      : files_(files), levels_(std::move(levels)) {}

  /// For a track that is prepared while another of `heldBytes` is still in memory: refuses what would make both
  /// together take more than half of the memory that is free without them.
  [[nodiscard]] TrackPreparation beside(std::uint64_t heldBytes) const;

  /// Chooses the way in by the extension alone: of an encoded format (AudioFormats) it is decoded, all else is read as PCM.
  /// REQUIRES: `progress` is new. It stays at 0 while the file is opened. Once it is cancelled, this frees what was
  /// read and fails, after a few milliseconds of work at most; a disk that does not answer is waited for all the same.
  [[nodiscard]] Result<PreparedAudio> prepare(const FileURL& url, ReadingProgress& progress) const;
  [[nodiscard]] Result<PreparedAudio> prepare(const FileURL& url) const;

  /// The whole track as interleaved 32-bit float at the source's rate. Progress counts frames.
  [[nodiscard]] Result<PreparedAudio> decodeWithExtAudioFile(const FileURL& url, bool isLossless,
                                                             std::string sourceLabel, ReadingProgress& progress) const;

  /// The file's sample data as it lies there: byte order, alignment and padding included. Progress counts bytes.
  [[nodiscard]] Result<PreparedAudio> readLinearPCMFile(const FileURL& url, ReadingProgress& progress) const;

  /// Which file lies there now; nothing where that is not known.
  [[nodiscard]] std::optional<FileVersion> fileVersion(const FileURL& url) const { return files_.fileVersion(url); }

 private:
  [[nodiscard]] std::optional<PcmBlock> allocateBlock(std::uint64_t bytes) const;
  /// With what can be found out about the file; `format` is the one that its name says, null: none.
  [[nodiscard]] AudioPlayerError examined(AudioPlayerError error, const FileURL& url, const AudioFormat* format) const;

  AudioFileServices& files_;
  std::shared_ptr<AtomicOutputLevels> levels_;
  std::optional<std::uint64_t> heldBytes_;  ///< of another track; nothing: this one alone counts
};

struct SourceFormatInfo {
  std::uint32_t bitDepth = 0;
  bool isFloat = false;

  bool operator==(const SourceFormatInfo&) const = default;
};

/// What the underlying file says of its samples, else what `fallback` says. Never fails.
[[nodiscard]] SourceFormatInfo readSourceFormatInfo(ExtAudioFile& decoder, const AudioStreamBasicDescription& fallback);

}  // namespace tolvane
