#pragma once
// Turns a whole file into one block of PCM in memory: WAV and AIFF byte for byte, FLAC and MP3 decoded to 32-bit float.
// Any thread, several at once. Copies share the services, which must allow calls from several threads, and the levels,
// which are only passed on. Blocks until the track is complete or cancelled. Touches no output. The file is closed when
// an operation returns. A track that does not fit into memory is refused with the message for that limit; it never ends
// the process.

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
  /// Every prepared context shares `levels`.
  TrackPreparation(AudioFileServices& files, std::shared_ptr<AtomicOutputLevels> levels)
      : files_(files), levels_(std::move(levels)) {}

  /// For a track that is prepared while another of `heldBytes` is still in memory: refuses a track if both together
  /// would take more than half of the memory that is free without them.
  [[nodiscard]] TrackPreparation beside(std::uint64_t heldBytes) const;

  /// Chooses the reader by the extension alone: an encoded format (AudioFormats) is decoded, everything else is read as
  /// PCM. REQUIRES: `progress` is new. It stays at 0 while the file is opened. After a cancellation, frees what was
  /// read and fails within a few milliseconds, but waits for a disk that does not answer.
  [[nodiscard]] Result<PreparedAudio> prepare(const FileURL& url, ReadingProgress& progress) const;
  [[nodiscard]] Result<PreparedAudio> prepare(const FileURL& url) const;

  /// The whole track as interleaved 32-bit float at the source's rate. Progress counts frames.
  [[nodiscard]] Result<PreparedAudio> decodeWithExtAudioFile(const FileURL& url, bool isLossless,
                                                             std::string sourceLabel, ReadingProgress& progress) const;

  /// The file's sample data, unchanged: byte order, alignment and padding included. Progress counts bytes.
  [[nodiscard]] Result<PreparedAudio> readLinearPCMFile(const FileURL& url, ReadingProgress& progress) const;

  /// The present version of the file; nothing if unknown.
  [[nodiscard]] std::optional<FileVersion> fileVersion(const FileURL& url) const { return files_.fileVersion(url); }

 private:
  [[nodiscard]] std::optional<PcmBlock> allocateBlock(std::uint64_t bytes) const;
  /// Adds what can be found out about the file; `format` is the one that its name suggests, null: none.
  [[nodiscard]] AudioPlayerError examined(AudioPlayerError error, const FileURL& url, const AudioFormat* format) const;

  AudioFileServices& files_;
  std::shared_ptr<AtomicOutputLevels> levels_;
  std::optional<std::uint64_t> heldBytes_;  ///< of another track; nothing: no other track counts
};

struct SourceFormatInfo {
  std::uint32_t bitDepth = 0;
  bool isFloat = false;

  bool operator==(const SourceFormatInfo&) const = default;
};

/// What the file's own format states about its samples, else what `fallback` states. Never fails.
[[nodiscard]] SourceFormatInfo readSourceFormatInfo(ExtAudioFile& decoder, const AudioStreamBasicDescription& fallback);

}  // namespace tolvane
