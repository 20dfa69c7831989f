#pragma once
// The player as a program, with a home and a session bus of the test's own, off the screen unless a test wants it
// elsewhere. No sound card is used: what tests open are files that only look like music.

#include <gmock/gmock.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QProcess>
#include <QUrl>
#include <array>
#include <functional>
#include <memory>
#include <string>

#include "tests/app/dbus/BusFixture.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane::test {

/// The name of the player on the bus.
inline const QString playersName = QStringLiteral("org.tolvane.Player");

class ProgramFixture : public testing::Test {
 protected:
  ProgramFixture();
  ~ProgramFixture() override;

  [[nodiscard]] std::unique_ptr<QProcess> start(const QStringList& arguments = {});
  /// A player with its interfaces on the bus.
  [[nodiscard]] std::unique_ptr<QProcess> startPlayer(const QStringList& arguments = {});
  /// Waits for its end. −1: it has crashed, or hangs.
  static int exitCode(QProcess& process);
  static int terminate(QProcess& process);

  [[nodiscard]] bool isRunning();
  /// Turns the loop until the condition holds; throws where that is never.
  static void waitUntil(const std::function<bool()>& condition);

  QDBusMessage call(const QString& path, const QString& interface, const QString& method,
                    const QVariantList& values = {});
  [[nodiscard]] QString title() { return metadata(QStringLiteral("xesam:title")); }
  [[nodiscard]] QUrl url() { return QUrl(metadata(QStringLiteral("xesam:url"))); }
  /// Of the current track; the name of the error where the player does not answer.
  [[nodiscard]] QString metadata(const QString& field);
  QDBusMessage askApplication(const char* method, const QVariantList& values);
  QDBusMessage act(const QString& action);
  void quit();
  /// From here on, a request to the player starts it, as on a desktop where it is installed.
  void letTheBusStartIt();
  QString file(const char* name) { return QString::fromStdString(home.write(name, "no music at all").path()); }

  int argumentCount = 1;
  std::string programName = "test_app";
  std::array<char*, 2> words{programName.data(), nullptr};
  QCoreApplication application{argumentCount, words.data()};
  TemporaryFolder home;
  PrivateBus bus;
  QDBusConnection client;
  QProcessEnvironment environment;
};

}  // namespace tolvane::test
