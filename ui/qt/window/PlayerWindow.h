#pragma once
// The player's window over its content: makes the adapters and loads the QML. Window's thread, under a QGuiApplication.
// Owns no audio logic.

#include <memory>
#include <string>

#include "ui/ContentView.h"
#include "ui/SourceActions.h"

class QQuickWindow;

namespace tolvane {

class PlayerWindow {
 public:
  /// The two outlive the window.
  PlayerWindow(ContentView& content, SourceActions& sources, const std::string& version);
  ~PlayerWindow();
  PlayerWindow(const PlayerWindow&) = delete;
  PlayerWindow& operator=(const PlayerWindow&) = delete;

  /// Null if the window could not be made; Qt has logged the reason.
  [[nodiscard]] QQuickWindow* window() const;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace tolvane
