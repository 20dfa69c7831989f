#pragma once
// Keeps the arguments of every signal that arrives over the bus. The test's thread.

#include <QDBusConnection>
#include <QDBusMessage>
#include <QList>
#include <QObject>
#include <QVariantList>

namespace tolvane::test {

class SignalSpy final : public QObject {
  Q_OBJECT

 public:
  void listen(QDBusConnection connection, const QString& sender, const QString& path, const QString& interface,
              const QString& signal) {
    connection.connect(sender, path, interface, signal, this, SLOT(take(QDBusMessage)));
  }
  [[nodiscard]] const QList<QVariantList>& received() const { return received_; }
  void forget() { received_.clear(); }

 private slots:
  void take(const QDBusMessage& message) { received_ << message.arguments(); }

 private:
  QList<QVariantList> received_;
};

}  // namespace tolvane::test
