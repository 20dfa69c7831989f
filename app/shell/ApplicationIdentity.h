#pragma once
// The names under which a program is known to the desktop. Plain values, constant.

#include <string>

namespace tolvane {

struct ApplicationIdentity {
  std::string id;         ///< reverse DNS: bus name, desktop file, icon and metainfo all bear it
  std::string mprisName;  ///< what follows "org.mpris.MediaPlayer2."
  std::string title;

  /// "org.tolvane.Player" → "/org/tolvane/Player", where the desktop looks for the application's object.
  [[nodiscard]] std::string objectPath() const {
    std::string path = "/" + id;
    for (char& character : path) {
      if (character == '.') character = '/';
      if (character == '-') character = '_';
    }
    return path;
  }

  static ApplicationIdentity player() { return {"org.tolvane.Player", "tolvane_player", "Tolvane Music Player"}; }
  static ApplicationIdentity demo() { return {"org.tolvane.Demo", "tolvane_demo", "Tolvane Music Player Demo"}; }
};

}  // namespace tolvane
