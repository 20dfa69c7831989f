// An album that was cut from one recording and encoded track by track, played by the engine: it joins as the tracks
// were cut, because the encoder's delay and padding are trimmed.

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "engine/BitPerfectAudioPlayer.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/SimulatedAudioHardware.h"
#include "tests/platform/codecs/Workbench.h"

namespace tolvane::test {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t mp3Channels = 2;
constexpr std::size_t mp3FrameBytes = mp3Channels * sizeof(float);

std::vector<float> floatsOf(std::span<const std::byte> bytes) {
  std::vector<float> samples(bytes.size() / sizeof(float));
  std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
  return samples;
}

/// The root of the mean square of what the encoder changed, over these frames.
double encodingError(std::span<const float> original, std::span<const float> heard, std::size_t from,
                     std::size_t count) {
  double sum = 0;
  for (std::size_t i = from * mp3Channels; i < (from + count) * mp3Channels; ++i)
    sum += std::pow(double{heard[i]} - double{original[i]}, 2);
  return std::sqrt(sum / static_cast<double>(count * mp3Channels));
}

TEST(Mp3Album, JoinsAsItWasCut) {
  const Workbench bench;
  bench.makeWav("all.wav", 44100, 2, 16, 9);
  constexpr std::array<std::size_t, 3> lengths = {132300, 136711, 127889};  // 9 s; no multiple of a packet
  std::vector<std::byte> expected;
  std::vector<FileURL> album;
  std::size_t from = 0;
  for (const std::size_t length : lengths) {
    const std::string name = std::to_string(album.size());
    bench.run("sox -D all.wav " + name + ".wav trim " + std::to_string(from) + "s " + std::to_string(length) +
              "s && lame --quiet -b 192 " + name + ".wav " + name + ".mp3");
    const auto samples = bench.run("mpg123 -q -e f32 -s " + name + ".mp3");
    EXPECT_EQ(samples.size(), length * mp3FrameBytes) << "the reference decoder trims " << name;
    expected.insert(expected.end(), samples.begin(), samples.end());
    album.push_back(bench.url(name + ".mp3"));
    from += length;
  }

  ManualRunLoop runLoop;
  MemoryLog log;
  SimulatedAudioHardware hardware(runLoop);
  SimulatedDeviceConfig dac;
  dac.captures = true;
  const auto id = hardware.addDevice(dac);
  SystemAudioFileServices files;
  BitPerfectAudioPlayer player(hardware, files, runLoop, log);
  std::size_t playing = 0;
  const auto follow = [&] {
    player.setUpcomingTrack(playing + 1 < album.size() ? std::optional(album[playing + 1]) : std::nullopt);
  };
  const auto completed = player.playbackCompletionCount().subscribe([&](std::int64_t) {
    if (++playing < album.size()) player.play(album[playing], follow);
  });
  player.play(album[0], follow);
  runLoop.advance(10s);
  EXPECT_EQ(playing, album.size());
  EXPECT_EQ(player.statistics().crossings, 2U);

  auto heard = hardware.device(id).heard();
  ASSERT_GE(heard.size(), expected.size());
  heard.resize(expected.size());
  EXPECT_TRUE(heard == expected) << "what is heard is not the tracks' own samples, one behind the other";

  // A frame too many or too few would make all behind it another signal than the original.
  const auto original = floatsOf(bench.run("sox -D all.wav -t f32 -"));
  const auto played = floatsOf(heard);
  ASSERT_EQ(played.size(), original.size());
  constexpr std::size_t window = 441;
  const double everywhere = encodingError(original, played, 0, original.size() / mp3Channels);
  for (const std::size_t seam : {lengths[0], lengths[0] + lengths[1]}) {
    EXPECT_LT(encodingError(original, played, seam - window, window), 3 * everywhere) << "before frame " << seam;
    EXPECT_LT(encodingError(original, played, seam, window), 3 * everywhere) << "behind frame " << seam;
  }
  EXPECT_GT(everywhere, 0.0);
}

}  // namespace
}  // namespace tolvane::test
