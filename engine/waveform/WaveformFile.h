#pragma once
// Reads an audio file for the waveform: 32-bit float, one span per channel. Any one thread; keeps one chunk in memory.

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

  /// Reads the next frames. Returns their number, 0 at the end.
  [[nodiscard]] Result<std::size_t> read(std::size_t frames);
  /// This channel's frames of the last read.
  [[nodiscard]] std::span<const float> channel(std::uint32_t index) const;

 private:
  [[nodiscard]] static Result<WaveformFile> openLinearPCM(AudioFileServices& files, const FileURL& url);
  [[nodiscard]] static Result<WaveformFile> openEncoded(AudioFileServices& files, const FileURL& url);
  void separateChannels(std::size_t frames);
  void separateFloats();

  std::unique_ptr<AudioFile> linear_;  // exactly one of the two is set
  std::unique_ptr<ExtAudioFile> encoded_;
  AudioStreamBasicDescription format_;  // of what is read
  SampleForm form_;                     // the layout of its samples
  std::int64_t length_ = 0;
  std::uint64_t offset_ = 0;  // bytes read
  std::vector<std::byte> raw_;
  std::vector<double> numbers_;  // part of raw_, in the same order
  std::vector<float> samples_;   // one channel after the other, `framesRead_` each
  std::size_t framesRead_ = 0;
};

}  // namespace tolvane
