#include "platform/simulated/SimulatedAudioFileServices.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace tolvane {
namespace {

template <typename Value>
std::expected<Value, OSStatus> valueUnless(OSStatus status, Value value) {
  if (status != noErr) return std::unexpected(status);
  return value;
}

/// Counts a file as open while it lives.
class OpenMark {
 public:
  explicit OpenMark(std::shared_ptr<int> count) : count_(std::move(count)) { ++*count_; }
  OpenMark(const OpenMark&) = delete;
  OpenMark& operator=(const OpenMark&) = delete;
  ~OpenMark() { --*count_; }

 private:
  std::shared_ptr<int> count_;
};

class PCMReader final : public AudioFile {
 public:
  PCMReader(std::shared_ptr<const SimulatedPCMFile> file, std::shared_ptr<int> count)
      : file_(std::move(file)), mark_(std::move(count)) {}

  std::expected<AudioStreamBasicDescription, OSStatus> dataFormat() const override {
    return valueUnless(file_->formatStatus, file_->format);
  }
  std::expected<std::uint64_t, OSStatus> audioDataByteCount() const override {
    return valueUnless(file_->byteCountStatus, file_->announcedByteCount.value_or(file_->data.size()));
  }
  std::expected<std::int32_t, OSStatus> sourceBitDepth() const override {
    return valueUnless(file_->bitDepthStatus, file_->sourceBitDepth);
  }
  ChannelLayout channelLayout() const override {
    return file_->channels.value_or(usualLayout(file_->format.mChannelsPerFrame));
  }

  std::expected<std::uint64_t, OSStatus> readBytes(std::uint64_t offset, std::span<std::byte> destination) override {
    const bool canFail = file_->readStatus != noErr;
    if (file_->largestRead) *file_->largestRead = std::max<std::uint64_t>(*file_->largestRead, destination.size());
    if (canFail && offset >= file_->readFailsFrom) return std::unexpected(file_->readStatus);
    const std::uint64_t end =
        canFail ? std::min<std::uint64_t>(file_->readFailsFrom, file_->data.size()) : file_->data.size();
    if (offset >= end) return 0;
    const auto count = std::min({end - offset, std::uint64_t{destination.size()}, file_->mostBytesARead});
    if (count > 0) std::memcpy(destination.data(), file_->data.data() + offset, count);
    return count;
  }

 private:
  std::shared_ptr<const SimulatedPCMFile> file_;
  OpenMark mark_;
};

/// A compressed file's own layout, without sample data that could be read as it lies.
std::shared_ptr<const SimulatedPCMFile> layoutOf(const SimulatedCompressedFile& file) {
  auto layout = std::make_shared<SimulatedPCMFile>();
  layout->format = file.format;
  layout->sourceBitDepth = file.sourceBitDepth;
  layout->formatStatus = file.formatStatus;
  layout->bitDepthStatus = file.bitDepthStatus;
  layout->channels = file.channels;
  return layout;
}

class CompressedReader final : public ExtAudioFile {
 public:
  CompressedReader(std::shared_ptr<const SimulatedCompressedFile> file, std::shared_ptr<int> count)
      : file_(std::move(file)), mark_(count) {
    if (file_->hasAudioFile) audioFile_ = std::make_unique<PCMReader>(layoutOf(*file_), std::move(count));
  }

  std::expected<AudioStreamBasicDescription, OSStatus> fileDataFormat() const override {
    return valueUnless(file_->formatStatus, file_->format);
  }
  ChannelLayout channelLayout() const override {
    return file_->channels.value_or(usualLayout(file_->format.mChannelsPerFrame));
  }

  OSStatus setClientDataFormat(const AudioStreamBasicDescription& format) override {
    if (file_->clientFormatStatus != noErr) return file_->clientFormatStatus;
    const auto wanted = float32PCM(file_->format.mSampleRate, file_->format.mChannelsPerFrame);
    if (format != wanted) return kAudioFileUnsupportedDataFormatError;
    clientFormatIsSet_ = true;
    return noErr;
  }

  std::expected<std::int64_t, OSStatus> fileLengthFrames() const override {
    return valueUnless(file_->lengthStatus, file_->announcedFrames.value_or(static_cast<std::int64_t>(frameCount())));
  }

  std::expected<std::uint32_t, OSStatus> read(std::uint32_t frames, std::span<std::byte> destination) override {
    if (!clientFormatIsSet_) return std::unexpected(kAudio_ParamError);
    const bool canFail = file_->readStatus != noErr;
    if (canFail && position_ >= file_->readFailsFrom) return std::unexpected(file_->readStatus);
    const std::uint64_t end = canFail ? std::min(file_->readFailsFrom, frameCount()) : frameCount();
    const std::uint64_t room = destination.size() / (sizeof(float) * channels());
    const auto count =
        std::min({end - std::min(end, position_), std::uint64_t{frames}, room, std::uint64_t{file_->mostFramesARead}});
    if (count > 0) {
      std::memcpy(destination.data(), file_->samples.data() + position_ * channels(),
                  count * channels() * sizeof(float));
    }
    position_ += count;
    return static_cast<std::uint32_t>(count);
  }

  AudioFile* audioFile() override { return audioFile_.get(); }

 private:
  [[nodiscard]] std::uint64_t channels() const { return std::max(file_->format.mChannelsPerFrame, 1U); }
  [[nodiscard]] std::uint64_t frameCount() const { return file_->samples.size() / channels(); }

  std::shared_ptr<const SimulatedCompressedFile> file_;
  OpenMark mark_;
  std::unique_ptr<PCMReader> audioFile_;
  bool clientFormatIsSet_ = false;
  std::uint64_t position_ = 0;
};

}  // namespace

void SimulatedAudioFileServices::add(const FileURL& url, SimulatedPCMFile file) {
  files_[url] = std::make_shared<const SimulatedPCMFile>(std::move(file));
}

void SimulatedAudioFileServices::add(const FileURL& url, SimulatedCompressedFile file) {
  files_[url] = std::make_shared<const SimulatedCompressedFile>(std::move(file));
}

std::expected<std::unique_ptr<AudioFile>, OSStatus> SimulatedAudioFileServices::openAudioFile(const FileURL& url) {
  ++openCount_;
  const auto found = files_.find(url);
  if (found == files_.end()) return std::unexpected(kAudioFileFileNotFoundError);
  if (const auto* compressed = std::get_if<Compressed>(&found->second)) {
    return std::make_unique<PCMReader>(layoutOf(**compressed), openFiles_);
  }
  const auto& file = std::get<PCM>(found->second);
  if (file->openStatus != noErr) return std::unexpected(file->openStatus);
  if (file->opensAsNull) return nullptr;
  return std::make_unique<PCMReader>(file, openFiles_);
}

std::expected<std::unique_ptr<ExtAudioFile>, OSStatus> SimulatedAudioFileServices::openExtAudioFile(
    const FileURL& url) {
  ++openCount_;
  const auto found = files_.find(url);
  if (found == files_.end()) return std::unexpected(kAudioFileFileNotFoundError);
  const auto* file = std::get_if<Compressed>(&found->second);
  if (file == nullptr) return std::unexpected(kAudioFileUnsupportedFileTypeError);
  if ((*file)->openStatus != noErr) return std::unexpected((*file)->openStatus);
  if ((*file)->opensAsNull) return nullptr;
  return std::make_unique<CompressedReader>(*file, openFiles_);
}

}  // namespace tolvane
