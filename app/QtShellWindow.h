#pragma once
// The player's window for the application delegate, over a Qt window. Window's thread.
// Closing the window, by the user or the desktop, runs the close action instead, except while the program ends.

#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QWindow>
#include <functional>
#include <optional>

#include "app/shell/ShellWindow.h"
#include "app/shell/WindowSize.h"

namespace tolvane {

class QtShellWindow final : public QObject, public ShellWindow {
  Q_OBJECT

 public:
  explicit QtShellWindow(QWindow& window);
  ~QtShellWindow() override;

  /// From here on closing closes: Qt asks each window before it lets the program end.
  void allowClosing() { allowsClosing_ = true; }
  /// Called whenever size or state may have changed.
  void onChange(std::function<void()> observer) { observer_ = std::move(observer); }
  /// Frame and all; nothing once the window has gone.
  [[nodiscard]] std::optional<WindowSize> frameSize() const;

  void setContentAndMinimumSize(int width, int height) override;
  void setCloseAction(std::function<void()> action) override { closeAction_ = std::move(action); }
  void orderOut() override;
  [[nodiscard]] bool isMiniaturised() const override;
  void miniaturise() override;
  void deminiaturise() override;
  void makeKeyAndOrderFront(const std::string& activationToken) override;

  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QPointer<QWindow> window_;
  std::function<void()> closeAction_;
  std::function<void()> observer_;
  std::optional<QPoint> place_;  // on the desktop, when it was ordered out
  bool isComingBack_ = false;    // from being ordered in until it is on the screen
  bool allowsClosing_ = false;
};

}  // namespace tolvane
