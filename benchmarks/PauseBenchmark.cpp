// How long the window's thread is away from its event loop while the player works: a long track is opened, a long
// playlist restored, many files dropped, a card taken that does not answer for a while. The real window, drawn by the
// processor alone, and the player on its own thread over simulated devices and real files. One JSON line a situation;
// wall time, so the machine should be quiet. Usage: bench_pauses LONG_FLAC SHORT_FLAC COLLECTION

#include <QAbstractEventDispatcher>
#include <QGuiApplication>
#include <QQuickWindow>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "demo/DemoRack.h"
#include "platform/codecs/SystemAudioFileServices.h"
#include "platform/desktop/QtRunLoop.h"
#include "platform/desktop/RunLoopThread.h"
#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/MemoryUserDefaults.h"
#include "platform/storage/SystemFileBookmarks.h"
#include "session/AudioFileDiscovery.h"
#include "session/SessionHost.h"
#include "session/SessionProxy.h"
#include "tests/session/GatedServices.h"
#include "ui/qt/window/PlayerWindow.h"

namespace tolvane {
namespace {

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

/// The turns of this thread's event loop: from waking up to the next wait.
class TurnWatch {
 public:
  TurnWatch() {
    auto* dispatcher = QAbstractEventDispatcher::instance();
    QObject::connect(dispatcher, &QAbstractEventDispatcher::awake, &context_, [this] { awakeSince_ = Clock::now(); });
    QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, &context_,
                     [this] { turns_.push_back(millisecondsSince(awakeSince_)); });
  }

  void begin() {
    turns_.clear();
    awakeSince_ = Clock::now();
  }
  [[nodiscard]] std::vector<double> sorted() {
    std::ranges::sort(turns_);
    return turns_;
  }

 private:
  QObject context_;
  Clock::time_point awakeSince_ = Clock::now();
  std::vector<double> turns_;  // milliseconds
};

struct Player {
  Player(RunLoop& loop, SessionLink& link, MemoryUserDefaults& defaults, test::Gate& gate)
      : rack(loop),
        hardware(rack.hardware(), gate),
        host({.hardware = hardware,
              .files = *files,
              .defaults = defaults,
              .bookmarks = *bookmarks,
              .runLoop = rack.runLoop(),
              .log = log,
              .background =
                  [heldFiles = files, heldBookmarks = bookmarks](BackgroundWork work) {
                    runInDetachedThread([heldFiles, heldBookmarks, work = std::move(work)] { work(); });
                  }},
             link) {}

  MemoryLog log;
  DemoRack rack;
  test::GatedHardware hardware;
  std::shared_ptr<SystemAudioFileServices> files = std::make_shared<SystemAudioFileServices>();
  std::shared_ptr<SystemFileBookmarks> bookmarks = std::make_shared<SystemFileBookmarks>();
  SessionHost host;
};

/// Player and window; what is stored outlives them.
class Program {
 public:
  explicit Program(MemoryUserDefaults& defaults)
      : thread_(
            "player",
            [this, &defaults](RunLoop& loop) { return std::make_shared<Player>(loop, link_, defaults, gate_); },
            [](const std::string& reason) { std::fprintf(stderr, "bench_pauses: %s\n", reason.c_str()); }) {}
  ~Program() {
    gate_.open();
    if (!thread_.end(std::chrono::seconds(60))) std::_Exit(1);
  }

  /// Turns the loop until the condition holds, and `longer` after it.
  void runUntil(const std::function<bool()>& condition, std::chrono::milliseconds longer = {}) {
    QTimer wake;
    wake.start(5);
    const auto patience = Clock::now() + std::chrono::minutes(5);
    while (!condition()) {
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
      if (Clock::now() > patience) throw std::runtime_error("what was waited for did not happen");
    }
    const auto end = Clock::now() + longer;
    while (Clock::now() < end) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }

  [[nodiscard]] const SessionState& state() const { return proxy.state(); }
  [[nodiscard]] test::Gate& gate() { return gate_; }

 private:
  QtRunLoop runLoop_;
  SessionLink link_;
  test::Gate gate_;
  RunLoopThread thread_;

 public:
  SessionProxy proxy{link_, runLoop_};
  LowPriorityWorkers workers;
  ContentView content{proxy, runLoop_, std::make_shared<SystemAudioFileServices>(SegmentLimits{.workers = 1}), workers};
  SourceActions sources{runLoop_, [this](auto urls, auto place) { content.openFiles(urls, place); }};
  PlayerWindow window{content, sources, "1.0"};
};

void report(const char* what, std::vector<double> turns, double milliseconds) {
  if (turns.empty()) throw std::runtime_error("no turn was seen");
  std::printf(R"({"what":"%s","turns":%zu,"median":%.2f,"longest":%.2f,"milliseconds":%.0f})"
              "\n",
              what, turns.size(), turns[turns.size() / 2], turns.back(), milliseconds);
  std::fflush(stdout);
}

class Situations {
 public:
  Situations(FileURL longTrack, FileURL shortTrack, std::vector<FileURL> collection)
      : longTrack_(std::move(longTrack)), shortTrack_(std::move(shortTrack)), collection_(std::move(collection)) {}

  void run() {
    startAndRestore();
    Program program(empty_);
    program.runUntil([&] { return program.state().selectedDevice.has_value(); }, std::chrono::milliseconds(500));
    open(program, "click to sound, FLAC of 5 min", shortTrack_);
    open(program, "open FLAC of 90 min, 96 kHz, 24 bit", longTrack_);
    takeACard(program);
    drop(program);
  }

 private:
  void open(Program& program, const char* what, const FileURL& track) {
    watch_.begin();
    const auto begin = Clock::now();
    program.content.loadPlaylist({&track, 1});
    program.runUntil([&] { return program.state().isPlaying && program.state().loadedURL == track; });
    const double milliseconds = millisecondsSince(begin);
    report(what, watch_.sorted(), milliseconds);
    if (program.state().audioPathStatus.kind == AudioPathStatus::Kind::error) throw std::runtime_error("not played");
  }

  /// A device that needs a second and a half to be taken, and as long to be given back.
  void takeACard(Program& program) {
    watch_.begin();
    const auto begin = Clock::now();
    for (const bool isTaken : {true, false}) {
      program.gate().holdNext("hardware.setHogMode");
      program.proxy.setExclusiveAccessEnabled(isTaken);
      QTimer::singleShot(1500, [&program] { program.gate().open(); });
      const auto wanted = isTaken ? ExclusiveAccessStatus::Kind::active : ExclusiveAccessStatus::Kind::off;
      program.runUntil([&] { return program.state().exclusiveAccessStatus.kind == wanted; },
                       std::chrono::milliseconds(200));
    }
    const double milliseconds = millisecondsSince(begin);
    if (milliseconds < 3000) throw std::runtime_error("the card was not held");
    report("take a card and give it back", watch_.sorted(), milliseconds);
  }

  void drop(Program& program) {
    const std::vector<FileURL> files(collection_.begin(), collection_.begin() + 3'000);
    watch_.begin();
    const auto begin = Clock::now();
    program.sources.dropURLs(files);
    program.runUntil([&] { return program.state().tracks.size() == files.size(); }, std::chrono::milliseconds(500));
    report("drop 3,000 files", watch_.sorted(), millisecondsSince(begin));
  }

  /// An earlier run leaves the playlist; the next one restores it.
  void startAndRestore() {
    {
      Program earlier(stored_);
      earlier.proxy.loadPlaylist(collection_, false);
      // It is stored once each file has its bookmark, which is not notified.
      earlier.runUntil([&] { return earlier.state().tracks.size() == collection_.size(); }, std::chrono::seconds(5));
      earlier.proxy.save();
    }
    watch_.begin();
    const auto begin = Clock::now();
    Program program(stored_);
    program.runUntil([&] { return program.state().tracks.size() == collection_.size(); },
                     std::chrono::milliseconds(500));
    report("restore 100,000 entries", watch_.sorted(), millisecondsSince(begin));
  }

  const FileURL longTrack_;
  const FileURL shortTrack_;
  const std::vector<FileURL> collection_;
  MemoryUserDefaults stored_;
  MemoryUserDefaults empty_;
  TurnWatch watch_;
};

}  // namespace
}  // namespace tolvane

int main(int argc, char* argv[]) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
  const QGuiApplication application(argc, argv);
  if (argc != 4) {
    std::fputs("Usage: bench_pauses LONG_FLAC SHORT_FLAC COLLECTION\n", stderr);
    return 2;
  }
  try {
    const std::vector folders{tolvane::FileURL(argv[3])};
    tolvane::Situations(tolvane::FileURL(argv[1]), tolvane::FileURL(argv[2]),
                        tolvane::collectSupportedAudioFiles(folders))
        .run();
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "bench_pauses: %s\n", failure.what());
    return 1;
  }
}
