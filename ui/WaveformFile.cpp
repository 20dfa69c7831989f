#include "ui/WaveformFile.h"

#include <bit>
#include <cstring>
#include <utility>

#include "platform/AudioFormats.h"

namespace tolvane {

namespace {

/// The sample's bytes as a number, most significant byte first or last.
std::uint64_t fetched(const std::byte* sample, std::uint32_t bytes, bool isBigEndian) {
  std::uint64_t word = 0;
  for (std::uint32_t i = 0; i < bytes; ++i) {
    const std::uint32_t significance = isBigEndian ? bytes - 1 - i : i;
    word |= std::to_integer<std::uint64_t>(sample[i]) << (8 * significance);
  }
  return word;
}

float floatSample(std::uint64_t word, std::uint32_t bytes) {
  return bytes == 4 ? std::bit_cast<float>(static_cast<std::uint32_t>(word))
                    : static_cast<float>(std::bit_cast<double>(word));
}

/// −1 … +1: the valid bits as a fraction of full scale.
float integerSample(std::uint64_t word, const PCMOutputLevelProcessor& layout) {
  const std::uint32_t bits = layout.bitsPerSample;
  const std::uint64_t valid = (word >> layout.bitShift) & layout.sampleMask;
  const std::uint64_t signBit = std::uint64_t{1} << (bits - 1);
  // Offset binary differs from two's complement in the top bit alone.
  const std::uint64_t twos = layout.isSigned ? valid : valid ^ signBit;
  const auto value = static_cast<std::int64_t>((twos ^ signBit) - signBit);
  return static_cast<float>(static_cast<double>(value) / static_cast<double>(signBit));
}

}  // namespace

Result<WaveformFile> WaveformFile::open(AudioFileServices& files, const FileURL& url) {
  const AudioFormat* const format = audioFormatOf(asciiLowercased(url.pathExtension()));
  return format != nullptr && format->isEncoded ? openEncoded(files, url) : openLinearPCM(files, url);
}

Result<WaveformFile> WaveformFile::openEncoded(AudioFileServices& files, const FileURL& url) {
  auto opened = files.openExtAudioFile(url);
  if (!opened) return failure("Opening the audio file", opened.error());
  if (*opened == nullptr) return failure("The audio decoder could not be created.");
  WaveformFile file;
  file.encoded_ = std::move(*opened);
  const auto source = file.encoded_->fileDataFormat();
  if (!source) return failure("Reading the source format", source.error());
  file.format_ = float32PCM(source->mSampleRate, source->mChannelsPerFrame);
  if (const OSStatus status = file.encoded_->setClientDataFormat(file.format_); status != noErr)
    return failure("Configuring the PCM decoder", status);
  const auto length = file.encoded_->fileLengthFrames();
  if (!length) return failure("Reading the track length", length.error());
  file.length_ = *length;
  file.layout_ = PCMOutputLevelProcessor::make(file.format_).value_or(PCMOutputLevelProcessor{});
  return file;
}

Result<WaveformFile> WaveformFile::openLinearPCM(AudioFileServices& files, const FileURL& url) {
  auto opened = files.openAudioFile(url);
  if (!opened) return failure("Opening the audio file", opened.error());
  if (*opened == nullptr) return failure("The audio file could not be opened.");
  WaveformFile file;
  file.linear_ = std::move(*opened);
  const auto format = file.linear_->dataFormat();
  if (!format) return failure("Reading the PCM format", format.error());
  const auto layout = PCMOutputLevelProcessor::make(*format);
  if (format->mFormatID != kAudioFormatLinearPCM || !layout || format->mBytesPerFrame == 0)
    return failure("This PCM layout is not supported.");
  const auto bytes = file.linear_->audioDataByteCount();
  if (!bytes) return failure("Reading the PCM data size", bytes.error());
  file.format_ = *format;
  file.layout_ = *layout;
  file.length_ = static_cast<std::int64_t>(*bytes / format->mBytesPerFrame);
  return file;
}

Result<std::size_t> WaveformFile::read(std::size_t frames) {
  framesRead_ = 0;
  raw_.resize(frames * format_.mBytesPerFrame);
  if (encoded_) {
    const auto count = encoded_->read(static_cast<std::uint32_t>(frames), raw_);
    if (!count) return failure("Reading the audio file", count.error());
    separateChannels(*count);
  } else {
    const auto bytes = linear_->readBytes(offset_, raw_);
    if (!bytes) return failure("Reading the audio file", bytes.error());
    offset_ += *bytes;
    separateChannels(*bytes / format_.mBytesPerFrame);
  }
  return framesRead_;
}

std::span<const float> WaveformFile::channel(std::uint32_t index) const {
  return std::span(samples_).subspan(index * framesRead_, framesRead_);
}

void WaveformFile::separateChannels(std::size_t frames) {
  framesRead_ = frames;
  samples_.resize(frames * format_.mChannelsPerFrame);
  const bool isNativeFloat = layout_.isFloat && layout_.bytesPerSample == 4 && !layout_.isBigEndian;
  float* destination = samples_.data();
  for (std::uint32_t channel = 0; channel < format_.mChannelsPerFrame; ++channel) {
    const std::byte* source = raw_.data() + std::size_t{channel} * layout_.bytesPerSample;
    for (std::size_t i = 0; i < frames; ++i, source += layout_.bytesPerFrame) {
      if (isNativeFloat) {
        std::memcpy(destination++, source, sizeof(float));
        continue;
      }
      const std::uint64_t word = fetched(source, layout_.bytesPerSample, layout_.isBigEndian);
      *destination++ = layout_.isFloat ? floatSample(word, layout_.bytesPerSample) : integerSample(word, layout_);
    }
  }
}

}  // namespace tolvane
