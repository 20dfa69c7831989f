#pragma once
// A Wayland compositor without a screen that knows activation tokens, virtual keyboards and which of its windows has
// the focus. Throws when it cannot be started or asked. The test's thread, with an application object.

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <filesystem>
#include <memory>
#include <optional>

#include "tests/support/ChildProcess.h"

namespace tolvane::test {

class Sway {
 public:
  Sway();
  ~Sway();
  Sway(const Sway&) = delete;
  Sway& operator=(const Sway&) = delete;

  /// What a program's environment needs for its window to be here.
  void addTo(QProcessEnvironment& environment) const;

  /// Whether it has a window of this application.
  [[nodiscard]] bool shows(const QString& application) const;
  /// The name of the application whose window has the focus; empty: none.
  [[nodiscard]] QString focused() const;
  /// As the user closes a window.
  void close(const QString& application) const;
  /// A keyboard on which this key is pressed with these modifiers ("ctrl", "shift"), for the focused window, ten times
  /// a second until the process is ended: a window learns of a new keyboard after its first press.
  [[nodiscard]] std::unique_ptr<QProcess> press(const QString& key, const QStringList& modifiers) const;

 private:
  QByteArray ask(const QStringList& words) const;

  std::filesystem::path folder_;
  std::optional<ChildProcess> process_;
};

}  // namespace tolvane::test
