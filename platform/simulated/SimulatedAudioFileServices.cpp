#include "platform/simulated/SimulatedAudioFileServices.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <type_traits>

namespace tolvane {
namespace {

template <typename Value>
std::expected<Value, OSStatus> valueUnless(OSStatus status, Value value) {
  if (status != noErr) return std::unexpected(status);
  return value;
}

/// One open file's part in all readings: counted as long as it lives.
class OpenMark {
 public:
  OpenMark(std::shared_ptr<SimulatedReadings> readings, FileURL url, ReadingProgress* progress)
      : readings_(std::move(readings)), url_(std::move(url)), progress_(progress) {
    ++readings_->openFiles;
  }
  OpenMark(const OpenMark&) = delete;
  OpenMark& operator=(const OpenMark&) = delete;
  ~OpenMark() { --readings_->openFiles; }

  [[nodiscard]] OSStatus pass(std::string_view call) const { return readings_->pass(url_, call, progress_); }
  void advance(std::uint64_t units) const {
    if (progress_ != nullptr) progress_->advance(units);
  }

 private:
  const std::shared_ptr<SimulatedReadings> readings_;
  const FileURL url_;
  ReadingProgress* const progress_;
};

class PCMReader final : public AudioFile {
 public:
  PCMReader(std::shared_ptr<const SimulatedPCMFile> file, std::shared_ptr<SimulatedReadings> readings,
            const FileURL& url, ReadingProgress* progress)
      : file_(std::move(file)), mark_(std::move(readings), url, progress) {}

  std::expected<AudioStreamBasicDescription, OSStatus> dataFormat() const override {
    return valueUnless(file_->formatStatus, file_->format);
  }
  std::expected<std::uint64_t, OSStatus> audioDataByteCount() const override {
    return valueUnless(file_->byteCountStatus, file_->announcedByteCount.value_or(file_->data.size()));
  }
  std::optional<std::uint64_t> announcedByteCount() const override { return file_->wholeByteCount; }
  std::expected<std::int32_t, OSStatus> sourceBitDepth() const override {
    return valueUnless(file_->bitDepthStatus, file_->sourceBitDepth);
  }
  ChannelLayout channelLayout() const override {
    return file_->channels.value_or(usualLayout(file_->format.mChannelsPerFrame));
  }

  std::expected<std::uint64_t, OSStatus> readBytes(std::uint64_t offset, std::span<std::byte> destination) override {
    if (const OSStatus status = mark_.pass("readBytes"); status != noErr) return std::unexpected(status);
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
  CompressedReader(std::shared_ptr<const SimulatedCompressedFile> file,
                   const std::shared_ptr<SimulatedReadings>& readings, const FileURL& url, ReadingProgress* progress)
      : file_(std::move(file)), mark_(readings, url, progress) {
    if (file_->hasAudioFile) audioFile_ = std::make_unique<PCMReader>(layoutOf(*file_), readings, url, progress);
  }

  std::expected<AudioStreamBasicDescription, OSStatus> fileDataFormat() const override {
    return valueUnless(file_->formatStatus, file_->format);
  }
  ChannelLayout channelLayout() const override {
    return file_->channels.value_or(usualLayout(file_->format.mChannelsPerFrame));
  }

  std::optional<SampleSignature> signature() const override { return file_->signature; }

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

  std::optional<std::uint64_t> announcedFrames() const override { return file_->wholeFrames; }

  std::expected<std::uint32_t, OSStatus> read(std::uint32_t frames, std::span<std::byte> destination) override {
    if (const OSStatus status = mark_.pass("read"); status != noErr) return std::unexpected(status);
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
    mark_.advance(count);
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

/// Announcements and faults count in the part.
SimulatedPCMFile partOf(SimulatedPCMFile file, const FileExcerpt& excerpt) {
  const std::uint64_t frameBytes = std::max(file.format.mBytesPerFrame, 1U);
  const auto frames = framesOf(excerpt, file.format.mSampleRate, file.data.size() / frameBytes);
  const auto begin = file.data.begin();
  file.data = std::vector<std::byte>(begin + static_cast<std::ptrdiff_t>(frames.first * frameBytes),
                                     begin + static_cast<std::ptrdiff_t>(frames.end * frameBytes));
  return file;
}

SimulatedCompressedFile partOf(SimulatedCompressedFile file, const FileExcerpt& excerpt) {
  const std::uint64_t channels = std::max(file.format.mChannelsPerFrame, 1U);
  const auto frames = framesOf(excerpt, file.format.mSampleRate, file.samples.size() / channels);
  const auto begin = file.samples.begin();
  file.samples = std::vector<float>(begin + static_cast<std::ptrdiff_t>(frames.first * channels),
                                    begin + static_cast<std::ptrdiff_t>(frames.end * channels));
  file.signature.reset();
  return file;
}

}  // namespace

void SimulatedReadings::setGate(Gate gate) {
  auto shared = gate ? std::make_shared<const Gate>(std::move(gate)) : nullptr;
  const std::lock_guard lock(mutex_);
  gate_.swap(shared);
}

OSStatus SimulatedReadings::pass(const FileURL& url, std::string_view call, const ReadingProgress* progress) const {
  std::shared_ptr<const Gate> gate;
  {
    const std::lock_guard lock(mutex_);
    gate = gate_;
  }
  if (gate) (*gate)(url, call);
  return progress != nullptr && progress->isCancelled() ? userCanceledErr : noErr;
}

void SimulatedAudioFileServices::add(const FileURL& url, SimulatedPCMFile file) {
  auto shared = std::make_shared<const SimulatedPCMFile>(std::move(file));
  const std::lock_guard lock(mutex_);
  files_[url] = std::move(shared);
  versions_[url] = ++lastVersion_;
  findings_.erase(url);
}

void SimulatedAudioFileServices::add(const FileURL& url, SimulatedCompressedFile file) {
  auto shared = std::make_shared<const SimulatedCompressedFile>(std::move(file));
  const std::lock_guard lock(mutex_);
  files_[url] = std::move(shared);
  versions_[url] = ++lastVersion_;
  findings_.erase(url);
}

void SimulatedAudioFileServices::remove(const FileURL& url) {
  const std::lock_guard lock(mutex_);
  files_.erase(url);
  versions_.erase(url);
  findings_.erase(url);
}

void SimulatedAudioFileServices::setFinding(const FileURL& url, FileFinding finding) {
  const std::lock_guard lock(mutex_);
  findings_[url] = finding;
}

FileFinding SimulatedAudioFileServices::examine(const FileURL& url) const {
  if (readings_->pass(url, "examine", nullptr) != noErr) return {};
  const std::lock_guard lock(mutex_);
  if (const auto found = findings_.find(url.file()); found != findings_.end()) return found->second;
  return {.place = files_.contains(url.file()) ? FilePlace::file : FilePlace::nothing};
}

std::optional<FileVersion> SimulatedAudioFileServices::fileVersion(const FileURL& url) const {
  if (readings_->pass(url, "fileVersion", nullptr) != noErr) return std::nullopt;
  const std::lock_guard lock(mutex_);
  const auto version = versions_.find(url.file());
  return version != versions_.end() ? std::optional(FileVersion{.inode = version->second}) : std::nullopt;
}

std::expected<SimulatedAudioFileServices::File, OSStatus> SimulatedAudioFileServices::find(
    const FileURL& url, std::string_view call, const ReadingProgress* progress) {
  ++openCount_;
  if (const OSStatus status = readings_->pass(url, call, progress); status != noErr) return std::unexpected(status);
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(url.file());
  if (found == files_.end()) return std::unexpected(kAudioFileFileNotFoundError);
  if (!url.isPartOfFile()) return found->second;
  return std::visit(
      [&](const auto& file) -> File {
        using Simulated = std::remove_cvref_t<decltype(*file)>;
        return std::make_shared<const Simulated>(partOf(*file, *url.excerpt()));
      },
      found->second);
}

std::expected<std::unique_ptr<AudioFile>, OSStatus> SimulatedAudioFileServices::openAudioFile(
    const FileURL& url, ReadingProgress* progress) {
  const auto found = find(url, "openAudioFile", progress);
  if (!found) return std::unexpected(found.error());
  if (const auto* compressed = std::get_if<Compressed>(&*found)) {
    return std::make_unique<PCMReader>(layoutOf(**compressed), readings_, url, progress);
  }
  const auto& file = std::get<PCM>(*found);
  if (file->openStatus != noErr) return std::unexpected(file->openStatus);
  if (file->opensAsNull) return nullptr;
  return std::make_unique<PCMReader>(file, readings_, url, progress);
}

std::expected<std::unique_ptr<ExtAudioFile>, OSStatus> SimulatedAudioFileServices::openExtAudioFile(
    const FileURL& url, ReadingProgress* progress) {
  const auto found = find(url, "openExtAudioFile", progress);
  if (!found) return std::unexpected(found.error());
  const auto* file = std::get_if<Compressed>(&*found);
  if (file == nullptr) return std::unexpected(kAudioFileUnsupportedFileTypeError);
  if ((*file)->openStatus != noErr) return std::unexpected((*file)->openStatus);
  if ((*file)->opensAsNull) return nullptr;
  return std::make_unique<CompressedReader>(*file, readings_, url, progress);
}

}  // namespace tolvane
