#pragma once
// Audio files that exist only in a test's words: content, announcements that need not be true, and failures by step.
// Main thread. A file that is open keeps the content it was opened with.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <variant>
#include <vector>

#include "platform/AudioFileServices.h"

namespace tolvane {

/// A linear PCM file. Statuses that are not noErr make that step fail.
struct SimulatedPCMFile {
  AudioStreamBasicDescription format{};
  std::vector<std::byte> data{};
  std::optional<std::uint64_t> announcedByteCount{};  ///< instead of the data's size
  std::int32_t sourceBitDepth = 0;
  std::uint64_t mostBytesARead = std::numeric_limits<std::uint64_t>::max();
  std::shared_ptr<std::uint64_t> largestRead{};  ///< bytes that one call asked for, at most, where the test counts
  std::uint64_t readFailsFrom = 0;  ///< bytes: reads that begin before it succeed up to it, later ones give readStatus

  bool opensAsNull = false;
  OSStatus openStatus = noErr;
  OSStatus formatStatus = noErr;
  OSStatus byteCountStatus = noErr;
  OSStatus bitDepthStatus = noErr;
  OSStatus readStatus = noErr;
  std::optional<ChannelLayout> channels{};  ///< nothing: the usual ones
};

/// A compressed file; openAudioFile() also opens it, as one whose layout is not linear PCM.
struct SimulatedCompressedFile {
  AudioStreamBasicDescription format{};  ///< rate, channels, the codec's format id, bits
  std::vector<float> samples{};          ///< interleaved
  std::optional<std::int64_t> announcedFrames{};
  std::int32_t sourceBitDepth = 0;
  bool hasAudioFile = true;
  std::uint32_t mostFramesARead = std::numeric_limits<std::uint32_t>::max();
  std::uint64_t readFailsFrom = 0;  ///< frames, as above

  bool opensAsNull = false;
  OSStatus openStatus = noErr;
  OSStatus formatStatus = noErr;
  OSStatus clientFormatStatus = noErr;
  OSStatus lengthStatus = noErr;
  OSStatus bitDepthStatus = noErr;
  OSStatus readStatus = noErr;
  std::optional<ChannelLayout> channels{};  ///< nothing: the usual ones
};

class SimulatedAudioFileServices final : public AudioFileServices {
 public:
  /// Replaces what was there.
  void add(const FileURL& url, SimulatedPCMFile file);
  void add(const FileURL& url, SimulatedCompressedFile file);
  void remove(const FileURL& url) { files_.erase(url); }

  void setAvailableMemory(std::uint64_t bytes) { availableMemory_ = bytes; }

  /// Files that are open now: 0 when nothing leaks.
  [[nodiscard]] int openFileCount() const { return *openFiles_; }
  /// Opens so far, of either kind.
  [[nodiscard]] int openCount() const { return openCount_; }

  [[nodiscard]] std::expected<std::unique_ptr<AudioFile>, OSStatus> openAudioFile(const FileURL& url) override;
  [[nodiscard]] std::expected<std::unique_ptr<ExtAudioFile>, OSStatus> openExtAudioFile(const FileURL& url) override;
  [[nodiscard]] std::uint64_t availableMemory() const override { return availableMemory_; }

 private:
  using PCM = std::shared_ptr<const SimulatedPCMFile>;
  using Compressed = std::shared_ptr<const SimulatedCompressedFile>;

  std::map<FileURL, std::variant<PCM, Compressed>> files_;
  std::shared_ptr<int> openFiles_ = std::make_shared<int>(0);
  int openCount_ = 0;
  std::uint64_t availableMemory_ = std::numeric_limits<std::uint64_t>::max();  ///< bytes
};

}  // namespace tolvane
