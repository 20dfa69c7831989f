#pragma once
// A player on a thread of its own, over simulated hardware, files and defaults, all of which can be made to hang; and
// the window's side of it on the test's thread. Real threads; time is manual on both sides and passes by itself on the
// player's.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/MemoryUserDefaults.h"
#include "platform/simulated/SimulatedAudioFileServices.h"
#include "platform/simulated/SimulatedAudioHardware.h"
#include "platform/simulated/SimulatedFileBookmarks.h"
#include "session/SessionHost.h"
#include "session/SessionProxy.h"
#include "tests/session/GatedServices.h"

namespace tolvane::test {

/// Files that pass a gate. Any thread; the simulated files behind them do not change once the player runs.
class GatedFiles final : public AudioFileServices {
 public:
  GatedFiles(SimulatedAudioFileServices& files, Gate& gate) : files_(files), gate_(gate) {}

  std::expected<std::unique_ptr<AudioFile>, OSStatus> openAudioFile(const FileURL& url,
                                                                    ReadingProgress* progress) override {
    gate_.pass("files.open");
    auto file = files_.openAudioFile(url, progress);
    if (!file) return std::unexpected(file.error());
    return std::make_unique<GatedFile>(*std::move(file), gate_);
  }
  std::expected<std::unique_ptr<ExtAudioFile>, OSStatus> openExtAudioFile(const FileURL& url,
                                                                          ReadingProgress* progress) override {
    return files_.openExtAudioFile(url, progress);
  }
  std::optional<FileVersion> fileVersion(const FileURL& url) const override {
    gate_.pass("files.fileVersion");
    return files_.fileVersion(url);
  }
  FileFinding examine(const FileURL& url) const override {
    gate_.pass("files.examine");
    return files_.examine(url);
  }
  std::uint64_t availableMemory() const override { return files_.availableMemory(); }

 private:
  SimulatedAudioFileServices& files_;
  Gate& gate_;
};

class ThreadedPlayer {
 public:
  static constexpr double trackSeconds = 30;
  /// Of either side's time, a turn.
  static constexpr auto step = std::chrono::milliseconds(20);

  ThreadedPlayer() {
    for (int number = 1; number <= 3; ++number) {
      SimulatedPCMFile file;
      file.format = linearPCM(8000, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
      file.sourceBitDepth = 16;
      file.data.resize(static_cast<std::size_t>(trackSeconds * 8000) * 4, std::byte{0x10});
      simulatedFiles.add(track(number), std::move(file));
      simulatedBookmarks.add(track(number));
    }
  }
  ~ThreadedPlayer() { end(); }
  ThreadedPlayer(const ThreadedPlayer&) = delete;
  ThreadedPlayer& operator=(const ThreadedPlayer&) = delete;

  static FileURL track(int number) { return FileURL("/music/" + std::to_string(number) + ".wav"); }
  static SimulatedDeviceConfig device(const char* name) {
    SimulatedDeviceConfig config;
    config.name = name;
    config.rates = {{8000, 8000}, {44100, 44100}};
    return config;
  }

  void start() {
    isRunning_ = true;
    thread_ = std::thread([this] { run(); });
  }
  /// Ends the player's thread, with what has been sent done first. REQUIRES: nothing hangs.
  void end() {
    if (!thread_.joinable()) return;
    gate.open();
    {
      const std::lock_guard lock(mutex_);
      mayEnd_ = true;
      changed_.notify_all();
    }
    thread_.join();
    // Under the mutex, so that the last reader has released it, and everything else here.
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return readers_ == 0; });
  }
  /// Something for the player's thread to do, as hardware does it.
  void onPlayer(std::function<void()> action) { playerLoop.post(std::move(action)); }

  /// A turn of the window, and then one of the player, with as much time and all that its readers bring; where
  /// something is held, nothing is waited for.
  void turnWindow() {
    windowLoop.advance(step);
    ++windowTurns;
    std::unique_lock lock(mutex_);
    mayTurn_ = true;
    changed_.notify_all();
    // A held thread does not report it, so it is polled. While a reader is held, the player still gets its turn.
    const auto isOver = [this] {
      const bool hasTurned = !mayTurn_ && (readers_ == 0 || gate.isHolding());
      return hasTurned || !isRunning_ || gate.isHolding(thread_.get_id());
    };
    while (!changed_.wait_for(lock, std::chrono::milliseconds(1), isOver)) {
    }
    lock.unlock();
    if (gate.isHolding()) std::this_thread::yield();
  }
  /// Ten seconds of the window's time while the player is held, in turns of 50 ms; how many.
  int turnWindowForTenSeconds() {
    int turns = 0;
    for (; turns < 200; ++turns) windowLoop.advance(std::chrono::milliseconds(50));
    return turns;
  }
  /// Turns the window until the condition holds. One that never does is a hang, and found out by the test's time limit.
  void turnUntil(const std::function<bool()>& condition) {
    while (!condition()) turnWindow();
  }
  /// Until the player has turned so often, or is held.
  void turnFor(std::uint64_t playerTurns) {
    const auto end = playerTurns_ + playerTurns;
    turnUntil([&] { return playerTurns_ >= end || gate.isHolding(); });
  }
  [[nodiscard]] std::uint64_t playerTurns() const { return playerTurns_; }
  [[nodiscard]] const SessionState& state() const { return proxy.state(); }
  /// The player has seen all commands.
  void turnUntilAnswered() {
    const auto number = ++pings_;
    playerLoop.post([this, number] { answered_ = number; });
    // Behind the commands that were sent before, and what each of them has posted.
    turnUntil([&] { return answered_ == number; });
    const auto from = playerTurns();
    turnUntil([&] { return playerTurns() >= from + 4; });
    turnWindow();
  }

  Gate gate;
  ManualRunLoop playerLoop;
  ManualRunLoop windowLoop;
  MemoryLog log;
  SimulatedAudioHardware simulatedHardware{playerLoop};
  AudioObjectID dac = simulatedHardware.addDevice(device("Studio DAC"));
  AudioObjectID headphones = simulatedHardware.addDevice(device("Headphones"));
  SimulatedAudioFileServices simulatedFiles;
  MemoryUserDefaults simulatedDefaults;
  SimulatedFileBookmarks simulatedBookmarks;
  GatedHardware hardware{simulatedHardware, gate};
  GatedFiles files{simulatedFiles, gate};
  GatedDefaults defaults{simulatedDefaults, gate};
  GatedBookmarks bookmarks{simulatedBookmarks, gate};
  SessionLink link;
  SessionProxy proxy{link, windowLoop};
  std::atomic<std::uint64_t> windowTurns = 0;

  /// Seen by the player's thread at its end.
  struct Rest {
    int units = -1;
    std::size_t openDevices = 0;
    std::size_t hogs = 0;
  };
  Rest rest;

 private:
  void run() {
    {
      SessionHost host({.hardware = hardware,
                        .files = files,
                        .defaults = defaults,
                        .bookmarks = bookmarks,
                        .runLoop = playerLoop,
                        .log = log,
                        .background =
                            [this](BackgroundWork work) {
                              ++readers_;
                              runInDetachedThread([this, work = std::move(work)] {
                                work();
                                const std::lock_guard lock(mutex_);
                                --readers_;
                                changed_.notify_all();
                              });
                            }},
                       link);
      while (awaitTurn()) {
        playerLoop.advance(step);
        ++playerTurns_;
        finishTurn();
      }
      playerLoop.runUntilIdle();
    }
    rest = {simulatedHardware.unitCount(), simulatedHardware.openDeviceCount(), simulatedHardware.hogCount()};
  }

  /// False: the player is to end.
  bool awaitTurn() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return mayTurn_ || mayEnd_; });
    return !mayEnd_;
  }
  void finishTurn() {
    const std::lock_guard lock(mutex_);
    mayTurn_ = false;
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool mayTurn_ = false;  // guarded by mutex_, as the next two
  bool mayEnd_ = false;
  bool isRunning_ = false;
  std::atomic<int> readers_ = 0;  // threads that read a track or ask for bookmarks
  std::atomic<std::uint64_t> playerTurns_ = 0;
  std::atomic<std::uint64_t> answered_ = 0;
  std::uint64_t pings_ = 0;
  std::thread thread_;
};

}  // namespace tolvane::test
