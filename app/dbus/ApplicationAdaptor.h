#pragma once
// org.freedesktop.Application as Qt's bus adaptor. Window's thread.

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QStringList>
#include <QVariantMap>

#include "app/dbus/ApplicationService.h"

namespace tolvane {

class ApplicationAdaptor final : public QDBusAbstractAdaptor {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

 public:
  ApplicationAdaptor(QObject* parent, const QDBusConnection& bus, ApplicationService::Handlers handlers)
      : QDBusAbstractAdaptor(parent), bus_(bus), handlers_(std::move(handlers)) {}

 public slots:  // NOLINT(readability-redundant-access-specifiers): named as on the bus
  void Activate(const QVariantMap& platform_data);
  void Open(const QStringList& uris, const QVariantMap& platform_data, const QDBusMessage& call);
  void ActivateAction(const QString& action_name, const QVariantList& parameter, const QVariantMap& platform_data,
                      const QDBusMessage& call);

 private:
  void refuse(const QDBusMessage& call, const QString& sentence) const;

  QDBusConnection bus_;
  const ApplicationService::Handlers handlers_;
};

}  // namespace tolvane
