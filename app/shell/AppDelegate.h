#pragma once
// What the program does when the desktop asks something of it: hide, show, menus, ending. Window's thread. Closing the
// window never quits; the music continues until the user quits.

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/shell/MenuItem.h"
#include "app/shell/ShellWindow.h"
#include "session/SessionProxy.h"

namespace tolvane {

class AppDelegate {
 public:
  /// `terminate` begins the end of the program, which then calls applicationWillTerminate().
  explicit AppDelegate(std::function<void()> terminate) : terminate_(std::move(terminate)) {}
  AppDelegate(const AppDelegate&) = delete;
  AppDelegate& operator=(const AppDelegate&) = delete;
  ~AppDelegate() = default;

  /// Null when there is none any more; without a session everything below is harmless.
  void setSession(SessionProxy* session) { session_ = session; }

  // The window. It outlives the delegate, or forgetPlayerWindow() is called first.

  /// Sets a window up once; the one that is known already is left alone.
  void configurePlayerWindow(ShellWindow& window);
  void forgetPlayerWindow() { playerWindow_ = nullptr; }
  /// Whether the desktop has a way to ask for a hidden window. Without one, hiding minimises.
  void setReachability(std::function<bool()> isReachable) { isReachable_ = std::move(isReachable); }
  void hidePlayerWindow();
  void showPlayerFromMenu(const std::string& activationToken = {});

  // What the desktop asks.

  [[nodiscard]] static bool applicationShouldTerminateAfterLastWindowClosed() { return false; }
  /// Brings the window back and returns false; true when there is none, so that one must be made.
  bool applicationShouldHandleReopen(const std::string& activationToken = {});
  /// Has the player save. Once the session is gone it does nothing.
  void applicationWillTerminate();

  /// Made anew for each request.
  [[nodiscard]] std::vector<MenuItem> playerSystemMenu() const;
  void perform(ShellAction action);
  /// The action behind the name that the desktop entry gives it.
  [[nodiscard]] static std::optional<ShellAction> desktopAction(std::string_view name);

  void previousTrack();
  void togglePlayback();
  void nextTrack();

 private:
  [[nodiscard]] std::vector<MenuItem> transportItems() const;
  [[nodiscard]] bool hasCurrentTrack() const;

  const std::function<void()> terminate_;
  std::function<bool()> isReachable_;
  SessionProxy* session_ = nullptr;
  ShellWindow* playerWindow_ = nullptr;
};

}  // namespace tolvane
