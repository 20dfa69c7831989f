#pragma once
// A port of the kernel's virtual host controller (vhci-hcd): plugging in gives it one end of a socket, pulling closes
// the other. Needs root.

#include <expected>
#include <optional>
#include <string>

#include "tests/system/dac/Bytes.h"

namespace tolvane {

class VirtualPort {
 public:
  VirtualPort() = default;
  VirtualPort(const VirtualPort&) = delete;
  VirtualPort& operator=(const VirtualPort&) = delete;
  ~VirtualPort() { pull(); }

  /// Plugs in: into the first free port, then always into the same one. Waits for the port to be free again.
  [[nodiscard]] std::expected<void, std::string> plugIn();
  void pull();
  [[nodiscard]] bool isPluggedIn() const { return socket_ >= 0; }

  /// Readable when the host has sent something; −1 while pulled.
  [[nodiscard]] int descriptor() const { return socket_; }
  /// What has come since, empty when nothing has; nothing when the host has gone.
  [[nodiscard]] std::optional<ByteSpan> receive();
  /// Whether the host took all of it.
  [[nodiscard]] bool send(ByteSpan bytes);

 private:
  int socket_ = -1;
  int port_ = -1;
  Bytes buffer_;
};

}  // namespace tolvane
