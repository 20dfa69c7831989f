#pragma once
// org.kde.StatusNotifierItem as Qt's bus adaptor, and its records. Window's thread.

#include <QDBusAbstractAdaptor>
#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QIcon>
#include <QList>
#include <QMetaType>
#include <functional>

#include "app/shell/ApplicationIdentity.h"
#include "app/shell/MenuItem.h"

namespace tolvane {

struct TrayPixmap {  ///< (iiay): ARGB, big-endian
  int width = 0;
  int height = 0;
  QByteArray bytes;
};
using TrayPixmaps = QList<TrayPixmap>;

struct TrayToolTip {  ///< (sa(iiay)ss)
  QString icon;
  TrayPixmaps pixmaps;
  QString title;
  QString text;
};

QDBusArgument& operator<<(QDBusArgument& argument, const TrayPixmap& pixmap);
const QDBusArgument& operator>>(const QDBusArgument& argument, TrayPixmap& pixmap);
QDBusArgument& operator<<(QDBusArgument& argument, const TrayToolTip& tip);
const QDBusArgument& operator>>(const QDBusArgument& argument, TrayToolTip& tip);

class StatusNotifierAdaptor final : public QDBusAbstractAdaptor {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
  Q_PROPERTY(QString Category READ category CONSTANT)
  Q_PROPERTY(QString Id READ id CONSTANT)
  Q_PROPERTY(QString Title READ title CONSTANT)
  Q_PROPERTY(QString Status READ status CONSTANT)
  Q_PROPERTY(int WindowId READ windowId CONSTANT)
  Q_PROPERTY(QString IconName READ id CONSTANT)
  Q_PROPERTY(tolvane::TrayPixmaps IconPixmap READ pixmaps CONSTANT)
  Q_PROPERTY(QString OverlayIconName READ none CONSTANT)
  Q_PROPERTY(tolvane::TrayPixmaps OverlayIconPixmap READ noPixmaps CONSTANT)
  Q_PROPERTY(QString AttentionIconName READ none CONSTANT)
  Q_PROPERTY(tolvane::TrayPixmaps AttentionIconPixmap READ noPixmaps CONSTANT)
  Q_PROPERTY(QString AttentionMovieName READ none CONSTANT)
  Q_PROPERTY(tolvane::TrayToolTip ToolTip READ toolTip CONSTANT)
  Q_PROPERTY(bool ItemIsMenu READ isMenu CONSTANT)
  Q_PROPERTY(QDBusObjectPath Menu READ menu CONSTANT)

 public:
  StatusNotifierAdaptor(QObject* parent, const ApplicationIdentity& identity, const QIcon& icon,
                        std::function<void(ShellAction)> perform);

  [[nodiscard]] QString category() const { return QStringLiteral("ApplicationStatus"); }
  [[nodiscard]] QString id() const { return QString::fromStdString(identity_.id); }
  [[nodiscard]] QString title() const { return QString::fromStdString(identity_.title); }
  [[nodiscard]] QString status() const { return QStringLiteral("Active"); }
  [[nodiscard]] int windowId() const { return 0; }
  [[nodiscard]] TrayPixmaps pixmaps() const { return pixmaps_; }
  [[nodiscard]] QString none() const { return {}; }
  [[nodiscard]] TrayPixmaps noPixmaps() const { return {}; }
  [[nodiscard]] TrayToolTip toolTip() const { return {id(), {}, title(), {}}; }
  [[nodiscard]] bool isMenu() const { return false; }
  [[nodiscard]] QDBusObjectPath menu() const;

 public slots:  // NOLINT(readability-redundant-access-specifiers): named as on the bus
  void Activate(int /*x*/, int /*y*/) { perform_(ShellAction::showPlayerFromMenu); }
  void SecondaryActivate(int /*x*/, int /*y*/) { perform_(ShellAction::togglePlayback); }
  void ContextMenu(int /*x*/, int /*y*/) {}                      // the panel draws the menu
  void Scroll(int /*delta*/, const QString& /*orientation*/) {}  // too easily done by accident to change anything

 signals:
  void NewTitle();
  void NewIcon();
  void NewAttentionIcon();
  void NewOverlayIcon();
  void NewToolTip();
  void NewStatus(const QString& status);

 private:
  const ApplicationIdentity identity_;
  const TrayPixmaps pixmaps_;  // for panels that do not find the icon by its name
  const std::function<void(ShellAction)> perform_;
};

}  // namespace tolvane

Q_DECLARE_METATYPE(tolvane::TrayPixmap)
Q_DECLARE_METATYPE(tolvane::TrayToolTip)
