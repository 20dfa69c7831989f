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

/// An open audio file (AudioFileOpenURL) and its data as it lies on disk. Of a URL with an excerpt all of this is about
/// that part alone.
class AudioFile {
 public:
  virtual ~AudioFile() = default;

  /// kAudioFilePropertyDataFormat. A layout that is not linear PCM is described with its own format id.
  [[nodiscard]] virtual std::expected<AudioStreamBasicDescription, OSStatus> dataFormat() const = 0;

  /// kAudioFilePropertyAudioDataByteCount: the bytes of the sample data that the file really holds.
  [[nodiscard]] virtual std::expected<std::uint64_t, OSStatus> audioDataByteCount() const = 0;

  /// What the header states for it; nothing if it states none, or a placeholder of programs that do not know the size.
  [[nodiscard]] virtual std::optional<std::uint64_t> announcedByteCount() const { return std::nullopt; }

  /// kAudioFilePropertySourceBitDepth: bits of a sample; negative for floating point; 0 when unknown.
  [[nodiscard]] virtual std::expected<std::int32_t, OSStatus> sourceBitDepth() const = 0;

  /// kAudioFilePropertyChannelLayout: the speakers that the file states for its channels. If it states none:
  /// usualLayout() for the number of channels, marked as assumed.
  [[nodiscard]] virtual ChannelLayout channelLayout() const = 0;

  /// AudioFileReadBytes: reads sample data from byte `offset` of the data. Returns the number of bytes read, fewer than
  /// requested at the end of the data (or of a file that has shrunk), which is no error.
  [[nodiscard]] virtual std::expected<std::uint64_t, OSStatus> readBytes(std::uint64_t offset,
                                                                         std::span<std::byte> destination) = 0;
};

/// An MD5 of all samples of a track: interleaved signed integers, each in the fewest whole bytes that hold the source's
/// bits, little-endian (the definition of FLAC).
using SampleSignature = std::array<std::byte, 16>;

/// An open compressed file (ExtAudioFileOpenURL) that is read as PCM in a client format. Of a URL with an excerpt it is
/// that part alone, with the samples that it has in the whole.
class ExtAudioFile {
 public:
  virtual ~ExtAudioFile() = default;

  /// kExtAudioFileProperty_FileDataFormat: rate and channels of the source; bits 0 if the format has no bit depth.
  [[nodiscard]] virtual std::expected<AudioStreamBasicDescription, OSStatus> fileDataFormat() const = 0;

  /// kExtAudioFileProperty_FileChannelLayout: as AudioFile::channelLayout(); the client's channels are in this order.
  [[nodiscard]] virtual ChannelLayout channelLayout() const = 0;

  /// What the encoder stored for the whole track; nothing if it stored none, and for a part of a file.
  [[nodiscard]] virtual std::optional<SampleSignature> signature() const { return std::nullopt; }

  /// kExtAudioFileProperty_ClientDataFormat: interleaved 32-bit native float at the file's rate and channels is
  /// required of every reader; others give kAudioFileUnsupportedDataFormatError.
  [[nodiscard]] virtual OSStatus setClientDataFormat(const AudioStreamBasicDescription& format) = 0;

  /// kExtAudioFileProperty_FileLengthFrames: the length that the file announces, or that a scan found.
  [[nodiscard]] virtual std::expected<std::int64_t, OSStatus> fileLengthFrames() const = 0;

  /// The length that the encoder states, in frames; nothing if it states none, or if the file is a part of another one.
  [[nodiscard]] virtual std::optional<std::uint64_t> announcedFrames() const { return std::nullopt; }

  /// ExtAudioFileRead: reads the next `frames` frames (REQUIRES: `destination` holds them). Returns the number read, 0
  /// at the end, fewer than requested if the stream ends early. May decode in parallel, with the same samples as a
  /// serial decode. Reports each frame to the progress once, even one that is decoded twice.
  [[nodiscard]] virtual std::expected<std::uint32_t, OSStatus> read(std::uint32_t frames,
                                                                    std::span<std::byte> destination) = 0;

  /// kExtAudioFileProperty_AudioFile: the underlying file, or null. Lives as long as this object.
  [[nodiscard]] virtual AudioFile* audioFile() = 0;
};

/// Identifies the version of the file at a path: differs as soon as the file is replaced or written to.
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
  /// A success may hold null: the file could not be opened, for an unknown reason.
  [[nodiscard]] virtual std::expected<std::unique_ptr<AudioFile>, OSStatus> openAudioFile(
      const FileURL& url, ReadingProgress* progress = nullptr) = 0;

  /// FLAC and MP3. The content decides, not the name. A success may hold null, as above.
  [[nodiscard]] virtual std::expected<std::unique_ptr<ExtAudioFile>, OSStatus> openExtAudioFile(
      const FileURL& url, ReadingProgress* progress = nullptr) = 0;

  /// The version that opening would find now; nothing if unknown.
  [[nodiscard]] virtual std::optional<FileVersion> fileVersion(const FileURL& url) const = 0;

  /// What can be found out now about a file that could not be opened or read. Reads its beginning again.
  [[nodiscard]] virtual FileFinding examine(const FileURL& url) const = 0;

  /// Bytes of memory that a track may take now without exhausting this machine's memory.
  [[nodiscard]] virtual std::uint64_t availableMemory() const = 0;
};

}  // namespace tolvane
