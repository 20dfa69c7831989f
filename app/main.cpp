// Tolvane Music Player: puts the player together over the machine's own devices, files and desktop.

#include <QDBusConnection>
#include <QGuiApplication>
#include <QQuickWindow>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <span>
#include <string_view>

#include "app/PlayerShell.h"
#include "app/SilentSessionBus.h"
#include "app/dbus/ApplicationService.h"
#include "app/dbus/PortalDialogs.h"
#include "app/shell/FileURI.h"
#include "platform/PrintableText.h"
#include "platform/alsa/AlsaAudioHardware.h"
#include "platform/codecs/SystemAudioFileServices.h"
#include "platform/desktop/ProcessStart.h"
#include "platform/desktop/QtRunLoop.h"
#include "platform/desktop/RealtimeScheduling.h"
#include "platform/desktop/SessionBusReservation.h"
#include "platform/desktop/StandardErrorLog.h"
#include "platform/desktop/TerminationSignals.h"
#ifdef TOLVANE_HAS_PIPEWIRE
#include "platform/pipewire/PipeWireAudioHardware.h"
#endif
#include "platform/storage/SqliteUserDefaults.h"
#include "platform/storage/StorageFolder.h"
#include "platform/storage/SystemFileBookmarks.h"
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
  AlsaAudioHardware direct{runLoop, log, [this](pid_t tid) { return realtime.makeThreadRealtime(tid); }, &reservation};
#ifdef TOLVANE_HAS_PIPEWIRE
  PipeWireAudioHardware hardware{runLoop, log, direct};
#else
  AudioHardware& hardware = direct;
#endif
  SystemAudioFileServices files;
  SqliteUserDefaults defaults{storageFolder(), log};
  SystemFileBookmarks bookmarks;
  PlayerSession session{hardware, files, defaults, bookmarks, runLoop, log};
  OutputDeviceList devices{hardware, [this](AudioObjectID id) { session.setOutputDevice(id); }};
  LowPriorityWorkers workers;
  ContentView content{session, defaults, runLoop, waveformFiles(), workers};
  SourceActions sources{runLoop, [this](auto urls) { content.loadPlaylist(urls); }};
  PlayerWindow window{content, devices, sources, TOLVANE_VERSION};
  std::optional<PlayerShell> shell;  // once there is a window
};

/// What a program is asked in a terminal, perhaps on a machine without a display.
const char* answerTo(std::string_view argument) {
  if (argument == "--version") return "tolvane-player " TOLVANE_VERSION "\n";
  if (argument == "--help" || argument == "-h") {
    return "Usage: tolvane-player [FILE...]\n"
           "Plays WAV, AIFF, FLAC and MP3 files without altering a sample. A FILE is one of these, a folder with "
           "music,\n"
           "or a file: URI. Without any, the playlist of the last time is there. More: man tolvane-player\n";
  }
  return nullptr;
}

/// The arguments that are left once Qt has taken its own.
FileArguments filesOfCommandLine(std::span<char*> arguments) {
  const std::vector<std::string> files(arguments.begin() + 1, arguments.end());
  std::error_code ignored;  // without a working directory only absolute paths name a file
  return fileArguments(files, std::filesystem::current_path(ignored).string());
}

int runPlayer(const FileArguments& arguments) {
  if (arguments.complaint) {
    std::fprintf(stderr, "tolvane-player: %s\n", printableText(*arguments.complaint).c_str());
    if (arguments.urls.empty()) return 2;
  }
  const auto identity = ApplicationIdentity::player();
  auto bus = QDBusConnection::sessionBus();
  switch (claimInstance(bus, identity, arguments.urls)) {
    case InstanceRole::handedOver:
      return 0;
    case InstanceRole::refused:
      std::fputs("tolvane-player: the player that runs already does not answer.\n", stderr);
      return 1;
    case InstanceRole::first:
      break;
  }
  Player player;
  if (!player.window.window()) return 1;
  player.shell.emplace(bus, identity,
                       PlayerShell::Parts{.session = player.session,
                                          .sources = player.sources,
                                          .defaults = player.defaults,
                                          .runLoop = player.runLoop,
                                          .window = *player.window.window()});
  player.shell->open(arguments.urls);
  return QCoreApplication::exec();
}

}  // namespace
}  // namespace tolvane

int main(int argc, char* argv[]) {
  tolvane::prepareProcess();
  if (const char* answer = argc == 2 ? tolvane::answerTo(argv[1]) : nullptr) {
    return std::fputs(answer, stdout) == EOF || std::fflush(stdout) != 0 ? 1 : 0;
  }
  std::signal(SIGPIPE, SIG_IGN);  // the reader of the log may end; the music goes on
  {
    // Before Qt and its platform plug-ins look for the bus.
    tolvane::StandardErrorLog log;
    tolvane::leaveSilentSessionBus(log);
  }
  tolvane::preferPortalDialogs();
  const QGuiApplication application(argc, argv);
  QCoreApplication::setApplicationName(QStringLiteral("tolvane-player"));
  QGuiApplication::setDesktopFileName(QString::fromStdString(tolvane::ApplicationIdentity::player().id));
  QGuiApplication::setApplicationDisplayName(QStringLiteral("Tolvane Music Player"));
  try {
    return tolvane::runPlayer(tolvane::filesOfCommandLine({argv, static_cast<std::size_t>(argc)}));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "tolvane-player: %s\n", failure.what());
    return 1;
  }
}
