#pragma once
// A session over simulated hardware and files on the manual clock: the vocabulary of the session's tests.

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/MemoryUserDefaults.h"
#include "platform/simulated/SimulatedAudioFileServices.h"
#include "platform/simulated/SimulatedAudioHardware.h"
#include "platform/simulated/SimulatedFileBookmarks.h"
#include "session/SessionHost.h"
#include "session/SessionProxy.h"

namespace tolvane {

class SessionFixture : public testing::Test {
 protected:
  SessionFixture() : session(own.emplace(hardware, files, defaults, bookmarks, runLoop, log)) {}

  static constexpr double trackSeconds = 10;
  static constexpr double oneFrame = 1.0 / 44100;

  static FileURL track(int number) { return FileURL("/music/" + std::to_string(number) + ".wav"); }

  FileURL addTrack(int number, double seconds = trackSeconds) {
    SimulatedPCMFile file;
    file.format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
    file.sourceBitDepth = 16;
    file.data.resize(static_cast<std::size_t>(seconds * 44100) * 4);
    files.add(track(number), std::move(file));
    bookmarks.add(track(number));
    return track(number);
  }

  /// Tracks 1 … count, of ten seconds each, loaded and not playing.
  void load(int count) {
    std::vector<FileURL> urls;
    for (int number = 1; number <= count; ++number) urls.push_back(addTrack(number));
    session.loadPlaylist(urls, false);
  }

  void advance(double seconds) { runLoop.advance(durationFromSeconds(seconds)); }

  /// Ten seconds of music and the time in which the device plays them out.
  void playToTheEnd() { advance(trackSeconds + 0.5); }

  /// Stops the engine where it stands: it pauses, and cannot resume.
  void interruptPlayback() {
    session.togglePausePlayback();
    hardware.failNext(UnitStage::start, kAudioHardwareUnspecifiedError);
    session.togglePausePlayback();
    ASSERT_FALSE(isPlaying());
    ASSERT_FALSE(isPaused());
  }

  [[nodiscard]] bool isPlaying() const { return session.player().isPlaying().value(); }
  [[nodiscard]] bool isPaused() const { return session.player().isPaused().value(); }
  [[nodiscard]] double position() const { return session.playbackPosition().value(); }
  [[nodiscard]] double duration() const { return session.playbackDuration().value(); }
  [[nodiscard]] std::int64_t index() const { return session.currentIndex().value(); }
  [[nodiscard]] std::optional<FileURL> playingURL() const { return session.player().currentURL().value(); }

  /// The numbers of the tracks, in the order of the list.
  [[nodiscard]] std::vector<int> order() const {
    std::vector<int> numbers;
    for (const auto& url : session.fileURLs()) numbers.push_back(std::stoi(std::string(url.stem())));
    return numbers;
  }

  ManualRunLoop runLoop;
  MemoryLog log;
  SimulatedAudioHardware hardware{runLoop};
  SimulatedAudioFileServices files;
  AudioObjectID dac = hardware.addDevice({});
  MemoryUserDefaults defaults;
  SimulatedFileBookmarks bookmarks;
  SessionLink link;
  std::optional<PlayerSession> own;
  std::optional<SessionHost> host;
  PlayerSession& session;

  /// The session behind its host, which reads tracks by this background.
  explicit SessionFixture(Background background)
      : session(host.emplace(SessionHost::Services{hardware, files, defaults, bookmarks, runLoop, log,
                                                   std::move(background)},
                             link)
                    .session()) {}
};

/// The same session behind its host, and the window's side of it: both sides run on the one run loop.
class ProxyFixture : public SessionFixture {
 protected:
  explicit ProxyFixture(Background background = runAtOnce) : SessionFixture(std::move(background)) { settle(); }

  /// Lets the two sides exchange everything that is pending; the clock stands still.
  void settle() { runLoop.runUntilIdle(); }

  [[nodiscard]] const SessionState& state() const { return proxy.state(); }

  void load(int count) {
    SessionFixture::load(count);
    settle();
  }

  SessionProxy proxy{link, runLoop};
};

}  // namespace tolvane
