#pragma once
// An audio file as the waveform reads it: 32-bit float, a span a channel. Any one thread; keeps one chunk in memory.

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "engine/AudioPlayerError.h"
#include "engine/delivery/SampleReading.h"
#include "platform/AudioFileServices.h"

namespace tolvane {

class WaveformFile {
 public:
  [[nodiscard]] static Result<WaveformFile> open(AudioFileServices& files, const FileURL& url);

  [[nodiscard]] std::int64_t length() const { return length_; }  ///< frames
  [[nodiscard]] double sampleRate() const { return format_.mSampleRate; }
  [[nodiscard]] std::uint32_t channels() const { return format_.mChannelsPerFrame; }

  [[nodiscard]] std::uint32_t bytesPerFrame() const { return format_.mBytesPerFrame; }

  /// Reads the next frames; the number that came, 0 at the end.
  [[nodiscard]] Result<std::size_t> read(std::size_t frames);
  /// What the last read brought for this channel.
  [[nodiscard]] std::span<const float> channel(std::uint32_t index) const;

 private:
  [[nodiscard]] static Result<WaveformFile> openLinearPCM(AudioFileServices& files, const FileURL& url);
  [[nodiscard]] static Result<WaveformFile> openEncoded(AudioFileServices& files, const FileURL& url);
  void separateChannels(std::size_t frames);
  void separateFloats();

  std::unique_ptr<AudioFile> linear_;  // one of the two
  std::unique_ptr<ExtAudioFile> encoded_;
  AudioStreamBasicDescription format_;  // of what is read
  SampleForm form_;                     // the same, as its samples are read
  std::int64_t length_ = 0;
  std::uint64_t offset_ = 0;  // bytes read
  std::vector<std::byte> raw_;
  std::vector<double> numbers_;  // a piece of raw_, in its order
  std::vector<float> samples_;   // a channel after the other, `framesRead_` each
  std::size_t framesRead_ = 0;
};

}  // namespace tolvane
