#include "app/PlayerShell.h"

#include <QEvent>
#include <QGuiApplication>
#include <QWindow>
#include <list>
#include <utility>

#include "app/ApplicationIcon.h"
#include "app/Compositing.h"
#include "app/QtShellWindow.h"
#include "app/dbus/ApplicationService.h"
#include "app/dbus/MediaPlayerService.h"
#include "app/dbus/TrayItem.h"
#include "app/shell/AppDelegate.h"
#include "app/shell/FileArguments.h"
#include "app/shell/MediaControls.h"
#include "app/shell/WindowResizer.h"
#include "platform/BackgroundRequest.h"
#include "platform/WeakSelf.h"

namespace tolvane {

struct PlayerShell::Implementation {
  /// However the program is ended (menu, shortcut, signal, session), Qt notifies the application first and then asks
  /// the windows.
  class QuitWatch final : public QObject {
   public:
    explicit QuitWatch(std::function<void()> action) : action_(std::move(action)) {
      QCoreApplication::instance()->installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
      if (event->type() == QEvent::Quit && watched == QCoreApplication::instance()) action_();
      return QObject::eventFilter(watched, event);
    }

   private:
    const std::function<void()> action_;
  };

  Implementation(const QDBusConnection& connection, const ApplicationIdentity& identity, const Parts& parts);

  void show(const std::string& activationToken) { delegate.showPlayerFromMenu(activationToken); }
  [[nodiscard]] bool perform(std::string_view action, const std::string& activationToken);
  void scheduleMenuUpdate();
  void openWhereItIsThere(const FileURL& file, const std::function<void(bool)>& answer);
  void followMusic(MusicStore& music);

  Parts services;
  QtShellWindow window;
  AppDelegate delegate{[] { QCoreApplication::quit(); }};
  WindowResizer resizer;
  MediaControls controls;
  MediaPlayerService mediaPlayer;
  TrayItem tray;
  ApplicationService application;
  QuitWatch quitWatch{[this] { window.allowClosing(); }};
  QObject context;  // ends the connections to the application

  std::list<BackgroundRequest<bool>> questions;  ///< whether a file is there
  bool isMenuUpdateScheduled = false;
  WeakSelf<Implementation> self{this};
  Subscription menuSubscription;
  Subscription musicSubscription;
};

PlayerShell::Implementation::Implementation(const QDBusConnection& connection, const ApplicationIdentity& identity,
                                            const Parts& parts)
    : services(parts),
      window(parts.window),
      resizer(
          parts.runLoop, parts.defaults, [this] { return window.frameSize(); },
          [this] {
            delegate.setSession(&services.session);
            delegate.configurePlayerWindow(window);
          }),
      controls(parts.session, parts.runLoop,
               [this](const FileURL& file, const auto& answer) { openWhereItIsThere(file, answer); }),
      mediaPlayer(connection, identity, controls,
                  {.raise = [this] { show({}); }, .quit = [] { QCoreApplication::quit(); }}),
      tray(connection, identity, applicationIcon(), [this](ShellAction action) { delegate.perform(action); }),
      application(connection, identity,
                  {.activate = [this](const std::string& token) { delegate.applicationShouldHandleReopen(token); },
                   .open =
                       [this](std::vector<FileURL> files, const std::string& token) {
                         if (!files.empty()) services.sources.dropURLs(std::move(files));
                         show(token);
                       },
                   .activateAction = [this](std::string_view action,
                                            const std::string& token) { return perform(action, token); }}) {
  QGuiApplication::setQuitOnLastWindowClosed(AppDelegate::applicationShouldTerminateAfterLastWindowClosed());
  QGuiApplication::setWindowIcon(applicationIcon());
  delegate.setSession(&parts.session);
  delegate.setReachability([connection] { return connection.isConnected(); });
  const auto followCompositor = [this] { services.window.setProperty("composited", isComposited()); };
  followCompositor();
  window.onChange([this, followCompositor] {
    resizer.update();
    followCompositor();
  });
  resizer.make();
  tray.setMenu(delegate.playerSystemMenu());
  if (parts.music != nullptr) followMusic(*parts.music);
  menuSubscription = parts.session.onChange([this](const SessionState&, const SessionState&) { scheduleMenuUpdate(); });

  const auto save = [this] { delegate.applicationWillTerminate(); };
  QObject::connect(qGuiApp, &QCoreApplication::aboutToQuit, &context, save);
  // The desktop session ends, and may not wait for an orderly end of the program.
  QObject::connect(qGuiApp, &QGuiApplication::commitDataRequest, &context, save, Qt::DirectConnection);
}

bool PlayerShell::Implementation::perform(std::string_view action, const std::string& activationToken) {
  const auto known = AppDelegate::desktopAction(action);
  if (!known) return false;
  if (*known == ShellAction::showPlayerFromMenu) {
    show(activationToken);
  } else {
    delegate.perform(*known);
  }
  return true;
}

void PlayerShell::Implementation::scheduleMenuUpdate() {
  if (isMenuUpdateScheduled) return;
  isMenuUpdateScheduled = true;
  services.runLoop.post(self.bind([](Implementation& shell) {
    shell.isMenuUpdateScheduled = false;
    shell.tray.setMenu(shell.delegate.playerSystemMenu());
  }));
}

void PlayerShell::Implementation::followMusic(MusicStore& music) {
  controls.setMusic([&music](const FileURL& track) {
    const MusicTags* tags = music.tags(track);
    const auto& cover = music.cover();
    const bool isFile = cover != nullptr && cover->file.has_value();
    return MediaMusic{tags != nullptr ? *tags : MusicTags(), isFile ? cover->file->absoluteString() : std::string()};
  });
  std::vector<Subscription> parts;
  parts.push_back(music.onChange([this](const FileURL& url) {
    if (url == services.session.currentTrackURL()) controls.musicHasChanged();
  }));
  parts.push_back(music.onCoverChange([this] { controls.musicHasChanged(); }));
  musicSubscription = Subscription::joined(std::move(parts));
}

void PlayerShell::Implementation::openWhereItIsThere(const FileURL& file, const std::function<void(bool)>& answer) {
  constexpr std::size_t mostAtOnce = 8;  // strangers may ask for files on shares that never answer
  if (questions.size() >= mostAtOnce) return answer(false);
  const auto question = questions.emplace(questions.end(), services.runLoop, services.background);
  question->start([file] { return isRegularFile(file); },
                  [this, question, file, answer](bool isThere) {
                    if (isThere) services.sources.openFiles({&file, 1});
                    answer(isThere);
                    services.runLoop.post(
                        self.bind([question](Implementation& shell) { shell.questions.erase(question); }));
                  });
}

PlayerShell::PlayerShell(const QDBusConnection& bus, const ApplicationIdentity& identity, const Parts& parts)
    : implementation_(std::make_unique<Implementation>(bus, identity, parts)) {}

PlayerShell::~PlayerShell() = default;

void PlayerShell::open(std::vector<FileURL> files) {
  if (!files.empty()) implementation_->services.sources.dropURLs(std::move(files));
}

}  // namespace tolvane
