#include "app/dbus/StatusNotifierAdaptor.h"

#include <QDBusMetaType>
#include <QImage>
#include <QPixmap>
#include <QtEndian>
#include <utility>

namespace tolvane {

namespace {

TrayPixmaps rendered(const QIcon& icon) {
  TrayPixmaps pixmaps;
  if (icon.isNull()) return pixmaps;
  for (const int size : {22, 24, 32, 48}) {
    const QImage image = icon.pixmap(QSize(size, size), 1.0).toImage().convertToFormat(QImage::Format_ARGB32);
    TrayPixmap pixmap{image.width(), image.height(), QByteArray(image.sizeInBytes(), '\0')};
    qToBigEndian<quint32>(image.constBits(), image.sizeInBytes() / 4, pixmap.bytes.data());
    pixmaps << pixmap;
  }
  return pixmaps;
}

}  // namespace

QDBusArgument& operator<<(QDBusArgument& argument, const TrayPixmap& pixmap) {
  argument.beginStructure();
  argument << pixmap.width << pixmap.height << pixmap.bytes;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, TrayPixmap& pixmap) {
  argument.beginStructure();
  argument >> pixmap.width >> pixmap.height >> pixmap.bytes;
  argument.endStructure();
  return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const TrayToolTip& tip) {
  argument.beginStructure();
  argument << tip.icon << tip.pixmaps << tip.title << tip.text;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, TrayToolTip& tip) {
  argument.beginStructure();
  argument >> tip.icon >> tip.pixmaps >> tip.title >> tip.text;
  argument.endStructure();
  return argument;
}

StatusNotifierAdaptor::StatusNotifierAdaptor(QObject* parent, const ApplicationIdentity& identity, const QIcon& icon,
                                             std::function<void(ShellAction)> perform)
    : QDBusAbstractAdaptor(parent), identity_(identity), pixmaps_(rendered(icon)), perform_(std::move(perform)) {
  qDBusRegisterMetaType<TrayPixmap>();
  qDBusRegisterMetaType<TrayPixmaps>();
  qDBusRegisterMetaType<TrayToolTip>();
}

QDBusObjectPath StatusNotifierAdaptor::menu() const { return QDBusObjectPath("/StatusNotifierItem/Menu"); }

}  // namespace tolvane
