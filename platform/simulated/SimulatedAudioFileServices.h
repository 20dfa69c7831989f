#pragma once
// Audio files that a test describes: content, announcements that need not be true, failures by step, and readings that
// wait. Any thread, several at once; an open file: one thread at a time. A file that is open keeps the content it was
// opened with.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/AudioFileServices.h"

namespace tolvane {

/// A linear PCM file. Statuses that are not noErr make that step fail.
struct SimulatedPCMFile {
  AudioStreamBasicDescription format{};
  std::vector<std::byte> data{};
  std::optional<std::uint64_t> announcedByteCount{};  ///< instead of the data's size
  std::optional<std::uint64_t> wholeByteCount{};      ///< what the header of a file that was cut off states
  std::int32_t sourceBitDepth = 0;
  std::uint64_t mostBytesARead = std::numeric_limits<std::uint64_t>::max();
  std::shared_ptr<std::uint64_t> largestRead{};  ///< bytes requested by one call, if the test counts
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
  std::optional<std::uint64_t> wholeFrames{};  ///< what the header of a file that was cut off states
  std::optional<SampleSignature> signature{};
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

/// Every open and read of a file passes through this.
class SimulatedReadings {
 public:
  /// The name of the call: "openAudioFile", "openExtAudioFile", "readBytes",
  /// "read", "fileVersion" or "examine".
  using Gate = std::function<void(const FileURL& url, std::string_view call)>;

  void setGate(Gate gate);
  /// Waits as long as the gate does; returns whether the reading continues.
  [[nodiscard]] OSStatus pass(const FileURL& url, std::string_view call, const ReadingProgress* progress) const;

  std::atomic<int> openFiles = 0;

 private:
  mutable std::mutex mutex_;
  std::shared_ptr<const Gate> gate_;  ///< guarded by the mutex, which no gate is called under
};

class SimulatedAudioFileServices final : public AudioFileServices {
 public:
  /// Replaces an earlier file.
  void add(const FileURL& url, SimulatedPCMFile file);
  void add(const FileURL& url, SimulatedCompressedFile file);
  void remove(const FileURL& url);
  /// What examine() finds there, until a file is added or removed; else a file of unknown content, or nothing.
  void setFinding(const FileURL& url, FileFinding finding);

  void setAvailableMemory(std::uint64_t bytes) { availableMemory_ = bytes; }

  /// Called at the start of every open and read, by the thread that makes it, also of files that are open by now. A
  /// gate that does not return is a disk that hangs; cancelling is noticed when it returns. Null: none.
  void setReadGate(SimulatedReadings::Gate gate) { readings_->setGate(std::move(gate)); }

  /// Files that are open now: 0 when nothing leaks.
  [[nodiscard]] int openFileCount() const { return readings_->openFiles; }
  /// Opens so far, of either kind.
  [[nodiscard]] int openCount() const { return openCount_; }

  [[nodiscard]] std::expected<std::unique_ptr<AudioFile>, OSStatus> openAudioFile(
      const FileURL& url, ReadingProgress* progress = nullptr) override;
  [[nodiscard]] std::expected<std::unique_ptr<ExtAudioFile>, OSStatus> openExtAudioFile(
      const FileURL& url, ReadingProgress* progress = nullptr) override;
  /// Another one each time a file has been added. Passes the gate as "fileVersion".
  [[nodiscard]] std::optional<FileVersion> fileVersion(const FileURL& url) const override;
  /// As setFinding() has it. Passes the gate as "examine".
  [[nodiscard]] FileFinding examine(const FileURL& url) const override;
  [[nodiscard]] std::uint64_t availableMemory() const override { return availableMemory_; }

 private:
  using PCM = std::shared_ptr<const SimulatedPCMFile>;
  using Compressed = std::shared_ptr<const SimulatedCompressedFile>;

  using File = std::variant<PCM, Compressed>;

  /// The file behind the gate, opened or not.
  [[nodiscard]] std::expected<File, OSStatus> find(const FileURL& url, std::string_view call,
                                                   const ReadingProgress* progress);

  mutable std::mutex mutex_;
  std::map<FileURL, File> files_;              ///< guarded by the mutex
  std::map<FileURL, std::uint64_t> versions_;  ///< guarded by the mutex
  std::map<FileURL, FileFinding> findings_;    ///< guarded by the mutex
  std::uint64_t lastVersion_ = 0;              ///< guarded by the mutex
  const std::shared_ptr<SimulatedReadings> readings_ =
      std::make_shared<SimulatedReadings>();  ///< outlived by open files
  std::atomic<int> openCount_ = 0;
  std::atomic<std::uint64_t> availableMemory_ = std::numeric_limits<std::uint64_t>::max();  ///< bytes
};

}  // namespace tolvane
