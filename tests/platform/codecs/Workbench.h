#pragma once
// A folder in which other programs make and decode the files of a test. A program that is missing or fails is a failed
// test.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/codecs/SystemAudioFileServices.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane::test {

/// What a whole read of a file gave.
struct ReadResult {
  OSStatus status = noErr;
  AudioStreamBasicDescription format;
  std::int64_t announcedFrames = 0;
  std::uint64_t frames = 0;
  std::vector<std::byte> samples;  ///< of the frames that came
};

class Workbench {
 public:
  [[nodiscard]] FileURL url(std::string_view name) const { return folder_.url(name); }
  FileURL write(std::string_view name, std::span<const std::byte> bytes) const { return folder_.write(name, bytes); }
  [[nodiscard]] std::vector<std::byte> bytesOf(std::string_view name) const;

  /// Runs a command line inside the folder, and returns its standard output.
  std::vector<std::byte> run(const std::string& command) const;

  /// Music that is different at every place: noise and tones, the same on every run.
  void makeWav(std::string_view name, int rate, int channels, int bits, int seconds) const;

  /// Opens a compressed file and reads all of it in one go.
  [[nodiscard]] ReadResult decode(std::string_view name, const SegmentLimits& limits) const;

 private:
  TemporaryFolder folder_;
};

/// One thread: the decode that all others must agree with.
constexpr SegmentLimits kSerial = {1, 1};
/// Segments so short that the smallest files have many.
constexpr SegmentLimits kParallel = {4, 4000};

}  // namespace tolvane::test
