#pragma once
// A portal that opens files: it counts its callers, notes what its dialogs are to offer, and the test answers. It is
// there as long as the object. The test's thread.

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QObject>
#include <QStringList>
#include <QVariantMap>
#include <stdexcept>
#include <vector>

namespace tolvane::test {

class FakePortal final : public QObject {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.FileChooser")
  Q_PROPERTY(uint version READ version)

 public:
  FakePortal(const QDBusConnection& connection, uint version) : connection_(connection), version_(version) {
    const bool isThere = connection_.registerObject(
                             path(), this, QDBusConnection::ExportAllProperties | QDBusConnection::ExportAllSlots) &&
                         connection_.registerService(QStringLiteral("org.freedesktop.portal.Desktop"));
    if (!isThere) throw std::runtime_error("the portal could not be set up");
  }
  ~FakePortal() override {
    connection_.unregisterService(QStringLiteral("org.freedesktop.portal.Desktop"));
    connection_.unregisterObject(path());
  }

  [[nodiscard]] uint version() const {
    ++questions_;
    return version_;
  }
  [[nodiscard]] int questions() const { return questions_; }

  /// A dialog that a program has asked for.
  struct Dialog {
    QString parent;  ///< the window that it belongs to: "x11:…", "wayland:…"
    QString title;
    QVariantMap options;
  };
  [[nodiscard]] const std::vector<Dialog>& dialogs() const { return dialogs_; }
  /// As if these had been chosen in the last dialog. A program that does not listen yet misses it.
  void choose(const QStringList& urls) {
    auto response = QDBusMessage::createSignal(request(), QStringLiteral("org.freedesktop.portal.Request"),
                                               QStringLiteral("Response"));
    response << 0U << QVariantMap{{QStringLiteral("uris"), urls}};
    connection_.send(response);
  }

 public slots:
  QDBusObjectPath OpenFile(const QString& parent, const QString& title, const QVariantMap& options) {
    dialogs_.push_back({parent, title, options});
    return QDBusObjectPath(request());
  }

 private:
  [[nodiscard]] QString request() const {
    return QStringLiteral("/org/freedesktop/portal/desktop/request/%1").arg(dialogs_.size());
  }
  static QString path() { return QStringLiteral("/org/freedesktop/portal/desktop"); }

  QDBusConnection connection_;
  uint version_;
  mutable int questions_ = 0;
  std::vector<Dialog> dialogs_;
};

}  // namespace tolvane::test
