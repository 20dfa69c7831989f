// Tolvane Music Player: puts the player together over the machine's own devices, files and desktop.

#include <QGuiApplication>
#include <csignal>
#include <cstdio>
#include <exception>

#include "platform/alsa/AlsaAudioHardware.h"
#include "platform/codecs/SystemAudioFileServices.h"
#include "platform/desktop/QtRunLoop.h"
#include "platform/desktop/RealtimeScheduling.h"
#include "platform/desktop/SessionBusReservation.h"
#include "platform/desktop/StandardErrorLog.h"
#include "platform/desktop/TerminationSignals.h"
#include "platform/simulated/MemoryUserDefaults.h"
#include "platform/simulated/SimulatedFileBookmarks.h"
#include "session/PlayerSession.h"
#include "ui/OutputDeviceList.h"
#include "ui/SourceActions.h"
#include "ui/qt/PlayerWindow.h"

namespace tolvane {
namespace {

/// For waveforms: a file by one thread, so that the cores are left to what the listener waits for.
std::shared_ptr<AudioFileServices> waveformFiles() {
  return std::make_shared<SystemAudioFileServices>(SegmentLimits{.workers = 1});
}

/// Made from top to bottom, given back from bottom to top: the session lets go of its device before the hardware ends.
struct Player {
  StandardErrorLog log;
  QtRunLoop runLoop;
  TerminationSignals termination{runLoop, [](int) { QCoreApplication::quit(); }};
  RealtimeScheduling realtime{runLoop, log};
  SessionBusReservation reservation{runLoop, log};
  AlsaAudioHardware hardware{runLoop, log, [this](pid_t tid) { return realtime.makeThreadRealtime(tid); },
                             &reservation};
  SystemAudioFileServices files;
  MemoryUserDefaults defaults;
  SimulatedFileBookmarks bookmarks;
  PlayerSession session{hardware, files, defaults, bookmarks, runLoop, log};
  OutputDeviceList devices{hardware, [this](AudioObjectID id) { session.setOutputDevice(id); }};
  LowPriorityWorkers workers;
  ContentView content{session, defaults, runLoop, waveformFiles(), workers};
  SourceActions sources{runLoop, [this](auto urls) { content.loadPlaylist(urls); }};
  PlayerWindow window{content, devices, sources, TOLVANE_VERSION};
};

int runPlayer() {
  if (QCoreApplication::arguments().size() > 1) {
    std::fputs("tolvane-player: the player takes no options.\n", stderr);
    return 2;
  }
  const Player player;
  return player.window.window() ? QCoreApplication::exec() : 1;
}

}  // namespace
}  // namespace tolvane

int main(int argc, char* argv[]) {
  std::signal(SIGPIPE, SIG_IGN);  // whoever read the log may go away; the music goes on
  const QGuiApplication application(argc, argv);
  QCoreApplication::setApplicationName(QStringLiteral("tolvane-player"));
  QGuiApplication::setApplicationDisplayName(QStringLiteral("Tolvane Music Player"));
  try {
    return tolvane::runPlayer();
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "tolvane-player: %s\n", failure.what());
    return 1;
  }
}
