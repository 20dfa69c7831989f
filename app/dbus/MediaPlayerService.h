#pragma once
// MPRIS 2: the player on the session bus for media keys, lock screens and remote controls. Window's thread. Only
// translates: MediaControls implements the commands.

#include <QDBusConnection>
#include <functional>
#include <memory>

#include "app/shell/ApplicationIdentity.h"
#include "app/shell/MediaControls.h"

namespace tolvane {

class MediaPlayerService {
 public:
  struct Shell {
    std::function<void()> raise;
    std::function<void()> quit;
  };

  /// The controls outlive the service. Without a bus it does nothing.
  MediaPlayerService(const QDBusConnection& bus, const ApplicationIdentity& identity, MediaControls& controls,
                     Shell shell);
  /// The name is given back: remote controls forget the player.
  ~MediaPlayerService();
  MediaPlayerService(const MediaPlayerService&) = delete;
  MediaPlayerService& operator=(const MediaPlayerService&) = delete;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace tolvane
