#pragma once
// Everything around the player's window: delegate, tray, remote controls, single instance, saving at the end. Window's
// thread, under a QGuiApplication. Knows neither devices nor the source of files.

#include <QDBusConnection>
#include <memory>
#include <vector>

#include "app/shell/ApplicationIdentity.h"
#include "platform/Background.h"
#include "platform/FileURL.h"
#include "platform/RunLoop.h"
#include "platform/UserDefaults.h"
#include "session/SessionProxy.h"
#include "ui/MusicStore.h"
#include "ui/SourceActions.h"

class QWindow;

namespace tolvane {

class PlayerShell {
 public:
  struct Parts {
    SessionProxy& session;
    SourceActions& sources;
    UserDefaults& defaults;  ///< of the window
    RunLoop& runLoop;        ///< the window's
    QWindow& window;
    MusicStore* music = nullptr;                  ///< null: nothing is known of the music
    Background background = runInDetachedThread;  ///< asks the disk
  };

  /// The parts outlive the shell. Without a bus the player has a window and no other interface.
  PlayerShell(const QDBusConnection& bus, const ApplicationIdentity& identity, const Parts& parts);
  ~PlayerShell();
  PlayerShell(const PlayerShell&) = delete;
  PlayerShell& operator=(const PlayerShell&) = delete;

  /// Loads them as a drop on the window would. None leaves the playlist as it is.
  void open(std::vector<FileURL> files);

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace tolvane
