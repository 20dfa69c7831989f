// What a frame costs the window's thread while a playlist of 100,000 tracks scrolls: new rows, their waveforms, layout
// and painting, drawn by the processor alone as where there is no graphics card. Processor time, so that other programs
// do not count. One JSON line a size of the window.

#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickWindow>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/MemoryUserDefaults.h"
#include "platform/simulated/SimulatedAudioFileServices.h"
#include "platform/simulated/SimulatedAudioHardware.h"
#include "platform/simulated/SimulatedFileBookmarks.h"
#include "session/SessionHost.h"
#include "ui/qt/window/PlayerWindow.h"

namespace tolvane {
namespace {

constexpr int trackCount = 100'000;
constexpr int frameCount = 600;
constexpr double pointsAFrame = 3 * 58;  // a quick turn of the wheel: three rows each frame

double threadMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

/// A second of music; only the rows that are passed have it.
SimulatedPCMFile briefTrack() {
  SimulatedPCMFile file;
  file.format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
  file.sourceBitDepth = 16;
  file.data.resize(std::size_t{44100} * 4, std::byte{0x10});
  return file;
}

class ScrolledWindow {
 public:
  explicit ScrolledWindow(QSize size) {
    std::vector<FileURL> urls;
    urls.reserve(trackCount);
    for (int number = 1; number <= trackCount; ++number) {
      urls.emplace_back("/music/A track of usual name " + std::to_string(number) + ".wav");
      if (number < 4 * frameCount) files_.add(urls.back(), briefTrack());
    }
    runLoop_.runUntilIdle();
    content_.loadPlaylist(urls);
    runLoop_.runUntilIdle();
    player_.window()->resize(size);
    while (!player_.window()->isExposed()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    workInTheBackground();
    drawFrame();
  }

  std::vector<double> scroll() {
    auto* list = player_.window()->findChild<QQuickItem*>(QStringLiteral("TrackListScrollView"));
    if (list == nullptr) throw std::runtime_error("The window has no list of tracks.");
    std::vector<double> costs;
    for (int frame = 1; frame <= frameCount; ++frame) {
      workInTheBackground();
      const double begin = threadMilliseconds();
      list->setProperty("contentY", frame * pointsAFrame);
      drawFrame();
      costs.push_back(threadMilliseconds() - begin);
    }
    std::ranges::sort(costs);
    return costs;
  }

 private:
  /// Other threads do it in the player.
  void workInTheBackground() {
    for (const auto& work : std::exchange(background_, {})) work();
  }
  void drawFrame() {
    runLoop_.runUntilIdle();
    QCoreApplication::processEvents();
    player_.window()->grabWindow();
  }

  ManualRunLoop runLoop_;
  MemoryLog log_;
  SimulatedAudioHardware hardware_{runLoop_};
  AudioObjectID device_ = hardware_.addDevice({});
  SimulatedAudioFileServices files_;
  MemoryUserDefaults defaults_;
  SimulatedFileBookmarks bookmarks_;
  SessionLink link_;
  SessionHost host_{{.hardware = hardware_,
                     .files = files_,
                     .defaults = defaults_,
                     .bookmarks = bookmarks_,
                     .runLoop = runLoop_,
                     .log = log_},
                    link_};
  SessionProxy session_{link_, runLoop_};
  std::vector<std::function<void()>> background_;
  ContentView content_{session_, runLoop_,
                       [this](const FileURL& url, const std::stop_token& stop) {
                         return makeWaveformData(files_, url, maxWaveformSamples, stop);
                       },
                       [this](WaveformStore::Work work) { background_.push_back(std::move(work)); }};
  SourceActions sources_{runLoop_, [this](auto urls, auto place) { content_.openFiles(urls, place); },
                         [this](BackgroundWork work) { background_.push_back(std::move(work)); }};
  PlayerWindow player_{content_, sources_, "1.0"};
};

void measure(QSize size) {
  const auto costs = ScrolledWindow(size).scroll();
  std::printf(R"({"width":%d,"height":%d,"median":%.3f,"percentile99":%.3f,"longest":%.3f})"
              "\n",
              size.width(), size.height(), costs[costs.size() / 2], costs[costs.size() * 99 / 100], costs.back());
}

}  // namespace
}  // namespace tolvane

int main(int argc, char* argv[]) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
  const QGuiApplication application(argc, argv);
  try {
    for (const QSize size : {QSize(600, 700), QSize(1600, 1000)}) tolvane::measure(size);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "bench_window: %s\n", failure.what());
    return 1;
  }
}
