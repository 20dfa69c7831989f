#pragma once
// The player in the desktop's tray: a StatusNotifierItem with a menu, on the session bus. Window's thread.
// It announces itself to each tray that appears, also to one that starts later or comes back.

#include <QDBusConnection>
#include <functional>
#include <memory>
#include <vector>

#include "app/shell/ApplicationIdentity.h"
#include "app/shell/MenuItem.h"

class QIcon;

namespace tolvane {

class TrayItem {
 public:
  /// `perform` is called with the user's choice. Without a bus the tray item does nothing.
  TrayItem(const QDBusConnection& bus, const ApplicationIdentity& identity, const QIcon& icon,
           std::function<void(ShellAction)> perform);
  ~TrayItem();
  TrayItem(const TrayItem&) = delete;
  TrayItem& operator=(const TrayItem&) = delete;

  void setMenu(std::vector<MenuItem> items);

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace tolvane
