#include "engine/waveform/WaveformFile.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/AudioFormats.h"

namespace tolvane {

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
  file.form_ = SampleForm::of(file.format_).value_or(SampleForm{});
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
  const auto form = SampleForm::of(*format);
  if (!form || form->frameBytes() == 0 || form->frameBytes() != format->mBytesPerFrame)
    return failure("This PCM layout is not supported.");
  const auto bytes = file.linear_->audioDataByteCount();
  if (!bytes) return failure("Reading the PCM data size", bytes.error());
  file.format_ = *format;
  file.form_ = *form;
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
  const std::size_t channels = format_.mChannelsPerFrame;
  samples_.resize(frames * channels);
  if (form_.isFloat && form_.bytes == sizeof(float) && !form_.isBigEndian) return separateFloats();
  // In pieces that fit into the processor's cache.
  constexpr std::size_t pieceSamples = 16384;
  const std::size_t pieceFrames = std::max<std::size_t>(pieceSamples / std::max<std::size_t>(channels, 1), 1);
  for (std::size_t first = 0; first < frames; first += pieceFrames) {
    const std::size_t count = std::min(pieceFrames, frames - first);
    numbers_.resize(count * channels);
    readNumbers(form_, std::span(raw_).subspan(first * form_.frameBytes()), numbers_);
    for (std::size_t channel = 0; channel < channels; ++channel) {
      float* const destination = samples_.data() + channel * frames + first;
      for (std::size_t frame = 0; frame < count; ++frame)
        destination[frame] = static_cast<float>(numbers_[frame * channels + channel]);
    }
  }
}

/// Native floats are used unchanged.
void WaveformFile::separateFloats() {
  const std::size_t channels = format_.mChannelsPerFrame;
  float* destination = samples_.data();
  for (std::size_t channel = 0; channel < channels; ++channel) {
    const std::byte* source = raw_.data() + channel * sizeof(float);
    for (std::size_t frame = 0; frame < framesRead_; ++frame, source += channels * sizeof(float))
      std::memcpy(destination++, source, sizeof(float));
  }
}

}  // namespace tolvane
