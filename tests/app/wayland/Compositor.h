#pragma once
// A Wayland compositor whose only screen is a window of the X server: the process, its socket and its settings, in a
// folder that ends with it. Throws when it cannot be started.

#include <QSize>
#include <filesystem>
#include <optional>
#include <string>

#include "tests/support/ChildProcess.h"

namespace tolvane::test {

class Compositor {
 public:
  static constexpr QSize screen{1200, 1000};        ///< units of length
  static constexpr unsigned background = 0x00FF00;  ///< of its screen; no colour of the player's

  /// `scale`: pixels of the screen a unit of length. Sets what a Wayland client reads from its environment.
  Compositor(const std::string& program, int scale);
  ~Compositor();
  Compositor(const Compositor&) = delete;
  Compositor& operator=(const Compositor&) = delete;

 private:
  std::filesystem::path folder_;
  std::optional<ChildProcess> process_;
};

}  // namespace tolvane::test
