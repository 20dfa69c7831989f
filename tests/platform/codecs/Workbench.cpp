#include "tests/platform/codecs/Workbench.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>

namespace tolvane::test {

std::vector<std::byte> Workbench::bytesOf(std::string_view name) const {
  std::ifstream stream(url(name).path(), std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(stream)), {});
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

std::vector<std::byte> Workbench::run(const std::string& command) const {
  const std::string line = "cd '" + folder_.path().string() + "' && " + command;
  std::FILE* const pipe = ::popen(line.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "no shell for: " << command;
    return {};
  }
  std::vector<std::byte> output;
  std::array<std::byte, 65536> piece;
  while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), pipe)) {
    output.insert(output.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
  }
  const int status = ::pclose(pipe);
  if (status != 0) ADD_FAILURE() << "exit status " << status << " of: " << command;
  return output;
}

void Workbench::makeWav(std::string_view name, int rate, int channels, int bits, int seconds) const {
  const std::string length = std::to_string(seconds);
  run("sox -R -D -n -r " + std::to_string(rate) + " -c " + std::to_string(channels) + " -b " + std::to_string(bits) +
      " " + std::string(name) + " synth " + length + " pinknoise synth " + length + " sine mix 440:900 gain -6");
}

ReadResult Workbench::decode(std::string_view name, const SegmentLimits& limits) const {
  ReadResult result;
  const auto fail = [&result](OSStatus status) {
    result.status = status;
    result.samples.clear();
    return result;
  };
  SystemAudioFileServices services(limits);
  const auto file = services.openExtAudioFile(url(name));
  if (!file) return fail(file.error());
  const auto format = (*file)->fileDataFormat();
  if (!format) return fail(format.error());
  result.format = *format;
  const OSStatus client = (*file)->setClientDataFormat(float32PCM(format->mSampleRate, format->mChannelsPerFrame));
  if (client != noErr) return fail(client);
  const auto length = (*file)->fileLengthFrames();
  if (!length) return fail(length.error());
  result.announcedFrames = *length;
  const std::size_t bytesPerFrame = format->mChannelsPerFrame * sizeof(float);
  result.samples.resize(static_cast<std::size_t>(*length) * bytesPerFrame);
  const auto read = (*file)->read(static_cast<std::uint32_t>(*length), result.samples);
  if (!read) return fail(read.error());
  result.frames = *read;
  result.samples.resize(*read * bytesPerFrame);
  return result;
}

}  // namespace tolvane::test
