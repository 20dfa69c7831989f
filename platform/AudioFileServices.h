#pragma once
// The contract for reading audio files: linear PCM files byte for byte, compressed files decoded to 32-bit float.
// The services: any thread, several at once. An open file: one thread at a time. Blocks on the disk. A file is closed
// when its object is destroyed. Bad input is a status, never an exception or a crash.
//
// A file may be opened with a ReadingProgress, which then outlives it. Once that is cancelled, opening and reading fail
// with userCanceledErr, within a few milliseconds of work. The caller adds to the progress what it expects to read, and
// reports the bytes that readBytes() gave; ExtAudioFile::read() reports its frames by itself.

#include <array>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <span>

#include "platform/AudioStatus.h"
#include "platform/AudioStreamBasicDescription.h"
#include "platform/ChannelLayout.h"
#include "platform/FileFinding.h"
#include "platform/FileURL.h"
#include "platform/ReadingProgress.h"

namespace tolvane {

/// An open audio file (AudioFileOpenURL) and its data as it lies on disk.
class AudioFile {
 public:
  virtual ~AudioFile() = default;

  /// kAudioFilePropertyDataFormat. A layout that is not linear PCM is described with its own format id.
  [[nodiscard]] virtual std::expected<AudioStreamBasicDescription, OSStatus> dataFormat() const = 0;

  /// kAudioFilePropertyAudioDataByteCount: the bytes of the sample data that the file really holds.
  [[nodiscard]] virtual std::expected<std::uint64_t, OSStatus> audioDataByteCount() const = 0;

  /// What the header states of the same; nothing where it states none, or what programs write that do not know it.
  [[nodiscard]] virtual std::optional<std::uint64_t> announcedByteCount() const { return std::nullopt; }

  /// kAudioFilePropertySourceBitDepth: bits of a sample; negative for floating point; 0 when unknown.
  [[nodiscard]] virtual std::expected<std::int32_t, OSStatus> sourceBitDepth() const = 0;

  /// kAudioFilePropertyChannelLayout: what the file states about its channels' loudspeakers, or usualLayout() of as
  /// many channels as the format has, marked as assumed where it states nothing.
  [[nodiscard]] virtual ChannelLayout channelLayout() const = 0;

  /// AudioFileReadBytes: reads sample data from `offset` bytes into the data. The number of bytes that came; fewer than
  /// asked for when the data ends (or the file has shrunk), which is no error.
  [[nodiscard]] virtual std::expected<std::uint64_t, OSStatus> readBytes(std::uint64_t offset,
                                                                         std::span<std::byte> destination) = 0;
};

/// An MD5 of all samples of a track: interleaved signed integers, each in the fewest whole bytes that hold the source's
/// bits, little-endian (the definition of FLAC).
using SampleSignature = std::array<std::byte, 16>;

/// An open compressed file (ExtAudioFileOpenURL) that is read as PCM in a client format.
class ExtAudioFile {
 public:
  virtual ~ExtAudioFile() = default;

  /// kExtAudioFileProperty_FileDataFormat: rate and channels of the source; bits 0 where the format has no such notion.
  [[nodiscard]] virtual std::expected<AudioStreamBasicDescription, OSStatus> fileDataFormat() const = 0;

  /// kExtAudioFileProperty_FileChannelLayout: as AudioFile::channelLayout(); the client's channels are in this order.
  [[nodiscard]] virtual ChannelLayout channelLayout() const = 0;

  /// What the encoder stored of the whole track; nothing where it stored none.
  [[nodiscard]] virtual std::optional<SampleSignature> signature() const { return std::nullopt; }

  /// kExtAudioFileProperty_ClientDataFormat: interleaved 32-bit native float at the file's rate and channels is
  /// required of every reader; others give kAudioFileUnsupportedDataFormatError.
  [[nodiscard]] virtual OSStatus setClientDataFormat(const AudioStreamBasicDescription& format) = 0;

  /// kExtAudioFileProperty_FileLengthFrames: what the file announces, or what a scan of it found.
  [[nodiscard]] virtual std::expected<std::int64_t, OSStatus> fileLengthFrames() const = 0;

  /// What the encoder states of the length, in frames; nothing where it states none, or where the file is a part of
  /// another one.
  [[nodiscard]] virtual std::optional<std::uint64_t> announcedFrames() const { return std::nullopt; }

  /// ExtAudioFileRead: the next `frames` frames (REQUIRES: `destination` holds them). The number that came, 0 at the
  /// end; fewer than asked for when the stream ends early. May decode in parallel; the samples are those of a serial
  /// decode. Reports each frame to the progress once, even one that is decoded twice.
  [[nodiscard]] virtual std::expected<std::uint32_t, OSStatus> read(std::uint32_t frames,
                                                                    std::span<std::byte> destination) = 0;

  /// kExtAudioFileProperty_AudioFile: the underlying file, or null. Lives as long as this object.
  [[nodiscard]] virtual AudioFile* audioFile() = 0;
};

/// Which file lies at a path, and as what: another one as soon as it is replaced or written to.
struct FileVersion {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t size = 0;             ///< bytes
  std::int64_t modifiedSeconds = 0;   ///< since 1970
  std::int64_t modifiedNanoseconds = 0;

  bool operator==(const FileVersion&) const = default;
};

class AudioFileServices {
 public:
  virtual ~AudioFileServices() = default;

  /// Linear PCM containers (WAV, RF64, BW64, AIFF, AIFF-C). The content decides, not the name.
  /// A success may hold null: the file could not be opened, and nobody knows why.
  [[nodiscard]] virtual std::expected<std::unique_ptr<AudioFile>, OSStatus> openAudioFile(
      const FileURL& url, ReadingProgress* progress = nullptr) = 0;

  /// FLAC and MP3. The content decides, not the name. A success may hold null, as above.
  [[nodiscard]] virtual std::expected<std::unique_ptr<ExtAudioFile>, OSStatus> openExtAudioFile(
      const FileURL& url, ReadingProgress* progress = nullptr) = 0;

  /// What opening would find now; nothing where that is not known.
  [[nodiscard]] virtual std::optional<FileVersion> fileVersion(const FileURL& url) const = 0;

  /// What can be found out about a file that could not be opened or read, now. Reads its beginning once more.
  [[nodiscard]] virtual FileFinding examine(const FileURL& url) const = 0;

  /// Bytes of memory that a track may take now without making this machine run out of it.
  [[nodiscard]] virtual std::uint64_t availableMemory() const = 0;
};

}  // namespace tolvane
