#pragma once
// A tray that records which items register. It is there as long as the object. The test's thread.

#include <QDBusConnection>
#include <QObject>
#include <QStringList>
#include <stdexcept>

namespace tolvane::test {

class FakeTray final : public QObject {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")

 public:
  explicit FakeTray(const QDBusConnection& connection) : connection_(connection) {
    const bool isThere =
        connection_.registerObject(QStringLiteral("/StatusNotifierWatcher"), this, QDBusConnection::ExportAllSlots) &&
        connection_.registerService(QStringLiteral("org.kde.StatusNotifierWatcher"));
    if (!isThere) throw std::runtime_error("the tray could not be set up");
  }
  ~FakeTray() override {
    connection_.unregisterService(QStringLiteral("org.kde.StatusNotifierWatcher"));
    connection_.unregisterObject(QStringLiteral("/StatusNotifierWatcher"));
  }

  [[nodiscard]] const QStringList& items() const { return items_; }

 public slots:  // NOLINT(readability-redundant-access-specifiers): named as on the bus
  void RegisterStatusNotifierItem(const QString& service) { items_ << service; }

 private:
  QDBusConnection connection_;
  QStringList items_;
};

}  // namespace tolvane::test
