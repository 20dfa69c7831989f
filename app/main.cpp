// Tolvane Music Player: puts the player together over the machine's own devices, files and desktop.

#include <QDBusConnection>
#include <QGuiApplication>
#include <QQuickWindow>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "app/PlayerShell.h"
#include "app/SilentSessionBus.h"
#include "app/SystemMusic.h"
#include "app/Translations.h"
#include "app/dbus/ApplicationService.h"
#include "app/dbus/PortalDialogs.h"
#include "app/shell/FileArguments.h"
#include "platform/AudioFormats.h"
#include "platform/DeviceCalls.h"
#include "platform/PrintableText.h"
#include "platform/WeakSelf.h"
#include "platform/alsa/AlsaAudioHardware.h"
#include "platform/codecs/SystemAudioFileServices.h"
#include "platform/desktop/ProcessStart.h"
#include "platform/desktop/QtRunLoop.h"
#include "platform/desktop/RealtimeScheduling.h"
#include "platform/desktop/RunLoopThread.h"
#include "platform/desktop/SessionBusReservation.h"
#include "platform/desktop/StandardErrorLog.h"
#include "platform/desktop/TerminationSignals.h"
#ifdef TOLVANE_HAS_PIPEWIRE
#include "platform/pipewire/PipeWireAudioHardware.h"
#endif
#include "platform/storage/SqliteUserDefaults.h"
#include "platform/storage/StorageFolder.h"
#include "platform/storage/SystemFileBookmarks.h"
#include "session/SessionHost.h"
#include "session/SessionProxy.h"
#include "session/SettingsProxy.h"
#include "ui/SourceActions.h"
#include "ui/qt/window/PlayerWindow.h"

namespace tolvane {
namespace {

/// How long the user waits at most for a program that they quit, even if a device or disk hangs.
constexpr auto longestFarewell = std::chrono::milliseconds(2500);

/// For waveforms: one thread per file, so that the cores are available for what the user waits for.
std::shared_ptr<AudioFileServices> waveformFiles() {
  return std::make_shared<SystemAudioFileServices>(SegmentLimits{.workers = 1});
}

/// What the window may know about the player's waits, and how it ends them. Any thread, also before the player exists
/// and after it is destroyed.
class PlayersWaits {
 public:
  void connect(DeviceCalls* calls) {
    const std::lock_guard lock(mutex_);
    calls_ = calls;
  }
  [[nodiscard]] std::string forWhom() const {
    const std::lock_guard lock(mutex_);
    const auto waiting = calls_ != nullptr ? calls_->waiting() : std::nullopt;
    return waiting ? waiting->who : std::string();
  }
  std::uint64_t interrupt() {
    const std::lock_guard lock(mutex_);
    return calls_ != nullptr ? calls_->interrupt() : 0;
  }

 private:
  mutable std::mutex mutex_;
  DeviceCalls* calls_ = nullptr;  // guarded by mutex_
};

/// The player, on a thread of its own. Members are destroyed from bottom to top: the session releases its device before
/// the hardware ends.
struct Player {
  Player(RunLoop& playersLoop, Log& sharedLog, SessionLink& sharedLink, PlayersWaits& sharedWaits)
      : runLoop(playersLoop), log(sharedLog), link(sharedLink), waits(sharedWaits) {
    waits.connect(&calls);
  }
  ~Player() { waits.connect(nullptr); }
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;

  RunLoop& runLoop;
  Log& log;
  SessionLink& link;
  PlayersWaits& waits;
  WeakSelf<Player> self{this};
  DeviceCalls calls{runLoop, log};
  RealtimeScheduling realtime{runLoop, log};
  SessionBusReservation reservation{runLoop, log};
  AlsaAudioHardware cardHardware{runLoop,      log, [this](pid_t tid) { return realtime.makeThreadRealtime(tid); },
                                 &reservation, {},  &calls};
#ifdef TOLVANE_HAS_PIPEWIRE
  PipeWireAudioHardware hardware{runLoop, log, cardHardware, &calls};
#else
  AudioHardware& hardware = cardHardware;
#endif
  std::shared_ptr<SystemAudioFileServices> files = std::make_shared<SystemAudioFileServices>();
  RunLoop::Action adoptDefaults = self.bind([](Player& player) { player.host.defaultsAreLoaded(); });
  SqliteUserDefaults defaults{storageFolder(), log, {.onLoadedLate = [this] { runLoop.post(adoptDefaults); }}};
  std::shared_ptr<SystemFileBookmarks> bookmarks = std::make_shared<SystemFileBookmarks>();
  SessionHost host{{.hardware = hardware,
                    .files = *files,
                    .defaults = defaults,
                    .bookmarks = *bookmarks,
                    .runLoop = runLoop,
                    .log = log,
                    // Work that hangs keeps the objects that it uses alive.
                    .background =
                        [heldFiles = files, heldBookmarks = bookmarks](BackgroundWork work) {
                          runInDetachedThread([heldFiles, heldBookmarks, work = std::move(work)] { work(); });
                        },
                    .lowPriority =
                        [heldFiles = files](BackgroundWork work) {
                          runInLowPriorityThread([heldFiles, work = std::move(work)] { work(); });
                        },
                    .obey = [this](std::uint64_t interrupt) { calls.clearInterrupts(interrupt); }},
                   link};
};

/// The window and everything around it, on the thread that draws.
struct Window {
  explicit Window(Log& sharedLog) : log(sharedLog), termination(runLoop, [](int) { QCoreApplication::quit(); }) {
    playerThread.emplace(
        "player",
        [this](RunLoop& playersLoop) -> std::shared_ptr<void> {
          return std::make_shared<Player>(playersLoop, log, link, waits);
        },
        [this](const std::string& reason) {
          std::fprintf(stderr, "tolvane-player: %s\n", printableText(reason).c_str());
          runLoop.post([] { QCoreApplication::exit(1); });
        });
  }

  /// False: the player's thread hangs and still uses these objects.
  [[nodiscard]] bool endPlayer() { return playerThread->end(longestFarewell); }

  Log& log;
  QtRunLoop runLoop;
  TerminationSignals termination;
  SessionLink link;
  PlayersWaits waits;
  std::optional<RunLoopThread> playerThread;  // from here on it works while the window is made
  SessionProxy session{
      link,
      runLoop,
      {.forWhom = [this] { return waits.forWhom(); }, .interrupt = [this] { return waits.interrupt(); }}};
  SettingsProxy settings{session};
  LowPriorityWorkers workers;
  LowPriorityWorkers tagReaders;  // apart, because waveforms take long
  ContentView content{session, runLoop, waveformFiles(), workers, systemMusic(tagReaders)};
  SourceActions sources{runLoop, [this](auto urls, auto place) { content.openFiles(urls, place); }, runInDetachedThread,
                        [this](const std::string& notice) { log.write(LogLevel::standard, "Sources", notice); }};
  PlayerWindow window{content, sources, TOLVANE_VERSION};
  std::optional<PlayerShell> shell;  // once there is a window
};

/// The options that print something in a terminal, perhaps on a machine without a display.
std::optional<std::string> answerTo(std::string_view argument) {
  if (argument == "--version") return "tolvane-player " TOLVANE_VERSION "\n";
  if (argument == "--help" || argument == "-h") {
    return "Usage: tolvane-player [FILE...]\n"
           "Plays " +
           audioFormatNames() +
           " files without altering a sample. A FILE is one of these, a folder with music,\n"
           "a playlist (M3U8, M3U), a CUE sheet, or a file: URI. Without any, the playlist of the last time is there.\n"
           "More: man tolvane-player\n";
  }
  return std::nullopt;
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
  static StandardErrorLog log;  // static: an abandoned thread may still write
  auto window = std::make_unique<Window>(log);
  if (!window->window.window()) return 1;
  window->shell.emplace(bus, identity,
                        PlayerShell::Parts{.session = window->session,
                                           .sources = window->sources,
                                           .defaults = window->settings,
                                           .runLoop = window->runLoop,
                                           .window = *window->window.window(),
                                           .music = &window->content.music()});
  window->shell->open(arguments.urls);
  const int status = QCoreApplication::exec();
  if (!window->endPlayer()) {
    log.write(LogLevel::error, "Player",
              "A device or a file does not let go of the player. The program ends without it.");
    std::_Exit(status);
  }
  return status;
}

}  // namespace
}  // namespace tolvane

int main(int argc, char* argv[]) {
  tolvane::prepareProcess();
  if (const auto answer = argc == 2 ? tolvane::answerTo(argv[1]) : std::nullopt) {
    return std::fputs(answer->c_str(), stdout) == EOF || std::fflush(stdout) != 0 ? 1 : 0;
  }
  std::signal(SIGPIPE, SIG_IGN);  // the reader of the log may end; playback continues
  {
    // Before Qt and its platform plug-ins look for the bus.
    tolvane::StandardErrorLog log;
    tolvane::leaveSilentSessionBus(log);
  }
  tolvane::preferPortalDialogs();
  const QGuiApplication application(argc, argv);
  tolvane::useTranslations(tolvane::translationsFolder());
  tolvane::CatalogueTranslator translator;
  QCoreApplication::installTranslator(&translator);
  QCoreApplication::setApplicationName(QStringLiteral("tolvane-player"));
  QGuiApplication::setDesktopFileName(QString::fromStdString(tolvane::ApplicationIdentity::player().id));
  QGuiApplication::setApplicationDisplayName(QStringLiteral("Tolvane Music Player"));
  try {
    return tolvane::runPlayer(tolvane::filesOfCommandLine({argv, static_cast<std::size_t>(argc)}));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "tolvane-player: %s\n", tolvane::printableText(failure.what()).c_str());
    return 1;
  }
}
