// The cost of one buffer of 512 frames on the render thread: at neutral levels, compared with a plain copy of the same
// bytes, and scaled, for each layout. Time is per buffer; bytes_per_second makes layouts of different widths
// comparable.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "engine/render/AudioRenderContext.h"

namespace tolvane {
namespace {

constexpr std::uint32_t kFramesABuffer = 512;
constexpr std::int64_t kFrames = std::int64_t{kFramesABuffer} * 256;  ///< a track that does not fit the first cache

struct Layout {
  std::string name;
  AudioStreamBasicDescription format;
};

std::vector<Layout> stereoLayouts() {
  constexpr std::uint32_t kSigned = kAudioFormatFlagIsSignedInteger;
  constexpr std::uint32_t kBig = kAudioFormatFlagIsBigEndian;
  constexpr std::uint32_t kFloat = kAudioFormatFlagIsFloat;
  const auto stereo = [](std::uint32_t bits, std::uint32_t bytes, std::uint32_t flags) {
    return linearPCM(44100, 2, bits, bytes, flags);
  };
  return {
      {"int8", stereo(8, 1, kSigned)},
      {"uint8", stereo(8, 1, 0)},
      {"int16", stereo(16, 2, kSigned)},
      {"int16_big", stereo(16, 2, kSigned | kBig)},
      {"int24", stereo(24, 3, kSigned)},
      {"int24_big", stereo(24, 3, kSigned | kBig)},
      {"int24_high_in_32", stereo(24, 4, kSigned | kAudioFormatFlagIsAlignedHigh)},
      {"int32", stereo(32, 4, kSigned)},
      {"int32_big", stereo(32, 4, kSigned | kBig)},
      {"int64", stereo(64, 8, kSigned)},
      {"float32", stereo(32, 4, kFloat)},
      {"float32_big", stereo(32, 4, kFloat | kBig)},
      {"float64", stereo(64, 8, kFloat)},
  };
}

PcmBlock randomBlock(const AudioStreamBasicDescription& format) {
  PcmBlock block(static_cast<std::size_t>(kFrames * format.mBytesPerFrame));
  std::mt19937 random(1);
  if (!format.isFloat()) {
    for (std::byte& each : block.bytes()) each = static_cast<std::byte>(random());
    return block;
  }
  // Music, not the infinities and denormals that random bytes would be.
  std::uniform_real_distribution<double> amplitude(-1, 1);
  const std::uint32_t width = format.mBitsPerChannel / 8;
  for (std::size_t at = 0; at < block.size(); at += width) {
    const double wide = amplitude(random);
    const auto narrow = static_cast<float>(wide);
    std::byte* const sample = block.data() + at;
    std::memcpy(sample, width == 4 ? static_cast<const void*>(&narrow) : &wide, width);
    if (format.isBigEndian()) std::reverse(sample, sample + width);
  }
  return block;
}

std::int64_t bytesRendered(const benchmark::State& state, const AudioStreamBasicDescription& format) {
  return static_cast<std::int64_t>(state.iterations()) * kFramesABuffer * format.mBytesPerFrame;
}

void copy(benchmark::State& state, const AudioStreamBasicDescription& format) {
  const PcmBlock block = randomBlock(format);
  const std::size_t size = std::size_t{kFramesABuffer} * format.mBytesPerFrame;
  std::vector<std::byte> output(size);
  std::size_t at = 0;
  for (auto _ : state) {
    std::memcpy(output.data(), block.data() + at, size);
    benchmark::DoNotOptimize(output.data());
    benchmark::ClobberMemory();
    at += size;
    if (at == block.size()) at = 0;
  }
  state.SetBytesProcessed(bytesRendered(state, format));
}

void render(benchmark::State& state, const AudioStreamBasicDescription& format, OutputLevels levels) {
  const auto shared = std::make_shared<AtomicOutputLevels>();
  shared->store(levels);
  PcmBlock block = randomBlock(format);
  const auto byteCount = static_cast<std::int64_t>(block.size());
  AudioRenderContext context(std::move(block), byteCount, format, shared);
  const std::uint32_t size = kFramesABuffer * format.mBytesPerFrame;
  std::vector<std::byte> output(size);
  for (auto _ : state) {
    AudioBuffer buffer{2, size, output.data()};
    AudioBufferList list{{&buffer, 1}};
    benchmark::DoNotOptimize(context.render(kFramesABuffer, &list));
    benchmark::ClobberMemory();
    if (context.didReachEnd()) context.seek(0);
  }
  state.SetBytesProcessed(bytesRendered(state, format));
}

const bool registered = [] {
  for (const Layout& layout : stereoLayouts()) {
    const AudioStreamBasicDescription format = layout.format;
    const auto add = [](const std::string& name, auto function) {
      benchmark::RegisterBenchmark(name.c_str(), function);
    };
    add("memcpy/" + layout.name, [format](benchmark::State& state) { copy(state, format); });
    add("render_neutral/" + layout.name, [format](benchmark::State& state) { render(state, format, {1, 0}); });
    add("render_volume/" + layout.name, [format](benchmark::State& state) { render(state, format, {0.5, 0}); });
    add("render_balance/" + layout.name, [format](benchmark::State& state) { render(state, format, {0.5, 0.5}); });
  }
  return true;
}();

}  // namespace
}  // namespace tolvane
