#pragma once
// A portal that opens files and counts its callers. It is there as long as the object. The test's thread.

#include <QDBusConnection>
#include <QObject>
#include <stdexcept>

namespace tolvane::test {

class FakePortal final : public QObject {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.FileChooser")
  Q_PROPERTY(uint version READ version)

 public:
  FakePortal(const QDBusConnection& connection, uint version) : connection_(connection), version_(version) {
    const bool isThere = connection_.registerObject(path(), this, QDBusConnection::ExportAllProperties) &&
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

 private:
  static QString path() { return QStringLiteral("/org/freedesktop/portal/desktop"); }

  QDBusConnection connection_;
  uint version_;
  mutable int questions_ = 0;
};

}  // namespace tolvane::test
