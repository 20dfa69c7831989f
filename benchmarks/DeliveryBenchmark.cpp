// What it costs to check a second of stereo that was handed to the device: comparing each frame with the track and
// adding it to the MD5. One JSON line a layout, in milliseconds of processor time. Usage: bench_delivery

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <vector>

#include "engine/delivery/DeliveryCheck.h"

namespace tolvane {
namespace {

double processorMilliseconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
}

/// The median second of a minute. A decoded track is in floats, whose integers of 24 bits the device gets.
void measure(const char* name, const AudioStreamBasicDescription& source, const AudioStreamBasicDescription& device) {
  constexpr std::int64_t seconds = 60;
  const auto rate = static_cast<std::int64_t>(source.mSampleRate);
  PcmBlock block(static_cast<std::size_t>(seconds * rate) * source.mBytesPerFrame);
  std::ranges::fill(block.bytes(), std::byte{0});
  const auto bytes = static_cast<std::int64_t>(block.size());
  DeliveryCheck check({.context = std::make_shared<AudioRenderContext>(std::move(block), bytes, source,
                                                                       std::make_shared<AtomicOutputLevels>()),
                       .bitDepth = 24,
                       .isLossless = true});
  const DeliveryRecord::Form form{device, usualLayout(2)};
  const std::vector<std::byte> second(static_cast<std::size_t>(rate) * device.mBytesPerFrame);
  std::vector<double> taken;
  for (std::int64_t i = 0; i < seconds; ++i) {
    const double begin = processorMilliseconds();
    check.add(i * rate, form, second);
    taken.push_back(processorMilliseconds() - begin);
  }
  if (check.report().result != DeliveryReport::Result::matches) std::fprintf(stderr, "%s does not match\n", name);
  std::ranges::nth_element(taken, taken.begin() + seconds / 2);
  std::printf(R"({"what":"%s","milliseconds":%.3f})"
              "\n",
              name, taken[seconds / 2]);
}

}  // namespace
}  // namespace tolvane

int main() {
  using namespace tolvane;
  constexpr std::uint32_t integer = kAudioFormatFlagIsSignedInteger;
  measure("PCM of 192/24 on 24 bits", linearPCM(192000, 2, 24, 3, integer), linearPCM(192000, 2, 24, 3, integer));
  measure("FLAC of 192/24 on 32 bits", float32PCM(192000, 2), linearPCM(192000, 2, 32, 4, integer));
  measure("FLAC of 192/24 to a sound server", float32PCM(192000, 2), float32PCM(192000, 2));
}
