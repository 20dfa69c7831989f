#pragma once
// A session over simulated hardware on the manual clock, with its interfaces on a session bus of the test's own.
// Nothing waits for time to pass: the test continues with the event it waits for, and fails only on a dead bus.

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QStringList>
#include <functional>
#include <memory>

#include "app/shell/ApplicationIdentity.h"
#include "tests/session/SessionFixture.h"
#include "tests/support/TemporaryFolder.h"

class QProcess;

namespace tolvane::test {

/// A dbus-daemon that only this test knows; gone with the object.
class PrivateBus {
 public:
  PrivateBus();
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  [[nodiscard]] const QString& address() const { return address_; }
  /// A connection of its own. REQUIRES: each name once a process.
  [[nodiscard]] QDBusConnection connect(const QString& name) const;
  /// From now on the bus starts the program when its name is requested.
  void addService(const std::string& name, const std::string& command);
  /// As when the desktop session breaks down.
  void die();

 private:
  TemporaryFolder folder_;
  std::unique_ptr<QProcess> daemon_;
  QString address_;
};

class BusFixture : public ProxyFixture {
 protected:
  BusFixture();
  ~BusFixture() override;

  /// Turns both loops until the condition holds.
  void turnUntil(const std::function<bool()>& condition);
  /// Sends it from the client's side, and returns the reply or the error.
  QDBusMessage call(const QDBusMessage& message);
  QDBusMessage call(const QString& path, const QString& interface, const QString& method,
                    const QVariantList& arguments = {});
  QDBusMessage getProperty(const QString& path, const QString& interface, const QString& name);
  QDBusMessage setProperty(const QString& path, const QString& interface, const QString& name, const QVariant& value);

  struct Outcome {
    int exitCode = -1;
    QString output;
  };
  /// Runs a program against this bus to its end.
  Outcome run(const QString& program, const QStringList& arguments);

  int argumentCount = 1;
  std::array<char*, 2> arguments;
  QCoreApplication application;
  PrivateBus bus;
  const ApplicationIdentity identity{"org.tolvane.Test", "tolvane_test", "Tolvane Test"};
  QDBusConnection service;  ///< the player's
  QDBusConnection client;   ///< the stranger's
};

}  // namespace tolvane::test
