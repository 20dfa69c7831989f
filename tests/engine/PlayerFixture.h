#pragma once
// A player over simulated hardware and files on the manual clock: the vocabulary of the engine's tests.

#include <gmock/gmock.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "engine/BitPerfectAudioPlayer.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/SimulatedAudioFileServices.h"
#include "platform/simulated/SimulatedAudioHardware.h"

namespace tolvane {

class PlayerFixture : public testing::Test {
 protected:
  using PathKind = AudioPathStatus::Kind;
  using ExclusiveKind = ExclusiveAccessStatus::Kind;

  static constexpr std::int32_t otherProcess = 4321;

  /// A 16-bit stereo WAV of `frames` frames whose bytes count upwards, so that a lost or repeated frame shows.
  FileURL addTrack(const std::string& path, std::int64_t frames, double rate = 44100) {
    SimulatedPCMFile file;
    file.format = linearPCM(rate, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
    file.sourceBitDepth = 16;
    for (std::int64_t i = 0; i < frames * 4; ++i)
      file.data.push_back(static_cast<std::byte>(i % 4 == 3   ? i >> 18
                                                 : i % 4 == 2 ? i >> 10
                                                 : i % 4 == 1 ? i >> 2
                                                              : 1));
    tracks[path] = file.data;
    files.add(FileURL(path), std::move(file));
    return FileURL(path);
  }

  AudioObjectID addDevice(SimulatedDeviceConfig config = {}) { return hardware.addDevice(std::move(config)); }
  SimulatedDevice& device(AudioObjectID id) { return hardware.device(id); }
  void advance(RunLoop::Duration duration) { runLoop.advance(duration); }

  [[nodiscard]] const AudioPathStatus& path() const { return player->audioPathStatus().value(); }
  [[nodiscard]] const ExclusiveAccessStatus& exclusive() const { return player->exclusiveAccessStatus().value(); }
  [[nodiscard]] bool isPlaying() const { return player->isPlaying().value(); }
  [[nodiscard]] bool isPaused() const { return player->isPaused().value(); }
  [[nodiscard]] std::int64_t completions() const { return player->playbackCompletionCount().value(); }
  [[nodiscard]] const std::vector<std::string>& trace() { return hardware.trace().events(); }

  /// Nothing is held: no unit, no open device, no hog mode, no listener, no timer.
  void expectNothingHeld() {
    EXPECT_EQ(hardware.unitCount(), 0);
    EXPECT_EQ(hardware.openDeviceCount(), 0U);
    EXPECT_EQ(hardware.hogCount(), 0U);
    EXPECT_EQ(hardware.listenerCount(), 0U);
    EXPECT_EQ(runLoop.pendingTimerCount(), 0U);
    EXPECT_FALSE(isPlaying());
    EXPECT_FALSE(isPaused());
  }

  ManualRunLoop runLoop;
  MemoryLog log;
  SimulatedAudioHardware hardware{runLoop};
  SimulatedAudioFileServices files;
  std::map<std::string, std::vector<std::byte>> tracks;  ///< what each file holds
  std::unique_ptr<BitPerfectAudioPlayer> player =
      std::make_unique<BitPerfectAudioPlayer>(hardware, files, runLoop, log);
};

}  // namespace tolvane
